// Starting programs, waiting for them and stopping them.
#include "kpr/child.h"

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

namespace {

uint32_t start(const std::vector<const char*>& pArguments, const char* pOutput, KprChild* pChild)
{
    const KprChildStart tStart = {kprGetProgramPath(), pArguments.data(),
                                  static_cast<uint32_t>(pArguments.size()), pOutput ? 1u : 0u, pOutput};
    return kprStartChild(&tStart, pChild);
}

KprChildEnd run(const std::vector<const char*>& pArguments, const char* pOutput)
{
    KprChild tChild;
    KprChildEnd tEnd{7, 7};
    EXPECT_EQ(start(pArguments, pOutput, &tChild), 0u);
    EXPECT_EQ(kprWaitForChild(tChild, KPR_WAIT_FOREVER, &tEnd), 0u);
    return tEnd;
}

} // namespace

TEST(KprChild, TellsItsExitStatus)
{
    for (const char* tStatus : {"0", "1", "42"}) {
        const KprChildEnd tEnd = run({"--exit", tStatus}, nullptr);
        EXPECT_EQ(tEnd.kind, KPR_CHILD_EXITED);
        EXPECT_EQ(tEnd.code, static_cast<uint32_t>(std::atoi(tStatus)));
    }
}

TEST(KprChild, AStatusBelowZeroIsNoCrash)
{
    const KprChildEnd tEnd = run({"--exit", "-1"}, nullptr);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_EXITED);
    EXPECT_TRUE(tEnd.code == 0xFFFFFFFF || tEnd.code == 255) << tEnd.code << ": Linux keeps one byte";
}

TEST(KprChild, WritesIntoAFileWhenQuietAndReadsNothing)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "output \xC3\xA4";
    kprtest::writeFile(tFile, "before;");
    for (const char* tWord : {"a b", "\\\"c\\\\"})
        EXPECT_EQ(run({"--echo", tWord, ""}, tFile.c_str()).code, 0u);
    EXPECT_EQ(kprtest::readFile(tFile), "before;out a b,-1;err 4;out \\\"c\\\\,-1;err 4;");
}

TEST(KprChild, IsWaitedForAsLongAsAskedAndStopped)
{
    KprChild tChild;
    KprChildEnd tEnd{7, 7};
    ASSERT_EQ(start({"--sleep"}, nullptr, &tChild), 0u);
    EXPECT_EQ(kprWaitForChild(tChild, 0, &tEnd), 0u);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_RUNNING);
    uint64_t tBefore, tAfter;
    kprGetMonotonicTime(&tBefore);
    EXPECT_EQ(kprWaitForChild(tChild, 50, &tEnd), 0u);
    kprGetMonotonicTime(&tAfter);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_RUNNING);
    EXPECT_GE(tAfter, tBefore + 40000);
    EXPECT_EQ(kprStopChild(tChild), 0u);
    EXPECT_EQ(kprWaitForChild(tChild, 60000, &tEnd), 0u);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_CRASHED);
}

TEST(KprChild, MayBeStoppedAfterItsEnd)
{
    KprChild tChild;
    KprChildEnd tEnd;
    ASSERT_EQ(start({"--exit", "3"}, nullptr, &tChild), 0u);
    kprSleep(300);
    EXPECT_EQ(kprStopChild(tChild), 0u);
    EXPECT_EQ(kprWaitForChild(tChild, 60000, &tEnd), 0u);
    EXPECT_TRUE(tEnd.kind == KPR_CHILD_EXITED || tEnd.kind == KPR_CHILD_CRASHED)
        << "a slow one was still there";
}

TEST(KprChild, IsNotStartedFromNothing)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tMissing = tDir / "missing";
    KprChild tChild = 5;
    const char* tNone[] = {nullptr};
    const KprChildStart tGone = {tMissing.c_str(), nullptr, 0, 0, nullptr},
                        tUnheard = {kprGetProgramPath(), nullptr, 0, 1, tMissing.c_str()};
    EXPECT_EQ(kprStartChild(&tGone, &tChild), KPR_E_NOT_FOUND);
    EXPECT_EQ(tChild, 0);
    EXPECT_EQ(kprStartChild(&tUnheard, &tChild), KPR_E_NOT_FOUND) << "no such output";
    const KprChildStart tWrong[] = {{nullptr, nullptr, 0, 0, nullptr},
                                    {kprGetProgramPath(), nullptr, 1, 0, nullptr},
                                    {kprGetProgramPath(), nullptr, 0, 1, nullptr},
                                    {kprGetProgramPath(), tNone, 0, 0, tMissing.c_str()}};
    for (const KprChildStart& tStart : tWrong)
        EXPECT_EQ(kprStartChild(&tStart, &tChild), E_INVALIDARG);
    EXPECT_EQ(kprStartChild(nullptr, &tChild), E_INVALIDARG);
    EXPECT_EQ(kprStartChild(&tGone, nullptr), E_INVALIDARG);
    KprChildEnd tEnd;
    EXPECT_EQ(kprWaitForChild(0, 0, &tEnd), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprWaitForChild(5, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprStopChild(0), KPR_E_BAD_HANDLE);
}

int main(int pCount, char** pValues)
{
    testing::InitGoogleTest(&pCount, pValues);
    const std::vector<std::string> tArguments = kprtest::arguments();
    const std::string tWhat = tArguments.empty() ? "" : tArguments[0];
    if (tWhat == "--exit") return std::atoi(tArguments[1].c_str());
    if (tWhat == "--sleep") kprSleep(600000);
    if (tWhat == "--echo") {
        std::printf("out %s,%d;", tArguments[1].c_str(), std::getchar());
        std::fflush(stdout);
        std::fprintf(stderr, "err %d;", static_cast<int>(tArguments.size() + 1));
        return 0;
    }
    return RUN_ALL_TESTS();
}
