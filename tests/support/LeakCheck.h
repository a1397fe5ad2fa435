// Nothing of the component heap is left behind.
#pragma once

#include <gtest/gtest.h>

#include "kom/heap.h"

namespace vel::kos::test {

/// Fails the test when more, or fewer, blocks and objects live at its end than at its start. The first member
/// of a fixture, so that it is destroyed last.
class LeakCheck {
public:
    LeakCheck() { komGetHeapStats(&mStart); }
    ~LeakCheck()
    {
        KomHeapStats tEnd;
        komGetHeapStats(&tEnd);
        EXPECT_EQ(tEnd.liveBlocks, mStart.liveBlocks) << "blocks of the component heap";
        EXPECT_EQ(tEnd.liveObjects, mStart.liveObjects) << "component objects";
    }
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;

private:
    KomHeapStats mStart;
};

} // namespace vel::kos::test
