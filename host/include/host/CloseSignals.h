// The operating system's ways to ask a program to end: Ctrl-C, SIGTERM and hang-up (Linux), Ctrl-C,
// Ctrl-Break, the closing of the console, logoff and shutdown (Windows).
#pragma once

#include "host/Waker.h"

namespace vel::kos::host {

/// While an object lives, such a request wakes the waker, and isPending() reports it; nothing else is done.
/// The second request of a process ends it as if nothing had been installed, so that a program that hangs can
/// still be stopped; but when Windows is about to end the process anyway, it only waits for the work of the
/// first. One object at a time.
///
/// When a console closes or the session ends, Windows ends the process as soon as the handler returns: there
/// it waits, as long as Windows lets it, for the object's destruction. Once user32 is loaded Windows
/// announces the end of a session only to windows. Any library may load it, so it is always loaded here, with
/// a hidden window.
class CloseSignals {
public:
    explicit CloseSignals(Waker& pWaker);
    ~CloseSignals();
    CloseSignals(const CloseSignals&) = delete;
    CloseSignals& operator=(const CloseSignals&) = delete;

    /// Whether a request has come since the construction. Any thread.
    static bool isPending() noexcept;
};

} // namespace vel::kos::host
