#include "drivers/support/sql_Connection.h"

#include <algorithm>
#include <utility>

#include "drivers/support/sql_Statement.h"
#include "kpr/time.h"

namespace vel::kos::drivers {

namespace {

uint64_t now()
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    return tNow;
}

bool isPlainName(std::string_view pName)
{
    return !pName.empty() && !(pName[0] >= '0' && pName[0] <= '9') &&
           std::all_of(pName.begin(), pName.end(), [](char pChar) {
               return (pChar >= 'a' && pChar <= 'z') || (pChar >= 'A' && pChar <= 'Z') ||
                      (pChar >= '0' && pChar <= '9') || pChar == '_';
           });
}

} // namespace

uint32_t Connection::getDatabaseType(char** pType)
{
    if (!pType) return E_INVALIDARG;
    *pType = komStrDup(mType);
    return 0;
}

uint32_t Connection::getFeatures(uint32_t* pFeatures)
{
    if (!pFeatures) return E_INVALIDARG;
    *pFeatures = mFeatures;
    return 0;
}

uint32_t Connection::getError(sql::SqlError* pError)
{
    if (!pError) return E_INVALIDARG;
    toRecord(mFailure, pError);
    return 0;
}

uint32_t Connection::fail(Failure pFailure)
{
    for (const std::string& tSecret : mSecrets)
        hideSecret(pFailure.text, tSecret);
    mFailure = std::move(pFailure);
    return mFailure.code;
}

uint32_t Connection::fail(uint32_t pCode, std::string pText)
{
    Failure tFailure;
    tFailure.code = pCode;
    tFailure.text = std::move(pText);
    return fail(std::move(tFailure));
}

// --- Statements -------------------------------------------------------------------------------------------

uint32_t Connection::make(std::string_view pText, bool pOnce, kom::Ref<Statement>& pStatement)
{
    const auto tWrong = [this](std::string pProblem, size_t pAt) {
        Failure tFailure = failureOf("42601", std::move(pProblem));
        tFailure.position = static_cast<int64_t>(pAt);
        return fail(std::move(tFailure));
    };
    const size_t tLength = lengthOfStatement(pText);
    if (tLength < pText.size() && !isBlank(pText.substr(tLength), dialect()))
        return tWrong("there is more than one statement in the text", tLength);
    if (isBlank(pText.substr(0, tLength), dialect())) return tWrong("there is no statement in the text", 0);
    ParsedStatement tParsed = parseStatement(pText, dialect(), markers());
    if (!tParsed.problem.empty()) return tWrong(tParsed.problem, tParsed.problemAt);
    return makeStatement(std::move(tParsed), pOnce, pStatement);
}

uint32_t Connection::prepare(const char* pStatement, sql::ISqlStatement** pPrepared)
{
    if (!pStatement || !pPrepared) return E_INVALIDARG;
    *pPrepared = nullptr;
    const TimedCall tCall(*this);
    kom::Ref<Statement> tStatement;
    if (auto tRes = make(pStatement, false, tStatement); KFAILED(tRes)) return tRes;
    *pPrepared = tStatement.detach();
    return 0;
}

uint32_t Connection::execute(const char* pStatement, const sql::SqlValueList* pValues, uint64_t* pChanged)
{
    if (!pStatement) return E_INVALIDARG;
    if (pChanged) *pChanged = 0;
    const TimedCall tCall(*this);
    kom::Ref<Statement> tStatement;
    if (auto tRes = make(pStatement, true, tStatement); KFAILED(tRes)) return tRes;
    return tStatement->execute(pValues, pChanged);
}

uint32_t Connection::query(const char* pStatement, const sql::SqlValueList* pValues, sql::ISqlRows** pRows)
{
    if (!pStatement || !pRows) return E_INVALIDARG;
    *pRows = nullptr;
    const TimedCall tCall(*this);
    kom::Ref<Statement> tStatement;
    if (auto tRes = make(pStatement, true, tStatement); KFAILED(tRes)) return tRes;
    return tStatement->query(pValues, pRows);
}

uint32_t Connection::executeScript(const char* pScript, uint64_t* pStatements)
{
    if (!pScript) return E_INVALIDARG;
    if (pStatements) *pStatements = 0;
    const TimedCall tCall(*this);
    const std::string_view tScript = pScript;
    for (size_t tAt = 0; tAt < tScript.size();) {
        const auto tText = tScript.substr(tAt, lengthOfStatement(tScript.substr(tAt)));
        if (!isBlank(tText, dialect())) {
            kom::Ref<Statement> tStatement;
            uint32_t tRes = make(tText, true, tStatement);
            if (!KFAILED(tRes)) tRes = tStatement->execute(nullptr, nullptr);
            if (KFAILED(tRes)) {
                if (mFailure.position >= 0) mFailure.position += static_cast<int64_t>(tAt);
                return tRes;
            }
            if (pStatements) ++*pStatements;
        }
        tAt += tText.size();
    }
    return 0;
}

uint32_t Connection::run(const std::string& pText)
{
    struct Control {
        explicit Control(bool& pFlag) : flag(pFlag) { flag = true; }
        ~Control() { flag = false; }
        bool& flag;
    } tControl(mControl);
    const TimedCall tCall(*this);
    kom::Ref<Statement> tStatement;
    if (auto tRes = make(pText, true, tStatement); KFAILED(tRes)) return tRes;
    return tStatement->execute(nullptr, nullptr);
}

void Connection::statementSucceeded(const ParsedStatement& pText, bool pLostCommit)
{
    const bool tIs = transactionOfDatabase() != sql::SQL_TRANSACTION_NONE;
    const bool tWas = std::exchange(mBegun, tIs);
    if (!tWas || mControl) return;
    // A statement of the client's may end it, too.
    if (pText.rollsBack || pLostCommit) ++mEpoch;
    if (!tIs) transactionEnded();
}

uint32_t Connection::runBegins()
{
    if (auto tRes = checkLost(); KFAILED(tRes)) return tRes;
    if (mOpenRuns > 0 && (mFeatures & sql::SQL_FEATURE_MANY_RESULTS) == 0)
        return fail(E_WRONG_STATE, "the rows of another statement have not been read to their end or closed");
    // What ran now would be kept at once, although a transaction is what was asked for.
    if (!mControl && isDropped())
        return fail(
            failureOf("25P02", "the database has dropped the transaction, which waits for its rollback"));
    if (!mControl && (mCancelled || isTimeOver())) return fail(stopped("the statement was stopped"));
    ++mOpenRuns;
    return 0;
}

// --- Transactions -----------------------------------------------------------------------------------------

uint32_t Connection::transactionState()
{
    const uint32_t tState = transactionOfDatabase();
    return tState == sql::SQL_TRANSACTION_NONE && mBegun ? uint32_t{sql::SQL_TRANSACTION_FAILED} : tState;
}

uint32_t Connection::getTransactionState(uint32_t* pState)
{
    if (!pState) return E_INVALIDARG;
    *pState = transactionState();
    return 0;
}

uint32_t Connection::begin(uint32_t pMode, uint32_t pIsolation)
{
    if (pMode > sql::SQL_BEGIN_READ_ONLY || pIsolation > sql::SQL_ISOLATION_SERIALIZABLE)
        return fail(E_INVALIDARG, "there is no such mode or isolation");
    if (transactionState() != sql::SQL_TRANSACTION_NONE)
        return fail(failureOf("25001", "a transaction is open already"));
    return runBegin(pMode, pIsolation);
}

uint32_t Connection::commit()
{
    const uint32_t tState = transactionState();
    if (tState == sql::SQL_TRANSACTION_NONE) return fail(failureOf("25P01", "no transaction is open"));
    if (tState == sql::SQL_TRANSACTION_FAILED) {
        if (auto tRes = rollback(); KFAILED(tRes)) return tRes;
        Failure tFailure = failureOf("40000", "the transaction had failed, and was rolled back");
        tFailure.code = SQL_E_NOT_COMMITTED;
        return fail(std::move(tFailure));
    }
    const uint32_t tRes = runCommit();
    if (transactionOfDatabase() == sql::SQL_TRANSACTION_NONE) {
        mBegun = false;
        if (KFAILED(tRes)) ++mEpoch;
        transactionEnded();
    }
    return tRes;
}

uint32_t Connection::rollback()
{
    if (transactionState() == sql::SQL_TRANSACTION_NONE)
        return fail(failureOf("25P01", "no transaction is open"));
    if (transactionOfDatabase() != sql::SQL_TRANSACTION_NONE)
        if (auto tRes = run("ROLLBACK"); KFAILED(tRes)) return tRes;
    mBegun = false;
    ++mEpoch;
    transactionEnded();
    return 0;
}

uint32_t Connection::runSavepoint(const char* pVerb, const char* pName, bool pFailedToo)
{
    if (!pName) return E_INVALIDARG;
    if (!isPlainName(pName))
        return fail(E_INVALIDARG, "the name of a savepoint is letters, digits and \"_\"");
    const uint32_t tState = transactionOfDatabase();
    if (tState == sql::SQL_TRANSACTION_NONE || (tState == sql::SQL_TRANSACTION_FAILED && !pFailedToo))
        return fail(tState == sql::SQL_TRANSACTION_NONE ? failureOf("25P01", "no transaction is open")
                                                        : failureOf("25P02", "the transaction has failed"));
    return run(std::string(pVerb) + " " + pName);
}

uint32_t Connection::savepoint(const char* pName) { return runSavepoint("SAVEPOINT", pName, false); }

uint32_t Connection::rollbackTo(const char* pName)
{
    const uint32_t tRes = runSavepoint("ROLLBACK TO SAVEPOINT", pName, true);
    if (!KFAILED(tRes)) ++mEpoch;
    return tRes;
}

uint32_t Connection::releaseSavepoint(const char* pName)
{
    return runSavepoint("RELEASE SAVEPOINT", pName, false);
}

void Connection::takeBack(bool pOwn)
{
    const Failure tFailure = std::move(mFailure);
    // Whether or not there is time left for it.
    mDeadline = 0;
    mCancelled = false;
    if (!pOwn) {
        if (!KFAILED(rollbackTo(BATCH))) static_cast<void>(releaseSavepoint(BATCH));
    } else if (transactionState() != sql::SQL_TRANSACTION_NONE) {
        static_cast<void>(rollback());
    }
    mFailure = tFailure;
}

// --- Time -------------------------------------------------------------------------------------------------

uint32_t Connection::setTimeout(uint32_t pMilliseconds)
{
    mTimeout = pMilliseconds;
    return 0;
}

void Connection::callBegins()
{
    const uint32_t tCalls = mCalls;
    if (tCalls == 0) {
        mDeadline = mTimeout ? now() + uint64_t{mTimeout} * 1000 : 0;
        forgetCancel();
    }
    mCalls.store(tCalls + 1, std::memory_order_release); // from here on cancel is heard
}

void Connection::callEnds()
{
    const uint32_t tCalls = mCalls - 1;
    mCalls.store(tCalls, std::memory_order_release);
    if (tCalls > 0) return;
    mDeadline = 0;
    forgetCancel();
}

Failure Connection::stopped(std::string pText) const
{
    Failure tFailure = failureOf("57014", std::move(pText));
    if (mCancelled || !isTimeOver()) return tFailure;
    tFailure.code = SQL_E_TIMEOUT;
    tFailure.text += " (its time was over)";
    return tFailure;
}

int64_t Connection::timeLeft() const
{
    if (!mDeadline) return -1;
    const uint64_t tNow = now();
    return tNow >= mDeadline ? 0 : static_cast<int64_t>((mDeadline - tNow + 999) / 1000);
}

uint32_t Connection::cancel()
{
    if (mCalls == 0) return 0;
    mCancelled = true;
    interrupt();
    return 0;
}

uint32_t Connection::check()
{
    const TimedCall tCall(*this);
    return askForLife();
}

// --- What there is ----------------------------------------------------------------------------------------

uint32_t Connection::listTables(sql::ISqlRows** pRows) { return query(tablesText(), nullptr, pRows); }

uint32_t Connection::describeTable(const char* pTable, sql::ISqlRows** pRows)
{
    if (!pTable || !pRows) return E_INVALIDARG;
    *pRows = nullptr;
    const std::string_view tTable = pTable;
    const auto tDot = tTable.find('.');
    const auto tName = tDot == std::string_view::npos ? tTable : tTable.substr(tDot + 1);
    const sql::SqlValue tValues[] = {
        tDot == std::string_view::npos ? sql::nullValue() : sql::dataValue(sql::SQL_VALUE_TEXT, pTable, tDot),
        sql::dataValue(sql::SQL_VALUE_TEXT, tName.data(), tName.size())};
    const sql::SqlValueList tList{2, tValues};
    const TimedCall tCall(*this);
    kom::Ref<Statement> tStatement;
    if (auto tRes = make(columnsText(), true, tStatement); KFAILED(tRes)) return tRes;
    if (auto tRes = tStatement->query(&tList, pRows); KFAILED(tRes)) return tRes;
    if (tStatement->isOnRow()) return 0;
    (*pRows)->release();
    *pRows = nullptr;
    return fail(failureOf("42P01", "there is no table \"" + std::string(tTable) + "\""));
}

} // namespace vel::kos::drivers
