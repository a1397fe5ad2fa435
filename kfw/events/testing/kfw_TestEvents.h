// Events, consumers and dispatchers for the dispatcher's tests and benchmarks.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "kfw/IEventDispatcher.h"
#include "kfw/classes.h"
#include "kfw/module/testing/kfw_TestObject.h"
#include "kom/implements.h"

namespace vel::kos::test {

/// The result codes that a TestEvent returns.
struct EventResults {
    uint32_t typeCode = 0;
    uint32_t consumedCode = 1;
};

/// An event that returns what a test tells it to.
class TestEvent : public kom::Implements<TestEvent, fw::IEvent> {
    friend Implements;

public:
    static kom::Ref<TestEvent> make(std::optional<std::string> pType)
    {
        return kom::retain(new TestEvent(std::move(pType)));
    }
    virtual ~TestEvent()
    {
        if (onEnd) onEnd();
    }

    uint32_t getType(char** pType) override
    {
        ++typeQuestions;
        *pType = type ? komStrDup(type->c_str()) : nullptr;
        return results.typeCode;
    }
    uint32_t consume() override
    {
        results.consumedCode = 0;
        return 0;
    }
    uint32_t isConsumed() override { return results.consumedCode; }
    uint32_t references() const { return mRefCount.value(); }

    std::optional<std::string> type; ///< none: a null pointer
    EventResults results;
    uint32_t typeQuestions = 0;
    std::function<void()> onEnd;

private:
    explicit TestEvent(std::optional<std::string> pType) : type(std::move(pType)) {}

    kom::RefCount mRefCount;
};

/// A consumer whose handler is the test's.
class TestConsumer : public kom::Implements<TestConsumer, fw::IEventConsumer> {
    friend Implements;

public:
    using Handler = std::function<uint32_t(TestEvent*)>;

    static kom::Ref<TestConsumer> make(Handler pHandler = {})
    {
        return kom::retain(new TestConsumer(std::move(pHandler)));
    }
    virtual ~TestConsumer()
    {
        if (onEnd) onEnd();
    }

    uint32_t handleEvent(fw::IEvent* pEvent) override
    {
        ++handled;
        return handler ? handler(static_cast<TestEvent*>(pEvent)) : 0;
    }
    uint32_t references() const { return mRefCount.value(); }

    Handler handler;
    uint32_t handled = 0;
    std::function<void()> onEnd;

private:
    explicit TestConsumer(Handler pHandler) : handler(std::move(pHandler)) {}

    kom::RefCount mRefCount;
};

inline kom::Ref<fw::IEventDispatcher> makeDispatcher()
{
    return makeObject<fw::IEventDispatcher>(fw::CLASS_EVENT_DISPATCHER);
}

} // namespace vel::kos::test
