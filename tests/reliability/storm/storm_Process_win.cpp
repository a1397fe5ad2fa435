#include "tests/reliability/storm/storm_Process.h"

#include <windows.h>

#include <psapi.h>

#include <cstdlib>

namespace vel::kos::storm {

void endNow()
{
    constexpr UINT KILLED = 0xC000013A; // that of a process that is stopped (kprStopChild)
    TerminateProcess(GetCurrentProcess(), KILLED);
    std::abort(); // not reached
}

uint64_t peakMemoryKb()
{
    PROCESS_MEMORY_COUNTERS tCounters{};
    const BOOL tKnown = GetProcessMemoryInfo(GetCurrentProcess(), &tCounters, sizeof tCounters);
    return tKnown ? tCounters.PeakWorkingSetSize >> 10 : 0;
}

} // namespace vel::kos::storm
