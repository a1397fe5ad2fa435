// Who lives how long: consumers that go while they are served, the dispatcher that goes while it delivers.
#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_ReentryTest.h"

namespace vel::kos::kfw {

namespace {

using test::makeDispatcher;
using test::TestConsumer;
using test::TestEvent;
using Strings = std::vector<std::string>;

#if defined(_WIN32)
const auto ABORTED = testing::ExitedWithCode(3);
#else
const auto ABORTED = testing::KilledBySignal(SIGABRT);
#endif

class LifetimeTest : public test::ReentryTest {};

TEST_F(LifetimeTest, keepsAConsumerWhileItIsBeingServed)
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

/// A, B and C under one type, of which only the dispatcher holds B and C. B removes itself, and its end
/// removes A; the iteration goes on to C.
class ChainTest : public LifetimeTest {
protected:
    ChainTest()
    {
        auto tA = consumer("a");
        tA->onEnd = [&] { mEnded.push_back("a"); };
        auto tB = consumer("b", [&](TestEvent*) { mDispatcher->removeConsumer(mRawB); });
        tB->onEnd = [&] {
            mEnded.push_back("b");
            mDispatcher->removeConsumer(mRawA);
        };
        auto tC = consumer("c", [&](TestEvent*) { mInC(); });
        tC->onEnd = [&] { mEnded.push_back("c"); };
        mRawA = tA.get();
        mRawB = tB.get();
        mRawC = tC.get();
        add(tA);
        add(tB);
        add(tC);
    }

    TestConsumer* mRawA = nullptr;
    TestConsumer* mRawB = nullptr;
    TestConsumer* mRawC = nullptr;
    std::function<void()> mInC;
    Strings mEnded;
};

TEST_F(ChainTest, keepsTheOneBeingServedWhenTheOneBeforeRemovedAnotherAtItsEnd)
{
    mInC = [&] {
        EXPECT_EQ(mDispatcher->removeConsumer(mRawC), 0u);
        EXPECT_EQ(mEnded, (Strings{"b", "a"})) << "the handler of c is still running";
        EXPECT_EQ(mRawC->references(), 1u);
    };
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c"}));
    EXPECT_EQ(mEnded, (Strings{"b", "a", "c"}));
}

TEST_F(ChainTest, keepsNobodyWhoIsNotBeingServed)
{
    mInC = [&] { EXPECT_EQ(mEnded, (Strings{"b", "a"})) << "a is done with"; };
    send();
    EXPECT_EQ(mServed, (Strings{"a", "b", "c"}));
    EXPECT_EQ(mEnded, (Strings{"b", "a"}));
}

TEST_F(LifetimeTest, survivesItsLastReferenceDuringASend)
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

TEST_F(LifetimeTest, beginsNoIdleRunOnceItsLastReferenceIsGone)
{
    mA = consumer("a", [&](TestEvent* pEvent) {
        if (pEvent->type != "t") return;
        mDispatcher.reset();
        EXPECT_EQ(mApp->idle(), 1u);
    });
    add(mA, nullptr);
    post("queued");
    mDispatcher.get()->sendEvent(TestEvent::make("t").get());
    EXPECT_EQ(mServed, Strings{"a"});
    EXPECT_EQ(mA->references(), 1u);
    EXPECT_EQ(mApp->references(), 1u);
}

using LifetimeDeathTest = LifetimeTest;

TEST_F(LifetimeDeathTest, stopsTheProcessWhenAHandlerTakesAReferenceAfterTheLastOne)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    mA = consumer("a", [&](TestEvent*) {
        fw::IEventDispatcher* tDispatcher = mDispatcher.detach();
        tDispatcher->release();
        tDispatcher->addRef();
    });
    add(mA);
    EXPECT_EXIT(send(), ABORTED, "");
}

TEST_F(LifetimeTest, survivesItsLastReferenceGivenBackByAnotherThread)
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

TEST_F(LifetimeTest, goesOnceWhenAnotherThreadGivesBackTheLastReferenceAtAnyMomentOfAnIdleRun)
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
        tDispatcher->postEvent(TestEvent::make("t").get());
        ASSERT_EQ(mApp->idle(), 1u);
        tThread.join();
        ASSERT_EQ(tConsumer->references(), 1u);
        ASSERT_EQ(mApp->references(), 2u);
    }
}

TEST_F(LifetimeTest, goesOnceWhenAnotherThreadGivesBackTheLastReferenceAsAnIdleRunBegins)
{
    for (int i = 0; i < 200; ++i) {
        auto tDispatcher = makeDispatcher();
        ASSERT_EQ(tDispatcher->init(mApp.get()), 0u);
        unsigned tServed = 0;
        const auto tConsumer = TestConsumer::make([&](TestEvent*) {
            ++tServed;
            return 0u;
        });
        tDispatcher->addConsumer(tConsumer.get());
        tDispatcher->postEvent(TestEvent::make("t").get());
        std::atomic<bool> tReady = false;
        std::thread tThread([tLent = tDispatcher.detach(), &tReady] {
            tReady = true;
            tLent->release();
        });
        while (!tReady)
            std::this_thread::yield();
        ASSERT_EQ(mApp->idle(), 1u);
        tThread.join();
        ASSERT_LE(tServed, 1u);
        ASSERT_EQ(tConsumer->references(), 1u);
        ASSERT_EQ(mApp->references(), 2u);
    }
}

TEST_F(LifetimeTest, drainsTheWholeQueueAfterItsLastReferenceIsGone)
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

TEST_F(LifetimeTest, letsAConsumerUnregisterOthersWhenItGoes)
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

TEST_F(LifetimeTest, letsAConsumerThatEndsInItsOwnIterationRemoveTheNextOne)
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

TEST_F(LifetimeTest, letsConsumersAndEventsCallItWhileItGoes)
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

TEST_F(LifetimeTest, givesBackWhatTheEndsOfEventsAndConsumersAdd)
{
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    auto tEvent = TestEvent::make("t");
    tEvent->onEnd = [&] {
        const auto tLate = consumer("late");
        tLate->onEnd = [&] {
            mServed.push_back("late ends");
            EXPECT_EQ(tDispatcher->removeConsumer(mA.get()), 0u);
            EXPECT_EQ(tDispatcher->removeConsumer("t", mA.get()), 0u);
            const auto tLast = TestEvent::make("t");
            tLast->onEnd = [&] { mServed.push_back("last ends"); };
            EXPECT_EQ(tDispatcher->postEvent(tLast.get()), 0u);
        };
        EXPECT_EQ(tDispatcher->addConsumer("t", tLate.get()), 0u);
    };
    mA = consumer("a");
    add(mA);
    mDispatcher->postEvent(tEvent.get());
    tEvent.reset();
    mDispatcher.reset();
    EXPECT_EQ(mServed, (Strings{"late ends", "last ends"}));
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(LifetimeTest, givesBackWhatTheEndsOfEventsPost)
{
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    auto tEvent = TestEvent::make("t");
    uint32_t tResult = 1;
    tEvent->onEnd = [&] { tResult = tDispatcher->postEvent(TestEvent::make("t").get()); };
    mDispatcher->postEvent(tEvent.get());
    tEvent.reset();
    mDispatcher.reset();
    EXPECT_EQ(tResult, 0u);
}

/// Tells when it goes.
class Witness : public kom::Implements<Witness, fw::IAppCloseHook> {
    friend Implements;

public:
    explicit Witness(std::function<void()> pOnEnd) : mOnEnd(std::move(pOnEnd)) {}
    virtual ~Witness() { mOnEnd(); }
    uint32_t onAppClose() override { return 0; }

private:
    kom::RefCount mRefCount;
    const std::function<void()> mOnEnd;
};

TEST_F(LifetimeTest, givesBackConsumersThenEventsThenTheApplicationThenTheCallout)
{
    mApp->failOperation("addIdleCallout", E_FAIL); // so that only the dispatcher holds its callout
    auto tConsumer = consumer("a");
    tConsumer->onEnd = [&] { mServed.push_back("consumer"); };
    add(tConsumer);
    tConsumer.reset();
    auto tEvent = TestEvent::make("t");
    tEvent->onEnd = [&] { mServed.push_back("event"); };
    mDispatcher->postEvent(tEvent.get());
    tEvent.reset();
    KomHeapStats tStats{};
    mApp->addCloseHook(kom::retain(new Witness([&] {
                           mServed.push_back("application");
                           komGetHeapStats(&tStats);
                       })).get(),
                       1);
    mApp.reset();
    mDispatcher.reset();
    EXPECT_EQ(mServed, (Strings{"consumer", "event", "application"}));
    EXPECT_EQ(tStats.liveObjects, mBefore.liveObjects + 4) << "dispatcher, application, its hook, callout";
}

TEST_F(LifetimeTest, detachesItsCalloutBeforeItGivesAnythingBack)
{
    auto tOwned = consumer("owned");
    tOwned->onEnd = [&] { EXPECT_EQ(mApp->idle(), 1u); };
    add(tOwned, "s");
    tOwned.reset();
    mA = consumer("a");
    add(mA);
    post();
    mDispatcher.reset();
    EXPECT_TRUE(mServed.empty()) << "nothing is delivered any more";
    EXPECT_EQ(mApp->calloutCount(), 0u);
}

TEST_F(LifetimeTest, letsConsumersTakeAndGiveBackReferencesWhileItGoes)
{
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    uint32_t tEnds = 0;
    for (const char* tType : {"s", "t"}) {
        auto tOwned = consumer("owned");
        tOwned->onEnd = [&] {
            ++tEnds;
            const auto tReference = kom::retain(tDispatcher);
            EXPECT_EQ(tReference->removeConsumer(mA.get()), 0u);
        };
        add(tOwned, tType);
    }
    mA = consumer("a");
    add(mA, "u");
    mDispatcher.reset();
    EXPECT_EQ(tEnds, 2u);
    EXPECT_EQ(mA->references(), 1u);
}

TEST_F(LifetimeTest, refusesCallsOfTheApplicationThatItGivesBackLast)
{
    fw::IEventDispatcher* tDispatcher = mDispatcher.get();
    uint32_t tResult = 0;
    const auto tEvent = TestEvent::make("t");
    mApp->addCloseHook(
        kom::retain(new Witness([&] { tResult = tDispatcher->postEvent(tEvent.get()); })).get(), 1);
    mApp.reset();
    mDispatcher.reset();
    EXPECT_EQ(tResult, E_WRONG_STATE);
    EXPECT_EQ(tEvent->references(), 1u);
}

TEST_F(LifetimeTest, goesAfterAnIdleRunInASendAndAfterASendInAnIdleRun)
{
    for (const bool tInSend : {true, false}) {
        auto tDispatcher = makeDispatcher();
        auto* const tRaw = tDispatcher.get();
        tRaw->init(mApp.get());
        bool tGone = false;
        auto tLast = consumer("last");
        tLast->onEnd = [&] { tGone = true; };
        mA = consumer("a", [&](TestEvent* pEvent) {
            if (pEvent->type == "outer") {
                if (tInSend)
                    mApp->idle();
                else
                    tRaw->sendEvent(TestEvent::make("inner").get());
                EXPECT_FALSE(tGone) << "the outer delivery is not done";
            } else {
                tDispatcher.reset();
            }
        });
        tRaw->addConsumer(nullptr, mA.get());
        tRaw->addConsumer("z", tLast.get());
        tLast.reset();
        tRaw->postEvent(TestEvent::make(tInSend ? "inner" : "outer").get());
        if (tInSend)
            tRaw->sendEvent(TestEvent::make("outer").get());
        else
            mApp->idle();
        EXPECT_TRUE(tGone);
        EXPECT_EQ(mA->references(), 1u);
    }
}

} // namespace

} // namespace vel::kos::kfw
