// What the cleaner does: when it cleans, what goes and what stays, pins, and whose turn it is.
#include "kfw/cache/testing/kfw_FSCache_CleanerFixture.h"

#include <atomic>
#include <thread>

#include "kpr/dir.h"
#include "kpr/testing/kpr_volume_facts.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(CleanerTest, initStartsAThreadWithASmallStack)
{
    init();
    const auto tThreads = FaultTable::capturedThreads();
    ASSERT_EQ(tThreads.size(), 1u);
    EXPECT_EQ(tThreads[0].stackSize, 262144u);
}

TEST_F(CleanerTest, initReportsAThreadThatDoesNotStart)
{
    FaultTable::fail("kprThreadCreate", KPR_E_NO_RESOURCES);
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_NO_RESOURCES);
    expectLogged("FS cache: failed to start cleaner thread: the system is out of resources");
    EXPECT_EQ(mCache->init(mApp.get()), E_WRONG_STATE);
    mCache.reset();
    EXPECT_EQ(FaultTable::openHandles(), 0u) << "no thread is left that needs the counters";
}

TEST_F(CleanerTest, doesNothingBelowTheThreshold)
{
    init();
    makeFile("old", 100, 10 * HOUR);
    setCounter("inserted", 17407);
    clean(3);
    EXPECT_EQ(files(), Names{"old"});
    EXPECT_EQ(FaultTable::calls("kprOpenDir"), 0u);
    EXPECT_EQ(counter("cleaned"), 0u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, cleansFromTheThresholdOn)
{
    init();
    makeFile("old", 100, 10 * HOUR);
    setCounter("inserted", 17408);
    clean();
    EXPECT_EQ(files(), Names{});
    EXPECT_EQ(counter("cleaned"), 100u);
    EXPECT_EQ(counter("inserted"), 17408u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, sparesEverythingYoungerThanThirtyMinutes)
{
    init();
    makeFile("a", 5000, 1800 - 10);
    makeFile("b", 5000, 0);
    setCounter("inserted", 100000);
    const uint32_t tRemovals = FaultTable::calls("kprRemoveFile");
    clean();
    EXPECT_EQ(files(), (Names{"a", "b"}));
    EXPECT_EQ(FaultTable::calls("kprRemoveFile"), tRemovals);
    EXPECT_EQ(counter("cleaned"), 0u);
}

TEST_F(CleanerTest, removesTheLargeOldFileAlone)
{
    init();
    makeFile("one hour", 10, HOUR);
    makeFile("three hours", 10, 3 * HOUR);
    makeFile("thirty days", 2048, 30 * 24 * HOUR);
    setCounter("inserted", 17408);
    clean();
    EXPECT_EQ(files(), (Names{"one hour", "three hours"}));
    EXPECT_EQ(counter("cleaned"), 2048u);
}

TEST_F(CleanerTest, removesTheYoungerOfTwoSmallFiles)
{
    init();
    makeFile("one hour", 10, HOUR);
    makeFile("three hours", 10, 3 * HOUR);
    setCounter("inserted", 17408);
    clean();
    EXPECT_EQ(files(), Names{"three hours"});
}

TEST_F(CleanerTest, removesTheOneListedLaterAmongEquals)
{
    init();
    for (const char* tName : {"a", "b", "c", "d"})
        makeFile(tName, 10, HOUR);
    std::string tLast;
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(objectsDir().string().c_str(), &tDir), 0u);
    char tName[64];
    while (kprReadDir(tDir, tName, sizeof tName, nullptr) == 0)
        tLast = tName;
    kprCloseDir(tDir);
    setCounter("inserted", 17408);
    clean();
    // A quarter of 40 KB is crossed only after the second one.
    EXPECT_EQ(files().size(), 2u);
    EXPECT_EQ(files().count(tLast), 0u);
}

TEST_F(CleanerTest, removesStrayTemporaryFilesAndNoDirectories)
{
    init();
    makeFile("0123456789ABCDEF0123456789ABCDEF.x1Yz", 400, HOUR);
    std::filesystem::create_directory(objectsDir() / "directory");
    setCounter("inserted", 17408);
    clean();
    EXPECT_EQ(files(), Names{"directory"});
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, goesOnEveryThirtySecondsForAsLongAsItGrows)
{
    init();
    for (int i = 0; i < 8; ++i)
        makeFile("f" + std::to_string(i), 100, HOUR + i * HOUR);
    setCounter("inserted", 17408 + 400);
    clean(5);
    // 200 and the 100 that cross: growth is then 17508, so a second pass removes 125 of 500 and what crosses.
    EXPECT_EQ(counter("cleaned"), 500u);
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(CleanerTest, leavesTheInsertLockToOthersForMostOfAPass)
{
    init();
    constexpr uint32_t FILES = 80, REMOVED = FILES / 4 + 1;
    for (uint32_t i = 0; i < FILES; ++i)
        makeFile("f" + std::to_string(i), 1, 2 * HOUR);
    setCounter("inserted", 17408);
    for (uint32_t i = 1; i <= REMOVED; ++i) {
        // Waiting for the lock is nobody's holding it. The election and the look at the counters come first.
        FaultTable::before(
            "kprLockFile", [] { FaultTable::advanceMonotonicClock(500000); }, i + 2);
        FaultTable::before(
            "kprRemoveFile", [] { FaultTable::advanceMonotonicClock(2000); }, i);
    }
    std::vector<uint32_t> tRests;
    uint32_t tLocked = 0;
    mOnRest = [&](uint32_t pMilliseconds) {
        tRests.push_back(pMilliseconds);
        uint32_t tIsLocked = 7;
        EXPECT_EQ(kprIsFileLocked(insertedPath().c_str(), KPR_LOCK_EXCLUSIVE, &tIsLocked), 0u);
        tLocked += tIsLocked;
        FaultTable::advanceMonotonicClock(uint64_t(pMilliseconds) * 1000);
        return 0u;
    };
    clean();
    ASSERT_EQ(counter("cleaned"), REMOVED);
    EXPECT_EQ(tRests, std::vector<uint32_t>(REMOVED - 1, 18));
    EXPECT_EQ(tLocked, 0u) << "it rests without the lock";
}

TEST_F(CleanerTest, sparesAFileThatWasTouchedSinceTheListing)
{
    init();
    makeFile("touched", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::before("kprCloseDir", [this] { setModified("touched", START); });
    clean();
    EXPECT_EQ(files(), Names{"touched"});
    EXPECT_EQ(counter("cleaned"), 0u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, countsAnEntryOnceThatIsListedTwice)
{
    init();
    for (const char* tName : {"a", "b", "c", "d"})
        makeFile(tName, 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::repeatEntry(5); // the last one, which is the first to go
    clean();
    EXPECT_EQ(files().size(), 2u);
    EXPECT_EQ(counter("cleaned"), 200u);
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_EQ(FaultTable::pending(), 0u);
}

TEST_F(CleanerTest, countsARemovalUnderTheInsertLock)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    uint32_t tLocked = 0;
    FaultTable::before("kprSeekAndWrite", [&] {
        EXPECT_EQ(kprIsFileLocked(insertedPath().c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), 0u);
    });
    clean();
    EXPECT_EQ(counter("cleaned"), 100u);
    EXPECT_EQ(tLocked, 1u);
}

TEST_F(CleanerTest, waitsForAPinThatIsBeingMade)
{
    init();
    ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
    std::atomic<unsigned> tRounds = 0;
    unsigned tRoundsMeanwhile = 0;
    mOnSleep = [&] { tRounds = mSleeps; };
    std::thread tCleaner;
    FaultTable::before("kprSetFileTime", [&] {
        tCleaner = std::thread([&] { clean(35); });
        for (int i = 0; i < 2000 && tRounds < 30; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        tRoundsMeanwhile = tRounds;
    });
    EXPECT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    ASSERT_TRUE(tCleaner.joinable());
    tCleaner.join();
    EXPECT_EQ(tRoundsMeanwhile, 30u) << "pins are due, and their list is not its own yet";
    EXPECT_EQ(mSleeps, 35u);
}

TEST_F(CleanerTest, comparesAgesByTheFileServersClock)
{
    FaultTable::setServerClockOffset(int64_t(86400) * 1000000);
    init();
    makeFile("young", 100, 1700);
    makeFile("old", 100, 1900);
    setCounter("inserted", 17408);
    clean();
    EXPECT_EQ(files(), Names{"young"});
}

TEST_F(CleanerTest, refreshesPinsAfterFifteenMinutesAndEveryFifteenAfter)
{
    init();
    ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
    ASSERT_EQ(put("http://a/loose", {}, "x"), 0u);
    ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    const std::string tPinned = nameOf("http://a/pinned"), tLoose = nameOf("http://a/loose");
    setModified(tPinned, START);
    setModified(tLoose, START);
    std::vector<int64_t> tTimes;
    mOnSleep = [&] {
        if (const int64_t tTime = modified(tPinned); tTimes.empty() || tTimes.back() != tTime)
            tTimes.push_back(tTime);
    };
    clean(95);
    EXPECT_THAT(tTimes, ElementsAre(START, START + 900, START + 1800, START + 2700));
    EXPECT_EQ(modified(tLoose), START);
    KprFileInfo tInfo{};
    ASSERT_EQ(kprGetFileInfo(path(tPinned).c_str(), KPR_INFO_ALL, &tInfo), 0u);
    if (const std::string tFat = kprtest::fatName(mDir.path()); !tFat.empty())
        GTEST_SKIP() << tFat << " keeps the day of an access only";
    EXPECT_EQ(tInfo.accessed.seconds, tInfo.modified.seconds);
}

TEST_F(CleanerTest, keepsAPinnedObjectThroughEveryPass)
{
    init();
    ASSERT_EQ(put("http://a/pinned", {}, std::string(300 << 10, 'x')), 0u);
    ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    setModified(nameOf("http://a/pinned"), START);
    setCounter("inserted", 1000000);
    clean(400);
    EXPECT_EQ(files(), Names{nameOf("http://a/pinned")});
    EXPECT_EQ(counter("cleaned"), 0u);
}

TEST_F(CleanerTest, waitsForTheLockAndTakesOver)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    mOnSleep = [&] {
        if (mSleeps > 10) return;
        EXPECT_EQ(files(), Names{"old"});
        if (mSleeps == 10) kprCloseFile(tOther);
    };
    clean(11);
    EXPECT_EQ(files(), Names{});
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, refreshesItsOwnPinsWhileItWaits)
{
    init();
    ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
    ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    const std::string tPinned = nameOf("http://a/pinned");
    setModified(tPinned, START);
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    clean(65);
    EXPECT_EQ(modified(tPinned), START + 1800);
    kprCloseFile(tOther);
}

TEST_F(CleanerTest, goesOnWithItsScheduleOfRefreshingWhenItTakesOver)
{
    init();
    ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
    ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    const std::string tPinned = nameOf("http://a/pinned");
    setModified(tPinned, START);
    setCounter("inserted", 100000); // every pass removes what it may
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    std::vector<int64_t> tTimes;
    mOnSleep = [&] {
        if (mSleeps == 29) kprCloseFile(tOther); // just before the first refreshing is due
        if (const int64_t tTime = modified(tPinned); tTimes.empty() || tTimes.back() != tTime)
            tTimes.push_back(tTime);
    };
    clean(65);
    EXPECT_THAT(tTimes, ElementsAre(START, START + 900, START + 1800));
}

TEST_F(CleanerTest, outlivesTheCache)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    ASSERT_EQ(put("http://a/pinned", {}, "x"), 0u);
    ASSERT_EQ(mCache->pinObject("http://a/pinned"), 0u);
    const std::string tPinned = nameOf("http://a/pinned");
    setModified(tPinned, START);
    const uint32_t tReferences = mApp->references();
    mOnSleep = [&] {
        if (mSleeps != 1) return;
        mCache.reset();
        EXPECT_LT(mApp->references(), tReferences);
        makeFile("later", 100, HOUR);
        setCounter("inserted", 50000);
        mApp->clearRecords();
        FaultTable::fail("kprCloseDir", KPR_E_IO); // something to log
    };
    clean(80);
    EXPECT_EQ(files(), Names{}) << "it goes on, and the pins are gone";
    EXPECT_TRUE(mApp->logLines().empty()) << "the application is not called any more";
    EXPECT_EQ(mApp->references(), 1u);
}

} // namespace

} // namespace vel::kos::kfw
