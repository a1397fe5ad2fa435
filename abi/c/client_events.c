// The event dispatcher, with an event and consumers of the client's own.
#include <string.h>

#include "client.h"
#include "client_host.h"

typedef struct Event {
    IEvent base;
    uint32_t references;
    const char* type;
    bool consumed;
} Event;

typedef struct Consumer {
    IEventConsumer base;
    uint32_t references;
    bool consumes;
    uint32_t handled;
    unsigned order; ///< of its last call among the calls of all consumers
    IEvent* last;
} Consumer;

static unsigned sCalls;

static uint32_t comQuery(void** pOut)
{
    *pOut = NULL;
    return E_NOINTERFACE;
}

static uint32_t eventComQuery(IEvent* pThis, const void* pIid, void** pOut)
{
    (void)pThis, (void)pIid;
    return comQuery(pOut);
}
static uint32_t eventQuery(IEvent* pThis, const char* pIid, IUnknown** pOut)
{
    static const char* const IDENTITIES[] = {IID_IUnknown, IID_IEvent, NULL};
    return findInterface(pThis, IDENTITIES, pIid, pOut);
}
static uint32_t eventAddRef(IEvent* pThis) { return ++((Event*)pThis)->references; }
static uint32_t eventRelease(IEvent* pThis) { return --((Event*)pThis)->references; }
static const char* eventIdentity(IEvent* pThis)
{
    (void)pThis;
    return IID_IEvent;
}
static uint32_t getType(IEvent* pThis, char** pType)
{
    *pType = komStrDup(((Event*)pThis)->type);
    return 0;
}
static uint32_t consume(IEvent* pThis)
{
    ((Event*)pThis)->consumed = true;
    return 0;
}
static uint32_t isConsumed(IEvent* pThis) { return ((Event*)pThis)->consumed ? 0 : 1; }

static const struct IEventSlots EVENT = {eventComQuery, eventAddRef,   eventRelease, eventQuery, eventAddRef,
                                         eventRelease,  eventIdentity, getType,      consume,    isConsumed};

static uint32_t consumerComQuery(IEventConsumer* pThis, const void* pIid, void** pOut)
{
    (void)pThis, (void)pIid;
    return comQuery(pOut);
}
static uint32_t consumerQuery(IEventConsumer* pThis, const char* pIid, IUnknown** pOut)
{
    static const char* const IDENTITIES[] = {IID_IUnknown, IID_IEventConsumer, NULL};
    return findInterface(pThis, IDENTITIES, pIid, pOut);
}
static uint32_t consumerAddRef(IEventConsumer* pThis) { return ++((Consumer*)pThis)->references; }
static uint32_t consumerRelease(IEventConsumer* pThis) { return --((Consumer*)pThis)->references; }
static const char* consumerIdentity(IEventConsumer* pThis)
{
    (void)pThis;
    return IID_IEventConsumer;
}
static uint32_t handleEvent(IEventConsumer* pThis, IEvent* pEvent)
{
    Consumer* tThis = (Consumer*)pThis;
    ++tThis->handled;
    tThis->order = ++sCalls;
    tThis->last = pEvent;
    return tThis->consumes ? pEvent->slots->consume(pEvent) : 0;
}

static const struct IEventConsumerSlots CONSUMER = {consumerComQuery, consumerAddRef, consumerRelease,
                                                    consumerQuery,    consumerAddRef, consumerRelease,
                                                    consumerIdentity, handleEvent};

#define DISPATCH(pOperation) SLOT(IEventDispatcher, tDispatcher, pOperation)

void driveEventDispatcher(void)
{
    IEventDispatcher* tDispatcher =
        makeObject("EventDispatcher", CLASS_EVENT_DISPATCHER, IID_IEventDispatcher, false);
    UNKNOWN(IEventDispatcher, tDispatcher);
    Event tGreeting = {{&EVENT}, 1, "greeting", false}, tOther = {{&EVENT}, 1, "other", false};
    Consumer tAll = {{&CONSUMER}, 1, false, 0, 0, NULL}, tTyped = tAll;
    const uint32_t tHostBefore = (host(), hostReferences());

    CODE(DISPATCH(sendEvent)(tDispatcher, &tGreeting.base), E_WRONG_STATE);
    CODE(DISPATCH(init)(tDispatcher, NULL), E_INVALIDARG);
    CODE(DISPATCH(init)(tDispatcher, host()), 0);
    CODE(DISPATCH(init)(tDispatcher, host()), E_WRONG_STATE);
    CHECK(hostReferences() == tHostBefore + 1);

    // At once: to the consumers of all types first, and only until the event is consumed.
    CODE(DISPATCH(addConsumerForType)(tDispatcher, "greeting", &tTyped.base), 0);
    CODE(DISPATCH(addConsumer)(tDispatcher, &tAll.base), 0);
    CHECK(tAll.references == 2 && tTyped.references == 2);
    CODE(DISPATCH(sendEvent)(tDispatcher, &tGreeting.base), 0);
    CHECK(tAll.handled == 1 && tTyped.handled == 1 && tAll.order < tTyped.order);
    CHECK(tAll.last == &tGreeting.base && tTyped.last == &tGreeting.base);
    CODE(DISPATCH(sendEvent)(tDispatcher, &tOther.base), 0);
    CHECK(tAll.handled == 2 && tTyped.handled == 1);
    tAll.consumes = true;
    CODE(DISPATCH(sendEvent)(tDispatcher, &tGreeting.base), 0);
    CHECK(tAll.handled == 3 && tTyped.handled == 1);
    CODE(DISPATCH(removeConsumer)(tDispatcher, &tAll.base), 0);
    CHECK(tAll.references == 1);

    // When the application is idle: in one run of one callout.
    tGreeting.consumed = false;
    CODE(DISPATCH(postEvent)(tDispatcher, &tGreeting.base), 0);
    CODE(DISPATCH(postEvent)(tDispatcher, &tGreeting.base), 0);
    CHECK(tGreeting.references == 3 && tTyped.handled == 1);
    IIdleCallout* tCallout = takeCallout();
    if (!CHECK(tCallout != NULL)) return;
    UNKNOWN(IIdleCallout, tCallout);
    unsigned int tAgain = 1;
    CODE(SLOT(IIdleCallout, tCallout, onIdle)(tCallout, &tAgain), 0);
    CHECK(tAgain == 0 && tTyped.handled == 3 && tGreeting.references == 1);

    CODE(DISPATCH(removeConsumerForType)(tDispatcher, "greeting", &tTyped.base), 0);
    CODE(DISPATCH(sendEvent)(tDispatcher, &tGreeting.base), 0);
    CHECK(tTyped.handled == 3 && tTyped.references == 1);

    CODE(DISPATCH(postEvent)(tDispatcher, NULL), E_INVALIDARG);
    CHECK(release(tDispatcher) == 0);
    CHECK(hostReferences() == tHostBefore);
    tAgain = 1;
    CODE(SLOT(IIdleCallout, tCallout, onIdle)(tCallout, &tAgain), E_WRONG_STATE);
    CHECK(tAgain == 0);
    CHECK(release(tCallout) == 0);
    DEMAND(IEventDispatcher);
    DEMAND(IIdleCallout);
}
