// The drivers as their clients see them: loaded from their modules, each with a real database. The tests of
// the contract run over all of them.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/sql/driver.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::drivers {

/// A value with its data, to be compared.
struct Cell {
    uint32_t type = sql::SQL_VALUE_NULL;
    int64_t integer = 0;
    double number = 0;
    std::string data;

    Cell() = default;
    Cell(int pInteger) : Cell(int64_t{pInteger}) {}
    Cell(int64_t pInteger) : type(sql::SQL_VALUE_INTEGER), integer(pInteger) {}
    Cell(double pNumber) : type(sql::SQL_VALUE_DOUBLE), number(pNumber) {}
    Cell(const char* pText) : Cell(sql::SQL_VALUE_TEXT, pText) {}
    Cell(uint32_t pType, std::string pData) : type(pType), data(std::move(pData)) {}
    explicit Cell(const sql::SqlValue& pValue);

    sql::SqlValue value() const;
    bool operator==(const Cell& pOther) const;
};

inline Cell bytes(std::string pData) { return {sql::SQL_VALUE_BYTES, std::move(pData)}; }
inline Cell text(std::string pData) { return {sql::SQL_VALUE_TEXT, std::move(pData)}; }
void PrintTo(const Cell& pCell, std::ostream* pStream);

using Row = std::vector<Cell>;
using Table = std::vector<Row>;

/// What the tests have to say differently to each database, and what it has not.
struct Words {
    uint32_t features = 0; ///< SqlFeature flags
    const char* bytesType;
    const char* textType = "text"; ///< for 16 MB
    const char* timestampType = "timestamp";
    const char* timeType = "time";
    const char* asText = "text"; ///< in a cast
    const char* asInteger = "bigint";
    /// A statement that takes hours, and returns one row at its end.
    const char* slow;
    /// The same without rows, into driver_test.
    const char* slowChange;
    // A server's connection: its number, the end of the one of a number, whether there is one.
    const char* ownNumber = "";
    const char* kill = "";
    const char* isThere = "";
    /// How listTables calls the place of the test's tables.
    const char* schema;
    bool returning = true;       ///< INSERT ... RETURNING
    bool updateReturning = true; ///< UPDATE ... RETURNING
    bool lateConstraints = true; ///< constraints that are looked at when the transaction ends
    bool readersBlock = false;   ///< in a serializable transaction whatever was read is locked
    bool exactDoubles = true;    ///< doubles come back bit by bit, not with 15 digits
    bool tellsConflicts = true;  ///< and does not call them busy
};

/// The drivers for which there is a database: "sqlite", "postgresql", and "odbc_sqlite", "odbc_postgresql"
/// and "odbc_mariadb" for ODBC's with each of these. SQLite always has one; the others have when
/// KFW_TEST_POSTGRESQL, KFW_TEST_ODBC_POSTGRESQL and KFW_TEST_ODBC_MARIADB describe it. The test of khost sql
/// starts servers and runs all this again.
std::vector<std::string> testedDrivers();
/// Those of them that talk to a server.
std::vector<std::string> testedServers();

/// One driver, loaded as a host loads it.
class DriverModuleTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override;
    /// The driver's type of databases.
    std::string type() const { return GetParam().substr(0, GetParam().find('_')); }

    test::LeakCheck mLeaks;
    kom::Ref<kfw::SqlDbFactoryReg> mRegistry = kom::retain(new kfw::SqlDbFactoryReg);
};

/// With a database of its own, in which there is an empty table driver_test (n bigint primary key, t text).
class DriverTest : public DriverModuleTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A connection; empty, and createError() says why, when there is no client library. From any thread.
    kom::Ref<sql::ISqlDatabase> open(const std::string& pMore = "");
    /// Why the last connection could not be made.
    std::string createError(uint32_t* pCode = nullptr);

    bool can(uint32_t pFeature);
    const Words& words() const;
    bool isSqlite() const { return database() == "sqlite"; }
    bool isOdbc() const { return type() == "odbc"; }
    /// What stands behind the driver.
    std::string database() const { return GetParam().substr(GetParam().find('_') + 1); }

    /// A double that the database gives back as it is, or nearly the one.
    double storable(double pNumber) const;

    /// The last error of a connection.
    struct Error {
        uint32_t code, constraint, retry;
        int64_t position;
        std::string state, text;
    };
    static Error error(sql::ISqlDatabase* pDatabase);
    Error error() { return error(mDatabase.get()); }
    uint32_t state();

    uint32_t execute(const char* pStatement, const Row& pValues = {}, uint64_t* pChanged = nullptr)
    {
        return execute(mDatabase.get(), pStatement, pValues, pChanged);
    }
    static uint32_t execute(sql::ISqlDatabase* pDatabase, const char* pStatement, const Row& pValues = {},
                            uint64_t* pChanged = nullptr);
    /// The open rows of a query; empty after a failure, which fails the test.
    kom::Ref<sql::ISqlRows> query(const char* pStatement, const Row& pValues = {});
    kom::Ref<sql::ISqlStatement> prepare(const char* pStatement);
    static uint32_t run(sql::ISqlStatement* pStatement, const Row& pValues, uint64_t* pChanged = nullptr);
    static uint32_t bind(sql::ISqlStatement* pStatement, const char* pName, const Cell& pCell);
    /// The next row; an empty one at the end.
    static Row next(sql::ISqlRows* pRows, uint32_t* pResult = nullptr);
    /// Every row that is left.
    static Table all(sql::ISqlRows* pRows);
    Table table(const char* pStatement, const Row& pValues = {});
    /// The first value of the first row.
    Cell cell(const char* pStatement, const Row& pValues = {});

    test::TestDirectory mDir;
    std::string mDescription;
    kom::Ref<sql::ISqlDatabase> mDatabase;
};

/// The values as an operation takes them, for as long as the object and the row live.
class List {
public:
    explicit List(const Row& pRow)
    {
        for (const Cell& tCell : pRow)
            mValues.push_back(tCell.value());
        mList = {static_cast<uint32_t>(mValues.size()), mValues.data()};
    }
    const sql::SqlValueList* get() const { return &mList; }

private:
    std::vector<sql::SqlValue> mValues;
    sql::SqlValueList mList{};
};

} // namespace vel::kos::drivers
