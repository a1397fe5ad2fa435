// What handlers may do to the registrations of the dispatcher that is calling them.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_ReentryTest.h"

namespace vel::kos::kfw {

namespace {

using test::TestConsumer;
using test::TestEvent;
using Strings = std::vector<std::string>;

class ReentryTest : public test::ReentryTest {};

TEST_F(ReentryTest, servesARegistrationAddedUnderTheTypeInTheSameIteration)
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

TEST_F(ReentryTest, removesInANestedSendWhatAnOuterIterationStandsOn)
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

TEST_F(ReentryTest, skipsSeveralRemovedEntriesThatOuterIterationsStandOn)
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

} // namespace

} // namespace vel::kos::kfw
