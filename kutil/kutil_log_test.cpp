#include "kutil/log.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/support/TestApplication.h"

namespace {

using namespace vel::kos;
using namespace vel::kos::util;
using test::TestApplication;
using testing::ElementsAre;
using testing::IsEmpty;

struct Line {
    uint32_t level;
    std::string domain;
    std::string message;
    bool operator==(const Line&) const = default;
};

std::mutex gLinesMutex;
std::vector<Line> gLines;

void record(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    const std::lock_guard tLock(gLinesMutex);
    gLines.push_back({pLevel, pDomain, pMessage});
}

class Log : public testing::Test {
protected:
    void SetUp() override { gLines.clear(); }
    void TearDown() override { kSetFallbackLog(nullptr); }

    const kom::Ref<TestApplication> mApp = TestApplication::make();
};

TEST_F(Log, GivesLinesToTheApplicationAtTheirLevels)
{
    kError(mApp.get(), "kos:kfw", "an error");
    kWarning(mApp.get(), "kos:kfw", "a warning");
    kInfo(mApp.get(), "kos:other", "an info");
    kDebug(mApp.get(), "", "");
    const auto tLines = mApp->logLines();
    ASSERT_EQ(tLines.size(), 4u);
    const uint32_t tLevels[] = {0, 1, 2, 3};
    const char* const tDomains[] = {"kos:kfw", "kos:kfw", "kos:other", ""};
    const char* const tMessages[] = {"an error", "a warning", "an info", ""};
    for (std::size_t tIndex = 0; tIndex < 4; ++tIndex) {
        EXPECT_EQ(tLines[tIndex].level, tLevels[tIndex]);
        EXPECT_EQ(tLines[tIndex].domain, tDomains[tIndex]);
        EXPECT_EQ(tLines[tIndex].message, tMessages[tIndex]);
    }
}

TEST_F(Log, LeavesOutWhatIsBelowTheApplicationsLevel)
{
    const auto tLog = [&] {
        kError(mApp.get(), "d", "e");
        kWarning(mApp.get(), "d", "w");
        kInfo(mApp.get(), "d", "i");
        kDebug(mApp.get(), "d", "d");
    };
    for (uint32_t tLevel = fw::LOG_LEVEL_ERROR; tLevel <= fw::LOG_LEVEL_DEBUG; ++tLevel) {
        mApp->setLogLevel(tLevel);
        mApp->clearRecords();
        tLog();
        const auto tLines = mApp->logLines();
        ASSERT_EQ(tLines.size(), tLevel + 1) << tLevel;
        for (uint32_t tIndex = 0; tIndex <= tLevel; ++tIndex)
            EXPECT_EQ(tLines[tIndex].level, tIndex);
    }
}

TEST_F(Log, GivesEverythingToAnApplicationThatCannotTellItsLevel)
{
    mApp->failOperation("getLogLevel", E_NOT_SUPPORTED);
    kDebug(mApp.get(), "d", "text");
    EXPECT_THAT(mApp->messages(fw::LOG_LEVEL_DEBUG), ElementsAre("text"));
}

TEST_F(Log, KeepsMessagesAsTheyAre)
{
    kError(mApp.get(), "d", "%1 %s %20 \xC3\xA4");
    kError(mApp.get(), nullptr, "no domain");
    EXPECT_THAT(mApp->messages(fw::LOG_LEVEL_ERROR), ElementsAre("%1 %s %20 \xC3\xA4", "no domain"));
    EXPECT_EQ(mApp->logLines().back().domain, "");
}

TEST_F(Log, GivesLinesWithoutAnApplicationToTheFallback)
{
    kSetFallbackLog(record);
    kError(nullptr, "a", "1");
    kWarning(nullptr, "b", "2");
    kInfo(nullptr, "c", "3");
    kDebug(nullptr, nullptr, "4");
    EXPECT_THAT(gLines,
                ElementsAre(Line{0, "a", "1"}, Line{1, "b", "2"}, Line{2, "c", "3"}, Line{3, "", "4"}));
    kError(mApp.get(), "a", "5");
    EXPECT_EQ(gLines.size(), 4u);
}

TEST_F(Log, WritesWarningsAndErrorsToStandardErrorUnlessToldOtherwise)
{
    kSetFallbackLog(record);
    kSetFallbackLog(nullptr);
    testing::internal::CaptureStderr();
    kError(nullptr, "kos:kfw", "broken %1");
    kWarning(nullptr, "kos:kfw", "odd\x1B[2J\nERROR forged");
    kInfo(nullptr, "kos:kfw", "info");
    kDebug(nullptr, "kos:kfw", "debug");
    std::string tText = testing::internal::GetCapturedStderr();
    std::erase(tText, '\r');
    EXPECT_EQ(tText, "ERROR kos:kfw: broken %1\nWARNING kos:kfw: odd\\x1b[2J\\nERROR forged\n");
    EXPECT_THAT(gLines, IsEmpty());
}

TEST_F(Log, TakesLinesFromAnyThread)
{
    kSetFallbackLog(record);
    std::vector<std::thread> tThreads;
    for (int tIndex = 0; tIndex < 4; ++tIndex)
        tThreads.emplace_back([&, tIndex] {
            for (int tCount = 0; tCount < 250; ++tCount) {
                kInfo(mApp.get(), "d", message("%1", tIndex));
                kInfo(nullptr, "d", message("%1", tIndex));
                if (tIndex == 0) kSetFallbackLog(record);
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_INFO).size(), 1000u);
    EXPECT_EQ(gLines.size(), 1000u);
}

TEST_F(Log, ReportsAssertions)
{
    _kAssert(mApp.get(), "kos:kfw", "mApp5 != 0", "kfw_FeatureSet", 327);
    const auto tAssertions = mApp->assertions();
    ASSERT_EQ(tAssertions.size(), 1u);
    EXPECT_EQ(tAssertions[0].domain, "kos:kfw");
    EXPECT_EQ(tAssertions[0].expression, "mApp5 != 0");
    EXPECT_EQ(tAssertions[0].sourceFile, "kfw_FeatureSet");
    EXPECT_EQ(tAssertions[0].line, 327);
    ASSERT_EQ(mApp->logLines().size(), 1u);
    EXPECT_EQ(mApp->logLines()[0].level, fw::LOG_LEVEL_ERROR);
    EXPECT_EQ(mApp->logLines()[0].domain, "kos:kfw");
    EXPECT_EQ(mApp->logLines()[0].message, "Assertion failed: mApp5 != 0 (kfw_FeatureSet, line 327)");
}

TEST_F(Log, ReportsAssertionsWithoutAnApplication)
{
    kSetFallbackLog(record);
    _kAssert(nullptr, "d", "a % 1 == \"%2\"", "source", 1);
    EXPECT_THAT(gLines, ElementsAre(Line{0, "d", "Assertion failed: a % 1 == \"%2\" (source, line 1)"}));
}

TEST_F(Log, ReportsFailedQueries)
{
    const auto tObject = TestApplication::make();
    _queryInterfaceError(mApp.get(), "kos:kfw", tObject.get(), "IDL:x/IMissing:1.0", E_NOINTERFACE);
    _queryInterfaceError(mApp.get(), "kos:kfw", nullptr, "IDL:x/IMissing:1.0", 0x80001234u);
    EXPECT_THAT(mApp->messages(fw::LOG_LEVEL_ERROR),
                ElementsAre("The object IDL:vel/kos/fw/IApplication5:1.0 doesn't provide the interface "
                            "IDL:x/IMissing:1.0: E_NOINTERFACE, interface not supported.",
                            "The object null doesn't provide the interface IDL:x/IMissing:1.0: 0x80001234."));
    EXPECT_EQ(mApp->logLines()[0].domain, "kos:kfw");
    EXPECT_THAT(mApp->assertions(), IsEmpty());

    kSetFallbackLog(record);
    _queryInterfaceError(nullptr, "d", nullptr, "i", E_FAIL);
    EXPECT_THAT(gLines, ElementsAre(Line{0, "d",
                                         "The object null doesn't provide the interface i: E_FAIL, "
                                         "operation failed."}));
}

} // namespace
