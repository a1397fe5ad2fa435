#include "kfw/cache/format/kfw_CleaningPolicy.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vel::kos::kfw {

namespace {

constexpr int64_t NOW = 1700000000;
constexpr int64_t HOUR = 3600;
constexpr int64_t DAY = 24 * HOUR;

KprFileInfo file(uint64_t pBytes, int64_t pModified)
{
    return {KPR_KIND_FILE, 0, pBytes, {pModified, 0, 0}, {0, 0, 0}};
}

std::vector<std::string> order(const Candidates& pCandidates)
{
    std::vector<std::string> tNames;
    pCandidates.visit([&](const Candidate& pCandidate) {
        tNames.push_back(pCandidate.name);
        return true;
    });
    return tNames;
}

/// What a pass would remove when nothing fails.
std::vector<std::string> removed(const Candidates& pCandidates, RemovalTarget pTarget)
{
    std::vector<std::string> tNames;
    pCandidates.visit([&](const Candidate& pCandidate) {
        tNames.push_back(pCandidate.name);
        return pTarget.count(pCandidate.kilobytes);
    });
    return tNames;
}

using Names = std::vector<std::string>;

TEST(CleaningPolicyTest, cleansFrom17408KilobytesOfGrowth)
{
    EXPECT_FALSE(isCleaningNeeded(0, 0));
    EXPECT_FALSE(isCleaningNeeded(17407, 0));
    EXPECT_TRUE(isCleaningNeeded(17408, 0));
    EXPECT_FALSE(isCleaningNeeded(1000017407, 1000000000));
    EXPECT_TRUE(isCleaningNeeded(1000017408, 1000000000));
    EXPECT_EQ(CLEANING_THRESHOLD_KB, 17408) << "what others are told";
}

TEST(CleaningPolicyTest, takesTheDifferenceOfTheCountersAsItComes)
{
    EXPECT_TRUE(isCleaningNeeded(0, 1)) << "2^64 - 1 kilobytes";
    EXPECT_TRUE(isCleaningNeeded(5, 17413));
    EXPECT_FALSE(isCleaningNeeded(uint64_t(1) << 42, 0)) << "the megabytes count in 32 bits: 2^32 is 0";
    EXPECT_TRUE(isCleaningNeeded((uint64_t(1) << 42) + 17408, 0));
}

TEST(CleaningPolicyTest, sparesFilesOfThirtyMinutes)
{
    EXPECT_FALSE(isOldEnough(NOW, NOW));
    EXPECT_FALSE(isOldEnough(NOW - 1799, NOW));
    EXPECT_FALSE(isOldEnough(NOW - 1800, NOW));
    EXPECT_TRUE(isOldEnough(NOW - 1801, NOW));
    EXPECT_FALSE(isOldEnough(NOW + DAY, NOW));
}

TEST(CleaningPolicyTest, scoresByHourAndSquareOfTheSize)
{
    EXPECT_EQ(evictionScore(10 * HOUR, 0), 10u);
    EXPECT_EQ(evictionScore(11 * HOUR - 1, 31), 10u);
    EXPECT_EQ(evictionScore(0, 32), 0u) << "one step: 1 >> 1";
    EXPECT_EQ(evictionScore(0, 64), 2u);
    EXPECT_EQ(evictionScore(0, 96), 4u) << "9 >> 1";
    EXPECT_EQ(evictionScore(0, 2048), 2048u);
    EXPECT_EQ(evictionScore(-1, 0), 0u) << "rounded toward zero";
    EXPECT_EQ(evictionScore(-HOUR, 0), 0xFFFFFFFFu);
    EXPECT_EQ(evictionScore(0, 65536u << 5), 0u) << "the square wraps in 32 bits";
    EXPECT_EQ(evictionScore(0, 65537u << 5), 131073u >> 1);
    EXPECT_EQ(evictionScore(int64_t(0x100000000) * HOUR + 7 * HOUR, 0), 7u);
}

TEST(CleaningPolicyTest, takesTheClocksDifferenceOffEveryTime)
{
    constexpr int64_t FIRST = std::numeric_limits<int64_t>::min(), LAST = std::numeric_limits<int64_t>::max();
    EXPECT_EQ(toLocalTime(NOW, 7), NOW - 7);
    EXPECT_EQ(toLocalTime(NOW, -7), NOW + 7);
    EXPECT_EQ(toLocalTime(FIRST + 7, 7), FIRST);
    EXPECT_EQ(toLocalTime(FIRST + 6, 7), FIRST);
    EXPECT_EQ(toLocalTime(FIRST, -7), FIRST + 7);
    EXPECT_EQ(toLocalTime(LAST - 7, -7), LAST);
    EXPECT_EQ(toLocalTime(LAST, -7), LAST);
    EXPECT_EQ(toLocalTime(LAST, 7), LAST - 7);

    Candidates tCandidates(NOW, 7);
    tCandidates.add("first", file(1024, FIRST));
    tCandidates.add("last", file(1024, LAST));
    EXPECT_EQ(order(tCandidates), Names{"first"});
}

TEST(CleaningPolicyTest, putsALargeOldFileBeforeSmallYoungOnes)
{
    Candidates tCandidates(NOW, 0);
    tCandidates.add("one hour", file(10 * 1024, NOW - HOUR));
    tCandidates.add("three hours", file(10 * 1024, NOW - 3 * HOUR));
    tCandidates.add("thirty days", file(2048 * 1024, NOW - 30 * DAY));
    EXPECT_EQ(tCandidates.totalKilobytes(), 2068u);
    EXPECT_EQ(order(tCandidates), (Names{"thirty days", "one hour", "three hours"}));
    EXPECT_EQ(removed(tCandidates, RemovalTarget(5 << 2)), Names{"thirty days"});
    EXPECT_EQ(removed(tCandidates, RemovalTarget(tCandidates.totalKilobytes())), Names{"thirty days"});
}

TEST(CleaningPolicyTest, putsTheYoungerOfTwoAlikeFirst)
{
    Candidates tCandidates(NOW, 0);
    tCandidates.add("three hours", file(10 * 1024, NOW - 3 * HOUR));
    tCandidates.add("one hour", file(10 * 1024, NOW - HOUR));
    EXPECT_EQ(removed(tCandidates, RemovalTarget(tCandidates.totalKilobytes())), Names{"one hour"});
}

TEST(CleaningPolicyTest, putsTheOneAddedLaterFirstAmongEquals)
{
    Candidates tCandidates(NOW, 0);
    for (const char* tName : {"first", "second", "third"})
        tCandidates.add(tName, file(1000, NOW - DAY));
    EXPECT_EQ(order(tCandidates), (Names{"third", "second", "first"}));
}

TEST(CleaningPolicyTest, takesOnlyOldRegularFiles)
{
    Candidates tCandidates(NOW, 0);
    tCandidates.add("young", file(1024, NOW - 1800));
    for (const uint32_t tKind : {KPR_KIND_DIRECTORY, KPR_KIND_LINK, KPR_KIND_OTHER}) {
        KprFileInfo tInfo = file(1024, NOW - DAY);
        tInfo.kind = tKind;
        tCandidates.add("other", tInfo);
    }
    EXPECT_EQ(order(tCandidates), Names{});
    EXPECT_EQ(tCandidates.totalKilobytes(), 0u);
    tCandidates.add("old", file(1025, NOW - 1801));
    EXPECT_EQ(order(tCandidates), Names{"old"});
    EXPECT_EQ(tCandidates.totalKilobytes(), 2u);
}

TEST(CleaningPolicyTest, comparesTimesByTheLocalClock)
{
    for (const int32_t tOffset : {3600, -3600, 86400, -86400}) {
        Candidates tCandidates(NOW, tOffset);
        tCandidates.add("young", file(1024, NOW - 1800 + tOffset));
        EXPECT_EQ(order(tCandidates), Names{});
        tCandidates.add("old", file(1024, NOW - 1801 + tOffset));
        EXPECT_EQ(order(tCandidates), Names{"old"});
    }
}

TEST(CleaningPolicyTest, removesTheFileThatCrossesTheTarget)
{
    RemovalTarget tTarget(100);
    EXPECT_TRUE(tTarget.count(0));
    EXPECT_TRUE(tTarget.count(10)) << "15 left";
    EXPECT_TRUE(tTarget.count(15)) << "0 left, and not crossed";
    EXPECT_TRUE(tTarget.count(0)) << "an empty file crosses nothing";
    EXPECT_FALSE(tTarget.count(1));
}

TEST(CleaningPolicyTest, endsWithTheFirstNonEmptyFileWhenThereIsNothingToDo)
{
    RemovalTarget tTarget(3);
    EXPECT_TRUE(tTarget.count(0));
    EXPECT_FALSE(tTarget.count(1));
}

} // namespace

} // namespace vel::kos::kfw
