#include "kfw/events/kfw_EventDispatcher.h"

#include <utility>

#include "kfw/kfw_LogDomain.h"
#include "kutil/log.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

std::string_view nameOf(const char* pType) { return pType ? pType : ""; }

} // namespace

/// Keeps the dispatcher during a send: a handler may give the last outside reference back. A plain guard,
/// since whoever sends has a reference, an idle run too, which only a handler can have given back meanwhile.
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

EventDispatcher::EventDispatcher() : mIdleCallout(kom::retain(new IdleCallout(this))) {}

EventDispatcher::~EventDispatcher()
{
    mIdleCallout->mDispatcher.clear();
    // Consumers and events that go with the dispatcher may still call it, and may add others: each is taken
    // out before it is given back, until nothing is left. A reference of our own keeps theirs from destroying
    // the dispatcher a second time.
    mRefCount.restart();
    mRefCount.increment();
    while (!mConsumers.empty() || !mQueue.empty()) {
        mConsumers.clear();
        while (!mQueue.empty()) {
            const auto tEvent = std::move(mQueue.front());
            mQueue.pop_front();
        }
    }
    mInitialized = false; // the application's end finds nothing to call
    mApp.reset();
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
    mConsumers.add(nameOf(pType), pConsumer);
    return 0;
}

uint32_t EventDispatcher::removeConsumer(fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    mConsumers.remove(pConsumer);
    return 0;
}

uint32_t EventDispatcher::removeConsumer(const char* pType, fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    mConsumers.remove(nameOf(pType), pConsumer);
    return 0;
}

uint32_t EventDispatcher::sendEvent(fw::IEvent* pEvent)
{
    if (!pEvent) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    const SendGuard tGuard(*this);
    if (auto* tForAll = mConsumers.findForAll()) deliver(*tForAll, pEvent);
    kom::HeapString tType;
    if (auto tRes = pEvent->getType(tType.out()); KFAILED(tRes)) {
        logUnknownType(tRes);
        return E_FAIL;
    }
    if (auto* tList = mConsumers.find(tType.c_str())) deliver(*tList, pEvent);
    return 0;
}

void EventDispatcher::deliver(EventConsumerTable::List& pList, fw::IEvent* pEvent)
{
    EventConsumerTable::Iteration tIteration(mConsumers, pList);
    while (fw::IEventConsumer* tConsumer = tIteration.next()) {
        const uint32_t tConsumed = pEvent->isConsumed();
        if (KFAILED(tConsumed)) {
            logUnknownState(tConsumed);
            continue;
        }
        if (tConsumed == 0) return;
        if (auto tRes = tConsumer->handleEvent(pEvent); KFAILED(tRes))
            logFailedDelivery(tIteration.name(), tRes);
    }
}

void EventDispatcher::logUnknownType(uint32_t pCode)
{
    kDebug(mApp.get(), LOG_DOMAIN,
           message("Event dispatcher failed to get event type: %1", komStrError(pCode)));
}

void EventDispatcher::logUnknownState(uint32_t pCode)
{
    kDebug(mApp.get(), LOG_DOMAIN,
           message("Event dispatcher got an error result from isConsumed(): %1", komStrError(pCode)));
}

void EventDispatcher::logFailedDelivery(const std::string& pName, uint32_t pCode)
{
    kDebug(mApp.get(), LOG_DOMAIN,
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
    const auto tDispatcher = mDispatcher.get();
    if (!tDispatcher) {
        *pAgain = 0;
        return E_WRONG_STATE;
    }
    if (!tDispatcher->mInitialized) return E_WRONG_STATE;
    tDispatcher->processQueue();
    *pAgain = 0;
    return 0;
}

} // namespace vel::kos::kfw
