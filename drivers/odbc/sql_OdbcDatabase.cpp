#include "drivers/odbc/sql_OdbcDatabase.h"

#include <algorithm>
#include <utility>

#include "drivers/odbc/sql_OdbcCatalog.h"
#include "drivers/odbc/sql_OdbcControl.h"
#include "drivers/odbc/sql_OdbcStatement.h"
#include "drivers/odbc/sql_OdbcText.h"
#include "drivers/odbc/sql_OdbcTypes.h"
#include "kpr/time.h"

namespace vel::kos::drivers {

namespace {

constexpr uint64_t CONNECT_SECONDS = 10;
constexpr uint64_t SECOND = 1000000; ///< in microseconds

uint64_t now()
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    return tNow;
}

/// The first thing that an ODBC call has to say, with what else it says behind it; warnings only when there
/// is nothing else.
Failure diagnostics(int16_t pType, Odbc::Handle pHandle, const OdbcProfile& pProfile)
{
    std::string tState, tText, tWarning, tWarningState;
    int32_t tNativeCode = 0;
    std::vector<char16_t> tBuffer(4096);
    for (int16_t i = 1; i <= 8; ++i) {
        char16_t tRawState[6] = {};
        int32_t tNative = 0;
        int16_t tLength = 0;
        if (!odbc::succeeded(gOdbc.diagnostics(pType, pHandle, i, tRawState, &tNative, tBuffer.data(),
                                               static_cast<int16_t>(tBuffer.size()), &tLength)))
            break;
        std::u16string tWide(
            tBuffer.data(), std::min(static_cast<size_t>(std::max<int16_t>(tLength, 0)), tBuffer.size() - 1));
        std::string tOne, tOneState;
        // A text that was cut may end within a character.
        if (!toUtf8(tWide, tOne) && (tWide.empty() || (tWide.pop_back(), !toUtf8(tWide, tOne))))
            tOne = "(a text that is no UTF-16)";
        if (!toUtf8(std::u16string(tRawState, 5), tOneState)) tOneState = "HY000";
        tOne = tidyOdbc(tOne);
        const bool tIsWarning = tOneState.starts_with("01");
        std::string& tWhere = tIsWarning ? tWarning : tText;
        if (!tIsWarning && tState.empty()) {
            tState = tOneState;
            tNativeCode = tNative;
        }
        if (tIsWarning && tWarningState.empty()) tWarningState = tOneState;
        if (tWhere.find(tOne) == std::string::npos) tWhere += (tWhere.empty() ? "" : "; ") + tOne;
    }
    if (tState.empty()) {
        tState = tWarningState.empty() ? "HY000" : tWarningState;
        tText = tWarning.empty() ? "the ODBC driver does not say why" : tWarning;
    }
    const std::string tBest = bestState(pProfile, tState, tNativeCode, tText);
    return failureOf(tBest, std::move(tText), tNativeCode);
}

/// What SQLGetInfo says in a number of 16 or 32 bits, or pDefault when it does not.
template <class TNumber>
TNumber info(Odbc::Handle pHandle, uint16_t pWhat, TNumber pDefault)
{
    TNumber tNumber = pDefault;
    return odbc::succeeded(gOdbc.getInfo(pHandle, pWhat, &tNumber, sizeof tNumber, nullptr)) ? tNumber
                                                                                             : pDefault;
}

std::string nameOfDatabase(Odbc::Handle pHandle)
{
    char16_t tName[128] = {};
    int16_t tLength = 0;
    std::string tText;
    if (!odbc::succeeded(gOdbc.getInfo(pHandle, odbc::DBMS_NAME, tName, sizeof tName, &tLength)) ||
        !toUtf8(std::u16string_view(tName), tText))
        return {};
    return tText;
}

uint32_t featuresOf(Odbc::Handle pHandle, const OdbcProfile& pProfile)
{
    uint32_t tFeatures =
        sql::SQL_FEATURE_STATEMENT_ROLLBACK | sql::SQL_FEATURE_DECIMALS | sql::SQL_FEATURE_DATES;
    if (info<uint16_t>(pHandle, odbc::MAX_CONCURRENT_ACTIVITIES, 1) != 1)
        tFeatures |= sql::SQL_FEATURE_MANY_RESULTS;
    if (info<uint16_t>(pHandle, odbc::CURSOR_COMMIT_BEHAVIOR, 0) == odbc::CURSORS_PRESERVED)
        tFeatures |= sql::SQL_FEATURE_ROWS_ACROSS_COMMIT;
    if (info<uint16_t>(pHandle, odbc::TXN_CAPABLE, 0) == odbc::TRANSACTIONS_ALL)
        tFeatures |= sql::SQL_FEATURE_TRANSACTIONAL_DDL;
    if ((info<uint32_t>(pHandle, odbc::TXN_ISOLATION_OPTION, 0) & odbc::READ_COMMITTED) != 0)
        tFeatures |= sql::SQL_FEATURE_ISOLATION;
    return (tFeatures | pProfile.has) & ~pProfile.lacks;
}

Odbc::Return runOn(Odbc::Handle pStatement, const std::string& pText, bool pNarrow)
{
    if (pNarrow) return gOdbc.executeNarrow(pStatement, pText.c_str(), static_cast<int32_t>(pText.size()));
    std::u16string tWide;
    toUtf16(pText, tWide);
    return gOdbc.executeText(pStatement, tWide.c_str(), static_cast<int32_t>(tWide.size()));
}

/// Whether a text of a statement comes back from the database as it went.
bool comesBack(Odbc::Handle pHandle, bool pNarrow, bool pBytes)
{
    constexpr char TEXT[] = "\xC3\xA4\xE4\xB8\xAD\xF0\x9F\x98\x80";
    OdbcHandle tHandle;
    if (!tHandle.make(odbc::STATEMENT, pHandle) ||
        !odbc::succeeded(runOn(tHandle.get(), std::string("SELECT '") + TEXT + "'", pNarrow)) ||
        !odbc::succeeded(gOdbc.fetch(tHandle.get())))
        return false;
    sql::SqlValue tValue;
    std::string tText;
    const uint32_t tType = pBytes ? sql::SQL_VALUE_BYTES : sql::SQL_VALUE_TEXT;
    return odbc::succeeded(OdbcReader().read(tHandle.get(), 1, tType, tValue, tText)) && tText == TEXT;
}

/// Why there is no connection, which drivers and the driver manager tell in many ways.
Failure failedToConnect(Odbc::Handle pHandle, bool pTimeOver)
{
    Failure tFailure = diagnostics(odbc::CONNECTION, pHandle, profileOf(""));
    const auto tHas = [&](const char* pPart) { return tFailure.text.find(pPart) != std::string::npos; };
    if (tHas("authentication failed") || tHas("Access denied for user") || tHas("no password supplied") ||
        tHas("no pg_hba.conf entry"))
        tFailure.code = SQL_E_PERMISSION;
    else if (tHas("Unknown database") || (tHas("database \"") && tHas("does not exist")))
        tFailure.code = SQL_E_NO_OBJECT;
    else if (tHas("timeout expired") || tHas("timed out"))
        tFailure.code = SQL_E_TIMEOUT;
    else if (tFailure.code == E_FAIL || tFailure.code == SQL_E_CANCELLED)
        tFailure.code = SQL_E_CONNECTION;
    if (pTimeOver && tFailure.code == SQL_E_CONNECTION) tFailure.code = SQL_E_TIMEOUT;
    tFailure.retry = tFailure.retry || tFailure.code == SQL_E_TIMEOUT;
    return tFailure;
}

} // namespace

OdbcDatabase::OdbcDatabase(OdbcHandle pEnvironment, OdbcHandle pHandle, const OdbcProfile& pProfile,
                           uint32_t pFeatures, bool pNarrow, std::vector<std::string> pSecrets)
    : Connection(TYPE, pFeatures, std::move(pSecrets)),
      mEnvironment(std::move(pEnvironment)),
      mHandle(std::move(pHandle)),
      mProfile(pProfile),
      mCan(pFeatures),
      mNarrow(pNarrow)
{
    uint32_t tIsolation = 0;
    if (can(sql::SQL_FEATURE_ISOLATION) &&
        odbc::succeeded(gOdbc.getConnection(handle(), odbc::TXN_ISOLATION, &tIsolation, 0, nullptr)))
        mIsolation = tIsolation;
}

OdbcDatabase::~OdbcDatabase()
{
    // A driver does not let go of a connection with a transaction.
    if (mState != sql::SQL_TRANSACTION_NONE && !mProfile.begins)
        gOdbc.endTransaction(odbc::CONNECTION, handle(), odbc::ROLLBACK);
}

Failure OdbcDatabase::open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase)
{
    uint64_t tSeconds = CONNECT_SECONDS;
    if (!pDescription.seconds("connect_timeout", tSeconds))
        return refused("\"connect_timeout\" takes a number of seconds");
    std::string tProblem;
    std::u16string tString;
    const std::string tPlain = connectionString(pDescription, tProblem);
    if (!tProblem.empty()) return refused(tProblem);
    if (!toUtf16(tPlain, tString)) return refused("the description is no UTF-8");
    if (tString.size() > 32000) return refused("the description is too long");

    OdbcHandle tEnvironment, tHandle;
    if (!tEnvironment.make(odbc::ENVIRONMENT, nullptr)) return failureOf("HY001", "out of memory");
    gOdbc.setEnvironment(tEnvironment.get(), odbc::ODBC_VERSION, reinterpret_cast<void*>(odbc::VERSION_3), 0);
    if (!tHandle.make(odbc::CONNECTION, tEnvironment.get()))
        return diagnostics(odbc::ENVIRONMENT, tEnvironment.get(), profileOf(""));
    if (tSeconds)
        gOdbc.setConnection(tHandle.get(), odbc::LOGIN_TIMEOUT, reinterpret_cast<void*>(tSeconds),
                            odbc::IS_UINTEGER);
    // Drivers hand back the string as they have understood it.
    std::vector<char16_t> tUnderstood(4096);
    int16_t tLength = 0;
    const uint64_t tStarted = now();
    const Odbc::Return tReturn = gOdbc.connect(
        tHandle.get(), nullptr, tString.data(), static_cast<int16_t>(tString.size()), tUnderstood.data(),
        static_cast<int16_t>(tUnderstood.size()), &tLength, odbc::DRIVER_NOPROMPT);
    if (!odbc::succeeded(tReturn)) {
        // Many drivers do not say that it was the time.
        const bool tTimeOver = tSeconds > 0 && now() - tStarted >= tSeconds * SECOND;
        Failure tFailure = failedToConnect(tHandle.get(), tTimeOver);
        for (const std::string& tSecret : secretsOfConnection(pDescription))
            hideSecret(tFailure.text, tSecret);
        return tFailure;
    }
    const OdbcProfile& tProfile = profileOf(nameOfDatabase(tHandle.get()));
    uint32_t tFeatures = featuresOf(tHandle.get(), tProfile);
    const bool tNarrow = !comesBack(tHandle.get(), false, false) && comesBack(tHandle.get(), true, false);
    if (!comesBack(tHandle.get(), tNarrow, true)) tFeatures &= ~uint32_t{sql::SQL_FEATURE_TEXT_WITH_NUL};
    pDatabase = kom::retain(new OdbcDatabase(std::move(tEnvironment), std::move(tHandle), tProfile, tFeatures,
                                             tNarrow, secretsOfConnection(pDescription)));
    return {};
}

Odbc::Return OdbcDatabase::prepareText(Odbc::Handle pStatement, const std::string& pText)
{
    if (mNarrow) return gOdbc.prepareNarrow(pStatement, pText.c_str(), static_cast<int32_t>(pText.size()));
    std::u16string tWide;
    toUtf16(pText, tWide);
    return gOdbc.prepare(pStatement, tWide.c_str(), static_cast<int32_t>(tWide.size()));
}

Odbc::Return OdbcDatabase::executeText(Odbc::Handle pStatement, const std::string& pText)
{
    return runOn(pStatement, pText, mNarrow);
}

// --- Failures ---------------------------------------------------------------------------------------------

Failure OdbcDatabase::failureAt(int16_t pType, Odbc::Handle pHandle)
{
    Failure tFailure = diagnostics(pType, pHandle, mProfile);
    const bool tStopped = tFailure.code == SQL_E_CANCELLED || tFailure.code == SQL_E_TIMEOUT ||
                          tFailure.code == SQL_E_BUSY || tFailure.code == E_FAIL;
    if (tStopped && (isCancelled() || isTimeOver())) {
        const int32_t tNativeCode = tFailure.nativeCode;
        tFailure = stopped(std::move(tFailure.text));
        tFailure.nativeCode = tNativeCode;
    }
    // A file has no connection to lose: SQLite cannot open another one, for example.
    if (tFailure.code == SQL_E_CONNECTION && mProfile.afterFailure != AfterFailure::NESTED)
        mLost = tFailure.text.empty() ? "the connection is lost" : tFailure.text;
    return tFailure;
}

uint32_t OdbcDatabase::makeHandle(OdbcHandle& pHandle)
{
    if (pHandle.make(odbc::STATEMENT, handle())) return 0;
    return fail(failureAt(odbc::CONNECTION, handle()));
}

uint32_t OdbcDatabase::checkCall(Odbc::Return pReturn, Odbc::Handle pStatement)
{
    if (odbc::succeeded(pReturn) || pReturn == odbc::NO_DATA) return 0;
    Failure tFailure = failureAt(odbc::STATEMENT, pStatement);
    afterFailure(tFailure);
    return fail(std::move(tFailure));
}

uint32_t OdbcDatabase::checkLost() { return mLost.empty() ? 0 : fail(failureOf("08006", mLost)); }

/// Runs a statement of the driver's own, whatever the state; a failure of it is nobody else's.
Failure OdbcDatabase::runText(const char* pText, bool pStoppable)
{
    OdbcHandle tHandle;
    if (!tHandle.make(odbc::STATEMENT, handle())) return failureAt(odbc::CONNECTION, handle());
    const auto tRun = [&] { return executeText(tHandle.get(), pText); };
    const Odbc::Return tReturn = pStoppable ? timed(tHandle.get(), tRun) : tRun();
    if (odbc::succeeded(tReturn) || tReturn == odbc::NO_DATA) return {};
    return failureAt(odbc::STATEMENT, tHandle.get());
}

void OdbcDatabase::afterFailure(const Failure& pFailure)
{
    if (mState != sql::SQL_TRANSACTION_OPEN || !mLost.empty()) return;
    if (pFailure.sqlState.starts_with("40")) {
        // The database has rolled it back; what came now would be in another one.
        if (!mProfile.begins) endAndLeave(odbc::ROLLBACK);
        mState = sql::SQL_TRANSACTION_NONE;
        return;
    }
    switch (mProfile.afterFailure) {
    case AfterFailure::KEPT:
        return;
    case AfterFailure::ASKED: {
        if (mOpenRows > 0 && !can(sql::SQL_FEATURE_MANY_RESULTS)) return;
        const Failure tProbe = runText("SELECT 1", false);
        if (tProbe.sqlState.starts_with("25") || tProbe.sqlState.starts_with("40"))
            mState = sql::SQL_TRANSACTION_FAILED;
        return;
    }
    case AfterFailure::NESTED:
        if (runText("BEGIN", false).code) return;
        static_cast<void>(runText("ROLLBACK", false));
        mState = sql::SQL_TRANSACTION_NONE;
    }
}

// --- Statements -------------------------------------------------------------------------------------------

uint32_t OdbcDatabase::makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement)
{
    const Control tControl = controlOf(pText, dialect());
    if (tControl != Control::NONE) {
        pStatement = kom::retain(new OdbcControl(this, std::move(pText), tControl));
        return 0;
    }
    // Drivers look for statements and parameters in their own ways: they get no more than the statement.
    pText.text = bareStatement(pText.text, dialect());
    std::u16string tWide;
    if (!toUtf16(pText.text, tWide)) return fail(failureOf("22021", "the statement is no UTF-8"));
    const TimedCall tCall(*this);
    const OwnRun tRun(*this);
    if (KFAILED(tRun.result())) return tRun.result();
    OdbcHandle tHandle;
    if (auto tRes = makeHandle(tHandle); KFAILED(tRes)) return tRes;
    const bool tOnce = pOnce && pText.places.empty();
    const auto tStatement = kom::retain(new OdbcStatement(this, std::move(pText), std::move(tHandle)));
    if (!tOnce)
        if (auto tRes = tStatement->prepare(); KFAILED(tRes)) return tRes;
    pStatement = tStatement;
    return 0;
}

uint32_t OdbcDatabase::askForLife()
{
    const OwnRun tRun(*this);
    if (KFAILED(tRun.result())) return tRun.result();
    Failure tFailure = runText("SELECT 1", true);
    const bool tStopped = tFailure.code == SQL_E_CANCELLED || tFailure.code == SQL_E_TIMEOUT;
    // Whatever else it says, it speaks.
    return tFailure.code == SQL_E_CONNECTION || tStopped ? fail(std::move(tFailure)) : 0;
}

std::u16string OdbcDatabase::catalog() const
{
    char16_t tName[256] = {};
    int32_t tLength = 0;
    if (!odbc::succeeded(gOdbc.getConnection(handle(), odbc::CURRENT_CATALOG, tName,
                                             sizeof tName - sizeof tName[0], &tLength)))
        return {};
    return tName;
}

uint32_t OdbcDatabase::listTables(sql::ISqlRows** pRows)
{
    if (!pRows) return E_INVALIDARG;
    *pRows = nullptr;
    const auto tCatalog = kom::retain(new OdbcCatalog(this, OdbcCatalog::TABLES));
    return tCatalog->query(nullptr, pRows);
}

uint32_t OdbcDatabase::describeTable(const char* pTable, sql::ISqlRows** pRows)
{
    if (!pTable || !pRows) return E_INVALIDARG;
    *pRows = nullptr;
    if (!*pTable) return fail(failureOf("42P01", "there is no table \"\""));
    const auto tCatalog = kom::retain(new OdbcCatalog(this, pTable));
    if (auto tRes = tCatalog->query(nullptr, pRows); KFAILED(tRes)) return tRes;
    if (tCatalog->isOnRow()) return 0;
    (*pRows)->release();
    *pRows = nullptr;
    return fail(failureOf("42P01", "there is no table \"" + std::string(pTable) + "\""));
}

// --- Transactions -----------------------------------------------------------------------------------------

bool OdbcDatabase::setConnection(int32_t pAttribute, uintptr_t pValue)
{
    return odbc::succeeded(
        gOdbc.setConnection(handle(), pAttribute, reinterpret_cast<void*>(pValue), odbc::IS_UINTEGER));
}

uint32_t OdbcDatabase::transactionOfDatabase()
{
    return mLost.empty() ? mState : uint32_t{sql::SQL_TRANSACTION_NONE};
}

void OdbcDatabase::transactionWorks()
{
    if (mState == sql::SQL_TRANSACTION_FAILED) mState = sql::SQL_TRANSACTION_OPEN;
}

bool OdbcDatabase::setIsolation(uint32_t pIsolation, Failure& pFailure)
{
    constexpr uint32_t LEVELS[] = {odbc::READ_COMMITTED, odbc::REPEATABLE_READ, odbc::SERIALIZABLE};
    // Those without a choice are serializable.
    if (pIsolation == sql::SQL_ISOLATION_DEFAULT || !can(sql::SQL_FEATURE_ISOLATION)) return true;
    const uint32_t tHas = info<uint32_t>(handle(), odbc::TXN_ISOLATION_OPTION, 0);
    for (uint32_t i = pIsolation - 1; i < std::size(LEVELS); ++i)
        if ((tHas & LEVELS[i]) != 0) {
            if (LEVELS[i] == mIsolation) return true;
            mIsolationSet = setConnection(odbc::TXN_ISOLATION, LEVELS[i]);
            if (!mIsolationSet) pFailure = failureAt(odbc::CONNECTION, handle());
            return mIsolationSet;
        }
    pFailure = failureOf("0A000", "the database has no such isolation");
    return false;
}

uint32_t OdbcDatabase::runBegin(uint32_t pMode, uint32_t pIsolation)
{
    const TimedCall tCall(*this);
    if (const OwnRun tRun(*this); KFAILED(tRun.result())) return tRun.result();
    if (auto tRes = beginNow(pMode, pIsolation); KFAILED(tRes)) return tRes;
    // As after a statement that has begun one.
    statementSucceeded({});
    return 0;
}

uint32_t OdbcDatabase::beginNow(uint32_t pMode, uint32_t pIsolation)
{
    if (info<uint16_t>(handle(), odbc::TXN_CAPABLE, 0) == odbc::TRANSACTIONS_NONE)
        return fail(failureOf("0A000", "the database has no transactions"));
    if (pMode == sql::SQL_BEGIN_READ_ONLY && !mProfile.readOnly)
        return fail(failureOf("0A000", "of this database no transaction is known that is read-only"));
    Failure tFailure;
    if (!setIsolation(pIsolation, tFailure)) return fail(std::move(tFailure));
    if (mProfile.begins)
        tFailure = runText(mProfile.begins[pMode], true);
    else if (!setConnection(odbc::AUTOCOMMIT, odbc::AUTOCOMMIT_OFF))
        tFailure = failureAt(odbc::CONNECTION, handle());
    if (!tFailure.code) {
        mState = sql::SQL_TRANSACTION_OPEN;
        mReadOnly = pMode == sql::SQL_BEGIN_READ_ONLY;
        if (mReadOnly) tFailure = runText(mProfile.readOnly, true);
        if (tFailure.code) static_cast<void>(endTransaction(false));
    }
    if (!tFailure.code) return 0;
    transactionEnded();
    return fail(std::move(tFailure));
}

Failure OdbcDatabase::endAndLeave(int16_t pHow)
{
    Failure tFailure;
    if (!odbc::succeeded(gOdbc.endTransaction(odbc::CONNECTION, handle(), pHow))) {
        tFailure = failureAt(odbc::CONNECTION, handle());
        // Nothing of it may be kept by what comes after it.
        gOdbc.endTransaction(odbc::CONNECTION, handle(), odbc::ROLLBACK);
    }
    if (setConnection(odbc::AUTOCOMMIT, odbc::AUTOCOMMIT_ON)) return tFailure;
    // What came now would be in a transaction that nobody ends.
    Failure tStuck = failureAt(odbc::CONNECTION, handle());
    if (mLost.empty()) mLost = "the connection does not leave its transaction: " + tStuck.text;
    return tFailure.code ? tFailure : tStuck;
}

uint32_t OdbcDatabase::endTransaction(bool pKeep)
{
    if (pKeep && mOpenRows > 0 && !can(sql::SQL_FEATURE_ROWS_ACROSS_COMMIT))
        return fail(E_WRONG_STATE, "the rows of a statement have not been read to their end or closed");
    if (!mProfile.begins) {
        Failure tFailure = endAndLeave(pKeep ? odbc::COMMIT : odbc::ROLLBACK);
        mState = sql::SQL_TRANSACTION_NONE;
        return tFailure.code ? fail(std::move(tFailure)) : 0;
    }
    Failure tFailure = runText(pKeep ? "COMMIT" : "ROLLBACK", true);
    if (!tFailure.code) {
        mState = sql::SQL_TRANSACTION_NONE;
        return 0;
    }
    afterFailure(tFailure);
    return fail(std::move(tFailure));
}

void OdbcDatabase::transactionEnded()
{
    if (std::exchange(mReadOnly, false) && mProfile.notReadOnly)
        static_cast<void>(runText(mProfile.notReadOnly, false));
    if (std::exchange(mIsolationSet, false) && mIsolation)
        static_cast<void>(setConnection(odbc::TXN_ISOLATION, mIsolation));
}

} // namespace vel::kos::drivers
