// Whole files, in and out.
#pragma once

#include <string>
#include <string_view>

#include "kfw/IFileSystemCache.h"

namespace vel::kos::host {

/// Reads a file whole; KPR_E_TOO_LARGE when it does not fit into 32 bits. pMode (KprOpenMode) is added to
/// KPR_OPEN_READ.
uint32_t readWholeFile(const std::string& pPath, fw::CacheBytes* pBytes, uint32_t pMode = 0);
/// Reads standard input to its end, otherwise as readWholeFile.
uint32_t readWholeInput(fw::CacheBytes* pBytes);
/// Makes a file with these bytes, or replaces what it held.
uint32_t writeWholeFile(const std::string& pPath, std::string_view pBytes);

} // namespace vel::kos::host
