// The storms in their short form.
#include "tests/reliability/storm/storm_Short.h"

namespace vel::kos::storm {

namespace {

TEST(StormTest, killsAtRandomMomentsHarmNobodyElse)
{
    StressOptions tOptions = shortOptions();
    tOptions.rounds = SLOW ? 4 : 15;
    const Figures tFigures = killStorm(tOptions);
    expectClean(tFigures);
    EXPECT_EQ(tFigures.kills, tOptions.rounds);
    EXPECT_GT(tFigures.checked, 0u);
    EXPECT_GT(tFigures.removed, 0u);
}

TEST(StormTest, manyProcessesShareADirectory)
{
    StressOptions tOptions = shortOptions();
    tOptions.processes = SLOW ? 4 : 16;
    tOptions.threads = SLOW ? 2 : 4;
    tOptions.seconds = 2;
    const Figures tFigures = manyProcesses(tOptions);
    expectClean(tFigures);
    EXPECT_GT(tFigures.checked, 0u);
    EXPECT_GT(tFigures.stored, 0u);
}

TEST(StormTest, pinnedObjectsStayWhateverTheCleanersRemove)
{
    StressOptions tOptions = shortOptions();
    tOptions.processes = SLOW ? 3 : 6;
    tOptions.seconds = SLOW ? 7 : 6;
    const Figures tFigures = pinStorm(tOptions);
    expectClean(tFigures);
    if (tFigures.latePins > 0) GTEST_SKIP() << "the machine is too busy: it held a process up for too long";
}

TEST(StormTest, aKilledCleanerHasOneSuccessor)
{
    StressOptions tOptions = shortOptions();
    tOptions.processes = SLOW ? 8 : 32;
    tOptions.rounds = SLOW ? 4 : 20;
    const Figures tFigures = election(tOptions);
    expectClean(tFigures);
    EXPECT_EQ(tFigures.rounds, tOptions.rounds);
    EXPECT_GE(tFigures.elections, tOptions.rounds + 1);
}

} // namespace

} // namespace vel::kos::storm
