#include "host/Waker.h"

#include <gtest/gtest.h>
#include <thread>

#include "kpr/time.h"

using namespace vel::kos::host;

namespace {

TEST(Waker, AWakeUpBeforeTheWaitIsNotLost)
{
    Waker tWaker;
    tWaker.wake();
    EXPECT_TRUE(tWaker.wait(Waker::FOREVER));
}

TEST(Waker, SeveralWakeUpsCountAsOne)
{
    Waker tWaker;
    tWaker.wake();
    tWaker.wake();
    EXPECT_TRUE(tWaker.wait(0));
    EXPECT_FALSE(tWaker.wait(0));
    tWaker.wake();
    EXPECT_TRUE(tWaker.wait(0));
}

TEST(Waker, WaitsSoLongAtMost)
{
    Waker tWaker;
    uint64_t tStart = 0, tEnd = 0;
    kprGetMonotonicTime(&tStart);
    EXPECT_FALSE(tWaker.wait(50));
    kprGetMonotonicTime(&tEnd);
    EXPECT_GE(tEnd - tStart, 40000u);
}

TEST(Waker, IsWokenFromAnotherThread)
{
    Waker tWaker;
    std::thread tThread([&] {
        kprSleep(20);
        tWaker.wake();
    });
    EXPECT_TRUE(tWaker.wait(Waker::FOREVER));
    tThread.join();
}

} // namespace
