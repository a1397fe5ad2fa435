// Waiting for a socket that a client library has opened.
#pragma once

#include <cstdint>

namespace vel::kos::drivers {

enum class Ready { YES, TIME_OVER, FAILED };

/// Waits until there is something to read, or with pWrite also until something can be written; at most
/// pMilliseconds, for ever when that is below 0.
Ready waitForSocket(int pSocket, bool pRead, bool pWrite, int64_t pMilliseconds);

} // namespace vel::kos::drivers
