// Several processes with several threads on one cache directory.
#include <gtest/gtest.h>

#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kfw/cache/kfw_FSCacheState.h"
#include "kfw/cache/testing/kfw_ParseObject.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::kfw {

namespace {

#if defined(_WIN32)
constexpr unsigned ROUNDS = 40;
#elif defined(__SANITIZE_THREAD__)
constexpr unsigned ROUNDS = 100;
#else
constexpr unsigned ROUNDS = 2000;
#endif

/// The worker beside this program.
std::string workerPath()
{
    std::filesystem::path tWorker =
        std::filesystem::path(kprGetProgramPath()).parent_path() / "kfw_FSCache_Worker";
#if defined(_WIN32)
    tWorker += ".exe";
#endif
    return tWorker.string();
}

TEST(FSCacheProcessesTest, shareADirectoryWithoutTearingAnything)
{
    const test::TestDirectory tDir;
    {
        kprtest::ChildProcess tFirst({tDir.text(), "1", std::to_string(ROUNDS)}, workerPath());
        kprtest::ChildProcess tSecond({tDir.text(), "2", std::to_string(ROUNDS)}, workerPath());
        EXPECT_EQ(tFirst.wait(), 0);
        EXPECT_EQ(tSecond.wait(), 0);
    }

    uint64_t tKilobytes = 0;
    std::size_t tCount = 0;
    for (const auto& tEntry : std::filesystem::directory_iterator(tDir.path() / "cache" / "objects")) {
        const std::string tBytes = test::readFile(tEntry.path());
        EXPECT_EQ(tEntry.path().filename().string().size(), 32u) << "nothing temporary is left: " << tEntry;
        ObjectFileHeader tHeader;
        fw::CacheAttrList tList;
        EXPECT_EQ(parseObject(tEntry.path().string(), reinterpret_cast<const uint8_t*>(tBytes.data()),
                              tBytes.size(), &tHeader, &tList),
                  "");
        tKilobytes += kilobytes(tBytes.size());
        ++tCount;
    }
    EXPECT_GT(tCount, 40u);
    const std::string tCounter = test::readFile(tDir.path() / "cache" / "inserted");
    ASSERT_EQ(tCounter.size(), 8u);
    uint64_t tInserted = 0;
    for (const char tByte : tCounter)
        tInserted = tInserted << 8 | static_cast<uint8_t>(tByte);
    EXPECT_EQ(tInserted, tKilobytes) << "each object is counted once, by whoever stored it first";
}

} // namespace

} // namespace vel::kos::kfw
