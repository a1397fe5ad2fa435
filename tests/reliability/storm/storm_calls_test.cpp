// Processes that end at any call, and a pass whose calls are counted.
#include "tests/reliability/storm/storm_Pass.h"
#include "tests/reliability/storm/storm_Short.h"

namespace vel::kos::storm {

namespace {

TEST(StormCallsTest, processesThatEndAtAnyCallHarmNobodyElse)
{
    StressOptions tOptions = shortOptions();
    tOptions.stride = SLOW ? 20 : 1;
    const Figures tFigures = injectedEnds(tOptions);
    expectClean(tFigures);
    EXPECT_GT(tFigures.rounds, SLOW ? 5u : 100u);
    EXPECT_GT(tFigures.checked, 0u);
    EXPECT_EQ(tFigures.kills, tFigures.rounds);
}

TEST(StormCallsTest, aPassOverManyFiles)
{
    const PassFigures tFigures = measurePass(SLOW ? 120 : 2000, 500);
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

} // namespace

} // namespace vel::kos::storm
