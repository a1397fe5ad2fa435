// A pool of connections to one database, for programs whose threads share them. Header only: it belongs to
// the program that uses it, and the connections are whatever a driver makes.
//
//     sql::ConnectionPool tPool(sql::ConnectionPool::opener(tRegistry, "type=sqlite;file=orders.db"));
//     sql::PooledConnection tConnection;
//     if (auto tRes = tPool.borrow(tConnection); KFAILED(tRes)) return tRes;
//     return tConnection->execute("delete from orders where done", nullptr, nullptr);
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kfw/sql/ISqlDatabase.h"
#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"
#include "kom/heap.h"
#include "kom/ref.h"
#include "kpr/mutex.h"
#include "kpr/time.h"

namespace vel::kos::sql {

/// What a pool keeps to.
struct PoolOptions {
    uint32_t size = 8; ///< the most connections at once, lent and idle ones together; at least 1
    /// Milliseconds after which an idle connection is closed, when the pool is used next or closeIdle is
    /// called; 0: never.
    uint32_t idleTime = 300000;
    /// A connection that has been idle for so many milliseconds is asked for a sign of life before it is
    /// lent, and another one opened when there is none; 0: each one, UINT32_MAX: none.
    uint32_t checkAfter = 1000;
    /// How many milliseconds a thread waits while every connection is lent; 0: not at all. It does not bound
    /// the opening of a connection, which the description may do, nor the sign of life, see checkTime.
    uint32_t waitTime = 30000;
    /// The time limit of a sign of life, in milliseconds; 0: none.
    uint32_t checkTime = 5000;
};

/// How many connections a pool has.
struct PoolState {
    uint32_t lent = 0, idle = 0;
    uint32_t waiting = 0; ///< threads that wait for one
};

class PooledConnection;

/// Threads borrow connections, and give them back by letting go of them. Any thread may call any operation at
/// any time. Who waits longest is served first; nobody who comes later overtakes. Connections that are lent
/// when the pool goes stay of use, and are closed when they are let go of.
class ConnectionPool {
public:
    /// Opens a connection, with one reference for the caller; called by the thread that borrows, several at a
    /// time.
    using Open = std::function<uint32_t(ISqlDatabase** pDatabase)>;

    /// A function that has a registry open a description. While the pool is used, no factory may be
    /// registered or taken out. E_NOT_SUPPORTED when no driver takes the description; why another failure
    /// came about tells getCreateError of the factory, to the thread that has borrowed.
    static Open opener(kom::Ref<ISqlDatabaseFactoryRegistry> pRegistry, std::string pDescription);

    explicit ConnectionPool(Open pOpen, const PoolOptions& pOptions = {});
    ~ConnectionPool() { close(); }
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// Borrows a connection; the one that pConnection has had is given back before. SQL_E_TIMEOUT when none
    /// has come free in time (PoolOptions::waitTime, or pWaitTime), E_WRONG_STATE when the pool is closed, or
    /// what opening one has failed with.
    uint32_t borrow(PooledConnection& pConnection);
    uint32_t borrow(PooledConnection& pConnection, uint32_t pWaitTime);
    /// Closes the connections that have been idle for too long. For programs that do not use the pool for
    /// hours.
    void closeIdle();
    /// Closes what is idle, and lends no more: whoever waits or borrows gets E_WRONG_STATE.
    void close();
    PoolState state() const;

private:
    friend class PooledConnection;

    using Connection = kom::Ref<ISqlDatabase>;
    struct Idle {
        Connection connection;
        uint64_t since; ///< in microseconds
    };
    /// A thread that waits, on its own stack. What comes free is put into the hand of the first.
    struct Waiter {
        std::condition_variable_any changed;
        bool served = false;
        Idle gift{}; ///< without a connection: it may open one
    };

    /// What outlives the pool for the sake of connections that are lent.
    class Core {
    public:
        Core(Open pOpen, const PoolOptions& pOptions) : mOpen(std::move(pOpen)), mOptions(pOptions)
        {
            mIdle.reserve(size());
        }

        uint32_t borrow(uint32_t pWaitTime, Connection& pConnection);
        /// Takes a connection back, or with none the right to have one.
        void giveBack(Connection pConnection);
        void closeIdle();
        void close();
        PoolState state() const;
        const PoolOptions& options() const { return mOptions; }

    private:
        /// The right to have a connection, which is given back unless one is handed over.
        struct Place {
            ~Place()
            {
                if (core) core->giveBack({});
            }
            Core* core;
        };

        uint32_t size() const { return std::max<uint32_t>(mOptions.size, 1); }
        static uint64_t now()
        {
            uint64_t tNow = 0;
            kprGetMonotonicTime(&tNow);
            return tNow;
        }
        /// Whether so many milliseconds have gone since a time.
        static bool isOver(uint64_t pSince, uint32_t pMilliseconds)
        {
            return now() - pSince >= uint64_t{pMilliseconds} * 1000;
        }
        uint32_t take(uint32_t pWaitTime, Idle& pIdle);
        bool isAlive(const Idle& pIdle) const;

        const Open mOpen;
        const PoolOptions mOptions;
        mutable kpr::Mutex mMutex;
        /// In the order in which they were given back; the last is lent first. There is room for all.
        std::vector<Idle> mIdle K_GUARDED_BY(mMutex);
        std::deque<Waiter*> mWaiters K_GUARDED_BY(mMutex);
        uint32_t mLent K_GUARDED_BY(mMutex) = 0; ///< and those that are being opened
        bool mClosed K_GUARDED_BY(mMutex) = false;
    };

    const std::shared_ptr<Core> mCore;
};

/// A connection of a pool, given back when the object goes. For one thread at a time, as the connection.
class PooledConnection {
public:
    PooledConnection() = default;
    PooledConnection(PooledConnection&& pOther) noexcept
        : mCore(std::move(pOther.mCore)), mConnection(std::move(pOther.mConnection))
    {
    }
    PooledConnection& operator=(PooledConnection&& pOther) noexcept
    {
        if (this == &pOther) return *this;
        giveBack();
        mCore = std::move(pOther.mCore);
        mConnection = std::move(pOther.mConnection);
        return *this;
    }
    ~PooledConnection() { giveBack(); }

    ISqlDatabase* get() const { return mConnection.get(); }
    ISqlDatabase* operator->() const { return mConnection.get(); }
    explicit operator bool() const { return static_cast<bool>(mConnection); }

    /// Gives the connection back. What has not been committed is rolled back, and the time limit taken off.
    /// It is closed instead when that fails, when it is lost, or when the program still holds a reference to
    /// it, a statement or rows of it: with the last of these. Whatever else was set for the session stays
    /// set.
    void giveBack();
    /// Gives up a connection that is of no use any more: the pool may open another one.
    void discard();

private:
    friend class ConnectionPool;

    /// Whether the last failure was that of a connection that is lost, for good.
    bool isLost() const
    {
        SqlError tError{};
        if (KFAILED(mConnection->getError(&tError))) return false;
        komFree(tError.mText);
        return tError.mCode == SQL_E_CONNECTION;
    }

    std::shared_ptr<ConnectionPool::Core> mCore;
    kom::Ref<ISqlDatabase> mConnection;
};

// --- The pool ---------------------------------------------------------------------------------------------

inline ConnectionPool::Open ConnectionPool::opener(kom::Ref<ISqlDatabaseFactoryRegistry> pRegistry,
                                                   std::string pDescription)
{
    return
        [tRegistry = std::move(pRegistry), tDescription = std::move(pDescription)](ISqlDatabase** pDatabase) {
            *pDatabase = nullptr;
            const uint32_t tRes = tRegistry->createDatabase(tDescription.c_str(), pDatabase);
            return KFAILED(tRes) || *pDatabase ? tRes : E_NOT_SUPPORTED;
        };
}

inline ConnectionPool::ConnectionPool(Open pOpen, const PoolOptions& pOptions)
    : mCore(std::make_shared<Core>(std::move(pOpen), pOptions))
{
}

inline uint32_t ConnectionPool::borrow(PooledConnection& pConnection)
{
    return borrow(pConnection, mCore->options().waitTime);
}

inline uint32_t ConnectionPool::borrow(PooledConnection& pConnection, uint32_t pWaitTime)
{
    pConnection.giveBack();
    if (auto tRes = mCore->borrow(pWaitTime, pConnection.mConnection); KFAILED(tRes)) return tRes;
    pConnection.mCore = mCore;
    return 0;
}

inline void ConnectionPool::closeIdle() { mCore->closeIdle(); }

inline void ConnectionPool::close() { mCore->close(); }

inline PoolState ConnectionPool::state() const { return mCore->state(); }

inline uint32_t ConnectionPool::Core::take(uint32_t pWaitTime, Idle& pIdle)
{
    kpr::Lock tLock(mMutex);
    if (mClosed) return E_WRONG_STATE;
    // While somebody waits, nothing is idle and every place is taken.
    if (!mIdle.empty()) {
        pIdle = std::move(mIdle.back());
        mIdle.pop_back();
        ++mLent;
        return 0;
    }
    if (mLent < size()) {
        ++mLent;
        return 0;
    }
    const uint64_t tDeadline = now() + uint64_t{pWaitTime} * 1000;
    Waiter tWaiter;
    mWaiters.push_back(&tWaiter);
    for (uint64_t tNow = now(); !tWaiter.served && !mClosed && tNow < tDeadline; tNow = now())
        tWaiter.changed.wait_for(tLock, std::chrono::microseconds(tDeadline - tNow));
    if (tWaiter.served) {
        pIdle = std::move(tWaiter.gift);
        return 0;
    }
    mWaiters.erase(std::find(mWaiters.begin(), mWaiters.end(), &tWaiter));
    return mClosed ? E_WRONG_STATE : SQL_E_TIMEOUT;
}

inline bool ConnectionPool::Core::isAlive(const Idle& pIdle) const
{
    if (mOptions.checkAfter == UINT32_MAX || !isOver(pIdle.since, mOptions.checkAfter)) return true;
    ISqlDatabase* const tConnection = pIdle.connection.get();
    // A driver that has no time limits, or no signs of life, is not asked for them.
    tConnection->setTimeout(mOptions.checkTime);
    const uint32_t tRes = tConnection->check();
    tConnection->setTimeout(0);
    return !KFAILED(tRes) || tRes == E_NOT_SUPPORTED;
}

inline uint32_t ConnectionPool::Core::borrow(uint32_t pWaitTime, Connection& pConnection)
{
    closeIdle();
    Idle tIdle{};
    if (auto tRes = take(pWaitTime, tIdle); KFAILED(tRes)) return tRes;
    Place tPlace{this};
    if (tIdle.connection && !isAlive(tIdle)) tIdle.connection.reset();
    if (!tIdle.connection) {
        const uint32_t tRes = mOpen(tIdle.connection.out());
        if (KFAILED(tRes)) return tRes;
        if (!tIdle.connection) return E_NOT_SUPPORTED;
    }
    pConnection = std::move(tIdle.connection);
    tPlace.core = nullptr;
    return 0;
}

inline void ConnectionPool::Core::giveBack(Connection pConnection)
{
    {
        const kpr::Lock tLock(mMutex);
        if (!mWaiters.empty() && !mClosed) {
            Waiter& tFirst = *mWaiters.front();
            mWaiters.pop_front();
            tFirst.served = true;
            tFirst.gift = {std::move(pConnection), now()};
            tFirst.changed.notify_one();
            return;
        }
        --mLent;
        if (pConnection && !mClosed) mIdle.push_back({std::move(pConnection), now()});
    }
    // One that is left here, of a pool that is closed, is closed without the mutex, as the idle ones.
    closeIdle();
}

inline void ConnectionPool::Core::closeIdle()
{
    for (;;) {
        Idle tExpired{};
        const kpr::Lock tLock(mMutex);
        if (!mOptions.idleTime || mIdle.empty() || !isOver(mIdle.front().since, mOptions.idleTime)) return;
        tExpired = std::move(mIdle.front());
        mIdle.erase(mIdle.begin());
    }
}

inline void ConnectionPool::Core::close()
{
    std::vector<Idle> tIdle; // closed without the mutex
    const kpr::Lock tLock(mMutex);
    mClosed = true;
    tIdle.swap(mIdle);
    for (Waiter* const tWaiter : mWaiters)
        tWaiter->changed.notify_one();
}

inline PoolState ConnectionPool::Core::state() const
{
    const kpr::Lock tLock(mMutex);
    return {mLent, static_cast<uint32_t>(mIdle.size()), static_cast<uint32_t>(mWaiters.size())};
}

// --- What is borrowed -------------------------------------------------------------------------------------

inline void PooledConnection::giveBack()
{
    if (!mConnection) return;
    uint32_t tState = SQL_TRANSACTION_NONE;
    // Whoever held on to it could use it from another thread than the next one's.
    mConnection->addRef();
    if (mConnection->release() != 1 || isLost() || KFAILED(mConnection->getTransactionState(&tState)) ||
        (tState != SQL_TRANSACTION_NONE && KFAILED(mConnection->rollback())))
        return discard();
    mConnection->setTimeout(0);
    const auto tCore = std::move(mCore);
    tCore->giveBack(std::move(mConnection));
}

inline void PooledConnection::discard()
{
    if (!mConnection) return;
    mConnection.reset();
    const auto tCore = std::move(mCore);
    tCore->giveBack({});
}

} // namespace vel::kos::sql
