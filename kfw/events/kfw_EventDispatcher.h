// Delivers events to registered consumers, at once or when the application is idle.
#pragma once

#include <atomic>
#include <deque>
#include <string>

#include "kfw/IEventDispatcher.h"
#include "kfw/events/kfw_EventConsumerTable.h"
#include "kom/backpointer.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// See IEventDispatcher for the contract.
///
/// A send allocates nothing and copies no name: registrations are found by comparing bytes in place, and
/// delivery iterates over the live table, which handlers may change in any way (EventConsumerTable).
class EventDispatcher final : public kom::Implements<EventDispatcher, fw::IEventDispatcher> {
    friend Implements;

public:
    /// What the dispatcher hands to the application. It may outlive the dispatcher, and be called while
    /// another thread gives the dispatcher's last reference back; an idle run that has begun keeps the
    /// dispatcher.
    class IdleCallout : public kom::Implements<IdleCallout, fw::IIdleCallout> {
        friend Implements;
        friend EventDispatcher;

    public:
        explicit IdleCallout(EventDispatcher* pDispatcher) : mDispatcher(pDispatcher) {}
        virtual ~IdleCallout() = default;

        /// Delivers the queued events and sets *pAgain to 0. Returns E_INVALIDARG for a null pAgain,
        /// E_WRONG_STATE when nobody has the dispatcher any more (*pAgain is 0) or it is not initialised
        /// (*pAgain is untouched).
        uint32_t onIdle(unsigned int* pAgain) override;

    private:
        kom::RefCount mRefCount;
        kom::BackPointer<EventDispatcher> mDispatcher;
    };

    EventDispatcher();
    virtual ~EventDispatcher();

    /// Returns the new count. At 0 the object is deleted, during a delivery once that is done.
    uint32_t release() override;
    uint32_t init(fw::IApplication* pApp) override;
    uint32_t sendEvent(fw::IEvent* pEvent) override;
    uint32_t postEvent(fw::IEvent* pEvent) override;
    uint32_t addConsumer(fw::IEventConsumer* pConsumer) override;
    uint32_t addConsumer(const char* pType, fw::IEventConsumer* pConsumer) override;
    uint32_t removeConsumer(fw::IEventConsumer* pConsumer) override;
    uint32_t removeConsumer(const char* pType, fw::IEventConsumer* pConsumer) override;

private:
    class SendGuard;
    /// What the release of the last reference has to do.
    enum Phase : uint8_t {
        PHASE_IDLE,          ///< delete the object
        PHASE_DELIVERING,    ///< leave it to the delivery in progress, and ask for the object's deletion
        PHASE_DELETE_PENDING ///< nothing: the object is being deleted, or will be once the delivery is done
    };
    /// Delivers to the registrations of one name until the event is consumed. Failures are logged.
    void deliver(EventConsumerTable::List& pList, fw::IEvent* pEvent);
    // Kept out of their callers, which are the quicker for it.
    [[gnu::cold]] void logUnknownType(uint32_t pCode);
    [[gnu::cold]] void logUnknownState(uint32_t pCode);
    [[gnu::cold]] void logFailedDelivery(const std::string& pName, uint32_t pCode);
    /// Delivers what is queued, and what is posted meanwhile.
    void processQueue();

    kom::RefCount mRefCount;
    bool mInitialized = false;
    kom::Ref<IdleCallout> mIdleCallout;
    kom::Ref<fw::IApplication> mApp;
    std::deque<kom::Ref<fw::IEvent>> mQueue;
    EventConsumerTable mConsumers; ///< the name "" stands for all types
    bool mIdleScheduled = false;
    std::atomic<Phase> mPhase = PHASE_IDLE;
};

} // namespace vel::kos::kfw
