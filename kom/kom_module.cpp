#include "kom/kom_module.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <list>
#include <new>
#include <string>
#include <utility>

#include "kpr/dso.h"
#include "kpr/mutex.h"
#include "kpr/process.h"
#include "kpr/text.h"

// A record is taken over by a later module but never freed, and leaving takes no lock: a module may go while
// the process ends, when a thread that held one no longer runs.
struct KomModule {
    std::atomic<bool> present = false;
    std::atomic<int64_t> liveObjects = 0; ///< whose counts its code made
    std::atomic<int64_t> newObjects = 0;  ///< that its code made with new
    std::atomic<int64_t> ownedObjects = 0;
    std::atomic<KomHolder*> holders = nullptr;
    std::atomic<bool> watching = false; ///< the end of the process will be seen in time for all holders
};

namespace {

struct Record {
    std::string path; ///< of the module's file
    KomModule module;
};

struct Records {
    kpr::Mutex mutex; // no call of the system's loader while it is held
    std::list<Record> modules K_GUARDED_BY(mutex);
};

// Never destroyed: modules may count until the process ends.
Records& records()
{
    static Records& tRecords = *new Records;
    return tRecords;
}

std::atomic<int64_t> gLiveObjects{0};

/// What stands before an object's memory.
struct alignas(std::max_align_t) ObjectHead {
    KomModule* module;
};

/// The larger of two counts, since each misses some objects: the first those whose base class lies in another
/// library, the second those not made with new.
int64_t countObjects(const KomModule& pModule)
{
    return std::max(pModule.liveObjects.load(), pModule.newObjects.load());
}

std::string modulePath(const void* pAddress)
{
    std::string tPath;
    return KFAILED(kpr::readText(tPath, kprGetModulePath, pAddress)) ? std::string() : tPath;
}

} // namespace

KomModule* komEnterModule(const void* pAddress)
{
    std::string tPath = modulePath(pAddress);
    Records& tRecords = records();
    const kpr::Lock tLock(tRecords.mutex);
    auto tRecord = std::find_if(tRecords.modules.begin(), tRecords.modules.end(),
                                [](const Record& pRecord) { return !pRecord.module.present; });
    if (tRecord == tRecords.modules.end()) tRecord = tRecords.modules.emplace(tRecord);
    tRecord->path = std::move(tPath);
    tRecord->module.present = true;
    return &tRecord->module;
}

void komLeaveModule(KomModule* pModule)
{
    pModule->holders = nullptr;
    pModule->liveObjects = 0;
    pModule->newObjects = 0;
    pModule->ownedObjects = 0;
    pModule->present = false;
}

void komCountObject(KomModule* pModule, int32_t pChange)
{
    gLiveObjects.fetch_add(pChange, std::memory_order_relaxed);
    if (pModule) pModule->liveObjects.fetch_add(pChange);
}

void* komNewObject(KomModule* pModule, size_t pSize)
{
    if (pSize > SIZE_MAX - sizeof(ObjectHead)) throw std::bad_alloc();
    auto* tHead = static_cast<ObjectHead*>(::operator new(sizeof(ObjectHead) + pSize));
    tHead->module = pModule;
    if (pModule) ++pModule->newObjects;
    return tHead + 1;
}

void komDeleteObject(void* pObject)
{
    if (!pObject) return;
    ObjectHead* tHead = static_cast<ObjectHead*>(pObject) - 1;
    KomModule* tModule = tHead->module;
    ::operator delete(tHead);
    if (tModule) --tModule->newObjects;
}

void komCountOwned(KomModule* pModule, int32_t pChange)
{
    if (pModule) pModule->ownedObjects += pChange;
}

void komAddHolder(KomModule* pModule, KomHolder* pHolder)
{
    pHolder->module = pModule;
    if (!pModule) return;
    pModule->watching = false;
    pHolder->next = pModule->holders.load();
    while (!pModule->holders.compare_exchange_weak(pHolder->next, pHolder))
        ;
}

void komFillHolder(KomHolder* pHolder, kom::IUnknown* pObject)
{
    __atomic_store_n(&pHolder->object, pObject, __ATOMIC_SEQ_CST);
    if (pObject && !(pHolder->module && pHolder->module->watching.exchange(true))) kprWatchProcessEnd();
}

uint32_t komIsProcessEnding(void) { return kprIsProcessEnding(); }

namespace kom {

uint64_t countLiveObjects() noexcept
{
    return static_cast<uint64_t>(gLiveObjects.load(std::memory_order_relaxed));
}

KomModule* findModule(const void* pAddress)
{
    const std::string tWanted = modulePath(pAddress);
    if (tWanted.empty()) return nullptr;
    Records& tRecords = records();
    const kpr::Lock tLock(tRecords.mutex);
    for (Record& tRecord : tRecords.modules)
        if (tRecord.module.present && tRecord.path == tWanted) return &tRecord.module;
    return nullptr;
}

bool isEmpty(const KomModule& pModule) noexcept { return countObjects(pModule) == 0; }

bool isOnlyHeld(const KomModule& pModule) noexcept
{
    // Only when every live object is a held one or owned, no factory among them, can nobody change a holder
    // meanwhile, and the objects may be looked at. Others may still call an owned object, at this moment too:
    // such a call has a reference to the owner, which lives until the call gives it back even if its holder
    // lets go.
    const int64_t tLive = countObjects(pModule) - pModule.ownedObjects;
    int64_t tHeld = 0;
    for (KomHolder* tHolder = pModule.holders.load(); tHolder; tHolder = tHolder->next)
        if (__atomic_load_n(&tHolder->object, __ATOMIC_SEQ_CST)) ++tHeld;
    if (tHeld == 0 || tLive != tHeld) return false;
    for (KomHolder* tHolder = pModule.holders.load(); tHolder; tHolder = tHolder->next) {
        IUnknown* tObject = __atomic_load_n(&tHolder->object, __ATOMIC_SEQ_CST);
        if (!tObject) continue;
        tObject->addRef();
        if (tObject->release() != 1) return false;
    }
    return true;
}

void letHoldersGo(const KomModule& pModule)
{
    // The one that was constructed last comes first.
    for (KomHolder* tHolder = pModule.holders.load(); tHolder; tHolder = tHolder->next)
        tHolder->letGo(tHolder);
}

} // namespace kom
