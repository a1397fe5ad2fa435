#include "kutil/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kutil/log.h"
#include "tests/support/TestApplication.h"

namespace {

using namespace vel::kos;
using test::TestApplication;
using util::Mutex;
using util::MutexLocker;

// Through pointers: some tests lock and unlock in ways that the compiler's analysis is right to refuse.
constexpr auto LOCK = &Mutex::lock;
constexpr auto UNLOCK = &Mutex::unlock;
uint32_t lock(Mutex& pMutex) { return (pMutex.*LOCK)(); }
uint32_t unlock(Mutex& pMutex) { return (pMutex.*UNLOCK)(); }

std::vector<std::string> gFallback;
void record(uint32_t, const char*, const char* pMessage) { gFallback.push_back(pMessage); }

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
    EXPECT_EQ(lock(tMutex), 0u);
    EXPECT_EQ(lock(tMutex), 0u);
    EXPECT_EQ(unlock(tMutex), 0u);

    // Still held: another thread waits until the last unlock.
    std::atomic<bool> tEntered{false};
    std::thread tOther([&] {
        const MutexLocker tLock(&tMutex);
        tEntered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(tEntered);
    EXPECT_EQ(unlock(tMutex), 0u);
    tOther.join();
    EXPECT_TRUE(tEntered);
}

TEST(Mutex, RefusesUnlockByAThreadThatDoesNotHoldIt)
{
    const auto tApp = TestApplication::make();
    Mutex tMutex(tApp.get());
    EXPECT_EQ(unlock(tMutex), E_WRONG_STATE);
    EXPECT_EQ(tApp->assertions().size(), 1u);
    EXPECT_EQ(tApp->assertions().at(0).sourceFile, "kutil_Mutex");

    EXPECT_EQ(lock(tMutex), 0u);
    std::thread([&] { EXPECT_EQ(unlock(tMutex), E_WRONG_STATE); }).join();
    EXPECT_EQ(tApp->assertions().size(), 2u);
    EXPECT_EQ(unlock(tMutex), 0u);
    EXPECT_EQ(unlock(tMutex), E_WRONG_STATE);
    EXPECT_EQ(tApp->assertions().size(), 3u);

    // None of which did any harm.
    EXPECT_EQ(lock(tMutex), 0u);
    EXPECT_EQ(unlock(tMutex), 0u);
}

TEST(Mutex, GivesItsApplicationBackWhenItIsUnbound)
{
    const auto tApp = TestApplication::make();
    Mutex tMutex(tApp.get());
    std::thread([&] {
        const MutexLocker tLock(&tMutex);
        std::thread([&] { tMutex.unbind(); }).join();
    }).join();
    EXPECT_EQ(tApp->references(), 1u);
    tMutex.unbind();
    EXPECT_EQ(tApp->references(), 1u);

    // From then on a wrong unlock is reported to nobody's application.
    gFallback.clear();
    util::kSetFallbackLog(record);
    EXPECT_EQ(unlock(tMutex), E_WRONG_STATE);
    util::kSetFallbackLog(nullptr);
    EXPECT_TRUE(tApp->assertions().empty());
    ASSERT_EQ(gFallback.size(), 1u);
    EXPECT_TRUE(
        gFallback[0].starts_with("Assertion failed: owner == std::this_thread::get_id() (kutil_Mutex"))
        << gFallback[0];
    EXPECT_EQ(lock(tMutex), 0u);
    EXPECT_EQ(unlock(tMutex), 0u);
}

TEST(Mutex, ReportsWrongUnlocksWhileItIsUnbound)
{
    const auto tApp = TestApplication::make();
    util::kSetFallbackLog([](uint32_t, const char*, const char*) {});
    for (int tRound = 0; tRound < 50; ++tRound) {
        Mutex tMutex(tApp.get());
        std::thread tOther([&] { EXPECT_EQ(unlock(tMutex), E_WRONG_STATE); });
        tMutex.unbind();
        tOther.join();
    }
    util::kSetFallbackLog(nullptr);
    EXPECT_EQ(tApp->references(), 1u);
}

TEST(Mutex, ExcludesThreads)
{
    Mutex tMutex(nullptr);
    int tCount = 0; // guarded by nothing else
    std::vector<std::thread> tThreads;
    for (int tThread = 0; tThread < 8; ++tThread)
        tThreads.emplace_back([&] {
            for (int tRound = 0; tRound < 2000; ++tRound) {
                const MutexLocker tLock(&tMutex);
                lock(tMutex);
                ++tCount;
                unlock(tMutex);
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(tCount, 16000);
}

} // namespace
