// Points in time as Windows counts them: 100 ns steps from 1601-01-01.
#pragma once

#include <windows.h>

#include "kpr/time.h"

namespace kpr {

constexpr int64_t UNIX_EPOCH_STEPS = 116444736000000000;
constexpr int64_t STEPS_PER_SECOND = 10000000;

inline KprTime fromFileTime(const FILETIME& pTime)
{
    const int64_t tSteps =
        static_cast<int64_t>((static_cast<uint64_t>(pTime.dwHighDateTime) << 32) | pTime.dwLowDateTime) -
        UNIX_EPOCH_STEPS;
    int64_t tSeconds = tSteps / STEPS_PER_SECOND, tRest = tSteps % STEPS_PER_SECOND;
    if (tRest < 0) { // before 1970 the microseconds still count forwards
        --tSeconds;
        tRest += STEPS_PER_SECOND;
    }
    return {tSeconds, static_cast<uint32_t>(tRest / 10), 0};
}

/// False when the file system's clock does not reach that far.
inline bool toFileTime(const KprTime& pTime, FILETIME* pFileTime)
{
    constexpr int64_t tFirst = -UNIX_EPOCH_STEPS / STEPS_PER_SECOND;
    constexpr int64_t tLast = (INT64_MAX - UNIX_EPOCH_STEPS) / STEPS_PER_SECOND - 1;
    if (pTime.seconds < tFirst || pTime.seconds > tLast) return false;
    const int64_t tSteps =
        pTime.seconds * STEPS_PER_SECOND + static_cast<int64_t>(pTime.microseconds) * 10 + UNIX_EPOCH_STEPS;
    if (tSteps <= 0) return false; // 0 would mean "leave as it is"
    pFileTime->dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(tSteps) & 0xFFFFFFFFu);
    pFileTime->dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(tSteps) >> 32);
    return true;
}

} // namespace kpr
