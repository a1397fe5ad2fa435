// The cache on volumes that the test machine does not have, in virtual time.
#include "kfw/cache/testing/kfw_FSCache_CleanerFixture.h"

#include "kpr/testing/kpr_volume_win.h"

namespace vel::kos::kfw {

namespace {

using kprtest::gVolume;
using kprtest::Volume;
using test::FaultTable;

constexpr char OLD[] = "http://a/old", PINNED[] = "http://a/pinned", NEW[] = "http://a/new";
/// By how much an age may be wrong: the step of file times counts when a cache compares the clocks, and again
/// when it looks at a file.
constexpr int64_t SLACK = 5;
/// Of the cleaner, 30 seconds each: longer than what is not pinned may stay.
constexpr unsigned ROUNDS = 65;
/// A moment that no step falls on.
constexpr int64_t NOW = START + 1;

class FSCacheVolumes : public CleanerTest, public testing::WithParamInterface<Volume> {
protected:
    FSCacheVolumes()
    {
        gVolume = GetParam();
        gVolume.tag = 0; // what is stored is here at first
        kprtest::gFetched = 0;
        FaultTable::setClock({NOW, 0, 0});
        FaultTable::setFileClock({NOW + gVolume.clock, 0, 0});
    }
    ~FSCacheVolumes() override
    {
        drop();
        gVolume = {};
    }

    void start()
    {
        init();
        mOffset = gVolume.clock;
        for (const char* tUri : {OLD, PINNED, NEW})
            ASSERT_EQ(put(tUri, {{"key", "value"}}, std::string("data of ") + tUri), 0u);
        setCounter("inserted", uint64_t{1} << 40); // there is always something to clean
        expectOnlyLocksAreMissed();
    }
    /// The provider takes the content of what is stored away.
    void becomeElsewhere() { gVolume.tag = GetParam().tag; }
    /// That the cache speaks of the locks that it cannot have, and of nothing else.
    void expectOnlyLocksAreMissed()
    {
        for (const std::string& tLine : logged())
            EXPECT_TRUE(gVolume.lockError && tLine.find("lock") != std::string::npos) << tLine;
        EXPECT_EQ(logged().empty(), !gVolume.lockError);
        EXPECT_TRUE(mApp->assertions().empty());
        mApp->clearRecords();
    }
    void setAge(const char* pUri, int64_t pSeconds)
    {
        const KprTime tTime{NOW + gVolume.clock - pSeconds, 0, 0};
        ASSERT_EQ(kprSetFileTime(fileOf(pUri).string().c_str(), &tTime, &tTime), 0u);
    }
    int64_t ageOf(const char* pUri) { return NOW + gVolume.clock - modifiedSeconds(pUri); }
    uint32_t get(const char* pUri, std::string* pData)
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        const uint32_t tRes = mCache->getObject(pUri, &tList, &tBytes);
        EXPECT_EQ(tList.mCount, KFAILED(tRes) ? 0u : 1u);
        *pData = toString(tBytes);
        return tRes;
    }
    bool has(const char* pUri)
    {
        uint32_t tExists = 7;
        EXPECT_EQ(mCache->hasObject(pUri, &tExists), 0u) << pUri;
        return tExists == 1;
    }
    bool isThere(const char* pUri) { return files().contains(nameOf(pUri)); }
};

TEST_P(FSCacheVolumes, storesFindsAndTouches)
{
    start();
    setAge(OLD, 1000);
    setAge(NEW, 800);
    EXPECT_EQ(put(PINNED, {}, "somebody was first"), 0u);
    EXPECT_EQ(fileCount(), 3u) << "no temporary file is left";
    becomeElsewhere();
    EXPECT_TRUE(has(OLD) && has(NEW) && has(PINNED));
    EXPECT_FALSE(has("http://a/none"));
    EXPECT_NEAR(static_cast<double>(ageOf(OLD)), 0, SLACK) << "older than a quarter of an hour: touched";
    EXPECT_NEAR(static_cast<double>(ageOf(NEW)), 800, SLACK);
    EXPECT_EQ(kprtest::gFetched, 0u) << "whether it is there can be told without it";
    for (const char* tUri : {OLD, PINNED, NEW}) {
        std::string tData;
        EXPECT_EQ(get(tUri, &tData), 0u);
        EXPECT_EQ(tData, std::string("data of ") + tUri);
    }
    EXPECT_EQ(kprtest::gFetched > 0, gVolume.tag != 0);
    expectOnlyLocksAreMissed();
}

TEST_P(FSCacheVolumes, cleansWhatIsOldAndSparesWhatIsPinned)
{
    start();
    ASSERT_EQ(mCache->pinObject(PINNED), 0u);
    setAge(OLD, 1801 + SLACK);
    setAge(NEW, 1799 - SLACK - 600);
    becomeElsewhere();
    mOnSleep = [this] {
        const int64_t tPassed = 30 * int64_t{mSleeps};
        EXPECT_TRUE(isThere(PINNED)) << tPassed;
        EXPECT_FALSE(isThere(OLD)) << tPassed;
        if (tPassed <= 600) {
            EXPECT_TRUE(isThere(NEW)) << tPassed;
        }
        if (tPassed > 600 + 60 + 2 * SLACK) {
            EXPECT_FALSE(isThere(NEW)) << tPassed;
        }
    };
    if (gVolume.lockError) { // without an election nobody cleans
        runThread();
        EXPECT_EQ(fileCount(), 3u);
        EXPECT_EQ(logged(), std::vector<std::string>{"FS cache cleaner: failed to lock " + cleanedPath() +
                                                     ": operation not supported"});
        return;
    }
    clean(ROUNDS);
    EXPECT_EQ(mSleeps, ROUNDS);
    EXPECT_EQ(counter("cleaned"), 2u);
    EXPECT_EQ(kprtest::gFetched, 0u);
    expectOnlyLocksAreMissed();
}

TEST_P(FSCacheVolumes, sparesWhatIsTouchedInTime)
{
    if (gVolume.lockError) GTEST_SKIP() << "nobody cleans where locks are not to be had";
    start();
    mOnSleep = [this] { EXPECT_TRUE(has(NEW)); };
    clean(ROUNDS);
    EXPECT_EQ(files(), Names{nameOf(NEW)});
    expectOnlyLocksAreMissed();
}

INSTANTIATE_TEST_SUITE_P(Every, FSCacheVolumes, testing::ValuesIn(kprtest::volumes()),
                         [](const auto& pInfo) { return pInfo.param.name; });

class FSCachePlaceholders : public FSCacheVolumes {};

TEST_P(FSCachePlaceholders, areMissedWhenNobodyBringsThem)
{
    start();
    becomeElsewhere();
    gVolume.contentError = 362; // the provider does not run
    std::string tData;
    EXPECT_EQ(get(NEW, &tData), KPR_E_IO);
    EXPECT_TRUE(has(NEW));
    EXPECT_EQ(put(NEW, {}, "anew"), 0u) << "taken for stored";
    EXPECT_EQ(get(NEW, &tData), KPR_E_IO);
    gVolume.contentError = 0;
    EXPECT_EQ(get(NEW, &tData), 0u);
    EXPECT_EQ(tData, std::string("data of ") + NEW);
}

INSTANTIATE_TEST_SUITE_P(Of, FSCachePlaceholders,
                         testing::Values(Volume{.name = "OneDrive", .tag = kprtest::CLOUD_TAG}),
                         [](const auto& pInfo) { return pInfo.param.name; });

} // namespace

} // namespace vel::kos::kfw
