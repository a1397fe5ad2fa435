#include "host/Waker.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <semaphore.h>

namespace vel::kos::host {

// A semaphore, since posting one is among the few things that a signal handler may do.
struct Waker::State {
    sem_t semaphore;
    std::atomic<bool> signalled{false};
};

Waker::Waker() : mState(std::make_unique<State>()) { sem_init(&mState->semaphore, 0, 0); }

Waker::~Waker() { sem_destroy(&mState->semaphore); }

void Waker::wake() noexcept
{
    const int tError = errno;
    if (!mState->signalled.exchange(true)) sem_post(&mState->semaphore);
    errno = tError;
}

bool Waker::wait(uint32_t pMilliseconds) noexcept
{
    timespec tEnd;
    clock_gettime(CLOCK_MONOTONIC, &tEnd);
    tEnd.tv_sec += pMilliseconds / 1000;
    tEnd.tv_nsec += static_cast<long>(pMilliseconds % 1000) * 1000000;
    if (tEnd.tv_nsec >= 1000000000) {
        tEnd.tv_nsec -= 1000000000;
        ++tEnd.tv_sec;
    }
    int tResult;
    do
        tResult = pMilliseconds == FOREVER ? sem_wait(&mState->semaphore)
                                           : sem_clockwait(&mState->semaphore, CLOCK_MONOTONIC, &tEnd);
    while (tResult != 0 && errno == EINTR);
    if (tResult != 0) return false;
    mState->signalled.store(false);
    return true;
}

} // namespace vel::kos::host
