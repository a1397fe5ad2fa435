#include "kpr/time.h"

#include <windows.h>

#include "kpr/codes.h"

namespace {

// FILETIME counts 100 ns steps from 1601-01-01.
constexpr int64_t UNIX_EPOCH = 116444736000000000;

} // namespace

uint32_t kprGetCurrentTime(KprTime* pTime)
{
    FILETIME tNow;
    GetSystemTimePreciseAsFileTime(&tNow);
    const int64_t tSteps =
        static_cast<int64_t>((static_cast<uint64_t>(tNow.dwHighDateTime) << 32) | tNow.dwLowDateTime) -
        UNIX_EPOCH;
    *pTime = {tSteps / 10000000, static_cast<uint32_t>(tSteps % 10000000 / 10), 0};
    return 0;
}

uint32_t kprGetMonotonicTime(uint64_t* pMicroseconds)
{
    LARGE_INTEGER tCount, tFrequency;
    if (!QueryPerformanceCounter(&tCount) || !QueryPerformanceFrequency(&tFrequency)) return KPR_E_SYSTEM;
    const uint64_t tTicks = static_cast<uint64_t>(tCount.QuadPart);
    const uint64_t tPerSecond = static_cast<uint64_t>(tFrequency.QuadPart);
    *pMicroseconds = tTicks / tPerSecond * 1000000u + tTicks % tPerSecond * 1000000u / tPerSecond;
    return 0;
}

uint32_t kprSleep(uint32_t pMilliseconds)
{
    Sleep(pMilliseconds);
    return 0;
}
