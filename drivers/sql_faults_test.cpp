// The contract of the drivers when things go wrong: full disks, lost connections, passwords. And random
// statements beside a model.
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <random>

#include "drivers/testing/sql_TestDriver.h"

namespace vel::kos::drivers {

namespace {

using FaultsTest = DriverTest;
using FileTest = DriverTest;
using ServerTest = DriverTest;
using LibpqTest = DriverTest;

TEST_P(FileTest, aFullDiskIsToldAndLosesNothing)
{
    ASSERT_EQ(execute("insert into driver_test values (0, 'before')"), 0u);
    ASSERT_EQ(execute("pragma max_page_count = 20"), 0u);
    const auto tInsert = prepare("insert into driver_test values (?, ?)");
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    uint32_t tRes = 0;
    for (int i = 1; i < 100 && !KFAILED(tRes); ++i)
        tRes = run(tInsert.get(), {i, text(std::string(3000, 'x'))});
    EXPECT_EQ(tRes, KPR_E_NO_SPACE) << error().text;
    EXPECT_EQ(error().state, "53100");
    if (state() == sql::SQL_TRANSACTION_OPEN) {
        EXPECT_EQ(mDatabase->rollback(), 0u);
    } else {
        EXPECT_EQ(mDatabase->commit(), SQL_E_NOT_COMMITTED);
    }
    EXPECT_EQ(table("select t from driver_test"), (Table{{"before"}}));
}

TEST_P(FileTest, cannotBeTurnedInsideOut)
{
    // A file may come from anybody: its views and triggers get no functions with effects, and no statement
    // reaches what the file is made of.
    EXPECT_EQ(cell("pragma trusted_schema"), Cell(0));
    EXPECT_EQ(execute("pragma writable_schema = on"), 0u);
    EXPECT_EQ(execute("delete from sqlite_master"), SQL_E_PERMISSION) << error().text;
    EXPECT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
}

TEST_P(FileTest, aValueThatIsTooLongIsNotMade)
{
    ASSERT_EQ(execute("create view hostile as select zeroblob(900000000) as a"), 0u);
    kom::Ref<sql::ISqlRows> tRows;
    uint32_t tRes = mDatabase->query("select * from hostile", nullptr, tRows.out());
    sql::SqlValueList tRow{};
    if (!KFAILED(tRes)) tRes = tRows->next(&tRow);
    EXPECT_EQ(tRes, KPR_E_TOO_LARGE) << error().text;
    EXPECT_EQ(error().state, "54000");
    tRows.reset();
    EXPECT_EQ(cell("select length(zeroblob(128 << 20))"), Cell(128 << 20)) << "as long as the manual says";
    EXPECT_EQ(execute("drop view hostile"), 0u);
}

TEST_P(FileTest, anotherFileThatCannotBeOpenedIsNoLostConnection)
{
    EXPECT_NE(execute("attach '/no/such/folder/x.db' as other"), 0u);
    EXPECT_EQ(cell("select 1"), Cell(1)) << error().text;
}

TEST_P(FileTest, aFileThatIsNoDatabaseIsTold)
{
    mDatabase.reset();
    test::writeFile(mDir.path() / "test.db", std::string(5000, 'x'));
    mDatabase = open();
    ASSERT_TRUE(mDatabase);
    EXPECT_EQ(execute("select * from driver_test"), SQL_E_DAMAGED) << error().text;
    mDatabase.reset();
}

TEST_P(FileTest, aFileThatCannotBeOpenedIsTold)
{
    kom::Ref<sql::ISqlDatabase> tDatabase;
    EXPECT_EQ(
        mRegistry->createDatabase(("type=sqlite;file=" + (mDir.path() / "nowhere" / "x.db").string()).c_str(),
                                  tDatabase.out()),
        SQL_E_CONNECTION);
    uint32_t tCode = 0;
    EXPECT_NE(createError(&tCode).find("unable to open"), std::string::npos);
    EXPECT_EQ(tCode, SQL_E_CONNECTION);
    EXPECT_EQ(mRegistry->createDatabase((mDescription + ";colour=red").c_str(), tDatabase.out()),
              E_INVALIDARG);
    EXPECT_EQ(createError(), "the driver knows no key \"colour\"");
}

TEST_P(ServerTest, aConnectionThatIsKilledIsLost)
{
    auto tVictim = open();
    ASSERT_TRUE(tVictim);
    const auto tKill = [&](sql::ISqlDatabase* pDatabase) {
        kom::Ref<sql::ISqlRows> tRows;
        ASSERT_EQ(pDatabase->query(words().ownNumber, nullptr, tRows.out()), 0u);
        const Cell tNumber = next(tRows.get())[0];
        tRows.reset();
        ASSERT_EQ(execute(words().kill, {tNumber}), 0u) << error().text;
        // It is gone when the server lists it no more.
        while (cell(words().isThere, {tNumber}) != Cell(0)) {
        }
    };
    // In the middle of a transaction.
    ASSERT_EQ(tVictim->begin(0, 0), 0u);
    ASSERT_EQ(execute(tVictim.get(), "insert into driver_test values (1, 'x')"), 0u);
    const auto tStatement = [&] {
        kom::Ref<sql::ISqlStatement> tPrepared;
        EXPECT_EQ(tVictim->prepare("insert into driver_test values (?, 'x')", tPrepared.out()), 0u);
        return tPrepared;
    }();
    ASSERT_NO_FATAL_FAILURE(tKill(tVictim.get()));
    EXPECT_EQ(execute(tVictim.get(), "insert into driver_test values (2, 'x')"), SQL_E_CONNECTION);
    EXPECT_EQ(run(tStatement.get(), {3}), SQL_E_CONNECTION);
    uint32_t tState = 0;
    EXPECT_EQ(tVictim->getTransactionState(&tState), 0u);
    EXPECT_EQ(tState, uint32_t{sql::SQL_TRANSACTION_FAILED});
    EXPECT_TRUE(KFAILED(tVictim->commit())) << "nothing is committed";
    EXPECT_EQ(tVictim->check(), SQL_E_CONNECTION);
    EXPECT_EQ(tVictim->cancel(), 0u);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
    // With rows open.
    if (database() == "mariadb") return;                            // its ODBC driver has them all by then
    tVictim = open(isOdbc() ? ";usedeclarefetch=1;fetch=100" : ""); // so that PostgreSQL's has not
    ASSERT_TRUE(tVictim);
    kom::Ref<sql::ISqlRows> tRows;
    ASSERT_EQ(tVictim->query("select pg_backend_pid(), repeat('x', 1000) from generate_series(1, 100000)",
                             nullptr, tRows.out()),
              0u);
    const Cell tPid = next(tRows.get())[0];
    ASSERT_EQ(cell("select pg_terminate_backend(cast(? as int))", {tPid}), Cell(1));
    uint32_t tRes = 0;
    size_t tCount = 0;
    while (!next(tRows.get(), &tRes).empty())
        ++tCount;
    EXPECT_EQ(tRes, SQL_E_CONNECTION) << "never a clean end, after " << tCount << " rows";
}

TEST_P(ServerTest, aServerThatRestartsEndsItsConnections)
{
    const char* const tRestart = std::getenv("KFW_TEST_RESTART");
    if (!tRestart) GTEST_SKIP() << "KFW_TEST_RESTART holds no command that restarts the server";
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(execute("insert into driver_test values (2, 'x')"), 0u);
    ASSERT_EQ(std::system(tRestart), 0);
    EXPECT_EQ(execute("insert into driver_test values (3, 'x')"), SQL_E_CONNECTION) << error().text;
    EXPECT_EQ(mDatabase->commit(), SQL_E_NOT_COMMITTED);
    EXPECT_EQ(mDatabase->check(), SQL_E_CONNECTION) << "it does not come back by itself";
    mDatabase = open();
    ASSERT_TRUE(mDatabase);
    EXPECT_EQ(table("select n from driver_test"), (Table{{1}}));
}

TEST_P(ServerTest, aServerThatDoesNotReactIsGivenUp)
{
    if (database() == "mariadb")
        GTEST_SKIP() << "MariaDB's ODBC driver waits for the first word of a server without end";
    // Nobody accepts what this port's queue takes in.
    kom::Ref<sql::ISqlDatabase> tDatabase;
    const char* const tSilent = std::getenv("KFW_TEST_SILENT_PORT");
    if (!tSilent) GTEST_SKIP() << "KFW_TEST_SILENT_PORT names no port that accepts and says nothing";
    std::string tDescription = "type=postgresql;host=127.0.0.1";
    if (isOdbc()) {
        const auto tDriver = mDescription.find("driver=");
        tDescription = "type=odbc;server=127.0.0.1;" +
                       mDescription.substr(tDriver, mDescription.find(';', tDriver) - tDriver);
    }
    const uint32_t tRes = mRegistry->createDatabase(
        (tDescription + ";connect_timeout=1;port=" + tSilent).c_str(), tDatabase.out());
    EXPECT_EQ(tRes, SQL_E_TIMEOUT) << createError();
}

TEST_P(LibpqTest, housekeepingHarmsNoTransaction)
{
    ASSERT_TRUE(prepare("select 1")); // and dropped again
    ASSERT_EQ(execute("deallocate all"), 0u);
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    const auto tInsert = prepare("insert into driver_test values (?, 'x')");
    ASSERT_TRUE(tInsert);
    EXPECT_EQ(run(tInsert.get(), {1}), 0u) << error().text;
    EXPECT_EQ(mDatabase->commit(), 0u) << error().text;
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(1));
    EXPECT_TRUE(prepare("select 2"));
}

TEST_P(LibpqTest, copyingIsRefusedWhateverItBrings)
{
    ASSERT_EQ(execute("insert into driver_test select n, repeat('x', 1000) from generate_series(1, 2000) n"),
              0u);
    kom::Ref<sql::ISqlRows> tRows;
    for (const char* tStatement : {"copy driver_test to stdout", "copy driver_test from stdin",
                                   "copy driver_test to stdout (format binary)"}) {
        EXPECT_EQ(execute(tStatement), E_NOT_SUPPORTED) << tStatement;
        EXPECT_EQ(error().state, "0A000");
        EXPECT_EQ(mDatabase->query(tStatement, nullptr, tRows.out()), E_NOT_SUPPORTED) << tStatement;
        EXPECT_EQ(run(prepare(tStatement).get(), {}), E_NOT_SUPPORTED) << tStatement;
        EXPECT_EQ(cell("select count(*) from driver_test"), Cell(2000)) << error().text;
    }
    EXPECT_EQ(mDatabase->executeScript("select 1; copy driver_test to stdout", nullptr), E_NOT_SUPPORTED);
    // Nothing comes for an hour: the limit counts all the same.
    ASSERT_EQ(mDatabase->setTimeout(200), 0u);
    for (const char* tStatement :
         {"copy (select pg_sleep(3600)) to stdout",
          "copy (select repeat('x', 20000) || case when n > 1 then pg_sleep(3600)::text else '' end from "
          "generate_series(1, 2) n) to stdout"})
        EXPECT_EQ(execute(tStatement), SQL_E_TIMEOUT) << tStatement << ": " << error().text;
    ASSERT_EQ(mDatabase->setTimeout(0), 0u);
    EXPECT_EQ(cell("select 1"), Cell(1)) << error().text;
}

TEST_P(LibpqTest, aFunctionWithABodyOfStatementsIsOneStatement)
{
    uint64_t tCount = 0;
    EXPECT_EQ(
        mDatabase->executeScript(
            "drop function if exists driver_function(int);"
            "create function driver_function(n int) returns int begin atomic select case when n > 0 then 1 "
            "end; select n + 1; end; insert into driver_test values (1, 'x')",
            &tCount),
        0u)
        << error().text;
    EXPECT_EQ(tCount, 3u);
    EXPECT_EQ(cell("select driver_function(41)"), Cell(42));
    EXPECT_EQ(execute("drop function driver_function(int)"), 0u);
}

TEST_P(LibpqTest, textsGoOnOnTheNextLine)
{
    EXPECT_EQ(cell("select E'a' -- and\n'b\\'?' || cast(? as text)", {text("c")}), text("ab'?c"))
        << error().text;
}

TEST_P(LibpqTest, noticesOfTheServerStayInside)
{
    // From the first word on: with this the server tells of its own start.
    testing::internal::CaptureStderr();
    const auto tDatabase = open(";options=\"-c client_min_messages=debug5\"");
    EXPECT_TRUE(tDatabase);
    if (tDatabase) {
        EXPECT_EQ(execute(tDatabase.get(), "do $$ begin raise warning 'loud'; end $$"), 0u);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_P(ServerTest, noTextHoldsAPassword)
{
    const std::string tMarker = "pass_word_marker";
    std::vector<std::string> tWrong = {";connect_timeout=x;password=" + tMarker, ";password=" + tMarker};
    if (!isOdbc())
        tWrong.insert(tWrong.end(), {";sslpassword=" + tMarker + ";sslmode=" + tMarker,
                                     ";password=" + tMarker + ";colour=" + tMarker});
    for (const std::string& tMore : tWrong) {
        // Without the right password of the description, if there is one in it.
        std::string tDescription = mDescription;
        if (const auto tAt = tDescription.find(";password="); tAt != std::string::npos)
            tDescription.resize(tAt);
        kom::Ref<sql::ISqlDatabase> tDatabase;
        EXPECT_TRUE(KFAILED(mRegistry->createDatabase((tDescription + tMore).c_str(), tDatabase.out())))
            << tMore;
        const std::string tText = createError();
        EXPECT_NE(tText, "");
        EXPECT_EQ(tText.find(tMarker), std::string::npos) << tText;
    }
    const auto tDatabase = open(";sslpassword=" + tMarker);
    ASSERT_TRUE(tDatabase);
    EXPECT_EQ(execute(tDatabase.get(), ("select * from " + tMarker).c_str()), SQL_E_NO_OBJECT);
    EXPECT_EQ(error(tDatabase.get()).text.find(tMarker), std::string::npos) << error(tDatabase.get()).text;
}

// --- A model ----------------------------------------------------------------------------------------------

/// Random statements over one table, and what has to be in it.
class Model {
public:
    explicit Model(unsigned pSeed) : mRandom(pSeed) {}

    int number(int pLimit) { return static_cast<int>(mRandom() % static_cast<unsigned>(pLimit)); }
    Cell integer()
    {
        static constexpr int64_t EXTREMES[] = {
            std::numeric_limits<int64_t>::min(), -1, 0, 1, std::numeric_limits<int32_t>::max() + int64_t{1},
            std::numeric_limits<int64_t>::max()};
        if (number(8) == 0) return {};
        if (number(4) == 0) return EXTREMES[number(6)];
        return static_cast<int64_t>(mRandom());
    }
    Cell real()
    {
        static constexpr double EXTREMES[] = {0,
                                              -1.5,
                                              std::numeric_limits<double>::max(),
                                              -5e-324,
                                              0.1,
                                              123456789.123456789,
                                              std::numeric_limits<double>::lowest(),
                                              std::numeric_limits<double>::min()};
        if (number(8) == 0) return {};
        if (number(4) == 0) return EXTREMES[number(8)];
        return std::ldexp(static_cast<double>(static_cast<int64_t>(mRandom())), number(200) - 100);
    }
    Cell data(uint32_t pType, bool pNuls)
    {
        static constexpr const char* PARTS[] = {
            "a",  "'", "\"", "\\", "?", ":x", "\xF0\x9F\x98\x80", "\xC3\xA4",
            "\n", " ", "$1", "--", "%", "''", "\xE2\x80\xAE",     "\x01"};
        if (number(8) == 0) return {};
        std::string tData;
        if (number(1500) == 0) return {pType, std::string(16u << 20, static_cast<char>('a' + number(26)))};
        const int tLength = number(100) == 0 ? 20000 : number(30);
        for (int i = 0; i < tLength; ++i) {
            if (pType == sql::SQL_VALUE_BYTES)
                tData += static_cast<char>(number(256));
            else
                tData += PARTS[number(16)];
            if (pNuls && number(20) == 0) tData += '\0';
        }
        return {pType, tData};
    }

    std::map<int64_t, Row> rows; ///< by key, without the key
    std::optional<std::map<int64_t, Row>> before;
    std::optional<std::map<int64_t, Row>> atSavepoint;

private:
    std::mt19937_64 mRandom;
};

TEST_P(FaultsTest, agreesWithAModelOverRandomStatements)
{
    const char* const tGiven = std::getenv("KFW_TEST_STATEMENTS");
    const int tSteps = tGiven ? std::atoi(tGiven) : 1000;
    Model tModel(20260131);
    ASSERT_EQ(mDatabase->executeScript(
                  (std::string("drop table if exists model_test; create table model_test (k bigint "
                               "primary key, i bigint, d double precision, t ") +
                   words().textType + ", b " + words().bytesType + ")")
                      .c_str(),
                  nullptr),
              0u);
    const auto tInsert = prepare("insert into model_test values (?, ?, ?, ?, ?)");
    const auto tUpdate = prepare("update model_test set i = :i, d = :d, t = :t, b = :b where k = :k");
    const auto tSelect = prepare("select i, d, t, b from model_test where k = ?");
    const bool tNuls = can(sql::SQL_FEATURE_TEXT_WITH_NUL);
    const auto tRandomRow = [&] {
        Cell tReal = tModel.real();
        tReal.number = storable(tReal.number);
        return Row{tModel.integer(), tReal, tModel.data(sql::SQL_VALUE_TEXT, tNuls),
                   tModel.data(sql::SQL_VALUE_BYTES, true)};
    };
    const auto tBack = [&] {
        if (tModel.before) tModel.rows = *tModel.before;
        tModel.before.reset();
        tModel.atSavepoint.reset();
    };
    for (int tStep = 0; tStep < tSteps && !HasFailure(); ++tStep) {
        SCOPED_TRACE(tStep);
        const int64_t tKey = tModel.number(60);
        const bool tThere = tModel.rows.contains(tKey);
        uint64_t tChanged = 0;
        uint32_t tRes = 0;
        switch (tModel.number(12)) {
        case 0:
        case 1:
        case 2: {
            const Row tNew = tRandomRow();
            Row tValues = {tKey};
            tValues.insert(tValues.end(), tNew.begin(), tNew.end());
            tRes = tModel.number(2)
                       ? run(tInsert.get(), tValues, &tChanged)
                       : execute("insert into model_test values (:k, :i, :d, :t, :b)", tValues, &tChanged);
            ASSERT_EQ(tRes, tThere ? SQL_E_CONSTRAINT : 0u) << error().text;
            if (!tThere) {
                EXPECT_EQ(tChanged, 1u);
                tModel.rows[tKey] = tNew;
            } else if (state() == sql::SQL_TRANSACTION_FAILED) {
                if (tModel.atSavepoint && tModel.number(2)) {
                    ASSERT_EQ(mDatabase->rollbackTo("model"), 0u) << error().text;
                    tModel.rows = *tModel.atSavepoint;
                } else {
                    ASSERT_EQ(mDatabase->rollback(), 0u);
                    tBack();
                }
            }
            break;
        }
        case 3:
        case 4: {
            Row tNew = tRandomRow();
            for (const auto& [tName, tAt] : {std::pair{"i", 0}, {"d", 1}, {"t", 2}, {"b", 3}})
                ASSERT_EQ(bind(tUpdate.get(), tName, tNew[static_cast<size_t>(tAt)]), 0u);
            ASSERT_EQ(bind(tUpdate.get(), "k", tKey), 0u);
            ASSERT_EQ(tUpdate->execute(nullptr, &tChanged), 0u) << error().text;
            EXPECT_EQ(tChanged, tThere ? 1u : 0u);
            if (tThere) tModel.rows[tKey] = tNew;
            break;
        }
        case 5:
            ASSERT_EQ(execute("delete from model_test where k = ?", {tKey}, &tChanged), 0u);
            EXPECT_EQ(tChanged, tModel.rows.erase(tKey));
            break;
        case 6:
        case 7: {
            kom::Ref<sql::ISqlRows> tRows;
            ASSERT_EQ(tSelect->query(List({tKey}).get(), tRows.out()), 0u);
            EXPECT_EQ(all(tRows.get()), tThere ? Table{tModel.rows[tKey]} : Table{});
            break;
        }
        case 8: {
            Table tExpected;
            for (const auto& [tAt, tRow] : tModel.rows)
                tExpected.push_back({tAt, tRow[0]});
            EXPECT_EQ(table("select k, i from model_test order by k"), tExpected);
            break;
        }
        case 9:
            if (tModel.before) {
                ASSERT_EQ(mDatabase->commit(), 0u) << error().text;
                tModel.before.reset();
                tModel.atSavepoint.reset();
            } else {
                ASSERT_EQ(mDatabase->begin(static_cast<uint32_t>(tModel.number(2)),
                                           static_cast<uint32_t>(tModel.number(4))),
                          0u);
                tModel.before = tModel.rows;
            }
            break;
        case 10:
            if (tModel.before && !tModel.atSavepoint) {
                ASSERT_EQ(mDatabase->savepoint("model"), 0u);
                tModel.atSavepoint = tModel.rows;
            } else if (tModel.atSavepoint) {
                ASSERT_EQ(mDatabase->rollbackTo("model"), 0u);
                tModel.rows = *tModel.atSavepoint;
            }
            break;
        default:
            if (tModel.before) {
                ASSERT_EQ(mDatabase->rollback(), 0u);
                tBack();
            }
        }
    }
    if (state() != sql::SQL_TRANSACTION_NONE) {
        ASSERT_EQ(mDatabase->commit(), 0u);
    }
    Table tExpected;
    for (auto& [tKey, tRow] : tModel.rows) {
        tExpected.push_back({tKey});
        tExpected.back().insert(tExpected.back().end(), tRow.begin(), tRow.end());
    }
    EXPECT_EQ(table("select * from model_test order by k"), tExpected);
    ASSERT_EQ(execute("drop table model_test"), 0u);
}

INSTANTIATE_TEST_SUITE_P(every, FaultsTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });
INSTANTIATE_TEST_SUITE_P(every, FileTest, testing::Values("sqlite"),
                         [](const auto& pInfo) { return pInfo.param; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ServerTest);
INSTANTIATE_TEST_SUITE_P(every, ServerTest, testing::ValuesIn(testedServers()),
                         [](const auto& pInfo) { return pInfo.param; });

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LibpqTest);
INSTANTIATE_TEST_SUITE_P(every, LibpqTest,
                         testing::ValuesIn(testedServers().empty() || testedServers()[0] != "postgresql"
                                               ? std::vector<std::string>{}
                                               : std::vector<std::string>{"postgresql"}),
                         [](const auto& pInfo) { return pInfo.param; });

TEST(DriversTest, haveAllTheirDatabases)
{
    if (testedServers().empty())
        GTEST_SKIP() << "no variable describes a server: the contract of the PostgreSQL driver, and of the "
                        "ODBC driver "
                        "with PostgreSQL and MariaDB, is tested by khost_sql_test, which starts servers";
}

} // namespace

} // namespace vel::kos::drivers
