#include "drivers/odbc/sql_OdbcControl.h"

namespace vel::kos::drivers {

Control controlOf(const ParsedStatement& pText, const Dialect& pDialect)
{
    const std::vector<std::string> tWords = leadingWords(pText.text, pDialect, 3);
    if (tWords.empty()) return Control::NONE;
    const std::string& tFirst = tWords[0];
    const std::string tSecond = tWords.size() > 1 ? tWords[1] : "";
    const bool tAlone = tWords.size() == 1;
    const bool tNoise = tWords.size() == 2 && (tSecond == "transaction" || tSecond == "work" || tSecond == "tran");
    if (tFirst == "commit" || tFirst == "end") return tAlone || tNoise ? Control::COMMIT : Control::NONE;
    if (tFirst == "rollback" || tFirst == "abort") return tAlone || tNoise ? Control::ROLLBACK : Control::NONE;
    if (tFirst == "start" && tSecond == "transaction") return tNoise ? Control::BEGIN : Control::OTHER;
    if (tFirst != "begin") return Control::NONE;
    if (tAlone || tNoise) return Control::BEGIN;
    // Elsewhere it begins a block of statements.
    for (const char* tMode : {"transaction", "work", "tran", "deferred", "immediate", "exclusive", "isolation",
                              "read", "concurrent"})
        if (tSecond == tMode) return Control::OTHER;
    return Control::NONE;
}

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
    mDatabase->statementSucceeded(text());
    return mDatabase->fail(SQL_E_NOT_COMMITTED, "the transaction had failed, and was rolled back");
}

uint32_t OdbcControl::describe(std::shared_ptr<const Columns>& pColumns)
{
    pColumns = std::make_shared<const Columns>();
    return 0;
}

} // namespace vel::kos::drivers
