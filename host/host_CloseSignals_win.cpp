#include "host/host_CloseSignals_win.h"
#include "host/CloseSignals.h"

#include <atomic>
#include <memory>
#include <windows.h>

#include "host/host_SessionWindow_win.h"
#include "kpr/mutex.h"

namespace vel::kos::host {

namespace {

std::atomic<bool> gPending{false};
// The handler runs on a thread of the system's: the mutex keeps the waker alive for it.
kpr::Mutex gMutex;
Waker* gWaker K_GUARDED_BY(gMutex) = nullptr;
HANDLE gDone K_GUARDED_BY(gMutex) = nullptr;
std::unique_ptr<SessionWindow> gSession;

BOOL WINAPI onControl(DWORD pEvent) { return handleControlEvent(pEvent); }

/// Notes a request, wakes who is to work, and returns what is set when the work is done.
HANDLE note()
{
    gPending.store(true);
    const kpr::Lock tLock(gMutex);
    if (gWaker) gWaker->wake();
    return gDone;
}

void onSessionEnd() { WaitForSingleObject(note(), INFINITE); }

} // namespace

bool handleControlEvent(unsigned long pEvent)
{
    const bool tEndsProcess =
        pEvent == CTRL_CLOSE_EVENT || pEvent == CTRL_LOGOFF_EVENT || pEvent == CTRL_SHUTDOWN_EVENT;
    // Windows ends a process that hangs by itself then, and the default handler would do so at once.
    if (gPending.exchange(true) && !tEndsProcess) return false;
    const HANDLE tDone = note();
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
    gSession = std::make_unique<SessionWindow>(onSessionEnd);
}

CloseSignals::~CloseSignals()
{
    {
        const kpr::Lock tLock(gMutex);
        gWaker = nullptr;
        SetEvent(gDone);
    }
    SetConsoleCtrlHandler(onControl, FALSE); // waits for a handler that runs, and that one for the work
    gSession.reset();                        // not before the work is known to be done: it waits for that
}

bool CloseSignals::isPending() noexcept { return gPending.load(); }

} // namespace vel::kos::host
