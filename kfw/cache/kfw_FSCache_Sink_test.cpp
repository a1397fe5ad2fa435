// Applications that, while they take a log line, wait for another thread which is inside the cache, or use
// the cache themselves.
#include <atomic>
#include <future>
#include <thread>

#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr char MISSING[] = "http://example.com/missing";
constexpr std::chrono::seconds LIMIT(10);

/// Runs once, within the first log line.
std::function<void()> gInLine;
std::atomic<bool> gTaken{false};

void observe(const char* pOperation)
{
    if (std::string_view(pOperation) == "logMessage" && !gTaken.exchange(true)) gInLine();
}

class SinkTest : public FSCacheFixture {
protected:
    void SetUp() override
    {
        init();
        gTaken = false;
        mApp->setObserver(observe);
    }
    void TearDown() override
    {
        mApp->setObserver(nullptr);
        if (mOther.joinable()) mOther.join();
    }
    /// Lets the next log line wait for another thread that does this.
    void waitInLineFor(const std::function<void()>& pDo)
    {
        gInLine = [this, pDo] {
            mOther = std::thread([this, pDo] {
                pDo();
                mDone.set_value();
            });
            mInTime = mDone.get_future().wait_for(LIMIT) == std::future_status::ready;
        };
    }
    uint32_t get()
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        return mCache->getObject(MISSING, &tList, &tBytes);
    }

    std::promise<void> mDone;
    std::thread mOther;
    std::atomic<bool> mInTime{false};
};

TEST_F(SinkTest, mayWaitForAnotherThreadsLookup)
{
    waitInLineFor([this] { EXPECT_EQ(get(), KPR_E_NOT_FOUND); });
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
    EXPECT_TRUE(mInTime);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG).size(), 2u);
}

TEST_F(SinkTest, mayWaitForAnotherThreadsPin)
{
    waitInLineFor([this] { EXPECT_EQ(mCache->pinObject(MISSING), KPR_E_NOT_FOUND); });
    EXPECT_EQ(mCache->pinObject(MISSING), KPR_E_NOT_FOUND);
    EXPECT_TRUE(mInTime);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG).size(), 2u);
}

TEST_F(SinkTest, mayWaitForTheThreadThatReleasesTheCache)
{
    // The cleaner's line, and the last reference going meanwhile.
    waitInLineFor([this] { mCache.reset(); });
    FaultTable::setSleeper([](uint32_t) { return uint32_t{KPR_E_SYSTEM}; });
    FaultTable::fail("kprSeekAndRead", KPR_E_IO);
    runThread();
    EXPECT_TRUE(mInTime);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG).size(), 1u);
    if (mOther.joinable()) mOther.join();
    EXPECT_EQ(mApp->references(), 1u) << "the line's own reference is given back as well";
}

TEST_F(SinkTest, mayWaitForAnotherThreadsLineWithoutALock)
{
    const fw::CacheId tId{};
    FaultTable::fail("kprAppendToPath", KPR_E_IO, 1, 2);
    waitInLineFor([&] { EXPECT_EQ(mCache->unpinObjectById(&tId), KPR_E_IO); });
    EXPECT_EQ(mCache->unpinObjectById(&tId), KPR_E_IO);
    EXPECT_TRUE(mInTime);
    EXPECT_EQ(mApp->assertions().size(), 2u);
}

TEST_F(SinkTest, hearsOfAThreadWhileAnotherOneHasTheLock)
{
    const fw::CacheId tId{};
    gInLine = [] {};
    std::size_t tHeard = 0;
    FaultTable::before("kprOpenFile", [&] {
        FaultTable::fail("kprAppendToPath", KPR_E_IO);
        std::thread([&] { EXPECT_EQ(mCache->unpinObjectById(&tId), KPR_E_IO); }).join();
        tHeard = mApp->assertions().size();
    });
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
    EXPECT_EQ(tHeard, 1u);
}

TEST_F(SinkTest, mayUseTheCacheItself)
{
    uint32_t tExists = 7;
    gInLine = [&] { EXPECT_EQ(mCache->hasObject(MISSING, &tExists), 0u); };
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
    EXPECT_EQ(tExists, 0u);
    EXPECT_TRUE(mApp->assertions().empty()) << "no lock is held";
}

TEST_F(SinkTest, hearsOfADoubledLockWhenTheOuterOneIsGivenBack)
{
    uint32_t tLocked = 7, tExists = 7;
    const std::string tInserted = (cacheDir() / "inserted").string();
    gInLine = [&] { EXPECT_EQ(kprIsFileLocked(tInserted.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), 0u); };
    FaultTable::before("kprOpenFile", [&] { EXPECT_EQ(mCache->hasObject(MISSING, &tExists), 0u); });
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
    expectAssertion("!pCache->mInserterLocked");
    EXPECT_EQ(tLocked, 0u);
}

TEST_F(SinkTest, getsTheLinesOfAThreadInTheirOrder)
{
    FaultTable::fail("kprLockFile", KPR_E_IO);
    gInLine = [] {};
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
    const auto tLines = mApp->messages(fw::LOG_LEVEL_DEBUG);
    ASSERT_EQ(tLines.size(), 2u);
    EXPECT_EQ(tLines[0].rfind("FS cache: can't get lock of ", 0), 0u) << tLines[0];
    EXPECT_EQ(tLines[1].rfind("FS cache: can't open ", 0), 0u) << tLines[1];
}

} // namespace

} // namespace vel::kos::kfw
