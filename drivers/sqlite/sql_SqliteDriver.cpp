// The SQLite driver: databases in a file or in memory, through the system's or the application's library.
#include <charconv>
#include <iterator>
#include <string_view>

#include "sql_Driver.h"
#include "sql_Factory.h"
#include "sql_Sqlite.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", "KOS"},
    {"ProductName", "VEL KOS"},
    {"FileVersion", "1.29.3.0"},
    {"ProductVersion", "1.29.3.0"},
    {"FileDescription", "KOS SQLite Driver"},
    {"InternalName", "sqldrv_sqlite"},
};

constexpr char HELP[] = "type=sqlite    this driver\n"
                        "file=PATH      the database file, or :memory: for one in memory (required)\n"
                        "create=yes|no  whether a missing file is made (yes)\n"
                        "readonly=yes|no  whether nothing can be changed (no)\n"
                        "timeout=MS     how long to wait for another process's lock (5000)\n";

Sqlite gSqlite;

/// One connection, with the text of its last failure.
class Database : public kom::Implements<Database, sql::ISqlDatabase> {
    friend Implements;

public:
    explicit Database(sqlite3* pHandle) : mHandle(pHandle) {}
    virtual ~Database() { gSqlite.close(mHandle); }

    uint32_t getDatabaseType(char** pType) override;
    uint32_t execute(const char* pStatement, const sql::SqlParameters* pParameters,
                     uint64_t* pChanged) override;
    uint32_t query(const char* pStatement, const sql::SqlParameters* pParameters,
                   sql::ISqlRows** pRows) override;
    uint32_t begin() override { return transact("BEGIN", false); }
    uint32_t commit() override { return transact("COMMIT", true); }
    uint32_t rollback() override { return transact("ROLLBACK", true); }
    uint32_t getErrorText(char** pText) override;

    /// Keeps the library's text of what has just failed.
    uint32_t fail()
    {
        mError = gSqlite.errmsg(mHandle);
        return E_FAIL;
    }

private:
    uint32_t prepare(const char* pStatement, const sql::SqlParameters* pParameters, sqlite3_stmt** pPrepared);
    uint32_t transact(const char* pStatement, bool pInside);
    uint32_t refuse(uint32_t pCode, const char* pText)
    {
        mError = pText;
        return pCode;
    }

    kom::RefCount mRefCount;
    sqlite3* mHandle;
    std::string mError;
};

/// The rows of a running statement; they keep the connection.
class Rows : public kom::Implements<Rows, sql::ISqlRows> {
    friend Implements;

public:
    Rows(kom::Ref<Database> pDatabase, sqlite3_stmt* pStatement)
        : mDatabase(std::move(pDatabase)), mStatement(pStatement)
    {
    }
    virtual ~Rows() { gSqlite.finalize(mStatement); }

    uint32_t getColumnCount(uint32_t* pCount) override
    {
        if (!pCount) return E_INVALIDARG;
        *pCount = count();
        return 0;
    }
    uint32_t getColumnName(uint32_t pColumn, char** pName) override
    {
        if (!pName) return E_INVALIDARG;
        *pName = nullptr;
        if (pColumn >= count()) return E_INVALIDARG;
        *pName = komStrDup(gSqlite.columnName(mStatement, static_cast<int>(pColumn)));
        return 0;
    }
    uint32_t next(uint32_t* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        *pRow = 0;
        if (mEnded) return 0;
        const int tState = gSqlite.step(mStatement);
        mOnRow = tState == SQLITE_ROW;
        mEnded = !mOnRow;
        *pRow = mOnRow ? 1 : 0;
        return mOnRow || tState == SQLITE_DONE ? 0 : mDatabase->fail();
    }
    uint32_t getText(uint32_t pColumn, char** pText) override
    {
        if (!pText) return E_INVALIDARG;
        *pText = nullptr;
        if (!mOnRow) return E_WRONG_STATE;
        if (pColumn >= count()) return E_INVALIDARG;
        const int tColumn = static_cast<int>(pColumn);
        if (const void* tText = gSqlite.columnText(mStatement, tColumn))
            *pText = komStrNDup(static_cast<const char*>(tText),
                                static_cast<size_t>(gSqlite.columnBytes(mStatement, tColumn)));
        return 0;
    }

private:
    uint32_t count() const { return static_cast<uint32_t>(gSqlite.columnCount(mStatement)); }

    kom::RefCount mRefCount;
    kom::Ref<Database> mDatabase;
    sqlite3_stmt* mStatement;
    bool mOnRow = false;
    bool mEnded = false;
};

uint32_t Database::getDatabaseType(char** pType)
{
    if (!pType) return E_INVALIDARG;
    *pType = komStrDup("sqlite");
    return 0;
}

uint32_t Database::prepare(const char* pStatement, const sql::SqlParameters* pParameters,
                           sqlite3_stmt** pPrepared)
{
    const char* tRest = nullptr;
    if (gSqlite.prepare(mHandle, pStatement, -1, pPrepared, &tRest) != SQLITE_OK) return fail();
    if (!*pPrepared) return refuse(E_INVALIDARG, "there is no statement in the text");
    const uint32_t tWanted = static_cast<uint32_t>(gSqlite.parameterCount(*pPrepared));
    uint32_t tRes = 0;
    if (std::string_view(tRest).find_first_not_of(" \t\r\n;") != std::string_view::npos)
        tRes = refuse(E_INVALIDARG, "there is more than one statement in the text");
    else if ((pParameters ? pParameters->mCount : 0) != tWanted)
        tRes = refuse(E_INVALIDARG, "the number of parameters is not that of the statement");
    for (uint32_t i = 0; !KFAILED(tRes) && i < tWanted; ++i)
        if (gSqlite.bindText(*pPrepared, static_cast<int>(i + 1), pParameters->mValues[i], -1,
                             SQLITE_TRANSIENT) != SQLITE_OK)
            tRes = fail();
    if (KFAILED(tRes)) {
        gSqlite.finalize(*pPrepared);
        *pPrepared = nullptr;
    }
    return tRes;
}

uint32_t Database::execute(const char* pStatement, const sql::SqlParameters* pParameters, uint64_t* pChanged)
{
    if (!pStatement) return E_INVALIDARG;
    if (pChanged) *pChanged = 0;
    sqlite3_stmt* tPrepared = nullptr;
    if (auto tRes = prepare(pStatement, pParameters, &tPrepared); KFAILED(tRes)) return tRes;
    const int tTotal = gSqlite.totalChanges(mHandle);
    int tState;
    do
        tState = gSqlite.step(tPrepared);
    while (tState == SQLITE_ROW);
    const uint32_t tRes = tState == SQLITE_DONE ? 0 : fail();
    // A statement that changes no rows leaves the count of an earlier one standing.
    if (!KFAILED(tRes) && pChanged && gSqlite.totalChanges(mHandle) != tTotal)
        *pChanged = static_cast<uint64_t>(gSqlite.changes(mHandle));
    gSqlite.finalize(tPrepared);
    return tRes;
}

uint32_t Database::query(const char* pStatement, const sql::SqlParameters* pParameters, sql::ISqlRows** pRows)
{
    if (!pStatement || !pRows) return E_INVALIDARG;
    *pRows = nullptr;
    sqlite3_stmt* tPrepared = nullptr;
    if (auto tRes = prepare(pStatement, pParameters, &tPrepared); KFAILED(tRes)) return tRes;
    *pRows = kom::retain(new Rows(kom::retain(this), tPrepared)).detach();
    return 0;
}

uint32_t Database::transact(const char* pStatement, bool pInside)
{
    const bool tInside = gSqlite.autocommit(mHandle) == 0;
    if (tInside != pInside)
        return refuse(E_WRONG_STATE, tInside ? "a transaction is open already" : "no transaction is open");
    return execute(pStatement, nullptr, nullptr);
}

uint32_t Database::getErrorText(char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = komStrDup(mError.c_str());
    return 0;
}

class SqliteFactory : public Factory {
public:
    SqliteFactory() : Factory("sqlite", HELP) {}

protected:
    uint32_t open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase,
                  std::string& pError) override
    {
        for (const auto& [tKey, tValue] : pDescription.values())
            if (tKey != "type" && tKey != "file" && tKey != "create" && tKey != "readonly" &&
                tKey != "timeout")
                return pError = "the driver knows no key \"" + tKey + "\"", E_INVALIDARG;
        const std::string tFile = pDescription.value("file"), tTimeout = pDescription.value("timeout");
        if (tFile.empty()) return pError = "the description names no file", E_INVALIDARG;
        bool tCreate = true, tReadOnly = false;
        if (!pDescription.yes("create", true, tCreate) || !pDescription.yes("readonly", false, tReadOnly))
            return pError = "\"create\" and \"readonly\" take yes or no", E_INVALIDARG;
        int tMilliseconds = 5000;
        const auto tEnd = tTimeout.data() + tTimeout.size();
        if (!tTimeout.empty())
            if (const auto tParsed = std::from_chars(tTimeout.data(), tEnd, tMilliseconds);
                tParsed.ec != std::errc() || tParsed.ptr != tEnd || tMilliseconds < 0)
                return pError = "\"timeout\" takes a number of milliseconds", E_INVALIDARG;
        if (!gSqlite.load()) return pError = "SQLite: " + gSqlite.library.problem(), KPR_E_NOT_FOUND;

        sqlite3* tHandle = nullptr;
        const int tFlags =
            tReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | (tCreate ? SQLITE_OPEN_CREATE : 0);
        const int tCode = gSqlite.open(tFile.c_str(), &tHandle, tFlags, nullptr);
        if (tCode != SQLITE_OK) {
            pError = tHandle ? gSqlite.errmsg(tHandle) : gSqlite.errstr(tCode);
            gSqlite.close(tHandle);
            return E_FAIL;
        }
        gSqlite.busyTimeout(tHandle, tMilliseconds);
        pDatabase = kom::retain(new Database(tHandle));
        return 0;
    }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new SqliteFactory); }

} // namespace vel::kos::drivers
