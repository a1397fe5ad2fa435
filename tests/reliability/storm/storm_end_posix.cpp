#include <csignal>
#include <cstdlib>

#include "storm_Platform.h"

namespace vel::kos::storm {

void endNow()
{
    std::raise(SIGKILL);
    std::abort(); // not reached
}

} // namespace vel::kos::storm
