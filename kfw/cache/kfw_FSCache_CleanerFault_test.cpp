// What the cleaner does when calls of the platform fail: what it says, and whether it goes on.
#include "kfw/cache/testing/kfw_FSCache_CleanerFixture.h"

#include "kpr/dir.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(CleanerTest, endsWhenItCannotSleepForTheLock)
{
    init();
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    const uint32_t tOpen = FaultTable::openHandles();
    clean();
    expectAssertion("!KFAILED(tRes)");
    EXPECT_EQ(FaultTable::openHandles(), tOpen - 1) << "\"cleaned\" is closed";
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
    bool tFree = true, tShared = true;
    mOnSleep = [&] {
        tFree = isLockFree();
        KprFile tFile;
        EXPECT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
        tShared = !KFAILED(kprLockFile(tFile, KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT, 0, 0));
        kprCloseFile(tFile);
    };
    clean();
    EXPECT_FALSE(tFree) << "it keeps the lock while it sleeps";
    EXPECT_FALSE(tShared) << "and shares it with nobody";
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

TEST_F(CleanerTest, endsWhenTheClockFailsWhilePinsAreRefreshed)
{
    init();
    // Twice at the start and once after each sleep; the next one is the refreshment's.
    FaultTable::fail("kprGetCurrentTime", KPR_E_SYSTEM, 2 + 30 + 1);
    clean(35);
    expectLogged("FS cache: failed to get current time: " + text(KPR_E_SYSTEM));
    EXPECT_EQ(mSleeps, 30u);
    EXPECT_TRUE(isLockFree());
}

TEST_F(CleanerTest, endsWhenTheClockFailsWhileItWaits)
{
    // Once before each sleep; the second one after the thirtieth is the refreshment's.
    for (const uint32_t tCall : {1u, 5u, 30u + 2u}) {
        startAnew();
        FaultTable::setClock({START, 0, 0});
        mApp->clearRecords();
        mSleeps = 0;
        init();
        KprFile tOther;
        ASSERT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
        ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
        FaultTable::fail("kprGetCurrentTime", KPR_E_SYSTEM, tCall);
        const uint32_t tOpen = FaultTable::openHandles();
        clean(35);
        expectLogged("FS cache: failed to get current time: " + text(KPR_E_SYSTEM));
        EXPECT_EQ(mSleeps, tCall < 30 ? tCall - 1 : 30u);
        EXPECT_EQ(FaultTable::openHandles(), tOpen - 1) << "\"cleaned\" is closed";
        kprCloseFile(tOther);
    }
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
    // A quarter of them is more than one file: the removal that is not counted would not be the last.
    for (const char* tName : {"a", "b", "c", "d", "e"})
        makeFile(tName, 200, HOUR);
    setCounter("inserted", 17408);
    if (GetParam().code)
        FaultTable::fail(GetParam().function, GetParam().code, GetParam().nth);
    else
        FaultTable::cutShort(GetParam().function, 3, GetParam().nth);
    clean();
    expectLogged(util::message(GetParam().message, cleanedPath(), text(GetParam().code)));
    EXPECT_EQ(files().size(), 4u);
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

} // namespace

} // namespace vel::kos::kfw
