#include <condition_variable>
#include <list>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kom/kom_module.h"
#include "kom/kom_registry.h"
#include "kom/kom_registryfile.h"
#include "kom/runtime.h"
#include "kpr/dso.h"
#include "kpr/mutex.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace {

using GetObjectFactory = uint32_t (*)(const char*, const char*, kom::IUnknown**);
using RegisterServer = uint32_t (*)(unsigned int, void*);

/// A module that is open, and its entry points.
struct Module {
    KprDSO handle = 0;
    GetObjectFactory getObjectFactory = nullptr;
    RegisterServer registerServer = nullptr;
    RegisterServer unregisterServer = nullptr;
    const KomModule* record = nullptr; ///< null: kom does not know when it is idle
    uint32_t users = 0;                ///< threads that are just calling it through the loader
    std::thread::id emptier;           ///< the thread that releases its holders; the others wait
};

// Never destroyed: modules stay loaded until the process ends.
struct Loader {
    kpr::Mutex mutex; // not held while a module's own code runs: opening and closing run some as well
    std::list<Module> modules K_GUARDED_BY(mutex);
    std::map<std::string, Module*>
        paths K_GUARDED_BY(mutex); // in the registry, and the module that each led to
    std::condition_variable_any emptied;
};

Loader& loader()
{
    static Loader& tLoader = *new Loader;
    return tLoader;
}

template <class TFunction>
bool lookUp(KprDSO pHandle, const char* pName, TFunction& pFunction)
{
    void* tAddress = nullptr;
    if (KFAILED(kprGetDSOSymbol(pHandle, pName, &tAddress))) return false;
    pFunction = reinterpret_cast<TFunction>(tAddress);
    return true;
}

uint32_t open(const std::string& pPath, Module& pModule)
{
    if (auto tRes = kprOpenDSO(pPath.c_str(), 0, &pModule.handle); KFAILED(tRes)) return tRes;
    uint32_t (*tGetAttributes)(ModuleAttributes*);
    if (lookUp(pModule.handle, "dsoGetAttributes", tGetAttributes) &&
        lookUp(pModule.handle, "dsoGetObjectFactory", pModule.getObjectFactory) &&
        lookUp(pModule.handle, "dsoRegisterServer", pModule.registerServer) &&
        lookUp(pModule.handle, "dsoUnregisterServer", pModule.unregisterServer)) {
        pModule.record = kom::findModule(reinterpret_cast<const void*>(pModule.getObjectFactory));
        return 0;
    }
    kprCloseDSO(pModule.handle);
    return KOM_E_NOT_A_MODULE;
}

/// A module that stays loaded while this lives.
class ModuleUse {
public:
    ModuleUse() = default;
    ~ModuleUse()
    {
        if (!mModule) return;
        const kpr::Lock tLock(loader().mutex);
        --mModule->users;
    }
    ModuleUse(const ModuleUse&) = delete;
    ModuleUse& operator=(const ModuleUse&) = delete;

    uint32_t begin(const std::string& pPath)
    {
        if (find(pPath)) return 0;
        // Two threads may open the module at the same time; the second handle is not needed then.
        Module tModule;
        if (auto tRes = open(pPath, tModule); KFAILED(tRes)) return tRes;
        if (!enter(pPath, tModule)) kprCloseDSO(tModule.handle);
        return 0;
    }
    const Module* operator->() const { return mModule; }

private:
    bool find(const std::string& pPath)
    {
        Loader& tLoader = loader();
        kpr::Lock tLock(tLoader.mutex);
        Module* tFound = awaitModule(tLoader, pPath, nullptr, tLock);
        if (tFound) take(*tFound);
        return tFound != nullptr;
    }
    /// Whether it was new; the module entered before is taken otherwise, also when another path has led to
    /// it.
    bool enter(const std::string& pPath, const Module& pModule)
    {
        Loader& tLoader = loader();
        kpr::Lock tLock(tLoader.mutex);
        Module* tFound = awaitModule(tLoader, pPath, pModule.record, tLock);
        const bool tNew = !tFound;
        if (tNew) tFound = &tLoader.modules.emplace_back(pModule);
        tLoader.paths.emplace(pPath, tFound);
        take(*tFound);
        return tNew;
    }
    /// The module that a path has led to, or that kom has the record of (null: none); null when it is not
    /// loaded. Waits while another thread has the module's holders release what they hold; the module may be
    /// gone then.
    static Module* awaitModule(Loader& pLoader, const std::string& pPath, const KomModule* pRecord,
                               kpr::Lock<kpr::Mutex>& pLock) K_REQUIRES(pLoader.mutex)
    {
        for (;;) {
            Module* tFound = findModule(pLoader, pPath, pRecord);
            if (!tFound) return nullptr;
            const std::thread::id tEmptier = tFound->emptier;
            if (tEmptier == std::thread::id() || tEmptier == std::this_thread::get_id()) return tFound;
            pLoader.emptied.wait(pLock);
        }
    }
    static Module* findModule(Loader& pLoader, const std::string& pPath, const KomModule* pRecord)
        K_REQUIRES(pLoader.mutex)
    {
        if (const auto tPath = pLoader.paths.find(pPath); tPath != pLoader.paths.end()) return tPath->second;
        if (!pRecord) return nullptr;
        for (Module& tModule : pLoader.modules)
            if (tModule.record == pRecord) return &tModule;
        return nullptr;
    }
    void take(Module& pModule)
    {
        mModule = &pModule;
        ++pModule.users;
    }

    Module* mModule = nullptr; // elements of a list stay where they are
};

/// The class's factory; pUse keeps its module for as long as the caller is busy with it.
uint32_t getFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut, ModuleUse& pUse)
{
    std::string tPath;
    if (auto tRes = kom::findClass(pClassId, tPath); KFAILED(tRes)) return tRes;
    if (auto tRes = pUse.begin(tPath); KFAILED(tRes)) return tRes;
    return pUse->getObjectFactory(pClassId, pIid, pOut);
}

/// Calls a module's function that registers or unregisters, and writes what it changed at once.
uint32_t callServer(const char* pPath, RegisterServer Module::*pFunction)
{
    kom::clearRegistryProblem();
    if (!pPath) return E_INVALIDARG;
    std::string tPath;
    if (auto tRes = kpr::readText(tPath, kprGetRealPath, pPath); KFAILED(tRes)) return tRes;
    Module tModule;
    if (auto tRes = open(tPath, tModule); KFAILED(tRes)) return tRes;
    KomRegistration tRegistration = {nullptr, tPath.c_str()};
    kom::RegistrationBatch tBatch;
    const uint32_t tRes = (tModule.*pFunction)(0, &tRegistration);
    kprCloseDSO(tModule.handle);
    // What a module has changed before it failed stays changed.
    const uint32_t tWritten = tBatch.commit();
    return KFAILED(tRes) ? tRes : tWritten;
}

/// Releases the holders of the first module, not in pDone, whose objects only its own holders keep, and adds
/// it to pDone. False when there is none.
bool emptyNext(std::set<const KomModule*>& pDone)
{
    Loader& tLoader = loader();
    kpr::Lock tLock(tLoader.mutex);
    for (Module& tModule : tLoader.modules) {
        if (tModule.users != 0 || !tModule.record || !kom::isOnlyHeld(*tModule.record)) continue;
        if (!pDone.insert(tModule.record).second) continue;
        ++tModule.users;
        tModule.emptier = std::this_thread::get_id();
        tLock.unlock();
        kom::letHoldersGo(*tModule.record);
        tLock.lock();
        tModule.emptier = {};
        --tModule.users;
        tLoader.emptied.notify_all();
        return true;
    }
    return false;
}

/// Takes the modules that have no objects off the loader's hands.
std::vector<KprDSO> takeEmpty()
{
    std::vector<KprDSO> tHandles;
    Loader& tLoader = loader();
    const kpr::Lock tLock(tLoader.mutex);
    for (auto tNext = tLoader.modules.begin(); tNext != tLoader.modules.end();) {
        const auto tModule = tNext++;
        if (tModule->users != 0 || !tModule->record || !kom::isEmpty(*tModule->record)) continue;
        tHandles.push_back(tModule->handle);
        std::erase_if(tLoader.paths, [&](const auto& pPath) { return pPath.second == &*tModule; });
        tLoader.modules.erase(tModule);
    }
    return tHandles;
}

} // namespace

uint32_t komRegisterModule(const char* pPath) { return callServer(pPath, &Module::registerServer); }

uint32_t komUnregisterModule(const char* pPath) { return callServer(pPath, &Module::unregisterServer); }

uint32_t komGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    if (!pOut) return E_INVALIDARG;
    *pOut = nullptr;
    ModuleUse tUse;
    return getFactory(pClassId, pIid, pOut, tUse);
}

uint32_t komCreateInstance(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    if (!pOut) return E_INVALIDARG;
    *pOut = nullptr;
    ModuleUse tUse; // outlives the factory
    kom::IUnknown* tInterface = nullptr;
    if (auto tRes = getFactory(pClassId, kom::IObjectFactory::IID, &tInterface, tUse); KFAILED(tRes))
        return tRes;
    const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
    return tFactory->createInstance(nullptr, pIid, pOut);
}

uint32_t komUnloadModules(uint32_t* pUnloaded)
{
    uint32_t tCount = 0;
    std::set<const KomModule*> tDone;
    std::vector<KprDSO> tHandles;
    do {
        // First the singletons, while all code is there: one may hold another module's last objects, and an
        // object that somebody keeps all the same keeps its module.
        while (emptyNext(tDone)) {
        }
        tHandles = takeEmpty();
        for (const KprDSO tHandle : tHandles)
            kprCloseDSO(tHandle);
        tCount += static_cast<uint32_t>(tHandles.size());
    } while (!tHandles.empty());
    if (pUnloaded) *pUnloaded = tCount;
    return 0;
}
