#include "host/LogSink.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <thread>
#include <vector>

#include "host/testing/host_TestDirectory.h"
#include "kfw/IApplication.h"
#include "kpr/codes.h"

using namespace vel::kos;
using namespace vel::kos::host;

namespace {

/// A sink that writes to the file only.
struct FileLog {
    TestDirectory dir;
    LogSink sink;

    explicit FileLog(uint64_t pBytes = 5u << 20, uint32_t pOld = 3, const std::u8string& pName = u8"host.log")
    {
        std::string tProblem;
        EXPECT_EQ(sink.open({false, dir.file(pName), pBytes, pOld}, &tProblem), 0u) << tProblem;
    }
};

TEST(LogSink, WritesLevelDomainAndMessage)
{
    testing::internal::CaptureStderr();
    LogSink tSink;
    std::string tProblem;
    EXPECT_EQ(tSink.open({}, &tProblem), 0u);
    tSink.setLevel(fw::LOG_LEVEL_DEBUG);
    tSink.write(fw::LOG_LEVEL_ERROR, "kos:kfw", "one {} %1");
    tSink.write(fw::LOG_LEVEL_WARNING, "kos:kfw", "two");
    tSink.write(fw::LOG_LEVEL_INFO, "khost", "three");
    tSink.write(fw::LOG_LEVEL_DEBUG, nullptr, nullptr);
    std::string tText = testing::internal::GetCapturedStderr();
    tText.erase(std::remove(tText.begin(), tText.end(), '\r'), tText.end());
    EXPECT_EQ(tText, "ERROR kos:kfw: one {} %1\nWARNING kos:kfw: two\nINFO khost: three\nDEBUG : \n");
}

TEST(LogSink, LeavesOutWhatIsLessImportantThanItsLevel)
{
    FileLog tLog;
    EXPECT_EQ(tLog.sink.level(), uint32_t(fw::LOG_LEVEL_WARNING));
    tLog.sink.write(fw::LOG_LEVEL_INFO, "d", "unseen");
    tLog.sink.write(fw::LOG_LEVEL_WARNING, "d", "seen");
    tLog.sink.setLevel(fw::LOG_LEVEL_ERROR);
    tLog.sink.write(fw::LOG_LEVEL_WARNING, "d", "unseen");
    tLog.sink.setLevel(fw::LOG_LEVEL_DEBUG);
    tLog.sink.write(fw::LOG_LEVEL_DEBUG, "d", "seen too");
    const std::string tText = tLog.dir.read(u8"host.log");
    EXPECT_EQ(tText.find("unseen"), std::string::npos) << tText;
    EXPECT_NE(tText.find("WARNING d: seen\n"), std::string::npos) << tText;
    EXPECT_NE(tText.find("DEBUG d: seen too\n"), std::string::npos) << tText;
}

TEST(LogSink, PutsTimeProcessAndThreadBeforeTheLinesOfTheFile)
{
    FileLog tLog(5u << 20, 3, u8"L\u00f6g \u65e5.log");
    tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", "text");
    EXPECT_TRUE(std::regex_match(
        tLog.dir.read(u8"L\u00f6g \u65e5.log"),
        std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\d+:\\d+ ERROR d: text\n")));
}

TEST(LogSink, KeepsAMessageOnOneLine)
{
    FileLog tLog;
    tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", "a\nERROR d: forged\r\tb\x7F\x1B[2J\xC2\x9B");
    EXPECT_NE(tLog.dir.read(u8"host.log").find("ERROR d: a\\nERROR d: forged\\r\\tb\\x7f\\x1b[2J\\u009b\n"),
              std::string::npos);
}

TEST(LogSink, RenamesAFileThatGrowsTooLargeAndKeepsSoManyOldOnes)
{
    FileLog tLog(1000, 2);
    for (int i = 0; i < 100; ++i)
        tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", std::string(80, 'x').c_str());
    EXPECT_TRUE(tLog.dir.has(u8"host.log"));
    EXPECT_TRUE(tLog.dir.has(u8"host.1.log"));
    EXPECT_TRUE(tLog.dir.has(u8"host.2.log"));
    EXPECT_FALSE(tLog.dir.has(u8"host.3.log"));
    EXPECT_LE(tLog.dir.read(u8"host.1.log").size(), 1000u);
}

TEST(LogSink, KeepsNoOldFileWhenNoneIsWanted)
{
    FileLog tLog(1000, 0);
    for (int i = 0; i < 100; ++i)
        tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", std::string(80, 'x').c_str());
    EXPECT_LE(tLog.dir.read(u8"host.log").size(), 1000u);
    EXPECT_FALSE(tLog.dir.has(u8"host.1.log"));
}

TEST(LogSink, AddsToAFileAndCountsWhatItHolds)
{
    TestDirectory tDir;
    tDir.write(u8"host", std::string(900, 'o'));
    LogSink tSink;
    std::string tProblem;
    ASSERT_EQ(tSink.open({false, tDir.file(u8"host"), 1000, 1}, &tProblem), 0u);
    tSink.write(fw::LOG_LEVEL_ERROR, "d", "a");
    EXPECT_EQ(tDir.read(u8"host").rfind(std::string(900, 'o'), 0), 0u);
    tSink.write(fw::LOG_LEVEL_ERROR, "d", std::string(80, 'b').c_str());
    EXPECT_EQ(tDir.read(u8"host.1").rfind(std::string(900, 'o'), 0), 0u);
    EXPECT_EQ(tDir.read(u8"host").find('o'), std::string::npos);
}

TEST(LogSink, GoesOnWhereAFileCannotBeRenamed)
{
    FileLog tLog(1000, 1);
    ASSERT_TRUE(std::filesystem::create_directory(tLog.dir.path() / "host.1.log"));
    for (int i = 0; i < 100; ++i)
        tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", "line");
    const std::string tText = tLog.dir.read(u8"host.log");
    EXPECT_EQ(std::count(tText.begin(), tText.end(), '\n'), 100);
}

TEST(LogSink, ToldThatAFileCannotBeOpenedTheConsoleRemains)
{
    TestDirectory tDir;
    tDir.write(u8"file", "");
    LogSink tSink;
    std::string tProblem;
    EXPECT_TRUE(KFAILED(tSink.open({false, tDir.file(u8"file/below.log")}, &tProblem)));
    EXPECT_EQ(tProblem, tDir.file(u8"file/below.log"));
    tSink.write(fw::LOG_LEVEL_ERROR, "d", "goes nowhere");
}

TEST(LogSink, TakesLinesFromManyThreads)
{
    FileLog tLog;
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 4; ++i)
        tThreads.emplace_back([&] {
            for (int j = 0; j < 100; ++j)
                tLog.sink.write(fw::LOG_LEVEL_ERROR, "d", "line");
        });
    for (auto& tThread : tThreads)
        tThread.join();
    const std::string tText = tLog.dir.read(u8"host.log");
    std::size_t tLines = 0;
    for (std::size_t i = tText.find("ERROR d: line\n"); i != std::string::npos;
         i = tText.find("ERROR d: line\n", i + 1))
        ++tLines;
    EXPECT_EQ(tLines, 400u);
}

} // namespace
