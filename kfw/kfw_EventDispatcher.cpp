#include "kfw_EventDispatcher.h"

#include <utility>

#include "kutil/log.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

constexpr char DOMAIN_NAME[] = "kos:kfw";

std::string_view nameOf(const char* pType) { return pType ? pType : ""; }

} // namespace

/// Goes over the registrations of one name, whatever becomes of the table meanwhile: the entry it stands on
/// is held in place, and the next one is located from it only when it moves on.
class EventDispatcher::Walk {
public:
    Walk(Consumers& pConsumers, std::string_view pName) : mConsumers(pConsumers), mName(pName)
    {
        const auto tFirst = mConsumers.lower_bound(pName);
        if (isOfName(tFirst)) stand(tFirst);
        if (mStanding && mCurrent->second.removed) next();
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk()
    {
        if (mStanding) leave(mCurrent);
    }

    bool atEnd() const { return !mStanding; }
    fw::IEventConsumer* consumer() const { return mCurrent->second.consumer.get(); }

    /// Moves on, over entries that are removed but still held by other walks.
    void next()
    {
        do {
            const auto tLeft = mCurrent;
            const auto tNext = std::next(tLeft);
            mStanding = false;
            // The new place is taken before the old one is left: leaving may destroy a consumer, which may
            // in turn change the table.
            if (isOfName(tNext)) stand(tNext);
            leave(tLeft);
        } while (mStanding && mCurrent->second.removed);
    }

private:
    bool isOfName(Consumers::iterator pEntry) const
    {
        return pEntry != mConsumers.end() && pEntry->first == mName;
    }
    void stand(Consumers::iterator pEntry)
    {
        mCurrent = pEntry;
        mStanding = true;
        ++pEntry->second.walks;
    }
    void leave(Consumers::iterator pEntry)
    {
        if (--pEntry->second.walks > 0 || !pEntry->second.removed) return;
        const auto tConsumer = std::move(pEntry->second.consumer); // given back after the entry is gone
        mConsumers.erase(pEntry);
    }

    Consumers& mConsumers;
    std::string_view mName;
    Consumers::iterator mCurrent;
    bool mStanding = false;
};

EventDispatcher::EventDispatcher() : mIdleCallout(kom::retain(new IdleCallout(this))) {}

EventDispatcher::~EventDispatcher()
{
    mIdleCallout->mDispatcher = nullptr;
    // Consumers and events that go with the dispatcher may still call it: each is taken out before it is
    // given back, and a reference of our own keeps theirs from destroying the dispatcher a second time.
    mRefCount.increment();
    while (!mConsumers.empty())
        mConsumers.extract(mConsumers.begin());
    while (!mQueue.empty()) {
        const auto tEvent = std::move(mQueue.front());
        mQueue.pop_front();
    }
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
    mConsumers.emplace(nameOf(pType), Registration{kom::retain(pConsumer)});
    return 0;
}

uint32_t EventDispatcher::removeConsumer(fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    remove(mConsumers.begin(), pConsumer, [](std::string_view) { return true; });
    return 0;
}

uint32_t EventDispatcher::removeConsumer(const char* pType, fw::IEventConsumer* pConsumer)
{
    if (!pConsumer) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    const std::string_view tName = nameOf(pType);
    remove(mConsumers.lower_bound(tName), pConsumer,
           [tName](std::string_view pOther) { return pOther == tName; });
    return 0;
}

template <class TInRange>
void EventDispatcher::remove(Consumers::iterator pFirst, fw::IEventConsumer* pConsumer, TInRange pInRange)
{
    // One reference outlives the loop, so that the consumer's end, which may call back, finds it done.
    kom::Ref<fw::IEventConsumer> tLast;
    for (auto tEntry = pFirst; tEntry != mConsumers.end() && pInRange(tEntry->first);) {
        const auto tCurrent = tEntry++;
        Registration& tRegistration = tCurrent->second;
        if (tRegistration.consumer.get() != pConsumer) continue;
        if (tRegistration.walks > 0) {
            tRegistration.removed = true;
        } else {
            tLast = std::move(tRegistration.consumer);
            mConsumers.erase(tCurrent);
        }
    }
}

uint32_t EventDispatcher::sendEvent(fw::IEvent* pEvent)
{
    if (!pEvent) return E_INVALIDARG;
    if (!mInitialized) return E_WRONG_STATE;
    const auto tSelf = kom::retain(this); // a handler may give the last outside reference back
    deliver("", pEvent);
    kom::HeapString tType;
    if (auto tRes = pEvent->getType(tType.out()); KFAILED(tRes)) {
        kDebug(mApp.get(), DOMAIN_NAME,
               message("Event dispatcher failed to get event type: %1", komStrError(tRes)));
        return E_FAIL;
    }
    deliver(tType.c_str(), pEvent);
    return 0;
}

void EventDispatcher::deliver(std::string_view pName, fw::IEvent* pEvent)
{
    for (Walk tWalk(mConsumers, pName); !tWalk.atEnd(); tWalk.next()) {
        const uint32_t tConsumed = pEvent->isConsumed();
        if (KFAILED(tConsumed)) {
            kDebug(mApp.get(), DOMAIN_NAME,
                   message("Event dispatcher got an error result from isConsumed(): %1",
                           komStrError(tConsumed)));
            continue;
        }
        if (tConsumed == 0) return;
        if (auto tRes = tWalk.consumer()->handleEvent(pEvent); KFAILED(tRes))
            kDebug(mApp.get(), DOMAIN_NAME,
                   message("Event dispatcher failed to deliver event of type %1: %2",
                           pName.empty() ? "ANY" : pName, komStrError(tRes)));
    }
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
    const auto tSelf = kom::retain(this); // as in sendEvent, for the whole run
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
