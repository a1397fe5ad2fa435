// What the tests of re-entry and of lifetime share: a dispatcher and consumers whose handlers call it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_TestEvents.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::test {

/// An initialised dispatcher, and consumers that note in mServed when they were served.
class ReentryTest : public testing::Test {
protected:
    ReentryTest()
    {
        komGetHeapStats(&mBefore);
        mApp = TestApplication::make();
        mDispatcher = makeDispatcher();
        mDispatcher->init(mApp.get());
    }
    void TearDown() override
    {
        mDispatcher.reset();
        mA.reset();
        mB.reset();
        mC.reset();
        mApp.reset();
        KomHeapStats tAfter;
        komGetHeapStats(&tAfter);
        EXPECT_EQ(tAfter.liveObjects, mBefore.liveObjects);
        EXPECT_EQ(tAfter.liveBlocks, mBefore.liveBlocks);
    }

    /// A consumer that notes its name and then does what the test says.
    kom::Ref<TestConsumer> consumer(const std::string& pName, std::function<void(TestEvent*)> pThen = {})
    {
        return TestConsumer::make([=, this](TestEvent* pEvent) {
            mServed.push_back(pName);
            if (pThen) pThen(pEvent);
            return 0u;
        });
    }
    void add(const kom::Ref<TestConsumer>& pConsumer, const char* pType = "t")
    {
        EXPECT_EQ(mDispatcher->addConsumer(pType, pConsumer.get()), 0u);
    }
    void remove(const kom::Ref<TestConsumer>& pConsumer)
    {
        EXPECT_EQ(mDispatcher->removeConsumer(pConsumer.get()), 0u);
    }
    void send(const char* pType = "t")
    {
        EXPECT_EQ(mDispatcher->sendEvent(TestEvent::make(pType).get()), 0u);
    }
    void post(const char* pType = "t")
    {
        EXPECT_EQ(mDispatcher->postEvent(TestEvent::make(pType).get()), 0u);
    }

    KomHeapStats mBefore{};
    kom::Ref<TestApplication> mApp;
    kom::Ref<fw::IEventDispatcher> mDispatcher;
    kom::Ref<TestConsumer> mA, mB, mC;
    std::vector<std::string> mServed;
};

} // namespace vel::kos::test
