#include "host/CloseSignals.h"

#include <array>
#include <atomic>
#include <csignal>

namespace vel::kos::host {

namespace {

constexpr std::array SIGNALS = {SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> gPending{false};
std::atomic<Waker*> gWaker{nullptr};
std::array<struct sigaction, SIGNALS.size()> gBefore;

// Only what a signal handler may do: a flag, and a semaphore posted.
void onSignal(int)
{
    gPending.store(true);
    if (Waker* tWaker = gWaker.load()) tWaker->wake();
}

} // namespace

CloseSignals::CloseSignals(Waker& pWaker)
{
    gPending.store(false);
    gWaker.store(&pWaker);
    struct sigaction tAction = {};
    tAction.sa_handler = onSignal;
    tAction.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigemptyset(&tAction.sa_mask);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        sigaction(SIGNALS[i], nullptr, &gBefore[i]);
        // What the starter has had ignored (nohup) stays ignored.
        if (gBefore[i].sa_handler != SIG_IGN) sigaction(SIGNALS[i], &tAction, nullptr);
    }
}

CloseSignals::~CloseSignals()
{
    for (std::size_t i = 0; i < SIGNALS.size(); ++i)
        sigaction(SIGNALS[i], &gBefore[i], nullptr);
    gWaker.store(nullptr);
}

bool CloseSignals::isPending() noexcept { return gPending.load(); }

} // namespace vel::kos::host
