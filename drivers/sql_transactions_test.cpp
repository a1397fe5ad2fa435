// The contract of the drivers: transactions and other connections.
#include <atomic>
#include <thread>

#include "drivers/testing/sql_TestDriver.h"

namespace vel::kos::drivers {

namespace {

using TransactionsTest = DriverTest;

constexpr uint32_t NONE = sql::SQL_TRANSACTION_NONE, OPEN = sql::SQL_TRANSACTION_OPEN,
                   FAILED = sql::SQL_TRANSACTION_FAILED;

/// Two tables, of which the second's constraint is looked at when a transaction ends.
constexpr char LATE_TABLES[] =
    "drop table if exists late_child; drop table if exists late_test;"
    "create table late_test (a integer primary key);"
    "create table late_child (a integer references late_test deferrable initially deferred)";

TEST_P(TransactionsTest, keepOrDropWhatTheyChanged)
{
    const auto tInsert = prepare("insert into driver_test values (?, 'x')");
    for (const bool tKeep : {false, true}) {
        ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_DEFAULT), 0u);
        EXPECT_EQ(state(), OPEN);
        for (int i = 0; i < 1000; ++i)
            ASSERT_EQ(run(tInsert.get(), {i}), 0u) << error().text;
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(1000));
        ASSERT_EQ(tKeep ? mDatabase->commit() : mDatabase->rollback(), 0u) << error().text;
        EXPECT_EQ(state(), NONE);
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(tKeep ? 1000 : 0));
    }
}

TEST_P(TransactionsTest, doNotNest)
{
    EXPECT_EQ(mDatabase->commit(), E_WRONG_STATE);
    EXPECT_EQ(error().text, "no transaction is open");
    EXPECT_EQ(mDatabase->rollback(), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->savepoint("a"), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->begin(0, 0), 0u);
    EXPECT_EQ(mDatabase->begin(0, 0), E_WRONG_STATE);
    EXPECT_EQ(error().text, "a transaction is open already");
    EXPECT_EQ(mDatabase->rollback(), 0u);
    // One that was begun by a statement is one as well.
    EXPECT_EQ(execute("begin"), 0u);
    EXPECT_EQ(state(), OPEN);
    EXPECT_EQ(mDatabase->begin(0, 0), E_WRONG_STATE);
    EXPECT_EQ(execute("commit"), 0u);
    EXPECT_EQ(state(), NONE);
    EXPECT_EQ(mDatabase->begin(0, 0), 0u);
    EXPECT_EQ(execute("rollback"), 0u);
    EXPECT_EQ(state(), NONE);
}

TEST_P(TransactionsTest, goWithTheConnection)
{
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    mDatabase.reset();
    mDatabase = open();
    ASSERT_TRUE(mDatabase);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
}

TEST_P(TransactionsTest, haveModesAndIsolation)
{
    for (const uint32_t tMode : {sql::SQL_BEGIN_DEFERRED, sql::SQL_BEGIN_IMMEDIATE})
        for (uint32_t tIsolation = 0; tIsolation <= sql::SQL_ISOLATION_SERIALIZABLE; ++tIsolation) {
            ASSERT_EQ(mDatabase->begin(tMode, tIsolation), 0u) << error().text;
            EXPECT_EQ(execute("delete from driver_test"), 0u) << error().text;
            EXPECT_EQ(mDatabase->commit(), 0u);
        }
    ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_READ_ONLY, sql::SQL_ISOLATION_SERIALIZABLE), 0u);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
    EXPECT_EQ(execute("insert into driver_test values (1, 'x')"), E_READ_ONLY);
    EXPECT_EQ(mDatabase->rollback(), 0u) << error().text;
    EXPECT_EQ(execute("insert into driver_test values (1, 'x')"), 0u) << "read-only for its own time only";
    ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_READ_ONLY, 0), 0u);
    EXPECT_EQ(mDatabase->commit(), 0u);
    EXPECT_EQ(execute("delete from driver_test"), 0u) << error().text;
}

TEST_P(TransactionsTest, haveSavepoints)
{
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    for (const char* tWrong : {"", "1a", "a b", "a;", "\"a\"", "\xC3\xA4"})
        EXPECT_EQ(mDatabase->savepoint(tWrong), E_INVALIDARG) << tWrong;
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    EXPECT_EQ(mDatabase->savepoint("one"), 0u);
    ASSERT_EQ(execute("insert into driver_test values (2, 'x')"), 0u);
    EXPECT_EQ(mDatabase->savepoint("two"), 0u);
    ASSERT_EQ(execute("insert into driver_test values (3, 'x')"), 0u);
    EXPECT_EQ(mDatabase->rollbackTo("two"), 0u);
    EXPECT_EQ(mDatabase->releaseSavepoint("two"), 0u);
    EXPECT_EQ(table("select n from driver_test order by n"), (Table{{1}, {2}}));
    EXPECT_EQ(mDatabase->rollbackTo("one"), 0u);
    EXPECT_EQ(mDatabase->rollbackTo("one"), 0u) << "it stays";
    // A statement that fails does no more harm than to the savepoint.
    EXPECT_EQ(execute("insert into driver_test values (1, 'again')"), SQL_E_CONSTRAINT);
    EXPECT_EQ(state(), can(sql::SQL_FEATURE_STATEMENT_ROLLBACK) ? OPEN : FAILED);
    if (state() == FAILED) {
        EXPECT_EQ(mDatabase->savepoint("three"), E_WRONG_STATE);
    }
    EXPECT_EQ(mDatabase->rollbackTo("one"), 0u) << error().text;
    EXPECT_EQ(state(), OPEN);
    EXPECT_EQ(execute("insert into driver_test values (4, 'x')"), 0u);
    EXPECT_EQ(mDatabase->commit(), 0u);
    EXPECT_EQ(table("select n from driver_test order by n"), (Table{{1}, {4}}));
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    EXPECT_EQ(mDatabase->rollbackTo("missing"), E_WRONG_STATE) << error().text;
    EXPECT_EQ(mDatabase->rollback(), 0u);
}

TEST_P(TransactionsTest, aCommitThatKeptNothingIsAFailure)
{
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    EXPECT_EQ(execute("insert into missing_table values (1)"), SQL_E_NO_OBJECT);
    if (!can(sql::SQL_FEATURE_STATEMENT_ROLLBACK)) {
        EXPECT_EQ(state(), FAILED);
        EXPECT_EQ(execute("select 1"), E_WRONG_STATE);
        EXPECT_EQ(mDatabase->check(), 0u) << "failed, but alive";
        EXPECT_EQ(mDatabase->commit(), SQL_E_NOT_COMMITTED);
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
    } else {
        EXPECT_EQ(mDatabase->commit(), 0u);
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(1));
    }
    EXPECT_EQ(state(), NONE);
    EXPECT_EQ(mDatabase->begin(0, 0), 0u) << error().text;
    EXPECT_EQ(mDatabase->rollback(), 0u);
}

TEST_P(TransactionsTest, aConstraintThatFailsAtTheCommitIsAFailure)
{
    if (!words().lateConstraints) GTEST_SKIP() << "the database has no deferred constraints";
    ASSERT_EQ(mDatabase->executeScript(LATE_TABLES, nullptr), 0u) << error().text;
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    EXPECT_EQ(execute("insert into late_child values (99)"), 0u) << error().text;
    EXPECT_EQ(mDatabase->commit(), SQL_E_CONSTRAINT);
    EXPECT_EQ(error().constraint, uint32_t{sql::SQL_CONSTRAINT_FOREIGN_KEY});
    // SQLite keeps the transaction, so that it can be mended.
    EXPECT_EQ(state(), isSqlite() ? OPEN : NONE);
    if (state() == OPEN) {
        EXPECT_EQ(mDatabase->rollback(), 0u);
    }
    EXPECT_EQ(cell("select count(*) from late_child"), Cell(0));
    ASSERT_EQ(mDatabase->executeScript("drop table late_child; drop table late_test", nullptr), 0u);
}

TEST_P(TransactionsTest, aStatementThatKeptNothingIsAFailure)
{
    if (!words().lateConstraints) GTEST_SKIP() << "the database has no deferred constraints";
    ASSERT_EQ(mDatabase->executeScript(LATE_TABLES, nullptr), 0u) << error().text;
    // Without a transaction the constraint fails where the statement ends.
    const auto tOther = open();
    ASSERT_TRUE(tOther);
    uint64_t tChanged = 7;
    EXPECT_EQ(execute("insert into late_child values (99)", {}, &tChanged), SQL_E_CONSTRAINT);
    EXPECT_EQ(tChanged, 0u);
    EXPECT_EQ(error().constraint, uint32_t{sql::SQL_CONSTRAINT_FOREIGN_KEY});
    EXPECT_EQ(run(prepare("insert into late_child values (?)").get(), {99}), SQL_E_CONSTRAINT);
    kom::Ref<sql::ISqlRows> tRows;
    // Through ODBC the statement may have run to its end by now.
    if (words().returning && !isOdbc()) {
        tRows = query("insert into late_child values (99) returning a");
        ASSERT_TRUE(tRows);
        EXPECT_EQ(next(tRows.get()), Row{99});
        uint32_t tRes = 0;
        EXPECT_EQ(next(tRows.get(), &tRes), Row{});
        EXPECT_EQ(tRes, SQL_E_CONSTRAINT) << "never a clean end";
        EXPECT_EQ(tRows->getChanged(&tChanged), 0u);
        EXPECT_EQ(tChanged, 0u);
        tRows = query("insert into late_child values (99) returning a");
        ASSERT_TRUE(tRows);
        EXPECT_EQ(next(tRows.get()), Row{99});
        EXPECT_EQ(tRows->close(), SQL_E_CONSTRAINT) << "giving rows up ends the statement as well";
        EXPECT_EQ(error().constraint, uint32_t{sql::SQL_CONSTRAINT_FOREIGN_KEY});
        EXPECT_EQ(tRows->getChanged(&tChanged), 0u);
        EXPECT_EQ(tChanged, 0u);
        EXPECT_EQ(tRows->close(), 0u) << "they are closed";
        tRows.reset();
    }
    EXPECT_EQ(state(), NONE);
    ASSERT_EQ(tOther->query("select count(*) from late_child", nullptr, tRows.out()), 0u);
    EXPECT_EQ(next(tRows.get()), Row{0});
    tRows.reset();
    ASSERT_EQ(mDatabase->executeScript("drop table late_child; drop table late_test", nullptr), 0u);
}

TEST_P(TransactionsTest, aCommitInAStatementThatKeptNothingIsAFailure)
{
    for (const char* tCommit : {"commit", "/* all */ -- of it\n END"}) {
        ASSERT_EQ(mDatabase->begin(0, 0), 0u);
        EXPECT_EQ(execute("insert into missing_table values (1)"), SQL_E_NO_OBJECT);
        EXPECT_EQ(execute(tCommit), can(sql::SQL_FEATURE_STATEMENT_ROLLBACK) ? 0u : SQL_E_NOT_COMMITTED);
        EXPECT_EQ(state(), NONE);
    }
    for (const char* tRollback : {"rollback", "-- not this\n Rollback"}) {
        ASSERT_EQ(mDatabase->begin(0, 0), 0u);
        EXPECT_EQ(execute("insert into missing_table values (1)"), SQL_E_NO_OBJECT);
        EXPECT_EQ(execute(tRollback), 0u) << error().text;
        EXPECT_EQ(state(), NONE);
    }
}

using DroppedTransactionTest = DriverTest;

// PostgreSQL keeps a transaction until it is ended.
TEST_P(DroppedTransactionTest, waitsForItsRollback)
{
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    EXPECT_EQ(execute("insert or rollback into driver_test values (1, 'again')"), SQL_E_CONSTRAINT);
    EXPECT_EQ(state(), FAILED);
    EXPECT_EQ(execute("insert into driver_test values (2, 'outside of it')"), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->savepoint("a"), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->commit(), SQL_E_NOT_COMMITTED);
    EXPECT_EQ(state(), NONE);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
}

TEST_P(DroppedTransactionTest, isNotForgottenOverOpenRows)
{
    ASSERT_EQ(execute("insert into driver_test values (1, 'x'), (2, 'y')"), 0u);
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    const auto tRows = query("select n from driver_test order by n");
    EXPECT_EQ(next(tRows.get()), Row{1});
    EXPECT_EQ(execute("insert or rollback into driver_test values (1, 'again')"), SQL_E_CONSTRAINT);
    EXPECT_EQ(state(), FAILED);
    for (uint32_t i = 0, tRes = 0; i < 4; ++i)
        static_cast<void>(next(tRows.get(), &tRes));
    EXPECT_EQ(state(), FAILED);
    EXPECT_EQ(execute("insert into driver_test values (3, 'outside of it')"), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->rollback(), 0u);
    EXPECT_EQ(state(), NONE);
}

TEST_P(TransactionsTest, readOnlyEndsWithAStatementToo)
{
    for (const char* tEnd : {"commit", "rollback"}) {
        ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_READ_ONLY, 0), 0u);
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
        ASSERT_EQ(execute(tEnd), 0u) << error().text;
        EXPECT_EQ(execute("delete from driver_test"), 0u) << tEnd << ": " << error().text;
    }
}

TEST_P(TransactionsTest, rowsOutliveACommitOrKeepItFromHappening)
{
    for (int i = 1; i <= 3; ++i)
        ASSERT_EQ(execute("insert into driver_test values (?, 'x')", {i}), 0u);
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    auto tRows = query("select n from driver_test order by n");
    EXPECT_EQ(next(tRows.get()), Row{1});
    const uint32_t tRes = mDatabase->commit();
    if (can(sql::SQL_FEATURE_ROWS_ACROSS_COMMIT)) {
        EXPECT_EQ(tRes, 0u);
        EXPECT_EQ(all(tRows.get()), (Table{{2}, {3}}));
        ASSERT_EQ(mDatabase->begin(0, 0), 0u);
        tRows = query("select n from driver_test order by n");
        EXPECT_EQ(next(tRows.get()), Row{1});
        ASSERT_EQ(mDatabase->rollback(), 0u);
        uint32_t tNext = 0;
        EXPECT_EQ(next(tRows.get(), &tNext), Row{});
        EXPECT_EQ(tNext, E_WRONG_STATE) << "they are not called ended";
        ASSERT_EQ(mDatabase->begin(0, 0), 0u);
        tRows = query("select n from driver_test order by n");
        EXPECT_EQ(next(tRows.get()), Row{1});
        ASSERT_EQ(execute("rollback"), 0u);
        EXPECT_EQ(next(tRows.get(), &tNext), Row{});
        EXPECT_EQ(tNext, E_WRONG_STATE) << "nor by a statement";
    } else {
        EXPECT_EQ(tRes, E_WRONG_STATE);
        EXPECT_EQ(state(), OPEN);
        EXPECT_EQ(mDatabase->rollback(), E_WRONG_STATE);
        EXPECT_EQ(all(tRows.get()), (Table{{2}, {3}}));
        EXPECT_EQ(mDatabase->commit(), 0u) << error().text;
    }
}

TEST_P(TransactionsTest, whatOthersHaveLockedIsBusy)
{
    const auto tOther = open(isSqlite() ? ";timeout=100" : "");
    ASSERT_TRUE(tOther);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    ASSERT_EQ(mDatabase->begin(sql::SQL_BEGIN_IMMEDIATE, 0), 0u);
    ASSERT_EQ(execute("update driver_test set t = 'mine'"), 0u);
    if (isSqlite()) {
        EXPECT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs'"), SQL_E_BUSY);
    } else {
        ASSERT_EQ(execute(tOther.get(), database() == "mariadb" ? "set innodb_lock_wait_timeout = 1"
                                                                : "set lock_timeout = 100"),
                  0u);
        EXPECT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs'"), SQL_E_BUSY);
    }
    EXPECT_EQ(error(tOther.get()).retry, 1u);
    EXPECT_EQ(error(tOther.get()).state, "55P03");
    ASSERT_EQ(mDatabase->commit(), 0u);
    EXPECT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs'"), 0u) << error(tOther.get()).text;
}

TEST_P(TransactionsTest, twoThatCannotBothHaveHappenedAreInConflict)
{
    if (words().readersBlock)
        GTEST_SKIP() << "the database has readers wait: see aDeadlockEndsOneTransaction";
    const auto tOther = open(isSqlite() ? ";timeout=100" : "");
    ASSERT_TRUE(tOther);
    if (isSqlite()) {
        ASSERT_EQ(execute("pragma journal_mode = wal"), 0u);
    }
    ASSERT_EQ(execute("insert into driver_test values (1, 'x'), (2, 'x')"), 0u);
    for (auto* tDatabase : {mDatabase.get(), tOther.get()}) {
        ASSERT_EQ(tDatabase->begin(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_SERIALIZABLE), 0u);
        ASSERT_EQ(execute(tDatabase, "select * from driver_test"), 0u);
    }
    // Each has read what the other one changes.
    ASSERT_EQ(execute("update driver_test set t = 'mine' where n = 1"), 0u);
    ASSERT_EQ(mDatabase->commit(), 0u);
    uint32_t tRes = execute(tOther.get(), "update driver_test set t = 'theirs' where n = 1");
    if (!tRes) tRes = tOther->commit();
    EXPECT_EQ(tRes, words().tellsConflicts ? SQL_E_CONFLICT : SQL_E_BUSY) << error(tOther.get()).text;
    EXPECT_EQ(error(tOther.get()).retry, 1u);
    uint32_t tState = NONE;
    EXPECT_EQ(tOther->getTransactionState(&tState), 0u);
    if (tState != NONE) {
        EXPECT_EQ(tOther->rollback(), 0u);
    }
    EXPECT_EQ(table("select t from driver_test order by n"), (Table{{"mine"}, {"x"}}));
}

TEST_P(TransactionsTest, aDeadlockEndsOneTransaction)
{
    if (isSqlite()) GTEST_SKIP() << "SQLite has one lock";
    const auto tOther = open();
    ASSERT_TRUE(tOther);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x'), (2, 'x')"), 0u);
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(tOther->begin(0, 0), 0u);
    ASSERT_EQ(execute("update driver_test set t = 'mine' where n = 1"), 0u);
    ASSERT_EQ(execute(tOther.get(), "update driver_test set t = 'theirs' where n = 2"), 0u);
    uint32_t tTheirs = 0;
    std::thread tThread(
        [&] { tTheirs = execute(tOther.get(), "update driver_test set t = 'theirs' where n = 1"); });
    const uint32_t tMine = execute("update driver_test set t = 'mine' where n = 2");
    // Whoever has lost gives up, so that the other one can go on.
    sql::ISqlDatabase* const tLoser = tMine ? mDatabase.get() : tOther.get();
    if (!tMine) {
        EXPECT_EQ(mDatabase->commit(), 0u) << error().text;
    }
    if (tMine) {
        EXPECT_EQ(error().retry, 1u);
        EXPECT_EQ(execute("insert into driver_test values (3, 'too late')"), E_WRONG_STATE) << "it is over";
        EXPECT_EQ(mDatabase->commit(), SQL_E_NOT_COMMITTED);
    }
    tThread.join();
    EXPECT_TRUE((tMine == 0) != (tTheirs == 0)) << tMine << " " << tTheirs;
    EXPECT_EQ(tMine ? tMine : tTheirs, SQL_E_CONFLICT);
    if (tTheirs) {
        EXPECT_EQ(error(tLoser).retry, 1u);
        EXPECT_EQ(execute(tLoser, "insert into driver_test values (3, 'too late')"), E_WRONG_STATE);
        EXPECT_EQ(tLoser->commit(), SQL_E_NOT_COMMITTED);
    } else {
        EXPECT_EQ(tOther->commit(), 0u);
    }
    const char* const tWinner = tMine ? "theirs" : "mine";
    EXPECT_EQ(table("select t from driver_test order by n"), (Table{{tWinner}, {tWinner}}));
}

TEST_P(TransactionsTest, twoWritersLoseNothing)
{
    constexpr int EACH = 50;
    ASSERT_EQ(execute("insert into driver_test values (0, '0')"), 0u);
    const std::string tUpdate = std::string("update driver_test set t = cast(cast(t as ") +
                                words().asInteger + ") + 1 as " + words().asText + ")";
    std::vector<std::thread> tThreads;
    std::atomic<int> tFailures{0};
    for (int i = 0; i < 2; ++i)
        tThreads.emplace_back([&] {
            const auto tDatabase = open();
            for (int tDone = 0; tDatabase && tDone < EACH;) {
                uint32_t tRes = tDatabase->begin(sql::SQL_BEGIN_IMMEDIATE, 0);
                if (!KFAILED(tRes)) tRes = execute(tDatabase.get(), tUpdate.c_str());
                if (!KFAILED(tRes)) tRes = tDatabase->commit();
                if (!KFAILED(tRes)) {
                    ++tDone;
                    continue;
                }
                uint32_t tState = NONE;
                tDatabase->getTransactionState(&tState);
                const bool tRetry = error(tDatabase.get()).retry != 0;
                if (tState != NONE) tDatabase->rollback();
                if (!tRetry || ++tFailures > 1000) break;
            }
        });
    for (auto& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(cell("select t from driver_test"), Cell("100")) << tFailures << " retries";
}

INSTANTIATE_TEST_SUITE_P(every, DroppedTransactionTest, testing::Values("sqlite", "odbc_sqlite"),
                         [](const auto& pInfo) { return pInfo.param; });
INSTANTIATE_TEST_SUITE_P(every, TransactionsTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
