// Events, their consumers, and the dispatcher between them.
#pragma once

#include "kfw/IApplication.h"
#include "kom/adapter.h"

namespace vel::kos::fw {

/// Something that happened. Implemented by whoever sends it.
class IEvent : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IEvent:1.0";

    /// The event's type name as a kom heap string, freed by the caller; null counts as "".
    virtual uint32_t getType(char** pType) = 0;
    /// Marks the event as consumed: no further consumer sees it.
    virtual uint32_t consume() = 0;
    /// 0 when consumed, a positive code when not, a failure code when that is not known.
    virtual uint32_t isConsumed() = 0;

protected:
    ~IEvent() = default;
};

using IEvent_Adapter = kom::Adapter<IEvent>;

/// Receives events. Implemented by whoever registers it.
class IEventConsumer : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IEventConsumer:1.0";

    /// Handles one event, which is borrowed for the call. A failure is logged and stops nothing.
    virtual uint32_t handleEvent(IEvent* pEvent) = 0;

protected:
    ~IEventConsumer() = default;
};

using IEventConsumer_Adapter = kom::Adapter<IEventConsumer>;

/// Delivers events to the consumers registered for their type or for all types, at once (sendEvent) or from
/// a queue when the application is idle (postEvent).
///
/// All operations of one dispatcher are made on one thread, the one that runs the application's idle loop.
/// A null pointer to an interface returns E_INVALIDARG before anything else; before init every operation
/// returns E_WRONG_STATE. A null type is read as "", the name that stands for all types. Names are compared
/// byte by byte.
///
/// Order. An event goes to the consumers of all types, then to those of its own type, each in the order of
/// registration; before each it is asked whether it is consumed. An event whose type is "" therefore goes to
/// the consumers of all types twice. A consumer that fails is logged and passed over, and so is one before
/// which the event cannot tell whether it is consumed.
///
/// What a handler may do: anything. While it runs,
/// - a registration that it adds under the name being delivered is served in the same delivery, after the
///   others; one under another name, when its name's turn is still to come;
/// - a registration that it removes and that has not been served is not served any more. It may remove the
///   registration being served as well: delivery goes on with the one that followed, and the consumer is kept
///   until its handler has returned;
/// - an event that it sends is delivered to the end before sendEvent returns, ahead of what is left of the
///   outer delivery and ahead of what is queued;
/// - an event that it posts is delivered after those already queued: in the same idle run if there is one;
/// - when it gives back the last reference to the dispatcher, the delivery goes on to its end, an idle run
///   until the queue is empty; then the dispatcher goes. Another thread may give it back during an idle run;
///   during sendEvent only handlers may, since the caller has a reference for the call.
///
/// Events still queued when the dispatcher goes are released undelivered.
class IEventDispatcher : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IEventDispatcher:1.0";

    /// Binds the dispatcher to the application, once; a second call returns E_WRONG_STATE.
    virtual uint32_t init(IApplication* pApp) = 0;
    /// Delivers an event now, until it is consumed. The event is borrowed for the call. Returns 0
    /// whatever the consumers return, but E_FAIL when the event's type cannot be read: the consumers of all
    /// types have been served by then.
    virtual uint32_t sendEvent(IEvent* pEvent) = 0;
    /// Queues an event for delivery when the application is idle, oldest first, and holds it until then. The
    /// first one asks the application for an idle callout, which delivers the whole queue in one run.
    virtual uint32_t postEvent(IEvent* pEvent) = 0;
// Microsoft's ABI lays a group of overloads out in the reverse of their order: the declarations are turned
// round there, so that the slots are the same everywhere (all types first, then one type).
#if defined(_MSC_VER)
    virtual uint32_t addConsumer(const char* pType, IEventConsumer* pConsumer) = 0;
    virtual uint32_t addConsumer(IEventConsumer* pConsumer) = 0;
    virtual uint32_t removeConsumer(const char* pType, IEventConsumer* pConsumer) = 0;
    virtual uint32_t removeConsumer(IEventConsumer* pConsumer) = 0;
#else
    /// Registers a consumer for all types, after the registrations that stand. No check for duplicates: each
    /// registration is served.
    virtual uint32_t addConsumer(IEventConsumer* pConsumer) = 0;
    /// Registers a consumer for one type.
    virtual uint32_t addConsumer(const char* pType, IEventConsumer* pConsumer) = 0;
    /// Drops every registration of the consumer (the same pointer); 0 also when there is none.
    virtual uint32_t removeConsumer(IEventConsumer* pConsumer) = 0;
    /// Drops the consumer's registrations under one type.
    virtual uint32_t removeConsumer(const char* pType, IEventConsumer* pConsumer) = 0;
#endif

protected:
    ~IEventDispatcher() = default;
};

using IEventDispatcher_Adapter = kom::Adapter<IEventDispatcher>;

} // namespace vel::kos::fw
