// The part of a connection that is the same for every driver: transactions, errors, time, and how its
// statements are made. A driver derives from it and fills in what its database does differently.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/support/sql_Failure.h"
#include "drivers/support/sql_Scanner.h"
#include "kfw/sql/ISqlDatabase.h"
#include "kom/implements.h"

namespace vel::kos::drivers {

class Statement;

class Connection : public kom::Implements<Connection, sql::ISqlDatabase> {
    friend Implements;

public:
    /// pType and pFeatures are those of the driver. No text of an error will hold a secret.
    Connection(const char* pType, uint32_t pFeatures, std::vector<std::string> pSecrets)
        : mType(pType), mFeatures(pFeatures), mSecrets(std::move(pSecrets))
    {
    }
    virtual ~Connection() = default;

    uint32_t getDatabaseType(char** pType) override;
    uint32_t getFeatures(uint32_t* pFeatures) override;
    uint32_t prepare(const char* pStatement, sql::ISqlStatement** pPrepared) override;
    uint32_t execute(const char* pStatement, const sql::SqlValueList* pValues, uint64_t* pChanged) override;
    uint32_t query(const char* pStatement, const sql::SqlValueList* pValues, sql::ISqlRows** pRows) override;
    uint32_t executeScript(const char* pScript, uint64_t* pStatements) override;
    uint32_t begin(uint32_t pMode, uint32_t pIsolation) override;
    uint32_t commit() override;
    uint32_t rollback() override;
    uint32_t savepoint(const char* pName) override;
    uint32_t rollbackTo(const char* pName) override;
    uint32_t releaseSavepoint(const char* pName) override;
    uint32_t getTransactionState(uint32_t* pState) override;
    uint32_t setTimeout(uint32_t pMilliseconds) override;
    uint32_t cancel() override;
    uint32_t check() override;
    uint32_t listTables(sql::ISqlRows** pRows) override;
    uint32_t describeTable(const char* pTable, sql::ISqlRows** pRows) override;
    uint32_t getError(sql::SqlError* pError) override;

    // For the connection's statements.

    /// Keeps a failure for getError and returns its code.
    uint32_t fail(Failure pFailure);
    uint32_t fail(uint32_t pCode, std::string pText);
    const Failure& failure() const { return mFailure; }
    void restore(Failure pFailure) { mFailure = std::move(pFailure); }

    /// Before a run of a statement: E_WRONG_STATE while rows are open that let nothing else run, and in a
    /// transaction that the database has dropped; a failure, too, when the call has been cancelled or its
    /// time is over. Otherwise the run counts as open until runEnded.
    uint32_t runBegins();
    void runEnded() { --mOpenRuns; }
    /// After a statement has succeeded: whether there is a transaction is as the database says. pLostCommit:
    /// it was to keep a transaction, which was rolled back instead.
    void statementSucceeded(const ParsedStatement& pText, bool pLostCommit = false);
    /// Whether the database has dropped a transaction, which waits for its rollback.
    bool isDropped() { return mBegun && transactionOfDatabase() == sql::SQL_TRANSACTION_NONE; }
    /// Counts the transactions that were dropped: what was read within one is not read on after it.
    uint32_t epoch() const { return mEpoch; }

    /// A call that may take time begins: the clock starts, and from now on cancel is heard.
    void callBegins();
    void callEnds();
    bool isCancelled() const { return mCancelled; }
    /// Milliseconds that the call may still take; -1 without a limit.
    int64_t timeLeft() const;
    bool isTimeOver() const { return timeLeft() == 0; }
    /// What a statement that was stopped has failed with: cancelled, or its time over.
    Failure stopped(std::string pText) const;

    /// Runs a batch of a statement within a transaction of its own or a savepoint.
    template <class TRun>
    uint32_t runAsOne(TRun pRun)
    {
        uint32_t tState = sql::SQL_TRANSACTION_NONE;
        getTransactionState(&tState);
        const bool tOwn = tState == sql::SQL_TRANSACTION_NONE;
        if (auto tRes = tOwn ? begin(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_DEFAULT) : savepoint(BATCH);
            KFAILED(tRes))
            return tRes;
        uint32_t tRes = pRun();
        if (!KFAILED(tRes)) tRes = tOwn ? commit() : releaseSavepoint(BATCH);
        if (KFAILED(tRes)) takeBack(tOwn);
        return tRes;
    }

protected:
    // What a driver fills in.

    virtual const Dialect& dialect() const = 0;
    virtual Markers markers() const = 0;
    /// Makes a statement, which has been parsed; pOnce when it will run no more than once. With a failure
    /// kept in the connection otherwise.
    virtual uint32_t makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement) = 0;
    /// The length of the statement at the start of a script.
    virtual size_t lengthOfStatement(std::string_view pScript) { return statementLength(pScript, dialect()); }
    /// SqlTransactionState, as far as the database or its client library knows.
    virtual uint32_t transactionOfDatabase() = 0;
    virtual uint32_t runBegin(uint32_t pMode, uint32_t pIsolation) = 0;
    /// Ends an open transaction and keeps it; a failure where the database kept nothing of it.
    virtual uint32_t runCommit() { return run("COMMIT"); }
    /// A transaction is over, whichever way.
    virtual void transactionEnded() {}
    /// A failure when it is known, without asking, that the connection is lost.
    virtual uint32_t checkLost() { return 0; }
    /// Has the statement that is running stop. Any thread.
    virtual void interrupt() = 0;
    /// Whether the database can still be reached, at the price of asking it.
    virtual uint32_t askForLife() = 0;
    /// The statements behind listTables and describeTable; the latter has two parameters, the schema, or
    /// NULL, and the name.
    virtual const char* tablesText() = 0;
    virtual const char* columnsText() = 0;

    /// Runs a statement without parameters to its end, whatever the state of the transaction.
    uint32_t run(const std::string& pText);

private:
    static constexpr char BATCH[] = "kos_batch";

    uint32_t make(std::string_view pText, bool pOnce, kom::Ref<Statement>& pStatement);
    uint32_t runSavepoint(const char* pVerb, const char* pName, bool pFailedToo);
    uint32_t transactionState();
    void forgetCancel()
    {
        if (mCancelled) mCancelled = false;
    }
    void takeBack(bool pOwn);

    kom::RefCount mRefCount;
    const char* const mType;
    const uint32_t mFeatures;
    const std::vector<std::string> mSecrets;
    Failure mFailure;
    bool mBegun = false;   ///< a transaction has begun and not been ended
    bool mControl = false; ///< a statement of our own runs
    uint32_t mOpenRuns = 0;
    uint32_t mEpoch = 0;
    uint32_t mTimeout = 0;
    uint64_t mDeadline = 0; ///< in microseconds; 0 without one
    /// Calls under way, one within the other. Only the connection's own thread counts, so that each row costs
    /// no locked operation.
    std::atomic<uint32_t> mCalls{0};
    std::atomic<bool> mCancelled{false};
};

/// Something that counts as a run of a statement, for as long as the object lives.
class OwnRun {
public:
    explicit OwnRun(Connection& pConnection) : mConnection(pConnection), mResult(pConnection.runBegins()) {}
    ~OwnRun()
    {
        if (!KFAILED(mResult)) mConnection.runEnded();
    }
    OwnRun(const OwnRun&) = delete;
    OwnRun& operator=(const OwnRun&) = delete;
    /// A failure, which is kept, when it may not run.
    uint32_t result() const { return mResult; }

private:
    Connection& mConnection;
    const uint32_t mResult;
};

/// A call that may take time, for as long as the object lives.
class TimedCall {
public:
    explicit TimedCall(Connection& pConnection) : mConnection(pConnection) { mConnection.callBegins(); }
    ~TimedCall() { mConnection.callEnds(); }
    TimedCall(const TimedCall&) = delete;
    TimedCall& operator=(const TimedCall&) = delete;

private:
    Connection& mConnection;
};

} // namespace vel::kos::drivers
