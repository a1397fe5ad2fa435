#include "drivers/sqlite/sql_SqliteDatabase.h"

#include <algorithm>
#include <utility>

#include "drivers/sqlite/sql_SqliteStatement.h"
#include "kpr/time.h"

namespace vel::kos::drivers {

namespace {

constexpr uint32_t FEATURES = sql::SQL_FEATURE_MANY_RESULTS | sql::SQL_FEATURE_STATEMENT_ROLLBACK |
                              sql::SQL_FEATURE_ROWS_ACROSS_COMMIT | sql::SQL_FEATURE_TEXT_WITH_NUL |
                              sql::SQL_FEATURE_POSITIONS | sql::SQL_FEATURE_TRANSACTIONAL_DDL |
                              sql::SQL_FEATURE_INFINITY;
/// After how many steps of its machine the library asks whether to go on.
constexpr int STEPS = 1000;

/// The SQLSTATE that comes nearest to a code of the library.
const char* sqlState(int pCode, const std::string& pText, bool pPreparing)
{
    switch (pCode) {
    case SQLITE_CONSTRAINT_UNIQUE:
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_ROWID:
        return "23505";
    case SQLITE_CONSTRAINT_NOTNULL:
        return "23502";
    case SQLITE_CONSTRAINT_FOREIGNKEY:
        return "23503";
    case SQLITE_CONSTRAINT_CHECK:
        return "23514";
    case SQLITE_CONSTRAINT_DATATYPE:
        return "22018";
    case SQLITE_BUSY_SNAPSHOT:
        return "40001";
    case SQLITE_IOERR_NOMEM:
        return "53200";
    default:
        break;
    }
    switch (pCode & 0xFF) {
    case SQLITE_CONSTRAINT:
        return "23000";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "55P03";
    case SQLITE_READONLY:
        return "25006";
    case SQLITE_FULL:
        return "53100";
    case SQLITE_IOERR:
        return "58030";
    case SQLITE_CANTOPEN:
        return "08001";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return "XX001";
    case SQLITE_NOMEM:
        return "53200";
    case SQLITE_TOOBIG:
        return "54000";
    case SQLITE_MISMATCH:
        return "22018";
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return "42501";
    case SQLITE_INTERRUPT:
        return "57014";
    case SQLITE_ABORT:
        return "25000";
    default:
        break;
    }
    // The library has one code for all of these.
    const auto tHas = [&pText](const char* pPart) { return pText.find(pPart) != std::string::npos; };
    if (tHas("no such table") || tHas("no such view") || tHas("no such index")) return "42P01";
    if (tHas("no such column") || tHas("has no column")) return "42703";
    if (tHas("no such function")) return "42883";
    if (tHas("no such savepoint")) return "3B001";
    if (tHas("no such ") || tHas("unknown database")) return "42704";
    if (tHas("already exists")) return "42P07";
    if (tHas("unsafe use of") || tHas("may not be modified")) return "42501";
    return pPreparing ? "42601" : "HY000";
}

} // namespace

SqliteDatabase::SqliteDatabase(SqliteConnection pHandle, uint32_t pBusyTimeout)
    : Connection(TYPE, FEATURES, {}), mHandle(pHandle.release()), mBusyTimeout(pBusyTimeout)
{
    gSqlite.busyHandler(
        mHandle,
        [](void* pThis, int pTimes) {
            return static_cast<SqliteDatabase*>(pThis)->waitForLock(pTimes) ? 1 : 0;
        },
        this);
    gSqlite.progressHandler(
        mHandle, STEPS,
        [](void* pThis) {
            const auto* tThis = static_cast<SqliteDatabase*>(pThis);
            return tThis->isCancelled() || tThis->isTimeOver() ? 1 : 0;
        },
        this);
}

SqliteDatabase::~SqliteDatabase() { gSqlite.close(mHandle); }

bool SqliteDatabase::waitForLock(int pTimes)
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    if (pTimes == 0) mWaitingSince = tNow;
    if (isCancelled() || isTimeOver() || tNow - mWaitingSince >= uint64_t{mBusyTimeout} * 1000) return false;
    kprSleep(static_cast<uint32_t>(std::min(pTimes + 1, 10)));
    return true;
}

Failure SqliteDatabase::failureOfCode(int pCode, std::string pText, bool pPreparing)
{
    const std::string tRefused = kpr::SqliteGuard::takeReason();
    if ((pCode & 0xFF) == SQLITE_CANTOPEN && !tRefused.empty())
        return failureOf("42501", pText + ": " + tRefused, pCode);
    const char* const tState = sqlState(pCode, pText, pPreparing);
    Failure tFailure = failureOf(tState, std::move(pText), pCode);
    if ((pCode & 0xFF) == SQLITE_IOERR && tFailure.code == E_FAIL) tFailure.code = KPR_E_IO;
    return tFailure;
}

Failure SqliteDatabase::failed(bool pPreparing)
{
    const int tCode = gSqlite.errorCode(mHandle);
    std::string tText = gSqlite.errmsg(mHandle);
    const int tKind = tCode & 0xFF;
    if (tKind == SQLITE_INTERRUPT || (tKind == SQLITE_BUSY && (isCancelled() || isTimeOver()))) {
        Failure tFailure = stopped(std::move(tText));
        tFailure.nativeCode = tCode;
        return tFailure;
    }
    return failureOfCode(tCode, std::move(tText), pPreparing);
}

const Dialect& SqliteDatabase::dialect() const
{
    static constexpr Dialect DIALECT = {.backticks = true, .brackets = true};
    return DIALECT;
}

size_t SqliteDatabase::lengthOfStatement(std::string_view pScript)
{
    // The library knows that the ";" within a trigger ends nothing.
    size_t tLength = 0;
    while (tLength < pScript.size()) {
        tLength += statementLength(pScript.substr(tLength), dialect());
        const std::string tText(pScript.substr(0, tLength));
        if (tText.back() != ';' || gSqlite.complete(tText.c_str())) break;
    }
    return tLength;
}

uint32_t SqliteDatabase::makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement)
{
    static_cast<void>(pOnce);
    sqlite3_stmt* tHandle = nullptr;
    const TimedCall tCall(*this);
    if (gSqlite.prepare(mHandle, pText.text.data(), static_cast<int>(pText.text.size()), &tHandle, nullptr) !=
        SQLITE_OK) {
        Failure tFailure = failed(true);
        const int tOffset = gSqlite.errorOffset ? gSqlite.errorOffset(mHandle) : -1;
        if (tOffset >= 0)
            tFailure.position = static_cast<int64_t>(pText.sourcePosition(static_cast<size_t>(tOffset)));
        return fail(std::move(tFailure));
    }
    if (!tHandle) return fail(failureOf("42601", "there is no statement in the text"));
    SqliteHandle tOwned(tHandle);
    if (static_cast<size_t>(gSqlite.parameterCount(tHandle)) != pText.names.size())
        return fail(SQL_E_PARAMETERS, "parameters are written \"?\" or \":name\"");
    pStatement = kom::retain(new SqliteStatement(this, std::move(tOwned), std::move(pText)));
    return 0;
}

uint32_t SqliteDatabase::transactionOfDatabase()
{
    return gSqlite.autocommit(mHandle) ? sql::SQL_TRANSACTION_NONE : sql::SQL_TRANSACTION_OPEN;
}

uint32_t SqliteDatabase::runBegin(uint32_t pMode, uint32_t)
{
    // Every transaction of SQLite is serializable.
    if (pMode != sql::SQL_BEGIN_READ_ONLY)
        return run(pMode == sql::SQL_BEGIN_IMMEDIATE ? "BEGIN IMMEDIATE" : "BEGIN");
    if (auto tRes = run("PRAGMA query_only = 1"); KFAILED(tRes)) return tRes;
    mQueryOnly = true;
    const uint32_t tRes = run("BEGIN");
    if (KFAILED(tRes)) transactionEnded();
    return tRes;
}

void SqliteDatabase::transactionEnded()
{
    if (std::exchange(mQueryOnly, false)) static_cast<void>(run("PRAGMA query_only = 0"));
}

const char* SqliteDatabase::tablesText()
{
    return "SELECT schema, name, type AS kind FROM pragma_table_list"
           " WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY schema, "
           "name";
}

const char* SqliteDatabase::columnsText()
{
    return "WITH wanted(place, what) AS (SELECT :schema, :name) SELECT name, type, 1 - \"notnull\" AS "
           "nullable, dflt_value AS \"default\", pk AS \"key\""
           " FROM wanted, pragma_table_info(what, coalesce(place, 'main')) ORDER BY cid";
}

} // namespace vel::kos::drivers
