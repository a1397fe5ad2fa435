// Posting to the event dispatcher: idle delivery.
#include "kfw/events/kfw_EventDispatcher.h"

#include "kfw/events/testing/kfw_EventDispatcherTest.h"

namespace vel::kos::kfw {

namespace {

TEST_F(EventDispatcherTest, deliversPostsWhenIdleInOneRun)
{
    add("a", "a");
    add("b", "b");
    EXPECT_EQ(post("a"), 0u);
    EXPECT_EQ(post("b"), 0u);
    EXPECT_EQ(post("a"), 0u);
    EXPECT_TRUE(mServed.empty());
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u);
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, (Strings{"a:a", "b:b", "a:a"}));
    EXPECT_EQ(mApp->calloutCount(), 0u) << "it asks not to be called again";
    EXPECT_EQ(mApp->idle(), 0u);
    EXPECT_EQ(post("b"), 0u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 2u);
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed.size(), 4u);
}

TEST_F(EventDispatcherTest, holdsAPostedEventUntilItIsDelivered)
{
    const auto tEvent = TestEvent::make("type");
    mDispatcher->postEvent(tEvent.get());
    mDispatcher->postEvent(tEvent.get());
    EXPECT_EQ(tEvent->references(), 3u);
    uint32_t tDuring = 0;
    const auto tConsumer =
        TestConsumer::make([&](TestEvent* pEvent) { return tDuring += pEvent->references(), 0u; });
    mDispatcher->addConsumer(tConsumer.get());
    mApp->idle();
    EXPECT_EQ(tDuring, 3u + 2u) << "the queue's reference is the run's while it is delivered";
    EXPECT_EQ(tEvent->references(), 1u);
}

TEST_F(EventDispatcherTest, deliversInTheSameRunWhatHandlersPost)
{
    const auto tPoster = TestConsumer::make([&](TestEvent*) { return post("late"), 0u; });
    mDispatcher->addConsumer("first", tPoster.get());
    add(nullptr, "all");
    post("first");
    post("second");
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, (Strings{"all:first", "all:second", "all:late"}));
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u);
}

TEST_F(EventDispatcherTest, doesNotMindFailuresWhileItDrains)
{
    add("type", "one", E_FAIL);
    const auto tBad = TestEvent::make("type");
    tBad->results.typeCode = E_FAIL;
    mDispatcher->postEvent(tBad.get());
    post("type");
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, Strings{"one:type"});
    EXPECT_EQ(debugMessages(),
              (Strings{"Event dispatcher failed to get event type: operation failed",
                       "Event dispatcher failed to deliver event of type type: operation failed"}));
}

TEST_F(EventDispatcherTest, keepsTheCalloutScheduledWhenTheApplicationRefusesIt)
{
    mApp->failOperation("addIdleCallout", E_FAIL);
    EXPECT_EQ(post("type"), 0u);
    EXPECT_EQ(post("type"), 0u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u) << "its result is not looked at";
}

fw::IEventDispatcher* gPoster = nullptr;

TEST_F(EventDispatcherTest, asksForOneCalloutThoughTheApplicationPostsMeanwhile)
{
    add(nullptr, "all");
    gPoster = mDispatcher.get();
    mApp->setObserver([](const char* pOperation) {
        if (pOperation != std::string_view("addIdleCallout") || !gPoster) return;
        std::exchange(gPoster, nullptr)->postEvent(TestEvent::make("second").get());
    });
    EXPECT_EQ(post("first"), 0u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u);
    EXPECT_EQ(mApp->idle(), 1u);
    EXPECT_EQ(mServed, (Strings{"all:first", "all:second"}));
    EXPECT_EQ(post("third"), 0u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 2u);
    EXPECT_EQ(mApp->idle(), 1u);
}

} // namespace

} // namespace vel::kos::kfw
