#include "drivers/testing/sql_TestDriver.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "kpr/dso.h"
#include "kpr/path.h"

namespace vel::kos::drivers {

Cell::Cell(const sql::SqlValue& pValue)
    : type(pValue.mType),
      integer(pValue.mInteger),
      number(pValue.mDouble),
      data(pValue.mData ? pValue.mData : "", static_cast<size_t>(pValue.mSize))
{
}

sql::SqlValue Cell::value() const
{
    if (type == sql::SQL_VALUE_INTEGER) return sql::integerValue(integer);
    if (type == sql::SQL_VALUE_DOUBLE) return sql::doubleValue(number);
    if (type == sql::SQL_VALUE_NULL) return sql::nullValue();
    return sql::dataValue(type, data.data(), data.size());
}

bool Cell::operator==(const Cell& pOther) const
{
    // Doubles bit by bit: 0 and -0 differ, and "not a number" is equal to itself.
    return type == pOther.type && integer == pOther.integer && data == pOther.data &&
           (std::bit_cast<uint64_t>(number) == std::bit_cast<uint64_t>(pOther.number) ||
            (number != number && pOther.number != pOther.number));
}

void PrintTo(const Cell& pCell, std::ostream* pStream)
{
    if (pCell.type == sql::SQL_VALUE_NULL)
        *pStream << "NULL";
    else if (pCell.type == sql::SQL_VALUE_INTEGER)
        *pStream << pCell.integer;
    else if (pCell.type == sql::SQL_VALUE_DOUBLE)
        *pStream << "double " << std::hexfloat << pCell.number << std::defaultfloat;
    else
        *pStream << "type " << pCell.type << ", " << pCell.data.size()
                 << " bytes: " << testing::PrintToString(pCell.data.substr(0, 200));
}

namespace {

constexpr char ODBC_SQLITE[] = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";

constexpr std::pair<const char*, const char*> SERVERS[] = {
    {"postgresql", "KFW_TEST_POSTGRESQL"},
    {"odbc_postgresql", "KFW_TEST_ODBC_POSTGRESQL"},
    {"odbc_mariadb", "KFW_TEST_ODBC_MARIADB"},
};

const char* descriptionOfServer(const std::string& pName)
{
    for (const auto& [tName, tVariable] : SERVERS)
        if (pName == tName) return std::getenv(tVariable);
    return nullptr;
}

/// How SQLite's ODBC driver, which runs on the system itself under Wine too, calls a file.
std::string nativePath(std::string pPath)
{
    if (kprGetPathSeparator() == '/') return pPath;
    const char* const tPrefix = std::getenv("WINEPREFIX");
    if (pPath.starts_with("C:") && tPrefix) pPath.replace(0, 2, std::string(tPrefix) + "/drive_c");
    if (pPath.starts_with("Z:")) pPath.erase(0, 2);
    std::replace(pPath.begin(), pPath.end(), '\\', '/');
    return pPath;
}

} // namespace

std::vector<std::string> testedServers()
{
    std::vector<std::string> tServers;
    for (const auto& [tName, tVariable] : SERVERS)
        if (std::getenv(tVariable)) tServers.push_back(tName);
    return tServers;
}

std::vector<std::string> testedDrivers()
{
    std::vector<std::string> tDrivers = testedServers();
    tDrivers.insert(tDrivers.end(), {"sqlite", "odbc_sqlite"});
    return tDrivers;
}

void DriverModuleTest::SetUp()
{
    char tFolder[4096];
    ASSERT_EQ(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder), 0u);
    const std::string tName = std::string(kprGetDSOPrefix()) + "sqldrv_" + type() + kprGetDSOSuffix();
    const std::string tSeparator(1, kprGetPathSeparator());
    KprDSO tModule = 0;
    ASSERT_EQ(kprOpenDSO((tFolder + tSeparator + "drivers" + tSeparator + tName).c_str(), 0, &tModule), 0u);
    void* tAnnounce = nullptr;
    ASSERT_EQ(kprGetDSOSymbol(tModule, sql::ANNOUNCE_FACTORIES, &tAnnounce), 0u);
    ASSERT_EQ(reinterpret_cast<sql::AnnounceFactories>(tAnnounce)(mRegistry.get()), 0u);
}

void DriverTest::SetUp()
{
    ASSERT_NO_FATAL_FAILURE(DriverModuleTest::SetUp());
    const std::string tFile = (mDir.path() / "test.db").string();
    if (const char* const tServer = descriptionOfServer(GetParam()))
        mDescription = tServer;
    else if (!isOdbc())
        mDescription = "type=sqlite;file=" + tFile;
    else if (std::filesystem::exists(ODBC_SQLITE))
        mDescription =
            "type=odbc;driver=" + nativePath(ODBC_SQLITE) + ";fksupport=1;database=" + nativePath(tFile);
    else
        GTEST_SKIP() << "SQLite's ODBC driver is not installed: there is no " << ODBC_SQLITE;
    mDatabase = open();
    if (!mDatabase) GTEST_SKIP() << createError();
    static_cast<void>(execute("drop table if exists driver_test"));
    ASSERT_EQ(execute("create table driver_test (n bigint primary key, t text)"), 0u) << error().text;
}

void DriverTest::TearDown()
{
    if (!mDatabase) return;
    if (state() != sql::SQL_TRANSACTION_NONE) mDatabase->rollback();
    static_cast<void>(execute("drop table if exists driver_test"));
}

kom::Ref<sql::ISqlDatabase> DriverTest::open(const std::string& pMore)
{
    kom::Ref<sql::ISqlDatabase> tDatabase;
    const uint32_t tRes = mRegistry->createDatabase((mDescription + pMore).c_str(), tDatabase.out());
    EXPECT_TRUE(tRes == 0 || tRes == KPR_E_NOT_FOUND) << createError();
    // No test cuts the power.
    if (tDatabase && isSqlite()) tDatabase->execute("pragma synchronous = off", nullptr, nullptr);
    return tDatabase;
}

std::string DriverTest::createError(uint32_t* pCode)
{
    kom::Ref<sql::ISqlDatabaseFactory> tFactory;
    sql::SqlError tError{};
    if (!KFAILED(mRegistry->getFactory(type().c_str(), tFactory.out()))) tFactory->getCreateError(&tError);
    if (pCode) *pCode = tError.mCode;
    const std::string tText = tError.mText ? tError.mText : "";
    komFree(tError.mText);
    return tText;
}

bool DriverTest::can(uint32_t pFeature)
{
    uint32_t tFeatures = 0;
    EXPECT_EQ(mDatabase->getFeatures(&tFeatures), 0u);
    return (tFeatures & pFeature) != 0;
}

const Words& DriverTest::words() const
{
    constexpr uint32_t THREE = sql::SQL_FEATURE_MANY_RESULTS | sql::SQL_FEATURE_STATEMENT_ROLLBACK |
                               sql::SQL_FEATURE_ROWS_ACROSS_COMMIT;
    static const Words SQLITE = {
        .features = THREE | sql::SQL_FEATURE_TEXT_WITH_NUL | sql::SQL_FEATURE_POSITIONS |
                    sql::SQL_FEATURE_TRANSACTIONAL_DDL | sql::SQL_FEATURE_INFINITY,
        .bytesType = "blob",
        .slow = "with recursive c(n) as (select 1 union all select n + 1 from c where n < 100000000000) "
                "select count(*) from c",
        .slowChange =
            "insert into driver_test with recursive c(n) as (select 1 union all select n + 1 from c "
            "where n < 100000000000) select count(*), 'x' from c",
        .schema = "main"};
    static const Words ODBC_SQLITE_WORDS = [] {
        Words tWords = SQLITE;
        tWords.features = THREE | sql::SQL_FEATURE_TRANSACTIONAL_DDL;
        tWords.schema = "";
        tWords.returning = tWords.updateReturning = tWords.exactDoubles = tWords.tellsConflicts = false;
        return tWords;
    }();
    static const Words POSTGRESQL = {
        .features = sql::SQL_FEATURE_DECIMALS | sql::SQL_FEATURE_DATES | sql::SQL_FEATURE_POSITIONS |
                    sql::SQL_FEATURE_ISOLATION | sql::SQL_FEATURE_NAN | sql::SQL_FEATURE_TRANSACTIONAL_DDL |
                    sql::SQL_FEATURE_INFINITY,
        .bytesType = "bytea",
        .slow = "select count(*) from pg_sleep(3600)",
        .slowChange = "insert into driver_test select count(*), 'x' from pg_sleep(3600)",
        .ownNumber = "select pg_backend_pid()",
        .kill = "select pg_terminate_backend(cast(? as int))",
        .isThere = "select count(*) from pg_stat_activity where pid = ?",
        .schema = "public"};
    static const Words ODBC_POSTGRESQL_WORDS = [] {
        Words tWords = POSTGRESQL;
        tWords.features = (POSTGRESQL.features & ~uint32_t{sql::SQL_FEATURE_POSITIONS}) | THREE;
        return tWords;
    }();
    static const Words MARIADB = {
        .features = THREE | sql::SQL_FEATURE_TEXT_WITH_NUL | sql::SQL_FEATURE_DECIMALS |
                    sql::SQL_FEATURE_DATES | sql::SQL_FEATURE_ISOLATION,
        .bytesType = "longblob",
        .textType = "longtext",
        .timestampType = "datetime(6)",
        .timeType = "time(6)",
        .asText = "char",
        .asInteger = "signed",
        .slow = "select count(*) from seq_1_to_1000000 a, seq_1_to_1000000 b where (a.seq * b.seq) % 7 = 3",
        .slowChange = "insert into driver_test select count(*), 'x' from seq_1_to_1000000 a, "
                      "seq_1_to_1000000 b where (a.seq * b.seq) % 7 = 3",
        .ownNumber = "select connection_id()",
        .kill = "kill ?",
        .isThere = "select count(*) from information_schema.processlist where id = ?",
        .schema = "test",
        .updateReturning = false,
        .lateConstraints = false,
        .readersBlock = true};
    if (isSqlite()) return isOdbc() ? ODBC_SQLITE_WORDS : SQLITE;
    if (database() == "mariadb") return MARIADB;
    return isOdbc() ? ODBC_POSTGRESQL_WORDS : POSTGRESQL;
}

double DriverTest::storable(double pNumber) const
{
    if (words().exactDoubles || !std::isfinite(pNumber)) return pNumber;
    if (std::abs(pNumber) > 1e308) return std::copysign(1e308, pNumber);
    char tText[40];
    std::snprintf(tText, sizeof tText, "%.15g", pNumber);
    return std::strtod(tText, nullptr);
}

DriverTest::Error DriverTest::error(sql::ISqlDatabase* pDatabase)
{
    sql::SqlError tError;
    EXPECT_EQ(pDatabase->getError(&tError), 0u);
    Error tResult{tError.mCode,     tError.mConstraint, tError.mRetry,
                  tError.mPosition, tError.mSqlState,   tError.mText};
    komFree(tError.mText);
    return tResult;
}

uint32_t DriverTest::state()
{
    uint32_t tState = 99;
    EXPECT_EQ(mDatabase->getTransactionState(&tState), 0u);
    return tState;
}

uint32_t DriverTest::execute(sql::ISqlDatabase* pDatabase, const char* pStatement, const Row& pValues,
                             uint64_t* pChanged)
{
    return pDatabase->execute(pStatement, List(pValues).get(), pChanged);
}

kom::Ref<sql::ISqlRows> DriverTest::query(const char* pStatement, const Row& pValues)
{
    kom::Ref<sql::ISqlRows> tRows;
    EXPECT_EQ(mDatabase->query(pStatement, List(pValues).get(), tRows.out()), 0u)
        << pStatement << ": " << error().text;
    return tRows;
}

kom::Ref<sql::ISqlStatement> DriverTest::prepare(const char* pStatement)
{
    kom::Ref<sql::ISqlStatement> tStatement;
    EXPECT_EQ(mDatabase->prepare(pStatement, tStatement.out()), 0u) << pStatement << ": " << error().text;
    return tStatement;
}

uint32_t DriverTest::run(sql::ISqlStatement* pStatement, const Row& pValues, uint64_t* pChanged)
{
    return pStatement ? pStatement->execute(List(pValues).get(), pChanged) : E_FAIL;
}

uint32_t DriverTest::bind(sql::ISqlStatement* pStatement, const char* pName, const Cell& pCell)
{
    const sql::SqlValue tValue = pCell.value();
    return pStatement->bindName(pName, &tValue);
}

Row DriverTest::next(sql::ISqlRows* pRows, uint32_t* pResult)
{
    sql::SqlValueList tList{};
    const uint32_t tRes = pRows->next(&tList);
    if (pResult)
        *pResult = tRes;
    else
        EXPECT_EQ(tRes, 0u);
    Row tRow;
    for (uint32_t i = 0; i < tList.mCount; ++i)
        tRow.emplace_back(tList.mValues[i]);
    return tRow;
}

Table DriverTest::all(sql::ISqlRows* pRows)
{
    Table tTable;
    for (Row tRow = next(pRows); !tRow.empty(); tRow = next(pRows))
        tTable.push_back(std::move(tRow));
    return tTable;
}

Table DriverTest::table(const char* pStatement, const Row& pValues)
{
    const auto tRows = query(pStatement, pValues);
    return tRows ? all(tRows.get()) : Table();
}

Cell DriverTest::cell(const char* pStatement, const Row& pValues)
{
    const Table tTable = table(pStatement, pValues);
    EXPECT_FALSE(tTable.empty()) << pStatement;
    return tTable.empty() ? Cell() : tTable[0][0];
}

} // namespace vel::kos::drivers
