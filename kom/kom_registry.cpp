#include "kom/kom_registry.h"

#include <utility>

#include "kom/heap.h"
#include "kom/kom_pathstart.h"
#include "kom/kom_registryfile.h"
#include "kom/runtime.h"
#include "kpr/dir.h"
#include "kpr/mutex.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/text.h"

namespace kom {

namespace {

/// What was read of the registry, and whether it can be relied on while size and time stay the same.
struct Cache {
    std::string path;
    KprFileInfo info = {};
    bool settled = false;
    ClassFile file;
};

struct State {
    kpr::Mutex mutex;
    std::string path K_GUARDED_BY(mutex); // empty: not yet determined
    Cache cache K_GUARDED_BY(mutex);
};

// Never destroyed: modules may call until the process ends.
State& state()
{
    static State& tState = *new State;
    return tState;
}

thread_local RegistrationBatch* gBatch = nullptr;
thread_local KomRegistrar* gRegistrar = nullptr;

uint32_t findDefaultPath(std::string& pPath)
{
    if (!KFAILED(kpr::readText(pPath, kprGetEnvironment, "KOM_CLASSES")) && !pPath.empty()) return 0;
    std::string tFolder;
    if (auto tRes = kpr::readText(tFolder, kprGetUserDataDir); KFAILED(tRes)) return tRes;
    for (const char* tName : {"kom", "classes"}) {
        if (auto tRes = kpr::readText(pPath, kprAppendToPath, tFolder.c_str(), tName); KFAILED(tRes))
            return tRes;
        tFolder = pPath;
    }
    return 0;
}

/// The path in use.
uint32_t ownPath(State& pState, std::string& pPath) K_REQUIRES(pState.mutex)
{
    if (pState.path.empty())
        if (auto tRes = findDefaultPath(pState.path); KFAILED(tRes)) {
            pState.path.clear();
            return tRes;
        }
    pPath = pState.path;
    return 0;
}

uint32_t ownPath(std::string& pPath)
{
    State& tState = state();
    const kpr::Lock tLock(tState.mutex);
    return ownPath(tState, pPath);
}

bool isSame(const KprFileInfo& pA, const KprFileInfo& pB)
{
    return pA.size == pB.size && pA.modified.seconds == pB.modified.seconds &&
           pA.modified.microseconds == pB.modified.microseconds;
}

uint32_t refresh(const RegistryFile& pRegistry, Cache& pCache)
{
    if (pCache.settled && pCache.path == pRegistry.path && isSame(pCache.info, pRegistry.info)) return 0;
    pCache.settled = false;
    // Times are coarse: a file that is changed twice within a moment may keep time and size. Only a file
    // that was old already when it was read is not read again.
    constexpr int64_t tMoment = 2; // seconds
    KprTime tNow;
    if (auto tRes = kprGetCurrentTime(&tNow); KFAILED(tRes)) return tRes;
    if (auto tRes = readRegistry(pRegistry.path, pCache.file, &pCache.info); KFAILED(tRes)) return tRes;
    pCache.path = pRegistry.path;
    pCache.settled = pCache.info.modified.seconds < tNow.seconds - tMoment;
    return 0;
}

/// Checks the arguments of komRegisterDSO and komUnregisterDSO and finds the registry's path.
uint32_t findTarget(const char* pClassId, unsigned int pFlags, const void* pContext, std::string& pPath)
{
    clearRegistryProblem();
    const auto* tRegistration = static_cast<const KomRegistration*>(pContext);
    if (!pClassId || pFlags != 0 || !tRegistration) return E_INVALIDARG;
    if (!tRegistration->modulePath || !*tRegistration->modulePath) return E_INVALIDARG;
    if (!isClassId(pClassId)) return KOM_E_BAD_CLASSID;
    if (!tRegistration->registryPath) return ownPath(pPath);
    pPath = tRegistration->registryPath;
    return 0;
}

/// Reads the registry at a path; none is an empty one.
uint32_t readClasses(const std::string& pPath, ClassFile& pFile)
{
    RegistryFile tRegistry;
    uint32_t tRes = locateRegistry(pPath, tRegistry);
    if (!KFAILED(tRes)) tRes = readRegistry(tRegistry.path, pFile);
    return tRes == KPR_E_NOT_FOUND ? 0 : tRes;
}

bool isEntered(const ClassFile& pFile, const char* pClassId, const char* pModule)
{
    const auto tEntry = pFile.classes.find(pClassId);
    return tEntry != pFile.classes.end() && tEntry->second.module == pModule;
}

/// A relative path counts from the registry's folder. From the current folder it would load the code of
/// whoever controls that folder.
uint32_t locateModule(const std::string& pRegistry, const std::string& pModule, std::string& pPath)
{
    pPath = pModule;
    const PathStart tStart = pathStart(pModule.c_str(), kprGetPathSeparator());
    if (tStart != PathStart::RELATIVE) return tStart == PathStart::FULL ? 0 : KPR_E_BAD_NAME;
    std::string tFolder;
    if (auto tRes = kpr::readText(tFolder, kprGetDirname, pRegistry.c_str()); KFAILED(tRes)) return tRes;
    return kpr::readText(pPath, kprAppendToPath, tFolder.c_str(), pModule.c_str());
}

KomClassList* copyClasses(const ClassFile& pFile)
{
    size_t tSize = sizeof(KomClassList) + pFile.classes.size() * sizeof(KomClass);
    for (const auto& [tId, tEntry] : pFile.classes)
        tSize += tId.size() + tEntry.module.size() + 2;

    auto* tList = static_cast<KomClassList*>(komCalloc(1, tSize));
    auto* tClass = reinterpret_cast<KomClass*>(tList + 1);
    auto* tText = reinterpret_cast<char*>(tClass + pFile.classes.size());
    const auto tCopy = [&tText](const std::string& pText) {
        const char* tStart = tText;
        std::memcpy(tText, pText.c_str(), pText.size() + 1);
        tText += pText.size() + 1;
        return tStart;
    };
    *tList = {static_cast<uint32_t>(pFile.classes.size()), tClass};
    for (const auto& [tId, tEntry] : pFile.classes) {
        tClass->classId = tCopy(tId);
        tClass->modulePath = tCopy(tEntry.module);
        ++tClass;
    }
    return tList;
}

} // namespace

uint32_t findClass(const char* pClassId, std::string& pModule)
{
    clearRegistryProblem();
    if (!pClassId) return KOM_E_CLASSNOTREGISTERED;
    State& tState = state();
    const kpr::Lock tLock(tState.mutex);
    std::string tPath;
    if (auto tRes = ownPath(tState, tPath); KFAILED(tRes)) return tRes;
    RegistryFile tRegistry;
    uint32_t tRes = locateRegistry(tPath, tRegistry);
    if (!KFAILED(tRes)) tRes = refresh(tRegistry, tState.cache);
    if (KFAILED(tRes)) return tRes == KPR_E_NOT_FOUND ? KOM_E_CLASSNOTREGISTERED : tRes;
    const auto tEntry = tState.cache.file.classes.find(pClassId);
    if (tEntry == tState.cache.file.classes.end()) return KOM_E_CLASSNOTREGISTERED;
    return locateModule(tRegistry.path, tEntry->second.module, pModule);
}

RegistrationBatch::RegistrationBatch() : mOuter(std::exchange(gBatch, this)) {}

RegistrationBatch::~RegistrationBatch() { gBatch = mOuter; }

void RegistrationBatch::add(const std::string& pRegistry, const char* pClassId, const char* pModule)
{
    mChanges[pRegistry][pClassId] = {pModule, true};
}

uint32_t RegistrationBatch::remove(const std::string& pRegistry, const char* pClassId, const char* pModule)
{
    auto& tChanges = mChanges[pRegistry];
    const auto tChange = tChanges.find(pClassId);
    if (tChange != tChanges.end()) {
        Change& tCollected = tChange->second;
        if (!tCollected.registered || tCollected.module != pModule) return KOM_E_CLASSNOTREGISTERED;
        tCollected = {"", false}; // whatever the class stood for before
        return 0;
    }
    ClassFile tFile;
    if (auto tRes = readClasses(pRegistry, tFile); KFAILED(tRes)) return tRes;
    if (!isEntered(tFile, pClassId, pModule)) return KOM_E_CLASSNOTREGISTERED;
    tChanges[pClassId] = {pModule, false};
    return 0;
}

uint32_t RegistrationBatch::commit()
{
    for (const auto& tRegistry : mChanges) {
        if (tRegistry.second.empty()) continue;
        const uint32_t tRes = changeRegistry(tRegistry.first, [&](ClassFile& pFile) -> uint32_t {
            for (const auto& [tClassId, tChange] : tRegistry.second)
                if (tChange.registered)
                    pFile.classes[tClassId].module = tChange.module;
                else if (tChange.module.empty() || isEntered(pFile, tClassId.c_str(), tChange.module.c_str()))
                    pFile.classes.erase(tClassId);
            return 0;
        });
        if (KFAILED(tRes)) return tRes;
    }
    return 0;
}

} // namespace kom

uint32_t komSetClassRegistry(const char* pPath)
{
    if (pPath && !*pPath) return E_INVALIDARG;
    auto& tState = kom::state();
    const kpr::Lock tLock(tState.mutex);
    tState.path = pPath ? pPath : "";
    return 0;
}

const char* komGetClassRegistry()
{
    auto& tState = kom::state();
    const kpr::Lock tLock(tState.mutex);
    std::string tPath;
    static_cast<void>(kom::ownPath(tState, tPath));
    return tState.path.c_str();
}

const char* komGetRegistryProblem() { return kom::registryProblem(); }

KomRegistrar* komSetRegistrar(KomRegistrar* pRegistrar) { return std::exchange(kom::gRegistrar, pRegistrar); }

uint32_t komRegisterDSO(const char* pClassId, unsigned int pFlags, void* pContext)
{
    if (KomRegistrar* tRegistrar = kom::gRegistrar)
        return tRegistrar->registerClass(tRegistrar, pClassId, pFlags, pContext);
    std::string tPath;
    if (auto tRes = kom::findTarget(pClassId, pFlags, pContext, tPath); KFAILED(tRes)) return tRes;
    const char* tModule = static_cast<const KomRegistration*>(pContext)->modulePath;
    if (kom::gBatch) {
        kom::gBatch->add(tPath, pClassId, tModule);
        return 0;
    }
    kom::RegistrationBatch tBatch;
    tBatch.add(tPath, pClassId, tModule);
    return tBatch.commit();
}

uint32_t komUnregisterDSO(const char* pClassId, unsigned int pFlags, void* pContext)
{
    if (KomRegistrar* tRegistrar = kom::gRegistrar)
        return tRegistrar->unregisterClass(tRegistrar, pClassId, pFlags, pContext);
    std::string tPath;
    if (auto tRes = kom::findTarget(pClassId, pFlags, pContext, tPath); KFAILED(tRes)) return tRes;
    const char* tModule = static_cast<const KomRegistration*>(pContext)->modulePath;
    if (kom::gBatch) return kom::gBatch->remove(tPath, pClassId, tModule);
    kom::RegistryFile tRegistry; // without one, no folder is made for its lock
    if (kom::locateRegistry(tPath, tRegistry) == KPR_E_NOT_FOUND) return KOM_E_CLASSNOTREGISTERED;
    return kom::changeRegistry(tPath, [&](kom::ClassFile& pFile) -> uint32_t {
        if (!kom::isEntered(pFile, pClassId, tModule)) return KOM_E_CLASSNOTREGISTERED;
        pFile.classes.erase(pClassId);
        return 0;
    });
}

uint32_t komListClasses(KomClassList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    kom::clearRegistryProblem();
    std::string tPath;
    if (auto tRes = kom::ownPath(tPath); KFAILED(tRes)) return tRes;
    kom::ClassFile tFile;
    if (auto tRes = kom::readClasses(tPath, tFile); KFAILED(tRes)) return tRes;
    kom::RegistryFile tRegistry;
    static_cast<void>(kom::locateRegistry(tPath, tRegistry));
    for (auto& [tId, tEntry] : tFile.classes) {
        // One that says too little is listed as it stands; its classes cannot be loaded.
        const std::string tModule = tEntry.module;
        static_cast<void>(kom::locateModule(tRegistry.path, tModule, tEntry.module));
    }
    *pList = kom::copyClasses(tFile);
    return 0;
}
