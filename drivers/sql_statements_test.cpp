// The contract of the drivers: prepared statements, batches, rows, scripts, errors.
#include <thread>

#include "drivers/testing/sql_TestDriver.h"

namespace vel::kos::drivers {

namespace {

using StatementsTest = DriverTest;

TEST_P(StatementsTest, refuseNullPointers)
{
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->execute(nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->query("select 1", nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->query(nullptr, nullptr, tRows.out()), E_INVALIDARG);
    EXPECT_EQ(mDatabase->prepare("select 1", nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->executeScript(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->savepoint(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getTransactionState(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getError(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getDatabaseType(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getFeatures(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->listTables(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->describeTable("driver_test", nullptr), E_INVALIDARG);
    const auto tStatement = prepare("select n from driver_test where n = ?");
    EXPECT_EQ(tStatement->bind(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(tStatement->bindName(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(tStatement->query(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(tStatement->getColumns(nullptr), E_INVALIDARG);
    EXPECT_EQ(tStatement->getParameterCount(nullptr), E_INVALIDARG);
    EXPECT_EQ(tStatement->getParameterName(0, nullptr), E_INVALIDARG);
    tRows = query("select 1");
    EXPECT_EQ(tRows->next(nullptr), E_INVALIDARG);
    EXPECT_EQ(tRows->fetch(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(tRows->getColumns(nullptr), E_INVALIDARG);
    EXPECT_EQ(tRows->getChanged(nullptr), E_INVALIDARG);
    tRows.reset();
    EXPECT_EQ(mDatabase->begin(3, 0), E_INVALIDARG);
    EXPECT_EQ(mDatabase->begin(0, 4), E_INVALIDARG);
}

TEST_P(StatementsTest, runManyTimesWithWhatIsBound)
{
    const auto tInsert = prepare("insert into driver_test values (:n, :t)");
    uint32_t tCount = 0;
    EXPECT_EQ(tInsert->getParameterCount(&tCount), 0u);
    EXPECT_EQ(tCount, 2u);
    kom::HeapString tName;
    EXPECT_EQ(tInsert->getParameterName(1, tName.out()), 0u);
    EXPECT_STREQ(tName.c_str(), "t");
    EXPECT_EQ(tInsert->getParameterName(2, tName.out()), E_INVALIDARG);

    uint64_t tChanged = 7;
    EXPECT_EQ(bind(tInsert.get(), ":n", 1), 0u);
    EXPECT_EQ(tInsert->execute(nullptr, &tChanged), SQL_E_PARAMETERS) << "t has no value yet";
    EXPECT_EQ(tChanged, 0u);
    EXPECT_EQ(bind(tInsert.get(), "t", "one"), 0u);
    EXPECT_EQ(tInsert->execute(nullptr, &tChanged), 0u) << error().text;
    EXPECT_EQ(tChanged, 1u);
    EXPECT_EQ(bind(tInsert.get(), "n", 2), 0u);
    EXPECT_EQ(tInsert->execute(nullptr, nullptr), 0u) << "t keeps its value";
    EXPECT_EQ(run(tInsert.get(), {3, Cell()}), 0u) << "without what is bound";
    EXPECT_EQ(table("select * from driver_test order by n"), (Table{{1, "one"}, {2, "one"}, {3, Cell()}}));

    EXPECT_EQ(bind(tInsert.get(), "missing", 1), SQL_E_PARAMETERS);
    const sql::SqlValue tValue = sql::integerValue(4);
    EXPECT_EQ(tInsert->bind(2, &tValue), SQL_E_PARAMETERS);
    EXPECT_EQ(run(tInsert.get(), {4}), SQL_E_PARAMETERS);
    EXPECT_EQ(run(tInsert.get(), {4, "x", "y"}), SQL_E_PARAMETERS);
    EXPECT_EQ(tInsert->clear(), 0u);
    EXPECT_EQ(tInsert->execute(nullptr, nullptr), SQL_E_PARAMETERS);
    EXPECT_EQ(execute("insert into driver_test values (5, ?)"), SQL_E_PARAMETERS);
    EXPECT_EQ(execute("insert into driver_test values (5, 'x')", {"x"}), SQL_E_PARAMETERS);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(3));
}

TEST_P(StatementsTest, surviveTheirFailuresAndTheirConnectionsReference)
{
    auto tInsert = prepare("insert into driver_test values (?, ?)");
    EXPECT_EQ(run(tInsert.get(), {1, "x"}), 0u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(run(tInsert.get(), {1, "again"}), SQL_E_CONSTRAINT);
        EXPECT_EQ(error().constraint, uint32_t{sql::SQL_CONSTRAINT_UNIQUE});
        EXPECT_EQ(run(tInsert.get(), {i + 2, "x"}), 0u) << error().text;
    }
    for (int i = 0; i < 20; ++i)
        prepare("select n from driver_test"); // and dropped again
    mDatabase.reset();
    EXPECT_EQ(run(tInsert.get(), {9, "x"}), 0u) << "it keeps the connection";
    tInsert.reset();
    mDatabase = open();
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(5));
}

TEST_P(StatementsTest, haveRowsOneRunAtATime)
{
    ASSERT_EQ(execute("insert into driver_test values (1, 'x'), (2, 'y')"), 0u);
    const auto tSelect = prepare("select n from driver_test where n >= ? order by n");
    kom::Ref<sql::ISqlRows> tRows, tSecond;
    ASSERT_EQ(tSelect->query(List({1}).get(), tRows.out()), 0u) << error().text;
    EXPECT_EQ(next(tRows.get()), Row{1});
    EXPECT_EQ(tSelect->query(List({1}).get(), tSecond.out()), E_WRONG_STATE);
    EXPECT_FALSE(tSecond);
    const sql::SqlValue tValue = sql::integerValue(4);
    EXPECT_EQ(tSelect->bind(0, &tValue), E_WRONG_STATE);
    EXPECT_EQ(tSelect->clear(), E_WRONG_STATE);
    EXPECT_EQ(next(tRows.get()), Row{2}) << "the first rows are unharmed";
    EXPECT_EQ(next(tRows.get()), Row{});
    EXPECT_EQ(next(tRows.get()), Row{}) << "the end stays the end";
    EXPECT_EQ(tSelect->query(List({2}).get(), tSecond.out()), 0u);
    EXPECT_EQ(next(tSecond.get()), Row{2});
    EXPECT_EQ(next(tRows.get()), Row{}) << "old rows do not wake up";
    EXPECT_EQ(tSecond->close(), 0u);
    EXPECT_EQ(next(tSecond.get()), Row{});
    EXPECT_EQ(tSelect->query(List({2}).get(), tSecond.out()), 0u);
}

TEST_P(StatementsTest, streamBesideEachOtherOrSayThatTheyCannot)
{
    for (int i = 1; i <= 3; ++i)
        ASSERT_EQ(execute("insert into driver_test values (?, 'x')", {i}), 0u);
    auto tRows = query("select n from driver_test order by n");
    EXPECT_EQ(next(tRows.get()), Row{1});
    kom::Ref<sql::ISqlRows> tOthers;
    const uint32_t tRes =
        mDatabase->query("select n from driver_test order by n desc", nullptr, tOthers.out());
    if (can(sql::SQL_FEATURE_MANY_RESULTS)) {
        EXPECT_EQ(tRes, 0u);
        EXPECT_EQ(next(tOthers.get()), Row{3});
        EXPECT_EQ(next(tRows.get()), Row{2});
        EXPECT_EQ(next(tOthers.get()), Row{2});
    } else {
        EXPECT_EQ(tRes, E_WRONG_STATE);
        EXPECT_EQ(execute("delete from driver_test"), E_WRONG_STATE);
        kom::Ref<sql::ISqlStatement> tStatement;
        EXPECT_EQ(mDatabase->prepare("select 1", tStatement.out()), E_WRONG_STATE);
        EXPECT_NE(error().text.find("rows of another statement"), std::string::npos);
        EXPECT_EQ(next(tRows.get()), Row{2});
    }
    tRows.reset();
    EXPECT_EQ(execute("update driver_test set t = 'y'"), 0u) << "closed in the middle: " << error().text;
}

TEST_P(StatementsTest, haveRunWhenTheirCallReturns)
{
    const auto tOther = open();
    ASSERT_TRUE(tOther);
    const auto tCount = [&] {
        kom::Ref<sql::ISqlRows> tSeen;
        EXPECT_EQ(tOther->query("select count(*) from driver_test", nullptr, tSeen.out()), 0u);
        return tSeen ? all(tSeen.get()) : Table();
    };
    // Without rows: when the call returns.
    auto tRows = query("insert into driver_test values (1, 'x')");
    EXPECT_EQ(tCount(), (Table{{1}}));
    sql::SqlColumnList tColumns{7, nullptr};
    EXPECT_EQ(tRows->getColumns(&tColumns), 0u);
    EXPECT_EQ(tColumns.mCount, 0u);
    uint64_t tChanged = 0;
    EXPECT_EQ(tRows->getChanged(&tChanged), 0u);
    EXPECT_EQ(tChanged, 1u);
    EXPECT_EQ(next(tRows.get()), Row{});
    kom::Ref<sql::ISqlRows> tNone;
    EXPECT_EQ(mDatabase->query("insert into driver_test values (1, 'x')", nullptr, tNone.out()),
              SQL_E_CONSTRAINT);
    EXPECT_FALSE(tNone);
    // With rows: at the latest with the first one; giving the others up takes nothing back.
    if (words().returning) {
        tRows = query("insert into driver_test values (2, 'y'), (3, 'z') returning n");
        EXPECT_EQ(next(tRows.get()), Row{2});
        tRows.reset();
    } else {
        ASSERT_EQ(execute("insert into driver_test values (2, 'y'), (3, 'z')"), 0u);
    }
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(3));
    if (words().updateReturning) {
        tRows = query("update driver_test set t = 'q' where n > ? returning n", {1});
        EXPECT_EQ(all(tRows.get()), (Table{{2}, {3}}));
        EXPECT_EQ(tRows->getChanged(&tChanged), 0u);
        EXPECT_EQ(tChanged, 2u);
    }
    // Rows that nobody asks for.
    EXPECT_EQ(execute("delete from driver_test returning n", {}, &tChanged), 0u);
    EXPECT_EQ(tChanged, 3u);
    EXPECT_EQ(execute("create table if not exists driver_test (n int)", {}, &tChanged), 0u);
    EXPECT_EQ(tChanged, 0u);
    EXPECT_EQ(execute("select 1", {}, &tChanged), 0u);
    EXPECT_EQ(tChanged, 0u);
}

TEST_P(StatementsTest, takeManyRowsOfParametersAtOnce)
{
    const auto tInsert = prepare("insert into driver_test values (?, ?)");
    std::vector<sql::SqlValue> tValues;
    for (int i = 0; i < 500; ++i) {
        tValues.push_back(sql::integerValue(i));
        tValues.push_back(i % 7 ? sql::textValue("text") : sql::nullValue());
    }
    uint64_t tChanged = 0;
    uint32_t tFailed = 7;
    EXPECT_EQ(tInsert->executeBatch(500, tValues.data(), &tChanged, &tFailed), 0u) << error().text;
    EXPECT_EQ(tChanged, 500u);
    EXPECT_EQ(tFailed, 500u);
    EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_NONE});
    EXPECT_EQ(cell("select count(t) from driver_test"), Cell(428));
    EXPECT_EQ(tInsert->executeBatch(0, nullptr, &tChanged, nullptr), 0u);
    EXPECT_EQ(tInsert->executeBatch(1, nullptr, nullptr, nullptr), E_INVALIDARG);

    // All or nothing, on its own and within a transaction.
    ASSERT_EQ(execute("delete from driver_test"), 0u);
    tValues[2 * 321].mInteger = 5;
    EXPECT_EQ(tInsert->executeBatch(500, tValues.data(), &tChanged, &tFailed), SQL_E_CONSTRAINT);
    EXPECT_EQ(tChanged, 0u);
    EXPECT_EQ(tFailed, 321u);
    EXPECT_EQ(error().constraint, uint32_t{sql::SQL_CONSTRAINT_UNIQUE}) << "not what took it back";
    EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_NONE});
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(0));
    ASSERT_EQ(mDatabase->begin(0, 0), 0u);
    ASSERT_EQ(run(tInsert.get(), {1000, "before"}), 0u);
    EXPECT_EQ(tInsert->executeBatch(500, tValues.data(), nullptr, &tFailed), SQL_E_CONSTRAINT);
    EXPECT_EQ(tFailed, 321u);
    EXPECT_EQ(state(), uint32_t{sql::SQL_TRANSACTION_OPEN});
    EXPECT_EQ(tInsert->executeBatch(5, tValues.data(), nullptr, nullptr), 0u) << error().text;
    EXPECT_EQ(mDatabase->commit(), 0u);
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(6));
}

TEST_P(StatementsTest, areManyInAScript)
{
    uint64_t tCount = 0;
    EXPECT_EQ(mDatabase->executeScript("insert into driver_test values (1, 'a;b'); -- ; \n select 1;\n;"
                                       "/* ; */ insert into driver_test values (2, '')",
                                       &tCount),
              0u)
        << error().text;
    EXPECT_EQ(tCount, 3u);
    EXPECT_EQ(table("select t from driver_test order by n"), (Table{{"a;b"}, {""}}));
    EXPECT_EQ(mDatabase->executeScript(" -- nothing\n", &tCount), 0u);
    EXPECT_EQ(tCount, 0u);
    EXPECT_EQ(mDatabase->executeScript(
                  "delete from driver_test where n = 1; selec 2; delete from driver_test", &tCount),
              SQL_E_SYNTAX);
    EXPECT_EQ(tCount, 1u);
    EXPECT_EQ(error().position, can(sql::SQL_FEATURE_POSITIONS) ? 37 : -1)
        << "counted from the start of the script";
    EXPECT_EQ(cell("select count(*) from driver_test"), Cell(1));
    if (GetParam() == "sqlite") {
        EXPECT_EQ(mDatabase->executeScript(
                      "create trigger driver_trigger after insert on driver_test begin "
                      "update driver_test set t = 'seen'; delete from driver_test where n = 2; end; "
                      "insert into driver_test values (3, 'x')",
                      &tCount),
                  0u)
            << error().text;
        EXPECT_EQ(tCount, 2u);
        EXPECT_EQ(table("select * from driver_test"), (Table{{3, "seen"}}));
    }
}

TEST_P(StatementsTest, tellWhyTheyFailed)
{
    ASSERT_EQ(mDatabase->executeScript("drop table if exists error_child; drop table if exists error_test;"
                                       "create table error_test (a integer primary key, b integer not null, "
                                       "c integer check (c < 10));"
                                       "create table error_child (a integer references error_test (a))",
                                       nullptr),
              0u)
        << error().text;
    struct Case {
        const char* statement;
        uint32_t code;
        uint32_t constraint;
        const char* state;
        const char* text;
        int64_t position;
    };
    const Case CASES[] = {
        {"selec 1", SQL_E_SYNTAX, 0, "42601", "syntax", 0},
        {"select 1 from where", SQL_E_SYNTAX, 0, "42601", "where", 14},
        {"  ", SQL_E_SYNTAX, 0, "42601", "no statement", 0},
        {"select 1; select 2", SQL_E_SYNTAX, 0, "42601", "more than one statement", 9},
        {"select * from missing_table", SQL_E_NO_OBJECT, 0, "42P01", "missing_table", isSqlite() ? -1 : 14},
        {"select missing_column from error_test", SQL_E_NO_OBJECT, 0, "42703", "missing_column", 7},
        {"select '\xC3\xA4\xF0\x9F\x98\x80' as \"\xC3\xA4\", ?, missing_column", SQL_E_NO_OBJECT, 0, "42703",
         "missing_column", 28},
        {"create table error_test (a integer)", SQL_E_OBJECT_EXISTS, 0, "42P07", "exists",
         isSqlite() ? 13 : -1},
        {"insert into error_test values (1, 1, 1), (1, 1, 1)", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_UNIQUE,
         "23505", "", -1},
        {"insert into error_test values (2, null, 1)", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_NOT_NULL,
         "23502", "", -1},
        {"insert into error_test values (3, 1, 11)", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_CHECK, "23514", "",
         -1},
        {"insert into error_child values (99)", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_FOREIGN_KEY, "23503",
         "", -1},
    };
    for (const Case& tCase : CASES) {
        const Row tValues(std::string_view(tCase.statement).find('?') == std::string_view::npos ? 0u : 1u,
                          Cell("x"));
        EXPECT_EQ(execute(tCase.statement, tValues), tCase.code) << tCase.statement << ": " << error().text;
        const Error tError = error();
        EXPECT_EQ(tError.code, tCase.code);
        EXPECT_EQ(tError.constraint, tCase.constraint) << tCase.statement;
        EXPECT_EQ(tError.retry, 0u) << tCase.statement;
        EXPECT_EQ(tError.state, tCase.state) << tCase.statement;
        EXPECT_NE(tError.text.find(tCase.text), std::string::npos) << tError.text;
        // What the driver itself has found wrong it always tells.
        const bool tOwn =
            std::string_view(tError.text).find("statement in the text") != std::string_view::npos;
        EXPECT_EQ(tError.position, tOwn || can(sql::SQL_FEATURE_POSITIONS) ? tCase.position : -1)
            << tCase.statement << ": " << tError.text;
    }
    EXPECT_EQ(cell("select 1"), Cell(1)) << "the connection is still of use";
    ASSERT_EQ(mDatabase->executeScript("drop table error_child; drop table error_test", nullptr), 0u);
}

TEST_P(StatementsTest, loseNoConnectionByWhatAUserSays)
{
    kom::Ref<sql::ISqlRows> tRows;
    mDatabase->query("select cast('no connection to the server' as integer)", nullptr, tRows.out());
    tRows.reset();
    EXPECT_EQ(cell("select 1"), Cell(1)) << error().text;
}

TEST_P(StatementsTest, listAndDescribeTables)
{
    ASSERT_EQ(
        mDatabase->executeScript("drop view if exists describe_view; drop table if exists describe_test;"
                                 "create table describe_test (b varchar(20) not null, a integer, "
                                 "c integer default 7, primary key (a, b));"
                                 "create view describe_view as select 1 as one",
                                 nullptr),
        0u)
        << error().text;
    kom::Ref<sql::ISqlRows> tRows;
    ASSERT_EQ(mDatabase->listTables(tRows.out()), 0u) << error().text;
    const Table tTables = all(tRows.get());
    const char* const tSchema = words().schema;
    EXPECT_EQ(tTables, (Table{{tSchema, "describe_test", "table"},
                              {tSchema, "describe_view", "view"},
                              {tSchema, "driver_test", "table"}}));
    for (const std::string& tName :
         {std::string("describe_test"), tSchema + std::string(*tSchema ? "." : "") + "describe_test"}) {
        ASSERT_EQ(mDatabase->describeTable(tName.c_str(), tRows.out()), 0u) << error().text;
        sql::SqlColumnList tColumns{};
        EXPECT_EQ(tRows->getColumns(&tColumns), 0u);
        ASSERT_EQ(tColumns.mCount, 5u);
        EXPECT_STREQ(tColumns.mColumns[3].mName, "default");
        komFree(tColumns.mColumns);
        Table tTable = all(tRows.get());
        ASSERT_EQ(tTable.size(), 3u);
        EXPECT_EQ(tTable[0][0], Cell("b"));
        EXPECT_NE(tTable[0][1].data.find("(20)"), std::string::npos);
        EXPECT_EQ(tTable[0][2], Cell(0));
        EXPECT_EQ(tTable[0][3], Cell());
        EXPECT_EQ(tTable[0][4], Cell(2)) << "the second column of the key";
        EXPECT_EQ(tTable[1][4], Cell(1));
        EXPECT_EQ(Row(tTable[2].begin() + 2, tTable[2].end()), (Row{1, "7", 0}));
    }
    EXPECT_EQ(mDatabase->describeTable("missing_table", tRows.out()), SQL_E_NO_OBJECT);
    EXPECT_EQ(mDatabase->describeTable("", tRows.out()), SQL_E_NO_OBJECT);
    EXPECT_FALSE(tRows);
    EXPECT_EQ(mDatabase->describeTable("missing.driver_test", tRows.out()), SQL_E_NO_OBJECT) << error().text;
    ASSERT_EQ(mDatabase->executeScript("drop view describe_view; drop table describe_test", nullptr), 0u);
}

INSTANTIATE_TEST_SUITE_P(every, StatementsTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });

/// What a thread keeps of the driver goes with the thread, and harms nothing that others have.
TEST_P(DriverModuleTest, isCalledByThreadsThatEnd)
{
    const std::string tKey(200, 'x');
    for (int i = 0; i < 50; ++i) {
        std::thread([&] {
            kom::Ref<sql::ISqlDatabase> tDatabase;
            EXPECT_TRUE(KFAILED(mRegistry->createDatabase(
                ("type=" + type() + ";file=x;" + tKey + "=y").c_str(), tDatabase.out())));
            kom::Ref<sql::ISqlDatabaseFactory> tFactory;
            ASSERT_EQ(mRegistry->getFactory(type().c_str(), tFactory.out()), 0u);
            sql::SqlError tError;
            EXPECT_EQ(tFactory->getCreateError(&tError), 0u);
            EXPECT_STRNE(tError.mText, "");
            EXPECT_TRUE(KFAILED(tError.mCode));
            komFree(tError.mText);
        }).join();
        // What was given back wrongly is noticed by the next who asks for memory.
        std::vector<std::string> tOthers(50, std::string(220, 'y'));
        for (const auto& tOther : tOthers)
            ASSERT_EQ(tOther, std::string(220, 'y'));
    }
}

TEST_P(DriverModuleTest, declinesWhatIsNotItsOwn)
{
    kom::Ref<sql::ISqlDatabaseFactory> tFactory;
    ASSERT_EQ(mRegistry->getFactory(type().c_str(), tFactory.out()), 0u);
    struct Case {
        const char* description;
        const char* text;
    };
    for (const Case& tCase :
         {Case{"type=another", ""}, Case{"", ""},
          Case{"type=x;password=\"se", "at byte 7: a quoted value has no end"},
          Case{"password=half;secret word", "at byte 14: a key is not followed by \"=\""}}) {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        EXPECT_EQ(tFactory->createDatabase(tCase.description, tDatabase.out()), 0u);
        EXPECT_FALSE(tDatabase);
        sql::SqlError tError;
        EXPECT_EQ(tFactory->getCreateError(&tError), 0u);
        EXPECT_EQ(tError.mCode, 0u);
        EXPECT_EQ(std::string(tError.mText),
                  *tCase.text ? std::string("the description is wrong ") + tCase.text : "");
        komFree(tError.mText);
    }
    EXPECT_EQ(tFactory->getCreateError(nullptr), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(every, DriverModuleTest, testing::Values("sqlite", "postgresql", "odbc"),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
