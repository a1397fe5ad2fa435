#include "drivers/support/sql_Factory.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vel::kos::drivers {

namespace {

// Plain bytes: they need no destructor at a thread's end, when MinGW has given them back already.
thread_local uint32_t gCode;
thread_local uint32_t gRetry;
thread_local int32_t gNativeCode;
thread_local char gSqlState[8];
thread_local char gText[1024];

void keepText(std::string_view pText, char* pBuffer, size_t pSize)
{
    size_t tLength = std::min(pText.size(), pSize - 1);
    // Not within a character of UTF-8.
    while (tLength < pText.size() && tLength > 0 &&
           (static_cast<unsigned char>(pText[tLength]) & 0xC0) == 0x80)
        --tLength;
    if (tLength > 0) std::memcpy(pBuffer, pText.data(), tLength);
    pBuffer[tLength] = '\0';
}

void keep(const Failure& pFailure)
{
    gCode = pFailure.code;
    gRetry = pFailure.retry ? 1 : 0;
    gNativeCode = pFailure.nativeCode;
    keepText(pFailure.sqlState, gSqlState, sizeof gSqlState);
    keepText(pFailure.text, gText, sizeof gText);
}

} // namespace

uint32_t Factory::getDatabaseType(char** pType)
{
    if (!pType) return E_INVALIDARG;
    *pType = komStrDup(mType);
    return 0;
}

uint32_t Factory::getDescriptionHelp(char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = komStrDup(mHelp);
    return 0;
}

uint32_t Factory::createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase)
{
    if (!pDatabase) return E_INVALIDARG;
    *pDatabase = nullptr;
    Failure tFailure;
    Description tDescription;
    kom::Ref<sql::ISqlDatabase> tDatabase;
    if (!tDescription.parse(pDescription ? pDescription : ""))
        tFailure.text = tDescription.problem();
    else if (tDescription.value("type") == mType)
        tFailure = openLoaded(tDescription, tDatabase);
    for (const std::string& tSecret : tDescription.secrets())
        hideSecret(tFailure.text, tSecret);
    keep(tFailure);
    if (tDatabase) *pDatabase = tDatabase.detach();
    return tFailure.code;
}

uint32_t Factory::getCreateError(sql::SqlError* pError)
{
    if (!pError) return E_INVALIDARG;
    Failure tFailure;
    tFailure.code = gCode;
    tFailure.retry = gRetry != 0;
    tFailure.nativeCode = gNativeCode;
    tFailure.sqlState = gSqlState;
    tFailure.text = gText;
    toRecord(tFailure, pError);
    return 0;
}

Failure Factory::openLoaded(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase)
{
    Failure tFailure;
    {
        const kpr::Lock tLock(mLoading);
        tFailure.text = load();
    }
    if (tFailure.text.empty()) return open(pDescription, pDatabase);
    tFailure.code = KPR_E_NOT_FOUND;
    return tFailure;
}

} // namespace vel::kos::drivers
