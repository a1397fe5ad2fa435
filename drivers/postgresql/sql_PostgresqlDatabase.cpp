#include "drivers/postgresql/sql_PostgresqlDatabase.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "drivers/postgresql/sql_PostgresqlStatement.h"
#include "drivers/postgresql/sql_Socket.h"
#include "kpr/time.h"

namespace vel::kos::drivers {

namespace {

constexpr uint32_t FEATURES = sql::SQL_FEATURE_DECIMALS | sql::SQL_FEATURE_DATES |
                              sql::SQL_FEATURE_POSITIONS | sql::SQL_FEATURE_ISOLATION | sql::SQL_FEATURE_NAN |
                              sql::SQL_FEATURE_TRANSACTIONAL_DDL | sql::SQL_FEATURE_INFINITY;
constexpr uint64_t SECOND = 1000000; ///< in microseconds
/// How long a server may take to stop a statement, before the connection is given up.
constexpr uint64_t GRACE = 15 * SECOND;
constexpr unsigned CONNECT_SECONDS = 10;

uint64_t now()
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    return tNow;
}

/// Without this the library writes the server's notices to the host's standard error.
void dropNotice(void*, const char*) {}

Failure noConnection(std::string pText, bool pRetry = false)
{
    Failure tFailure = failureOf("08001", std::move(pText));
    tFailure.retry = pRetry;
    return tFailure;
}

/// A failure when the library does not know a key. It is not repeated: it may be part of a password that was
/// cut in two.
Failure unknownKey(const Description& pDescription)
{
    const std::unique_ptr<PQconninfoOption, decltype(gLibpq.freeOptions)> tKnown(gLibpq.options(),
                                                                                 gLibpq.freeOptions);
    if (!tKnown) return failureOf("HY001", "out of memory");
    for (const auto& [tKey, tValue] : pDescription.values()) {
        const PQconninfoOption* tOption = tKnown.get();
        while (tOption->keyword && tKey != tOption->keyword)
            ++tOption;
        if (!tOption->keyword && tKey != "type")
            return refused("libpq knows no key like the one at byte " +
                           std::to_string(pDescription.place(tKey)) +
                           " of the description (a value with a \";\" in it is written in double quotes)");
    }
    return {};
}

/// Goes on with a connection until it stands, or cannot, or the time is over (0: without end).
Failure connect(PGconn* pHandle, uint64_t pSeconds)
{
    const uint64_t tDeadline = pSeconds ? now() + pSeconds * SECOND : 0;
    PostgresPollingStatusType tState = PGRES_POLLING_WRITING;
    while (tState != PGRES_POLLING_OK) {
        if (tState == PGRES_POLLING_FAILED) {
            std::string tText = tidy(gLibpq.errorMessage(pHandle));
            Failure tFailure = noConnection(tText);
            // Before there is a connection the library hands over no SQLSTATE.
            if (tText.find("authentication failed") != std::string::npos ||
                tText.find("no password supplied") != std::string::npos ||
                tText.find("no pg_hba.conf entry") != std::string::npos)
                tFailure = failureOf("28P01", std::move(tText));
            else if (tText.find("database \"") != std::string::npos &&
                     tText.find("does not exist") != std::string::npos)
                tFailure = failureOf("3D000", std::move(tText));
            else if (tText.find("starting up") != std::string::npos ||
                     tText.find("shutting down") != std::string::npos ||
                     tText.find("too many clients") != std::string::npos)
                tFailure.retry = true;
            return tFailure;
        }
        const uint64_t tNow = now();
        if (tDeadline && tNow >= tDeadline) {
            Failure tFailure = noConnection("the server has not let the connection stand within " +
                                                std::to_string(pSeconds) + " seconds",
                                            true);
            tFailure.code = SQL_E_TIMEOUT;
            return tFailure;
        }
        const int64_t tLeft = tDeadline ? static_cast<int64_t>((tDeadline - tNow + 999) / 1000) : -1;
        const bool tWrite = tState == PGRES_POLLING_WRITING;
        const Ready tReady = waitForSocket(gLibpq.socket(pHandle), !tWrite, tWrite, tLeft);
        if (tReady == Ready::FAILED) return noConnection("the connection's socket cannot be waited for");
        if (tReady == Ready::YES) tState = gLibpq.connectPoll(pHandle);
    }
    return {};
}

} // namespace

std::string tidy(const char* pText)
{
    std::string tText = pText ? pText : "";
    while (!tText.empty() && (tText.back() == '\n' || tText.back() == ' '))
        tText.pop_back();
    return tText;
}

PostgresqlDatabase::PostgresqlDatabase(PgConnection pHandle, std::vector<std::string> pSecrets)
    : Connection(TYPE, FEATURES, std::move(pSecrets)),
      mHandle(pHandle.release()),
      mCancel(gLibpq.getCancel(mHandle))
{
    gLibpq.setNonBlocking(mHandle, 1);
}

PostgresqlDatabase::~PostgresqlDatabase()
{
    gLibpq.freeCancel(mCancel);
    gLibpq.finish(mHandle);
}

Failure PostgresqlDatabase::open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase)
{
    uint64_t tSeconds = CONNECT_SECONDS;
    if (!pDescription.seconds("connect_timeout", tSeconds))
        return refused("\"connect_timeout\" takes a number of seconds");
    if (Failure tFailure = unknownKey(pDescription); tFailure.code) return tFailure;
    std::vector<const char*> tKeys, tValues;
    for (const auto& [tKey, tValue] : pDescription.values())
        if (tKey != "type" && tKey != "client_encoding") {
            tKeys.push_back(tKey.c_str());
            tValues.push_back(tValue.c_str());
        }
    tKeys.insert(tKeys.end(), {"client_encoding", nullptr});
    tValues.insert(tValues.end(), {"UTF8", nullptr});
    PgConnection tOwned(gLibpq.connectStart(tKeys.data(), tValues.data(), 0));
    PGconn* const tHandle = tOwned.get();
    if (!tHandle) return failureOf("HY001", "out of memory");
    Failure tFailure;
    if (gLibpq.status(tHandle) == CONNECTION_BAD) {
        tFailure = noConnection(tidy(gLibpq.errorMessage(tHandle)));
        if (tFailure.text.starts_with("invalid ")) tFailure.code = E_INVALIDARG;
    } else {
        // Before the server has said a word.
        gLibpq.setNoticeProcessor(tHandle, dropNotice, nullptr);
        tFailure = connect(tHandle, tSeconds);
    }
    if (tFailure.code) return tFailure;
    const auto tDatabase = kom::retain(new PostgresqlDatabase(std::move(tOwned), pDescription.secrets()));
    std::string tSettings;
    const auto tIs = [tHandle](const char* pName, std::string_view pValue) {
        const char* const tValue = gLibpq.parameterStatus(tHandle, pName);
        return tValue && std::string_view(tValue).starts_with(pValue);
    };
    if (!tIs("DateStyle", "ISO")) tSettings += "SET DateStyle = ISO;";
    if (!tIs("standard_conforming_strings", "on")) tSettings += "SET standard_conforming_strings = on;";
    if (gLibpq.serverVersion(tHandle) < 120000) tSettings += "SET extra_float_digits = 3;";
    if (!tSettings.empty() && KFAILED(tDatabase->executeScript(tSettings.c_str(), nullptr)))
        return tDatabase->failure();
    pDatabase = tDatabase;
    return {};
}

// --- Sending and waiting ----------------------------------------------------------------------------------

uint32_t PostgresqlDatabase::lost()
{
    std::string tText = mLost ? "the server does not react" : tidy(gLibpq.errorMessage(mHandle));
    if (tText.empty()) tText = "the connection is lost";
    return fail(failureOf("08006", std::move(tText)));
}

void PostgresqlDatabase::sendingBegins()
{
    mStateBefore = transactionOfDatabase();
    mGraceEnds = 0;
}

bool PostgresqlDatabase::wait(bool pWrite)
{
    for (;;) {
        int64_t tLeft = timeLeft();
        if (mGraceEnds) {
            const uint64_t tNow = now();
            tLeft = tNow >= mGraceEnds ? 0 : static_cast<int64_t>((mGraceEnds - tNow + 999) / 1000);
        }
        if (tLeft == 0 && mGraceEnds) return mLost = true, false;
        if (tLeft == 0) {
            mGraceEnds = now() + GRACE;
            interrupt();
            continue;
        }
        const Ready tReady = waitForSocket(gLibpq.socket(mHandle), true, pWrite, tLeft);
        if (tReady != Ready::TIME_OVER) return tReady == Ready::YES;
    }
}

uint32_t PostgresqlDatabase::sent(int pSent)
{
    if (!pSent) return isLost() ? lost() : fail(failureOf("HY000", tidy(gLibpq.errorMessage(mHandle))));
    int tLeft;
    while ((tLeft = gLibpq.flush(mHandle)) == 1)
        if (!wait(true) || !gLibpq.consumeInput(mHandle)) return lost();
    return tLeft == 0 ? 0 : lost();
}

PgResult PostgresqlDatabase::nextResult()
{
    while (gLibpq.isBusy(mHandle))
        if (!wait(false) || !gLibpq.consumeInput(mHandle)) break;
    return PgResult(mLost ? nullptr : gLibpq.getResult(mHandle));
}

void PostgresqlDatabase::drain()
{
    while (!mLost) {
        const PgResult tResult = nextResult();
        if (!tResult) return;
        endCopy(tResult);
    }
}

void PostgresqlDatabase::endCopy(const PgResult& pResult)
{
    const ExecStatusType tStatus = gLibpq.resultStatus(pResult.get());
    if (tStatus == PGRES_COPY_IN) {
        static_cast<void>(sent(gLibpq.endCopy(mHandle, "COPY is not supported") > 0));
    } else if (tStatus == PGRES_COPY_OUT || tStatus == PGRES_COPY_BOTH) {
        // As it comes: there may be much of it, or long nothing.
        char* tData = nullptr;
        for (int tLength = 0; tLength >= 0;) {
            tLength = gLibpq.copyData(mHandle, &tData, 1);
            if (tLength > 0)
                gLibpq.freeMemory(tData);
            else if (tLength == 0 && (!wait(false) || !gLibpq.consumeInput(mHandle)))
                return;
        }
    }
}

void PostgresqlDatabase::interrupt()
{
    char tError[256];
    if (mCancel) gLibpq.cancel(mCancel, tError, sizeof tError);
}

uint32_t PostgresqlDatabase::checkResult(const PgResult& pResult, const ParsedStatement& pText)
{
    if (!pResult) return lost();
    const ExecStatusType tStatus = gLibpq.resultStatus(pResult.get());
    if (tStatus == PGRES_COPY_IN || tStatus == PGRES_COPY_OUT || tStatus == PGRES_COPY_BOTH) {
        endCopy(pResult);
        if (isLost()) return lost();
        if (isCancelled() || isTimeOver()) return fail(stopped("COPY was stopped"));
        return fail(failureOf("0A000", "COPY from or to the client is not supported"));
    }
    if (tStatus != PGRES_FATAL_ERROR && tStatus != PGRES_BAD_RESPONSE) return 0;
    const auto tField = [&pResult](int pField) {
        const char* const tText = gLibpq.errorField(pResult.get(), pField);
        return std::string(tText ? tText : "");
    };
    std::string tText = tField(PG_DIAG_MESSAGE_PRIMARY);
    for (const int tMore : {PG_DIAG_MESSAGE_DETAIL, PG_DIAG_MESSAGE_HINT})
        if (const std::string tPart = tField(tMore); !tPart.empty()) tText += "; " + tPart;
    if (tText.empty()) tText = tidy(gLibpq.errorMessage(mHandle));
    const std::string tState = tField(PG_DIAG_SQLSTATE);
    if (tState == "57014") return fail(stopped(std::move(tText)));
    Failure tFailure = failureOf(tState.empty() ? "HY000" : tState, std::move(tText));
    if (gLibpq.status(mHandle) != CONNECTION_OK) {
        tFailure.code = SQL_E_CONNECTION;
        if (tState.empty()) tFailure.sqlState = "08006";
    }
    if (const std::string tPosition = tField(PG_DIAG_STATEMENT_POSITION); !tPosition.empty()) {
        // Counted in characters, from 1.
        size_t tAt = 0;
        for (int tLeft = std::atoi(tPosition.c_str()) - 1; tLeft > 0 && tAt < pText.text.size(); --tLeft)
            do
                ++tAt;
            while (tAt < pText.text.size() && (static_cast<unsigned char>(pText.text[tAt]) & 0xC0) == 0x80);
        tFailure.position = static_cast<int64_t>(pText.sourcePosition(tAt));
    }
    return fail(std::move(tFailure));
}

// --- Statements -------------------------------------------------------------------------------------------

const Dialect& PostgresqlDatabase::dialect() const
{
    static constexpr Dialect DIALECT = {.nestedComments = true,
                                        .dollarQuotes = true,
                                        .escapeTexts = true,
                                        .questionOperator = true,
                                        .returnEndsLine = true,
                                        .atomicBodies = true};
    return DIALECT;
}

uint32_t PostgresqlDatabase::dropForgotten()
{
    // A name that the server no longer knows would be a failure, and end the client's transaction.
    if (transactionOfDatabase() != sql::SQL_TRANSACTION_NONE) return 0;
    while (!mForgotten.empty()) {
        const std::string tText = "DEALLOCATE " + mForgotten.back();
        mForgotten.pop_back();
        if (auto tRes = sent(gLibpq.sendQuery(mHandle, tText.c_str())); KFAILED(tRes)) return tRes;
        drain();
    }
    return 0;
}

uint32_t PostgresqlDatabase::makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement)
{
    if (pOnce) {
        pStatement = kom::retain(new PostgresqlStatement(this, std::move(pText), {}));
        return 0;
    }
    const TimedCall tCall(*this);
    const OwnRun tRun(*this);
    if (KFAILED(tRun.result())) return tRun.result();
    const auto tStatement =
        kom::retain(new PostgresqlStatement(this, std::move(pText), "kos_" + std::to_string(++mNextName)));
    sendingBegins();
    if (auto tRes = dropForgotten(); KFAILED(tRes)) return tRes;
    if (auto tRes = tStatement->prepare(); KFAILED(tRes)) return tRes;
    pStatement = tStatement;
    return 0;
}

uint32_t PostgresqlDatabase::askForLife()
{
    const OwnRun tRun(*this);
    if (KFAILED(tRun.result())) return tRun.result();
    sendingBegins();
    if (auto tRes = sent(gLibpq.sendQuery(mHandle, "")); KFAILED(tRes)) return tRes;
    const PgResult tResult = nextResult();
    const uint32_t tRes = checkResult(tResult, {});
    drain();
    return tRes;
}

// --- Transactions -----------------------------------------------------------------------------------------

uint32_t PostgresqlDatabase::transactionOfDatabase()
{
    if (mLost) return sql::SQL_TRANSACTION_NONE;
    switch (gLibpq.transactionStatus(mHandle)) {
    case PQTRANS_INTRANS:
        return sql::SQL_TRANSACTION_OPEN;
    case PQTRANS_INERROR:
        return sql::SQL_TRANSACTION_FAILED;
    case PQTRANS_ACTIVE:
        return mStateBefore;
    default:
        return sql::SQL_TRANSACTION_NONE;
    }
}

uint32_t PostgresqlDatabase::runBegin(uint32_t pMode, uint32_t pIsolation)
{
    constexpr const char* ISOLATIONS[] = {"", " ISOLATION LEVEL READ COMMITTED",
                                          " ISOLATION LEVEL REPEATABLE READ",
                                          " ISOLATION LEVEL SERIALIZABLE"};
    return run(std::string("BEGIN") + ISOLATIONS[pIsolation] +
               (pMode == sql::SQL_BEGIN_READ_ONLY ? " READ ONLY" : ""));
}

const char* PostgresqlDatabase::tablesText()
{
    return "SELECT n.nspname AS schema, c.relname AS name,"
           " CASE WHEN c.relkind IN ('v', 'm') THEN 'view' ELSE 'table' END AS kind"
           " FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace"
           " WHERE c.relkind IN ('r', 'p', 'f', 'v', 'm') AND n.nspname <> 'information_schema'"
           " AND n.nspname NOT LIKE 'pg\\_%' ORDER BY 1, 2";
}

const char* PostgresqlDatabase::columnsText()
{
    return "SELECT a.attname AS name, pg_catalog.format_type(a.atttypid, a.atttypmod) AS type,"
           " CASE WHEN a.attnotnull THEN 0 ELSE 1 END AS nullable,"
           " pg_catalog.pg_get_expr(d.adbin, d.adrelid) AS \"default\","
           " coalesce((SELECT array_position(i.indkey::int2[], a.attnum) + 1 FROM pg_catalog.pg_index i"
           "  WHERE i.indrelid = c.oid AND i.indisprimary), 0) AS \"key\""
           " FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace"
           " JOIN pg_catalog.pg_attribute a ON a.attrelid = c.oid"
           " LEFT JOIN pg_catalog.pg_attrdef d ON d.adrelid = c.oid AND d.adnum = a.attnum"
           " WHERE c.relkind IN ('r', 'p', 'f', 'v', 'm') AND a.attnum > 0 AND NOT a.attisdropped"
           " AND CASE WHEN CAST(:schema AS text) IS NULL THEN pg_catalog.pg_table_is_visible(c.oid)"
           "  ELSE n.nspname = CAST(:schema AS text) END"
           " AND c.relname = CAST(:name AS text) ORDER BY a.attnum";
}

} // namespace vel::kos::drivers
