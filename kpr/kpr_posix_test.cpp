// What only Linux has: special files, signals, permissions, and system calls that fail on purpose.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/thread.h"

namespace {

// The wrapped calls fail with the given error as often as asked (-1: for ever), then do their work.
class Fault {
public:
    void set(int pError, int pTimes)
    {
        mError = pError;
        mTimes = pTimes;
    }
    int error() const { return mError; }
    bool strikes()
    {
        if (mTimes == 0) return false;
        if (mTimes > 0) --mTimes;
        errno = mError;
        return true;
    }

private:
    std::atomic<int> mError{0};
    std::atomic<int> mTimes{0};
};

Fault gRename, gLink, gUnlink, gRead, gWrite, gReaddir;
size_t gMostPerWrite = SIZE_MAX;
size_t gMostTaken = 0;
std::vector<std::string> gTaken; // paths that exclusive creation found taken

class KprPosixTest : public testing::Test {
protected:
    void TearDown() override
    {
        for (Fault* tFault : {&gRename, &gLink, &gUnlink, &gRead, &gWrite, &gReaddir})
            tFault->set(0, 0);
        gTaken.clear();
        gMostPerWrite = SIZE_MAX;
        gMostTaken = 0;
    }

    uint32_t open(const std::string& pPath, uint32_t pMode)
    {
        KprFile tFile;
        const uint32_t tRes = kprOpenFile(pPath.c_str(), pMode, &tFile);
        if (!KFAILED(tRes)) kprCloseFile(tFile);
        return tRes;
    }

    mode_t permissions(const std::string& pPath)
    {
        struct stat tStat {};
        EXPECT_EQ(lstat(pPath.c_str(), &tStat), 0);
        return tStat.st_mode & 07777;
    }

    kprtest::TemporaryDirectory mDir;
    std::string mPath = mDir / "file", mLink = mDir / "link", mFifo = mDir / "fifo";
};

} // namespace

extern "C" {

uint32_t __real_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);
uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (!(pMode & KPR_OPEN_EXCLUSIVE) || gTaken.size() >= gMostTaken)
        return __real_kprOpenFile(pPath, pMode, pFile);
    gTaken.push_back(pPath);
    return KPR_E_EXISTS;
}

int __real_renameat2(int pFromDir, const char* pFrom, int pToDir, const char* pTo, unsigned pFlags);
int __wrap_renameat2(int pFromDir, const char* pFrom, int pToDir, const char* pTo, unsigned pFlags)
{
    return gRename.strikes() ? -1 : __real_renameat2(pFromDir, pFrom, pToDir, pTo, pFlags);
}

int __real_link(const char* pFrom, const char* pTo);
int __wrap_link(const char* pFrom, const char* pTo)
{
    // EEXIST stands for the reply of a server that repeated a request: the link has been made.
    if (!gLink.strikes()) return __real_link(pFrom, pTo);
    if (gLink.error() == EEXIST && __real_link(pFrom, pTo) == 0) errno = EEXIST;
    return -1;
}

int __real_unlink(const char* pPath);
int __wrap_unlink(const char* pPath) { return gUnlink.strikes() ? -1 : __real_unlink(pPath); }

ssize_t __real_read(int pFile, void* pBuffer, size_t pLength);
ssize_t __wrap_read(int pFile, void* pBuffer, size_t pLength)
{
    return gRead.strikes() ? -1 : __real_read(pFile, pBuffer, pLength);
}

ssize_t __real_write(int pFile, const void* pBuffer, size_t pLength);
ssize_t __wrap_write(int pFile, const void* pBuffer, size_t pLength)
{
    return gWrite.strikes() ? -1 : __real_write(pFile, pBuffer, std::min(pLength, gMostPerWrite));
}

bool gSecure = false; ///< as in a program with rights that its caller does not have
char* __real_secure_getenv(const char* pName);
char* __wrap_secure_getenv(const char* pName) { return gSecure ? nullptr : __real_secure_getenv(pName); }
unsigned long __real_getauxval(unsigned long pType);
unsigned long __wrap_getauxval(unsigned long pType)
{
    return pType == AT_SECURE ? gSecure : __real_getauxval(pType);
}

dirent* __real_readdir(DIR* pDir);
dirent* __wrap_readdir(DIR* pDir) { return gReaddir.strikes() ? nullptr : __real_readdir(pDir); }
}

TEST_F(KprPosixTest, RegularOpensRefuseSpecialFilesWithoutBlocking)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink("/etc/passwd", mLink.c_str()), 0);
    const std::string tSocket = mDir / "socket";
    sockaddr_un tAddress{};
    tAddress.sun_family = AF_UNIX;
    ASSERT_LT(tSocket.size(), sizeof tAddress.sun_path);
    tSocket.copy(tAddress.sun_path, tSocket.size());
    const int tServer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(tServer, reinterpret_cast<sockaddr*>(&tAddress), sizeof tAddress), 0);
    for (uint32_t tMode : {KPR_OPEN_READ, KPR_OPEN_WRITE, KPR_OPEN_READ_WRITE})
        for (const std::string& tPath : {mFifo, mLink, mDir.path(), tSocket, std::string("/dev/null")})
            EXPECT_EQ(open(tPath, tMode), KPR_E_NOT_REGULAR) << tPath << " " << tMode;
    EXPECT_EQ(open(mLink, KPR_OPEN_WRITE | KPR_OPEN_CREATE), KPR_E_NOT_REGULAR);
    EXPECT_EQ(open(mLink, KPR_OPEN_READ | KPR_OPEN_FOLLOW), 0u);
    EXPECT_EQ(open(mLink, KPR_OPEN_READ | KPR_OPEN_ANY), 0u);
    EXPECT_EQ(open(mFifo, KPR_OPEN_READ | KPR_OPEN_FOLLOW), KPR_E_NOT_REGULAR);
    EXPECT_EQ(open("/dev/null", KPR_OPEN_READ | KPR_OPEN_FOLLOW), KPR_E_NOT_REGULAR);
    EXPECT_EQ(open("/dev/null", KPR_OPEN_READ | KPR_OPEN_ANY), 0u);
    uint32_t tLocked;
    EXPECT_EQ(kprIsFileLocked(mFifo.c_str(), &tLocked), KPR_E_NOT_REGULAR);
    close(tServer);
}

TEST_F(KprPosixTest, TrustedOpensRefuseWhatOthersMayChange)
{
    constexpr uint32_t tMode = KPR_OPEN_READ | KPR_OPEN_TRUSTED;
    kprtest::writeFile(mPath, "content");
    for (const mode_t tRights : {0600u, 0644u, 0400u, 0755u}) {
        ASSERT_EQ(chmod(mPath.c_str(), tRights), 0);
        EXPECT_EQ(open(mPath, tMode), 0u) << tRights;
    }
    for (const mode_t tRights : {0620u, 0602u, 0666u, 0664u}) {
        ASSERT_EQ(chmod(mPath.c_str(), tRights), 0);
        EXPECT_EQ(open(mPath, tMode), KPR_E_NOT_TRUSTED) << tRights;
        EXPECT_EQ(open(mPath, KPR_OPEN_READ), 0u) << tRights;
        EXPECT_EQ(open(mPath, KPR_OPEN_READ | KPR_OPEN_OWN), 0u) << tRights;
    }
    ASSERT_EQ(chmod(mPath.c_str(), 0600), 0);
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(chown(mPath.c_str(), 65534, 65534), 0);
    EXPECT_EQ(open(mPath, tMode), KPR_E_NOT_TRUSTED);
    EXPECT_EQ(open(mPath, KPR_OPEN_READ | KPR_OPEN_OWN), KPR_E_NOT_TRUSTED);
}

TEST_F(KprPosixTest, LinksOfSomebodyElseAreToldFromOnesOwn)
{
    EXPECT_EQ(kprCheckLink(mLink.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprCheckLink(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u) << "no link";
    ASSERT_EQ(symlink("/nowhere", mLink.c_str()), 0);
    EXPECT_EQ(kprCheckLink(mLink.c_str()), 0u);
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
    ASSERT_EQ(lchown(mLink.c_str(), 65534, 65534), 0);
    EXPECT_EQ(kprCheckLink(mLink.c_str()), KPR_E_NOT_TRUSTED);
    ASSERT_EQ(chown(mDir.path().c_str(), 65534, 65534), 0);
    EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u) << "no link";
}

TEST_F(KprPosixTest, FilesOfSomebodyElseAreToldFromOnesOwn)
{
    EXPECT_EQ(kprCheckFile(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCheckFile(mPath.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprCheckFile(mDir.path().c_str()), KPR_E_NOT_REGULAR);
    kprtest::writeFile(mPath, "content");
    EXPECT_EQ(kprCheckFile(mPath.c_str()), 0u);
    ASSERT_EQ(symlink(mPath.c_str(), mLink.c_str()), 0);
    EXPECT_EQ(kprCheckFile(mLink.c_str()), KPR_E_NOT_REGULAR);
    const std::string tFifo = mDir / "fifo";
    ASSERT_EQ(mkfifo(tFifo.c_str(), 0600), 0);
    EXPECT_EQ(kprCheckFile(tFifo.c_str()), KPR_E_NOT_REGULAR);
    // Closing any handle of the file would drop such a lock.
    const int tFile = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    struct flock tLock {};
    tLock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(tFile, F_SETLK, &tLock), 0);
    EXPECT_EQ(kprCheckFile(mPath.c_str()), 0u);
    const pid_t tChild = fork();
    if (tChild == 0) _exit(fcntl(tFile, F_GETLK, &tLock) == 0 && tLock.l_type == F_WRLCK ? 0 : 1);
    int tStatus = -1;
    EXPECT_EQ(waitpid(tChild, &tStatus, 0), tChild);
    EXPECT_EQ(tStatus, 0) << "the lock is gone";
    ::close(tFile);
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(chown(mPath.c_str(), 65534, 65534), 0);
    EXPECT_EQ(kprCheckFile(mPath.c_str()), KPR_E_NOT_TRUSTED);
}

TEST_F(KprPosixTest, DirectoriesThatOthersMayChangeAreKnown)
{
    const std::string tSub = mDir / "sub";
    EXPECT_EQ(kprCheckDir(tSub.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprCheckDir(nullptr), E_INVALIDARG);
    kprtest::writeFile(mPath, "content");
    EXPECT_EQ(kprCheckDir(mPath.c_str()), KPR_E_NOT_DIRECTORY);
    ASSERT_EQ(kprMakeDir(tSub.c_str()), 0u);
    for (const mode_t tRights : {0700u, 0755u, 0775u}) {
        ASSERT_EQ(chmod(tSub.c_str(), tRights), 0);
        EXPECT_EQ(kprCheckDir(tSub.c_str()), 0u) << tRights;
    }
    ASSERT_EQ(symlink(tSub.c_str(), mLink.c_str()), 0);
    EXPECT_EQ(kprCheckDir(mLink.c_str()), 0u) << "links are followed";
    for (const mode_t tRights : {0777u, 01777u, 0702u}) {
        ASSERT_EQ(chmod(tSub.c_str(), tRights), 0);
        EXPECT_EQ(kprCheckDir(mLink.c_str()), KPR_E_NOT_TRUSTED) << tRights;
    }
    ASSERT_EQ(chmod(tSub.c_str(), 0700), 0);
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    ASSERT_EQ(chown(tSub.c_str(), 65534, 65534), 0);
    EXPECT_EQ(kprCheckDir(tSub.c_str()), KPR_E_NOT_TRUSTED);
}

TEST_F(KprPosixTest, AProgramWithMoreRightsTakesNothingFromTheEnvironment)
{
    char tText[4096];
    for (const char* tName : {"HOME", "XDG_DATA_HOME", "TMPDIR", "KOM_CLASSES"})
        setenv(tName, "/callers/choice", 1);
    EXPECT_EQ(kprGetEnvironment("KOM_CLASSES", tText, sizeof tText), 0u);
    EXPECT_EQ(kprGetTempDir(tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "/callers/choice");
    gSecure = true;
    EXPECT_EQ(kprGetEnvironment("KOM_CLASSES", tText, sizeof tText), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetTempDir(tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "/tmp");
    // The rights of a file or a group come on top of the caller's own, whose home is the caller's choice too.
    EXPECT_EQ(kprGetUserDataDir(tText, sizeof tText), KPR_E_NOT_FOUND);
    gSecure = false;
    for (const char* tName : {"HOME", "XDG_DATA_HOME", "TMPDIR", "KOM_CLASSES"})
        unsetenv(tName);
}

TEST_F(KprPosixTest, LoadingAFifoDoesNotBlock)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    KprDSO tHandle;
    EXPECT_EQ(kprOpenDSO(mFifo.c_str(), 0, &tHandle), KPR_E_NOT_A_DSO);
}

TEST_F(KprPosixTest, LinksAreSeenAndNotFollowed)
{
    kprtest::writeFile(mPath, "content");
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
    EXPECT_TRUE(kprtest::exists(mPath));
    EXPECT_EQ(kprGetFileInfo("/dev/null", KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_OTHER);
}

TEST_F(KprPosixTest, ListingsTellLinksAndOthers)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink("nowhere", mLink.c_str()), 0);
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    char tName[100];
    uint32_t tKind;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(kprReadDir(tDir, tName, sizeof tName, &tKind), 0u);
        EXPECT_EQ(tKind, tName == std::string("fifo") ? KPR_KIND_OTHER : KPR_KIND_LINK);
    }
    EXPECT_EQ(kprCloseDir(tDir), 0u);
}

TEST_F(KprPosixTest, NewFilesAndFoldersAreTheUsersAlone)
{
    const mode_t tBefore = umask(0);
    kprtest::writeFile(mPath, "");
    char tTemp[1024];
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "t", 0, tTemp, sizeof tTemp), 0u);
    EXPECT_EQ(kprMakeDir((mDir / "folder").c_str()), 0u);
    umask(tBefore);
    EXPECT_EQ(permissions(mPath), 0600u);
    EXPECT_EQ(permissions(tTemp), 0600u);
    EXPECT_EQ(permissions(mDir / "folder"), 0700u);
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
        kprtest::writeFile(mPath, "content");
        kprRemoveFile((mDir / "to").c_str());
        gRename.set(tError, 1);
        EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), 0u);
        EXPECT_FALSE(kprtest::exists(mPath));
        EXPECT_EQ(kprtest::readFile(mDir / "to"), "content");
    }
    kprtest::writeFile(mPath, "other");
    gRename.set(EINVAL, 1);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprtest::readFile(mPath), "other");
    EXPECT_EQ(kprtest::readFile(mDir / "to"), "content");
}

TEST_F(KprPosixTest, TheFallbackHasOneWinnerAsWell)
{
    constexpr int tThreads = 8;
    for (int i = 0; i < tThreads; ++i)
        kprtest::writeFile(mPath + std::to_string(i), std::to_string(i));
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
    kprtest::writeFile(mPath, "content");
    gRename.set(EINVAL, 1);
    gLink.set(EEXIST, 1);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "to").c_str()), 0u);
    EXPECT_FALSE(kprtest::exists(mPath));

    gRename.set(EINVAL, 1);
    gUnlink.set(EACCES, 1);
    EXPECT_EQ(kprMoveFile((mDir / "to").c_str(), mPath.c_str()), KPR_E_ACCESS_DENIED);
    EXPECT_FALSE(kprtest::exists(mPath));
    EXPECT_EQ(kprtest::readFile(mDir / "to"), "content");

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
    EXPECT_TRUE(kprtest::exists(tPath));
    gTaken.clear();
    gMostTaken = SIZE_MAX; // it does not try for ever
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "t.", 0, tPath, sizeof tPath), KPR_E_EXISTS);
}

TEST_F(KprPosixTest, AListingThatBreaksEnds)
{
    kprtest::writeFile(mPath, "");
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    char tName[100];
    gReaddir.set(EIO, -1);
    EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, nullptr), KPR_E_IO);
    EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, nullptr), KPR_E_END);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
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
    kprtest::writeFile(mPath, "");
    KprFile tReader, tWriter;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tReader), 0u);
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE, &tWriter), 0u);
    EXPECT_EQ(kprLockFile(tReader, KPR_LOCK_EXCLUSIVE, 0, 0), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprLockFile(tWriter, KPR_LOCK_SHARED, 0, 0), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprLockFile(tReader, KPR_LOCK_SHARED, 0, 0), 0u);
    kprCloseFile(tReader);
    kprCloseFile(tWriter);
}

TEST_F(KprPosixTest, ThreadsTakeTheStackAskedForAndNoSignals)
{
    struct Facts {
        size_t stack = 0;
        bool blocked = false;
        bool faultsPass = false;
    } tFacts;
    const KprThreadMain tBody = [](void* pFacts) -> uint32_t {
        auto* tSeen = static_cast<Facts*>(pFacts);
        pthread_attr_t tAttributes;
        pthread_getattr_np(pthread_self(), &tAttributes);
        pthread_attr_getstacksize(&tAttributes, &tSeen->stack);
        pthread_attr_destroy(&tAttributes);
        sigset_t tMask;
        pthread_sigmask(SIG_BLOCK, nullptr, &tMask);
        tSeen->blocked =
            sigismember(&tMask, SIGTERM) && sigismember(&tMask, SIGALRM) && sigismember(&tMask, SIGINT);
        tSeen->faultsPass = !sigismember(&tMask, SIGSEGV) && !sigismember(&tMask, SIGABRT);
        return 0;
    };
    KprThread tThread;
    ASSERT_EQ(kprThreadCreate(&tThread, 0, 262144, tBody, &tFacts), 0u);
    ASSERT_EQ(kprThreadJoin(tThread, nullptr), 0u);
    EXPECT_GE(tFacts.stack, 262144u);
    EXPECT_LT(tFacts.stack, 2u << 20); // sanitizers add to it; the default is far more
    EXPECT_TRUE(tFacts.blocked);
    EXPECT_TRUE(tFacts.faultsPass);
    sigset_t tMask;
    pthread_sigmask(SIG_BLOCK, nullptr, &tMask);
    EXPECT_FALSE(sigismember(&tMask, SIGTERM)); // the caller's own mask is as before
}

TEST_F(KprPosixTest, FoldersComeFromTheEnvironment)
{
    const auto tGet = [](auto pFunction) {
        char tPath[1024];
        return KFAILED(pFunction(tPath, sizeof tPath)) ? std::string() : std::string(tPath);
    };
    const std::string tHome = getenv("HOME") ? getenv("HOME") : "";
    setenv("XDG_DATA_HOME", "/data/home//", 1);
    EXPECT_EQ(tGet(kprGetUserDataDir), "/data/home");
    setenv("XDG_DATA_HOME", "relative", 1);
    setenv("HOME", "/home/somebody/", 1);
    EXPECT_EQ(tGet(kprGetUserDataDir), "/home/somebody/.local/share");
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_NE(tGet(kprGetUserDataDir), ""); // from the user database
    setenv("TMPDIR", "/other/tmp/", 1);
    EXPECT_EQ(tGet(kprGetTempDir), "/other/tmp");
    unsetenv("TMPDIR");
    EXPECT_EQ(tGet(kprGetTempDir), "/tmp");
    setenv("HOME", tHome.c_str(), 1);
}
