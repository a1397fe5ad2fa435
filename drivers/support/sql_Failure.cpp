#include "drivers/support/sql_Failure.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kom/heap.h"
#include "kpr/codes.h"

namespace vel::kos::drivers {

namespace {

struct Meaning {
    std::string_view sqlState; ///< whole, or the class that begins it
    uint32_t code;
    uint32_t constraint = sql::SQL_CONSTRAINT_NONE;
    bool retry = false;
};

/// The first that fits counts.
constexpr Meaning MEANINGS[] = {
    {"08", SQL_E_CONNECTION},
    {"57P01", SQL_E_CONNECTION},
    {"57P02", SQL_E_CONNECTION},
    {"57P03", SQL_E_CONNECTION, 0, true},
    {"0A", E_NOT_SUPPORTED},
    {"HYC00", E_NOT_SUPPORTED},
    {"22", SQL_E_TYPE},
    {"23502", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_NOT_NULL},
    {"23503", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_FOREIGN_KEY},
    {"23001", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_FOREIGN_KEY},
    {"23505", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_UNIQUE},
    {"23514", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_CHECK},
    {"23", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_OTHER},
    {"44", SQL_E_CONSTRAINT, sql::SQL_CONSTRAINT_OTHER},
    {"25006", E_READ_ONLY},
    {"24", E_WRONG_STATE},
    {"25", E_WRONG_STATE},
    {"3B", E_WRONG_STATE},
    {"28", SQL_E_PERMISSION},
    {"40", SQL_E_CONFLICT, 0, true},
    {"42501", SQL_E_PERMISSION},
    {"42P02", SQL_E_PARAMETERS},
    {"07", SQL_E_PARAMETERS},
    {"42804", SQL_E_TYPE},
    {"42846", SQL_E_TYPE},
    {"42P18", SQL_E_TYPE},
    {"42P01", SQL_E_NO_OBJECT},
    {"42S02", SQL_E_NO_OBJECT},
    {"42S22", SQL_E_NO_OBJECT},
    {"42S12", SQL_E_NO_OBJECT},
    {"42703", SQL_E_NO_OBJECT},
    {"42704", SQL_E_NO_OBJECT},
    {"42883", SQL_E_NO_OBJECT},
    {"3D", SQL_E_NO_OBJECT},
    {"3F", SQL_E_NO_OBJECT},
    {"42P04", SQL_E_OBJECT_EXISTS},
    {"42P06", SQL_E_OBJECT_EXISTS},
    {"42P07", SQL_E_OBJECT_EXISTS},
    {"42S01", SQL_E_OBJECT_EXISTS},
    {"42S11", SQL_E_OBJECT_EXISTS},
    {"42S21", SQL_E_OBJECT_EXISTS},
    {"42701", SQL_E_OBJECT_EXISTS},
    {"42710", SQL_E_OBJECT_EXISTS},
    {"42723", SQL_E_OBJECT_EXISTS},
    {"42", SQL_E_SYNTAX},
    {"21S", SQL_E_SYNTAX},
    {"53100", KPR_E_NO_SPACE},
    {"53200", E_OUTOFMEMORY},
    {"53300", SQL_E_BUSY, 0, true},
    {"54", KPR_E_TOO_LARGE},
    {"55P03", SQL_E_BUSY, 0, true},
    {"55006", SQL_E_BUSY, 0, true},
    {"57014", SQL_E_CANCELLED},
    {"HYT00", SQL_E_TIMEOUT},
    {"HYT01", SQL_E_TIMEOUT},
    {"HY008", SQL_E_CANCELLED},
    {"HY001", E_OUTOFMEMORY},
    {"HY010", E_WRONG_STATE},
    {"IM001", E_NOT_SUPPORTED},
    {"IM", SQL_E_CONNECTION},
    {"XX001", SQL_E_DAMAGED},
    {"XX002", SQL_E_DAMAGED},
};

} // namespace

Failure failureOf(std::string_view pSqlState, std::string pText, int32_t pNativeCode)
{
    Failure tFailure;
    tFailure.code = E_FAIL;
    const auto tMeaning = std::find_if(std::begin(MEANINGS), std::end(MEANINGS), [&](const Meaning& pRow) {
        return pSqlState.starts_with(pRow.sqlState);
    });
    if (tMeaning != std::end(MEANINGS)) {
        tFailure.code = tMeaning->code;
        tFailure.constraint = tMeaning->constraint;
        tFailure.retry = tMeaning->retry;
    }
    tFailure.nativeCode = pNativeCode;
    tFailure.sqlState = pSqlState;
    tFailure.text = std::move(pText);
    return tFailure;
}

Failure refused(std::string pText)
{
    Failure tFailure;
    tFailure.code = E_INVALIDARG;
    tFailure.text = std::move(pText);
    return tFailure;
}

void toRecord(const Failure& pFailure, sql::SqlError* pError)
{
    *pError = {};
    pError->mCode = pFailure.code;
    pError->mConstraint = pFailure.constraint;
    pError->mRetry = pFailure.retry ? 1 : 0;
    pError->mNativeCode = pFailure.nativeCode;
    pError->mPosition = pFailure.position;
    std::memcpy(pError->mSqlState, pFailure.sqlState.c_str(),
                std::min(pFailure.sqlState.size(), sizeof pError->mSqlState - 1));
    pError->mText = komStrDup(pFailure.text.c_str());
}

void hideSecret(std::string& pText, std::string_view pSecret)
{
    constexpr std::string_view HIDDEN = "***";
    if (pSecret.empty()) return;
    for (size_t tAt = 0; (tAt = pText.find(pSecret, tAt)) != std::string::npos; tAt += HIDDEN.size())
        pText.replace(tAt, pSecret.size(), HIDDEN);
}

} // namespace vel::kos::drivers
