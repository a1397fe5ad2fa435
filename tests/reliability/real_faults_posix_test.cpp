// What really goes wrong: a full volume, no inodes left, a read-only volume, no handles left, no permission.
#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include "kfw/cache/testing/kfw_Counter.h"
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"
#include "kom/identity.h"

namespace vel::kos::kfw {

namespace {

namespace fs = std::filesystem;
using test::FaultTable;

std::string text(uint32_t pCode) { return komStrError(pCode); }

class RealFaultsTest : public FSCacheFixture {
protected:
    static std::string uri(unsigned pNumber) { return "http://example.com/" + std::to_string(pNumber); }
    static std::string dataOf(unsigned pNumber, std::size_t pSize)
    {
        std::string tData;
        while (tData.size() < pSize)
            tData += std::to_string(pNumber) + ':' + std::to_string(tData.size()) + ' ';
        tData.resize(pSize);
        return tData;
    }
    /// An object is there and right; or it is missing.
    bool isThere(unsigned pNumber, std::size_t pSize)
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        const uint32_t tAnswer = mCache->getObject(uri(pNumber).c_str(), &tList, &tBytes);
        if (tAnswer == KPR_E_NOT_FOUND) return false;
        EXPECT_EQ(tAnswer, 0u) << text(tAnswer);
        EXPECT_TRUE(toString(tBytes) == dataOf(pNumber, pSize)) << pNumber;
        return true;
    }
    /// Stores objects until one fails; how many were stored.
    unsigned fill(std::size_t pSize, uint32_t* pCode)
    {
        for (unsigned i = 0; i < 10000; ++i)
            if (*pCode = put(uri(i), {}, dataOf(i, pSize)); KFAILED(*pCode)) return i;
        ADD_FAILURE() << "it does not fill up";
        return 10000;
    }
    static std::size_t openDescriptors()
    {
        const fs::directory_iterator tFiles("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(tFiles), end(tFiles)));
    }
};

/// Volumes of a test's own, in a mount namespace of the program's own.
class VolumeTest : public RealFaultsTest {
protected:
    static void SetUpTestSuite()
    {
        if (unshare(CLONE_NEWNS) != 0)
            sProblem = std::string("no mount namespace: ") + std::strerror(errno);
        else if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            sProblem = std::string("no private mounts: ") + std::strerror(errno);
    }
    void SetUp() override
    {
        if (!sProblem.empty()) GTEST_SKIP() << sProblem;
    }
    void TearDown() override
    {
        drop();
        while (umount2(mVolume.c_str(), MNT_DETACH) == 0) {
        }
    }
    /// Puts the cache on a small volume in memory.
    void mountSmall(const std::string& pOptions)
    {
        fs::create_directory(mVolume);
        ASSERT_EQ(mount("none", mVolume.c_str(), "tmpfs", 0, pOptions.c_str()), 0) << std::strerror(errno);
        mApp->setUserAppDir(mVolume.string());
    }
    fs::path objects() const { return mVolume / "cache" / "objects"; }
    void removeStrayFiles()
    {
        FaultTable::closeLeftOpen("objects");
        for (const auto& tEntry : fs::directory_iterator(objects()))
            if (tEntry.path().extension() != "") fs::remove(tEntry.path());
    }

    static std::string sProblem;
    const fs::path mVolume = mDir.path() / "volume";
};

std::string VolumeTest::sProblem;

TEST_F(VolumeTest, aFullVolume)
{
    // Object sizes that end within a page, at its end and beyond it.
    for (const std::size_t tSize : {100u, 4096u - 28u, 5000u, 40000u}) {
        SCOPED_TRACE(tSize);
        startAnew();
        mApp->clearRecords();
        mountSmall("size=256k");
        init();
        uint32_t tCode = 0;
        const unsigned tStored = fill(tSize, &tCode);
        EXPECT_EQ(tCode, KPR_E_NO_SPACE) << text(tCode);
        EXPECT_GT(tStored, 3u);
        EXPECT_FALSE(isThere(tStored, tSize));
        uint32_t tExists = 7;
        for (unsigned i = 0; i < tStored; ++i) {
            EXPECT_TRUE(isThere(i, tSize));
            EXPECT_EQ(mCache->hasObject(uri(i).c_str(), &tExists), 0u);
            EXPECT_EQ(tExists, 1u);
        }
        EXPECT_EQ(mCache->pinObject(uri(0).c_str()), 0u);
        EXPECT_EQ(put(uri(0), {}, "again"), KPR_E_NO_SPACE) << "also for what is there";
        removeStrayFiles();
        fs::remove(objects() / nameOf(uri(tStored - 1)));
        EXPECT_EQ(put(uri(tStored - 1), {}, dataOf(tStored - 1, tSize)), 0u) << "there is room again";
        EXPECT_TRUE(isThere(tStored - 1, tSize));
        TearDown();
    }
}

TEST_F(VolumeTest, settingUpOnAFullVolume)
{
    mountSmall("size=64k");
    test::writeFile(mVolume / "filler", std::string(64 << 10, 'f'));
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_NO_SPACE);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR),
              std::vector<std::string>{"Can't create " + (mVolume / "cache" / "inserted").string() + ": " +
                                       text(KPR_E_NO_SPACE) + "."});
    mApp->clearRecords();
    startAnew();
    fs::remove(mVolume / "filler");
    init();
    EXPECT_EQ(put(uri(0), {}, dataOf(0, 1000)), 0u);
    EXPECT_TRUE(isThere(0, 1000));
}

TEST_F(VolumeTest, cleaningMakesRoomOnAFullVolume)
{
    mountSmall("size=256k");
    init();
    uint32_t tCode = 0;
    const unsigned tStored = fill(10000, &tCode);
    const KprTime tOld{1600000000, 0, 0};
    for (const auto& tEntry : fs::directory_iterator(objects()))
        ASSERT_EQ(kprSetFileTime(tEntry.path().c_str(), &tOld, &tOld), 0u);
    setCounter(mVolume / "cache" / "inserted", 1 << 30);
    FaultTable::closeLeftOpen("objects");
    FaultTable::setSleeper([](uint32_t) { return uint32_t{KPR_E_SYSTEM}; });
    runThread();
    unsigned tLeft = 0;
    for (unsigned i = 0; i < tStored; ++i)
        tLeft += isThere(i, 10000);
    EXPECT_LT(tLeft, tStored);
    EXPECT_GE(tLeft, tStored / 2);
    EXPECT_EQ(put("http://example.com/new", {}, dataOf(0, 10000)), 0u);
}

TEST_F(VolumeTest, noInodesLeft)
{
    mountSmall("size=4m,nr_inodes=20");
    init();
    uint32_t tCode = 0;
    const unsigned tStored = fill(100, &tCode);
    EXPECT_EQ(tCode, KPR_E_NO_SPACE) << text(tCode);
    EXPECT_GT(tStored, 10u);
    expectAssertion("!KFAILED(tRes)"); // there is no temporary file
    for (unsigned i = 0; i < tStored; ++i)
        EXPECT_TRUE(isThere(i, 100));
    fs::remove(objects() / nameOf(uri(0)));
    EXPECT_EQ(put(uri(tStored), {}, dataOf(tStored, 100)), 0u);
}

TEST_F(VolumeTest, aReadOnlyVolume)
{
    mountSmall("size=1m");
    init();
    ASSERT_EQ(put(uri(0), {}, dataOf(0, 5000)), 0u);
    const KprTime tOld{1600000000, 0, 0};
    ASSERT_EQ(kprSetFileTime((objects() / nameOf(uri(0))).c_str(), &tOld, &tOld), 0u);
    startAnew(); // a volume with files open for writing does not become read-only
    ASSERT_EQ(mount("none", mVolume.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0)
        << std::strerror(errno);

    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_READ_ONLY_VOLUME);
    expectLogged("FS cache: failed to open " + (mVolume / "cache" / "inserted").string() +
                 " for reading/writing: " + text(KPR_E_READ_ONLY_VOLUME));
    // What is there can be read, without the lock.
    EXPECT_TRUE(isThere(0, 5000));
    uint32_t tExists = 7;
    EXPECT_EQ(mCache->hasObject(uri(0).c_str(), &tExists), KPR_E_READ_ONLY_VOLUME)
        << "it cannot be refreshed";
    EXPECT_EQ(tExists, 0u);
    EXPECT_EQ(mCache->pinObject(uri(0).c_str()), KPR_E_READ_ONLY_VOLUME);
    EXPECT_EQ(put(uri(1), {}, "data"), KPR_E_READ_ONLY_VOLUME);
    EXPECT_EQ(put(uri(0), {}, "data"), KPR_E_READ_ONLY_VOLUME);
    EXPECT_FALSE(isThere(1, 4));
}

/// With every number of handles left, down to none.
TEST_F(RealFaultsTest, noHandlesLeft)
{
    init();
    ASSERT_EQ(put(uri(0), {}, dataOf(0, 9000)), 0u);
    makeOld(uri(0), 1000);
    rlimit tBefore{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &tBefore), 0);
    // The next free number; standing handles may have gaps below them.
    const int tNext = dup(0);
    close(tNext);
    const auto tLimited = [&](rlim_t pFree, const std::function<uint32_t()>& pRun) {
        rlimit tLimit = tBefore;
        tLimit.rlim_cur = static_cast<rlim_t>(tNext) + pFree;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &tLimit), 0);
        const uint32_t tAnswer = pRun();
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &tBefore), 0);
        return tAnswer;
    };
    const std::size_t tOpen = openDescriptors();
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    uint32_t tExists = 7;
    EXPECT_EQ(tLimited(0, [&] { return put(uri(1), {}, "data"); }), KPR_E_TOO_MANY_OPEN);
    EXPECT_EQ(tLimited(0, [&] { return mCache->getObject(uri(0).c_str(), &tList, &tBytes); }),
              KPR_E_TOO_MANY_OPEN);
    EXPECT_EQ(tBytes.mSize, 0u);
    EXPECT_EQ(tLimited(0, [&] { return mCache->hasObject(uri(0).c_str(), &tExists); }), 0u)
        << "it needs none";
    EXPECT_EQ(tExists, 1u);
    EXPECT_EQ(tLimited(0, [&] { return mCache->pinObject(uri(0).c_str()); }), 0u);
    EXPECT_EQ(tLimited(1, [&] { return put(uri(1), {}, "data"); }), 0u);
    EXPECT_EQ(openDescriptors(), tOpen) << "nothing is left open";
    EXPECT_TRUE(isThere(0, 9000));

    // The cleaner: what it holds is enough to look at the counters, not to list the objects.
    setCounter(cacheDir() / "inserted", 1 << 30);
    mApp->clearRecords();
    FaultTable::setSleeper([](uint32_t) { return uint32_t{KPR_E_SYSTEM}; });
    tLimited(0, [&] {
        runThread();
        return 0u;
    });
    expectLogged("FS cache cleaner: can't open directory " + objectsDir().string() + ": " +
                 text(KPR_E_TOO_MANY_OPEN));
}

TEST_F(RealFaultsTest, settingUpWithFewHandles)
{
    init();
    startAnew();
    rlimit tBefore{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &tBefore), 0);
    unsigned tFailed = 0;
    for (const bool tFresh : {false, true})
        for (rlim_t tFree = 0; tFree < 6; ++tFree) {
            SCOPED_TRACE(tFree);
            startAnew();
            mApp->clearRecords();
            if (tFresh) fs::remove_all(cacheDir());
            const std::size_t tOpen = openDescriptors();
            const int tNext = dup(0);
            close(tNext);
            rlimit tLimit = tBefore;
            tLimit.rlim_cur = static_cast<rlim_t>(tNext) + tFree;
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &tLimit), 0);
            const uint32_t tAnswer = mCache->init(mApp.get());
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &tBefore), 0);
            EXPECT_TRUE(tAnswer == 0 || tAnswer == KPR_E_TOO_MANY_OPEN) << text(tAnswer);
            tFailed += tAnswer != 0;
            startAnew();
            EXPECT_EQ(openDescriptors(), tOpen);
        }
    EXPECT_EQ(tFailed, 4u) << "without one, and with one only";
    init();
}

/// Runs as a user without privileges where the tests run as the superuser, whom no permission stops.
class PermissionTest : public RealFaultsTest {
protected:
    static constexpr uid_t NOBODY = 65534;

    void SetUp() override
    {
        init();
        ASSERT_EQ(put(uri(0), {}, dataOf(0, 5000)), 0u);
        makeOld(uri(0), 5000);
        for (const fs::path& tPath : {mDir.path(), cacheDir(), objectsDir(), cacheDir() / "inserted",
                                      cacheDir() / "cleaned", fileOf(uri(0))})
            if (geteuid() == 0) {
                ASSERT_EQ(chown(tPath.c_str(), NOBODY, NOBODY), 0);
            }
        mObject = fileOf(uri(0));
        startAnew();
        mApp->clearRecords();
    }
    void TearDown() override
    {
        drop();
        if (mDropped) {
            EXPECT_EQ(seteuid(0), 0);
        }
        for (const fs::path& tPath : {cacheDir(), objectsDir()})
            fs::permissions(tPath, fs::perms::owner_all);
    }
    void dropPrivileges()
    {
        if (geteuid() != 0) return;
        ASSERT_EQ(seteuid(NOBODY), 0);
        mDropped = true;
    }
    uint32_t get()
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        return mCache->getObject(uri(0).c_str(), &tList, &tBytes);
    }

    fs::path mObject;
    bool mDropped = false;
};

TEST_F(PermissionTest, countersThatMayNotBeWritten)
{
    fs::permissions(cacheDir() / "inserted", fs::perms::owner_read);
    dropPrivileges();
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_ACCESS_DENIED);
    expectLogged("FS cache: failed to open " + (cacheDir() / "inserted").string() +
                 " for reading/writing: " + text(KPR_E_ACCESS_DENIED));
    EXPECT_TRUE(isThere(0, 5000)) << "read without the lock";
    fs::permissions(cacheDir() / "inserted", fs::perms::owner_all);
}

TEST_F(PermissionTest, aDirectoryThatMayNotBeWritten)
{
    dropPrivileges();
    init();
    fs::permissions(objectsDir(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(put(uri(1), {}, "data"), KPR_E_ACCESS_DENIED);
    expectAssertion("!KFAILED(tRes)");
    EXPECT_TRUE(isThere(0, 5000));
    uint32_t tExists = 0;
    EXPECT_EQ(mCache->hasObject(uri(0).c_str(), &tExists), 0u) << "a file's own time may be set";
    EXPECT_EQ(tExists, 1u);

    makeOld(uri(0), 5000);
    setCounter(cacheDir() / "inserted", 1 << 30);
    mApp->clearRecords();
    unsigned tSleeps = 0;
    FaultTable::setSleeper([&](uint32_t) { return ++tSleeps < 2 ? 0u : uint32_t{KPR_E_SYSTEM}; });
    runThread();
    const std::string tMessage =
        "FS cache cleaner: failed to remove " + mObject.string() + ": " + text(KPR_E_ACCESS_DENIED);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG), (std::vector<std::string>{tMessage, tMessage}));
    EXPECT_EQ(counter("cleaned"), 0u);
    EXPECT_TRUE(isThere(0, 5000));
}

TEST_F(PermissionTest, aDirectoryThatMayNotBeSearched)
{
    dropPrivileges();
    init();
    fs::permissions(objectsDir(), fs::perms::none);
    uint32_t tExists = 7;
    EXPECT_EQ(get(), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(mCache->hasObject(uri(0).c_str(), &tExists), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(tExists, 0u);
    EXPECT_EQ(mCache->pinObject(uri(0).c_str()), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(put(uri(1), {}, "data"), KPR_E_ACCESS_DENIED);
    setCounter(cacheDir() / "inserted", 1 << 30);
    mApp->clearRecords();
    FaultTable::setSleeper([](uint32_t) { return uint32_t{KPR_E_SYSTEM}; });
    runThread();
    expectLogged("FS cache cleaner: can't open directory " + objectsDir().string() + ": " +
                 text(KPR_E_ACCESS_DENIED));
    fs::permissions(objectsDir(), fs::perms::owner_all);
    EXPECT_TRUE(isThere(0, 5000)) << "nothing else was harmed";
}

TEST_F(PermissionTest, anObjectOfSomebodyElse)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser can make another user's file";
    ASSERT_EQ(chown(mObject.c_str(), 0, 0), 0);
    dropPrivileges();
    init();
    uint32_t tExists = 7;
    EXPECT_EQ(get(), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(mCache->hasObject(uri(0).c_str(), &tExists), KPR_E_ACCESS_DENIED) << "it cannot be refreshed";
    EXPECT_EQ(tExists, 0u);
    EXPECT_EQ(put(uri(0), {}, "data"), KPR_E_ACCESS_DENIED) << "nor when it is stored again";
    EXPECT_EQ(put(uri(1), {}, dataOf(1, 100)), 0u);
    EXPECT_TRUE(isThere(1, 100));
}

} // namespace

} // namespace vel::kos::kfw
