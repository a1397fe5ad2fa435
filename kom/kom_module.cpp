#include "kom_module.h"

#include <atomic>
#include <string>

#include "kom_path.h"
#include "kpr/dso.h"

// Records are taken over by later modules but never freed, so that nobody has to lock: a module may go while
// the process ends, when a thread that held a lock no longer runs.
struct KomModule {
    std::atomic<const void*> address; // an address in the module; null when the record is free
    std::atomic<int64_t> liveObjects;
    std::atomic<KomHolder*> holders;
    KomModule* next;
};

namespace {

std::atomic<KomModule*> gModules{nullptr};
std::atomic<int64_t> gLiveObjects{0};

template <class T>
void push(std::atomic<T*>& pList, T* pItem)
{
    pItem->next = pList.load();
    while (!pList.compare_exchange_weak(pItem->next, pItem))
        ;
}

std::string modulePath(const void* pAddress)
{
    std::string tPath;
    return KFAILED(kom::readText(tPath, kprGetModulePath, pAddress)) ? std::string() : tPath;
}

} // namespace

KomModule* komEnterModule(const void* pAddress)
{
    for (KomModule* tModule = gModules.load(); tModule; tModule = tModule->next) {
        const void* tFree = nullptr;
        if (tModule->address.compare_exchange_strong(tFree, pAddress)) return tModule;
    }
    auto* tModule = new KomModule{pAddress, 0, nullptr, nullptr};
    push(gModules, tModule);
    return tModule;
}

void komLeaveModule(KomModule* pModule)
{
    pModule->holders = nullptr;
    pModule->liveObjects = 0;
    pModule->address = nullptr;
}

void komCountObject(KomModule* pModule, int32_t pChange)
{
    gLiveObjects.fetch_add(pChange, std::memory_order_relaxed);
    if (pModule) pModule->liveObjects.fetch_add(pChange);
}

void komAddHolder(KomModule* pModule, KomHolder* pHolder)
{
    if (pModule) push(pModule->holders, pHolder);
}

namespace kom {

uint64_t countLiveObjects() noexcept
{
    return static_cast<uint64_t>(gLiveObjects.load(std::memory_order_relaxed));
}

KomModule* findModule(const void* pAddress)
{
    const std::string tWanted = modulePath(pAddress);
    if (tWanted.empty()) return nullptr;
    for (KomModule* tModule = gModules.load(); tModule; tModule = tModule->next) {
        const void* tAddress = tModule->address.load();
        if (tAddress && modulePath(tAddress) == tWanted) return tModule;
    }
    return nullptr;
}

bool isIdle(const KomModule& pModule) noexcept
{
    // Only when every live object is a held one, no factory among them, can nobody change a holder meanwhile,
    // and the objects may be looked at.
    const int64_t tLive = pModule.liveObjects.load();
    int64_t tHeld = 0;
    for (KomHolder* tHolder = pModule.holders.load(); tHolder; tHolder = tHolder->next)
        if (__atomic_load_n(&tHolder->object, __ATOMIC_SEQ_CST)) ++tHeld;
    if (tLive != tHeld) return false;
    for (KomHolder* tHolder = pModule.holders.load(); tHolder; tHolder = tHolder->next) {
        IUnknown* tObject = __atomic_load_n(&tHolder->object, __ATOMIC_SEQ_CST);
        if (!tObject) continue;
        tObject->addRef();
        if (tObject->release() != 1) return false;
    }
    return true;
}

} // namespace kom
