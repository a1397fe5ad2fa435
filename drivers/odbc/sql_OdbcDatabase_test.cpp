// A connection behind ODBC when its database, or memory, fails at the worst moment.
#include <thread>

#include <gtest/gtest.h>

#include "drivers/odbc/sql_OdbcDatabase.h"
#include "drivers/testing/sql_FakeOdbc.h"
#include "drivers/testing/sql_WithoutMemory.h"
#include "tests/support/LeakCheck.h"

namespace vel::kos::drivers {

namespace {

using namespace std::chrono_literals;

class OdbcDatabaseTest : public testing::Test {
protected:
    void SetUp() override { mDatabase = open(); }

    kom::Ref<sql::ISqlDatabase> open()
    {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        Description tDescription;
        EXPECT_TRUE(tDescription.parse("type=odbc;dsn=fake"));
        EXPECT_EQ(OdbcDatabase::open(tDescription, tDatabase).code, 0u);
        return tDatabase;
    }
    kom::Ref<sql::ISqlStatement> prepare(const char* pText)
    {
        kom::Ref<sql::ISqlStatement> tStatement;
        EXPECT_EQ(mDatabase->prepare(pText, tStatement.out()), 0u);
        return tStatement;
    }
    kom::Ref<sql::ISqlRows> query(const char* pText)
    {
        kom::Ref<sql::ISqlRows> tRows;
        EXPECT_EQ(mDatabase->query(pText, nullptr, tRows.out()), 0u);
        return tRows;
    }
    uint32_t execute(const char* pText) { return mDatabase->execute(pText, nullptr, nullptr); }
    uint32_t state()
    {
        uint32_t tState = 99;
        EXPECT_EQ(mDatabase->getTransactionState(&tState), 0u);
        return tState;
    }

    test::LeakCheck mLeaks;
    FakeOdbc mFake;
    kom::Ref<sql::ISqlDatabase> mDatabase;
    const sql::SqlValue mOne = sql::integerValue(1);
    const sql::SqlValueList mValues{1, &mOne};
};

TEST_F(OdbcDatabaseTest, aCancelBetweenTwoCallsOfODBCIsHeard)
{
    mFake.onBind = [this] { mDatabase->cancel(); };
    mFake.onRun = [this](const std::string&) {
        if (!mFake.waitForCancel()) return odbc::SUCCESS;
        mFake.state = "HY008";
        return odbc::FAILED;
    };
    EXPECT_EQ(prepare("update t set n = ?")->execute(&mValues, nullptr), SQL_E_CANCELLED);
    EXPECT_EQ(mDatabase->execute("update t set n = ?", &mValues, nullptr), SQL_E_CANCELLED);
}

TEST_F(OdbcDatabaseTest, aCancelWhileItIsPreparedIsHeard)
{
    bool tRun = false;
    mFake.onPrepare = [this](const std::string&) {
        mDatabase->cancel();
        return odbc::SUCCESS;
    };
    mFake.onRun = [&tRun](const std::string&) {
        tRun = true;
        return odbc::SUCCESS;
    };
    EXPECT_EQ(mDatabase->execute("update t set n = ?", &mValues, nullptr), SQL_E_CANCELLED);
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->query("select ?", &mValues, tRows.out()), SQL_E_CANCELLED);
    EXPECT_FALSE(tRun);
}

TEST_F(OdbcDatabaseTest, aCancelBetweenTwoStatementsOfAScriptIsHeard)
{
    int tRuns = 0;
    mFake.onRun = [&](const std::string&) {
        ++tRuns;
        mDatabase->cancel();
        return odbc::SUCCESS;
    };
    EXPECT_EQ(mDatabase->executeScript("update t set n = 1; update t set n = 2", nullptr), SQL_E_CANCELLED);
    EXPECT_EQ(tRuns, 1);
}

TEST_F(OdbcDatabaseTest, preparingAndRunningShareTheTime)
{
    ASSERT_EQ(mDatabase->setTimeout(200), 0u);
    bool tRun = false;
    mFake.onPrepare = [](const std::string&) {
        std::this_thread::sleep_for(250ms);
        return odbc::SUCCESS;
    };
    mFake.onRun = [&tRun](const std::string&) {
        tRun = true;
        return odbc::SUCCESS;
    };
    EXPECT_EQ(mDatabase->execute("update t set n = ?", &mValues, nullptr), SQL_E_TIMEOUT);
    EXPECT_FALSE(tRun);
}

TEST_F(OdbcDatabaseTest, aBatchThatFailsLeavesNoTransactionOpen)
{
    const auto tRows = query("select n from t");
    const auto tInsert = prepare("insert into t values (?)");
    mFake.onRun = [](const std::string& pText) {
        return pText.starts_with("insert") ? odbc::FAILED : odbc::SUCCESS;
    };
    EXPECT_EQ(tInsert->executeBatch(1, &mOne, nullptr, nullptr), E_FAIL);
    EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_NONE});
    EXPECT_EQ(mFake.ends, (std::vector<int16_t>{odbc::ROLLBACK}));
}

TEST_F(OdbcDatabaseTest, aConnectionThatCannotLeaveItsTransactionIsLost)
{
    mFake.onSet = [](int32_t pAttribute, uintptr_t pValue) {
        return pAttribute == odbc::AUTOCOMMIT && pValue == odbc::AUTOCOMMIT_ON ? odbc::FAILED : odbc::SUCCESS;
    };
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    EXPECT_TRUE(KFAILED(mDatabase->rollback()));
    // Whatever came now would be in a transaction that nobody knows of, and never kept.
    EXPECT_EQ(execute("update t set n = 1"), SQL_E_CONNECTION);
    EXPECT_EQ(mDatabase->check(), SQL_E_CONNECTION);
}

TEST_F(OdbcDatabaseTest, rowsOfATransactionThatWasRolledBackAreNotReadOn)
{
    mFake.infos[odbc::CURSOR_COMMIT_BEHAVIOR] = odbc::CURSORS_PRESERVED;
    for (const char* tEnd : {"rollback", "abort", "commit"}) {
        mDatabase = open();
        ASSERT_EQ(mDatabase->begin(0, 0), 0u);
        const auto tRows = query("select n from t");
        mFake.state =
            "25P02"; // for the statement, and for the one that asks what has become of its transaction
        mFake.onRun = [](const std::string&) { return odbc::FAILED; };
        EXPECT_TRUE(KFAILED(execute("update t set n = 1")));
        EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_FAILED});
        EXPECT_EQ(execute(tEnd), tEnd == std::string_view("commit") ? SQL_E_NOT_COMMITTED : 0u);
        EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_NONE});
        sql::SqlValueList tRow;
        EXPECT_EQ(tRows->next(&tRow), E_WRONG_STATE) << tEnd;
        mFake.onRun = [](const std::string&) { return odbc::SUCCESS; };
    }
}

TEST_F(OdbcDatabaseTest, withoutMemoryNothingStaysOpen)
{
    mDatabase.reset();
    Description tDescription;
    ASSERT_TRUE(tDescription.parse("type=odbc;dsn=fake;password=secret"));
    withoutMemory([&] {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        static_cast<void>(OdbcDatabase::open(tDescription, tDatabase));
    });
    EXPECT_EQ(mFake.connections, 0);
    EXPECT_EQ(mFake.handles, 0);
}

TEST_F(OdbcDatabaseTest, withoutMemoryTheConnectionStaysOfUse)
{
    // One statement at a time: a run that was never counted as ended would be seen by the next.
    mFake.infos[odbc::MAX_CONCURRENT_ACTIVITIES] = 1;
    mDatabase = open();
    withoutMemory([this] { mDatabase->execute("update t set n = ?", &mValues, nullptr); });
    EXPECT_EQ(execute("update t set n = 1"), 0u) << "after statements";
    withoutMemory([this] { mDatabase->check(); });
    EXPECT_EQ(execute("update t set n = 1"), 0u) << "after signs of life";
    mFake.onRun = [](const std::string& pText) {
        return pText.starts_with("update") ? odbc::FAILED : odbc::SUCCESS;
    };
    withoutMemory([this] { mDatabase->execute("update t set n = 1", nullptr, nullptr); });
    mFake.onRun = [](const std::string&) { return odbc::SUCCESS; };
    EXPECT_EQ(execute("update t set n = 1"), 0u) << "after failures";
}

} // namespace

} // namespace vel::kos::drivers
