#include "host/host_CloseSignals_win.h"
#include "host/CloseSignals.h"

#include <atomic>
#include <windows.h>

#include "kpr/mutex.h"

namespace vel::kos::host {

namespace {

std::atomic<bool> gPending{false};
// The handler runs on a thread of the system's: the mutex keeps the waker alive for it.
kpr::Mutex gMutex;
Waker* gWaker K_GUARDED_BY(gMutex) = nullptr;
HANDLE gDone K_GUARDED_BY(gMutex) = nullptr;

BOOL WINAPI onControl(DWORD pEvent) { return handleControlEvent(pEvent); }

} // namespace

bool handleControlEvent(unsigned long pEvent)
{
    if (gPending.exchange(true)) return false;
    HANDLE tDone = nullptr;
    {
        const kpr::Lock tLock(gMutex);
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
        const kpr::Lock tLock(gMutex);
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
    const kpr::Lock tLock(gMutex);
    gWaker = nullptr;
    SetEvent(gDone);
}

bool CloseSignals::isPending() noexcept { return gPending.load(); }

} // namespace vel::kos::host
