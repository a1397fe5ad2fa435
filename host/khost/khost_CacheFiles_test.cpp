// Looking at a cache in spite of the locks that its users hold. What real Windows would refuse is refused
// here on every target.
#include "host/khost/khost_CacheFiles.h"

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "tests/support/TestDirectory.h"

using namespace vel::kos::host;
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

TEST_F(CacheFilesTest, NamesWhatItFailedOn)
{
    std::filesystem::remove(path("cleaned"));
    CacheFiles tCache(mDir.text());
    CacheCounters tCounters;
    EXPECT_EQ(tCache.readCounters(&tCounters), KPR_E_NOT_FOUND);
    EXPECT_EQ(tCache.failedPath(), path("cleaned").string());
}

} // namespace
