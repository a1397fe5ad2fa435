#include <condition_variable>
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
    std::map<std::string, Module> modules K_GUARDED_BY(mutex); // by the path in the registry
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
        awaitEmptied(tLoader, pPath, tLock);
        const auto tFound = tLoader.modules.find(pPath);
        if (tFound == tLoader.modules.end()) return false;
        take(tFound->second);
        return true;
    }
    /// Whether it was new; the module entered before is taken otherwise.
    bool enter(const std::string& pPath, const Module& pModule)
    {
        Loader& tLoader = loader();
        kpr::Lock tLock(tLoader.mutex);
        awaitEmptied(tLoader, pPath, tLock);
        const auto [tEntry, tNew] = tLoader.modules.emplace(pPath, pModule);
        take(tEntry->second);
        return tNew;
    }
    /// Waits while another thread has the module's holders release what they hold. The module may be gone
    /// then.
    static void awaitEmptied(Loader& pLoader, const std::string& pPath, kpr::Lock<kpr::Mutex>& pLock)
        K_REQUIRES(pLoader.mutex)
    {
        for (;;) {
            const auto tFound = pLoader.modules.find(pPath);
            if (tFound == pLoader.modules.end()) return;
            const std::thread::id tEmptier = tFound->second.emptier;
            if (tEmptier == std::thread::id() || tEmptier == std::this_thread::get_id()) return;
            pLoader.emptied.wait(pLock);
        }
    }
    void take(Module& pModule)
    {
        mModule = &pModule;
        ++pModule.users;
    }

    Module* mModule = nullptr; // nodes of a map stay where they are
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
/// its path to pDone. False when there is none.
bool emptyNext(std::set<std::string>& pDone)
{
    Loader& tLoader = loader();
    kpr::Lock tLock(tLoader.mutex);
    for (auto& [tPath, tModule] : tLoader.modules) {
        if (tModule.users != 0 || !tModule.record || !kom::isOnlyHeld(*tModule.record)) continue;
        if (!pDone.insert(tPath).second) continue;
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
    std::erase_if(tLoader.modules, [&](const auto& pEntry) {
        const Module& tModule = pEntry.second;
        if (tModule.users != 0 || !tModule.record || !kom::isEmpty(*tModule.record)) return false;
        tHandles.push_back(tModule.handle);
        return true;
    });
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
    kom::IUnknown* tFace = nullptr;
    if (auto tRes = getFactory(pClassId, kom::IObjectFactory::IID, &tFace, tUse); KFAILED(tRes)) return tRes;
    const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tFace));
    return tFactory->createInstance(nullptr, pIid, pOut);
}

uint32_t komUnloadModules(uint32_t* pUnloaded)
{
    uint32_t tCount = 0;
    std::set<std::string> tDone;
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
