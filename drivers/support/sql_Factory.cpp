#include "drivers/support/sql_Factory.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vel::kos::drivers {

namespace {

// Plain bytes: they need no destructor at a thread's end, when MinGW has given them back already.
thread_local char gCreateError[1024];

void keepCreateError(std::string_view pText)
{
    size_t tLength = std::min(pText.size(), sizeof gCreateError - 1);
    // Not within a character of UTF-8.
    while (tLength < pText.size() && tLength > 0 &&
           (static_cast<unsigned char>(pText[tLength]) & 0xC0) == 0x80)
        --tLength;
    if (tLength > 0) std::memcpy(gCreateError, pText.data(), tLength);
    gCreateError[tLength] = '\0';
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
    keepCreateError({});
    Description tDescription;
    if (!tDescription.parse(pDescription ? pDescription : "") || tDescription.value("type") != mType)
        return 0;
    kom::Ref<sql::ISqlDatabase> tDatabase;
    std::string tError;
    const uint32_t tRes = open(tDescription, tDatabase, tError);
    keepCreateError(tError);
    if (KFAILED(tRes)) return tRes;
    *pDatabase = tDatabase.detach();
    return 0;
}

uint32_t Factory::getCreateError(char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = komStrDup(gCreateError);
    return 0;
}

} // namespace vel::kos::drivers
