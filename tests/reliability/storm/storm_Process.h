// What a worker wants of the process that it is.
#pragma once

#include <cstdint>

namespace vel::kos::storm {

/// Ends the process at once, as somebody who kills it would: no handler, no destructor and no buffer counts.
[[noreturn]] void endNow();

/// The most memory that the process has held at a time, in kilobytes; 0 where the system does not say.
uint64_t peakMemoryKb();

} // namespace vel::kos::storm
