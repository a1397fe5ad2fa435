// Time that runs faster than the real one, for processes that wait for hours.
#pragma once

#include "kpr/time.h"

namespace vel::kos::storm {

/// Converts between real and scaled time: both are equal at the epoch, and from there scaled time runs so
/// many times as fast. What lies before the epoch is as much longer ago.
struct TimeScale {
    int64_t epoch = 0;  ///< microseconds since 1970
    uint32_t speed = 1; ///< scaled seconds in a real one

    KprTime toScaled(const KprTime& pReal) const;
    KprTime toReal(const KprTime& pScaled) const;
};

} // namespace vel::kos::storm
