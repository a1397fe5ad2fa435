// Locks between handles of one process, and between processes: the program is its own second process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

namespace {

constexpr uint32_t TRY_SHARED = KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT;
constexpr uint32_t TRY_EXCLUSIVE = KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT;

class Handle {
public:
    explicit Handle(const std::string& pPath)
    {
        EXPECT_EQ(kprOpenFile(pPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &mFile), 0u);
    }
    ~Handle() { close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    uint32_t lock(uint32_t pMode, uint64_t pOffset = 0, uint64_t pLength = 0)
    {
        return kprLockFile(mFile, pMode, pOffset, pLength);
    }
    uint32_t unlock(uint64_t pOffset = 0, uint64_t pLength = 0)
    {
        return kprUnlockFile(mFile, pOffset, pLength);
    }
    void close()
    {
        if (mFile != KPR_NO_FILE) kprCloseFile(mFile);
        mFile = KPR_NO_FILE;
    }
    KprFile get() const { return mFile; }

private:
    KprFile mFile = KPR_NO_FILE;
};

class KprLockTest : public testing::Test {
protected:
    uint32_t isLocked(uint32_t pMode = KPR_LOCK_EXCLUSIVE)
    {
        uint32_t tLocked = 9;
        EXPECT_EQ(kprIsFileLocked(mPath.c_str(), pMode, &tLocked), 0u);
        return tLocked;
    }

    kprtest::TemporaryDirectory mDir;
    std::string mPath = mDir / "locked";
};

// The second process: locks the file, says so, and holds the lock until it is told to end.
int holdLock(const std::string& pPath, const std::string& pMode)
{
    Handle tHandle(pPath);
    const uint32_t tRes = tHandle.lock(pMode == "exclusive" ? TRY_EXCLUSIVE : TRY_SHARED);
    if (KFAILED(tRes)) return tRes == KPR_E_LOCKED ? 3 : 4;
    kprtest::writeFile(pPath + ".ready", "");
    return kprtest::waitForFile(pPath + ".done", 60) ? 0 : 5;
}

// A child that only lives: whatever it inherited lives with it.
int waitForDone(const std::string& pPath)
{
    kprtest::writeFile(pPath + ".ready", "");
    return kprtest::waitForFile(pPath + ".done", 60) ? 0 : 5;
}

// Adds one to the number in the file many times, each time under the exclusive lock.
int count(const std::string& pPath, int pTimes)
{
    Handle tHandle(pPath);
    for (int i = 0; i < pTimes; ++i) {
        if (KFAILED(tHandle.lock(KPR_LOCK_EXCLUSIVE))) return 3;
        uint32_t tNumber = 0, tDone;
        if (KFAILED(kprSeekAndRead(tHandle.get(), 0, &tNumber, 4, &tDone))) return 4;
        ++tNumber;
        if (KFAILED(kprSeekAndWrite(tHandle.get(), 0, &tNumber, 4, &tDone)) || tDone != 4) return 5;
        if (KFAILED(tHandle.unlock())) return 6;
    }
    return 0;
}

} // namespace

TEST_F(KprLockTest, SharedLocksShareAndExclusiveOnesDoNot)
{
    Handle tOne(mPath), tTwo(mPath);
    ASSERT_EQ(tOne.lock(TRY_SHARED), 0u);
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE), KPR_E_LOCKED);
    EXPECT_EQ(tTwo.lock(TRY_SHARED), 0u);
    EXPECT_EQ(tOne.unlock(), 0u);
    EXPECT_EQ(tTwo.unlock(), 0u);
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE), 0u);
    EXPECT_EQ(tTwo.lock(TRY_SHARED), KPR_E_LOCKED);
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE), KPR_E_LOCKED);
    EXPECT_EQ(tOne.unlock(), 0u);
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE), 0u);
}

TEST_F(KprLockTest, ClosingGivesTheLockBackAndOtherHandlesKeepTheirs)
{
    Handle tOne(mPath), tTwo(mPath);
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE), 0u);
    {
        Handle tOther(mPath); // classic record locks would all go with this one
    }
    EXPECT_EQ(tTwo.lock(TRY_SHARED), KPR_E_LOCKED);
    tOne.close();
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE), 0u);
}

TEST_F(KprLockTest, TheWholeFileIsLockedHoweverItGrows)
{
    Handle tOne(mPath), tTwo(mPath);
    uint32_t tWritten = 0;
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE), 0u);
    ASSERT_EQ(kprSeekAndWrite(tOne.get(), uint64_t{1} << 20, "x", 1, &tWritten), 0u);
    EXPECT_EQ(tTwo.lock(TRY_SHARED), KPR_E_LOCKED);
    EXPECT_EQ(tTwo.lock(TRY_SHARED, 0, INT64_MAX), KPR_E_LOCKED);
    EXPECT_EQ(tOne.unlock(), 0u);
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE, 0, INT64_MAX), 0u);
    EXPECT_EQ(tOne.lock(TRY_SHARED), KPR_E_LOCKED);
}

TEST_F(KprLockTest, RangesThatDoNotOverlapAreIndependent)
{
    Handle tOne(mPath), tTwo(mPath);
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE, 0, 10), 0u);
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE, 10, 10), 0u);
    EXPECT_EQ(tOne.lock(TRY_EXCLUSIVE, 19, 1), KPR_E_LOCKED);
    EXPECT_EQ(tTwo.unlock(10, 10), 0u);
    EXPECT_EQ(tOne.lock(TRY_EXCLUSIVE, 19, 1), 0u);
}

TEST_F(KprLockTest, RefusesBadModesAndRanges)
{
    Handle tHandle(mPath);
    EXPECT_EQ(tHandle.lock(4), E_INVALIDARG);
    EXPECT_EQ(tHandle.lock(TRY_SHARED, uint64_t{1} << 63, 1), E_INVALIDARG);
    EXPECT_EQ(tHandle.lock(TRY_SHARED, INT64_MAX, 1), E_INVALIDARG);
    EXPECT_EQ(tHandle.unlock(uint64_t{1} << 63, 1), E_INVALIDARG);
}

TEST_F(KprLockTest, UnlockingWhatIsNotLockedIsNoFailure)
{
    Handle tHandle(mPath);
    EXPECT_EQ(tHandle.unlock(), 0u);
}

TEST_F(KprLockTest, WaitsForTheLock)
{
    Handle tOne(mPath), tTwo(mPath);
    ASSERT_EQ(tOne.lock(KPR_LOCK_EXCLUSIVE), 0u);
    std::atomic<bool> tHasIt{false};
    std::thread tWaiter([&] {
        EXPECT_EQ(tTwo.lock(KPR_LOCK_SHARED), 0u);
        tHasIt = true;
    });
    kprSleep(150);
    EXPECT_FALSE(tHasIt);
    EXPECT_EQ(tOne.unlock(), 0u);
    tWaiter.join();
    EXPECT_TRUE(tHasIt);
}

TEST_F(KprLockTest, TellsWhetherSomebodyHoldsALock)
{
    uint32_t tLocked = 9;
    EXPECT_EQ(kprIsFileLocked(mPath.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), KPR_E_NOT_FOUND);
    EXPECT_EQ(tLocked, 0u);
    EXPECT_EQ(kprIsFileLocked(mDir.path().c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), KPR_E_NOT_REGULAR);
    Handle tOne(mPath), tTwo(mPath);
    EXPECT_EQ(isLocked(), 0u);
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE), 0u);
    EXPECT_EQ(isLocked(), 1u);
    EXPECT_EQ(isLocked(), 1u);
    EXPECT_EQ(isLocked(KPR_LOCK_SHARED), 1u);
    EXPECT_EQ(tTwo.lock(TRY_SHARED), KPR_E_LOCKED); // asking took nothing away
    EXPECT_EQ(tOne.unlock(), 0u);
    EXPECT_EQ(isLocked(), 0u);
    ASSERT_EQ(tOne.lock(TRY_SHARED), 0u);
    EXPECT_EQ(isLocked(), 1u);
    EXPECT_EQ(isLocked(KPR_LOCK_SHARED), 0u);
    EXPECT_EQ(tTwo.lock(TRY_SHARED), 0u);
    for (const uint32_t tMode : {TRY_SHARED, TRY_EXCLUSIVE, 4u}) {
        tLocked = 9;
        EXPECT_EQ(kprIsFileLocked(mPath.c_str(), tMode, &tLocked), E_INVALIDARG) << tMode;
        EXPECT_EQ(tLocked, 9u);
    }
}

TEST_F(KprLockTest, ThoseWhoAskForASharedLockDoNotMeet)
{
    Handle tHandle(mPath);
    std::atomic<uint32_t> tMet{0};
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 6; ++i)
        tThreads.emplace_back([&] {
            for (int j = 0; j < 100; ++j)
                tMet += isLocked(KPR_LOCK_SHARED);
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(tMet, 0u);
}

TEST_F(KprLockTest, ProcessesExcludeEachOther)
{
    Handle tHandle(mPath);
    {
        kprtest::ChildProcess tChild({"--hold", mPath, "exclusive"});
        ASSERT_TRUE(kprtest::waitForFile(mPath + ".ready"));
        EXPECT_EQ(tHandle.lock(TRY_SHARED), KPR_E_LOCKED);
        EXPECT_EQ(tHandle.lock(TRY_EXCLUSIVE), KPR_E_LOCKED);
        EXPECT_EQ(isLocked(), 1u);
        kprtest::writeFile(mPath + ".done", "");
        EXPECT_EQ(tChild.wait(), 0);
    }
    EXPECT_EQ(isLocked(), 0u);
    ASSERT_EQ(tHandle.lock(TRY_EXCLUSIVE), 0u);
    kprtest::ChildProcess tChild({"--hold", mPath, "shared"});
    EXPECT_EQ(tChild.wait(), 3);
}

TEST_F(KprLockTest, AKilledProcessLeavesNoLock)
{
    Handle tHandle(mPath);
    kprtest::ChildProcess tChild({"--hold", mPath, "exclusive"});
    ASSERT_TRUE(kprtest::waitForFile(mPath + ".ready"));
    ASSERT_EQ(tHandle.lock(TRY_SHARED), KPR_E_LOCKED);
    tChild.kill();
    EXPECT_EQ(tChild.wait(), -1);
    EXPECT_EQ(tHandle.lock(KPR_LOCK_EXCLUSIVE), 0u);
}

TEST_F(KprLockTest, ChildrenInheritNoHandle)
{
    Handle tOne(mPath), tTwo(mPath);
    ASSERT_EQ(tOne.lock(TRY_EXCLUSIVE), 0u);
    kprtest::ChildProcess tChild({"--wait", mPath});
    ASSERT_TRUE(kprtest::waitForFile(mPath + ".ready"));
    tOne.close();
    EXPECT_EQ(tTwo.lock(TRY_EXCLUSIVE), 0u); // an inherited handle would still hold the lock
    kprtest::writeFile(mPath + ".done", "");
    EXPECT_EQ(tChild.wait(), 0);
}

TEST_F(KprLockTest, TheLockMakesCountersExactOverProcessesAndThreads)
{
    constexpr int tTimes = 300;
    kprtest::ChildProcess tOne({"--count", mPath, std::to_string(tTimes)});
    kprtest::ChildProcess tTwo({"--count", mPath, std::to_string(tTimes)});
    std::thread tThread([&] { EXPECT_EQ(count(mPath, tTimes), 0); });
    EXPECT_EQ(count(mPath, tTimes), 0);
    tThread.join();
    EXPECT_EQ(tOne.wait(), 0);
    EXPECT_EQ(tTwo.wait(), 0);
    uint32_t tNumber = 0, tRead;
    Handle tHandle(mPath);
    ASSERT_EQ(kprSeekAndRead(tHandle.get(), 0, &tNumber, 4, &tRead), 0u);
    EXPECT_EQ(tNumber, 4u * tTimes);
}

int main(int pCount, char** pArguments)
{
    const std::vector<std::string> tArguments = kprtest::arguments();
    if (tArguments.size() == 3 && tArguments[0] == "--hold") return holdLock(tArguments[1], tArguments[2]);
    if (tArguments.size() == 2 && tArguments[0] == "--wait") return waitForDone(tArguments[1]);
    if (tArguments.size() == 3 && tArguments[0] == "--count")
        return count(tArguments[1], std::stoi(tArguments[2]));
    testing::InitGoogleMock(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
