// The SQLite driver: databases in a file or in memory, through the system's or the application's library.
#include <charconv>
#include <iterator>
#include <utility>

#include "drivers/sqlite/sql_Sqlite.h"
#include "drivers/support/sql_Connection.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", "KOS"},
    {"ProductName", "VEL KOS"},
    {"FileVersion", KFW_PROJECT_VERSION},
    {"ProductVersion", KFW_PROJECT_VERSION},
    {"FileDescription", "KOS SQLite Driver"},
    {"InternalName", "sqldrv_sqlite"},
};

constexpr char HELP[] = "type=sqlite    this driver\n"
                        "file=PATH      the database file, or :memory: for one in memory (required)\n"
                        "create=yes|no  whether a missing file is made (yes)\n"
                        "readonly=yes|no  whether nothing can be changed (no)\n"
                        "timeout=MS     how long to wait for another process's lock (5000)\n";

Sqlite gSqlite;

class Database final : public Connection {
public:
    explicit Database(sqlite3* pHandle) : Connection("sqlite"), mHandle(pHandle) {}
    ~Database() override { gSqlite.close(mHandle); }

    uint32_t execute(const char* pStatement, const sql::SqlParameters* pParameters,
                     uint64_t* pChanged) override;
    uint32_t query(const char* pStatement, const sql::SqlParameters* pParameters,
                   sql::ISqlRows** pRows) override;

    /// Keeps the library's text of what has just failed.
    uint32_t failed() { return fail(E_FAIL, gSqlite.errmsg(mHandle)); }

protected:
    bool isInTransaction() override { return gSqlite.autocommit(mHandle) == 0; }

private:
    uint32_t prepare(const char* pStatement, const sql::SqlParameters* pParameters, sqlite3_stmt** pPrepared);

    sqlite3* const mHandle;
};

/// The rows of a running statement; they keep the connection.
class Rows final : public ResultRows {
public:
    Rows(kom::Ref<Database> pDatabase, sqlite3_stmt* pStatement)
        : mDatabase(std::move(pDatabase)), mStatement(pStatement)
    {
    }
    ~Rows() override { gSqlite.finalize(mStatement); }

    uint32_t next(uint32_t* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        *pRow = 0;
        if (mEnded) return 0;
        const int tState = gSqlite.step(mStatement);
        mOnRow = tState == SQLITE_ROW;
        mEnded = !mOnRow;
        *pRow = mOnRow ? 1 : 0;
        return mOnRow || tState == SQLITE_DONE ? 0 : mDatabase->failed();
    }

protected:
    int columnCount() const override { return gSqlite.columnCount(mStatement); }
    const char* columnName(int pColumn) const override { return gSqlite.columnName(mStatement, pColumn); }
    bool isOnRow() const override { return mOnRow; }
    std::optional<std::string_view> text(int pColumn) const override
    {
        const auto tText =
            static_cast<const char*>(static_cast<const void*>(gSqlite.columnText(mStatement, pColumn)));
        if (!tText) return std::nullopt;
        return std::string_view(tText, static_cast<size_t>(gSqlite.columnBytes(mStatement, pColumn)));
    }

private:
    const kom::Ref<Database> mDatabase;
    sqlite3_stmt* const mStatement;
    bool mOnRow = false;
    bool mEnded = false;
};

uint32_t Database::prepare(const char* pStatement, const sql::SqlParameters* pParameters,
                           sqlite3_stmt** pPrepared)
{
    const char* tRest = nullptr;
    if (gSqlite.prepare(mHandle, pStatement, -1, pPrepared, &tRest) != SQLITE_OK) return failed();
    if (!*pPrepared) return fail(E_INVALIDARG, "there is no statement in the text");
    const uint32_t tWanted = static_cast<uint32_t>(gSqlite.parameterCount(*pPrepared));
    uint32_t tRes = 0;
    if (std::string_view(tRest).find_first_not_of(" \t\r\n;") != std::string_view::npos)
        tRes = fail(E_INVALIDARG, "there is more than one statement in the text");
    else
        tRes = checkParameters(pParameters, tWanted);
    for (uint32_t i = 0; !KFAILED(tRes) && i < tWanted; ++i)
        if (gSqlite.bindText(*pPrepared, static_cast<int>(i + 1), pParameters->mValues[i], -1,
                             SQLITE_TRANSIENT) != SQLITE_OK)
            tRes = failed();
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
    const uint32_t tRes = tState == SQLITE_DONE ? 0 : failed();
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
        // The file may come from anybody: functions with effects are not for its views and triggers, and no
        // statement may turn the file itself inside out.
        for (const auto& [tSwitch, tOn] :
             {std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}, {SQLITE_DBCONFIG_DEFENSIVE, 1}})
            gSqlite.config(tHandle, tSwitch, tOn, nullptr);
        pDatabase = kom::retain(new Database(tHandle));
        return 0;
    }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new SqliteFactory); }

} // namespace vel::kos::drivers
