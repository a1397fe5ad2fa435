#include "drivers/odbc/sql_OdbcWatch.h"

#include <chrono>
#include <new>
#include <system_error>

#include "kpr/time.h"

namespace vel::kos::drivers {

namespace {

constexpr std::chrono::milliseconds AGAIN(100);

uint64_t now()
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    return tNow;
}

} // namespace

OdbcWatch::~OdbcWatch()
{
    {
        const kpr::Lock tLock(mMutex);
        mQuit = true;
    }
    mChanged.notify_all();
    if (mThread.joinable()) mThread.join();
}

void OdbcWatch::wake()
{
    try {
        if (!mThread.joinable()) mThread = std::thread(&OdbcWatch::watch, this);
    } catch (const std::system_error&) {
        throw std::bad_alloc(); // no thread is to be had
    }
    mChanged.notify_all();
}

void OdbcWatch::begins(Odbc::Handle pStatement, int64_t pMilliseconds)
{
    const kpr::Lock tLock(mMutex);
    mStatement = nullptr;
    mStop = false;
    mDeadline = pMilliseconds < 0 ? 0 : now() + static_cast<uint64_t>(pMilliseconds) * 1000 + 1;
    if (mDeadline) wake(); // may throw: the call is not made then
    mStatement = pStatement;
}

void OdbcWatch::ends()
{
    const kpr::Lock tLock(mMutex);
    mStatement = nullptr;
}

void OdbcWatch::stop()
{
    const kpr::Lock tLock(mMutex);
    if (!mStatement) return;
    mStop = true;
    wake();
}

void OdbcWatch::watch()
{
    kpr::Lock tLock(mMutex);
    while (!mQuit) {
        const uint64_t tNow = now();
        if (!mStatement || (!mStop && mDeadline == 0)) {
            mChanged.wait(tLock);
        } else if (!mStop && tNow < mDeadline) {
            mChanged.wait_for(tLock, std::chrono::microseconds(mDeadline - tNow));
        } else {
            // Under the lock: the statement is there until the request is out.
            gOdbc.cancel(mStatement);
            mChanged.wait_for(tLock, AGAIN);
        }
    }
}

} // namespace vel::kos::drivers
