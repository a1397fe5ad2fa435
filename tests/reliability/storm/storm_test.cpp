// The storms in their short form.
#include "tests/reliability/storm/storm_Short.h"

namespace vel::kos::storm {

namespace {

TEST(StormTest, killsAtRandomMomentsHarmNobodyElse)
{
    Form tForm = shortForm();
    tForm.rounds = SLOW ? 4 : 15;
    const Figures tFigures = killStorm(tForm);
    expectClean(tFigures);
    EXPECT_EQ(tFigures.kills, tForm.rounds);
    EXPECT_GT(tFigures.checked, 0u);
    EXPECT_GT(tFigures.removed, 0u);
}

TEST(StormTest, manyProcessesShareADirectory)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 4 : 16;
    tForm.threads = SLOW ? 2 : 4;
    tForm.seconds = 2;
    const Figures tFigures = manyProcesses(tForm);
    expectClean(tFigures);
    EXPECT_GT(tFigures.checked, 0u);
    EXPECT_GT(tFigures.stored, 0u);
}

TEST(StormTest, pinnedObjectsStayWhateverTheCleanersRemove)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 3 : 6;
    tForm.seconds = SLOW ? 7 : 6;
    const Figures tFigures = pinStorm(tForm);
    expectClean(tFigures);
    if (tFigures.latePins > 0) GTEST_SKIP() << "the machine is too busy: it held a process up for too long";
}

TEST(StormTest, aKilledCleanerHasOneSuccessor)
{
    Form tForm = shortForm();
    tForm.processes = SLOW ? 8 : 32;
    tForm.rounds = SLOW ? 4 : 20;
    const Figures tFigures = election(tForm);
    expectClean(tFigures);
    EXPECT_EQ(tFigures.rounds, tForm.rounds);
    EXPECT_GE(tFigures.elections, tForm.rounds + 1);
}

} // namespace

} // namespace vel::kos::storm
