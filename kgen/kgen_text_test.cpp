#include "kgen/text.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kgen/path.h"
#include "kpr/path.h"

namespace {

using namespace kgen;

TEST(Text, LowersAsciiLettersOnly)
{
    EXPECT_EQ(toLower("AZaz09 @[`{"), "azaz09 @[`{");
    EXPECT_EQ(toLower("\xC3\x84\xC3\xA4 \xFF"), "\xC3\x84\xC3\xA4 \xFF");
    EXPECT_EQ(toLower(std::string_view("A\0B", 3)), std::string("a\0b", 3));
    EXPECT_EQ(toLower(""), "");
}

TEST(Text, IsFormattedWithinItsBuffer)
{
    char tBuffer[8];
    std::memset(tBuffer, 'x', sizeof tBuffer);
    EXPECT_EQ(formatBounded(tBuffer, 5, "%d-%s", 12, "abcdef"), 4);
    EXPECT_STREQ(tBuffer, "12-a");
    EXPECT_EQ(tBuffer[5], 'x');
    EXPECT_EQ(formatBounded(tBuffer, sizeof tBuffer, "%s", "seven77"), 7);
    EXPECT_STREQ(tBuffer, "seven77");
    EXPECT_EQ(formatBounded(tBuffer, sizeof tBuffer, "%s", "eight888"), 7);
    EXPECT_STREQ(tBuffer, "eight88");
    EXPECT_EQ(formatBounded(tBuffer, 1, "%s", "a"), 0);
    EXPECT_STREQ(tBuffer, "");
    tBuffer[0] = 'x';
    EXPECT_EQ(formatBounded(tBuffer, 0, "%s", "a"), 0);
    EXPECT_EQ(tBuffer[0], 'x');
}

TEST(Path, IsConvertedToItsNativeFormAndBack)
{
    const std::string tSeparator(1, kprGetPathSeparator());
    const std::string tNative = "a" + tSeparator + "b c" + tSeparator + tSeparator + "d.e";
    EXPECT_EQ(toNativePath("a/b c//d.e"), tNative);
    EXPECT_EQ(toNativePath(tNative), tNative);
    EXPECT_EQ(fromNativePath(tNative), "a/b c//d.e");
    EXPECT_EQ(toNativePath(""), "");
    EXPECT_EQ(fromNativePath(""), "");
    EXPECT_EQ(toNativePath("/"), tSeparator);
    // No other byte is taken for a separator.
    std::string tOthers;
    for (int tByte = 1; tByte < 256; ++tByte)
        if (tByte != '/' && tByte != '\\') tOthers += static_cast<char>(tByte);
    EXPECT_EQ(toNativePath(tOthers), tOthers);
    EXPECT_EQ(fromNativePath(tOthers), tOthers);
}

TEST(Path, HasALastComponent)
{
    EXPECT_EQ(lastComponent("/a/b.c"), "b.c");
    EXPECT_EQ(lastComponent("b.c"), "b.c");
    EXPECT_EQ(lastComponent("/a/"), "");
    EXPECT_EQ(lastComponent("/"), "");
    EXPECT_EQ(lastComponent(""), "");
    EXPECT_EQ(lastComponent("C:/a/b"), "b");
}

} // namespace
