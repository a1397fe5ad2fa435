// Whom Linux lets at what: special files, owners, modes.
#include <gtest/gtest.h>

#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_faults_posix.h"
#include "kpr/testing/kpr_testing.h"

namespace kprtest {

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
    EXPECT_EQ(kprIsFileLocked(mFifo.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), KPR_E_NOT_REGULAR);
    close(tServer);
}

TEST_F(KprPosixTest, TrustedOpensRefuseWhatOthersMayChange)
{
    constexpr uint32_t tMode = KPR_OPEN_READ | KPR_OPEN_TRUSTED;
    writeFile(mPath, "content");
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
    const std::pair<mode_t, uint32_t> tModes[] = {{0602, KPR_E_NOT_TRUSTED}, {0664, 0u}, {0644, 0u}};
    for (const auto& [tMode, tCode] : tModes) {
        ASSERT_EQ(chmod(mPath.c_str(), tMode), 0);
        EXPECT_EQ(kprCheckFile(mPath.c_str()), tCode) << std::oct << tMode;
    }
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
    writeFile(mPath, "content");
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

TEST_F(KprPosixTest, NewFilesAndFoldersAreTheUsersAlone)
{
    const mode_t tBefore = umask(0);
    writeFile(mPath, "");
    char tTemp[1024];
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "t", 0, tTemp, sizeof tTemp), 0u);
    EXPECT_EQ(kprMakeDir((mDir / "folder").c_str()), 0u);
    umask(tBefore);
    EXPECT_EQ(permissions(mPath), 0600u);
    EXPECT_EQ(permissions(tTemp), 0600u);
    EXPECT_EQ(permissions(mDir / "folder"), 0700u);
}

} // namespace kprtest
