// The class registry as a file: reading it whole, and changing it so that it is never seen half.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kom/kom_classfile.h"
#include "kpr/file.h"

namespace kom {

/// Where the registry file stands: a link in the last component is followed, so that a change replaces the
/// file and not the link.
struct RegistryFile {
    std::string path;
    KprFileInfo info = {}; ///< size and modification time at that moment
};

/// Looks the file up. KPR_E_NOT_FOUND when there is none yet; its path is set nevertheless.
uint32_t locateRegistry(const std::string& pPath, RegistryFile& pFile);

/// Reads the file at a path. pInfo (may be null) gets its size and time as they were when it was read.
/// KOM_E_BAD_REGISTRY when it is damaged; registryProblem then tells where.
uint32_t readRegistry(const std::string& pPath, ClassFile& pFile, KprFileInfo* pInfo = nullptr);

/// Changes the registry under its lock: reads it (none is an empty one), has pChange change it, and replaces
/// the file when its text is another then. A failure, pChange's too, leaves the file as it was. Safe among
/// threads and processes.
uint32_t changeRegistry(const std::string& pPath, const std::function<uint32_t(ClassFile&)>& pChange);

/// The calling thread's description of the damage that it found last, "" when none.
const char* registryProblem() noexcept;
void clearRegistryProblem() noexcept;

} // namespace kom
