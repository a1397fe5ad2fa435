#include "kfw/events/kfw_EventDispatcher.h"

#include <bit>
#include <utility>

#include "kutil/log.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

constexpr char DOMAIN_NAME[] = "kos:kfw";

std::string_view nameOf(const char* pType) { return pType ? pType : ""; }

uint64_t addByte(uint64_t pSum, char pByte) { return std::rotl(pSum, 7) ^ static_cast<unsigned char>(pByte); }

} // namespace

std::size_t EventDispatcher::NameHash::operator()(std::string_view pName) const noexcept
{
    uint64_t tEven = 0, tOdd = 0;
    std::size_t i = 0;
    for (; i + 1 < pName.size(); i += 2) {
        tEven = addByte(tEven, pName[i]);
        tOdd = addByte(tOdd, pName[i + 1]);
    }
    if (i < pName.size()) tEven = addByte(tEven, pName[i]);
    const uint64_t tHash = tEven * 0x9E3779B97F4A7C15 + tOdd * 0xD6E8FEB86659FD93; // odd, of mixed bits
    return tHash ^ (tHash >> 32);
}

/// Keeps the dispatcher during a send: a handler may give the last outside reference back. A plain guard,
/// since whoever sends has a reference, which only a handler can have given back meanwhile.
class EventDispatcher::SendGuard {
public:
    explicit SendGuard(EventDispatcher& pDispatcher)
        : mDispatcher(pDispatcher),
          mOutermost(pDispatcher.mPhase.load(std::memory_order_relaxed) == PHASE_IDLE)
    {
        if (mOutermost) mDispatcher.mPhase.store(PHASE_DELIVERING, std::memory_order_relaxed);
    }
    SendGuard(const SendGuard&) = delete;
    SendGuard& operator=(const SendGuard&) = delete;
    ~SendGuard()
    {
        if (!mOutermost) return;
        if (mDispatcher.mPhase.load(std::memory_order_acquire) == PHASE_DELETE_PENDING)
            delete &mDispatcher;
        else
            mDispatcher.mPhase.store(PHASE_IDLE, std::memory_order_relaxed);
    }

private:
    EventDispatcher& mDispatcher;
    const bool mOutermost;
};

/// Keeps the dispatcher during an idle run, which has no reference to it: another thread may give the last
/// one back at any moment, so that the phase is changed and looked at in one step.
class EventDispatcher::IdleGuard {
public:
    explicit IdleGuard(EventDispatcher& pDispatcher)
        : mDispatcher(pDispatcher),
          mOutermost(pDispatcher.mPhase.load(std::memory_order_relaxed) == PHASE_IDLE)
    {
        if (mOutermost) mDispatcher.mPhase.store(PHASE_DELIVERING);
    }
    IdleGuard(const IdleGuard&) = delete;
    IdleGuard& operator=(const IdleGuard&) = delete;
    ~IdleGuard()
    {
        if (mOutermost && mDispatcher.mPhase.exchange(PHASE_IDLE) == PHASE_DELETE_PENDING)
            delete &mDispatcher;
    }

private:
    EventDispatcher& mDispatcher;
    const bool mOutermost;
};

/// Goes over the registrations of one name. Whoever changes them tells the walk (changed, removed), so that
/// it reaches what was added meanwhile and keeps its place, and the consumer it is serving, when some go.
class EventDispatcher::Walk {
public:
    Walk(EventDispatcher& pDispatcher, Consumers::iterator pEntry)
        : mDispatcher(pDispatcher), mEntry(pEntry), mOuter(pDispatcher.mWalk)
    {
        pDispatcher.mWalk = this;
        changed();
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk()
    {
        mDispatcher.mWalk = mOuter;
        if (mEntry->second.empty()) mDispatcher.dropIfEmpty(mEntry);
    }

    /// The consumer to serve next, null at the end.
    fw::IEventConsumer* next()
    {
        mServesListed = false;
        if (mKept) mKept.reset(); // this may call back, too
        if (mNext >= mSize) return nullptr;
        mServesListed = true;
        return mFirst[mNext++].get();
    }

    bool isIn(const Registrations& pList) const { return &mEntry->second == &pList; }
    Walk* outer() const { return mOuter; }
    /// The walk's list has changed.
    void changed()
    {
        mFirst = mEntry->second.data();
        mSize = mEntry->second.size();
    }
    /// The registration at an index of the walk's list goes: what is next moves up with the others. The one
    /// that is being served has to outlive its handler.
    void removed(size_t pIndex, const kom::Ref<fw::IEventConsumer>& pConsumer)
    {
        if (pIndex >= mNext) return;
        --mNext;
        if (pIndex != mNext || !mServesListed) return;
        mKept = pConsumer;
        mServesListed = false;
    }

private:
    EventDispatcher& mDispatcher;
    const Consumers::iterator mEntry;
    Walk* const mOuter;
    const kom::Ref<fw::IEventConsumer>* mFirst; // of the list, as long as it is not changed
    size_t mSize;
    size_t mNext = 0;
    bool mServesListed = false;         ///< the registration before mNext is the one being served
    kom::Ref<fw::IEventConsumer> mKept; ///< the one being served, once it is no longer registered
};

EventDispatcher::EventDispatcher() : mIdleCallout(kom::retain(new IdleCallout(this))) {}

EventDispatcher::~EventDispatcher()
{
    mIdleCallout->mDispatcher = nullptr;
    // Consumers and events that go with the dispatcher may still call it, and may add others: each is taken
    // out before it is given back, until nothing is left. A reference of our own keeps theirs from destroying
    // the dispatcher a second time.
    mRefCount.restart();
    mRefCount.increment();
    while (!mConsumers.empty() || !mQueue.empty()) {
        while (!mConsumers.empty()) {
            const auto tConsumers = std::move(mConsumers.begin()->second);
            mIndex.erase(mConsumers.begin()->first);
            mConsumers.erase(mConsumers.begin());
        }
        while (!mQueue.empty()) {
            const auto tEvent = std::move(mQueue.front());
            mQueue.pop_front();
        }
    }
    mInitialized = false; // the application's end finds nothing to call
    mApp.reset();
    mIdleCallout.reset();
}

uint32_t EventDispatcher::release()
{
    const uint32_t tCount = mRefCount.decrement();
    if (tCount == 0 && mPhase.exchange(PHASE_DELETE_PENDING) == PHASE_IDLE) delete this;
    return tCount;
}

uint32_t EventDispatcher::init(fw::IApplication* pApp)
{
    if (!pApp) return E_INVALIDARG;
    if (mInitialized) return E_WRONG_STATE;
    mApp = kom::retain(pApp);
    mInitialized = true;
    return 0;
}

uint32_t EventDispatcher::addConsumer(fw::IEventConsumer* pConsumer)
{
    return addConsumer(nullptr, pConsumer);
}

uint32_t EventDispatcher::addConsumer(const char* pType, fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    Registrations& tList = listOf(nameOf(pType));
    tList.push_back(kom::retain(pConsumer));
    tellWalks(tList);
    return 0;
}

uint32_t EventDispatcher::removeConsumer(fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    kom::Ref<fw::IEventConsumer> tLast;
    for (auto tEntry = mConsumers.begin(); tEntry != mConsumers.end(); tEntry = dropIfEmpty(tEntry))
        removeFrom(tEntry->second, pConsumer, tLast);
    return 0;
}

uint32_t EventDispatcher::removeConsumer(const char* pType, fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    const auto tEntry = find(nameOf(pType));
    if (tEntry == mConsumers.end()) return 0;
    kom::Ref<fw::IEventConsumer> tLast;
    removeFrom(tEntry->second, pConsumer, tLast);
    dropIfEmpty(tEntry);
    return 0;
}

// The reference in pLast outlives the caller's loop: the end of the consumer, which may call back, finds the
// removal done.
void EventDispatcher::removeFrom(Registrations& pList, fw::IEventConsumer* pConsumer,
                                 kom::Ref<fw::IEventConsumer>& pLast)
{
    size_t tKept = 0;
    for (auto& tConsumer : pList) {
        if (tConsumer.get() != pConsumer) {
            std::swap(pList[tKept++], tConsumer);
            continue;
        }
        pLast = std::move(tConsumer);
        for (Walk* tWalk = mWalk; tWalk; tWalk = tWalk->outer())
            if (tWalk->isIn(pList)) tWalk->removed(tKept, pLast);
    }
    pList.resize(tKept);
    tellWalks(pList);
}

void EventDispatcher::tellWalks(const Registrations& pList)
{
    for (Walk* tWalk = mWalk; tWalk; tWalk = tWalk->outer())
        if (tWalk->isIn(pList)) tWalk->changed();
}

EventDispatcher::Consumers::iterator EventDispatcher::dropIfEmpty(Consumers::iterator pEntry)
{
    bool tNeeded = !pEntry->second.empty();
    for (Walk* tWalk = mWalk; tWalk && !tNeeded; tWalk = tWalk->outer())
        tNeeded = tWalk->isIn(pEntry->second);
    if (tNeeded) return std::next(pEntry);
    mIndex.erase(pEntry->first);
    return mConsumers.erase(pEntry);
}

EventDispatcher::Consumers::iterator EventDispatcher::findForAll()
{
    return !mConsumers.empty() && mConsumers.begin()->first.empty() ? mConsumers.begin() : mConsumers.end();
}

EventDispatcher::Consumers::iterator EventDispatcher::find(std::string_view pName)
{
    const auto tFound = mIndex.find(pName);
    return tFound == mIndex.end() ? mConsumers.end() : tFound->second;
}

EventDispatcher::Registrations& EventDispatcher::listOf(std::string_view pName)
{
    if (const auto tEntry = find(pName); tEntry != mConsumers.end()) return tEntry->second;
    const auto tEntry = mConsumers.emplace(pName, Registrations()).first;
    mIndex.emplace(tEntry->first, tEntry);
    return tEntry->second;
}

uint32_t EventDispatcher::sendEvent(fw::IEvent* pEvent)
{
    if (!pEvent) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    const SendGuard tGuard(*this);
    if (const auto tForAll = findForAll(); tForAll != mConsumers.end()) deliver(tForAll, pEvent);
    kom::HeapString tType;
    if (auto tRes = pEvent->getType(tType.out()); KFAILED(tRes)) {
        logUnknownType(tRes);
        return E_FAIL;
    }
    if (const auto tEntry = find(tType.c_str()); tEntry != mConsumers.end()) deliver(tEntry, pEvent);
    return 0;
}

void EventDispatcher::deliver(Consumers::iterator pEntry, fw::IEvent* pEvent)
{
    Walk tWalk(*this, pEntry);
    while (fw::IEventConsumer* tConsumer = tWalk.next()) {
        const uint32_t tConsumed = pEvent->isConsumed();
        if (KFAILED(tConsumed)) {
            logUnknownState(tConsumed);
            continue;
        }
        if (tConsumed == 0) return;
        if (auto tRes = tConsumer->handleEvent(pEvent); KFAILED(tRes)) logFailedDelivery(pEntry->first, tRes);
    }
}

void EventDispatcher::logUnknownType(uint32_t pCode)
{
    kDebug(mApp.get(), DOMAIN_NAME,
           message("Event dispatcher failed to get event type: %1", komStrError(pCode)));
}

void EventDispatcher::logUnknownState(uint32_t pCode)
{
    kDebug(mApp.get(), DOMAIN_NAME,
           message("Event dispatcher got an error result from isConsumed(): %1", komStrError(pCode)));
}

void EventDispatcher::logFailedDelivery(const std::string& pName, uint32_t pCode)
{
    kDebug(mApp.get(), DOMAIN_NAME,
           message("Event dispatcher failed to deliver event of type %1: %2", pName.empty() ? "ANY" : pName,
                   komStrError(pCode)));
}

uint32_t EventDispatcher::postEvent(fw::IEvent* pEvent)
{
    if (!pEvent) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    mQueue.push_back(kom::retain(pEvent));
    if (!mIdleScheduled) {
        mIdleScheduled = true;
        mApp->addIdleCallout(mIdleCallout.get());
    }
    return 0;
}

void EventDispatcher::processQueue()
{
    const IdleGuard tGuard(*this);
    while (!mQueue.empty()) {
        const auto tEvent = std::move(mQueue.front());
        mQueue.pop_front();
        sendEvent(tEvent.get());
    }
    mIdleScheduled = false;
}

uint32_t EventDispatcher::IdleCallout::onIdle(unsigned int* pAgain)
{
    if (!pAgain) return E_INVALIDARG;
    if (!mDispatcher) {
        *pAgain = 0;
        return E_WRONG_STATE;
    }
    if (!mDispatcher->mInitialized) return E_WRONG_STATE;
    mDispatcher->processQueue();
    *pAgain = 0;
    return 0;
}

} // namespace vel::kos::kfw
