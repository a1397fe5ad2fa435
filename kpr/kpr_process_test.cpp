// The program runs itself: the child writes down what it was told.
#include "kpr/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "kpr/child.h"
#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace {

int writeArguments(const std::vector<std::string>& pArguments)
{
    std::string tText;
    for (size_t i = 2; i < pArguments.size(); ++i)
        tText += "<" + pArguments[i] + ">";
    kprtest::writeFile(pArguments[1], tText);
    return 7;
}

int writeBinary(const std::string& pPath)
{
    if (!std::freopen(pPath.c_str(), "w", stdout) || KFAILED(kprSetBinaryStdio())) return 1;
    std::fputs("a\nb\r\n", stdout);
    return std::fclose(stdout) == 0 ? 0 : 2;
}

int writeStreams()
{
    const std::string tLong(300000, 'x');
    return KFAILED(kprWriteStream(KPR_STDOUT, "out\n\xFF\0\r\n", 8)) ||
           KFAILED(kprWriteStream(KPR_STDERR, "error \xC3", 7)) ||
           KFAILED(kprWriteStream(KPR_STDOUT, tLong.data(), static_cast<uint32_t>(tLong.size())));
}

void setVariable(const char* pName, const char* pValue)
{
#if defined(_WIN32)
    // "" would remove it.
    _putenv_s(pName, pValue);
#else
    setenv(pName, pValue, 1);
#endif
}

} // namespace

TEST(KprProcess, ArgumentsArriveAsTheyWereGiven)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "arguments";
    kprtest::ChildProcess tChild({"--arguments", tFile, "plain", "with blank", "",
                                  "Gr\xC3\xB6\xC3\x9F"
                                  "e \xE6\x97\xA5\xF0\x9F\x97\x82",
                                  "quo\"te", "back\\slash\\", "a\\\"b", "100%", "*"});
    EXPECT_EQ(tChild.wait(), 7);
    EXPECT_EQ(kprtest::readFile(tFile), "<plain><with blank><><Gr\xC3\xB6\xC3\x9F"
                                        "e \xE6\x97\xA5\xF0\x9F\x97\x82>"
                                        "<quo\"te><back\\slash\\><a\\\"b><100%><*>");
}

TEST(KprProcess, ManyLongArgumentsArriveWhole)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "arguments";
    std::vector<std::string> tArguments = {"--arguments", tFile};
    std::string tExpected;
    for (const size_t tLength : {size_t{4096}, size_t{1}, size_t{10000}, size_t{4095}}) {
        tArguments.emplace_back(tLength, 'x');
        tExpected += "<" + tArguments.back() + ">";
    }
    kprtest::ChildProcess tChild(tArguments);
    EXPECT_EQ(tChild.wait(), 7);
    EXPECT_TRUE(kprtest::readFile(tFile) == tExpected);
}

TEST(KprProcess, IsNotEndingWhileItRuns)
{
    EXPECT_EQ(kprIsProcessEnding(), 0u);
    kprWatchProcessEnd();
    EXPECT_EQ(kprIsProcessEnding(), 0u);
}

TEST(KprProcess, TheFirstArgumentIsTheProgram)
{
    KprArgumentList* tList;
    EXPECT_EQ(kprGetArguments(nullptr), E_INVALIDARG);
    ASSERT_EQ(kprGetArguments(&tList), 0u);
    ASSERT_GE(tList->count, 1u);
    EXPECT_NE(std::string(tList->values[0]).find("kpr_process_test"), std::string::npos);
    EXPECT_EQ(tList->values[tList->count], nullptr);
    kprFree(tList);
}

TEST(KprProcess, ReadsTheEnvironment)
{
    setVariable("KPR_TEST_VARIABLE", "some value");
    char tValue[100];
    EXPECT_EQ(kprGetEnvironment("KPR_TEST_VARIABLE", tValue, sizeof tValue), 0u);
    EXPECT_STREQ(tValue, "some value");
    EXPECT_EQ(kprGetEnvironment("KPR_TEST_VARIABLE", tValue, 10), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprGetEnvironment("KPR_TEST_VARIABLE", tValue, 11), 0u);
    EXPECT_EQ(kprGetEnvironment("KPR_NO_SUCH_VARIABLE", tValue, sizeof tValue), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetEnvironment(nullptr, tValue, sizeof tValue), E_INVALIDARG);
    EXPECT_EQ(kprGetEnvironment("KPR_TEST_VARIABLE", nullptr, sizeof tValue), E_INVALIDARG);
    const std::string tLong(5000, 'x');
    setVariable("KPR_TEST_VARIABLE", tLong.c_str());
    std::string tBuffer(6000, '\0');
    EXPECT_EQ(kprGetEnvironment("KPR_TEST_VARIABLE", tBuffer.data(), 6000), 0u);
    EXPECT_EQ(tBuffer.c_str(), tLong);
}

TEST(KprProcess, AFileIsNoTerminal)
{
    uint32_t tTerminal = 9;
    for (uint32_t tStream : {KPR_STDIN, KPR_STDOUT, KPR_STDERR}) {
        EXPECT_EQ(kprIsTerminal(tStream, &tTerminal), 0u);
        EXPECT_LE(tTerminal, 1u);
    }
    EXPECT_EQ(kprIsTerminal(3, &tTerminal), E_INVALIDARG);
    EXPECT_EQ(kprIsTerminal(KPR_STDOUT, nullptr), E_INVALIDARG);
}

TEST(KprProcess, WritesBytesToAStreamAsTheyAre)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "output";
    kprtest::writeFile(tFile, "");
    const std::string tProgram = kprGetProgramPath();
    const char* tArguments[] = {"--stream"};
    const KprChildStart tStart = {tProgram.c_str(), tArguments, 1, 1, tFile.c_str()};
    KprChild tChild;
    KprChildEnd tEnd;
    ASSERT_EQ(kprStartChild(&tStart, &tChild), 0u);
    ASSERT_EQ(kprWaitForChild(tChild, KPR_WAIT_FOREVER, &tEnd), 0u);
    EXPECT_EQ(tEnd.code, 0u);
    EXPECT_EQ(kprtest::readFile(tFile),
              std::string("out\n\xFF\0\r\nerror \xC3", 15) + std::string(300000, 'x'));
    for (const uint32_t tStream : {0u, 3u})
        EXPECT_EQ(kprWriteStream(tStream, "", 0), E_INVALIDARG);
    EXPECT_EQ(kprWriteStream(KPR_STDOUT, nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(kprWriteStream(KPR_STDOUT, nullptr, 0), 0u);
}

TEST(KprProcess, BinaryOutputKeepsItsLineEnds)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "output";
    kprtest::ChildProcess tChild({"--binary", tFile});
    EXPECT_EQ(tChild.wait(), 0);
    EXPECT_EQ(kprtest::readFile(tFile), "a\nb\r\n");
}

int main(int pCount, char** pArguments)
{
    const std::vector<std::string> tArguments = kprtest::arguments();
    if (tArguments.size() > 1 && tArguments[0] == "--arguments") return writeArguments(tArguments);
    if (tArguments.size() == 2 && tArguments[0] == "--binary") return writeBinary(tArguments[1]);
    if (tArguments.size() == 1 && tArguments[0] == "--stream") return writeStreams();
    testing::InitGoogleMock(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
