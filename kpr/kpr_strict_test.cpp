// The stand-in for the strictest Windows refuses what it says.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

namespace {

class KprStrictTest : public testing::Test {
protected:
    void SetUp() override
    {
        uint32_t tWritten;
        ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &mOne), 0u);
        ASSERT_EQ(kprWrite(mOne, "01234567", 8, &tWritten), 0u);
        ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE, &mTwo), 0u);
    }
    void TearDown() override
    {
        kprCloseFile(mOne);
        kprCloseFile(mTwo);
    }

    uint32_t read(KprFile pFile) { return kprSeekAndRead(pFile, 0, mBytes, 8, &mCount); }
    uint32_t write(KprFile pFile) { return kprSeekAndWrite(pFile, 0, "abcd", 4, &mCount); }

    kprtest::TemporaryDirectory mDir;
    std::string mPath = mDir / "file";
    KprFile mOne = KPR_NO_FILE, mTwo = KPR_NO_FILE;
    char mBytes[8];
    uint32_t mCount = 0;
};

} // namespace

TEST_F(KprStrictTest, AnExclusiveLockShutsOthersOut)
{
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_EXCLUSIVE, 0, 100), 0u);
    EXPECT_EQ(read(mOne), 0u);
    EXPECT_EQ(write(mOne), 0u);
    EXPECT_EQ(read(mTwo), KPR_E_LOCKED);
    EXPECT_EQ(mCount, 0u);
    EXPECT_EQ(write(mTwo), KPR_E_LOCKED);
    EXPECT_EQ(kprRead(mTwo, mBytes, 8, &mCount), KPR_E_LOCKED);
    EXPECT_EQ(kprWrite(mTwo, mBytes, 8, &mCount), KPR_E_LOCKED);
    EXPECT_EQ(kprUnlockFile(mOne, 0, 100), 0u);
    EXPECT_EQ(read(mTwo), 0u);
    EXPECT_EQ(write(mTwo), 0u);
}

TEST_F(KprStrictTest, ALockOfTheWholeFileLeavesItsBytesToOthers)
{
    for (const uint32_t tMode : {uint32_t{KPR_LOCK_EXCLUSIVE}, uint32_t{KPR_LOCK_SHARED}}) {
        ASSERT_EQ(kprLockFile(mOne, tMode, 0, 0), 0u);
        EXPECT_EQ(read(mTwo), 0u);
        EXPECT_EQ(mCount, 8u);
        EXPECT_EQ(kprRead(mTwo, mBytes, 4, &mCount), 0u);
        EXPECT_EQ(write(mOne), 0u);
        EXPECT_EQ(kprUnlockFile(mOne, 0, 0), 0u);
    }
}

TEST_F(KprStrictTest, ASharedLockLetsEverybodyReadAndNobodyWrite)
{
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_SHARED, 0, 100), 0u);
    EXPECT_EQ(read(mOne), 0u);
    EXPECT_EQ(read(mTwo), 0u);
    EXPECT_EQ(write(mOne), KPR_E_LOCKED);
    EXPECT_EQ(write(mTwo), KPR_E_LOCKED);
}

TEST_F(KprStrictTest, OnlyTheLockedRangeCounts)
{
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_EXCLUSIVE, 4, 4), 0u);
    EXPECT_EQ(write(mTwo), 0u);
    EXPECT_EQ(read(mTwo), KPR_E_LOCKED);
}

TEST_F(KprStrictTest, ClosingOpensTheFileAgain)
{
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_EXCLUSIVE, 0, 8), 0u);
    EXPECT_EQ(read(mTwo), KPR_E_LOCKED);
    ASSERT_EQ(kprCloseFile(mOne), 0u);
    EXPECT_EQ(read(mTwo), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &mOne), 0u);
}

TEST_F(KprStrictTest, LockingTwiceWouldWaitForEver)
{
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_SHARED, 0, 0), 0u);
    EXPECT_EQ(kprLockFile(mOne, KPR_LOCK_EXCLUSIVE, 0, 0), E_INTERNAL);
}

TEST_F(KprStrictTest, ALockedFileIsNotTruncated)
{
    KprFile tFile = 5;
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_SHARED, 0, 0), 0u);
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_TRUNCATE, &tFile), KPR_E_LOCKED);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    EXPECT_EQ(read(mTwo), 0u);
    EXPECT_EQ(mCount, 8u);
}

TEST_F(KprStrictTest, ARemovedNameStaysTakenWhileTheFileIsOpen)
{
    KprFile tFile = 5;
    KprFileInfo tInfo;
    kprtest::writeFile(mDir / "other", "");
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), 0u);
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE, &tFile), KPR_E_IN_USE);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tFile), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprMoveFile((mDir / "other").c_str(), mPath.c_str()), KPR_E_IN_USE);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "renamed").c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(read(mTwo), 0u);
    EXPECT_EQ(kprCloseFile(mOne), 0u);
    std::thread tHolder([&] {
        kprSleep(50);
        EXPECT_EQ(kprCloseFile(mTwo), 0u);
    });
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE, &tFile), 0u) << "waited for";
    tHolder.join();
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), 0u);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprMoveFile((mDir / "other").c_str(), mPath.c_str()), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &mOne), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &mTwo), 0u);
}

TEST_F(KprStrictTest, AnOpenFileIsNotReplaced)
{
    kprtest::writeFile(mDir / "other", "");
    EXPECT_EQ(kprReplaceFile((mDir / "other").c_str(), mPath.c_str()), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "renamed").c_str()), 0u); // but it may be renamed,
    EXPECT_EQ(kprReplaceFile((mDir / "other").c_str(), mPath.c_str()), 0u);
    ASSERT_EQ(kprLockFile(mOne, KPR_LOCK_EXCLUSIVE, 0, 8), 0u); // and is the same file under its new name
    EXPECT_EQ(read(mTwo), KPR_E_LOCKED);
    EXPECT_EQ(kprReplaceFile(mPath.c_str(), (mDir / "renamed").c_str()), KPR_E_ACCESS_DENIED);
}
