// What a test has to know of the volume that it runs on. The bundle for a real Windows takes some to FAT.
#pragma once

#include <filesystem>
#include <string>

#include "kpr/file.h"

namespace kprtest {

#if defined(_WIN32)
/// The name of the file system that a folder lies on when it is one of the FAT family, otherwise "". Those
/// know no access rights, keep times in steps of up to two seconds and the day of the last access only; FAT32
/// has no file of 4 GiB.
std::string fatName(const std::filesystem::path& pFolder);
/// Has an open file take no room for what is not written, where the volume can do that.
void makeSparse(KprFile pFile);
#else
inline std::string fatName(const std::filesystem::path&) { return {}; } // no test is taken there
inline void makeSparse(KprFile) {}                                      // every file is
#endif

} // namespace kprtest
