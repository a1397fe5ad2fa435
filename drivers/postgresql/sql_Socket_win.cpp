#include <winsock2.h>

#include "drivers/postgresql/sql_Socket.h"

namespace vel::kos::drivers {

Ready waitForSocket(int pSocket, bool pRead, bool pWrite, int64_t pMilliseconds)
{
    const auto tSocket = static_cast<SOCKET>(pSocket);
    fd_set tReads{}, tWrites{}, tErrors{};
    const auto tAdd = [tSocket](fd_set& pSet) {
        pSet.fd_array[0] = tSocket;
        pSet.fd_count = 1;
    };
    if (pRead) tAdd(tReads);
    if (pWrite) tAdd(tWrites);
    tAdd(tErrors); // a connection that is refused is told of here
    timeval tTime{static_cast<long>(pMilliseconds / 1000), static_cast<long>(pMilliseconds % 1000 * 1000)};
    const int tReady = select(0, &tReads, &tWrites, &tErrors, pMilliseconds < 0 ? nullptr : &tTime);
    if (tReady > 0) return Ready::YES;
    return tReady == 0 ? Ready::TIME_OVER : Ready::FAILED;
}

} // namespace vel::kos::drivers
