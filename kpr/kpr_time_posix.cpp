#include "kpr/time.h"

#include <cerrno>
#include <ctime>

#include "kpr/codes.h"

uint32_t kprGetCurrentTime(KprTime* pTime)
{
    if (!pTime) return E_INVALIDARG;
    timespec tNow;
    if (clock_gettime(CLOCK_REALTIME, &tNow) != 0) return KPR_E_SYSTEM;
    *pTime = {tNow.tv_sec, static_cast<uint32_t>(tNow.tv_nsec / 1000), 0};
    return 0;
}

uint32_t kprGetMonotonicTime(uint64_t* pMicroseconds)
{
    if (!pMicroseconds) return E_INVALIDARG;
    timespec tNow;
    if (clock_gettime(CLOCK_MONOTONIC, &tNow) != 0) return KPR_E_SYSTEM;
    *pMicroseconds =
        static_cast<uint64_t>(tNow.tv_sec) * 1000000u + static_cast<uint64_t>(tNow.tv_nsec / 1000);
    return 0;
}

uint32_t kprSleep(uint32_t pMilliseconds)
{
    timespec tEnd;
    if (clock_gettime(CLOCK_MONOTONIC, &tEnd) != 0) return KPR_E_SYSTEM;
    tEnd.tv_sec += pMilliseconds / 1000;
    tEnd.tv_nsec += static_cast<long>(pMilliseconds % 1000) * 1000000;
    if (tEnd.tv_nsec >= 1000000000) {
        tEnd.tv_nsec -= 1000000000;
        ++tEnd.tv_sec;
    }
    int tError;
    do
        tError = clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &tEnd, nullptr);
    while (tError == EINTR);
    return tError == 0 ? 0 : KPR_E_SYSTEM;
}
