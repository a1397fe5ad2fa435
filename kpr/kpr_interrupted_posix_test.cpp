// Signals and short transfers below kpr: every system call that may fail with EINTR does, in turn, and reads
// and writes move a few bytes at a time. The caller of kpr notices nothing.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <string>
#include <tuple>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/process.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

namespace {

/// What the wrapped calls do. A call is interrupted gInterruptions times before it works.
std::string gInterrupted;
int gInterruptions = 0;
size_t gMostBytes = SIZE_MAX;
int gFailAfter = -1; ///< transfers that work before one fails with EIO; -1: all work
std::map<std::string, int> gCalls;

bool isInterrupted(const char* pCall)
{
    ++gCalls[pCall];
    if (gInterrupted != pCall || gInterruptions == 0) return false;
    --gInterruptions;
    errno = EINTR;
    return true;
}

template <class TTransfer>
ssize_t transfer(const char* pCall, size_t pLength, TTransfer pTransfer)
{
    if (isInterrupted(pCall)) return -1;
    if (gFailAfter == 0) {
        errno = EIO;
        return -1;
    }
    if (gFailAfter > 0) --gFailAfter;
    return pTransfer(std::min(pLength, gMostBytes));
}

} // namespace

extern "C" {

int __real_open(const char*, int, ...);
int __wrap_open(const char* pPath, int pFlags, ...)
{
    va_list tArguments;
    va_start(tArguments, pFlags);
    const mode_t tMode = va_arg(tArguments, mode_t);
    va_end(tArguments);
    return isInterrupted("open") ? -1 : __real_open(pPath, pFlags, tMode);
}

int __real_close(int);
int __wrap_close(int pFile)
{
    // An interrupted close has closed.
    const int tDone = __real_close(pFile);
    return isInterrupted("close") ? -1 : tDone;
}

ssize_t __real_read(int, void*, size_t);
ssize_t __wrap_read(int pFile, void* pBytes, size_t pLength)
{
    return transfer("read", pLength, [=](size_t pMost) { return __real_read(pFile, pBytes, pMost); });
}

ssize_t __real_write(int, const void*, size_t);
ssize_t __wrap_write(int pFile, const void* pBytes, size_t pLength)
{
    return transfer("write", pLength, [=](size_t pMost) { return __real_write(pFile, pBytes, pMost); });
}

ssize_t __real_pread(int, void*, size_t, off_t);
ssize_t __wrap_pread(int pFile, void* pBytes, size_t pLength, off_t pOffset)
{
    return transfer("pread", pLength,
                    [=](size_t pMost) { return __real_pread(pFile, pBytes, pMost, pOffset); });
}

ssize_t __real_pwrite(int, const void*, size_t, off_t);
ssize_t __wrap_pwrite(int pFile, const void* pBytes, size_t pLength, off_t pOffset)
{
    return transfer("pwrite", pLength,
                    [=](size_t pMost) { return __real_pwrite(pFile, pBytes, pMost, pOffset); });
}

int __real_fsync(int);
int __wrap_fsync(int pFile) { return isInterrupted("fsync") ? -1 : __real_fsync(pFile); }

int __real_fcntl(int, int, ...);
int __wrap_fcntl(int pFile, int pCommand, ...)
{
    va_list tArguments;
    va_start(tArguments, pCommand);
    void* tArgument = va_arg(tArguments, void*);
    va_end(tArguments);
    return isInterrupted("fcntl") ? -1 : __real_fcntl(pFile, pCommand, tArgument);
}

int __real_clock_nanosleep(clockid_t, int, const timespec*, timespec*);
int __wrap_clock_nanosleep(clockid_t pClock, int pFlags, const timespec* pTime, timespec* pRest)
{
    return isInterrupted("clock_nanosleep") ? EINTR : __real_clock_nanosleep(pClock, pFlags, pTime, pRest);
}
}

namespace {

const std::string CONTENT = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr auto LENGTH = static_cast<uint32_t>(36);

class KprInterruptedTest : public testing::Test {
protected:
    void SetUp() override { gCalls.clear(); }
    void TearDown() override
    {
        gInterruptions = 0;
        gMostBytes = SIZE_MAX;
        gFailAfter = -1;
    }

    /// Every function of kpr over those calls; each has to succeed in full.
    void useFile()
    {
        KprFile tFile;
        ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &tFile), 0u);
        uint32_t tMoved = 0;
        std::string tRead(LENGTH + 10, '?');
        EXPECT_EQ(kprWrite(tFile, CONTENT.data(), LENGTH, &tMoved), 0u);
        EXPECT_EQ(tMoved, LENGTH);
        EXPECT_EQ(kprSeekAndWrite(tFile, LENGTH, CONTENT.data(), LENGTH, &tMoved), 0u);
        EXPECT_EQ(tMoved, LENGTH);
        EXPECT_EQ(kprSyncFile(tFile), 0u);
        EXPECT_EQ(kprSeek(tFile, 0, KPR_SEEK_START, nullptr), 0u);
        EXPECT_EQ(kprRead(tFile, tRead.data(), LENGTH, &tMoved), 0u);
        EXPECT_EQ(tRead.substr(0, tMoved), CONTENT);
        EXPECT_EQ(kprSeekAndRead(tFile, LENGTH, tRead.data(), LENGTH + 10, &tMoved), 0u);
        EXPECT_EQ(tRead.substr(0, tMoved), CONTENT) << "as far as the file goes";
        EXPECT_EQ(kprSeekAndRead(tFile, 3, tRead.data(), 10, &tMoved), 0u);
        EXPECT_EQ(tRead.substr(0, tMoved), CONTENT.substr(3, 10)) << "and no more than asked for";
        EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
        EXPECT_EQ(kprUnlockFile(tFile, 0, 0), 0u);
        EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT, 0, 0), 0u);
        const int tCloses = gCalls["close"];
        EXPECT_EQ(kprCloseFile(tFile), 0u);
        EXPECT_EQ(gCalls["close"], tCloses + 1) << "the number may be somebody else's by now";
        EXPECT_EQ(kprSleep(1), 0u);
    }

    kprtest::TemporaryDirectory mDir;
    std::string mPath = mDir / "file";
};

TEST_F(KprInterruptedTest, everyInterruptedCallIsMadeAgain)
{
    useFile();
    for (const char* tCall :
         {"open", "close", "read", "write", "pread", "pwrite", "fsync", "fcntl", "clock_nanosleep"}) {
        SCOPED_TRACE(tCall);
        const int tPlain = gCalls[tCall];
        ASSERT_GT(tPlain, 0);
        gInterrupted = tCall;
        gInterruptions = gInterrupted == "close" ? 1 : 5;
        const int tInterruptions = gInterruptions;
        kprRemoveFile(mPath.c_str());
        gCalls.clear();
        useFile();
        EXPECT_EQ(gInterruptions, 0) << "it was reached";
        EXPECT_EQ(gCalls[tCall], tPlain + (gInterrupted == "close" ? 0 : tInterruptions));
        gInterruptions = 0;
        gInterrupted.clear();
        gCalls.clear();
        kprRemoveFile(mPath.c_str());
        useFile();
    }
}

/// A program that was started without a standard input has the number free.
TEST_F(KprInterruptedTest, aFileMayHaveTheNumberZero)
{
    const int tInput = dup(STDIN_FILENO);
    ASSERT_GE(tInput, 0);
    ASSERT_EQ(::close(STDIN_FILENO), 0);
    KprFile tFile = KPR_NO_FILE;
    gCalls.clear();
    errno = EINTR; // what an earlier call has left
    const uint32_t tRes = kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &tFile);
    const int tOpens = gCalls["open"];
    const uint32_t tClosed = kprCloseFile(tFile);
    ASSERT_EQ(dup2(tInput, STDIN_FILENO), STDIN_FILENO);
    ::close(tInput);
    EXPECT_EQ(tRes, 0u);
    EXPECT_EQ(tFile, STDIN_FILENO);
    EXPECT_EQ(tOpens, 1);
    EXPECT_EQ(tClosed, 0u);
}

TEST_F(KprInterruptedTest, transfersOfAnyPieceAreWhole)
{
    for (size_t tMost = 1; tMost <= LENGTH; ++tMost) {
        gMostBytes = tMost;
        kprRemoveFile(mPath.c_str());
        useFile();
    }
    EXPECT_GT(gCalls["pwrite"], 36);
}

TEST_F(KprInterruptedTest, aStreamIsWrittenWholeOrFails)
{
    for (const auto& [tInterruptions, tFailAfter, tExpected] :
         {std::tuple{0, -1, 0u}, {3, -1, 0u}, {0, 0, uint32_t{KPR_E_IO}}, {0, 2, uint32_t{KPR_E_IO}}}) {
        KprFile tFile;
        ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_TRUNCATE, &tFile),
                  0u);
        const int tErrors = dup(STDERR_FILENO);
        dup2(static_cast<int>(tFile), STDERR_FILENO);
        gInterrupted = "write";
        gInterruptions = tInterruptions;
        gFailAfter = tFailAfter;
        gMostBytes = 10;
        const uint32_t tRes = kprWriteStream(KPR_STDERR, CONTENT.data(), LENGTH);
        gFailAfter = -1;
        gMostBytes = SIZE_MAX;
        dup2(tErrors, STDERR_FILENO);
        ::close(tErrors);
        EXPECT_EQ(gInterruptions, 0);
        EXPECT_EQ(tRes, tExpected);
        EXPECT_EQ(kprCloseFile(tFile), 0u);
        EXPECT_EQ(kprtest::readFile(mPath),
                  CONTENT.substr(0, tFailAfter < 0 ? LENGTH : 10 * static_cast<size_t>(tFailAfter)));
    }
}

TEST_F(KprInterruptedTest, aFilePutInPlaceIsSyncedWhenAskedFor)
{
    for (const uint32_t tFlags :
         {uint32_t{KPR_PUT_KEEP}, uint32_t{KPR_PUT_REPLACE}, uint32_t{KPR_PUT_REPLACE | KPR_PUT_SYNC}}) {
        char tPath[1024];
        KprFile tFile;
        ASSERT_EQ(kprBeginFile(mPath.c_str(), tPath, sizeof tPath, &tFile), 0u);
        gCalls.clear();
        EXPECT_EQ(kprPutInPlace(tFile, tPath, mPath.c_str(), tFlags), 0u);
        EXPECT_EQ(gCalls["fsync"], tFlags & KPR_PUT_SYNC ? 1 : 0) << tFlags;
    }
}

TEST_F(KprInterruptedTest, aTransferThatFailsInTheMiddleTellsHowFarItGot)
{
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &tFile), 0u);
    gMostBytes = 10;
    uint32_t tMoved = 0;
    gFailAfter = 2;
    EXPECT_EQ(kprWrite(tFile, CONTENT.data(), LENGTH, &tMoved), KPR_E_IO);
    EXPECT_EQ(tMoved, 20u);
    gFailAfter = 3;
    EXPECT_EQ(kprSeekAndWrite(tFile, 0, CONTENT.data(), LENGTH, &tMoved), KPR_E_IO);
    EXPECT_EQ(tMoved, 30u);
    std::string tRead(LENGTH, '?');
    gFailAfter = 1;
    EXPECT_EQ(kprSeekAndRead(tFile, 0, tRead.data(), LENGTH, &tMoved), KPR_E_IO);
    EXPECT_EQ(tMoved, 10u);
    EXPECT_EQ(tRead.substr(0, 10), CONTENT.substr(0, 10));
    gFailAfter = 0;
    EXPECT_EQ(kprRead(tFile, tRead.data(), LENGTH, &tMoved), KPR_E_IO);
    EXPECT_EQ(tMoved, 0u);
    gFailAfter = -1;
    EXPECT_EQ(kprCloseFile(tFile), 0u);
}

} // namespace
