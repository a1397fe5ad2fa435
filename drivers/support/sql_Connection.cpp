#include "drivers/support/sql_Connection.h"

#include <utility>

namespace vel::kos::drivers {

uint32_t Connection::getDatabaseType(char** pType)
{
    if (!pType) return E_INVALIDARG;
    *pType = komStrDup(mType);
    return 0;
}

uint32_t Connection::getErrorText(char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = komStrDup(mError.c_str());
    return 0;
}

uint32_t Connection::fail(uint32_t pCode, std::string pText)
{
    mError = std::move(pText);
    return pCode;
}

uint32_t Connection::checkParameters(const sql::SqlParameters* pParameters, uint32_t pWanted)
{
    const uint32_t tCount = pParameters ? pParameters->mCount : 0;
    if (tCount > 0 && !pParameters->mValues) return fail(E_INVALIDARG, "the parameters have no values");
    if (tCount != pWanted) return fail(E_INVALIDARG, "the number of parameters is not that of the statement");
    return 0;
}

uint32_t Connection::checkTransaction(bool pInside)
{
    const bool tInside = isInTransaction();
    if (tInside == pInside) return 0;
    return fail(E_WRONG_STATE, tInside ? "a transaction is open already" : "no transaction is open");
}

uint32_t Connection::begin()
{
    const uint32_t tRes = checkTransaction(false);
    return KFAILED(tRes) ? tRes : execute("BEGIN", nullptr, nullptr);
}

uint32_t Connection::commit()
{
    const uint32_t tRes = checkTransaction(true);
    return KFAILED(tRes) ? tRes : runCommit();
}

uint32_t Connection::rollback()
{
    const uint32_t tRes = checkTransaction(true);
    return KFAILED(tRes) ? tRes : execute("ROLLBACK", nullptr, nullptr);
}

uint32_t ResultRows::getColumnCount(uint32_t* pCount)
{
    if (!pCount) return E_INVALIDARG;
    *pCount = static_cast<uint32_t>(columnCount());
    return 0;
}

uint32_t ResultRows::getColumnName(uint32_t pColumn, char** pName)
{
    if (!pName) return E_INVALIDARG;
    *pName = nullptr;
    if (!has(pColumn)) return E_INVALIDARG;
    *pName = komStrDup(columnName(static_cast<int>(pColumn)));
    return 0;
}

uint32_t ResultRows::getText(uint32_t pColumn, char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = nullptr;
    if (!isOnRow()) return E_WRONG_STATE;
    if (!has(pColumn)) return E_INVALIDARG;
    if (const auto tText = text(static_cast<int>(pColumn))) *pText = komStrNDup(tText->data(), tText->size());
    return 0;
}

} // namespace vel::kos::drivers
