// The drivers through their interfaces: transactions, parameters, rows, errors. PostgreSQL is tested when
// KFW_TEST_POSTGRESQL holds the description of a database.
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "drivers/postgresql/sql_Placeholders.h"
#include "drivers/support/sql_Description.h"
#include "kfw/sql/driver.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::drivers {

namespace {

using Values = std::vector<const char*>;

TEST(DescriptionTest, takesPairsApart)
{
    Description tDescription;
    ASSERT_TRUE(tDescription.parse(" Type = sqlite ;; FILE=a b.db;x=\"a;b \"\"c\"\" \" ; empty= ;"));
    EXPECT_EQ(tDescription.values(),
              (std::map<std::string, std::string>{
                  {"type", "sqlite"}, {"file", "a b.db"}, {"x", "a;b \"c\" "}, {"empty", ""}}));
    EXPECT_TRUE(tDescription.parse(""));
    EXPECT_TRUE(tDescription.values().empty());
}

TEST(DescriptionTest, tellsWhatIsWrong)
{
    for (const char* tText : {"a", "a;b=c", "=x", "a=\"x", "a=\"x\"y", "a=x\"y", "a=1;A=2", "\"a\"=b"}) {
        Description tDescription;
        EXPECT_FALSE(tDescription.parse(tText)) << tText;
        EXPECT_FALSE(tDescription.problem().empty()) << tText;
    }
}

TEST(PlaceholdersTest, areNumberedOutsideTexts)
{
    uint32_t tCount = 0;
    EXPECT_EQ(numberPlaceholders("? '?''?' \"?\" -- ?\n ? /* ? /* ? */ ? */ $$ ? $$ $t$ ? $$ $t$ ?", tCount),
              "$1 '?''?' \"?\" -- ?\n $2 /* ? /* ? */ ? */ $$ ? $$ $t$ ? $$ $t$ $3");
    EXPECT_EQ(tCount, 3u);
    EXPECT_EQ(numberPlaceholders("a '?", tCount), "a '?");
    EXPECT_EQ(tCount, 0u);
}

/// One driver, loaded as a host loads it.
class DriverModuleTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        char tFolder[4096];
        ASSERT_EQ(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder), 0u);
        const std::string tName = std::string(kprGetDSOPrefix()) + "sqldrv_" + GetParam() + kprGetDSOSuffix();
        const std::string tSeparator(1, kprGetPathSeparator());
        KprDSO tModule = 0;
        ASSERT_EQ(kprOpenDSO((tFolder + tSeparator + "drivers" + tSeparator + tName).c_str(), 0, &tModule),
                  0u);
        void* tAnnounce = nullptr;
        ASSERT_EQ(kprGetDSOSymbol(tModule, sql::ANNOUNCE_FACTORIES, &tAnnounce), 0u);
        ASSERT_EQ(reinterpret_cast<sql::AnnounceFactories>(tAnnounce)(mRegistry.get()), 0u);
    }

    test::LeakCheck mLeaks;
    kom::Ref<kfw::SqlDbFactoryReg> mRegistry = kom::retain(new kfw::SqlDbFactoryReg);
};

/// With a database of its own.
class DriverTest : public DriverModuleTest {
protected:
    void SetUp() override
    {
        if (GetParam() == "postgresql" && !std::getenv("KFW_TEST_POSTGRESQL"))
            GTEST_SKIP() << "KFW_TEST_POSTGRESQL names no database (the test of khost sql does)";
        ASSERT_NO_FATAL_FAILURE(DriverModuleTest::SetUp());
        mDescription = GetParam() == "sqlite" ? "type=sqlite;file=" + (mDir.path() / "test.db").string()
                                              : std::string(std::getenv("KFW_TEST_POSTGRESQL"));
        mDatabase = open();
        if (!mDatabase) GTEST_SKIP() << mProblem;
        static_cast<void>(mDatabase->execute("drop table if exists driver_test", nullptr, nullptr));
        ASSERT_EQ(mDatabase->execute("create table driver_test (n int, t text)", nullptr, nullptr), 0u)
            << error();
    }
    void TearDown() override
    {
        if (mDatabase) static_cast<void>(mDatabase->execute("drop table driver_test", nullptr, nullptr));
    }

    /// Empty, and mProblem says why, when there is no client library.
    kom::Ref<sql::ISqlDatabase> open()
    {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        const uint32_t tRes = mRegistry->createDatabase(mDescription.c_str(), tDatabase.out());
        kom::Ref<sql::ISqlDatabaseFactory> tFactory;
        kom::HeapString tText;
        if (!KFAILED(mRegistry->getFactory(GetParam().c_str(), tFactory.out())))
            tFactory->getCreateError(tText.out());
        mProblem = tText.c_str();
        EXPECT_TRUE(tRes == 0 || tRes == KPR_E_NOT_FOUND) << mProblem;
        return tDatabase;
    }
    std::string error()
    {
        kom::HeapString tText;
        mDatabase->getErrorText(tText.out());
        return tText.c_str();
    }
    uint32_t execute(const char* pStatement, const Values& pValues = {}, uint64_t* pChanged = nullptr)
    {
        const sql::SqlParameters tParameters{static_cast<uint32_t>(pValues.size()), pValues.data()};
        return mDatabase->execute(pStatement, &tParameters, pChanged);
    }
    kom::Ref<sql::ISqlRows> query(const char* pStatement, const Values& pValues = {})
    {
        const sql::SqlParameters tParameters{static_cast<uint32_t>(pValues.size()), pValues.data()};
        kom::Ref<sql::ISqlRows> tRows;
        EXPECT_EQ(mDatabase->query(pStatement, &tParameters, tRows.out()), 0u) << error();
        return tRows;
    }
    /// The first column of every row, joined by blanks; null is "-".
    std::string column(const char* pStatement, const Values& pValues = {})
    {
        const auto tRows = query(pStatement, pValues);
        std::string tJoined;
        uint32_t tRow = 0;
        while (tRows && !KFAILED(tRows->next(&tRow)) && tRow) {
            kom::HeapString tText;
            EXPECT_EQ(tRows->getText(0, tText.out()), 0u);
            tJoined += (tJoined.empty() ? "" : " ") + std::string(tText.isNull() ? "-" : tText.c_str());
        }
        return tJoined;
    }

    test::TestDirectory mDir;
    std::string mDescription, mProblem;
    kom::Ref<sql::ISqlDatabase> mDatabase;
};

TEST_P(DriverTest, rollsTenThousandRowsBackOrKeepsThem)
{
    for (const bool tKeep : {false, true}) {
        ASSERT_EQ(mDatabase->begin(), 0u);
        for (int i = 0; i < 10000; ++i) {
            const std::string tNumber = std::to_string(i);
            ASSERT_EQ(
                execute("insert into driver_test values (cast(? as int), ?)", {tNumber.c_str(), "text"}), 0u)
                << error();
        }
        EXPECT_EQ(column("select count(*) from driver_test"), "10000");
        ASSERT_EQ(tKeep ? mDatabase->commit() : mDatabase->rollback(), 0u) << error();
        EXPECT_EQ(column("select count(*) from driver_test"), tKeep ? "10000" : "0");
    }
}

TEST_P(DriverTest, transactionsDoNotNest)
{
    EXPECT_EQ(mDatabase->commit(), E_WRONG_STATE);
    EXPECT_EQ(error(), "no transaction is open");
    EXPECT_EQ(mDatabase->rollback(), E_WRONG_STATE);
    EXPECT_EQ(mDatabase->begin(), 0u);
    EXPECT_EQ(mDatabase->begin(), E_WRONG_STATE);
    EXPECT_EQ(error(), "a transaction is open already");
    EXPECT_EQ(mDatabase->rollback(), 0u);
}

TEST_P(DriverTest, whatIsNotCommittedGoesWithTheConnection)
{
    ASSERT_EQ(mDatabase->begin(), 0u);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    mDatabase.reset();
    mDatabase = open();
    ASSERT_TRUE(mDatabase);
    EXPECT_EQ(column("select count(*) from driver_test"), "0");
}

TEST_P(DriverTest, takesParametersAndNulls)
{
    uint64_t tChanged = 7;
    EXPECT_EQ(execute("insert into driver_test values (1, ?), (2, ?), (3, '?')",
                      {"it's \"?\" \xC3\xA4", nullptr}, &tChanged),
              0u);
    EXPECT_EQ(tChanged, 3u);
    EXPECT_EQ(column("select t from driver_test order by n"), "it's \"?\" \xC3\xA4 - ?");
    EXPECT_EQ(column("select n from driver_test where t = ?", {"?"}), "3");
    EXPECT_EQ(execute("update driver_test set t = 'y' where n > 1", {}, &tChanged), 0u);
    EXPECT_EQ(tChanged, 2u);
    EXPECT_EQ(execute("create table if not exists driver_test (n int)", {}, &tChanged), 0u);
    EXPECT_EQ(tChanged, 0u);
    EXPECT_EQ(execute("select ?", {}), E_INVALIDARG);
    EXPECT_EQ(execute("select 1", {"x"}), E_INVALIDARG);
    EXPECT_EQ(error(), "the number of parameters is not that of the statement");
}

TEST_P(DriverTest, rowsTellTheirColumnsAndKeepTheConnection)
{
    auto tRows = query("select 1 as one, 'x' as two");
    mDatabase.reset();
    uint32_t tCount = 0, tRow = 0;
    EXPECT_EQ(tRows->getColumnCount(&tCount), 0u);
    EXPECT_EQ(tCount, 2u);
    kom::HeapString tText;
    EXPECT_EQ(tRows->getColumnName(1, tText.out()), 0u);
    EXPECT_STREQ(tText.c_str(), "two");
    EXPECT_EQ(tRows->getColumnName(2, tText.out()), E_INVALIDARG);
    EXPECT_EQ(tRows->getText(0, tText.out()), E_WRONG_STATE);
    EXPECT_EQ(tRows->next(&tRow), 0u);
    EXPECT_EQ(tRow, 1u);
    EXPECT_EQ(tRows->getText(2, tText.out()), E_INVALIDARG);
    EXPECT_EQ(tRows->getText(1, tText.out()), 0u);
    EXPECT_STREQ(tText.c_str(), "x");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(tRows->next(&tRow), 0u);
        EXPECT_EQ(tRow, 0u);
        EXPECT_EQ(tRows->getText(0, tText.out()), E_WRONG_STATE);
    }
    tRows.reset();
    mDatabase = open();
}

TEST_P(DriverTest, refusesNullPointers)
{
    EXPECT_EQ(mDatabase->execute(nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->query("select 1", nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getErrorText(nullptr), E_INVALIDARG);
    EXPECT_EQ(mDatabase->getDatabaseType(nullptr), E_INVALIDARG);
    kom::HeapString tType;
    EXPECT_EQ(mDatabase->getDatabaseType(tType.out()), 0u);
    EXPECT_EQ(tType.c_str(), GetParam());
}

TEST_P(DriverTest, refusesParametersWithoutValues)
{
    const sql::SqlParameters tParameters{1, nullptr};
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->execute("insert into driver_test values (1, ?)", &tParameters, nullptr),
              E_INVALIDARG);
    EXPECT_EQ(error(), "the parameters have no values");
    EXPECT_EQ(mDatabase->query("select ?", &tParameters, tRows.out()), E_INVALIDARG);
    EXPECT_FALSE(tRows);
    EXPECT_EQ(column("select count(*) from driver_test"), "0");
    const sql::SqlParameters tNone{0, nullptr};
    EXPECT_EQ(mDatabase->execute("insert into driver_test values (1, 'x')", &tNone, nullptr), 0u);
}

TEST_P(DriverTest, aCommitThatKeptNothingIsAFailure)
{
    ASSERT_EQ(mDatabase->begin(), 0u);
    ASSERT_EQ(execute("insert into driver_test values (1, 'x')"), 0u);
    EXPECT_EQ(execute("insert into missing_table values (1)"), E_FAIL);
    // PostgreSQL rolls such a transaction back, SQLite keeps what went before; neither may tell it wrongly.
    const uint32_t tRes = mDatabase->commit();
    const std::string tRows = column("select count(*) from driver_test");
    EXPECT_EQ(tRes == 0, tRows == "1") << std::hex << tRes << ", rows: " << tRows;
    if (GetParam() == "postgresql") {
        EXPECT_EQ(tRes, E_FAIL);
    }
    EXPECT_EQ(mDatabase->begin(), 0u) << "the transaction is over: " << error();
    EXPECT_EQ(mDatabase->rollback(), 0u);
}

TEST_P(DriverTest, tellsWhyAStatementFailed)
{
    EXPECT_EQ(execute("selec 1"), E_FAIL);
    EXPECT_NE(error().find("syntax error"), std::string::npos) << error();
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->query("select * from missing_table", nullptr, tRows.out()), E_FAIL);
    EXPECT_NE(error().find("missing_table"), std::string::npos) << error();
    EXPECT_FALSE(tRows);
    EXPECT_EQ(column("select 1"), "1") << "the connection is still of use";
}

/// What a thread keeps of the driver goes with the thread, and harms nothing that others have.
TEST_P(DriverModuleTest, isCalledByThreadsThatEnd)
{
    const std::string tKey(200, 'x');
    for (int i = 0; i < 50; ++i) {
        std::thread([&] {
            kom::Ref<sql::ISqlDatabase> tDatabase;
            EXPECT_TRUE(KFAILED(mRegistry->createDatabase(
                ("type=" + GetParam() + ";file=x;" + tKey + "=y").c_str(), tDatabase.out())));
            kom::Ref<sql::ISqlDatabaseFactory> tFactory;
            ASSERT_EQ(mRegistry->getFactory(GetParam().c_str(), tFactory.out()), 0u);
            kom::HeapString tText;
            EXPECT_EQ(tFactory->getCreateError(tText.out()), 0u);
            EXPECT_STRNE(tText.c_str(), "");
        }).join();
        // What was given back wrongly is noticed by the next who asks for memory.
        std::vector<std::string> tOthers(50, std::string(220, 'y'));
        for (const auto& tOther : tOthers)
            ASSERT_EQ(tOther, std::string(220, 'y'));
    }
}

INSTANTIATE_TEST_SUITE_P(every, DriverModuleTest, testing::Values("sqlite", "postgresql"),
                         [](const auto& pInfo) { return pInfo.param; });
INSTANTIATE_TEST_SUITE_P(every, DriverTest, testing::Values("sqlite", "postgresql"),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
