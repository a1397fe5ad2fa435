// The end of the user's session, which a program that has the window system loaded hears of in a window only.
#pragma once

#include <thread>

namespace vel::kos::host {

/// A hidden window on a thread of its own. When the session ends (logoff, shutdown) it calls the function and
/// keeps Windows waiting, as long as Windows waits, until the function returns. Where no window can be made
/// (a service, a machine without the window system) there is none, and the console's events have to do.
class SessionWindow {
public:
    using OnEnd = void (*)();

    /// Returns when the window is there. pOnEnd is called on the window's thread.
    explicit SessionWindow(OnEnd pOnEnd);
    /// Waits for a call that is under way.
    ~SessionWindow();
    SessionWindow(const SessionWindow&) = delete;
    SessionWindow& operator=(const SessionWindow&) = delete;

    bool isThere() const noexcept { return mWindow != nullptr; }
    /// What the window is registered as.
    static const wchar_t* className() noexcept;

private:
    void run(void* pReady);

    OnEnd mOnEnd;
    void* mWindow = nullptr; ///< HWND
    std::thread mThread;
};

} // namespace vel::kos::host
