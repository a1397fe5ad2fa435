#include <cerrno>

#include <poll.h>

#include <algorithm>

#include "drivers/postgresql/sql_Socket.h"

namespace vel::kos::drivers {

Ready waitForSocket(int pSocket, bool pRead, bool pWrite, int64_t pMilliseconds)
{
    pollfd tPoll{pSocket, static_cast<short>((pRead ? POLLIN : 0) | (pWrite ? POLLOUT : 0)), 0};
    const int tTime = pMilliseconds < 0 ? -1 : static_cast<int>(std::min<int64_t>(pMilliseconds, 1000000000));
    const int tReady = poll(&tPoll, 1, tTime);
    if (tReady > 0) return Ready::YES;
    // A signal: the caller looks at the time that is left, and waits again.
    if (tReady < 0 && errno == EINTR) return Ready::YES;
    return tReady == 0 ? Ready::TIME_OVER : Ready::FAILED;
}

} // namespace vel::kos::drivers
