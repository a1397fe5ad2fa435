#include "kutil/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/TestApplication.h"

namespace {

using namespace vel::kos;
using test::TestApplication;
using util::Mutex;
using util::MutexLocker;

TEST(Mutex, HoldsAReferenceOnItsApplication)
{
    const auto tApp = TestApplication::make();
    {
        Mutex tMutex(tApp.get());
        EXPECT_EQ(tApp->references(), 2u);
    }
    EXPECT_EQ(tApp->references(), 1u);
}

TEST(Mutex, IsRecursive)
{
    Mutex tMutex(nullptr);
    EXPECT_EQ(tMutex.lock(), 0u);
    EXPECT_EQ(tMutex.lock(), 0u);
    EXPECT_EQ(tMutex.unlock(), 0u);

    // Still held: another thread waits until the last unlock.
    std::atomic<bool> tEntered{false};
    std::thread tOther([&] {
        const MutexLocker tLock(&tMutex);
        tEntered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(tEntered);
    EXPECT_EQ(tMutex.unlock(), 0u);
    tOther.join();
    EXPECT_TRUE(tEntered);
}

TEST(Mutex, RefusesUnlockByAThreadThatDoesNotHoldIt)
{
    const auto tApp = TestApplication::make();
    Mutex tMutex(tApp.get());
    EXPECT_EQ(tMutex.unlock(), E_WRONG_STATE);
    EXPECT_EQ(tApp->assertions().size(), 1u);
    EXPECT_EQ(tApp->assertions().at(0).sourceFile, "kutil_Mutex");

    EXPECT_EQ(tMutex.lock(), 0u);
    std::thread([&] { EXPECT_EQ(tMutex.unlock(), E_WRONG_STATE); }).join();
    EXPECT_EQ(tApp->assertions().size(), 2u);
    EXPECT_EQ(tMutex.unlock(), 0u);
    EXPECT_EQ(tMutex.unlock(), E_WRONG_STATE);
    EXPECT_EQ(tApp->assertions().size(), 3u);

    // None of which did any harm.
    EXPECT_EQ(tMutex.lock(), 0u);
    EXPECT_EQ(tMutex.unlock(), 0u);
}

TEST(Mutex, ExcludesThreads)
{
    Mutex tMutex(nullptr);
    int tCount = 0; // guarded by nothing else
    std::vector<std::thread> tThreads;
    for (int tThread = 0; tThread < 8; ++tThread)
        tThreads.emplace_back([&] {
            for (int tRound = 0; tRound < 2000; ++tRound) {
                const MutexLocker tOuter(&tMutex);
                const MutexLocker tInner(&tMutex);
                ++tCount;
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(tCount, 16000);
}

} // namespace
