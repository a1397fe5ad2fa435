// Delivers events to registered consumers, at once or when the application is idle.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "kfw/IEventDispatcher.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// See IEventDispatcher for the contract.
///
/// A send allocates nothing and copies no name: registrations are found by comparing bytes in place, and the
/// walk over them goes over the live table. Handlers may change that table in any way: each walk is known to
/// the dispatcher, and a removal moves the walks that it concerns (Walk).
class EventDispatcher final : public kom::Implements<EventDispatcher, fw::IEventDispatcher> {
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

    /// As everywhere, but while events are delivered the object's end waits for that to be done.
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
    class IdleGuard;
    class Walk;
    /// What the release of the last reference has to do.
    enum Phase : uint8_t {
        PHASE_IDLE,          ///< delete the object
        PHASE_DELIVERING,    ///< leave it to the delivery in progress, and ask for the object's deletion
        PHASE_DELETE_PENDING ///< nothing: the object is being deleted, or will be once the delivery is done
    };
    using Registrations = std::vector<kom::Ref<fw::IEventConsumer>>;
    /// By the names' bytes, unsigned, the shorter name first.
    struct NameOrder {
        using is_transparent = void;
        bool operator()(std::string_view pA, std::string_view pB) const
        {
            const int tOrder = std::memcmp(pA.data(), pB.data(), std::min(pA.size(), pB.size()));
            return tOrder < 0 || (tOrder == 0 && pA.size() < pB.size());
        }
    };
    /// Two sums over the bytes of a name, each over every second one, so that the processor makes them side
    /// by side. Byte by byte, because the event has only just written the name: a wider read of what several
    /// writes made has to wait until they have reached the cache.
    struct NameHash {
        using is_avalanching = void;
        std::size_t operator()(std::string_view pName) const noexcept;
    };
    /// A multimap whose equal names share one list, in the order of registration. A list is empty only while
    /// a walk is in it.
    using Consumers = std::map<std::string, Registrations, NameOrder>;

    Consumers::iterator find(std::string_view pName);
    /// The same for the name that stands for all types: asked for with every event, it can only be the first.
    Consumers::iterator findForAll();
    /// The list of a name, made when there is none.
    Registrations& listOf(std::string_view pName);
    /// Delivers to the registrations of one name until the event is consumed. Failures are logged.
    void deliver(Consumers::iterator pEntry, fw::IEvent* pEvent);
    // Apart from those that call them, which are the quicker for it.
    [[gnu::cold]] void logUnknownType(uint32_t pCode);
    [[gnu::cold]] void logUnknownState(uint32_t pCode);
    [[gnu::cold]] void logFailedDelivery(const std::string& pName, uint32_t pCode);
    /// Drops the registrations of a consumer from one list. pLast gets a reference to it when there were any.
    void removeFrom(Registrations& pList, fw::IEventConsumer* pConsumer, kom::Ref<fw::IEventConsumer>& pLast);
    /// Tells the walks in a list that it has changed.
    void tellWalks(const Registrations& pList);
    /// Drops a list that is empty, unless a walk is in it; answers what follows it.
    Consumers::iterator dropIfEmpty(Consumers::iterator pEntry);
    void processQueue();

    kom::RefCount mRefCount;
    bool mInitialized = false;
    kom::Ref<IdleCallout> mIdleCallout;
    kom::Ref<fw::IApplication> mApp;
    std::deque<kom::Ref<fw::IEvent>> mQueue;
    Consumers mConsumers;
    bool mIdleScheduled = false;
    /// Where each name stands in mConsumers, whose strings are the keys: an event's type is looked up by its
    /// hash, not by a comparison at every level of the tree.
    boost::unordered_flat_map<std::string_view, Consumers::iterator, NameHash> mIndex;
    std::atomic<Phase> mPhase = PHASE_IDLE;
    Walk* mWalk = nullptr; ///< the innermost walk in progress
};

} // namespace vel::kos::kfw
