#include "kutil/message.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using namespace vel::kos::util;

TEST(Message, FillsItsPlaceholders)
{
    EXPECT_EQ(message("Can't create %1: %2.", "/a/b", std::string("full")), "Can't create /a/b: full.");
    EXPECT_EQ(message("%1%2%1", "a", "b"), "aba");
    EXPECT_EQ(message("%2, then %1", "a", "b"), "b, then a");
    EXPECT_EQ(message("no placeholder"), "no placeholder");
    EXPECT_EQ(message("", "a"), "");
    EXPECT_EQ(message("%1", ""), "");
    EXPECT_EQ(message("unused", "a"), "unused");
}

TEST(Message, NeverTakesAValueForAFormat)
{
    EXPECT_EQ(message("%1 %2 %3", "%2", "%3%1", "x%20y"), "%2 %3%1 x%20y");
    EXPECT_EQ(message("Failed to open %1: %2", "/tmp/100%1/a%20b", "denied"),
              "Failed to open /tmp/100%1/a%20b: denied");
    EXPECT_EQ(message("%1%2", "%", "1"), "%1");
    EXPECT_EQ(message("%1"
                      "0",
                      "x"),
              "%10"); // the tenth argument, not the first and a "0"
}

TEST(Message, ReadsPlaceholdersOfOneOrTwoDigits)
{
    EXPECT_EQ(message("%1|%9|%10|%11|%12", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12), "1|9|10|11|12");
    EXPECT_EQ(message("%110", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11), "110"); // the eleventh and a "0"
    EXPECT_EQ(message("%99 %12", "a"), "%99 %12");
    EXPECT_EQ(message("%01 %0 %00", "a"), "%01 %0 %00");
}

TEST(Message, LeavesWhatIsNoPlaceholder)
{
    EXPECT_EQ(message("%", "a"), "%");
    EXPECT_EQ(message("%%1 %%", "a"), "%a %%");
    EXPECT_EQ(message("100% of %1", "a"), "100% of a");
    EXPECT_EQ(message("%x %-1 %s %1%", "a"), "%x %-1 %s a%");
    EXPECT_EQ(message("%1 %2 %3", "a", "b"), "a b %3");
    EXPECT_EQ(message("%\xC3\xA4 %1", "\xC3\xB6"), "%\xC3\xA4 \xC3\xB6");
}

TEST(Message, TakesTextsAndNumbers)
{
    EXPECT_EQ(message("%1", static_cast<const char*>(nullptr)), "");
    EXPECT_EQ(message("%1", std::string("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(message("%1", std::string_view("view").substr(1)), "iew");
    EXPECT_EQ(message("%1 %2", INT_MIN, UINT_MAX), "-2147483648 4294967295");
    EXPECT_EQ(message("%1 %2", INT64_MIN, UINT64_MAX), "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(message("%1", static_cast<unsigned short>(65535)), "65535");
}

TEST(Message, TakesLongTexts)
{
    const std::string tValue(1 << 20, '%');
    EXPECT_EQ(message("%1%1", tValue), tValue + tValue);
    std::string tFormat, tFilled;
    for (int tCount = 0; tCount < 100000; ++tCount) {
        tFormat += "%1,";
        tFilled += "x,";
    }
    EXPECT_EQ(message(tFormat, "x"), tFilled);
}

TEST(Insertion, FillsTheLowestPlaceholderLeft)
{
    std::string tText = "%1: %2, %3";
    tText << "a" << std::string("b");
    EXPECT_EQ(tText, "a: b, %3");
    tText << 3;
    EXPECT_EQ(tText, "a: b, 3");
    tText << "too many";
    EXPECT_EQ(tText, "a: b, 3");
}

TEST(Insertion, FillsEveryOccurrenceInAnyOrder)
{
    std::string tText = "%2 %1 %2 %10";
    tText << "a";
    EXPECT_EQ(tText, "%2 a %2 %10");
    tText << "b";
    EXPECT_EQ(tText, "b a b %10");
    tText << "c";
    EXPECT_EQ(tText, "b a b c");
}

TEST(Insertion, TakesEveryKindOfValue)
{
    std::string tText = "%1 %2 %3 %4 %5 %6 %7";
    tText << static_cast<const char*>(nullptr) << std::string("s") << -1 << 4294967295u << -2147483647L
          << 4294967295UL << static_cast<unsigned short>(65535);
    EXPECT_EQ(tText, " s -1 4294967295 -2147483647 4294967295 65535");
}

TEST(Insertion, CannotTellAValuesPlaceholderFromTheFormats)
{
    std::string tText = "%1 %2";
    tText << "%2"
          << "b";
    EXPECT_EQ(tText, "b b");
}

TEST(Insertion, TakesTheTextItselfAsAValue)
{
    std::string tText = "<%1>";
    tText << tText;
    EXPECT_EQ(tText, "<<%1>>");
}

} // namespace
