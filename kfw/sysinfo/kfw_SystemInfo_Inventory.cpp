#include "kfw/sysinfo/kfw_SystemInfo_Inventory.h"

#include <algorithm>
#include <set>
#include <span>

#include "kfw/kfw_LogDomain.h"
#include "kgen/directory.h"
#include "kgen/path.h"
#include "kgen/text.h"
#include "kpr/path.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using kgen::isSameFileName;
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

/// The file name that a name stands for among the loaded modules.
std::string wantedFileName(const std::string& pName)
{
    if (isPath(pName)) return kgen::lastComponent(pName);
    if (hasPoint(pName)) return pName;
    const std::string tProgram = kprGetProgramName();
    const bool tIsProgram = isSameFileName(pName, tProgram.substr(0, tProgram.rfind('.')));
    return tIsProgram ? tProgram : asFileName(pName);
}

/// Which of the entries has a path, whose file exists: the first that is listed with the path as it stands,
/// or else the first that is listed with another path of the same file. pPathOf gives an entry's path.
template <typename TEntries, typename TPathOf>
auto findPath(const TEntries& pEntries, const std::string& pPath, TPathOf pPathOf)
{
    const auto tFind = [&](auto pMatches) {
        return std::find_if(std::begin(pEntries), std::end(pEntries),
                            [&](const auto& pEntry) { return pMatches(std::string(pPathOf(pEntry))); });
    };
    const std::string tPath = kgen::fromNativePath(pPath);
    const auto tListed =
        tFind([&](const std::string& pOther) { return kgen::fromNativePath(pOther) == tPath; });
    if (tListed != std::end(pEntries)) return tListed;
    const std::string tIdentity = kgen::fileIdentity(pPath);
    if (tIdentity.empty()) return tListed;
    return tFind([&](const std::string& pOther) { return kgen::fileIdentity(pOther) == tIdentity; });
}

/// The loaded module that a path or name means: the file at the path, or else the first with the wanted file
/// name.
const KprLoadedModule* findLoaded(const KprModuleList& pList, const std::string& pName)
{
    const std::span tModules(pList.modules, pList.count);
    auto tPlace = tModules.end();
    if (isPath(pName))
        tPlace = findPath(tModules, pName, [](const KprLoadedModule& pLoaded) { return pLoaded.path; });
    if (tPlace == tModules.end()) {
        const std::string tWanted = wantedFileName(pName);
        tPlace = std::ranges::find_if(tModules, [&](const KprLoadedModule& pLoaded) {
            return isSameFileName(kgen::lastComponent(kgen::fromNativePath(pLoaded.path)), tWanted);
        });
    }
    return tPlace != tModules.end() ? &*tPlace : nullptr;
}

} // namespace

uint32_t ModuleInventory::refresh(fw::IApplication* pApp)
{
    ModuleListPtr tList;
    if (const uint32_t tRes = listLoaded(tList); KFAILED(tRes)) return tRes;
    const uint64_t tRefresh = ++mRefreshes;
    std::vector<const KprLoadedModule*> tNew;
    for (uint32_t i = 0; i < tList->count; ++i)
        if (!mPaths.contains(tList->modules[i].path)) tNew.push_back(&tList->modules[i]);
    if (tNew.size() + mPaths.size() > tList->count) dropUnloaded(*tList);
    for (const KprLoadedModule* tModule : tNew) {
        // Adding logs, and what that leads to may use the inventory: a module that was found meanwhile is
        // there, and a refresh meanwhile has done the rest, from a newer list.
        if (mRefreshes != tRefresh) break;
        if (!mPaths.contains(tModule->path)) addModule(pApp, tModule->path, tModule->handle);
    }
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
        kDebug(pApp, LOG_DOMAIN,
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
            kDebug(pApp, LOG_DOMAIN, message("Skipping '%1' in SystemInfo::addModule().", pPath));
            return nullptr;
        }
        if (KFAILED(kprOpenDSO(pPath.c_str(), 0, &tOpened))) {
            kDebug(pApp, LOG_DOMAIN,
                   message("DSO '%1' has been returned from kprListLoadedModules() but can't be opened.",
                           pPath));
            return nullptr;
        }
        pHandle = tOpened;
    }
    Module tModule;
    KprAttributeList* tList = nullptr;
    if (KFAILED(kprGetDSOAttributes(pHandle, &tList))) {
        kDebug(pApp, LOG_DOMAIN, message("Failed to get attributes from DSO '%1'.", pPath));
    } else {
        const AttributeListPtr tAttrs(tList);
        tModule = std::make_shared<const util::KSysInfoModule>(kgen::fromNativePath(pPath).c_str(),
                                                               tList->pairs, tList->count);
    }
    if (tOpened) kprCloseDSO(tOpened);
    return tModule;
}

uint32_t ModuleInventory::find(fw::IApplication* pApp, const std::string& pName, Module& pModule)
{
    pModule = nullptr;
    const bool tIsPath = isPath(pName);
    if (tIsPath && !kgen::fileExists(pName)) return 0;
    pModule = tIsPath ? findByPath(pName) : findByName(toLower(pName));
    if (pModule) return 0;
    ModuleListPtr tList;
    if (const uint32_t tRes = listLoaded(tList); KFAILED(tRes)) return tRes;
    if (const KprLoadedModule* tLoaded = findLoaded(*tList, pName)) pModule = addLoaded(pApp, *tLoaded);
    return 0;
}

ModuleInventory::Module ModuleInventory::findByPath(const std::string& pPath) const
{
    const auto tPlace =
        findPath(mModules, pPath, [](const auto& pEntry) { return pEntry.second->getPathName(); });
    return tPlace != mModules.end() ? tPlace->second : nullptr;
}

/// pName is in lower case. A file name counts only when no other module in the inventory has the same.
ModuleInventory::Module ModuleInventory::findByName(const std::string& pName) const
{
    const std::string tFileName = hasPoint(pName) ? pName : toLower(asFileName(pName));
    for (const auto& tName : {pName, tFileName})
        if (const auto tPlace = mModules.find(tName); tPlace != mModules.end()) return tPlace->second;
    Module tFound;
    for (const auto& [tInternalName, tModule] : mModules) {
        const std::string tOther = tModule->getFileName();
        if (!isSameFileName(tOther, pName) && !isSameFileName(tOther, tFileName)) continue;
        if (tFound) return nullptr;
        tFound = tModule;
    }
    return tFound;
}

/// When the inventory has the module already, under another name or as one of several with its file name, it
/// is the one found, as it stands.
ModuleInventory::Module ModuleInventory::addLoaded(fw::IApplication* pApp, const KprLoadedModule& pLoaded)
{
    if (const auto tPath = mPaths.find(pLoaded.path); tPath != mPaths.end())
        return mModules.at(tPath->second);
    return addModule(pApp, pLoaded.path, pLoaded.handle);
}

} // namespace vel::kos::kfw
