#include "kfw/sysinfo/kfw_SystemInfo.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "kfw/kfw_LogDomain.h"
#include "kfw/sysinfo/kfw_SystemInfo_Attributes.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

/// A version of four numbers, compared from the left.
using Version = std::array<unsigned short, 4>;

bool parse(const char* pText, Version& pVersion)
{
    return std::sscanf(pText, "%hu.%hu.%hu.%hu", &pVersion[0], &pVersion[1], &pVersion[2], &pVersion[3]) == 4;
}

char* format(const Version& pVersion)
{
    return komStrDup(message("%1.%2.%3.%4", pVersion[0], pVersion[1], pVersion[2], pVersion[3]).c_str());
}

bool belongsTo(const util::KSysInfoModule& pModule, const char* pProduct)
{
    for (uint32_t i = 0; i < pModule.getNumAttrs(); ++i)
        if (std::strcmp(pModule.getAttrKey(i), "Product") == 0 &&
            std::strcmp(pModule.getAttrValue(i), pProduct) == 0)
            return true;
    return false;
}

} // namespace

SystemInfo::SystemInfo() : SystemInfo(makeFactSource()) {}

SystemInfo::SystemInfo(std::unique_ptr<FactSource> pSource) : mSource(std::move(pSource)) {}

SystemInfo::~SystemInfo() = default;

uint32_t SystemInfo::init(fw::IApplication* pApp)
{
    if (mApp) return E_WRONG_STATE;
    if (!pApp) return E_INVALIDARG;
    mApp = kom::retain(pApp);
    mSource->detect(pApp, mFacts);
    return 0;
}

uint32_t SystemInfo::refresh() { return mApp ? mInventory.refresh(mApp.get()) : E_WRONG_STATE; }

uint32_t SystemInfo::find(const char* pName, ModuleInventory::Module& pModule)
{
    if (!mApp) return E_WRONG_STATE;
    if (auto tRes = mInventory.find(mApp.get(), pName ? pName : "", pModule); KFAILED(tRes)) return tRes;
    return pModule ? 0 : KFW_E_NO_MODULE;
}

uint32_t SystemInfo::getModule(const char* pName, fw::SysInfoModule* pModule)
{
    if (!pModule) return E_INVALIDARG;
    *pModule = {};
    ModuleInventory::Module tModule;
    if (auto tRes = find(pName, tModule); KFAILED(tRes)) return tRes;
    tModule->copy(pModule, false);
    return 0;
}

uint32_t SystemInfo::getModules(fw::ModuleList* pModules)
{
    if (!pModules) return E_INVALIDARG;
    *pModules = {};
    if (auto tRes = refresh(); KFAILED(tRes)) return tRes;
    const auto& tModules = mInventory.modules();
    pModules->mModules =
        static_cast<fw::SysInfoModule*>(komCalloc(tModules.size(), sizeof(fw::SysInfoModule)));
    for (const auto& [tInternalName, tModule] : tModules)
        tModule->copy(&pModules->mModules[pModules->mCount++], false);
    return 0;
}

uint32_t SystemInfo::getModuleFileVersion(const char* pName, char** pVersion)
{
    if (!pVersion) return E_INVALIDARG;
    *pVersion = nullptr;
    ModuleInventory::Module tModule;
    if (auto tRes = find(pName, tModule); KFAILED(tRes)) return tRes;
    if (const char* tVersion = tModule->findAttr("FileVersion")) *pVersion = komStrDup(tVersion);
    return 0;
}

uint32_t SystemInfo::getProductVersionRange(const char* pProduct, char** pMinVersion, char** pMaxVersion)
{
    if (!pMinVersion || !pMaxVersion) return E_INVALIDARG;
    *pMinVersion = *pMaxVersion = nullptr;
    if (auto tRes = refresh(); KFAILED(tRes)) return tRes;
    if (!pProduct || !*pProduct) return E_INVALIDARG;

    bool tFound = false;
    Version tMin{}, tMax{};
    const auto tModules = mInventory.modules(); // a copy: what a log line leads to may change the inventory
    for (const auto& [tInternalName, tModule] : tModules) {
        if (!belongsTo(*tModule, pProduct)) continue;
        const char* tText = tModule->findAttr("ProductVersion");
        if (!tText) continue;
        Version tVersion;
        if (!parse(tText, tVersion)) {
            kDebug(mApp.get(), LOG_DOMAIN,
                   message("Invalid product version '%1' in '%2'", tText, tModule->getPathName()));
            continue;
        }
        tMin = tFound ? std::min(tMin, tVersion) : tVersion;
        tMax = tFound ? std::max(tMax, tVersion) : tVersion;
        tFound = true;
    }
    if (!tFound) return KFW_E_NO_PRODUCT;
    *pMinVersion = format(tMin);
    *pMaxVersion = format(tMax);
    return 0;
}

uint32_t SystemInfo::getAttributes(uint32_t pGroups, fw::AttributeList* pAttributes)
{
    if (!pAttributes) return E_INVALIDARG;
    *pAttributes = {};
    if (!mApp) return E_WRONG_STATE;
    AttributeBuilder tBuilder;
    if (pGroups & fw::SYSTEM_INFO_HARDWARE) {
        addHardware(tBuilder, mFacts);
        addFrequencies(tBuilder, mSource->readFrequencies(mApp.get(), mFacts.processorCount));
    }
    if (pGroups & fw::SYSTEM_INFO_MEMORY)
        if (const auto tMemory = mSource->readMemory(mApp.get())) addMemory(tBuilder, *tMemory);
    if (pGroups & fw::SYSTEM_INFO_OS) addOs(tBuilder, mFacts);
    *pAttributes = tBuilder.detach();
    return 0;
}

} // namespace vel::kos::kfw
