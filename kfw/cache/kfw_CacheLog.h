// A cache's log, which its cleaner thread shares.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kfw/IApplication.h"
#include "kfw/cache/format/kfw_ProblemLog.h"
#include "kom/ref.h"
#include "kpr/mutex.h"
#include "kpr/thread.h"

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
    void attach(fw::IApplication* pApp);
    /// Takes the application away: no line that is written from now on reaches it. A line that another thread
    /// is just handing over goes on with a reference of its own.
    kom::Ref<fw::IApplication> detach();
    /// The application, null without one. Borrowed: not for who may run at the same time as detach().
    fw::IApplication* application() const;

    /// Writes a line at error level.
    void error(const std::string& pMessage);
    void assertion(const char* pExpression, int pLine) override;

    /// Keeps the lines of its thread back while it lives, and writes them when it goes. It is made before a
    /// lock is taken and goes after the lock was given back. Of several of one thread the outermost writes.
    class Hold {
    public:
        explicit Hold(CacheLog& pLog) : mLog(pLog), mThread(kprGetThreadId()) { mLog.enter(*this); }
        /// Lines that cannot be written for lack of memory are lost.
        ~Hold() { mLog.leave(*this); }
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
        /// The log's holds, the newest first. Only with the log's mutex: the analysis cannot see that all of
        /// them have one log.
        Hold* mNext = nullptr;
        std::vector<Line> mLines;
    };

private:
    using Line = Hold::Line;

    /// What a hold does at its beginning and its end. Here, since Clang looks into no constructor.
    void enter(Hold& pHold);
    void leave(Hold& pHold);
    void writeDebug(const std::string& pMessage) override;
    void write(Line pLine);
    /// Hands a line over, with no lock held.
    static void deliver(fw::IApplication* pApp, const Line& pLine);
    /// The newest hold of a thread, or null.
    Hold* findHold(uint64_t pThread) const K_REQUIRES(mMutex);

    /// Never held while the application is called.
    mutable kpr::Mutex mMutex;
    kom::Ref<fw::IApplication> mApp K_GUARDED_BY(mMutex);
    Hold* mHolds K_GUARDED_BY(mMutex) = nullptr;
};

} // namespace vel::kos::kfw
