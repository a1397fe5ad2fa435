// The cleaner when memory runs out at any of its allocations.
#include <new>
#include <thread>

#include "kfw/cache/testing/kfw_FSCache_CleanerFixture.h"
#include "tests/support/Allocations.h"
#include "tests/support/FaultTable_Calls.h"

// The fault table's own allocations do not fail: the platform's calls make none that could.
extern "C" {
vel::kos::test::Verdict __real__ZN3vel3kos4test5enterEPKc(const char*);
vel::kos::test::Verdict __wrap__ZN3vel3kos4test5enterEPKc(const char*);
vel::kos::test::Verdict __wrap__ZN3vel3kos4test5enterEPKc(const char* pFunction)
{
    const uint64_t tLeft = vel::kos::test::Allocations::failNth(0);
    const auto tVerdict = __real__ZN3vel3kos4test5enterEPKc(pFunction);
    vel::kos::test::Allocations::failNth(tLeft);
    return tVerdict;
}
}

namespace vel::kos::kfw {

namespace {

using test::Allocations;
using test::FaultTable;

constexpr uint32_t SLEEP_FAILED = KPR_E_SYSTEM;

class CleanerMemoryTest : public CleanerTest {
protected:
    /// Two old files with long names, of which a pass removes one, and a pinned object that is due.
    void arrange()
    {
        mApp->clearRecords();
        startAnew();
        std::filesystem::remove_all(cacheDir());
        FaultTable::setClock({START, 0, 0});
        init();
        ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
        ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
        for (const char* tName : {"a name that no small string buffer holds", "another one of this kind"})
            makeFile(tName, 100, HOUR);
        setCounter("inserted", 17408);
    }
    /// Runs the cleaner for two rounds, between which the pins become due; its pNth allocation fails. False
    /// when there were fewer.
    bool cleanWithout(uint64_t pNth)
    {
        unsigned tSleeps = 0;
        FaultTable::setSleeper([&](uint32_t) {
            FaultTable::advanceClock(900);
            return ++tSleeps == 2 ? SLEEP_FAILED : 0u;
        });
        const auto tThread = FaultTable::capturedThreads().at(mThreadsRun++);
        Allocations::failNth(pNth);
        const uint32_t tStatus = tThread.main(tThread.argument);
        const bool tFailed = Allocations::failNth(0) == 0;
        EXPECT_EQ(tStatus, 1u);
        return tFailed;
    }
};

TEST_F(CleanerMemoryTest, endsTheThreadAndNothingElse)
{
    uint64_t tNth = 1;
    for (;; ++tNth) {
        SCOPED_TRACE(tNth);
        arrange();
        const uint32_t tOpen = FaultTable::openHandles();
        if (!cleanWithout(tNth)) break;
        EXPECT_TRUE(isLockFree());
        uint32_t tLocked = 7;
        EXPECT_EQ(kprIsFileLocked(insertedPath().c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), 0u);
        EXPECT_EQ(tLocked, 0u);
        EXPECT_EQ(FaultTable::openHandles(), tOpen - 1)
            << "of the cleaner's files \"cleaned\" alone was open";
        EXPECT_EQ(put("http://a/after", {}, "y"), 0u) << "the cache works on";
        const auto tLines = logged();
        EXPECT_EQ(std::count(tLines.begin(), tLines.end(),
                             "FS cache cleaner: ended by an exception: " + text(E_OUTOFMEMORY)),
                  1);
    }
    EXPECT_GT(tNth, 20u);
}

TEST_F(CleanerMemoryTest, unlocksNothingThatItHasClosed)
{
    bool tFailed = true;
    for (uint64_t tNth = 1; tFailed; ++tNth) {
        SCOPED_TRACE(tNth);
        arrange();
        FaultTable::fail("kprLockFile", KPR_E_STALE);
        FaultTable::fail("kprCloseFile", KPR_E_IO);
        uint32_t tUnlocks = UINT32_MAX; // that came before it was closed
        FaultTable::before("kprCloseFile", [&] { tUnlocks = FaultTable::calls("kprUnlockFile"); });
        tFailed = cleanWithout(tNth);
        EXPECT_EQ(FaultTable::calls("kprUnlockFile"), tUnlocks);
    }
}

TEST_F(CleanerMemoryTest, closesWhatItCouldNotUnlock)
{
    bool tFailed = true;
    for (uint64_t tNth = 1; tFailed; ++tNth) {
        SCOPED_TRACE(tNth);
        arrange();
        FaultTable::fail("kprUnlockFile", KPR_E_IO, 1, 4);
        const uint32_t tOpen = FaultTable::openHandles();
        tFailed = cleanWithout(tNth);
        if (tFailed) {
            EXPECT_EQ(FaultTable::openHandles(), tOpen - 1) << "whether or not the message had memory";
        }
        FaultTable::forgetRules();
    }
}

TEST_F(CleanerMemoryTest, aCacheThatCouldNotBeSetUpGoesInOrder)
{
    bool tFailed = true;
    for (uint64_t tNth = 1; tFailed; ++tNth) {
        SCOPED_TRACE(tNth);
        std::filesystem::remove_all(cacheDir());
        mCache = kom::retain(new FSCache);
        Allocations::failNth(tNth);
        try {
            static_cast<void>(mCache->init(mApp.get()));
        } catch (const std::bad_alloc&) {
            // As every operation may.
        }
        tFailed = Allocations::failNth(0) == 0;
        mCache.reset();
    }
}

TEST_F(CleanerMemoryTest, aStoreThatCouldNotLockGivesTheLockBack)
{
    arrange();
    bool tFailed = true;
    for (uint64_t tNth = 1; tFailed; ++tNth) {
        SCOPED_TRACE(tNth);
        const std::string tUri = "http://a/" + std::to_string(tNth);
        FaultTable::fail("kprLockFile", KPR_E_IO);
        FaultTable::fail("kprUnlockFile", KPR_E_IO);
        Allocations::failNth(tNth);
        try {
            static_cast<void>(put(tUri, {}, "data"));
        } catch (const std::bad_alloc&) {
            // As every operation may.
        }
        tFailed = Allocations::failNth(0) == 0;
        FaultTable::forgetRules();
        uint32_t tRes = E_FAIL;
        std::thread([&] { tRes = put(tUri + "/other", {}, "data"); }).join();
        EXPECT_EQ(tRes, 0u) << "of another thread, which would wait for ever";
    }
}

TEST_F(CleanerMemoryTest, aPinThatFailedIsNotRecorded)
{
    arrange();
    bool tFailed = true;
    for (uint64_t tNth = 1; tFailed; ++tNth) {
        SCOPED_TRACE(tNth);
        Allocations::failNth(tNth);
        try {
            EXPECT_NE(mCache->pinObject("http://a/not there"), 0u);
        } catch (const std::bad_alloc&) {
            // As every operation may.
        }
        tFailed = Allocations::failNth(0) == 0;
        EXPECT_EQ(mCache->unpinObject("http://a/not there"), E_INVALIDARG);
    }
}

} // namespace

} // namespace vel::kos::kfw
