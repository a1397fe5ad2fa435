// A dispatcher with an application, and consumers that note what they are served.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_TestEvents.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw {

using test::makeDispatcher;
using test::TestApplication;
using test::TestConsumer;
using test::TestEvent;
using Strings = std::vector<std::string>;

class EventDispatcherTest : public testing::Test {
protected:
    EventDispatcherTest()
    {
        mApp = TestApplication::make();
        mDispatcher = makeDispatcher();
    }
    void SetUp() override
    {
        ASSERT_TRUE(mDispatcher);
        ASSERT_EQ(mDispatcher->init(mApp.get()), 0u);
    }
    void TearDown() override
    {
        mDispatcher.reset();
        mApp.reset();
    }

    /// Registers a consumer that notes its name and the event's type, for a type or for all (null).
    kom::Ref<TestConsumer> add(const char* pType, const std::string& pName, uint32_t pResult = 0)
    {
        auto tConsumer = TestConsumer::make([=, this](TestEvent* pEvent) {
            mServed.push_back(pName + ":" + pEvent->type.value_or("(null)"));
            return pResult;
        });
        EXPECT_EQ(mDispatcher->addConsumer(pType, tConsumer.get()), 0u);
        return tConsumer;
    }
    uint32_t send(const char* pType) { return mDispatcher->sendEvent(TestEvent::make(pType).get()); }
    uint32_t post(const char* pType) { return mDispatcher->postEvent(TestEvent::make(pType).get()); }
    std::vector<std::string> debugMessages() const { return mApp->messages(fw::LOG_LEVEL_DEBUG); }

    test::LeakCheck mLeaks;
    kom::Ref<TestApplication> mApp;
    kom::Ref<fw::IEventDispatcher> mDispatcher;
    Strings mServed;
};

} // namespace vel::kos::kfw
