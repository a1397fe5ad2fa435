// Clocks that differ, are coarse or jump, in virtual time: what the cache spares and what it removes, to the
// second. Two clocks count: the local one, and that of the file system, which gives new files their times.
#include <functional>

#include "kfw/cache/format/kfw_CleaningPolicy.h"
#include "kfw/cache/testing/kfw_Counter.h"
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

extern "C" uint32_t __real_kprGetFileInfo(const char*, uint32_t, KprFileInfo*);
extern "C" uint32_t __real_kprSetFileTime(const char*, const KprTime*, const KprTime*);

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr int64_t START = 1700000000; // even
constexpr int64_t MINUTE = 60, HOUR = 3600, DAY = 86400;
constexpr char URI[] = "http://example.com/";
constexpr char PINNED[] = "http://example.com/pinned";

class ClockTest : public FSCacheFixture {
protected:
    /// Initialises a cache whose cleaner always finds that the cache has grown enough.
    void begin(KprTime pLocal, KprTime pFile, int64_t pStep = 0)
    {
        startAnew();
        FaultTable::setClock(pLocal);
        FaultTable::setFileClock(pFile);
        FaultTable::setFileTimeStep(pStep);
        init();
        setCounter(cacheDir() / "inserted", 1 << 30);
        mSleeps = 0;
    }
    void begin(int64_t pServerAhead = 0) { begin({START, 0, 0}, {START + pServerAhead, 0, 0}); }

    /// Runs the cleaner; pOnSleep is called in each sleep of 30 seconds with its number from 1 on, and the
    /// last one ends the thread.
    void clean(unsigned pSleeps, const std::function<void(unsigned)>& pOnSleep = {})
    {
        FaultTable::setSleeper([=, this](uint32_t) {
            FaultTable::advanceClock(30);
            ++mSleeps;
            if (pOnSleep) pOnSleep(mSleeps);
            return mSleeps < pSleeps ? 0u : uint32_t{KPR_E_SYSTEM};
        });
        runThread();
        EXPECT_EQ(mSleeps, pSleeps);
    }
    /// Moves the local clock alone.
    void jump(int64_t pSeconds)
    {
        KprTime tNow = now();
        tNow.seconds += pSeconds;
        FaultTable::setClock(tNow);
    }
    static KprTime now()
    {
        KprTime tNow{};
        EXPECT_EQ(kprGetCurrentTime(&tNow), 0u);
        return tNow;
    }
    std::filesystem::path path(const std::string& pName) const { return objectsDir() / pName; }
    bool exists(const std::string& pName) const { return std::filesystem::exists(path(pName)); }
    /// A file of 10 KB with a time of the file system's clock.
    void makeFile(const std::string& pName, int64_t pTime)
    {
        test::writeFile(path(pName), std::string(10 << 10, 'x'));
        const KprTime tTime{pTime, 0, 0};
        ASSERT_EQ(__real_kprSetFileTime(path(pName).string().c_str(), &tTime, &tTime), 0u);
    }
    /// A file's time on the file system's own clock.
    int64_t fileTime(const std::string& pName) const
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(__real_kprGetFileInfo(path(pName).string().c_str(), KPR_INFO_MTIME, &tInfo), 0u);
        return tInfo.modified.seconds;
    }
    void putPinned()
    {
        ASSERT_EQ(put(PINNED, {}, "pinned"), 0u);
        ASSERT_EQ(mCache->pinObject(PINNED), 0u);
        mPinned = nameOf(PINNED);
    }
    /// Asks for an object; whether that refreshed its time.
    bool isRefreshedByHasObject(const std::string& pUri)
    {
        const uint32_t tBefore = FaultTable::calls("kprSetFileTime");
        uint32_t tExists = 0;
        EXPECT_EQ(mCache->hasObject(pUri.c_str(), &tExists), 0u);
        EXPECT_EQ(tExists, 1u);
        return FaultTable::calls("kprSetFileTime") > tBefore;
    }

    unsigned mSleeps = 0;
    std::string mPinned;
};

// A file server's clock that is ahead or behind.

class ServerClockTest : public ClockTest, public testing::WithParamInterface<int64_t> {};

TEST_P(ServerClockTest, anObjectIsRemovedAfterThirtyMinutesAndNotBefore)
{
    begin(GetParam());
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    const std::string tName = nameOf(URI);
    std::vector<bool> tThere;
    clean(62, [&](unsigned) { tThere.push_back(exists(tName)); });
    // The pass before the 61st sleep finds it 1800 seconds old, the next one 1830.
    EXPECT_EQ(std::count(tThere.begin(), tThere.end(), true), 61);
    EXPECT_FALSE(tThere.back());
}

TEST_P(ServerClockTest, anObjectThatIsAskedAboutIsRefreshedAfterFifteenMinutes)
{
    begin(GetParam());
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    FaultTable::advanceClock(900);
    EXPECT_FALSE(isRefreshedByHasObject(URI));
    FaultTable::advanceClock(1);
    EXPECT_TRUE(isRefreshedByHasObject(URI));
    EXPECT_EQ(fileTime(nameOf(URI)), START + 901 + GetParam()) << "now, by the file system's clock";
    EXPECT_FALSE(isRefreshedByHasObject(URI));
}

TEST_P(ServerClockTest, pinsHold)
{
    begin(GetParam());
    putPinned();
    EXPECT_EQ(fileTime(mPinned), START + GetParam());
    clean(300); // two and a half hours
    EXPECT_TRUE(exists(mPinned));
    EXPECT_EQ(fileTime(mPinned), START + 9 * 900 + GetParam());
}

INSTANTIATE_TEST_SUITE_P(offsets, ServerClockTest, testing::Values(0, HOUR, -HOUR, DAY, -DAY));

TEST_F(ClockTest, theOffsetIsTheDifferenceOfRoundedSeconds)
{
    struct Case {
        uint32_t local, file; // microseconds
        int64_t offset;
    };
    // Half a second is not rounded up, more is.
    for (const Case& tCase : {Case{0, 0, 0}, Case{500000, 500000, 0}, Case{500001, 500000, -1},
                              Case{500000, 500001, 1}, Case{999999, 999999, 0}, Case{0, 999999, 1}}) {
        begin({START, tCase.local, 0}, {START, tCase.file, 0});
        putPinned();
        EXPECT_EQ(fileTime(mPinned), START + tCase.offset) << tCase.local << ' ' << tCase.file;
    }
}

// File times of two seconds.

TEST_F(ClockTest, timesOfTwoSecondsCostAtMostTwoSeconds)
{
    for (const int64_t tSecond : {0, 1})
        for (const uint32_t tMicroseconds : {0u, 500001u, 999999u})
            for (const int64_t tLater : {0, 1}) {
                const int64_t tBegin = START + tSecond;
                SCOPED_TRACE(std::to_string(tSecond) + '.' + std::to_string(tMicroseconds) + " + " +
                             std::to_string(tLater));
                begin({tBegin, tMicroseconds, 0}, {tBegin, tMicroseconds, 0}, 2);
                FaultTable::advanceClock(tLater);
                ASSERT_EQ(put(URI, {}, "data"), 0u);
                const std::string tName = nameOf(URI);
                // What the file system tells is the last even second; rounding the clock may add one more.
                const int64_t tOffset = START - (tBegin + (tMicroseconds > 500000 ? 1 : 0));
                const int64_t tSeen = START + (tSecond + tLater) / 2 * 2 - tOffset;
                const int64_t tStored = tBegin + tLater;
                EXPECT_LE(std::abs(tSeen - tStored), 2);

                FaultTable::advanceClock(tSeen + 900 - tStored);
                EXPECT_FALSE(isRefreshedByHasObject(URI));
                FaultTable::advanceClock(900);
                bool tThere = false;
                clean(2, [&](unsigned pSleep) {
                    if (pSleep == 1) {
                        tThere = exists(tName);
                        FaultTable::advanceClock(-29); // after the sleep it is a second later
                    }
                });
                EXPECT_TRUE(tThere) << "1800 seconds old";
                EXPECT_FALSE(exists(tName)) << "1801 seconds old";
                EXPECT_GE(tSeen + 1801 - tStored, MINIMUM_AGE - 1) << "its true age";
            }
}

// Jumps of the local clock. The offset was measured when the cache was set up, and is not measured again.

TEST_F(ClockTest, aJumpForwardAgesWhatIsNotPinned)
{
    begin();
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    putPinned();
    makeFile("a minute old", START - MINUTE);
    clean(4, [&](unsigned pSleep) {
        if (pSleep == 1) jump(HOUR);
    });
    EXPECT_FALSE(exists(nameOf(URI)));
    EXPECT_FALSE(exists("a minute old"));
    EXPECT_TRUE(exists(mPinned)) << "it was refreshed before the pass";
    EXPECT_EQ(fileTime(mPinned), START + 30 + HOUR) << "ahead of the file system's clock";
}

TEST_F(ClockTest, afterAJumpForwardNewObjectsLookOldUntilSomebodyAsks)
{
    begin();
    jump(HOUR);
    ASSERT_EQ(put("http://example.com/asked", {}, "data"), 0u);
    EXPECT_TRUE(isRefreshedByHasObject("http://example.com/asked"));
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    ASSERT_EQ(put(PINNED, {}, "data"), 0u);
    ASSERT_EQ(put(PINNED, {}, "data"), 0u); // storing it again refreshes it as well
    clean(2);
    EXPECT_FALSE(exists(nameOf(URI)));
    EXPECT_TRUE(exists(nameOf("http://example.com/asked")));
    EXPECT_TRUE(exists(nameOf(PINNED)));

    // A cache that is set up now knows the difference.
    begin({START + HOUR, 0, 0}, {START, 0, 0});
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    clean(2);
    EXPECT_TRUE(exists(nameOf(URI)));
}

class JumpBackTest : public ClockTest, public testing::WithParamInterface<int64_t> {};

TEST_P(JumpBackTest, filesLookYoungerByTheJump)
{
    begin();
    makeFile("spared", START - 25 * MINUTE - GetParam());
    makeFile("still old", START - 31 * MINUTE - GetParam());
    setCounter(cacheDir() / "inserted", 0);
    clean(3, [&](unsigned pSleep) {
        if (pSleep != 1) return;
        jump(-GetParam());
        setCounter(cacheDir() / "inserted", 1 << 30);
    });
    EXPECT_TRUE(exists("spared"));
    EXPECT_FALSE(exists("still old"));
}

TEST_P(JumpBackTest, pinsAreRefreshedAgainOnceTheClockHasCaughtUp)
{
    begin();
    putPinned();
    const auto tRounds = static_cast<unsigned>(GetParam() / 30);
    std::vector<unsigned> tRefreshed;
    int64_t tTime = START;
    // Only times count here: a listing in every round of a day would take long.
    setCounter(cacheDir() / "inserted", 0);
    clean(tRounds + 62, [&](unsigned pSleep) {
        if (pSleep == 1) jump(-GetParam());
        if (fileTime(mPinned) == tTime) return;
        tTime = fileTime(mPinned);
        tRefreshed.push_back(pSleep);
    });
    // The round after the 30th sleep would have been the one; the clock lost that many rounds.
    EXPECT_EQ(tRefreshed, (std::vector<unsigned>{tRounds + 31, tRounds + 61}));
    // To this process the object was never old: it compares with the clock that went back.
    EXPECT_TRUE(exists(mPinned));
}

TEST_P(JumpBackTest, objectsFromTheFutureAreThereAndAreNotRefreshed)
{
    begin();
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    jump(-GetParam());
    EXPECT_FALSE(isRefreshedByHasObject(URI));
    EXPECT_EQ(fileTime(nameOf(URI)), START);
    ASSERT_EQ(mCache->pinObject(URI), 0u);
    EXPECT_EQ(fileTime(nameOf(URI)), START - GetParam()) << "a pin sets the time that the clock shows";
    clean(3);
    EXPECT_TRUE(exists(nameOf(URI)));
}

TEST_P(JumpBackTest, betweenListingAndRemovalItSpares)
{
    begin();
    makeFile("spared", START - 31 * MINUTE);
    makeFile("still old", START - 31 * MINUTE - GetParam());
    FaultTable::before("kprCloseDir", [&] { jump(-GetParam()); });
    clean(1);
    EXPECT_TRUE(exists("spared"));
    EXPECT_FALSE(exists("still old"));
}

INSTANTIATE_TEST_SUITE_P(jumps, JumpBackTest, testing::Values(HOUR, DAY));

TEST_F(ClockTest, aJumpForwardBetweenListingAndRemovalAddsNoCandidates)
{
    begin();
    makeFile("old", START - 31 * MINUTE);
    makeFile("young", START - 29 * MINUTE);
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    FaultTable::before("kprCloseDir", [&] { jump(HOUR); });
    clean(1);
    EXPECT_FALSE(exists("old"));
    EXPECT_TRUE(exists("young")) << "a pass takes what its listing found";
    EXPECT_TRUE(exists(nameOf(URI)));
}

TEST_F(ClockTest, aJumpForwardBetweenListingAndRemovalSparesWhatIsTouched)
{
    begin();
    ASSERT_EQ(put(URI, {}, "data"), 0u);
    makeOld(URI, 31 * MINUTE);
    FaultTable::before("kprCloseDir", [&] {
        jump(HOUR);
        EXPECT_TRUE(isRefreshedByHasObject(URI));
    });
    clean(1);
    EXPECT_TRUE(exists(nameOf(URI)));
}

TEST_F(ClockTest, aWaitingCleanerRefreshesItsPinsAfterAJumpForward)
{
    begin();
    putPinned();
    KprFile tOther;
    ASSERT_EQ(kprOpenFile((cacheDir() / "cleaned").string().c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    ASSERT_EQ(kprLockFile(tOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    clean(2, [&](unsigned pSleep) {
        if (pSleep == 1) jump(HOUR);
    });
    EXPECT_EQ(fileTime(mPinned), START + 30 + HOUR);
    kprCloseFile(tOther);
}

} // namespace

} // namespace vel::kos::kfw
