// The events and consumers that every contestant of the dispatcher's benchmark delivers: the same virtual
// calls, and a type string made and freed for each event.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kfw/IEventDispatcher.h"
#include "kom/ref.h"

namespace vel::kos::bench {

kom::Ref<fw::IEvent> makeEvent(const std::string& pType);
/// A consumer that counts what it is given.
kom::Ref<fw::IEventConsumer> makeConsumer();
/// What all consumers were given so far.
uint64_t handledCount();

/// Who is registered for what.
struct Scene {
    Scene(uint32_t pTypes, uint32_t pConsumersPerType, uint32_t pForAll = 0);

    std::map<std::string, std::vector<kom::Ref<fw::IEventConsumer>>> consumers; ///< "" for all types
    std::vector<kom::Ref<fw::IEvent>> events;                                   ///< one of each type
    kom::Ref<fw::IEvent> unheard;                                               ///< of a type nobody wants
};

/// One way of delivering. A contestant is set up with a scene and then sends, as often as it is asked to.
class Contestant {
public:
    virtual ~Contestant() = default;
    virtual void send(fw::IEvent* pEvent) = 0;
    /// Queues events and delivers them.
    virtual void postAndDrain(const std::vector<kom::Ref<fw::IEvent>>& pEvents, uint32_t pCount) = 0;
    /// Registers one consumer more for a type, and takes it out again.
    virtual void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) = 0;
};

/// Delivers to one consumer, unless the event is consumed: what each slot does.
inline void deliver(fw::IEvent* pEvent, fw::IEventConsumer* pConsumer)
{
    if (static_cast<int32_t>(pEvent->isConsumed()) > 0) pConsumer->handleEvent(pEvent);
}

} // namespace vel::kos::bench
