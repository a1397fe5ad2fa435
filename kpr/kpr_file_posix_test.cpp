// Files of Linux: links, pipes, interrupted calls, renaming without the system's own, locks.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_faults_posix.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/thread.h"

namespace kprtest {

TEST_F(KprPosixTest, LoadingAFifoDoesNotBlock)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    KprDSO tHandle;
    EXPECT_EQ(kprOpenDSO(mFifo.c_str(), 0, &tHandle), KPR_E_NOT_A_DSO);
}

TEST_F(KprPosixTest, LinksAreSeenAndNotFollowed)
{
    writeFile(mPath, "content");
    ASSERT_EQ(symlink(mPath.c_str(), mLink.c_str()), 0);
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetFileInfo(mLink.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_LINK);
    const KprTime tTime{1000000000, 0, 0};
    EXPECT_EQ(kprSetFileTime(mLink.c_str(), &tTime, &tTime), 0u);
    EXPECT_EQ(kprGetFileInfo(mLink.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.modified.seconds, tTime.seconds);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_NE(tInfo.modified.seconds, tTime.seconds);
    char tReal[2048];
    EXPECT_EQ(kprGetRealPath(mLink.c_str(), tReal, sizeof tReal), 0u);
    EXPECT_TRUE(std::string(tReal).ends_with("/file"));
    EXPECT_EQ(kprRemoveFile(mLink.c_str()), 0u);
    EXPECT_TRUE(exists(mPath));
    EXPECT_EQ(kprGetFileInfo("/dev/null", KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_OTHER);
}

TEST_F(KprPosixTest, DescriptorsCloseOnExec)
{
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE, &tFile), 0u);
    EXPECT_TRUE(fcntl(static_cast<int>(tFile), F_GETFD) & FD_CLOEXEC);
    kprCloseFile(tFile);
}

TEST_F(KprPosixTest, RenameIfAbsentWorksWithoutTheSystemsOwn)
{
    for (int tError : {EINVAL, ENOSYS, EOPNOTSUPP}) {
        writeFile(mPath, "content");
        kprRemoveFile((mDir / "to").c_str());
        gRename.set(tError, 1);
        EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), 0u);
        EXPECT_FALSE(exists(mPath));
        EXPECT_EQ(readFile(mDir / "to"), "content");
    }
    writeFile(mPath, "other");
    gRename.set(EINVAL, 1);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), KPR_E_EXISTS);
    EXPECT_EQ(readFile(mPath), "other");
    EXPECT_EQ(readFile(mDir / "to"), "content");
}

TEST_F(KprPosixTest, TheFallbackHasOneWinnerAsWell)
{
    constexpr int tThreads = 8;
    for (int i = 0; i < tThreads; ++i)
        writeFile(mPath + std::to_string(i), std::to_string(i));
    gRename.set(EINVAL, -1); // for ever
    std::atomic<int> tWinners{0}, tLosers{0};
    std::vector<std::thread> tRunning;
    for (int i = 0; i < tThreads; ++i)
        tRunning.emplace_back([&, i] {
            const uint32_t tRes = kprMoveFile((mPath + std::to_string(i)).c_str(), (mDir / "to").c_str());
            tWinners += tRes == 0;
            tLosers += tRes == KPR_E_EXISTS;
        });
    for (std::thread& tThread : tRunning)
        tThread.join();
    EXPECT_EQ(tWinners, 1);
    EXPECT_EQ(tLosers, tThreads - 1);
}

TEST_F(KprPosixTest, TheFallbackSurvivesALostReplyAndUndoesHalfAMove)
{
    writeFile(mPath, "content");
    gRename.set(EINVAL, 1);
    gLink.set(EEXIST, 1);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), 0u);
    EXPECT_FALSE(exists(mPath));

    gRename.set(EINVAL, 1);
    gUnlink.set(EACCES, 1);
    EXPECT_EQ(kprMoveFile((mDir / "to").c_str(), mPath.c_str()), KPR_E_ACCESS_DENIED);
    EXPECT_FALSE(exists(mPath));
    EXPECT_EQ(readFile(mDir / "to"), "content");

    gRename.set(EINVAL, 1);
    gLink.set(EPERM, 1);
    EXPECT_EQ(kprMoveFile((mDir / "to").c_str(), mPath.c_str()), E_NOT_SUPPORTED);
    gRename.set(EXDEV, 1);
    EXPECT_EQ(kprMoveFile((mDir / "to").c_str(), mPath.c_str()), KPR_E_OTHER_VOLUME);
}

TEST_F(KprPosixTest, InterruptedTransfersGoOn)
{
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &tFile), 0u);
    uint32_t tCount;
    gWrite.set(EINTR, 3);
    gMostPerWrite = 2;
    EXPECT_EQ(kprWrite(tFile, "abcde", 5, &tCount), 0u);
    EXPECT_EQ(tCount, 5u);
    EXPECT_EQ(kprSeek(tFile, 0, KPR_SEEK_START, nullptr), 0u);
    char tBytes[9];
    gRead.set(EINTR, 3);
    EXPECT_EQ(kprRead(tFile, tBytes, 9, &tCount), 0u);
    EXPECT_EQ(std::string(tBytes, tCount), "abcde");
    gRead.set(EIO, 1);
    EXPECT_EQ(kprRead(tFile, tBytes, 9, &tCount), KPR_E_IO);
    gMostPerWrite = 0; // the system takes nothing more: a short write
    EXPECT_EQ(kprWrite(tFile, "abcde", 5, &tCount), 0u);
    EXPECT_EQ(tCount, 0u);
    kprCloseFile(tFile);
}

TEST_F(KprPosixTest, AFullVolumeIsReported)
{
    KprFile tFile;
    ASSERT_EQ(kprOpenFile("/dev/full", KPR_OPEN_WRITE | KPR_OPEN_ANY, &tFile), 0u);
    uint32_t tCount = 9;
    EXPECT_EQ(kprWrite(tFile, "x", 1, &tCount), KPR_E_NO_SPACE);
    EXPECT_EQ(tCount, 0u);
    kprCloseFile(tFile);
}

TEST_F(KprPosixTest, APipeHasNoPositionedRead)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mFifo.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_ANY, &tFile),
              0u); // with a writer of its own
    char tByte;
    uint32_t tCount;
    EXPECT_EQ(kprSeekAndRead(tFile, 0, &tByte, 1, &tCount), E_NOT_SUPPORTED);
    EXPECT_EQ(kprSeekAndWrite(tFile, 0, &tByte, 1, &tCount), E_NOT_SUPPORTED);
    EXPECT_EQ(kprSeek(tFile, 0, KPR_SEEK_START, nullptr), E_NOT_SUPPORTED);
    kprCloseFile(tFile);
}

TEST_F(KprPosixTest, ATakenTemporaryNameGivesWayToAnother)
{
    char tPath[1024];
    gMostTaken = 3;
    ASSERT_EQ(kprGetTempFileName(mDir.path().c_str(), "t.", 0, tPath, sizeof tPath), 0u);
    gTaken.push_back(tPath);
    EXPECT_EQ(std::set<std::string>(gTaken.begin(), gTaken.end()).size(), 4u);
    EXPECT_TRUE(exists(tPath));
    gTaken.clear();
    gMostTaken = SIZE_MAX; // it does not try for ever
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "t.", 0, tPath, sizeof tPath), KPR_E_EXISTS);
}

TEST_F(KprPosixTest, WaitingForALockSurvivesSignals)
{
    static std::atomic<int> tSignals{0};
    struct sigaction tAction {
    }, tBefore;
    tAction.sa_handler = [](int) { ++tSignals; }; // without SA_RESTART
    sigaction(SIGUSR1, &tAction, &tBefore);
    KprFile tOne, tTwo;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &tOne), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE, &tTwo), 0u);
    ASSERT_EQ(kprLockFile(tOne, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    std::atomic<bool> tHasIt{false};
    std::thread tWaiter([&] {
        EXPECT_EQ(kprLockFile(tTwo, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
        tHasIt = true;
    });
    for (int i = 0; i < 5; ++i) {
        kprSleep(20);
        pthread_kill(tWaiter.native_handle(), SIGUSR1);
    }
    kprSleep(20);
    EXPECT_FALSE(tHasIt);
    EXPECT_EQ(kprUnlockFile(tOne, 0, 0), 0u);
    tWaiter.join();
    EXPECT_GT(tSignals, 0);
    EXPECT_TRUE(tHasIt);
    kprCloseFile(tOne);
    kprCloseFile(tTwo);
    sigaction(SIGUSR1, &tBefore, nullptr);
}

TEST_F(KprPosixTest, LocksNeedAHandleThatMayDoTheSame)
{
    writeFile(mPath, "");
    KprFile tReader, tWriter;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tReader), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE, &tWriter), 0u);
    EXPECT_EQ(kprLockFile(tReader, KPR_LOCK_EXCLUSIVE, 0, 0), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprLockFile(tWriter, KPR_LOCK_SHARED, 0, 0), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprLockFile(tReader, KPR_LOCK_SHARED, 0, 0), 0u);
    kprCloseFile(tReader);
    kprCloseFile(tWriter);
}

} // namespace kprtest
