// A connection to a database behind ODBC.
#pragma once

#include <string>
#include <vector>

#include "drivers/odbc/sql_OdbcProfile.h"
#include "drivers/odbc/sql_OdbcWatch.h"
#include "drivers/support/sql_Connection.h"
#include "drivers/support/sql_Description.h"

namespace vel::kos::drivers {

/// A handle of ODBC, freed with the object; a connection is closed before.
class OdbcHandle {
public:
    OdbcHandle() = default;
    OdbcHandle(OdbcHandle&& pOther) noexcept
        : mType(pOther.mType), mHandle(std::exchange(pOther.mHandle, nullptr))
    {
    }
    OdbcHandle& operator=(OdbcHandle&& pOther) noexcept
    {
        std::swap(mType, pOther.mType);
        std::swap(mHandle, pOther.mHandle);
        return *this;
    }
    ~OdbcHandle()
    {
        if (!mHandle) return;
        // One that is open is not freed; of one that is not, the driver manager says so, and that is all.
        if (mType == odbc::CONNECTION) gOdbc.disconnect(mHandle);
        gOdbc.free(mType, mHandle);
    }
    /// false when there is none to be had; the parent tells why.
    bool make(int16_t pType, Odbc::Handle pParent)
    {
        mType = pType;
        return odbc::succeeded(gOdbc.allocate(pType, pParent, &mHandle));
    }
    Odbc::Handle get() const { return mHandle; }

private:
    int16_t mType = 0;
    Odbc::Handle mHandle = nullptr;
};

class OdbcDatabase final : public Connection {
public:
    static constexpr char TYPE[] = "odbc";

    /// Connects, within the time of "connect_timeout" as far as the database's ODBC driver keeps to it. The
    /// driver manager is loaded. A failure when it cannot.
    static Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase);
    ~OdbcDatabase() override;

    uint32_t listTables(sql::ISqlRows** pRows) override;
    uint32_t describeTable(const char* pTable, sql::ISqlRows** pRows) override;

    // For the connection's statements.

    Odbc::Handle handle() const { return mHandle.get(); }
    const OdbcProfile& profile() const { return mProfile; }
    bool can(uint32_t pFeature) const { return (mCan & pFeature) != 0; }
    /// Runs a call that may take time on a statement.
    template <class TCall>
    Odbc::Return timed(Odbc::Handle pStatement, TCall pCall)
    {
        const OdbcCall tCall(mWatch, pStatement, timeLeft());
        // A cancel since the call before found nothing to stop.
        if (isCancelled()) mWatch.stop();
        return pCall();
    }
    /// Has the driver prepare or run a statement.
    Odbc::Return prepareText(Odbc::Handle pStatement, const std::string& pText);
    Odbc::Return executeText(Odbc::Handle pStatement, const std::string& pText);
    /// Whether the driver knows narrow texts only, in UTF-8. The driver manager would take what comes wide
    /// apart byte by byte, and characters with it.
    bool isNarrow() const { return mNarrow; }
    /// Whether texts are read as the bytes that they are: drivers end wide ones at the first NUL.
    bool readsBytes() const { return can(sql::SQL_FEATURE_TEXT_WITH_NUL); }
    /// The database that the connection is in, where a server has several; "" otherwise.
    std::u16string catalog() const;
    /// A new statement handle; a failure, which is kept, when there is none.
    uint32_t makeHandle(OdbcHandle& pHandle);
    /// 0 for a call that has succeeded; otherwise keeps the failure, and finds out what has become of the
    /// transaction.
    uint32_t checkCall(Odbc::Return pReturn, Odbc::Handle pStatement);
    /// A statement has run in the open transaction: so it has not failed.
    void transactionWorks();
    void rowsOpened() { ++mOpenRows; }
    void rowsClosed() { --mOpenRows; }

    // What statements of the client's that control transactions come down to.

    uint32_t beginNow(uint32_t pMode, uint32_t pIsolation);
    uint32_t endTransaction(bool pKeep);

protected:
    const Dialect& dialect() const override { return mProfile.dialect; }
    Markers markers() const override { return Markers::PLAIN; }
    uint32_t makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement) override;
    uint32_t transactionOfDatabase() override;
    uint32_t runBegin(uint32_t pMode, uint32_t pIsolation) override;
    void transactionEnded() override;
    uint32_t checkLost() override;
    void interrupt() override { mWatch.stop(); }
    uint32_t askForLife() override;
    const char* tablesText() override { return ""; }
    const char* columnsText() override { return ""; }

private:
    OdbcDatabase(OdbcHandle pEnvironment, OdbcHandle pHandle, const OdbcProfile& pProfile, uint32_t pFeatures,
                 bool pNarrow, std::vector<std::string> pSecrets);

    Failure failureAt(int16_t pType, Odbc::Handle pHandle);
    void afterFailure(const Failure& pFailure);
    Failure runText(const char* pText, bool pStoppable);
    /// Ends the transaction of ODBC's own calls; it is over then, whatever has failed.
    Failure endAndLeave(int16_t pHow);
    bool setIsolation(uint32_t pIsolation, Failure& pFailure);
    bool setConnection(int32_t pAttribute, uintptr_t pValue);

    // In this order: a connection goes before its environment.
    OdbcHandle mEnvironment, mHandle;
    const OdbcProfile& mProfile;
    const uint32_t mCan;
    const bool mNarrow;
    OdbcWatch mWatch;
    uint32_t mState = sql::SQL_TRANSACTION_NONE;
    uint32_t mIsolation = 0;    ///< ODBC's, of transactions that ask for none; 0: not known
    bool mIsolationSet = false; ///< another one counts for the open transaction
    bool mReadOnly = false;     ///< the open transaction is
    uint32_t mOpenRows = 0;
    std::string mLost; ///< why the connection is lost; "" while it is not
};

} // namespace vel::kos::drivers
