#include "kfw/module/kfw_Module.h"

#include <iterator>

#include "kfw/module/kfw_BuildDate.h"
#include "kfw/module/kfw_ClassTable.h"
#include "kfw/module/kfw_Version.h"
#include "kom/identity.h"
#include "kom/ref.h"
#include "kom/runtime.h"

using vel::kos::kfw::classTable;

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", KFW_PRODUCT},
    {"ProductName", KFW_PRODUCT_NAME},
    {"FileVersion", KFW_VERSION},
    {"ProductVersion", KFW_VERSION},
    {"FileVersionStr", KFW_VERSION_STR},
    {"ProductVersionStr", KFW_VERSION_STR},
    {"FileDescription", KFW_DESCRIPTION},
    {"InternalName", KFW_INTERNAL_NAME},
    {"BuildDate", vel::kos::kfw::BUILD_DATE},
};

} // namespace

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))};
    return 0;
}

uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    for (const auto& tRow : classTable()) {
        if (komCompareCLSID(pClassId, tRow.classId) != 0) continue;
        const auto tFactory = kom::retain(tRow.makeFactory());
        const uint32_t tRes = tFactory->queryInterface(pIid, pOut);
        return KFAILED(tRes) ? tRes : 0;
    }
    *pOut = nullptr;
    return KOM_E_CLASSNOTAVAILABLE;
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    for (const auto& tRow : classTable())
        if (auto tRes = komRegisterDSO(tRow.classId, pArg1, pArg2); KFAILED(tRes)) return tRes;
    return 0;
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    uint32_t tFirst = 0;
    for (const auto& tRow : classTable()) {
        const uint32_t tRes = komUnregisterDSO(tRow.classId, pArg1, pArg2);
        if (KFAILED(tRes) && !KFAILED(tFirst)) tFirst = tRes;
    }
    return tFirst;
}
