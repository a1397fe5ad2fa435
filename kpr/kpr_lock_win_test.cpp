// Which bytes a lock of the whole file takes on Windows, asked with the system's own calls.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

constexpr uint32_t TRY_SHARED = KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT;
constexpr uint32_t TRY_EXCLUSIVE = KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT;
constexpr uint64_t LAST = INT64_MAX;

class WholeFileLock : public testing::Test {
protected:
    void SetUp() override
    {
        for (KprFile* tFile : {&mOurs, &mTheirs})
            ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, tFile), 0u);
    }
    void TearDown() override
    {
        kprCloseFile(mOurs);
        kprCloseFile(mTheirs);
    }

    /// Locks bytes as another program does, without waiting.
    bool lockBytes(uint64_t pOffset, uint64_t pLength, bool pExclusive)
    {
        OVERLAPPED tWhere = at(pOffset);
        return LockFileEx(reinterpret_cast<HANDLE>(mTheirs),
                          LOCKFILE_FAIL_IMMEDIATELY | (pExclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0u), 0,
                          static_cast<DWORD>(pLength), static_cast<DWORD>(pLength >> 32), &tWhere);
    }
    bool unlockBytes(uint64_t pOffset, uint64_t pLength)
    {
        OVERLAPPED tWhere = at(pOffset);
        return UnlockFileEx(reinterpret_cast<HANDLE>(mTheirs), 0, static_cast<DWORD>(pLength),
                            static_cast<DWORD>(pLength >> 32), &tWhere);
    }
    static OVERLAPPED at(uint64_t pOffset)
    {
        OVERLAPPED tWhere{};
        tWhere.Offset = static_cast<DWORD>(pOffset);
        tWhere.OffsetHigh = static_cast<DWORD>(pOffset >> 32);
        return tWhere;
    }

    kprtest::TemporaryDirectory mDir;
    std::string mPath = mDir / "file";
    KprFile mOurs = KPR_NO_FILE, mTheirs = KPR_NO_FILE;
};

} // namespace

TEST_F(WholeFileLock, LeavesEveryByteButOneToOthers)
{
    ASSERT_EQ(kprLockFile(mOurs, TRY_EXCLUSIVE, 0, 0), 0u);
    EXPECT_TRUE(lockBytes(0, 8, true)) << GetLastError();
    EXPECT_TRUE(lockBytes(8, LAST - 1 - 8, true)) << GetLastError();
    EXPECT_FALSE(lockBytes(LAST - 1, 1, true));
    EXPECT_TRUE(lockBytes(LAST, 1, true)) << GetLastError();
    EXPECT_EQ(kprUnlockFile(mOurs, 0, 0), 0u);
    EXPECT_TRUE(lockBytes(LAST - 1, 1, true)) << GetLastError();
}

TEST_F(WholeFileLock, ExcludesWhoLocksTheWholeRange)
{
    for (const uint64_t tLength : {UINT64_MAX, uint64_t{INT64_MAX}}) {
        ASSERT_EQ(kprLockFile(mOurs, TRY_EXCLUSIVE, 0, 0), 0u);
        EXPECT_FALSE(lockBytes(0, tLength, true));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_LOCK_VIOLATION});
        EXPECT_FALSE(lockBytes(0, tLength, false));
        EXPECT_EQ(kprUnlockFile(mOurs, 0, 0), 0u);

        ASSERT_EQ(kprLockFile(mOurs, TRY_SHARED, 0, 0), 0u);
        EXPECT_FALSE(lockBytes(0, tLength, true));
        EXPECT_TRUE(lockBytes(0, tLength, false)) << GetLastError();
        EXPECT_TRUE(unlockBytes(0, tLength));
        EXPECT_EQ(kprUnlockFile(mOurs, 0, 0), 0u);
        EXPECT_TRUE(lockBytes(0, tLength, true)) << GetLastError();
        EXPECT_TRUE(unlockBytes(0, tLength));
    }
}

TEST_F(WholeFileLock, IsExcludedByWhoLocksTheWholeRange)
{
    for (const uint64_t tLength : {UINT64_MAX, uint64_t{INT64_MAX}}) {
        uint32_t tLocked = 0;
        ASSERT_TRUE(lockBytes(0, tLength, true)) << GetLastError();
        EXPECT_EQ(kprLockFile(mOurs, TRY_SHARED, 0, 0), KPR_E_LOCKED);
        EXPECT_EQ(kprLockFile(mOurs, TRY_EXCLUSIVE, 0, 0), KPR_E_LOCKED);
        EXPECT_EQ(kprIsFileLocked(mPath.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), 0u);
        EXPECT_EQ(tLocked, 1u);
        EXPECT_TRUE(unlockBytes(0, tLength));

        ASSERT_TRUE(lockBytes(0, tLength, false)) << GetLastError();
        EXPECT_EQ(kprLockFile(mOurs, TRY_EXCLUSIVE, 0, 0), KPR_E_LOCKED);
        EXPECT_EQ(kprLockFile(mOurs, TRY_SHARED, 0, 0), 0u);
        EXPECT_EQ(kprUnlockFile(mOurs, 0, 0), 0u);
        EXPECT_TRUE(unlockBytes(0, tLength));
        EXPECT_EQ(kprLockFile(mOurs, TRY_EXCLUSIVE, 0, 0), 0u);
        EXPECT_EQ(kprUnlockFile(mOurs, 0, 0), 0u);
    }
}
