// How long a child is waited for, by a clock and sleeps of the test's own.
#include "kpr/child.h"

#include <gtest/gtest.h>

#include <vector>

#include <sys/types.h>

#include "kpr/codes.h"

namespace {

uint64_t gNow = 0;    ///< microseconds
uint64_t gFactor = 1; ///< how much longer than asked for a sleep takes
uint32_t gClockResult = 0;
std::vector<uint32_t> gSleeps;

class ChildWait : public testing::Test {
protected:
    ChildWait()
    {
        gFactor = 1;
        gClockResult = 0;
        gSleeps.clear();
    }
};

} // namespace

extern "C" {

uint32_t __wrap_kprGetMonotonicTime(uint64_t* pMicroseconds);
uint32_t __wrap_kprGetMonotonicTime(uint64_t* pMicroseconds)
{
    *pMicroseconds = gNow;
    return gClockResult;
}

uint32_t __wrap_kprSleep(uint32_t pMilliseconds);
uint32_t __wrap_kprSleep(uint32_t pMilliseconds)
{
    gSleeps.push_back(pMilliseconds);
    gNow += pMilliseconds * gFactor * 1000;
    return 0;
}

pid_t __wrap_waitpid(pid_t pProcess, int* pStatus, int pFlags);
pid_t __wrap_waitpid(pid_t, int*, int) { return 0; } // it runs

} // extern "C"

TEST_F(ChildWait, TakesNoLongerThanAsked)
{
    KprChildEnd tEnd{7, 7};
    EXPECT_EQ(kprWaitForChild(1, 12, &tEnd), 0u);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_RUNNING);
    EXPECT_EQ(gSleeps, (std::vector<uint32_t>{5, 5, 2}));
}

TEST_F(ChildWait, CountsWhatTheClockSays)
{
    KprChildEnd tEnd;
    gFactor = 8;
    EXPECT_EQ(kprWaitForChild(1, 50, &tEnd), 0u);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_RUNNING);
    EXPECT_EQ(gSleeps, (std::vector<uint32_t>{5, 5})) << "40 milliseconds each";
}

TEST_F(ChildWait, FailsWithoutAClock)
{
    KprChildEnd tEnd{7, 7};
    gClockResult = E_NOT_SUPPORTED;
    EXPECT_EQ(kprWaitForChild(1, 50, &tEnd), E_NOT_SUPPORTED);
    EXPECT_EQ(tEnd.kind, KPR_CHILD_RUNNING);
    EXPECT_TRUE(gSleeps.empty());
}
