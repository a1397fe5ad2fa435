// Directories and files by path.
#pragma once

#include <cstdint>
#include <string>

namespace kgen {

/// Whether a directory (or a link to one) stands at the path.
bool directoryExists(const std::string& pPath);
/// Creates a directory with its missing parents, for the current user only. 0 when it is there already; the
/// failure's code otherwise (KPR_E_EXISTS when something else stands there).
uint32_t createDirectories(const std::string& pPath);
/// Whether a regular file (or a link to one) stands at the path.
bool fileExists(const std::string& pPath);
/// The absolute path with every link resolved, native form; "" when there is none.
std::string realPath(const std::string& pPath);
/// A text that is the same for all paths of one existing file and for no other (kprGetFileIdentity); "" when
/// there is no such file.
std::string fileIdentity(const std::string& pPath);

} // namespace kgen
