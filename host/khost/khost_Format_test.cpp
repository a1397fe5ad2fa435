#include "host/khost/khost_Format.h"

#include <limits>

#include <gtest/gtest.h>

using namespace vel::kos::host;

namespace {

TEST(Format, TellsTimesOfAnyYear)
{
    EXPECT_EQ(utcTime(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(utcTime(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(utcTime(951782400), "2000-02-29T00:00:00Z");
    EXPECT_EQ(utcTime(1763665680), "2025-11-20T19:08:00Z");
    EXPECT_EQ(utcTime(4107542400), "2100-03-01T00:00:00Z");
    EXPECT_EQ(utcTime(std::numeric_limits<int64_t>::max()), "292277026596-12-04T15:30:07Z");
    EXPECT_EQ(utcTime(std::numeric_limits<int64_t>::min()), "-292277022657-01-27T08:29:52Z");
}

TEST(Format, TellsSizes)
{
    EXPECT_EQ(readableSize(0), "0 B");
    EXPECT_EQ(readableSize(1023), "1023 B");
    EXPECT_EQ(readableSize(1024), "1.0 KiB");
    EXPECT_EQ(readableSize(17825792), "17.0 MiB");
    EXPECT_EQ(readableSize(std::numeric_limits<uint64_t>::max()), "16777216.0 TiB");
}

TEST(Format, TellsSpansInTwoUnits)
{
    EXPECT_EQ(readableSpan(0), "0 s");
    EXPECT_EQ(readableSpan(59), "59 s");
    EXPECT_EQ(readableSpan(60), "1 min");
    EXPECT_EQ(readableSpan(3599), "59 min 59 s");
    EXPECT_EQ(readableSpan(3600), "1 h");
    EXPECT_EQ(readableSpan(3659), "1 h");
    EXPECT_EQ(readableSpan(3660), "1 h 1 min");
    EXPECT_EQ(readableSpan(86400 * 2 + 3600 * 5), "2 d 5 h");
    EXPECT_EQ(readableSpan(-61), "-1 min 1 s");
    EXPECT_EQ(readableSpan(std::numeric_limits<int64_t>::min()), "-106751991167300 d 15 h");
}

TEST(Format, PadsOnTheLeft)
{
    EXPECT_EQ(padded("ab", 4), "  ab");
    EXPECT_EQ(padded("abcde", 4), "abcde");
}

} // namespace
