#include "host/Waker.h"

#include <windows.h>

namespace vel::kos::host {

struct Waker::State {
    HANDLE event;
};

Waker::Waker() : mState(std::make_unique<State>())
{
    mState->event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

Waker::~Waker() { CloseHandle(mState->event); }

void Waker::wake() noexcept { SetEvent(mState->event); }

bool Waker::wait(uint32_t pMilliseconds) noexcept
{
    static_assert(FOREVER == INFINITE);
    return WaitForSingleObject(mState->event, pMilliseconds) == WAIT_OBJECT_0;
}

} // namespace vel::kos::host
