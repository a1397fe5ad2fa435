// Time that runs faster than ours, for processes that wait for hours.
#pragma once

#include "kpr/time.h"

namespace vel::kos::storm {

/// A glass between real time and the world's: both are equal at the epoch, and from there the world runs so
/// many times as fast. What lies before the epoch is as much longer ago.
struct TimeLens {
    int64_t epoch = 0;  ///< microseconds since 1970
    uint32_t speed = 1; ///< seconds of the world in one of ours

    KprTime toWorld(const KprTime& pReal) const;
    KprTime toReal(const KprTime& pWorld) const;
};

} // namespace vel::kos::storm
