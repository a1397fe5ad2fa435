// Real faults of the system: a volume that takes nothing more, and a folder without permission. Each in a
// process of its own, since neither can be undone.
#include "kom/runtime.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

const std::string FIRST = "11111111-0000-4000-8000-000000000001";
const std::string SECOND = "22222222-0000-4000-8000-000000000002";
constexpr uid_t NOBODY = 65534;

uint32_t registerClass(const std::string& pClassId, const std::string& pModule)
{
    KomRegistration tRegistration = {nullptr, pModule.c_str()};
    return komRegisterDSO(pClassId.c_str(), 0, &tRegistration);
}

/// The code that pCall returns in a child process; 0 when the child dies.
uint32_t inChild(const std::function<uint32_t()>& pCall)
{
    int tPipe[2];
    if (pipe(tPipe) != 0) return 0;
    const pid_t tChild = fork();
    if (tChild == 0) {
        const uint32_t tRes = pCall();
        _exit(write(tPipe[1], &tRes, sizeof tRes) == sizeof tRes ? 0 : 1);
    }
    close(tPipe[1]);
    uint32_t tRes = 0;
    if (read(tPipe[0], &tRes, sizeof tRes) != sizeof tRes) tRes = 0;
    close(tPipe[0]);
    waitpid(tChild, nullptr, 0);
    return tRes;
}

class RegistryFaultTest : public testing::Test {
protected:
    RegistryFaultTest()
    {
        komSetClassRegistry(mPath.c_str());
        EXPECT_EQ(registerClass(FIRST, "/one"), 0u);
        mBefore = kprtest::readFile(mPath);
    }
    ~RegistryFaultTest() override
    {
        EXPECT_EQ(kprtest::readFile(mPath), mBefore);
        EXPECT_EQ(registerClass(SECOND, "/two"), 0u);
        komSetClassRegistry(nullptr);
    }

    kprtest::TemporaryDirectory mFolder;
    const std::string mPath = mFolder / "classes";
    std::string mBefore;
};

TEST_F(RegistryFaultTest, survivesAFullVolume)
{
    const uint32_t tRes = inChild([] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit tLimit = {4096, 4096}; // bytes of any file: the write ends in its middle
        if (setrlimit(RLIMIT_FSIZE, &tLimit) != 0) return 0u;
        return registerClass(SECOND, std::string(10000, 'x'));
    });
    EXPECT_EQ(tRes, KPR_E_TOO_LARGE) << std::hex << tRes;
}

TEST_F(RegistryFaultTest, survivesAFolderWithoutPermission)
{
    ASSERT_EQ(chmod(mFolder.path().c_str(), 0555), 0);
    ASSERT_EQ(chmod(mPath.c_str(), 0444), 0);
    ASSERT_EQ(chmod((mPath + ".lock").c_str(), 0444), 0);
    // For root, modes do not count.
    const uint32_t tRes = inChild([] {
        if (geteuid() == 0 && setuid(NOBODY) != 0) return 0u;
        KomClassList* tList = nullptr;
        if (komListClasses(&tList) != 0 || tList->count != 1) return 1u;
        return registerClass(SECOND, "/two");
    });
    EXPECT_EQ(tRes, KPR_E_ACCESS_DENIED) << std::hex << tRes;
    ASSERT_EQ(chmod(mFolder.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((mPath + ".lock").c_str(), 0644), 0);
}

class RegistryTrustTest : public testing::Test {
protected:
    RegistryTrustTest()
    {
        komSetClassRegistry(mPath.c_str());
        EXPECT_EQ(registerClass(FIRST, "/one"), 0u);
    }
    ~RegistryTrustTest() override { komSetClassRegistry(nullptr); }

    /// Nobody reads it, changes it, or loads what it says.
    void expectRefused()
    {
        const std::string tBefore = kprtest::readFile(mPath);
        KomClassList* tList = nullptr;
        kom::IUnknown* tFactory = nullptr;
        EXPECT_EQ(komListClasses(&tList), KPR_E_NOT_TRUSTED);
        EXPECT_EQ(komGetObjectFactory(FIRST.c_str(), kom::IObjectFactory::IID, &tFactory), KPR_E_NOT_TRUSTED);
        EXPECT_EQ(registerClass(SECOND, "/two"), KPR_E_NOT_TRUSTED);
        EXPECT_EQ(kprtest::readFile(mPath), tBefore);
    }

    kprtest::TemporaryDirectory mFolder;
    const std::string mPath = mFolder / "classes";
};

TEST_F(RegistryTrustTest, refusesAFileThatOthersMayChange)
{
    for (const mode_t tMode : {0620u, 0602u, 0666u}) {
        ASSERT_EQ(chmod(mPath.c_str(), tMode), 0);
        expectRefused();
    }
    ASSERT_EQ(chmod(mPath.c_str(), 0644), 0);
    EXPECT_EQ(registerClass(SECOND, "/two"), 0u);
}

TEST_F(RegistryTrustTest, refusesAFileOfSomebodyElse)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(chown(mPath.c_str(), NOBODY, NOBODY), 0);
    expectRefused();
    std::filesystem::create_symlink(mPath, mFolder / "link");
    komSetClassRegistry((mFolder / "link").c_str());
    expectRefused();
}

// Who made it chooses which registry counts, and where a lock file is made.
TEST_F(RegistryTrustTest, followsNoLinkOfSomebodyElse)
{
    const std::filesystem::path tLink = mFolder / "link", tOther = mFolder / "other";
    std::filesystem::create_directory(tOther);
    std::filesystem::copy_file(mPath, tOther / "registry");
    std::filesystem::create_symlink(tOther / "registry", tLink);
    komSetClassRegistry(tLink.c_str());
    EXPECT_EQ(registerClass(SECOND, "/two"), 0u) << "a link of the user's own";
    std::filesystem::remove(tOther / "registry.lock");
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
    ASSERT_EQ(lchown(tLink.c_str(), NOBODY, NOBODY), 0);
    expectRefused();
    EXPECT_FALSE(std::filesystem::exists(tOther / "registry.lock"));
}

TEST_F(RegistryTrustTest, makesNoLockBesideAFileThatIsRefused)
{
    std::filesystem::remove(mPath + ".lock");
    std::filesystem::permissions(mPath, std::filesystem::perms(0666));
    expectRefused();
    EXPECT_FALSE(std::filesystem::exists(mPath + ".lock"));
}

TEST_F(RegistryTrustTest, doesNotWaitForALockOfSomebodyElse)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(chown((mPath + ".lock").c_str(), NOBODY, NOBODY), 0);
    EXPECT_EQ(registerClass(SECOND, "/two"), KPR_E_NOT_TRUSTED);
}

// A process that holds the lock and was halted.
TEST_F(RegistryTrustTest, doesNotWaitForALockWithoutEnd)
{
    KprFile tFile = KPR_NO_FILE;
    ASSERT_EQ(kprOpenFile((mPath + ".lock").c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
    ASSERT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    EXPECT_EQ(inChild([] {
                  alarm(40);
                  return registerClass(SECOND, "/two");
              }),
              KPR_E_LOCKED);
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    EXPECT_EQ(registerClass(SECOND, "/two"), 0u);
}

TEST_F(RegistryTrustTest, readsATimeThatNoCalendarHas)
{
    // Of the file systems at hand only one in memory keeps such times.
    const std::string tPath = "/dev/shm/kom-registry-test-" + std::to_string(getpid());
    std::error_code tError;
    std::filesystem::copy_file(mPath, tPath, tError);
    const KprTime tTime = {std::numeric_limits<int64_t>::min(), 0, 0};
    KprFileInfo tInfo = {};
    static_cast<void>(kprSetFileTime(tPath.c_str(), &tTime, &tTime));
    static_cast<void>(kprGetFileInfo(tPath.c_str(), KPR_INFO_MTIME, &tInfo));
    if (tInfo.modified.seconds == tTime.seconds) {
        komSetClassRegistry(tPath.c_str());
        kom::IUnknown* tFactory = nullptr;
        EXPECT_EQ(komGetObjectFactory(FIRST.c_str(), kom::IObjectFactory::IID, &tFactory), KPR_E_NOT_FOUND);
    }
    std::filesystem::remove(tPath, tError);
    if (tInfo.modified.seconds != tTime.seconds) GTEST_SKIP() << "/dev/shm does not keep the time";
}

} // namespace
