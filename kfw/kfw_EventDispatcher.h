// Delivers events to registered consumers, at once or when the application is idle.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "kfw/IEventDispatcher.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// See IEventDispatcher for the contract.
///
/// A send allocates nothing and copies no name: registrations are found by comparing bytes in place, and the
/// walk over them goes over the live table. Handlers may change that table in any way, because an entry on
/// which a walk stands stays where it is until the walk has left it (Registration).
class EventDispatcher : public kom::Implements<EventDispatcher, fw::IEventDispatcher> {
    friend Implements;

public:
    /// What the dispatcher hands to the application. It may outlive the dispatcher, which then has cleared
    /// the pointer.
    class IdleCallout : public kom::Implements<IdleCallout, fw::IIdleCallout> {
        friend Implements;
        friend EventDispatcher;

    public:
        explicit IdleCallout(EventDispatcher* pDispatcher) : mDispatcher(pDispatcher) {}
        virtual ~IdleCallout() = default;

        /// Drains the queue. E_WRONG_STATE when the dispatcher is gone or not initialised.
        uint32_t onIdle(unsigned int* pAgain) override;

    private:
        kom::RefCount mRefCount;
        EventDispatcher* mDispatcher;
    };

    EventDispatcher();
    virtual ~EventDispatcher();

    uint32_t init(fw::IApplication* pApp) override;
    uint32_t sendEvent(fw::IEvent* pEvent) override;
    uint32_t postEvent(fw::IEvent* pEvent) override;
    uint32_t addConsumer(fw::IEventConsumer* pConsumer) override;
    uint32_t addConsumer(const char* pType, fw::IEventConsumer* pConsumer) override;
    uint32_t removeConsumer(fw::IEventConsumer* pConsumer) override;
    uint32_t removeConsumer(const char* pType, fw::IEventConsumer* pConsumer) override;

private:
    struct Registration {
        kom::Ref<fw::IEventConsumer> consumer;
        /// How many walks stand on the entry. While there are any, removal only marks it: the place in the
        /// table and the consumer that is being called stay, and the last walk to leave erases the entry.
        uint32_t walks = 0;
        bool removed = false;
    };
    /// By the names' bytes, unsigned, the shorter name first; equal names in the order of registration.
    using Consumers = std::multimap<std::string, Registration, std::less<>>;
    class Walk;

    /// Delivers to the registrations of one name until the event is consumed. Failures are logged.
    void deliver(std::string_view pName, fw::IEvent* pEvent);
    /// Drops the registrations of a consumer from pFirst on, for as long as the names are in range.
    template <class TInRange>
    void remove(Consumers::iterator pFirst, fw::IEventConsumer* pConsumer, TInRange pInRange);
    void processQueue();

    kom::RefCount mRefCount;
    bool mInitialized = false;
    kom::Ref<IdleCallout> mIdleCallout;
    kom::Ref<fw::IApplication> mApp;
    std::deque<kom::Ref<fw::IEvent>> mQueue;
    Consumers mConsumers;
    bool mIdleScheduled = false;
};

} // namespace vel::kos::kfw
