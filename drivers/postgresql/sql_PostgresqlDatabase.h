// A connection to a PostgreSQL server.
#pragma once

#include <string>
#include <vector>

#include "drivers/postgresql/sql_Libpq.h"
#include "drivers/support/sql_Connection.h"
#include "drivers/support/sql_Description.h"

namespace vel::kos::drivers {

/// A result of the client library, freed with the object.
class PgResult {
public:
    explicit PgResult(PGresult* pResult = nullptr) : mResult(pResult) {}
    PgResult(PgResult&& pOther) noexcept : mResult(std::exchange(pOther.mResult, nullptr)) {}
    PgResult& operator=(PgResult&& pOther) noexcept
    {
        std::swap(mResult, pOther.mResult);
        return *this;
    }
    ~PgResult()
    {
        if (mResult) gLibpq.clear(mResult);
    }
    PGresult* get() const { return mResult; }
    explicit operator bool() const { return mResult != nullptr; }

private:
    PGresult* mResult;
};

class PostgresqlDatabase final : public Connection {
public:
    static constexpr char TYPE[] = "postgresql";

    /// Connects, within the time of "connect_timeout". The client library is loaded. A failure when it
    /// cannot.
    static Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase);
    ~PostgresqlDatabase() override;

    // For the connection's statements.

    PGconn* handle() const { return mHandle; }
    /// Before something is sent.
    void sendingBegins();
    /// After something was handed to the client library, successfully or not: sends it.
    uint32_t sent(int pSent);
    /// Waits for the next result; empty at the end, and when the connection is lost.
    PgResult nextResult();
    /// Reads and drops what is left of a statement's results.
    void drain();
    /// Ends the copying that a result has begun, which nobody asked for: only then is there a next result.
    void endCopy(const PgResult& pResult);
    /// 0 for a result that is none of a failure; otherwise keeps the failure. Positions count in pText.
    uint32_t checkResult(const PgResult& pResult, const ParsedStatement& pText);
    /// Drops a prepared statement when there is a chance to.
    void forget(std::string pName) { mForgotten.push_back(std::move(pName)); }
    /// A failure, which is kept, when it is known that the connection is lost.
    uint32_t lostNow() { return checkLost(); }

protected:
    const Dialect& dialect() const override;
    Markers markers() const override { return Markers::DOLLAR; }
    uint32_t makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement) override;
    uint32_t transactionOfDatabase() override;
    uint32_t runBegin(uint32_t pMode, uint32_t pIsolation) override;
    uint32_t checkLost() override { return isLost() ? lost() : 0; }
    void interrupt() override;
    uint32_t askForLife() override;
    const char* tablesText() override;
    const char* columnsText() override;

private:
    PostgresqlDatabase(PgConnection pHandle, std::vector<std::string> pSecrets);

    bool wait(bool pWrite);
    bool isLost() const { return mLost || gLibpq.status(mHandle) != CONNECTION_OK; }
    uint32_t lost();
    uint32_t dropForgotten();

    PGconn* const mHandle;
    PGcancel* const mCancel;
    bool mLost = false;        ///< the server does not even react to being told to stop
    uint64_t mGraceEnds = 0;   ///< a statement whose time was over has been told to stop; when to give up
    uint32_t mStateBefore = 0; ///< of the transaction, when the statement that is running began
    uint32_t mNextName = 0;    ///< of the next prepared statement
    std::vector<std::string> mForgotten;
};

/// The client library's texts end with a line break.
std::string tidy(const char* pText);

} // namespace vel::kos::drivers
