// What the operations of system information cannot be faster than: the bare system calls.
#pragma once

#include <cstddef>

namespace bench {

/// Walks the loader's list and looks at each path; returns how many modules there are.
std::size_t listModules();
/// Reads a file of /proc whole; returns its size.
std::size_t readProcFile(const char* pPath);

} // namespace bench
