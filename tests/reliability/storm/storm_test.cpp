// The storms in their short form.
#include <gtest/gtest.h>

#include "storm_Pass.h"
#include "storm_Storms.h"

namespace vel::kos::storm {

namespace {

/// Processes start slowly under an emulator, and everything is slow under a sanitizer.
#if defined(_WIN32) || defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool SLOW = true;
#else
constexpr bool SLOW = false;
#endif

Form shortForm()
{
    Form tForm;
    tForm.processes = SLOW ? 3 : 4;
    tForm.speed = SLOW ? 400 : 600;
    return tForm;
}

template <class TFigures>
void print(const TFigures& pFigures)
{
    for (const auto& [tName, tValue] : pFigures.rows())
        if (tValue != 0) std::printf("    %-40s %12s\n", tName.c_str(), std::to_string(tValue).c_str());
}

/// That nothing was wrong, and that there was something to be wrong.
void expectClean(const Figures& pFigures)
{
    print(pFigures);
    for (const std::string& tFailure : pFigures.failures)
        ADD_FAILURE() << tFailure;
    EXPECT_EQ(pFigures.wrong, 0u);
    EXPECT_EQ(pFigures.lostPins, 0u);
    EXPECT_GT(pFigures.checked, 0u);
}

TEST(StormTest, killsAtRandomMomentsHarmNobodyElse)
{
    Form tForm = shortForm();
    tForm.rounds = SLOW ? 4 : 30;
    const Figures tFigures = killStorm(tForm);
    expectClean(tFigures);
    EXPECT_EQ(tFigures.kills, tForm.rounds);
    EXPECT_GT(tFigures.removed, 0u);
}

TEST(StormTest, processesThatEndAtAnyCallHarmNobodyElse)
{
    Form tForm = shortForm();
    tForm.stride = SLOW ? 15 : 1;
    const Figures tFigures = injectedEnds(tForm);
    expectClean(tFigures);
    EXPECT_GT(tFigures.rounds, SLOW ? 5u : 100u);
    EXPECT_EQ(tFigures.kills, tFigures.rounds);
}

TEST(StormTest, manyProcessesShareADirectory)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 4 : 16;
    tForm.threads = SLOW ? 2 : 4;
    tForm.seconds = SLOW ? 3 : 4;
    expectClean(manyProcesses(tForm));
}

TEST(StormTest, pinnedObjectsStayWhateverTheCleanersRemove)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 3 : 6;
    tForm.seconds = 7;
    const Figures tFigures = pinStorm(tForm);
    expectClean(tFigures);
    if (tFigures.latePins > 0) GTEST_SKIP() << "the machine is too busy: it held a process up for too long";
}

TEST(StormTest, aPassOverManyFiles)
{
    const PassFigures tFigures = measurePass(SLOW ? 300 : 2000);
    print(tFigures);
    for (const std::string& tFailure : tFigures.failures)
        ADD_FAILURE() << tFailure;
    EXPECT_GT(tFigures.removed, tFigures.files / 8);
    EXPECT_LT(tFigures.removed, tFigures.files / 2);
    // Listed, looked at; those that go: locked, looked at, removed, counted (read, written), unlocked.
    EXPECT_GT(tFigures.calls, 2 * tFigures.files + 5 * tFigures.removed);
    EXPECT_LT(tFigures.calls, 3 * tFigures.files + 7 * tFigures.removed + 100);
    EXPECT_GT(tFigures.threadIdle.count, 0u);
    EXPECT_GT(tFigures.processIdle.count, 0u);
}

TEST(StormTest, aKilledCleanerHasOneSuccessor)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 8 : 32;
    tForm.rounds = SLOW ? 4 : 20;
    expectClean(election(tForm));
}

} // namespace

} // namespace vel::kos::storm
