#include "kfw/cache/kfw_LockThrottle.h"

#include <vector>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "tests/support/FaultTable.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;
using Rests = std::vector<uint32_t>;

/// The clock is the test's; a sleep takes mFactor times as long as it should, and mStall microseconds more.
class LockThrottleTest : public testing::Test {
protected:
    LockThrottleTest()
    {
        FaultTable::reset();
        FaultTable::setClock({1700000000, 0, 0});
        FaultTable::advanceMonotonicClock(5000000);
        FaultTable::setSleeper([this](uint32_t pMilliseconds) {
            mRests.push_back(pMilliseconds);
            FaultTable::advanceMonotonicClock(uint64_t(pMilliseconds) * 1000 + mStall);
            return 0u;
        });
    }
    ~LockThrottleTest() override { FaultTable::reset(); }

    /// So many turns with the lock, of so many microseconds each; the rests after them.
    Rests hold(LockThrottle& pThrottle, uint64_t pMicroseconds, int pTurns = 1)
    {
        mRests.clear();
        for (int i = 0; i < pTurns; ++i) {
            pThrottle.lockTaken();
            FaultTable::advanceMonotonicClock(pMicroseconds);
            pThrottle.rest();
        }
        return mRests;
    }

    Rests mRests;
    uint64_t mStall = 0;
};

TEST_F(LockThrottleTest, restsNineTimesAsLongAsTheLockWasHeld)
{
    LockThrottle tThrottle;
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
    EXPECT_EQ(hold(tThrottle, 5000, 2), (Rests{45, 45}));
}

TEST_F(LockThrottleTest, addsUpShortTurns)
{
    LockThrottle tThrottle;
    EXPECT_EQ(hold(tThrottle, 50, 2), Rests{}) << "900 microseconds are owed";
    EXPECT_EQ(hold(tThrottle, 50), Rests{1}) << "1350, of which 350 are left";
    EXPECT_EQ(hold(tThrottle, 72), Rests{}) << "998";
    EXPECT_EQ(hold(tThrottle, 1), Rests{1});
}

TEST_F(LockThrottleTest, doesNotCountTheWaitForTheLock)
{
    LockThrottle tThrottle;
    FaultTable::advanceMonotonicClock(10000000);
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
    FaultTable::advanceMonotonicClock(10000000);
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
}

TEST_F(LockThrottleTest, restsForATenthOfASecondAtTheMost)
{
    LockThrottle tThrottle;
    EXPECT_EQ(hold(tThrottle, 11111), Rests{99});
    EXPECT_EQ(hold(tThrottle, 11112), Rests{100});
    EXPECT_EQ(hold(tThrottle, 60000000, 3), (Rests{100, 100, 100})) << "and nothing adds up beyond it";
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
}

TEST_F(LockThrottleTest, countsWhatACoarseTimerAdds)
{
    LockThrottle tThrottle;
    mStall = 9000;
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
    mStall = 0;
    EXPECT_EQ(hold(tThrottle, 1000), Rests{}) << "nine milliseconds too long before";
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
}

TEST_F(LockThrottleTest, aStallIsNoCreditForThousandsOfTurns)
{
    LockThrottle tThrottle;
    mStall = 2000000;
    EXPECT_EQ(hold(tThrottle, 1000), Rests{9});
    mStall = 0;
    EXPECT_EQ(hold(tThrottle, 1000, 2), Rests{}) << "twenty milliseconds of credit";
    EXPECT_EQ(hold(tThrottle, 1000), Rests{7});
}

TEST_F(LockThrottleTest, doesWithoutAClockAndWithoutSleep)
{
    LockThrottle tThrottle;
    FaultTable::fail("kprGetMonotonicTime", KPR_E_SYSTEM, 2);
    EXPECT_EQ(hold(tThrottle, 1000), Rests{}) << "nobody knows how long it was";
    FaultTable::fail("kprSleep", KPR_E_SYSTEM);
    EXPECT_EQ(hold(tThrottle, 1000), Rests{});
    EXPECT_EQ(hold(tThrottle, 1000), Rests{18}) << "it is still owed";
}

} // namespace

} // namespace vel::kos::kfw
