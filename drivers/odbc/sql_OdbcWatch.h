// Stops statements: at a time, or when another thread wants it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <thread>

#include "drivers/odbc/sql_Odbc.h"
#include "kpr/mutex.h"

namespace vel::kos::drivers {

/// Asks ODBC to cancel what runs on a connection, again and again until it has stopped: a request that comes
/// before the statement has reached the database is lost. ODBC's own time limits are whole seconds, and many
/// drivers have none. The thread is started when it is first needed.
class OdbcWatch {
public:
    OdbcWatch() = default;
    ~OdbcWatch();
    OdbcWatch(const OdbcWatch&) = delete;
    OdbcWatch& operator=(const OdbcWatch&) = delete;

    /// A call on a statement begins, and has so many milliseconds (-1: any number).
    void begins(Odbc::Handle pStatement, int64_t pMilliseconds);
    /// It has ended, and nobody will cancel it any more.
    void ends();
    /// Has what is running stop. Any thread.
    void stop();

private:
    void watch();
    void wake() K_REQUIRES(mMutex);

    kpr::Mutex mMutex;
    std::condition_variable_any mChanged;
    std::thread mThread;
    Odbc::Handle mStatement K_GUARDED_BY(mMutex) = nullptr; ///< what runs
    uint64_t mDeadline K_GUARDED_BY(mMutex) = 0;            ///< in microseconds; 0 without one
    bool mStop K_GUARDED_BY(mMutex) = false;                ///< it is to stop now
    bool mQuit K_GUARDED_BY(mMutex) = false;
};

/// A call that the watch looks after, for as long as the object lives.
class OdbcCall {
public:
    OdbcCall(OdbcWatch& pWatch, Odbc::Handle pStatement, int64_t pMilliseconds) : mWatch(pWatch)
    {
        mWatch.begins(pStatement, pMilliseconds);
    }
    ~OdbcCall() { mWatch.ends(); }
    OdbcCall(const OdbcCall&) = delete;
    OdbcCall& operator=(const OdbcCall&) = delete;

private:
    OdbcWatch& mWatch;
};

} // namespace vel::kos::drivers
