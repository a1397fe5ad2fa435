// The cleaner with every platform call of it failing, in virtual time.
#include "kfw/cache/testing/kfw_Counter.h"
#include "tests/reliability/FaultSweep.h"

extern "C" {
// Not counted, and never failed.
uint32_t __real_kprOpenFile(const char*, uint32_t, KprFile*);
uint32_t __real_kprLockFile(KprFile, uint32_t, uint64_t, uint64_t);
uint32_t __real_kprCloseFile(KprFile);
uint32_t __real_kprSetFileTime(const char*, const KprTime*, const KprTime*);
}

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr int64_t START = 1700000000;
constexpr int64_t HOUR = 3600;
constexpr char PINNED[] = "http://example.com/pinned";
constexpr uint64_t THRESHOLD = 17408;

class CleanerSweepTest : public FaultSweep {
protected:
    static void TearDownTestSuite() { printTotal(); }

    std::filesystem::path object(const std::string& pName) const { return objectsDir() / pName; }
    bool exists(const std::string& pName) const { return std::filesystem::exists(object(pName)); }
    std::string oldName(int pHours) const { return std::to_string(pHours) + " hours"; }

    void setModified(const std::filesystem::path& pPath, int64_t pTime)
    {
        const KprTime tTime{pTime, 0, 0};
        ASSERT_EQ(__real_kprSetFileTime(pPath.string().c_str(), &tTime, &tTime), 0u);
    }
    void makeFile(const std::string& pName, int64_t pTime)
    {
        if (!exists(pName)) {
            test::writeFile(object(pName), "");
            std::filesystem::resize_file(object(pName), 100 << 10);
        }
        setModified(object(pName), pTime);
    }
    /// Four old files, of which a pass removes the two youngest; a young one; one that is pinned.
    void arrange(uint64_t pInserted)
    {
        startAnew();
        FaultTable::setClock({START, 0, 0});
        FaultTable::setFileClock({START, 0, 0});
        ASSERT_EQ(mCache->init(mApp.get()), 0u);
        ASSERT_EQ(put(PINNED, {}, "x"), 0u);
        ASSERT_EQ(mCache->pinObject(PINNED), 0u);
        mPinned = nameOf(PINNED);
        for (int tHours = 1; tHours <= 4; ++tHours)
            makeFile(oldName(tHours), START - tHours * HOUR);
        makeFile("young", START - 1700);
        setCounter(cacheDir() / "inserted", pInserted);
        setCounter(cacheDir() / "cleaned", 0);
        mSleeps = 0;
    }
    /// Runs the cleaner until its pRounds-th sleep, which fails; each sleep takes a quarter of an hour, after
    /// which pins are due.
    uint32_t clean(unsigned pRounds)
    {
        FaultTable::setSleeper([this, pRounds](uint32_t) {
            FaultTable::advanceClock(900);
            setModified(object("young"), START + mSleeps * 900);
            if (++mSleeps == mFreeAt && mOther != KPR_NO_FILE) freeLock();
            return mSleeps < pRounds ? 0u : uint32_t{KPR_E_SYSTEM};
        });
        runThread();
        return 0;
    }
    void holdLock()
    {
        ASSERT_EQ(__real_kprOpenFile((cacheDir() / "cleaned").string().c_str(), KPR_OPEN_READ_WRITE, &mOther),
                  0u);
        ASSERT_EQ(__real_kprLockFile(mOther, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    }
    void freeLock() { __real_kprCloseFile(std::exchange(mOther, KPR_NO_FILE)); }

    uint64_t removedKilobytes() const
    {
        uint64_t tRemoved = 0;
        for (int tHours = 1; tHours <= 4; ++tHours)
            tRemoved += exists(oldName(tHours)) ? 0u : 100u;
        return tRemoved;
    }
    bool isLocked(const char* pCounter) const
    {
        uint32_t tLocked = 7;
        EXPECT_EQ(kprIsFileLocked((cacheDir() / pCounter).string().c_str(), KPR_LOCK_EXCLUSIVE, &tLocked),
                  0u);
        return tLocked != 0;
    }
    /// What holds after any faults, and that the next cleaner cleans.
    void checkOutcome(const FaultPoint* pPoint, unsigned pRounds, const std::set<std::string>& pFatal)
    {
        if (mOther != KPR_NO_FILE) freeLock();
        EXPECT_TRUE(exists("young"));
        EXPECT_TRUE(exists(mPinned));
        const uint64_t tUncounted = removedKilobytes() - counter("cleaned");
        if (pPoint) {
            // A lock that is held elsewhere is waited for.
            const bool tWaits = pPoint->function == "kprLockFile" && pPoint->fault.code == KPR_E_LOCKED;
            EXPECT_EQ(mSleeps == pRounds, tWaits || !pPoint->isIn(pFatal)) << mSleeps;
            const bool tCounting = pPoint->isIn({"kprSeekAndRead", "kprSeekAndWrite"});
            EXPECT_EQ(tUncounted, tCounting && removedKilobytes() > 0 && mSleeps == 0 ? 100u : 0u);
        } else {
            EXPECT_LE(tUncounted, 200u);
        }
        EXPECT_LE(removedKilobytes(), 200u);
        EXPECT_FALSE(isLocked("inserted"));
        EXPECT_FALSE(isLocked("cleaned"));
        mCache.reset();
        EXPECT_EQ(FaultTable::openHandles(), 0u);
        startAnew();
        if (pPoint && !isFirstFault(pPoint->fault)) return; // what is left is the same for every code

        arrange(THRESHOLD);
        clean(1);
        EXPECT_EQ(removedKilobytes(), 200u);
        EXPECT_FALSE(exists(oldName(1)) || exists(oldName(2)));
        EXPECT_EQ(counter("cleaned"), 200u);
        mApp->clearRecords();
    }
    /// pRounds sleeps; the fatal calls are those that end the thread.
    void sweepCleaner(const std::string& pName, unsigned pRounds, const std::function<void()>& pPrepare,
                      const std::set<std::string>& pFatal)
    {
        SweptOperation tOperation;
        tOperation.name = pName;
        tOperation.prepare = pPrepare;
        tOperation.pairSpan = 6;
        tOperation.run = [this, pRounds] { return clean(pRounds); };
        tOperation.otherResult = [](const FaultPoint&) { return 0; }; // nobody is told
        tOperation.check = [=, this](uint32_t, const FaultPoint* pPoint) {
            checkOutcome(pPoint, pRounds, pFatal);
        };
        sweep(tOperation);
    }

    std::string mPinned;
    unsigned mSleeps = 0;
    unsigned mFreeAt = 0; ///< the sleep in which the other cleaner ends
    KprFile mOther = KPR_NO_FILE;
};

TEST_F(CleanerSweepTest, aPassAndARefreshment)
{
    sweepCleaner("cleaner: election, counters, pass, sleep, pins", 2, [this] { arrange(THRESHOLD); },
                 {"kprLockFile#1", "kprGetCurrentTime", "kprSeekAndRead", "kprSeekAndWrite", "kprOpenDir",
                  "kprSleep"});
}

TEST_F(CleanerSweepTest, waitingForAnother)
{
    sweepCleaner("cleaner: waiting, pins, taking over", 4,
                 [this] {
                     arrange(0);
                     mFreeAt = 3;
                     holdLock();
                 },
                 {"kprLockFile#1", "kprLockFile#2", "kprLockFile#3", "kprLockFile#4", "kprGetCurrentTime",
                  "kprSeekAndRead", "kprSleep"});
}

} // namespace

} // namespace vel::kos::kfw
