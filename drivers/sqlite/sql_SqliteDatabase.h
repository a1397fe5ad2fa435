// A connection to a SQLite database.
#pragma once

#include "drivers/sqlite/sql_Sqlite.h"
#include "drivers/support/sql_Connection.h"

namespace vel::kos::drivers {

class SqliteDatabase final : public Connection {
public:
    static constexpr char TYPE[] = "sqlite";

    /// pBusyTimeout: milliseconds to wait for somebody else's lock.
    SqliteDatabase(SqliteConnection pHandle, uint32_t pBusyTimeout);
    ~SqliteDatabase() override;

    /// What the library says of what has just failed. pPreparing: it was no run of a statement.
    Failure failed(bool pPreparing = false);
    sqlite3* handle() const { return mHandle; }

    /// What a result code and its text stand for.
    static Failure failureOfCode(int pCode, std::string pText, bool pPreparing);

protected:
    const Dialect& dialect() const override;
    Markers markers() const override { return Markers::NUMBERED; }
    uint32_t makeStatement(ParsedStatement pText, bool pOnce, kom::Ref<Statement>& pStatement) override;
    size_t lengthOfStatement(std::string_view pScript) override;
    uint32_t transactionOfDatabase() override;
    uint32_t runBegin(uint32_t pMode, uint32_t pIsolation) override;
    void transactionEnded() override;
    /// The handlers see that the call is cancelled. The library's own interruption would last as long as
    /// any rows are open, and stop whatever runs next.
    void interrupt() override {}
    uint32_t askForLife() override { return run("SELECT 1"); }
    const char* tablesText() override;
    const char* columnsText() override;

private:
    bool waitForLock(int pTimes);

    sqlite3* const mHandle;
    const uint32_t mBusyTimeout;
    uint64_t mWaitingSince = 0;
    bool mQueryOnly = false;
};

} // namespace vel::kos::drivers
