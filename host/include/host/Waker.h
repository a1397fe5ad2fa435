// What an idle loop waits on.
#pragma once

#include <cstdint>
#include <memory>

namespace vel::kos::host {

/// One thread waits; any thread, and a signal handler too, wakes it. Wake-ups before the wait are not lost,
/// and several count as one.
class Waker {
public:
    static constexpr uint32_t FOREVER = UINT32_MAX;

    Waker();
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    void wake() noexcept;
    /// Waits at most pMilliseconds; true when woken.
    bool wait(uint32_t pMilliseconds) noexcept;

private:
    struct State;
    std::unique_ptr<State> mState;
};

} // namespace vel::kos::host
