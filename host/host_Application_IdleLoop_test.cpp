// The idle loop: callouts, being woken, being asked to close.
#include "host/testing/host_ApplicationTest.h"

#include <thread>

#include <gmock/gmock.h>

#include "kpr/thread.h"
#include "kpr/time.h"

using namespace vel::kos;
using namespace vel::kos::host;
using testing::ElementsAre;

namespace {

TEST_F(ApplicationTest, CallsACalloutUntilItHasHadEnough)
{
    start();
    int tCalls = 0;
    auto tCallout = makeCallout([&](unsigned int* pAgain) {
        EXPECT_EQ(*pAgain, 1u);
        if (++tCalls == 3) *pAgain = 0;
        return 0u;
    });
    EXPECT_EQ(mApp->addIdleCallout(tCallout.get()), 0u);
    EXPECT_EQ(runCallouts(), 1u);
    EXPECT_EQ(runCallouts(), 1u);
    EXPECT_EQ(runCallouts(), 1u);
    EXPECT_EQ(runCallouts(), 0u);
    EXPECT_EQ(tCalls, 3);
}

TEST_F(ApplicationTest, DropsACalloutThatFailsAndOneThatHasHadEnough)
{
    start();
    auto tFailing = makeCallout([](unsigned int*) { return E_FAIL; });
    auto tEnding = makeCallout(once([] {}));
    mApp->addIdleCallout(tFailing.get());
    mApp->addIdleCallout(tEnding.get());
    EXPECT_EQ(tFailing->addRef(), 3u);
    EXPECT_EQ(runCallouts(), 2u);
    EXPECT_EQ(tFailing->release(), 1u);
    EXPECT_EQ(tEnding->addRef(), 2u);
    tEnding->release();
    EXPECT_EQ(runCallouts(), 0u);
}

TEST_F(ApplicationTest, CallsCalloutsInOrderAndThoseAddedMeanwhileInTheNextRun)
{
    start();
    std::vector<std::string> tCalls;
    auto tLate = makeCallout(once([&] { tCalls.push_back("late"); }));
    auto tFirst = makeCallout([&](unsigned int* pAgain) {
        tCalls.push_back("first");
        if (tCalls.size() == 1)
            mApp->addIdleCallout(tLate.get());
        else
            *pAgain = 0;
        return 0u;
    });
    auto tSecond = makeCallout(once([&] { tCalls.push_back("second"); }));
    mApp->addIdleCallout(tFirst.get());
    mApp->addIdleCallout(tSecond.get());
    EXPECT_EQ(runCallouts(), 2u);
    EXPECT_EQ(runCallouts(), 2u);
    EXPECT_THAT(tCalls, ElementsAre("first", "second", "first", "late"));
}

TEST_F(ApplicationTest, RefusesAnIdleRunWithinAnIdleRun)
{
    start();
    uint32_t tInner = 0, tRan = 7;
    auto tCallout = makeCallout(once([&] { tInner = mApp->runIdleCallouts(&tRan); }));
    mApp->addIdleCallout(tCallout.get());
    runCallouts();
    EXPECT_EQ(tInner, E_WRONG_STATE);
    EXPECT_EQ(tRan, 0u);
    EXPECT_EQ(mApp->runIdleCallouts(nullptr), E_INVALIDARG);
    EXPECT_EQ(mApp->addIdleCallout(nullptr), E_INVALIDARG);
}

TEST_F(ApplicationTest, ClosingInsideACalloutDropsTheRestOfTheRun)
{
    start();
    int tLaterCalls = 0;
    auto tLater = makeCallout([&](unsigned int*) {
        ++tLaterCalls;
        return 0u;
    });
    uint32_t tCountAfterClose = 0;
    auto tCloser = makeCallout([&](unsigned int*) {
        EXPECT_EQ(mApp->close(), 0);
        tCountAfterClose = tLater->addRef() - 1;
        tLater->release();
        return 0u;
    });
    mApp->addIdleCallout(tCloser.get());
    mApp->addIdleCallout(tLater.get());
    EXPECT_EQ(runCallouts(), 1u);
    EXPECT_EQ(tLaterCalls, 0) << "called after the close hooks";
    EXPECT_EQ(tCountAfterClose, 1u) << "the application still holds it";
    EXPECT_EQ(runCallouts(), 0u);
    EXPECT_EQ(tCloser->addRef(), 2u) << "the application still holds the one that closed it";
    tCloser->release();
}

TEST_F(ApplicationTest, RunsUntilItIsAskedToClose)
{
    start();
    auto tCallout = makeCallout(once([&] {
        mApp->requestClose(3);
        mApp->requestClose(4);
    }));
    mApp->addIdleCallout(tCallout.get());
    EXPECT_EQ(mApp->run(), 3);
    EXPECT_EQ(mApp->close(), 3);
    EXPECT_EQ(mApp->close(), 3);
}

TEST_F(ApplicationTest, IsWokenFromAnotherThread)
{
    start();
    std::atomic<bool> tDone{false};
    std::thread tThread([&] {
        kprSleep(20);
        tDone = true;
        mApp->wakeUp();
    });
    EXPECT_TRUE(mApp->serve([&] { return tDone.load(); }, Waker::FOREVER));
    tThread.join();

    std::thread tCloser([&] {
        kprSleep(20);
        mApp->requestClose(5);
    });
    EXPECT_EQ(mApp->run(), 5);
    tCloser.join();
}

TEST_F(ApplicationTest, ACalloutFromAnotherThreadIsServedOnTheMainThread)
{
    start();
    const uint64_t tMain = kprGetThreadId();
    uint64_t tServed = 0;
    auto tCallout = makeCallout(once([&] { tServed = kprGetThreadId(); }));
    std::thread tThread([&] {
        uint32_t tIsMain = 1;
        EXPECT_EQ(mApp->isMainThread(&tIsMain), 0u);
        EXPECT_EQ(tIsMain, 0u);
        kprSleep(20);
        mApp->addIdleCallout(tCallout.get());
    });
    EXPECT_TRUE(mApp->serve([&] { return tServed != 0; }, Waker::FOREVER));
    EXPECT_EQ(tServed, tMain);
    tThread.join();
    uint32_t tIsMain = 0;
    EXPECT_EQ(mApp->isMainThread(&tIsMain), 0u);
    EXPECT_EQ(tIsMain, 1u);
}

TEST_F(ApplicationTest, ServesForSoLongAtMost)
{
    start();
    int tCalls = 0;
    auto tBusy = makeCallout([&](unsigned int*) {
        ++tCalls;
        kprSleep(1);
        return 0u;
    });
    mApp->addIdleCallout(tBusy.get());
    uint64_t tStart = 0, tEnd = 0;
    kprGetMonotonicTime(&tStart);
    EXPECT_TRUE(mApp->serve({}, 50));
    kprGetMonotonicTime(&tEnd);
    EXPECT_GE(tEnd - tStart, 50000u);
    EXPECT_GE(tCalls, 1);
}

} // namespace
