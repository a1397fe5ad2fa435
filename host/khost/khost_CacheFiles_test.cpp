// Looking at a cache in spite of the locks that its users hold. What real Windows would refuse is refused
// here on every target.
#include "host/khost/khost_CacheFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kfw/cache/format/kfw_ByteSource.h"
#include "kfw/cache/format/kfw_ObjectFile.h"
#include "kpr/codes.h"
#include "kpr/file.h"
#include "tests/support/TestDirectory.h"

using namespace vel::kos::host;
namespace fw = vel::kos::fw;
namespace kfw = vel::kos::kfw;
using vel::kos::test::TestDirectory;
using vel::kos::test::writeFile;

namespace {

class CacheFilesTest : public testing::Test {
protected:
    CacheFilesTest()
    {
        std::filesystem::create_directories(mDir.path() / "cache" / "objects");
        writeFile(path("inserted"), std::string("\0\0\0\0\0\0\x12\x34", 8));
        writeFile(path("cleaned"), std::string("\0\0\0\0\0\0\x00\x34", 8));
    }
    std::filesystem::path path(const char* pName) const { return mDir.path() / "cache" / pName; }

    TestDirectory mDir;
};

TEST_F(CacheFilesTest, ReadsCountersThatOthersHaveLocked)
{
    KprFile tFiles[2];
    int i = 0;
    for (const char* tName : {"inserted", "cleaned"}) {
        ASSERT_EQ(kprOpenFile(path(tName).string().c_str(), KPR_OPEN_READ_WRITE, &tFiles[i]), 0u);
        ASSERT_EQ(kprLockFile(tFiles[i++], KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0), 0u);
    }
    CacheFiles tCache(mDir.text());
    CacheCounters tCounters;
    bool tAtWork = false;
    EXPECT_EQ(tCache.readCounters(&tCounters), 0u) << tCache.failedPath();
    EXPECT_EQ(tCounters.insertedKb, 0x1234u);
    EXPECT_EQ(tCounters.cleanedKb, 0x34u);
    EXPECT_EQ(tCounters.growthKb(), 0x1200);
    EXPECT_EQ(tCache.isCleanerAtWork(&tAtWork), 0u);
    EXPECT_TRUE(tAtWork);
    for (const KprFile tFile : tFiles)
        kprCloseFile(tFile);
    EXPECT_EQ(tCache.isCleanerAtWork(&tAtWork), 0u);
    EXPECT_FALSE(tAtWork);
}

TEST_F(CacheFilesTest, ManyMayAskForTheCleanerAtOnce)
{
    constexpr int ASKERS = 6, TIMES = 60;
    std::atomic<int> tSeen{0}, tFailed{0};
    const auto tAsk = [&] {
        CacheFiles tCache(mDir.text());
        for (int i = 0; i < TIMES; ++i) {
            bool tAtWork = false;
            if (KFAILED(tCache.isCleanerAtWork(&tAtWork))) ++tFailed;
            if (tAtWork) ++tSeen;
        }
    };
    const auto tAskTogether = [&] {
        tSeen = 0;
        std::vector<std::thread> tThreads;
        for (int i = 0; i < ASKERS; ++i)
            tThreads.emplace_back(tAsk);
        for (std::thread& tThread : tThreads)
            tThread.join();
    };
    tAskTogether();
    EXPECT_EQ(tSeen, 0) << "they take each other for the cleaner";
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(path("cleaned").string().c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
    ASSERT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    tAskTogether();
    EXPECT_EQ(tSeen, ASKERS * TIMES) << "and everyone sees the true one";
    EXPECT_EQ(tFailed, 0);
    kprCloseFile(tFile);
}

class ObjectFilesTest : public CacheFilesTest {
protected:
    ObjectFilesTest()
    {
        mAttributes.add("key", "value");
        mData = bytes(LENGTH);
        kfw::ObjectImage tImage;
        EXPECT_EQ(kfw::composeObject(NAME, mAttributes, mData, &tImage), "");
        write(std::string(reinterpret_cast<const char*>(tImage.bytes.get()), tImage.size));
    }
    static fw::CacheBytes bytes(uint32_t pLength)
    {
        fw::CacheBytes tBytes;
        tBytes.mData = static_cast<uint8_t*>(komCalloc(pLength, 1));
        tBytes.mSize = pLength;
        return tBytes;
    }
    /// Removes the object if it is refused, without waiting for anybody.
    uint32_t remove(bool* pRemoved)
    {
        return mCache.removeRefused(
            {NAME}, [](uint32_t) { return false; }, pRemoved);
    }
    void write(const std::string& pBytes) const { writeFile(mCache.objectPath(NAME), pBytes); }

    static constexpr char NAME[] = "00112233445566778899AABBCCDDEEFF";
    static constexpr uint32_t LENGTH = 20000;
    CacheFiles mCache{mDir.text()};
    fw::CacheAttrList mAttributes;
    fw::CacheBytes mData;
};

TEST_F(ObjectFilesTest, AFailureInTheDataLeavesTheAttributesToo)
{
    fw::CacheAttrList tAttributes;
    tAttributes.add("before", "");
    fw::CacheBytes tData = bytes(3);
    std::string tProblem;
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mCache.objectPath(NAME).c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
    ASSERT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, LENGTH / 2, 10), 0u);
    EXPECT_EQ(mCache.read(NAME, &tAttributes, &tData, &tProblem), KPR_E_LOCKED);
    EXPECT_NE(tProblem.find("error reading data"), std::string::npos) << tProblem;
    ASSERT_EQ(tAttributes.mCount, 1u);
    EXPECT_STREQ(tAttributes.mAttrs[0].mKey, "before");
    EXPECT_EQ(tData.mSize, 3u);
    kprCloseFile(tFile);
    EXPECT_EQ(mCache.read(NAME, &tAttributes, &tData, &tProblem), 0u);
    EXPECT_STREQ(tAttributes.mAttrs[0].mKey, "key");
    EXPECT_EQ(tData.mSize, LENGTH);
}

TEST_F(ObjectFilesTest, AnotherObjectIsOneThatIsThereAndDiffers)
{
    EXPECT_FALSE(mCache.hasOther(NAME, mAttributes, mData));
    EXPECT_TRUE(mCache.hasOther(NAME, mAttributes, bytes(LENGTH - 1)));
    EXPECT_TRUE(mCache.hasOther(NAME, {}, mData));
    fw::CacheAttrList tOther;
    tOther.add("key", "other");
    EXPECT_TRUE(mCache.hasOther(NAME, tOther, mData));
    tOther.clear();
    tOther.add("yek", "value");
    EXPECT_TRUE(mCache.hasOther(NAME, tOther, mData));
    write("no object");
    EXPECT_TRUE(mCache.hasOther(NAME, mAttributes, mData));
    std::filesystem::remove(mCache.objectPath(NAME));
    EXPECT_FALSE(mCache.hasOther(NAME, mAttributes, mData)) << "a cleaner took it";
}

TEST_F(ObjectFilesTest, NothingIsRemovedThatCannotBeCounted)
{
    write("no object");
    std::filesystem::remove(path("cleaned"));
    bool tRemoved = true;
    EXPECT_EQ(remove(&tRemoved), KPR_E_NOT_FOUND);
    EXPECT_EQ(mCache.failedPath(), path("cleaned").string());
    EXPECT_FALSE(tRemoved);
    EXPECT_TRUE(std::filesystem::exists(mCache.objectPath(NAME)));
}

TEST_F(ObjectFilesTest, WhoWaitsForTheLockMayGiveUp)
{
    write("no object");
    kfw::OpenFile tOther;
    ASSERT_EQ(tOther.open(path("inserted").string(), KPR_OPEN_READ_WRITE), 0u);
    ASSERT_EQ(kprLockFile(tOther.get(), KPR_LOCK_SHARED, 0, 0), 0u);
    bool tRemoved = true;
    std::vector<uint32_t> tWaited;
    const auto tThreeTimes = [&tWaited](uint32_t pMilliseconds) {
        tWaited.push_back(pMilliseconds);
        return tWaited.size() < 3;
    };
    EXPECT_EQ(mCache.removeRefused({NAME}, tThreeTimes, &tRemoved), KPR_E_LOCKED);
    EXPECT_THAT(tWaited, testing::ElementsAre(0u, 20u, 40u));
    EXPECT_FALSE(tRemoved);
    EXPECT_EQ(tOther.close(), 0u);
    EXPECT_EQ(remove(&tRemoved), 0u);
    EXPECT_TRUE(tRemoved);
}

TEST_F(CacheFilesTest, ACacheWithoutEitherCounterIsACopy)
{
    CacheFiles tCache(mDir.text());
    for (const char* tName : {"inserted", "cleaned"}) {
        EXPECT_TRUE(tCache.hasCounters());
        std::filesystem::remove(path(tName));
    }
    EXPECT_FALSE(tCache.hasCounters());
}

TEST_F(CacheFilesTest, TryingWhetherACacheMayBeWrittenLeavesNothing)
{
    const auto tCount = [&] {
        const std::filesystem::recursive_directory_iterator tEntries(mDir.path());
        return std::distance(begin(tEntries), end(tEntries));
    };
    CacheFiles tCache(mDir.text());
    for (const char* tName : {"", "cleaned", "inserted", "objects"}) {
        if (*tName) std::filesystem::remove(path(tName));
        const auto tBefore = tCount();
        EXPECT_EQ(tCache.checkWritable(), 0u) << tName;
        EXPECT_EQ(tCount(), tBefore) << tName;
    }
    std::filesystem::remove(mDir.path() / "cache");
    EXPECT_EQ(tCache.checkWritable(), 0u);
    EXPECT_EQ(tCount(), 0);
}

TEST_F(CacheFilesTest, NamesWhatItFailedOn)
{
    std::filesystem::remove(path("cleaned"));
    CacheFiles tCache(mDir.text());
    CacheCounters tCounters;
    EXPECT_EQ(tCache.readCounters(&tCounters), KPR_E_NOT_FOUND);
    EXPECT_EQ(tCache.failedPath(), path("cleaned").string());
}

} // namespace
