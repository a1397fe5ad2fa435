// One log file that several processes write to: the program is its own other process.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>

#include "host/LogSink.h"
#include "kfw/IApplication.h"
#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

using namespace vel::kos;
using namespace vel::kos::host;

namespace {

constexpr int PROCESSES = 8;

LogSink::Options options(const std::string& pFile, uint64_t pBytes, uint32_t pOldFiles)
{
    return {false, pFile, pBytes, pOldFiles};
}

/// Writes numbered lines, as one of several processes that begin together.
int writeLines(const std::vector<std::string>& pArguments)
{
    const std::string &tFile = pArguments[1], &tWho = pArguments[2];
    LogSink tSink;
    std::string tProblem;
    if (KFAILED(tSink.open(
            options(tFile, std::stoull(pArguments[4]), static_cast<uint32_t>(std::stoul(pArguments[5]))),
            &tProblem)))
        return 1;
    if (!kprtest::waitForFile(tFile + ".go")) return 2;
    for (int i = 0; i < std::stoi(pArguments[3]); ++i)
        tSink.write(fw::LOG_LEVEL_ERROR, "d", (tWho + "-" + std::to_string(i)).c_str());
    return 0;
}

std::string oldName(const std::string& pFile, int pNumber)
{
    return pNumber == 0 ? pFile : pFile + "." + std::to_string(pNumber);
}

class SharedLog : public testing::Test {
protected:
    /// Lets all processes write so many lines each, and counts what the files hold: line and how often.
    std::map<std::string, int> run(int pLines, uint64_t pBytes, uint32_t pOldFiles)
    {
        {
            std::vector<std::unique_ptr<kprtest::ChildProcess>> tChildren;
            for (int i = 0; i < PROCESSES; ++i)
                tChildren.push_back(std::make_unique<kprtest::ChildProcess>(std::vector<std::string>{
                    "--lines", mFile, "p" + std::to_string(i), std::to_string(pLines), std::to_string(pBytes),
                    std::to_string(pOldFiles)}));
            kprtest::writeFile(mFile + ".go", "");
            for (const auto& tChild : tChildren)
                EXPECT_EQ(tChild->wait(), 0);
        }
        const std::regex tPattern("[-0-9]{10} [:.0-9]{12} \\d+:\\d+ ERROR d: (p\\d-\\d+)");
        std::map<std::string, int> tLines;
        while (kprtest::exists(oldName(mFile, mFiles))) {
            const std::string tText = kprtest::readFile(oldName(mFile, mFiles));
            EXPECT_LE(tText.size(), pBytes);
            std::istringstream tStream(tText);
            std::smatch tMatch;
            for (std::string tLine; std::getline(tStream, tLine);) {
                EXPECT_TRUE(std::regex_match(tLine, tMatch, tPattern)) << tLine;
                ++tLines[tMatch[1]];
            }
            ++mFiles;
        }
        return tLines;
    }
    /// The size of the text of one line, with its end.
    static constexpr uint64_t LINE = 55;

    kprtest::TemporaryDirectory mDir;
    const std::string mFile = mDir / "log";
    int mFiles = 0;
};

TEST_F(SharedLog, LosesNothingWhileItIsRenamedAgainAndAgain)
{
    constexpr int tEach = 75;
    const auto tLines = run(tEach, 40 * LINE, 100);
    EXPECT_EQ(tLines.size(), size_t{PROCESSES * tEach});
    for (const auto& [tLine, tCount] : tLines)
        EXPECT_EQ(tCount, 1) << tLine;
    EXPECT_GE(mFiles, 10);
    EXPECT_LE(mFiles, 25) << "renamed when full, by one process only";
}

TEST_F(SharedLog, KeepsNoMoreOldFilesThanAsked)
{
    run(30, 20 * LINE, 3);
    EXPECT_EQ(mFiles, 4);
}

TEST_F(SharedLog, ALogThatIsQuietFindsTheNewFileWhenItSpeaks)
{
    LogSink tQuiet, tBusy;
    std::string tProblem;
    ASSERT_EQ(tQuiet.open(options(mFile, 1000, 100), &tProblem), 0u);
    ASSERT_EQ(tBusy.open(options(mFile, 1000, 100), &tProblem), 0u);
    tQuiet.write(fw::LOG_LEVEL_ERROR, "d", "first");
    for (int i = 0; i < 50; ++i)
        tBusy.write(fw::LOG_LEVEL_ERROR, "d", "line");
    tQuiet.write(fw::LOG_LEVEL_ERROR, "d", "last");
    EXPECT_NE(kprtest::readFile(mFile).find("ERROR d: last\n"), std::string::npos);
}

TEST_F(SharedLog, AProcessThatWasStoppedInItsTurnHoldsNobodyUp)
{
    LogSink tSink;
    std::string tProblem;
    ASSERT_EQ(tSink.open(options(mFile, LINE, 3), &tProblem), 0u);
    tSink.write(fw::LOG_LEVEL_ERROR, "d", "first");
    KprFile tTurn;
    ASSERT_EQ(kprOpenFile((mFile + ".lock").c_str(), KPR_OPEN_READ_WRITE, &tTurn), 0u);
    ASSERT_EQ(kprLockFile(tTurn, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    tSink.write(fw::LOG_LEVEL_ERROR, "d", "second");
    const std::string tText = kprtest::readFile(mFile);
    EXPECT_NE(tText.find("first\n"), std::string::npos) << "renamed out of turn";
    EXPECT_NE(tText.find("second\n"), std::string::npos);
    kprCloseFile(tTurn);
    tSink.write(fw::LOG_LEVEL_ERROR, "d", "third");
    EXPECT_EQ(kprtest::readFile(mFile).find("first\n"), std::string::npos);
}

TEST_F(SharedLog, AFileThatStandsInTheWayCostsNoLine)
{
    ASSERT_EQ(kprMakeDir((mFile + ".3").c_str()), 0u);
    LogSink tSink;
    std::string tProblem;
    ASSERT_EQ(tSink.open(options(mFile, 1000, 3), &tProblem), 0u);
    for (int i = 0; i < 100; ++i)
        tSink.write(fw::LOG_LEVEL_ERROR, "d", ("line " + std::to_string(i)).c_str());
    std::string tAll;
    for (const char* tOld : {".2", ".1", ""})
        tAll += kprtest::readFile(mFile + tOld);
    for (int i = 0; i < 100; ++i)
        EXPECT_NE(tAll.find("line " + std::to_string(i) + "\n"), std::string::npos) << i;
}

} // namespace

int main(int pCount, char** pArguments)
{
    const std::vector<std::string> tArguments = kprtest::arguments();
    if (tArguments.size() == 6 && tArguments[0] == "--lines") return writeLines(tArguments);
    testing::InitGoogleTest(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
