// The contract of the drivers: limits of time, and cancelling from another thread.
#include <atomic>
#include <chrono>
#include <thread>

#include "drivers/testing/sql_TestDriver.h"

namespace vel::kos::drivers {

namespace {

using StoppingTest = DriverTest;
using namespace std::chrono_literals;

TEST_P(StoppingTest, whatTakesTooLongIsStopped)
{
    const auto tBefore = std::chrono::steady_clock::now();
    EXPECT_EQ(mDatabase->setTimeout(200), 0u);
    EXPECT_EQ(execute(words().slow), SQL_E_TIMEOUT) << error().text;
    EXPECT_EQ(error().state, "57014");
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->query(words().slow, nullptr, tRows.out()), SQL_E_TIMEOUT);
    EXPECT_EQ(execute(words().slowChange), SQL_E_TIMEOUT) << error().text;
    EXPECT_EQ(run(prepare(words().slow).get(), {}), SQL_E_TIMEOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - tBefore, 30s);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0)) << "the connection is still of use";
    EXPECT_EQ(mDatabase->setTimeout(0), 0u);
    EXPECT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
}

/// Asks a connection to stop what it does, again and again, from a thread of its own.
class Canceller {
public:
    explicit Canceller(sql::ISqlDatabase* pDatabase)
        : mThread([this, pDatabase] {
              while (!mDone) {
                  std::this_thread::sleep_for(20ms);
                  pDatabase->cancel();
              }
          })
    {
    }
    ~Canceller()
    {
        mDone = true;
        mThread.join();
    }

private:
    std::atomic<bool> mDone{false};
    std::thread mThread;
};

TEST_P(StoppingTest, whatIsCancelledIsStopped)
{
    EXPECT_EQ(mDatabase->cancel(), 0u) << "nothing runs";
    EXPECT_EQ(cell("select 1"), Cell(1));
    {
        const Canceller tCanceller(mDatabase.get());
        EXPECT_EQ(execute(words().slow), SQL_E_CANCELLED) << error().text;
        EXPECT_EQ(error().state, "57014");
        EXPECT_EQ(execute(words().slowChange), SQL_E_CANCELLED) << error().text;
    }
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
}

TEST_P(StoppingTest, aCancelEndsWithItsCall)
{
    ASSERT_EQ(execute("insert into driver_test values (1, 'x'), (2, 'y')"), 0u);
    auto tRows = query("select n from driver_test order by n");
    EXPECT_EQ(next(tRows.get()), Row{1});
    if (!can(sql::SQL_FEATURE_MANY_RESULTS)) tRows.reset();
    {
        const Canceller tCanceller(mDatabase.get());
        EXPECT_EQ(execute(words().slow), SQL_E_CANCELLED) << error().text;
    }
    if (!isSqlite()) mDatabase->check(); // a server may take the last request late, for what comes next
    EXPECT_EQ(execute("insert into driver_test values (3, 'z')"), 0u) << error().text;
    if (tRows) {
        EXPECT_EQ(next(tRows.get()), Row{2});
    }
}

TEST_P(StoppingTest, waitingForALockCanBeCancelled)
{
    if (GetParam() == "odbc_sqlite")
        GTEST_SKIP() << "SQLite's ODBC driver hears nothing while it waits for a lock";
    const auto tOther = open(isSqlite() ? ";timeout=60000" : "");
    ASSERT_TRUE(tOther);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_IMMEDIATE, 0), 0u);
    ASSERT_EQ(execute("update driver_test set t = 'mine'"), 0u);
    tOther->setTimeout(100);
    EXPECT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs'"), SQL_E_TIMEOUT);
    tOther->setTimeout(0);
    {
        const Canceller tCanceller(tOther.get());
        EXPECT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs'"), SQL_E_CANCELLED);
    }
    EXPECT_EQ(mDatabase->commit(), 0u);
}

INSTANTIATE_TEST_SUITE_P(every, StoppingTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
