#include "drivers/odbc/sql_OdbcControl.h"

namespace vel::kos::drivers {

uint32_t OdbcControl::start(const sql::SqlValue*, bool)
{
    uint32_t tState = sql::SQL_TRANSACTION_NONE;
    mDatabase->getTransactionState(&tState);
    if (mControl == Control::OTHER)
        return mDatabase->fail(
            failureOf("0A000", "through ODBC, modes and levels of a transaction are given to begin()"));
    if (mControl == Control::BEGIN)
        return tState == sql::SQL_TRANSACTION_NONE
                   ? mDatabase->beginNow(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_DEFAULT)
                   : mDatabase->fail(failureOf("25001", "a transaction is open already"));
    if (tState == sql::SQL_TRANSACTION_NONE)
        return mDatabase->fail(failureOf("25P01", "no transaction is open"));
    if (mControl == Control::ROLLBACK) return mDatabase->endTransaction(false);
    if (tState == sql::SQL_TRANSACTION_OPEN) return mDatabase->endTransaction(true);
    if (auto tRes = mDatabase->endTransaction(false); KFAILED(tRes)) return tRes;
    mDatabase->statementSucceeded(text(), true);
    return mDatabase->fail(SQL_E_NOT_COMMITTED, "the transaction had failed, and was rolled back");
}

uint32_t OdbcControl::describe(std::shared_ptr<const Columns>& pColumns)
{
    pColumns = std::make_shared<const Columns>();
    return 0;
}

} // namespace vel::kos::drivers
