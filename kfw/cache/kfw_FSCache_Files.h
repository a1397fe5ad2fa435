// What the cache does with files and clocks, and reports when it fails.
#pragma once

#include <cstdint>
#include <string>

#include "kfw/cache/format/kfw_ProblemLog.h"
#include "kpr/time.h"

namespace vel::kos::kfw {

/// Writes a whole file under a temporary name beside it and renames it, so that no reader ever sees it
/// half-written. KPR_E_EXISTS when the file is there already; it is kept. Other failures are reported.
///
/// A failed or short write leaves the temporary file behind, open: the cleaner removes it when it is old.
/// A short write is reported, but returns success. With pDurable the content is on the disk before the name
/// is, where the volume can do that.
uint32_t writeFileAtomically(ProblemLog& pLog, const std::string& pPath, const void* pBytes, uint32_t pLength,
                             bool pDurable = false);

/// Reads the local clock. Its failure is reported.
uint32_t readClock(ProblemLog& pLog, KprTime* pNow);

} // namespace vel::kos::kfw
