// The cleaner's real thread beside a cache that comes and goes: for the sanitizers.
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"
#include "kpr/byteorder.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

std::atomic<bool> gStop{false};

class LifetimeTest : public testing::Test {
protected:
    void SetUp() override
    {
        gStop = false;
        FaultTable::reset();
        util::kSetFallbackLog([](uint32_t, const char*, const char*) {});
        FaultTable::setSleeper([](uint32_t) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return gStop ? KPR_E_SYSTEM : 0u;
        });
    }
    void TearDown() override
    {
        // Every thread ends at its next sleep; its last act is to close "cleaned".
        gStop = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        util::kSetFallbackLog(nullptr);
        FaultTable::reset();
    }

    /// A directory in which a cleaner always finds something to remove.
    void fill(const std::filesystem::path& pDir)
    {
        const auto tCache = pDir / "cache";
        std::filesystem::create_directories(tCache / "objects");
        const uint64_t tInserted = kprHost2BE64(uint64_t(1) << 30);
        test::writeFile(tCache / "inserted", std::string(reinterpret_cast<const char*>(&tInserted), 8));
        for (int i = 0; i < 40; ++i) {
            const auto tFile = tCache / "objects" / std::to_string(i);
            test::writeFile(tFile, std::string(2000, 'x'));
            const KprTime tOld{1600000000 + i, 0, 0};
            ASSERT_EQ(kprSetFileTime(tFile.string().c_str(), &tOld, &tOld), 0u);
        }
    }
    kom::Ref<FSCache> start(const std::filesystem::path& pDir, const kom::Ref<test::TestApplication>& pApp)
    {
        pApp->setUserAppDir(pDir.string());
        auto tCache = kom::retain(new FSCache);
        EXPECT_EQ(tCache->init(pApp.get()), 0u);
        return tCache;
    }
};

TEST_F(LifetimeTest, aCacheMayGoWhateverItsCleanerDoes)
{
    std::mt19937 tRandom(7);
    std::vector<std::unique_ptr<test::TestDirectory>> tDirs;
    for (int i = 0; i < 40; ++i) {
        tDirs.push_back(std::make_unique<test::TestDirectory>());
        fill(tDirs.back()->path());
        const auto tApp = test::TestApplication::make();
        auto tCache = start(tDirs.back()->path(), tApp);
        std::this_thread::sleep_for(std::chrono::microseconds(tRandom() % 3000));
        tCache.reset();
        EXPECT_EQ(tApp->references(), 1u) << "the application was given back";
    }
}

TEST_F(LifetimeTest, theLastReferenceMayGoWhileThePinsAreRefreshed)
{
    test::TestDirectory tDir;
    const auto tApp = test::TestApplication::make();
    for (int i = 0; i < 20; ++i) {
        auto tCache = start(tDir.path(), tApp);
        const fw::CacheAttrList tNone;
        const fw::CacheBytes tData = makeBytes("x");
        for (int j = 0; j < 5; ++j) {
            const std::string tUri = "http://a/" + std::to_string(j);
            EXPECT_EQ(tCache->putObject(tUri.c_str(), &tNone, &tData), 0u);
            EXPECT_EQ(tCache->pinObject(tUri.c_str()), 0u);
        }
        FaultTable::setClock({1700000000 + i * 10000, 0, 0}); // every pin is due
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

TEST_F(LifetimeTest, theThreadsHandleGoesWithTheLastOfBoth)
{
    test::TestDirectory tDir;
    const auto tApp = test::TestApplication::make();
    const auto waitForDetach = [] {
        for (int i = 0; i < 5000 && FaultTable::calls("kprThreadDetach") == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return FaultTable::calls("kprThreadDetach");
    };
    auto tCache = start(tDir.path(), tApp);
    tCache.reset();
    EXPECT_EQ(FaultTable::calls("kprThreadDetach"), 0u) << "the thread has the state";
    gStop = true;
    EXPECT_EQ(waitForDetach(), 1u) << "by the thread";
}

TEST_F(LifetimeTest, oneOfManyCleanersWorks)
{
    test::TestDirectory tDir;
    fill(tDir.path());
    const auto tApp = test::TestApplication::make();
    std::vector<kom::Ref<FSCache>> tCaches;
    for (int i = 0; i < 8; ++i)
        tCaches.push_back(start(tDir.path(), tApp));
    const auto tObjects = tDir.path() / "cache" / "objects";
    for (int i = 0; i < 5000 && !std::filesystem::is_empty(tObjects); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(std::filesystem::is_empty(tObjects));
    // 40 files of 2 KB each are counted once; the last is gone a moment before it is counted.
    const auto readCleaned = [&] {
        uint64_t tValue = 0;
        for (const char tByte : test::readFile(tDir.path() / "cache" / "cleaned"))
            tValue = tValue << 8 | static_cast<uint8_t>(tByte);
        return tValue;
    };
    for (int i = 0; i < 5000 && readCleaned() < 80; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(readCleaned(), 80u);
}

} // namespace

} // namespace vel::kos::kfw
