#include "tests/reliability/storm/storm_Process.h"

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>

namespace vel::kos::storm {

void endNow()
{
    std::raise(SIGKILL);
    std::abort(); // not reached
}

uint64_t peakMemoryKb()
{
    rusage tUsage{};
    return getrusage(RUSAGE_SELF, &tUsage) == 0 ? static_cast<uint64_t>(tUsage.ru_maxrss) : 0;
}

} // namespace vel::kos::storm
