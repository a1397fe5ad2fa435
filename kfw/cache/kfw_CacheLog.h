// A cache's log, which its cleaner thread shares.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "kfw/IApplication.h"
#include "kfw/cache/format/kfw_ProblemLog.h"
#include "kom/ref.h"

namespace vel::kos::kfw {

/// Writes to the application's log for as long as the cache lives, and to the log without an application
/// afterwards. Any thread.
///
/// The application is called without any lock of the cache: a line that is written while its thread holds one
/// (see Hold) waits until the lock was given back. So an application may wait, while it takes a line, for
/// another thread that is inside the cache, and may call the cache itself.
class CacheLog final : public ProblemLog {
public:
    CacheLog() = default;
    CacheLog(const CacheLog&) = delete;
    CacheLog& operator=(const CacheLog&) = delete;

    /// Sets the application, before other threads use the log.
    void attach(fw::IApplication* pApp) { mApp = kom::retain(pApp); }
    /// Takes the application away: no line that is written from now on reaches it. A line that another thread
    /// is just handing over goes on with a reference of its own.
    kom::Ref<fw::IApplication> detach();
    /// The application, for who may not run at the same time as attach() and detach(); null without one.
    fw::IApplication* application() const noexcept { return mApp.get(); }

    /// Writes a line to the error log.
    void error(const std::string& pMessage);
    void assertion(const char* pExpression, int pLine) override;

    /// Keeps the lines of its thread back while it lives, and writes them when it goes. It is made before a
    /// lock is taken and goes after the lock was given back. Of several of one thread the outermost writes.
    class Hold {
    public:
        explicit Hold(CacheLog& pLog);
        /// Lines that cannot be written for lack of memory are lost.
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        friend CacheLog;
        struct Line {
            enum Kind { DEBUG, ERROR_LINE, ASSERTION } kind;
            std::string text;
            int line; ///< of an assertion
        };

        CacheLog& mLog;
        const uint64_t mThread;
        Hold* mNext = nullptr; ///< the log's holds, the newest first; guarded by the log's mutex
        std::vector<Line> mLines;
    };

private:
    using Line = Hold::Line;

    void writeDebug(const std::string& pMessage) override;
    void write(Line pLine);
    /// Hands a line over, with no lock held.
    static void deliver(fw::IApplication* pApp, const Line& pLine);
    /// The newest hold of a thread, or null. Under the mutex.
    Hold* findHold(uint64_t pThread) const;

    /// Guards the members, and is never held while the application is called.
    std::mutex mMutex;
    kom::Ref<fw::IApplication> mApp;
    Hold* mHolds = nullptr;
};

} // namespace vel::kos::kfw
