// Two hosts that share a cache directory over a file server: no rename-if-absent, a clock an hour ahead or a
// day behind, times in whole steps, locks that hold across the hosts. Each host is a mount of its own.
#include <atomic>
#include <barrier>
#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kfw/cache/testing/kfw_Counter.h"
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"
#include "kfw/cache/testing/kfw_ParseObject.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace vel::kos::kfw {

namespace {

namespace fs = std::filesystem;
using test::FaultTable;

constexpr char URI[] = "http://example.com/";
constexpr int64_t MINUTE = 60;

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr char WORKER_ROUNDS[] = "30";
#else
constexpr char WORKER_ROUNDS[] = "80";
#endif

fs::path besideThisProgram(const char* pName) { return fs::path(kprGetProgramPath()).parent_path() / pName; }

struct Server {
    const char* name;
    int64_t ahead; ///< its clock, in seconds
    int64_t step;  ///< of its times
};

void PrintTo(const Server& pServer, std::ostream* pStream) { *pStream << pServer.name; }

class NetworkFsTest : public FSCacheFixture, public testing::WithParamInterface<Server> {
protected:
    static void SetUpTestSuite()
    {
        if (access("/dev/fuse", R_OK | W_OK) != 0)
            sProblem = std::string("/dev/fuse: ") + std::strerror(errno);
        else if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            sProblem = std::string("no mounts of one's own: ") + std::strerror(errno);
    }
    void SetUp() override
    {
        if (!sProblem.empty()) GTEST_SKIP() << sProblem;
        fs::create_directory(mFolder);
        for (int i = 0; i < 2; ++i) {
            mHosts[i] = mDir.path() / ("host" + std::to_string(i));
            fs::create_directory(mHosts[i]);
            mServers[i] = std::make_unique<kprtest::ChildProcess>(
                std::vector<std::string>{mFolder, mHosts[i], std::to_string(GetParam().ahead),
                                         std::to_string(GetParam().step)},
                besideThisProgram("network_fs"));
            if (!isMounted(mHosts[i])) GTEST_SKIP() << "the file system could not be mounted";
        }
        mApp->setUserAppDir(mHosts[0].string());
        mOtherApp->setUserAppDir(mHosts[1].string());
        ASSERT_EQ(mCache->init(mApp.get()), 0u);
        ASSERT_EQ(mOther->init(mOtherApp.get()), 0u);
        expectQuiet();
    }
    void TearDown() override
    {
        mOther.reset();
        drop();
        for (int i = 0; i < 2; ++i) {
            if (!mHosts[i].empty()) umount2(mHosts[i].c_str(), MNT_DETACH);
            mServers[i].reset();
        }
    }
    /// Waits until another file system stands at the path.
    static bool isMounted(const fs::path& pPath)
    {
        struct stat tParent, tStat;
        for (int i = 0; i < 500; ++i) {
            if (stat(pPath.parent_path().c_str(), &tParent) == 0 && stat(pPath.c_str(), &tStat) == 0 &&
                tParent.st_dev != tStat.st_dev)
                return true;
            kprSleep(10);
        }
        return false;
    }
    void expectQuiet()
    {
        for (const auto& tApp : {mApp, mOtherApp}) {
            for (const auto& tLine : tApp->logLines())
                ADD_FAILURE() << tLine.message;
            EXPECT_TRUE(tApp->assertions().empty());
        }
    }

    fs::path objects(int pHost) const { return mHosts[pHost] / "cache" / "objects"; }
    static uint32_t putTo(FSCache& pCache, const std::string& pUri, const std::string& pData)
    {
        const fw::CacheAttrList tList = makeList({{"uri", pUri}});
        const fw::CacheBytes tBytes = makeBytes(pData);
        return pCache.putObject(pUri.c_str(), &tList, &tBytes);
    }
    /// The data of an object; "missing" where there is none.
    static std::string getFrom(FSCache& pCache, const std::string& pUri)
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        const uint32_t tAnswer = pCache.getObject(pUri.c_str(), &tList, &tBytes);
        if (tAnswer == KPR_E_NOT_FOUND) return "missing";
        EXPECT_EQ(tAnswer, 0u);
        EXPECT_EQ(toVector(tList), (Attributes{{"uri", pUri}}));
        return toString(tBytes);
    }
    static bool has(FSCache& pCache, const std::string& pUri)
    {
        uint32_t tExists = 7;
        EXPECT_EQ(pCache.hasObject(pUri.c_str(), &tExists), 0u);
        return tExists == 1;
    }
    /// An object's age in seconds by the server's clock.
    int64_t ageOf(const std::string& pUri)
    {
        KprFileInfo tInfo{};
        KprTime tNow{};
        EXPECT_EQ(kprGetFileInfo((objects(0) / nameOf(pUri)).c_str(), KPR_INFO_MTIME, &tInfo), 0u);
        EXPECT_EQ(kprGetCurrentTime(&tNow), 0u);
        return tNow.seconds + GetParam().ahead - tInfo.modified.seconds;
    }
    void setAge(const std::string& pUri, int64_t pSeconds)
    {
        KprTime tTime{};
        ASSERT_EQ(kprGetCurrentTime(&tTime), 0u);
        tTime.seconds += GetParam().ahead - pSeconds;
        ASSERT_EQ(kprSetFileTime((objects(0) / nameOf(pUri)).c_str(), &tTime, &tTime), 0u);
    }
    /// Runs the next captured cleaner, the first host's and then the other's; its pSleeps-th sleep ends it.
    unsigned clean(unsigned pSleeps, const std::function<void(unsigned)>& pOnSleep = {})
    {
        unsigned tSleeps = 0;
        FaultTable::setSleeper([&](uint32_t pMilliseconds) {
            if (pMilliseconds < 30000) return 0u; // a rest between removals
            ++tSleeps;
            if (pOnSleep) pOnSleep(tSleeps);
            return tSleeps < pSleeps ? 0u : uint32_t{KPR_E_SYSTEM};
        });
        runThread();
        return tSleeps;
    }

    static std::string sProblem;
    const fs::path mFolder = mDir.path() / "server";
    fs::path mHosts[2];
    std::unique_ptr<kprtest::ChildProcess> mServers[2];
    kom::Ref<test::TestApplication> mOtherApp = test::TestApplication::make();
    kom::Ref<FSCache> mOther = kom::retain(new FSCache);
};

std::string NetworkFsTest::sProblem;

TEST_P(NetworkFsTest, theFileSystemIsAsAFileServers)
{
    test::writeFile(mHosts[0] / "from", "x");
    EXPECT_EQ(renameat2(AT_FDCWD, (mHosts[0] / "from").c_str(), AT_FDCWD, (mHosts[0] / "to").c_str(),
                        RENAME_NOREPLACE),
              -1);
    EXPECT_EQ(errno, EINVAL);
    KprFileInfo tInfo{};
    KprTime tNow{};
    EXPECT_EQ(kprGetFileInfo((mHosts[1] / "from").c_str(), KPR_INFO_MTIME, &tInfo), 0u);
    EXPECT_EQ(kprGetCurrentTime(&tNow), 0u);
    EXPECT_EQ(tInfo.modified.microseconds, 0u);
    EXPECT_EQ(tInfo.modified.seconds % GetParam().step, 0);
    EXPECT_LE(std::abs(tInfo.modified.seconds - tNow.seconds - GetParam().ahead), 5);
}

TEST_P(NetworkFsTest, bothHostsSeeOneCacheAndTheFirstWriterWins)
{
    EXPECT_EQ(getFrom(*mOther, URI), "missing");
    EXPECT_FALSE(has(*mOther, URI));
    EXPECT_EQ(putTo(*mCache, URI, "first"), 0u);
    EXPECT_EQ(putTo(*mOther, URI, "second"), 0u);
    EXPECT_EQ(getFrom(*mCache, URI), "first");
    EXPECT_EQ(getFrom(*mOther, URI), "first");
    EXPECT_TRUE(has(*mOther, URI));
    const std::string tLarge(300000, 'x');
    EXPECT_EQ(putTo(*mOther, "http://example.com/large", tLarge), 0u);
    EXPECT_TRUE(getFrom(*mCache, "http://example.com/large") == tLarge);
    const fs::directory_iterator tFiles(mFolder / "cache" / "objects");
    EXPECT_EQ(std::distance(begin(tFiles), end(tFiles)), 2) << "no second name is left";
    EXPECT_EQ(test::readFile(mFolder / "cache" / "inserted"), std::string("\0\0\0\0\0\0\x01\x27", 8));
}

/// Also without the insert lock, which whoever cannot have it goes on without.
TEST_P(NetworkFsTest, ofTwoHostsThatMoveAFileToOneNameOneSucceeds)
{
    constexpr int tRounds = 200;
    std::barrier tStart(2);
    std::atomic<int> tWinners = 0, tLosers = 0;
    std::vector<std::thread> tThreads;
    for (int tHost = 0; tHost < 2; ++tHost)
        tThreads.emplace_back([&, tHost] {
            for (int i = 0; i < tRounds; ++i) {
                const fs::path tFrom = mHosts[tHost] / ("from" + std::to_string(tHost));
                test::writeFile(tFrom, std::to_string(tHost));
                tStart.arrive_and_wait();
                const uint32_t tAnswer =
                    kprMoveFile(tFrom.c_str(), (mHosts[tHost] / ("to" + std::to_string(i))).c_str());
                tWinners += tAnswer == 0;
                tLosers += tAnswer == KPR_E_EXISTS;
                tStart.arrive_and_wait();
                EXPECT_EQ(fs::exists(tFrom), tAnswer != 0);
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(tWinners, tRounds);
    EXPECT_EQ(tLosers, tRounds);
}

TEST_P(NetworkFsTest, timesAreTheServers)
{
    ASSERT_EQ(putTo(*mCache, URI, "data"), 0u);
    EXPECT_LE(std::abs(ageOf(URI)), 5);
    for (const int64_t tAge : {14 * MINUTE, 16 * MINUTE}) {
        setAge(URI, tAge);
        EXPECT_TRUE(has(*mOther, URI));
        const bool tRefreshed = std::abs(ageOf(URI)) <= 5;
        EXPECT_EQ(tRefreshed, tAge > 15 * MINUTE) << ageOf(URI);
    }
    setAge(URI, 60 * MINUTE);
    EXPECT_EQ(mOther->pinObject(URI), 0u);
    EXPECT_LE(std::abs(ageOf(URI)), 5);
}

TEST_P(NetworkFsTest, nothingIsRemovedEarly)
{
    const std::vector<std::pair<std::string, int64_t>> tObjects = {{"http://example.com/new", 0},
                                                                   {"http://example.com/29", 29 * MINUTE},
                                                                   {"http://example.com/31", 31 * MINUTE}};
    for (const auto& [tUri, tAge] : tObjects) {
        ASSERT_EQ(putTo(*mOther, tUri, "data"), 0u);
        setAge(tUri, tAge);
    }
    setCounter(mFolder / "cache" / "inserted", 1 << 30);
    EXPECT_EQ(clean(3), 3u);
    for (const auto& [tUri, tAge] : tObjects)
        EXPECT_EQ(has(*mCache, tUri), tAge < 30 * MINUTE) << tUri;
    EXPECT_EQ(test::readFile(mFolder / "cache" / "cleaned"), std::string("\0\0\0\0\0\0\0\1", 8));
    expectQuiet();
}

TEST_P(NetworkFsTest, oneHostCleansAtATime)
{
    ASSERT_EQ(putTo(*mCache, URI, "data"), 0u);
    setAge(URI, 60 * MINUTE);
    setCounter(mFolder / "cache" / "inserted", 1 << 30);
    KprFile tFirst;
    ASSERT_EQ(kprOpenFile((mHosts[1] / "cache" / "cleaned").c_str(), KPR_OPEN_READ_WRITE, &tFirst), 0u);
    ASSERT_EQ(kprLockFile(tFirst, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0), 0u);
    const unsigned tSleeps = clean(4, [&](unsigned pSleep) {
        if (pSleep > 3) return;
        EXPECT_TRUE(fs::exists(objects(0) / nameOf(URI))) << pSleep;
        if (pSleep == 3) {
            EXPECT_EQ(kprCloseFile(tFirst), 0u); // as when that host's process ends
        }
    });
    EXPECT_EQ(tSleeps, 4u);
    EXPECT_FALSE(fs::exists(objects(0) / nameOf(URI))) << "it took over";
    expectQuiet();
}

TEST_P(NetworkFsTest, writersExcludeReadersOfTheOtherHost)
{
    KprFile tWriter;
    ASSERT_EQ(kprOpenFile((mHosts[0] / "cache" / "inserted").c_str(), KPR_OPEN_READ_WRITE, &tWriter), 0u);
    ASSERT_EQ(kprLockFile(tWriter, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    std::atomic<bool> tDone = false;
    std::thread tReader([&] {
        EXPECT_FALSE(has(*mOther, URI));
        tDone = true;
    });
    kprSleep(100);
    EXPECT_FALSE(tDone) << "the reader came in";
    EXPECT_EQ(kprUnlockFile(tWriter, 0, 0), 0u);
    tReader.join();
    EXPECT_TRUE(tDone);
    EXPECT_EQ(kprCloseFile(tWriter), 0u);
    expectQuiet();
}

TEST_P(NetworkFsTest, processesOfBothHostsWorkAtOnce)
{
    {
        std::vector<std::unique_ptr<kprtest::ChildProcess>> tWorkers;
        for (int i = 0; i < 2; ++i)
            tWorkers.push_back(std::make_unique<kprtest::ChildProcess>(
                std::vector<std::string>{mHosts[i], std::to_string(i + 1), WORKER_ROUNDS},
                besideThisProgram("kfw_FSCache_Worker")));
        for (const auto& tWorker : tWorkers)
            EXPECT_EQ(tWorker->wait(), 0);
    }
    uint64_t tKilobytes = 0;
    std::size_t tCount = 0;
    for (const auto& tEntry : fs::directory_iterator(mFolder / "cache" / "objects")) {
        const std::string tBytes = test::readFile(tEntry.path());
        ObjectFileHeader tHeader;
        fw::CacheAttrList tList;
        EXPECT_EQ(parseObject(tEntry.path().string(), reinterpret_cast<const uint8_t*>(tBytes.data()),
                              tBytes.size(), &tHeader, &tList),
                  "");
        tKilobytes += kilobytes(tBytes.size());
        ++tCount;
    }
    EXPECT_GT(tCount, 20u);
    const std::string tCounter = test::readFile(mFolder / "cache" / "inserted");
    uint64_t tInserted = 0;
    for (const char tByte : tCounter)
        tInserted = tInserted << 8 | static_cast<uint8_t>(tByte);
    EXPECT_EQ(tInserted, tKilobytes) << "each object is counted once, by whoever stored it first";
}

TEST_P(NetworkFsTest, aHostWhoseServerGoesAwayFailsAndTheOtherGoesOn)
{
    ASSERT_EQ(putTo(*mCache, URI, "data"), 0u);
    mServers[1]->kill();
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    uint32_t tExists = 7;
    EXPECT_TRUE(KFAILED(mOther->getObject(URI, &tList, &tBytes)));
    EXPECT_EQ(tList.mCount + tBytes.mSize, 0u);
    EXPECT_TRUE(KFAILED(mOther->hasObject(URI, &tExists)));
    EXPECT_EQ(tExists, 0u);
    EXPECT_TRUE(KFAILED(putTo(*mOther, "http://example.com/2", "data")));
    EXPECT_TRUE(KFAILED(mOther->pinObject(URI)));
    EXPECT_EQ(getFrom(*mCache, URI), "data");
    EXPECT_EQ(putTo(*mCache, "http://example.com/2", "data"), 0u);
    EXPECT_EQ(clean(2), 2u) << "the cleaner of the first host";
    EXPECT_EQ(clean(2), 0u) << "that of the other cannot lock, and ends";
}

INSTANTIATE_TEST_SUITE_P(servers, NetworkFsTest,
                         testing::Values(Server{"anHourAhead", 3600, 1}, Server{"aDayBehind", -86400, 2}),
                         [](const auto& pInfo) { return pInfo.param.name; });

} // namespace

} // namespace vel::kos::kfw
