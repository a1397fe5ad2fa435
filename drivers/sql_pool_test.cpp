// The pool of connections: with a database that only counts, and with every driver.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "drivers/testing/sql_TestDriver.h"
#include "kfw/client/ConnectionPool.h"
#include "kfw/sql/Unsupported.h"

namespace vel::kos::drivers {

namespace {

using namespace std::chrono_literals;

/// What the connections of a test do, and what is done with them.
struct Counts {
    std::atomic<int> opened{0}, closed{0}, checks{0}, rollbacks{0};
    std::atomic<uint32_t> failOpen{0}, failCheck{0}, failRollback{0}, error{0}, timeout{0};
    std::atomic<uint32_t> transaction{sql::SQL_TRANSACTION_NONE};
};

class CountedDatabase final : public sql::Unsupported<kom::Implements<CountedDatabase, sql::ISqlDatabase>> {
    friend Implements;

public:
    CountedDatabase(Counts& pCounts, int pNumber) : number(pNumber), mCounts(pCounts) {}
    virtual ~CountedDatabase() { ++mCounts.closed; }

    uint32_t getDatabaseType(char**) override { return E_NOT_SUPPORTED; }
    uint32_t check() override
    {
        ++mCounts.checks;
        return mCounts.failCheck;
    }
    uint32_t getTransactionState(uint32_t* pState) override
    {
        *pState = mCounts.transaction;
        return 0;
    }
    uint32_t rollback() override
    {
        ++mCounts.rollbacks;
        return mCounts.failRollback;
    }
    uint32_t setTimeout(uint32_t pMilliseconds) override
    {
        mCounts.timeout = pMilliseconds;
        return 0;
    }
    uint32_t getError(sql::SqlError* pError) override
    {
        *pError = {};
        pError->mCode = mCounts.error;
        return 0;
    }

    const int number;

private:
    kom::RefCount mRefCount;
    Counts& mCounts;
};

int numberOf(const sql::PooledConnection& pConnection)
{
    return static_cast<CountedDatabase*>(pConnection.get())->number;
}

class ConnectionPoolTest : public testing::Test {
protected:
    sql::ConnectionPool::Open opener()
    {
        return [this](sql::ISqlDatabase** pDatabase) -> uint32_t {
            if (mCounts.failOpen) return mCounts.failOpen;
            *pDatabase = kom::retain(new CountedDatabase(mCounts, ++mCounts.opened)).detach();
            return 0;
        };
    }
    /// Waits until so many threads wait for a connection.
    static void awaitWaiting(const sql::ConnectionPool& pPool, uint32_t pCount)
    {
        while (pPool.state().waiting != pCount)
            std::this_thread::sleep_for(1ms);
    }

    test::LeakCheck mLeaks;
    Counts mCounts;
};

TEST_F(ConnectionPoolTest, lendsTheOneThatWasGivenBackLast)
{
    sql::ConnectionPool tPool(opener());
    sql::PooledConnection tOne, tOther;
    ASSERT_EQ(tPool.borrow(tOne), 0u);
    ASSERT_EQ(tPool.borrow(tOther), 0u);
    EXPECT_EQ(tPool.state().lent, 2u);
    tOne.giveBack();
    EXPECT_FALSE(tOne);
    tOther.giveBack();
    tOther.giveBack(); // nothing
    EXPECT_EQ(tPool.state().idle, 2u);
    EXPECT_EQ(tPool.state().lent, 0u);
    ASSERT_EQ(tPool.borrow(tOne), 0u);
    EXPECT_EQ(numberOf(tOne), 2);
    ASSERT_EQ(tPool.borrow(tOne), 0u) << "it is given back before";
    EXPECT_EQ(numberOf(tOne), 2);
    tOther = std::move(tOne);
    EXPECT_EQ(tPool.state().lent, 1u);
    EXPECT_EQ(mCounts.checks, 0) << "none was idle for a second";
    tPool.close();
    EXPECT_EQ(mCounts.closed, 1);
    tOther.giveBack();
    EXPECT_EQ(mCounts.closed, 2);
}

TEST_F(ConnectionPoolTest, waitsNoLongerThanItMay)
{
    sql::ConnectionPool tPool(opener(), {.size = 1, .waitTime = 50});
    sql::PooledConnection tOne, tOther;
    ASSERT_EQ(tPool.borrow(tOne), 0u);
    const auto tBefore = std::chrono::steady_clock::now();
    EXPECT_EQ(tPool.borrow(tOther), SQL_E_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - tBefore, 50ms);
    EXPECT_EQ(tPool.borrow(tOther, 0), SQL_E_TIMEOUT);
    EXPECT_FALSE(tOther);
    EXPECT_EQ(tPool.state().waiting, 0u);
    tOne.giveBack();
    EXPECT_EQ(tPool.borrow(tOther), 0u);
}

TEST_F(ConnectionPoolTest, servesThoseWhoWaitInTheirOrder)
{
    sql::ConnectionPool tPool(opener(), {.size = 1});
    sql::PooledConnection tMine;
    ASSERT_EQ(tPool.borrow(tMine), 0u);
    std::vector<int> tOrder; // written by whoever has the one connection
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 5; ++i) {
        tThreads.emplace_back([&tPool, &tOrder, i] {
            sql::PooledConnection tConnection;
            EXPECT_EQ(tPool.borrow(tConnection), 0u);
            tOrder.push_back(i);
        });
        awaitWaiting(tPool, static_cast<uint32_t>(i) + 1);
    }
    tMine.giveBack();
    // Whoever comes now comes behind them.
    EXPECT_EQ(tPool.borrow(tMine), 0u);
    EXPECT_EQ(tOrder, (std::vector<int>{0, 1, 2, 3, 4}));
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(mCounts.opened, 1);
}

TEST_F(ConnectionPoolTest, handsOnTheRightToOpenOne)
{
    sql::ConnectionPool tPool(opener(), {.size = 1});
    sql::PooledConnection tMine;
    ASSERT_EQ(tPool.borrow(tMine), 0u);
    std::thread tThread([&tPool] {
        sql::PooledConnection tConnection;
        EXPECT_EQ(tPool.borrow(tConnection), 0u);
        EXPECT_EQ(numberOf(tConnection), 2);
    });
    awaitWaiting(tPool, 1);
    tMine.discard();
    tThread.join();
    EXPECT_EQ(mCounts.closed, 1);
    EXPECT_EQ(tPool.state().idle, 1u);
}

TEST_F(ConnectionPoolTest, aFailureToOpenTakesNoPlace)
{
    sql::ConnectionPool tPool(opener(), {.size = 1});
    sql::PooledConnection tConnection;
    mCounts.failOpen = SQL_E_PERMISSION;
    EXPECT_EQ(tPool.borrow(tConnection), SQL_E_PERMISSION);
    EXPECT_EQ(tPool.borrow(tConnection), SQL_E_PERMISSION);
    EXPECT_EQ(tPool.state().lent, 0u);
    mCounts.failOpen = 0;
    EXPECT_EQ(tPool.borrow(tConnection), 0u);
    sql::ConnectionPool tThrowing([](sql::ISqlDatabase**) -> uint32_t { throw std::bad_alloc(); },
                                  {.size = 1});
    EXPECT_THROW(tThrowing.borrow(tConnection), std::bad_alloc);
    EXPECT_EQ(tThrowing.state().lent, 0u);
    sql::ConnectionPool tNothing([](sql::ISqlDatabase**) { return 0u; });
    EXPECT_EQ(tNothing.borrow(tConnection), E_NOT_SUPPORTED);
}

TEST_F(ConnectionPoolTest, asksForASignOfLife)
{
    sql::ConnectionPool tPool(opener(), {.size = 1, .checkAfter = 0, .checkTime = 77});
    sql::PooledConnection tConnection;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    EXPECT_EQ(mCounts.checks, 0) << "it is new";
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    EXPECT_EQ(mCounts.checks, 1);
    EXPECT_EQ(numberOf(tConnection), 1);
    EXPECT_EQ(mCounts.timeout, 0u) << "the limit was that of the question only";
    mCounts.failCheck = SQL_E_CONNECTION;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    EXPECT_EQ(numberOf(tConnection), 2) << "another one";
    EXPECT_EQ(mCounts.closed, 1);
    mCounts.failCheck = E_NOT_SUPPORTED;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    EXPECT_EQ(numberOf(tConnection), 2) << "it cannot be asked";
    sql::ConnectionPool tTrusting(opener(), {.checkAfter = UINT32_MAX});
    ASSERT_EQ(tTrusting.borrow(tConnection), 0u);
    const int tChecks = mCounts.checks;
    ASSERT_EQ(tTrusting.borrow(tConnection), 0u);
    EXPECT_EQ(mCounts.checks, tChecks);
}

TEST_F(ConnectionPoolTest, givesBackWhatIsClean)
{
    sql::ConnectionPool tPool(opener());
    sql::PooledConnection tConnection;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    mCounts.transaction = sql::SQL_TRANSACTION_OPEN;
    tConnection->setTimeout(99);
    tConnection.giveBack();
    EXPECT_EQ(mCounts.rollbacks, 1);
    EXPECT_EQ(mCounts.timeout, 0u);
    EXPECT_EQ(tPool.state().idle, 1u);
    mCounts.failRollback = E_FAIL;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    tConnection.giveBack();
    EXPECT_EQ(tPool.state().idle, 0u) << "its transaction does not end";
    mCounts.transaction = sql::SQL_TRANSACTION_NONE;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    mCounts.error = SQL_E_CONNECTION;
    tConnection.giveBack();
    EXPECT_EQ(tPool.state().idle, 0u) << "it is lost";
    mCounts.error = SQL_E_SYNTAX;
    ASSERT_EQ(tPool.borrow(tConnection), 0u);
    EXPECT_EQ(mCounts.closed, 2);
    {
        const auto tKept = kom::retain(tConnection.get());
        tConnection.giveBack();
        EXPECT_EQ(tPool.state().idle, 0u) << "somebody still has it";
        EXPECT_EQ(tPool.state().lent, 0u);
        EXPECT_EQ(mCounts.closed, 2);
    }
    EXPECT_EQ(mCounts.closed, 3);
}

TEST_F(ConnectionPoolTest, closesWhatIsIdleForTooLong)
{
    sql::ConnectionPool tPool(opener(), {.idleTime = 30});
    sql::PooledConnection tOne, tOther;
    ASSERT_EQ(tPool.borrow(tOne), 0u);
    ASSERT_EQ(tPool.borrow(tOther), 0u);
    tOne.giveBack();
    std::this_thread::sleep_for(40ms);
    tOther.giveBack();
    EXPECT_EQ(mCounts.closed, 1);
    std::this_thread::sleep_for(40ms);
    tPool.closeIdle();
    EXPECT_EQ(mCounts.closed, 2);
    sql::ConnectionPool tKeeping(opener(), {.idleTime = 0});
    ASSERT_EQ(tKeeping.borrow(tOne), 0u);
    tOne.giveBack();
    std::this_thread::sleep_for(5ms);
    tKeeping.closeIdle();
    EXPECT_EQ(tKeeping.state().idle, 1u);
}

TEST_F(ConnectionPoolTest, whatIsLentOutlivesThePool)
{
    sql::PooledConnection tConnection;
    std::thread tThread;
    {
        sql::ConnectionPool tPool(opener(), {.size = 1});
        ASSERT_EQ(tPool.borrow(tConnection), 0u);
        tThread = std::thread([&tPool] {
            sql::PooledConnection tOther;
            EXPECT_EQ(tPool.borrow(tOther), E_WRONG_STATE);
        });
        awaitWaiting(tPool, 1);
        tPool.close();
        EXPECT_EQ(tPool.borrow(tConnection), E_WRONG_STATE);
        EXPECT_FALSE(tConnection) << "it was given back before";
        tThread.join();
        EXPECT_EQ(mCounts.closed, 1);
    }
    {
        sql::ConnectionPool tPool(opener());
        ASSERT_EQ(tPool.borrow(tConnection), 0u);
    }
    EXPECT_EQ(mCounts.closed, 1);
    EXPECT_EQ(tConnection->check(), 0u);
    tConnection.giveBack();
    EXPECT_EQ(mCounts.closed, 2);
}

TEST_F(ConnectionPoolTest, manyThreadsNeverShareOne)
{
    constexpr uint32_t SIZE = 3;
    std::atomic<int> tUsers[100] = {};
    {
        sql::ConnectionPool tPool(opener(), {.size = SIZE, .idleTime = 1, .checkAfter = 0});
        std::vector<std::thread> tThreads;
        for (int i = 0; i < 8; ++i)
            tThreads.emplace_back([&, i] {
                for (int tRound = 0; tRound < 200; ++tRound) {
                    sql::PooledConnection tConnection;
                    ASSERT_EQ(tPool.borrow(tConnection), 0u);
                    const sql::PoolState tState = tPool.state();
                    ASSERT_LE(tState.lent + tState.idle, SIZE);
                    const auto tPlace = static_cast<size_t>(numberOf(tConnection)) % std::size(tUsers);
                    ASSERT_EQ(++tUsers[tPlace], 1);
                    if (tRound % 7 == i % 7) std::this_thread::yield();
                    ASSERT_EQ(--tUsers[tPlace], 0);
                    if (tRound % 50 == 49) tConnection.discard();
                }
            });
        for (std::thread& tThread : tThreads)
            tThread.join();
        EXPECT_EQ(tPool.state().lent, 0u);
        EXPECT_LE(tPool.state().idle, SIZE);
        EXPECT_LE(mCounts.opened - mCounts.closed, static_cast<int>(SIZE));
    }
    EXPECT_EQ(mCounts.opened, mCounts.closed);
}

using PoolTest = DriverTest;

TEST_P(PoolTest, threadsShareItsConnections)
{
    constexpr int THREADS = 6, EACH = 5;
    const kom::Ref<sql::ISqlDatabaseFactoryRegistry> tRegistry = mRegistry;
    sql::ConnectionPool tPool(
        sql::ConnectionPool::opener(tRegistry,
                                    mDescription + (isSqlite() && !isOdbc() ? ";timeout=60000" : "")),
        {.size = 2, .checkAfter = 0});
    std::atomic<int> tDone{0};
    std::vector<std::thread> tThreads;
    for (int i = 0; i < THREADS; ++i)
        tThreads.emplace_back([&, i] {
            for (int tNumber = i * EACH; tNumber < (i + 1) * EACH;) {
                sql::PooledConnection tConnection;
                ASSERT_EQ(tPool.borrow(tConnection), 0u);
                uint32_t tRes = tConnection->begin(sql::SQL_BEGIN_IMMEDIATE, sql::SQL_ISOLATION_DEFAULT);
                if (!KFAILED(tRes))
                    tRes = execute(tConnection.get(), "insert into driver_test values (?, 'x')", {tNumber});
                // Every third is forgotten once, and taken back.
                if (!KFAILED(tRes) && tNumber % 3 == 0 && tDone++ % 2 == 0) continue;
                if (!KFAILED(tRes)) tRes = tConnection->commit();
                if (!KFAILED(tRes)) ++tNumber;
                ASSERT_TRUE(!KFAILED(tRes) || tRes == SQL_E_BUSY) << tRes;
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(THREADS * EACH));
    EXPECT_EQ(tPool.state().lent, 0u);
    EXPECT_LE(tPool.state().idle, 2u);
}

INSTANTIATE_TEST_SUITE_P(every, PoolTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
