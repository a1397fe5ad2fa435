// The cleaner's body in virtual time: the test is the clock and the sleep, and runs the thread itself.
#include "kfw_FSCache_Cleaner.h"

#include <chrono>
#include <set>

#include <gmock/gmock.h>

#include "kfw_FSCache_TestFixture.h"
#include "kom/identity.h"
#include "kpr/byteorder.h"
#include "kpr/dir.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;
using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::set<std::string>;

constexpr int64_t START = 1700000000;
constexpr int64_t HOUR = 3600;

class CleanerTest : public FSCacheFixture {
protected:
    CleanerTest() { FaultTable::setClock({START, 0, 0}); }

    /// Initialises the cache, and finds out by how much its file times are ahead of the test's clock.
    void init()
    {
        FSCacheFixture::init();
        ASSERT_EQ(put("http://a/probe", {}, ""), 0u);
        ASSERT_EQ(mCache->pinObject("http://a/probe"), 0u); // touches it
        mOffset = modifiedSeconds("http://a/probe") - START;
        ASSERT_EQ(mCache->unpinObject("http://a/probe"), 0u);
        std::filesystem::remove(fileOf("http://a/probe"));
        setCounter("inserted", 0);
    }

    /// A file in the objects' directory, so many seconds old by the test's clock.
    void makeFile(const std::string& pName, uint64_t pKilobytes, int64_t pAge)
    {
        const auto tPath = objectsDir() / pName;
        test::writeFile(tPath, "");
        std::filesystem::resize_file(tPath, pKilobytes << 10);
        setModified(pName, START - pAge);
    }
    /// Sets a file's times to a moment of the test's clock.
    void setModified(const std::string& pName, int64_t pTime)
    {
        const KprTime tTime{pTime + mOffset, 0, 0};
        ASSERT_EQ(kprSetFileTime((objectsDir() / pName).string().c_str(), &tTime, &tTime), 0u);
    }
    int64_t modified(const std::string& pName) const
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(kprGetFileInfo((objectsDir() / pName).string().c_str(), KPR_INFO_MTIME, &tInfo), 0u);
        return tInfo.modified.seconds - mOffset;
    }
    void setCounter(const std::string& pName, uint64_t pValue)
    {
        const uint64_t tBytes = kprHost2BE64(pValue);
        test::writeFile(cacheDir() / pName, std::string(reinterpret_cast<const char*>(&tBytes), 8));
    }
    Names files() const
    {
        Names tNames;
        for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
            tNames.insert(tEntry.path().filename().string());
        return tNames;
    }
    /// Runs the cleaner for so many rounds; its last sleep fails, which ends it.
    void clean(unsigned pRounds = 1)
    {
        FaultTable::setSleeper([this, pRounds](uint32_t pMilliseconds) {
            EXPECT_EQ(pMilliseconds, 30000u);
            FaultTable::advanceClock(30);
            ++mSleeps;
            if (mOnSleep) mOnSleep();
            return mSleeps < pRounds ? 0 : KPR_E_SYSTEM;
        });
        runThread();
    }
    std::string path(const std::string& pName) const { return (objectsDir() / pName).string(); }
    std::string cleanedPath() const { return (cacheDir() / "cleaned").string(); }
    std::string insertedPath() const { return (cacheDir() / "inserted").string(); }
    std::string text(uint32_t pCode) const { return komStrError(pCode); }
    std::vector<std::string> logged() const { return mApp->messages(fw::LOG_LEVEL_DEBUG); }
    /// Whether somebody could become the cleaner now.
    bool isLockFree() const
    {
        KprFile tFile;
        EXPECT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
        const uint32_t tRes = kprLockFile(tFile, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0);
        kprCloseFile(tFile);
        return !KFAILED(tRes);
    }

    int64_t mOffset = 0;
    unsigned mSleeps = 0;
    std::function<void()> mOnSleep;
};

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
    using Clock = std::chrono::steady_clock;
    init();
    constexpr uint32_t FILES = 80, REMOVED = FILES / 4 + 1;
    for (uint32_t i = 0; i < FILES; ++i)
        makeFile("f" + std::to_string(i), 1, 2 * HOUR);
    setCounter("inserted", 17408);
    std::vector<Clock::time_point> tTaken, tGiven;
    // The election and the look at the counters come first.
    for (uint32_t i = 0; i < REMOVED; ++i) {
        FaultTable::before(
            "kprLockFile", [&] { tTaken.push_back(Clock::now()); }, i + 3);
        FaultTable::before(
            "kprUnlockFile", [&] { tGiven.push_back(Clock::now()); }, i + 2);
    }
    clean();
    ASSERT_EQ(counter("cleaned"), REMOVED);
    ASSERT_EQ(tTaken.size(), REMOVED);
    ASSERT_EQ(tGiven.size(), REMOVED);
    Clock::duration tHeld{}, tFree{};
    for (uint32_t i = 0; i + 1 < REMOVED; ++i) {
        tHeld += tGiven[i] - tTaken[i];
        tFree += tTaken[i + 1] - tGiven[i];
    }
    EXPECT_GT(tFree, 3 * tHeld); // sleeps are never shorter than they should be
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

TEST_F(CleanerTest, endsWhenItCannotSleepForTheLock)
{
    init();
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    clean();
    expectAssertion("!KFAILED(tRes)");
    kprCloseFile(tOther);
}

TEST_F(CleanerTest, endsWhenTheLockFails)
{
    init();
    FaultTable::fail("kprLockFile", KPR_E_STALE);
    clean();
    expectLogged("FS cache cleaner: failed to lock " + cleanedPath() + ": " + text(KPR_E_STALE));
    EXPECT_EQ(mSleeps, 0u);
    EXPECT_TRUE(isLockFree());
}

TEST_F(CleanerTest, reportsThatItCannotCloseAFileItCouldNotLock)
{
    init();
    FaultTable::fail("kprLockFile", KPR_E_STALE);
    FaultTable::fail("kprCloseFile", KPR_E_IO);
    clean();
    EXPECT_THAT(logged(),
                ElementsAre("FS cache cleaner: failed to lock " + cleanedPath() + ": " + text(KPR_E_STALE),
                            "FS cache cleaner: failed to close " + cleanedPath() + ": " + text(KPR_E_IO)));
}

TEST_F(CleanerTest, reportsAFailedUnlockAndClose)
{
    init();
    setCounter("inserted", 0);
    FaultTable::fail("kprUnlockFile", KPR_E_IO, 2);
    FaultTable::fail("kprCloseFile", KPR_E_STALE);
    clean();
    EXPECT_THAT(logged(),
                ElementsAre("FS cache cleaner: failed to unlock " + cleanedPath() + ": " + text(KPR_E_IO),
                            "FS cache cleaner: failed to close " + cleanedPath() + ": " + text(KPR_E_STALE)));
}

TEST_F(CleanerTest, givesTheLockBackWhenItEnds)
{
    init();
    bool tFree = true;
    mOnSleep = [&] { tFree = isLockFree(); };
    clean();
    EXPECT_FALSE(tFree) << "it keeps the lock while it sleeps";
    EXPECT_TRUE(isLockFree());
}

/// Each reading of the clock in turn, in a round that cleans.
class CleanerClockTest : public CleanerTest, public testing::WithParamInterface<uint32_t> {};

TEST_P(CleanerClockTest, endsWhenTheClockFails)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprGetCurrentTime", KPR_E_SYSTEM, GetParam());
    clean(2);
    expectLogged("FS cache: failed to get current time: " + text(KPR_E_SYSTEM));
    EXPECT_EQ(files().size(), GetParam() <= 4 ? 1u : 0u);
    EXPECT_EQ(mSleeps, GetParam() == 5 ? 1u : 0u);
    EXPECT_TRUE(isLockFree());
}

INSTANTIATE_TEST_SUITE_P(every, CleanerClockTest, testing::Range(1u, 6u));

TEST_F(CleanerTest, goesOnWhenAPinCannotBeTouched)
{
    init();
    for (const char* tUri : {"http://a/1", "http://a/2"}) {
        ASSERT_EQ(put(tUri, {}, "x"), 0u);
        ASSERT_EQ(mCache->pinObject(tUri), 0u);
    }
    std::filesystem::remove(fileOf("http://a/1"));
    setModified(nameOf("http://a/2"), START);
    mApp->clearRecords();
    clean(31);
    expectLogged("FS cache cleaner: failed to touch " + fileOf("http://a/1").string() + ": " +
                 text(KPR_E_NOT_FOUND));
    EXPECT_EQ(modified(nameOf("http://a/2")), START + 900);
}

TEST_F(CleanerTest, logsAClockThatFailsWhilePinsAreRefreshedAndGoesOn)
{
    init();
    // Twice at the start and once after each sleep; the next one is the refreshment's.
    FaultTable::fail("kprGetCurrentTime", KPR_E_SYSTEM, 2 + 30 + 1);
    clean(35);
    expectLogged("FS cache: failed to get current time: " + text(KPR_E_SYSTEM));
    EXPECT_EQ(mSleeps, 35u);
}

TEST_F(CleanerTest, endsWhenACounterCannotBeRead)
{
    init();
    FaultTable::fail("kprSeekAndRead", KPR_E_IO, 1);
    clean();
    expectLogged("FS cache cleaner: failed to read " + insertedPath() + ": " + text(KPR_E_IO));
    EXPECT_EQ(mSleeps, 0u);
    EXPECT_TRUE(isLockFree());
}

TEST_F(CleanerTest, endsWhenTheOtherCounterCannotBeRead)
{
    init();
    FaultTable::fail("kprSeekAndRead", KPR_E_IO, 2);
    clean();
    expectLogged("FS cache cleaner: failed to read " + cleanedPath() + ": " + text(KPR_E_IO));
}

TEST_F(CleanerTest, endsWhenACounterIsShort)
{
    init();
    FaultTable::cutShort("kprSeekAndRead", 7, 2);
    clean();
    expectLogged("FS cache cleaner: short read on " + cleanedPath() + " (7 bytes).");
    EXPECT_EQ(mSleeps, 0u);
}

TEST_F(CleanerTest, readsWithoutThePlatformsPositionedRead)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprSeekAndRead", E_NOT_SUPPORTED, 1, UINT32_MAX);
    FaultTable::fail("kprSeekAndWrite", E_NOT_SUPPORTED, 1, UINT32_MAX);
    clean();
    EXPECT_EQ(counter("cleaned"), 100u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(CleanerTest, looksAtTheCountersWithoutTheLockWhenItCannotBeHad)
{
    init();
    FaultTable::fail("kprLockFile", KPR_E_IO, 2);
    clean();
    expectLogged("FS cache: can't get lock of " + insertedPath() + ": " + text(KPR_E_IO));
    EXPECT_EQ(mSleeps, 1u);
}

TEST_F(CleanerTest, endsWhenTheDirectoryCannotBeListed)
{
    init();
    setCounter("inserted", 17408);
    FaultTable::fail("kprOpenDir", KPR_E_ACCESS_DENIED);
    clean();
    expectLogged("FS cache cleaner: can't open directory " + objectsDir().string() + ": " +
                 text(KPR_E_ACCESS_DENIED));
    EXPECT_EQ(mSleeps, 0u);
}

TEST_F(CleanerTest, readsOnAfterAnEntryThatCannotBeRead)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprReadDir", KPR_E_IO, 1, 2);
    clean();
    const std::string tMessage = "FS cache cleaner: failed to read directory entry of " +
                                 objectsDir().string() + ": " + text(KPR_E_IO);
    EXPECT_THAT(logged(), ElementsAre(tMessage, tMessage));
    EXPECT_EQ(files(), Names{});
}

TEST_F(CleanerTest, goesOnWhenTheListingCannotBeClosed)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprCloseDir", KPR_E_IO);
    clean();
    expectLogged("FS cache cleaner: can't close directory " + objectsDir().string() + ": " + text(KPR_E_IO));
    EXPECT_EQ(files(), Names{});
}

TEST_F(CleanerTest, skipsAFileWhoseFactsCannotBeRead)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprGetFileInfo", KPR_E_ACCESS_DENIED, 1);
    clean();
    expectLogged("FS cache cleaner: failed to get file information for " + path("old") + ": " +
                 text(KPR_E_ACCESS_DENIED));
    EXPECT_EQ(files(), Names{"old"});
    EXPECT_EQ(mSleeps, 1u);
}

TEST_F(CleanerTest, skipsAFileWhoseTimeCannotBeReadAgain)
{
    init();
    makeFile("old", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprGetFileInfo", KPR_E_NOT_FOUND, 2);
    clean();
    expectLogged("FS cache cleaner: failed to get modification time of " + path("old") + ": " +
                 text(KPR_E_NOT_FOUND));
    EXPECT_EQ(counter("cleaned"), 0u);
}

TEST_F(CleanerTest, skipsAFileThatCannotBeRemovedAndDoesNotCountIt)
{
    init();
    makeFile("large", 1000, 2 * HOUR);
    makeFile("small", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprRemoveFile", KPR_E_IN_USE, 1);
    clean();
    expectLogged("FS cache cleaner: failed to remove " + path("large") + ": " + text(KPR_E_IN_USE));
    EXPECT_EQ(files(), Names{"large"});
    EXPECT_EQ(counter("cleaned"), 100u);
}

TEST_F(CleanerTest, skipsAFileWithoutTheInsertLock)
{
    init();
    makeFile("large", 1000, 2 * HOUR);
    makeFile("small", 100, HOUR);
    setCounter("inserted", 17408);
    FaultTable::fail("kprLockFile", KPR_E_NO_RESOURCES, 3);
    clean();
    expectLogged("FS cache: can't get exclusive lock of " + insertedPath() + ": " + text(KPR_E_NO_RESOURCES));
    EXPECT_EQ(files(), Names{"large"});
}

/// A failure while a removal is counted ends the pass and the thread.
struct CountFault {
    const char* function;
    uint32_t nth;
    uint32_t code; ///< 0: cut short
    const char* message;
};

class CleanerCountTest : public CleanerTest, public testing::WithParamInterface<CountFault> {};

TEST_P(CleanerCountTest, endsWhenARemovalCannotBeCounted)
{
    init();
    makeFile("large", 1000, 2 * HOUR);
    makeFile("small", 1000, HOUR);
    setCounter("inserted", 17408);
    if (GetParam().code)
        FaultTable::fail(GetParam().function, GetParam().code, GetParam().nth);
    else
        FaultTable::cutShort(GetParam().function, 3, GetParam().nth);
    clean();
    expectLogged(util::message(GetParam().message, cleanedPath(), text(GetParam().code)));
    EXPECT_EQ(files().size(), 1u);
    EXPECT_EQ(mSleeps, 0u);
    EXPECT_TRUE(isLockFree());
}

INSTANTIATE_TEST_SUITE_P(
    every, CleanerCountTest,
    testing::Values(CountFault{"kprSeekAndRead", 3, KPR_E_IO, "FS cache cleaner: failed to read %1: %2"},
                    CountFault{"kprSeekAndRead", 3, 0, "FS cache cleaner: short read on %1 (3 bytes)."},
                    CountFault{"kprSeekAndWrite", 1, KPR_E_NO_SPACE,
                               "FS cache cleaner: failed to write %1: %2"},
                    CountFault{"kprSeekAndWrite", 1, 0, "FS cache cleaner: short write on %1 (3 bytes)."}));

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
