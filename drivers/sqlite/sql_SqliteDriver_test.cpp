// The SQLite driver without memory: whatever it has opened is closed again.
#include <gtest/gtest.h>

#include "drivers/sqlite/sql_Sqlite.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/testing/sql_WithoutMemory.h"
#include "tests/support/LeakCheck.h"

namespace vel::kos::drivers {

namespace {

/// The library's own functions, and what they have open.
struct {
    decltype(Sqlite::open) open;
    decltype(Sqlite::close) close;
    decltype(Sqlite::prepare) prepare;
    decltype(Sqlite::finalize) finalize;
} gReal;
int gConnections = 0, gStatements = 0;

class SqliteDriverTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!gSqlite.load()) GTEST_SKIP() << gSqlite.library.problem();
        gReal = {gSqlite.open, gSqlite.close, gSqlite.prepare, gSqlite.finalize};
        gConnections = gStatements = 0;
        gSqlite.open = [](const char* pFile, sqlite3** pHandle, int pFlags, const char* pVfs) {
            const int tCode = gReal.open(pFile, pHandle, pFlags, pVfs);
            if (*pHandle) ++gConnections;
            return tCode;
        };
        gSqlite.close = [](sqlite3* pHandle) {
            if (pHandle) --gConnections;
            return gReal.close(pHandle);
        };
        gSqlite.prepare = [](sqlite3* pDatabase, const char* pText, int pSize, sqlite3_stmt** pHandle,
                             const char** pTail) {
            const int tCode = gReal.prepare(pDatabase, pText, pSize, pHandle, pTail);
            if (*pHandle) ++gStatements;
            return tCode;
        };
        gSqlite.finalize = [](sqlite3_stmt* pHandle) {
            if (pHandle) --gStatements;
            return gReal.finalize(pHandle);
        };
    }
    void TearDown() override
    {
        if (!gReal.open) return;
        gSqlite.open = gReal.open;
        gSqlite.close = gReal.close;
        gSqlite.prepare = gReal.prepare;
        gSqlite.finalize = gReal.finalize;
    }

    test::LeakCheck mLeaks;
    const kom::Ref<sql::ISqlDatabaseFactory> mFactory = makeFactory();
};

TEST_F(SqliteDriverTest, withoutMemoryNothingStaysOpen)
{
    withoutMemory([this] {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        mFactory->createDatabase("type=sqlite;file=:memory:", tDatabase.out());
    });
    EXPECT_EQ(gConnections, 0);
    for (const char* tFile : {"/no/such/folder/x.db", ":memory:;create=maybe"}) {
        kom::Ref<sql::ISqlDatabase> tDatabase;
        EXPECT_TRUE(KFAILED(
            mFactory->createDatabase((std::string("type=sqlite;file=") + tFile).c_str(), tDatabase.out())));
    }
    EXPECT_EQ(gConnections, 0);
}

TEST_F(SqliteDriverTest, withoutMemoryNoStatementStaysOpen)
{
    kom::Ref<sql::ISqlDatabase> tDatabase;
    ASSERT_EQ(mFactory->createDatabase("type=sqlite;file=:memory:", tDatabase.out()), 0u);
    const sql::SqlValue tOne = sql::integerValue(1);
    const sql::SqlValueList tValues{1, &tOne};
    withoutMemory([&] {
        kom::Ref<sql::ISqlStatement> tStatement;
        tDatabase->prepare("select :a, :b", tStatement.out());
    });
    withoutMemory([&] {
        kom::Ref<sql::ISqlRows> tRows;
        sql::SqlValueList tRow;
        if (!KFAILED(tDatabase->query("select ?, 'a text' union select 2, x'00'", &tValues, tRows.out())))
            while (!KFAILED(tRows->next(&tRow)) && tRow.mCount > 0) {
            }
    });
    EXPECT_EQ(tDatabase->execute("select @a", &tValues, nullptr), SQL_E_PARAMETERS);
    EXPECT_EQ(gStatements, 0);
    EXPECT_EQ(tDatabase->execute("create table t (n)", nullptr, nullptr), 0u) << "no read is left open";
}

} // namespace

} // namespace vel::kos::drivers
