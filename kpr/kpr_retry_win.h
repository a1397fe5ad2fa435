// What passes by itself on Windows: other programs that have a file open for a moment, and names whose file
// has been removed while it is still open somewhere.
#pragma once

#include <cstdint>
#include <string>

namespace kpr {

/// The error number of the calling thread's last failed system call. ERROR_DELETE_PENDING when a name is on
/// its way out, which the system itself calls "access denied".
uint32_t systemError();

/// After a failed operation that creates a name: turns "delete pending" into a sharing violation, so that
/// retried() waits.
void waitIfDeletePending(const std::wstring& pPath);
/// For removals, after a failure: when it failed because somebody has the file mapped, the last error says
/// so.
void waitIfMapped(const std::wstring& pPath);

/// Whether the error passes by itself; with pDenied, "access denied" may, too.
bool isPassingError(uint32_t pError, bool pDenied);
void pauseBeforeRetry(uint32_t pAttempt);

/// Calls pOperation (true on success, else the last error tells) again for a bounded time, about a quarter of
/// a second, while it fails because somebody else, a virus scanner most likely, has the file open or mapped;
/// with pDenied also while access is denied, which is how replacing an open file fails. Returns what
/// systemError() says in the end, 0 on success.
template <typename TOperation>
uint32_t retried(TOperation pOperation, bool pDenied = false)
{
    constexpr uint32_t tAttempts = 9;
    for (uint32_t tAttempt = 0;; ++tAttempt) {
        if (pOperation()) return 0;
        const uint32_t tError = systemError();
        if (tAttempt + 1 == tAttempts || !isPassingError(tError, pDenied)) return tError;
        pauseBeforeRetry(tAttempt);
    }
}

} // namespace kpr
