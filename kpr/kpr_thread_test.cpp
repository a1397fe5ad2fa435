#include "kpr/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "kpr/byteorder.h"
#include "kpr/codes.h"
#include "kpr/time.h"

TEST(KprThread, RunsAndReturnsItsStatus)
{
    struct Work {
        uint64_t thread = 0;
        uint32_t process = 0;
    } tWork;
    KprThread tThread = 0;
    const KprThreadMain tBody = [](void* pWork) -> uint32_t {
        static_cast<Work*>(pWork)->thread = kprGetThreadId();
        static_cast<Work*>(pWork)->process = kprGetProcessId();
        return 0xFEDCBA98u;
    };
    ASSERT_EQ(kprThreadCreate(&tThread, 0, 0, tBody, &tWork), 0u);
    EXPECT_NE(tThread, 0);
    uint32_t tStatus = 0;
    EXPECT_EQ(kprThreadJoin(tThread, &tStatus), 0u);
    EXPECT_EQ(tStatus, 0xFEDCBA98u);
    EXPECT_NE(tWork.thread, kprGetThreadId());
    EXPECT_EQ(tWork.process, kprGetProcessId());
    EXPECT_EQ(kprGetThreadId(), kprGetThreadId());
}

TEST(KprThread, RefusesNonsense)
{
    const KprThreadMain tBody = [](void*) -> uint32_t { return 0; };
    KprThread tThread = 5;
    EXPECT_EQ(kprThreadCreate(nullptr, 0, 0, tBody, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprThreadCreate(&tThread, 0, 0, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(tThread, 0);
    EXPECT_EQ(kprThreadCreate(&tThread, 1, 0, tBody, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprThreadJoin(0, nullptr), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprThreadDetach(0), KPR_E_BAD_HANDLE);
}

TEST(KprThread, StacksOfEverySizeWork)
{
    // Uses a good part of the stack it was given.
    const KprThreadMain tBody = [](void*) -> uint32_t {
        volatile char tLocal[100 * 1024];
        for (size_t i = 0; i < sizeof tLocal; i += 512)
            tLocal[i] = 1;
        return static_cast<uint32_t>(tLocal[0] + tLocal[99 * 1024]);
    };
    for (uint32_t tSize : {0u, 262144u, 262145u, 1000000u}) {
        KprThread tThread;
        ASSERT_EQ(kprThreadCreate(&tThread, 0, tSize, tBody, nullptr), 0u) << tSize;
        uint32_t tStatus = 0;
        EXPECT_EQ(kprThreadJoin(tThread, &tStatus), 0u);
        EXPECT_EQ(tStatus, 2u);
    }
    KprThread tThread; // less than the system's least is rounded up
    ASSERT_EQ(kprThreadCreate(
                  &tThread, 0, 1, [](void*) -> uint32_t { return 1; }, nullptr),
              0u);
    EXPECT_EQ(kprThreadJoin(tThread, nullptr), 0u);
}

TEST(KprThread, DetachedThreadsGoOn)
{
    static std::atomic<int> tSteps{0};
    KprThread tThread;
    const KprThreadMain tBody = [](void*) -> uint32_t {
        while (tSteps < 1)
            kprSleep(1);
        tSteps = 2;
        return 0;
    };
    ASSERT_EQ(kprThreadCreate(&tThread, 0, 262144, tBody, nullptr), 0u);
    EXPECT_EQ(kprThreadDetach(tThread), 0u);
    tSteps = 1;
    for (int i = 0; i < 5000 && tSteps != 2; ++i)
        kprSleep(1);
    EXPECT_EQ(tSteps, 2);
}

TEST(KprThread, AtomicsCountEveryStep)
{
    constexpr unsigned tThreads = 4, tSteps = 20000;
    unsigned int tCounter = 0;
    const auto tRun = [&](auto pStep) {
        std::vector<std::thread> tRunning;
        for (unsigned i = 0; i < tThreads; ++i)
            tRunning.emplace_back([&] {
                for (unsigned j = 0; j < tSteps; ++j)
                    pStep();
            });
        for (std::thread& tThread : tRunning)
            tThread.join();
    };
    tRun([&] { kprAtomicIncrement(&tCounter); });
    EXPECT_EQ(tCounter, tThreads * tSteps);
    tRun([&] { kprAtomicDecrement(&tCounter); });
    EXPECT_EQ(tCounter, 0u);
    EXPECT_EQ(kprAtomicIncrement(&tCounter), 1u);
    EXPECT_EQ(kprAtomicDecrement(&tCounter), 0u);
    EXPECT_EQ(kprAtomicDecrement(&tCounter), 0xFFFFFFFFu);
}

TEST(KprByteOrder, PutsTheHighByteFirst)
{
    const uint32_t tValue = kprHost2BE32(0x0E9A5B42u);
    const uint64_t tLong = kprHost2BE64(0x0102030405060708u);
    uint8_t tBytes[8];
    std::memcpy(tBytes, &tValue, 4);
    EXPECT_EQ(tBytes[0], 0x0E);
    EXPECT_EQ(tBytes[3], 0x42);
    std::memcpy(tBytes, &tLong, 8);
    EXPECT_EQ(tBytes[0], 1);
    EXPECT_EQ(tBytes[7], 8);
    EXPECT_EQ(kprBE2Host32(tValue), 0x0E9A5B42u);
    EXPECT_EQ(kprBE2Host64(tLong), 0x0102030405060708u);
}

TEST(KprTime, TheClocksGoForward)
{
    EXPECT_EQ(kprGetCurrentTime(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetMonotonicTime(nullptr), E_INVALIDARG);
    KprTime tNow;
    ASSERT_EQ(kprGetCurrentTime(&tNow), 0u);
    EXPECT_GT(tNow.seconds, 1700000000);
    EXPECT_LT(tNow.seconds, 32503680000); // the year 3000
    EXPECT_LT(tNow.microseconds, 1000000u);
    uint64_t tBefore, tAfter;
    ASSERT_EQ(kprGetMonotonicTime(&tBefore), 0u);
    ASSERT_EQ(kprSleep(30), 0u);
    ASSERT_EQ(kprGetMonotonicTime(&tAfter), 0u);
    EXPECT_GE(tAfter - tBefore, 29000u); // Windows rounds to its ticks
    KprTime tLater;
    ASSERT_EQ(kprGetCurrentTime(&tLater), 0u);
    EXPECT_GT(std::make_pair(tLater.seconds, tLater.microseconds),
              std::make_pair(tNow.seconds, tNow.microseconds));
}
