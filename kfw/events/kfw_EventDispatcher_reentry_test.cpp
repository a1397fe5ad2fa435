// What handlers may do to the dispatcher that is calling them.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_TestEvents.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw {

namespace {

using test::makeDispatcher;
using test::TestApplication;
using test::TestConsumer;
using test::TestEvent;
using Strings = std::vector<std::string>;

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
    Strings mServed;
};

TEST_F(ReentryTest, servesARegistrationAddedUnderTheTypeInTheSameWalk)
{
    mB = consumer("b");
    mA = consumer("a", [&](TestEvent*) { add(mB); });
    add(mA);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b"}));
}

TEST_F(ReentryTest, servesARegistrationAddedUnderTheTypeByAnAllTypesConsumer)
{
    mB = consumer("b");
    mA = consumer("a", [&](TestEvent*) { add(mB); });
    add(mA, nullptr);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b"}));
}

TEST_F(ReentryTest, leavesOutARegistrationAddedUnderAnotherName)
{
    mB = consumer("b");
    mA = consumer("a", [&](TestEvent*) {
        add(mB, "s");
        add(mB, "u");
        add(mB, nullptr);
    });
    add(mA);
    send();
    EXPECT_EQ(mServed, Strings{"a"}) << "all types have had their turn by then";
}

TEST_F(ReentryTest, removesTheRegistrationBeingServed)
{
    mA = consumer("a", [&](TestEvent*) { remove(mA); });
    mB = consumer("b");
    mC = consumer("c", [&](TestEvent*) { remove(mC); });
    add(mA);
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c"}));
    EXPECT_EQ(mA->references(), 1u);
    EXPECT_EQ(mC->references(), 1u);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c", "b"}));
}

TEST_F(ReentryTest, keepsAConsumerWhileItIsBeingServed)
{
    bool tGone = false;
    TestConsumer* tConsumer = nullptr;
    {
        auto tOwned = consumer("a", [&](TestEvent*) {
            EXPECT_EQ(mDispatcher->removeConsumer(tConsumer), 0u);
            EXPECT_FALSE(tGone) << "its handler is still running";
            EXPECT_EQ(tConsumer->references(), 1u);
        });
        tOwned->onEnd = [&] { tGone = true; };
        tConsumer = tOwned.get();
        add(tOwned);
    }
    send();
    EXPECT_TRUE(tGone);
    EXPECT_EQ(mServed, Strings{"a"});
}

TEST_F(ReentryTest, removesTheRegistrationBeingServedAndAddsItAgain)
{
    int tTimes = 0;
    mA = consumer("a", [&](TestEvent*) {
        remove(mA);
        if (++tTimes < 3) add(mA);
    });
    mB = consumer("b");
    add(mA);
    add(mB);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "a", "a"})) << "each time it comes last of the type";
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(ReentryTest, removesTheNextRegistration)
{
    mB = consumer("b");
    mC = consumer("c");
    mA = consumer("a", [&](TestEvent*) { remove(mB); });
    add(mA);
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "c"}));
    EXPECT_EQ(mB->references(), 1u);
}

TEST_F(ReentryTest, removesAnEarlierRegistration)
{
    mA = consumer("a");
    mB = consumer("b", [&](TestEvent*) { remove(mA); });
    mC = consumer("c");
    add(mA);
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c"}));
}

TEST_F(ReentryTest, removesEverything)
{
    mB = consumer("b");
    mC = consumer("c");
    mA = consumer("a", [&](TestEvent*) {
        remove(mB);
        remove(mC);
        remove(mA);
    });
    for (const auto& tConsumer : {mA, mB, mA, mC}) {
        add(tConsumer, nullptr);
        add(tConsumer);
    }
    send();
    EXPECT_EQ(mServed, Strings{"a"});
    send();
    EXPECT_EQ(mServed, Strings{"a"});
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(ReentryTest, removesUnderOneTypeTheRegistrationBeingServed)
{
    mA = consumer("a", [&](TestEvent*) { EXPECT_EQ(mDispatcher->removeConsumer("t", mA.get()), 0u); });
    add(mA);
    add(mA);
    add(mA, "other");
    send();
    EXPECT_EQ(mServed, Strings{"a"});
    EXPECT_EQ(mA->references(), 2u) << "the one under the other type stays";
}

TEST_F(ReentryTest, sendsFromAHandlerDepthFirst)
{
    mA = consumer("a", [&](TestEvent* pEvent) {
        if (pEvent->type == "t") send("inner");
    });
    mB = consumer("b");
    mC = consumer("c");
    add(mA);
    add(mB);
    add(mC, "inner");
    send();
    EXPECT_EQ(mServed, (Strings{"a", "c", "b"})) << "the nested send is over before the outer walk goes on";
}

TEST_F(ReentryTest, removesInANestedSendWhatAnOuterWalkStandsOn)
{
    bool tNested = false;
    mA = consumer("a", [&](TestEvent*) {
        if (tNested) return;
        tNested = true;
        send();
        mServed.push_back("back");
    });
    mB = consumer("b", [&](TestEvent*) { remove(mA); });
    mC = consumer("c");
    add(mA);
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "a", "b", "c", "back", "b", "c"}));
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(ReentryTest, skipsInANestedSendWhatIsRemovedButStillStoodOn)
{
    mA = consumer("a", [&](TestEvent*) {
        remove(mA);
        send();
        mServed.push_back("back");
    });
    mB = consumer("b");
    add(mA);
    add(mB);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "back", "b"}));
}

TEST_F(ReentryTest, skipsSeveralRemovedEntriesThatOuterWalksStandOn)
{
    mC = consumer("c");
    int tDepth = 0;
    const auto tSelfish = [&](kom::Ref<TestConsumer>& pSelf) {
        return [&](TestEvent*) {
            remove(pSelf);
            if (++tDepth == 1) send();
        };
    };
    mA = consumer("a", tSelfish(mA));
    mB = consumer("b", tSelfish(mB));
    add(mA);
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c", "c"}));
}

TEST_F(ReentryTest, postsFromAHandlerAreDeliveredLater)
{
    mA = consumer("a", [&](TestEvent* pEvent) {
        if (pEvent->type == "t") post("late");
    });
    mB = consumer("b");
    add(mA, nullptr);
    add(mB);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b"}));
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, (Strings{"a", "b", "a"}));
}

TEST_F(ReentryTest, sendsWhileItDrainsBeforeWhatIsQueued)
{
    mA = consumer("a", [&](TestEvent*) { send("inner"); });
    mB = consumer("b");
    mC = consumer("c");
    add(mA, "first");
    add(mB, "inner");
    add(mC, "second");
    post("first");
    post("second");
    mApp->idle();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c"}));
}

TEST_F(ReentryTest, survivesItsLastReferenceDuringASend)
{
    bool tGone = false;
    mB = consumer("b");
    mA = consumer("a", [&](TestEvent*) {
        EXPECT_EQ(mDispatcher.detach()->release(), 0u);
        EXPECT_FALSE(tGone) << "the send is not done";
    });
    auto tWitness = consumer("witness");
    tWitness->onEnd = [&] { tGone = true; };
    add(tWitness, "u");
    tWitness.reset();
    add(mA, nullptr);
    add(mA, "u");
    add(mB);
    auto* tDispatcher = mDispatcher.get();
    EXPECT_EQ(tDispatcher->sendEvent(TestEvent::make("t").get()), 0u);
    EXPECT_EQ(mServed, (Strings{"a", "b"}));
    EXPECT_TRUE(tGone) << "the dispatcher went when the send was done";
    EXPECT_EQ(mApp->references(), 1u);
}

TEST_F(ReentryTest, staysWhenAHandlerTakesAReferenceAfterTheLastOne)
{
    mA = consumer("a", [&](TestEvent*) {
        fw::IEventDispatcher* tDispatcher = mDispatcher.detach();
        EXPECT_EQ(tDispatcher->release(), 0u);
        EXPECT_EQ(tDispatcher->addRef(), 1u);
        EXPECT_EQ(tDispatcher->release(), 0u);
        mDispatcher = kom::retain(tDispatcher);
    });
    add(mA);
    send();
    EXPECT_EQ(mA->references(), 2u);
    mA->handler = {};
    send();
    EXPECT_EQ(mA->handled, 2u);
}

TEST_F(ReentryTest, survivesItsLastReferenceGivenBackByAnotherThread)
{
    kom::Ref<fw::IEventDispatcher> tOther = mDispatcher;
    mB = consumer("b");
    mA = consumer("a", [&](TestEvent*) {
        mDispatcher.reset();
        std::thread([&] { EXPECT_EQ(tOther.detach()->release(), 0u); }).join();
    });
    add(mA);
    add(mB);
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    EXPECT_EQ(tDispatcher->sendEvent(TestEvent::make("t").get()), 0u);
    EXPECT_EQ(mServed, (Strings{"a", "b"}));
    EXPECT_EQ(mApp->references(), 1u);
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(ReentryTest, goesOnceWhenAnotherThreadGivesBackTheLastReferenceAtAnyMoment)
{
    for (int i = 0; i < 200; ++i) {
        auto tDispatcher = makeDispatcher();
        ASSERT_EQ(tDispatcher->init(mApp.get()), 0u);
        std::thread tThread;
        const auto tConsumer = TestConsumer::make([&](TestEvent*) {
            auto* tLent = tDispatcher.detach();
            tThread = std::thread([tLent] { tLent->release(); });
            return 0u;
        });
        tDispatcher->addConsumer(tConsumer.get());
        auto* tSender = tDispatcher.get();
        tSender->sendEvent(TestEvent::make("t").get());
        tThread.join();
        ASSERT_EQ(tConsumer->references(), 1u);
        ASSERT_EQ(mApp->references(), 2u);
    }
}

TEST_F(ReentryTest, drainsTheWholeQueueAfterItsLastReferenceIsGone)
{
    mA = consumer("a", [&](TestEvent* pEvent) {
        if (pEvent->type != "first") return;
        fw::IEventDispatcher* tDispatcher = mDispatcher.get();
        mDispatcher.reset();
        tDispatcher->postEvent(TestEvent::make("posted").get());
    });
    mB = consumer("b");
    add(mA, nullptr);
    add(mB, "second");
    add(mB, "posted");
    post("first");
    post("second");
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, (Strings{"a", "a", "b", "a", "b"}));
    EXPECT_EQ(mApp->references(), 1u) << "then it went";
    EXPECT_EQ(mA->references(), 1u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u);
    EXPECT_EQ(mApp->calloutCount(), 0u);
}

TEST_F(ReentryTest, letsAConsumerUnregisterOthersWhenItGoes)
{
    mB = consumer("b");
    mC = consumer("c");
    {
        auto tOwned = consumer("a");
        tOwned->onEnd = [&] {
            remove(mB);
            add(mC);
            send("u");
        };
        add(tOwned);
        add(mB);
        add(mC, "u");
        mA = nullptr;
        mDispatcher->removeConsumer(tOwned.get());
    }
    EXPECT_EQ(mServed, Strings{"c"});
    send();
    EXPECT_EQ(mServed, (Strings{"c", "c"}));
}

TEST_F(ReentryTest, letsAConsumerThatEndsInItsOwnWalkRemoveTheNextOne)
{
    mB = consumer("b");
    mC = consumer("c");
    TestConsumer* tConsumer = nullptr;
    auto tOwned = consumer("a", [&](TestEvent*) { mDispatcher->removeConsumer(tConsumer); });
    tOwned->onEnd = [&] { remove(mB); };
    tConsumer = tOwned.get();
    add(tOwned);
    tOwned.reset();
    add(mB);
    add(mC);
    send();
    EXPECT_EQ(mServed, (Strings{"a", "c"}));
    EXPECT_EQ(mB->references(), 1u);
}

TEST_F(ReentryTest, letsConsumersAndEventsCallItWhileItGoes)
{
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    mA = consumer("a");
    mB = consumer("b");
    auto tOwned = consumer("owned");
    tOwned->onEnd = [&] {
        tDispatcher->removeConsumer(mA.get());
        tDispatcher->addConsumer("t", mB.get());
        tDispatcher->sendEvent(TestEvent::make("t").get());
    };
    add(tOwned, nullptr);
    tOwned.reset();
    add(mA);
    {
        const auto tEvent = TestEvent::make("t");
        tEvent->onEnd = [&] { tDispatcher->postEvent(TestEvent::make("t").get()); };
        mDispatcher->postEvent(tEvent.get());
    }
    mDispatcher.reset();
    EXPECT_EQ(mServed, Strings{"b"});
    EXPECT_EQ(mA->references(), 1u);
    EXPECT_EQ(mB->references(), 1u);
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, Strings{"b"}) << "nothing is delivered after its end";
}

} // namespace

} // namespace vel::kos::kfw
