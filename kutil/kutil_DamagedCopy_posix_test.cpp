#include "kutil/kutil_DamagedCopy_posix.h"

#include <limits>

#include <gtest/gtest.h>

namespace vel::kos::util {

namespace {

TEST(DamagedCopyTest, isNamedByAnyTime)
{
    EXPECT_EQ(damagedName("store", {1767225600, 5, 0}), "store.damaged-20260101T000000Z");
    EXPECT_EQ(damagedName("store", {-1, 0, 0}), "store.damaged-19691231T235959Z");
    // File systems keep times that no calendar has.
    for (const int64_t tSeconds : {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()})
        EXPECT_EQ(damagedName("store", {tSeconds, 0, 0}), "store.damaged-" + std::to_string(tSeconds));
}

} // namespace

} // namespace vel::kos::util
