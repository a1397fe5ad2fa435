#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

thread_local std::string gCreateError;

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
    gCreateError.clear();
    Description tDescription;
    if (!tDescription.parse(pDescription ? pDescription : "") || tDescription.value("type") != mType)
        return 0;
    kom::Ref<sql::ISqlDatabase> tDatabase;
    const uint32_t tRes = open(tDescription, tDatabase, gCreateError);
    if (KFAILED(tRes)) return tRes;
    *pDatabase = tDatabase.detach();
    return 0;
}

uint32_t Factory::getCreateError(char** pText)
{
    if (!pText) return E_INVALIDARG;
    *pText = komStrDup(gCreateError.c_str());
    return 0;
}

} // namespace vel::kos::drivers
