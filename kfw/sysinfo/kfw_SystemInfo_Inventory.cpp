#include "kfw/sysinfo/kfw_SystemInfo_Inventory.h"

#include <set>

#include "kgen/directory.h"
#include "kgen/path.h"
#include "kgen/text.h"
#include "kpr/path.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using kgen::toLower;
using util::kDebug;
using util::message;

namespace {

struct KprFree {
    void operator()(void* pList) const { kprFree(pList); }
};
using ModuleListPtr = std::unique_ptr<KprModuleList, KprFree>;
using AttributeListPtr = std::unique_ptr<KprAttributeList, KprFree>;

uint32_t listLoaded(ModuleListPtr& pList)
{
    KprModuleList* tList = nullptr;
    const uint32_t tRes = kprListLoadedModules(&tList);
    pList.reset(tList);
    return tRes;
}

bool isPath(const std::string& pName) { return pName.find('/') != std::string::npos; }

bool hasPoint(const std::string& pName) { return pName.find('.') != std::string::npos; }

/// The file name of the module that the platform knows by a bare name.
std::string asFileName(const std::string& pName) { return kprGetDSOPrefix() + pName + kprGetDSOSuffix(); }

/// The file name, in lower case, that a name stands for among the loaded modules.
std::string wantedFileName(const std::string& pName)
{
    if (isPath(pName)) return toLower(kgen::lastComponent(pName));
    if (hasPoint(pName)) return toLower(pName);
    const std::string tProgram = kprGetProgramName();
    const bool tIsProgram = toLower(pName) == toLower(tProgram.substr(0, tProgram.rfind('.')));
    return toLower(tIsProgram ? tProgram : asFileName(pName));
}

} // namespace

uint32_t ModuleInventory::refresh(fw::IApplication* pApp)
{
    ModuleListPtr tList;
    if (const uint32_t tRes = listLoaded(tList); KFAILED(tRes)) return tRes;
    std::vector<const KprLoadedModule*> tNew;
    for (uint32_t i = 0; i < tList->count; ++i)
        if (!mPaths.contains(tList->modules[i].path)) tNew.push_back(&tList->modules[i]);
    if (tNew.size() + mPaths.size() > tList->count) dropUnloaded(*tList);
    for (const KprLoadedModule* tModule : tNew)
        addModule(pApp, tModule->path, tModule->handle);
    return 0;
}

void ModuleInventory::dropUnloaded(const KprModuleList& pList)
{
    std::set<std::string> tListed;
    for (uint32_t i = 0; i < pList.count; ++i)
        tListed.insert(pList.modules[i].path);
    std::erase_if(mPaths, [&](const auto& pEntry) {
        if (tListed.contains(pEntry.first)) return false;
        mModules.erase(pEntry.second);
        return true;
    });
}

ModuleInventory::Module ModuleInventory::addModule(fw::IApplication* pApp, const std::string& pPath,
                                                   KprDSO pHandle)
{
    const Module tModule = describe(pApp, pPath, pHandle);
    if (!tModule) return nullptr;
    const std::string tInternalName = tModule->getInternalName();
    const auto [tPlace, tAdded] = mModules.emplace(tInternalName, tModule);
    if (tAdded) {
        mPaths.emplace(pPath, tInternalName);
        return tModule;
    }
    const char* tPresent = tPlace->second->getPathName();
    if (util::KSysInfoModule::addConflict(tPresent, tModule->getPathName()))
        kDebug(pApp, "kos:kfw",
               message("Conflicting modules with internal name '%1':\n    %2\n    %3", tInternalName,
                       tPresent, tModule->getPathName()));
    return nullptr;
}

ModuleInventory::Module ModuleInventory::describe(fw::IApplication* pApp, const std::string& pPath,
                                                  KprDSO pHandle)
{
    KprDSO tOpened = 0;
    if (!pHandle) {
        if (pPath.find(kprGetPathSeparator()) == std::string::npos) {
            kDebug(pApp, "kos:kfw", message("Skipping '%1' in SystemInfo::addModule().", pPath));
            return nullptr;
        }
        if (KFAILED(kprOpenDSO(pPath.c_str(), 0, &tOpened))) {
            kDebug(pApp, "kos:kfw",
                   message("DSO '%1' has been returned from kprListLoadedModules() but can't be opened.",
                           pPath));
            return nullptr;
        }
        pHandle = tOpened;
    }
    Module tModule;
    KprAttributeList* tList = nullptr;
    if (KFAILED(kprGetDSOAttributes(pHandle, &tList))) {
        kDebug(pApp, "kos:kfw", message("Failed to get attributes from DSO '%1'.", pPath));
    } else {
        const AttributeListPtr tAttrs(tList);
        tModule = std::make_shared<const util::KSysInfoModule>(kgen::fromNativePath(pPath).c_str(),
                                                               tList->pairs, tList->count);
    }
    if (tOpened) kprCloseDSO(tOpened);
    return tModule;
}

ModuleInventory::Module ModuleInventory::find(fw::IApplication* pApp, const std::string& pName)
{
    Module tModule;
    if (isPath(pName)) {
        if (!kgen::fileExists(pName)) return nullptr;
        tModule = findByPath(kgen::fromNativePath(kgen::realPath(pName)));
    } else {
        tModule = findByName(toLower(pName));
    }
    return tModule ? tModule : findLoaded(pApp, pName);
}

ModuleInventory::Module ModuleInventory::findByPath(const std::string& pRealPath) const
{
    for (const auto& [tInternalName, tModule] : mModules)
        if (tModule->getPathName() == pRealPath) return tModule;
    return nullptr;
}

/// pName is in lower case. A file name counts only when no other module in the inventory has the same.
ModuleInventory::Module ModuleInventory::findByName(const std::string& pName) const
{
    const std::string tFileName = hasPoint(pName) ? pName : toLower(asFileName(pName));
    for (const auto& tName : {pName, tFileName})
        if (const auto tPlace = mModules.find(tName); tPlace != mModules.end()) return tPlace->second;
    Module tFound;
    for (const auto& [tInternalName, tModule] : mModules) {
        const std::string tOther = toLower(tModule->getFileName());
        if (tOther != pName && tOther != tFileName) continue;
        if (tFound) return nullptr;
        tFound = tModule;
    }
    return tFound;
}

/// The first loaded module with the wanted file name decides. When the inventory has it already, under
/// another name or as one of several with that file name, it is the answer as it stands.
ModuleInventory::Module ModuleInventory::findLoaded(fw::IApplication* pApp, const std::string& pName)
{
    ModuleListPtr tList;
    if (KFAILED(listLoaded(tList))) return nullptr;
    const std::string tWanted = wantedFileName(pName);
    for (uint32_t i = 0; i < tList->count; ++i) {
        const KprLoadedModule& tLoaded = tList->modules[i];
        if (toLower(kgen::lastComponent(kgen::fromNativePath(tLoaded.path))) != tWanted) continue;
        if (const auto tPath = mPaths.find(tLoaded.path); tPath != mPaths.end())
            return mModules.at(tPath->second);
        return addModule(pApp, tLoaded.path, tLoaded.handle);
    }
    return nullptr;
}

} // namespace vel::kos::kfw
