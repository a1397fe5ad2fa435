// Clocks and sleeping.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// A point in time: seconds since 1970-01-01 00:00:00 UTC, and microseconds 0 to 999999 after them.
struct KprTime {
    int64_t seconds;
    uint32_t microseconds;
    uint32_t reserved;
};

/// Reads the wall clock. Any thread.
KPR_API uint32_t kprGetCurrentTime(KprTime* pTime);

/// Reads a clock that never goes back, in microseconds since an arbitrary start. Any thread.
KPR_API uint32_t kprGetMonotonicTime(uint64_t* pMicroseconds);

/// Suspends the calling thread for at least the given milliseconds; a signal does not shorten it.
KPR_API uint32_t kprSleep(uint32_t pMilliseconds);

} // extern "C"
