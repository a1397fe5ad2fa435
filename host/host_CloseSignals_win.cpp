#include "host/host_CloseSignals_win.h"
#include "host/CloseSignals.h"

#include <atomic>
#include <mutex>
#include <windows.h>

namespace vel::kos::host {

namespace {

std::atomic<bool> gPending{false};
// The handler runs on a thread of the system's: the mutex keeps the waker alive for it.
std::mutex gMutex;
Waker* gWaker = nullptr;
HANDLE gDone = nullptr;

BOOL WINAPI onControl(DWORD pEvent) { return handleControlEvent(pEvent); }

} // namespace

bool handleControlEvent(unsigned long pEvent)
{
    if (gPending.exchange(true)) return false;
    HANDLE tDone = nullptr;
    {
        const std::lock_guard tLock(gMutex);
        if (gWaker) gWaker->wake();
        tDone = gDone;
    }
    const bool tEndsProcess =
        pEvent == CTRL_CLOSE_EVENT || pEvent == CTRL_LOGOFF_EVENT || pEvent == CTRL_SHUTDOWN_EVENT;
    if (tEndsProcess && tDone) WaitForSingleObject(tDone, INFINITE);
    return true;
}

CloseSignals::CloseSignals(Waker& pWaker)
{
    gPending.store(false);
    {
        const std::lock_guard tLock(gMutex);
        gWaker = &pWaker;
        // Never closed: a handler may still wait for it.
        if (!gDone) gDone = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ResetEvent(gDone);
    }
    SetConsoleCtrlHandler(onControl, TRUE);
}

CloseSignals::~CloseSignals()
{
    SetConsoleCtrlHandler(onControl, FALSE);
    const std::lock_guard tLock(gMutex);
    gWaker = nullptr;
    SetEvent(gDone);
}

bool CloseSignals::isPending() noexcept { return gPending.load(); }

} // namespace vel::kos::host
