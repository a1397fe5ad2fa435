#include "kpr/kpr_filetime_win.h"

#include "kpr/codes.h"

uint32_t kprGetCurrentTime(KprTime* pTime)
{
    if (!pTime) return E_INVALIDARG;
    FILETIME tNow;
    GetSystemTimePreciseAsFileTime(&tNow);
    *pTime = kpr::fromFileTime(tNow);
    return K_SUCCESS;
}

uint32_t kprGetMonotonicTime(uint64_t* pMicroseconds)
{
    if (!pMicroseconds) return E_INVALIDARG;
    LARGE_INTEGER tCount, tFrequency;
    if (!QueryPerformanceCounter(&tCount) || !QueryPerformanceFrequency(&tFrequency)) return KPR_E_SYSTEM;
    const uint64_t tTicks = static_cast<uint64_t>(tCount.QuadPart);
    const uint64_t tPerSecond = static_cast<uint64_t>(tFrequency.QuadPart);
    *pMicroseconds = tTicks / tPerSecond * 1000000u + tTicks % tPerSecond * 1000000u / tPerSecond;
    return K_SUCCESS;
}

uint32_t kprSleep(uint32_t pMilliseconds)
{
    Sleep(pMilliseconds);
    return K_SUCCESS;
}
