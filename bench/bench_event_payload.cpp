#include "bench/bench_event_payload.h"

#include "kom/implements.h"

namespace vel::kos::bench {

namespace {

uint64_t gHandled = 0;

class Event : public kom::Implements<Event, fw::IEvent> {
    friend Implements;

public:
    explicit Event(const std::string& pType) : mType(pType) {}
    virtual ~Event() = default;
    uint32_t getType(char** pType) override
    {
        *pType = komStrNDup(mType.data(), mType.size());
        return 0;
    }
    uint32_t consume() override
    {
        mConsumed = 0;
        return 0;
    }
    uint32_t isConsumed() override { return mConsumed; }

private:
    kom::RefCount mRefCount;
    std::string mType;
    uint32_t mConsumed = 1;
};

class Consumer : public kom::Implements<Consumer, fw::IEventConsumer> {
    friend Implements;

public:
    virtual ~Consumer() = default;
    uint32_t handleEvent(fw::IEvent*) override
    {
        ++gHandled;
        return 0;
    }

private:
    kom::RefCount mRefCount;
};

} // namespace

kom::Ref<fw::IEvent> makeEvent(const std::string& pType) { return kom::retain(new Event(pType)); }

kom::Ref<fw::IEventConsumer> makeConsumer() { return kom::retain(new Consumer); }

uint64_t handledCount() { return gHandled; }

Scene::Scene(uint32_t pTypes, uint32_t pConsumersPerType, uint32_t pForAll)
    : unheard(makeEvent("vel.document.unheard"))
{
    for (uint32_t i = 0; i < pTypes; ++i) {
        const std::string tType = "vel.document.type" + std::to_string(i);
        events.push_back(makeEvent(tType));
        for (uint32_t j = 0; j < pConsumersPerType; ++j)
            consumers[tType].push_back(makeConsumer());
    }
    for (uint32_t j = 0; j < pForAll; ++j)
        consumers[""].push_back(makeConsumer());
}

} // namespace vel::kos::bench
