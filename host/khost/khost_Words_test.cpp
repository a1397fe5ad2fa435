#include "host/khost/khost_Words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vel::kos::host;
using testing::ElementsAre;

namespace {

std::vector<std::string> words(std::string_view pLine)
{
    std::vector<std::string> tWords = {"left over"};
    EXPECT_TRUE(splitWords(pLine, tWords)) << pLine;
    return tWords;
}

TEST(Words, AreSeparatedByBlanks)
{
    EXPECT_THAT(words("  cache\t put  a b\r"), ElementsAre("cache", "put", "a", "b"));
    EXPECT_THAT(words(""), ElementsAre());
    EXPECT_THAT(words(" \t"), ElementsAre());
}

TEST(Words, QuotesKeepBlanks)
{
    EXPECT_THAT(words("'a b' \"c d\" e'f'\"g\""), ElementsAre("a b", "c d", "efg"));
    EXPECT_THAT(words("'' \"\""), ElementsAre("", ""));
    EXPECT_THAT(words("\"it's\" 'say \"x\"'"), ElementsAre("it's", "say \"x\""));
}

TEST(Words, ABackslashTakesMeaningAwayOnlyWhereThereIsSome)
{
    EXPECT_THAT(words(R"(C:\dir\file "C:\dir\file" 'C:\dir\file')"),
                ElementsAre(R"(C:\dir\file)", R"(C:\dir\file)", R"(C:\dir\file)"));
    EXPECT_THAT(words(R"(a\ b \"c\" \'d \\e \#f)"), ElementsAre("a b", "\"c\"", "'d", R"(\e)", "#f"));
    EXPECT_THAT(words(R"("a\"b\\c\ d")"), ElementsAre(R"(a"b\c\ d)"));
    EXPECT_THAT(words(R"('a\' b\)"), ElementsAre(R"(a\)", R"(b\)"));
}

TEST(Words, ANumberSignBeginsACommentAtTheStartOfAWord)
{
    EXPECT_THAT(words("# all of it"), ElementsAre());
    EXPECT_THAT(words("a#b # rest 'unclosed"), ElementsAre("a#b"));
    EXPECT_THAT(words("http://h/#x '#y'"), ElementsAre("http://h/#x", "#y"));
}

TEST(Words, AQuoteHasToBeClosed)
{
    std::vector<std::string> tWords;
    for (const char* tLine : {"'a", "\"a", "a 'b \"c\"", "\"a\\\""})
        EXPECT_FALSE(splitWords(tLine, tWords)) << tLine;
}

TEST(Words, AreShownWithoutWhatMayBeAPassword)
{
    EXPECT_EQ(shownWord("plain"), "plain");
    EXPECT_EQ(shownWord(""), "");
    EXPECT_EQ(shownWord("type=sqlite;password=secret"), "type=...");
    EXPECT_EQ(shownWord("a://me:secret@host/db"), "a://...@host/db");
    EXPECT_EQ(shownWord("a://me:sec@ret/@host/db"), "a://...@host/db")
        << "one that is not written as it should be";
    EXPECT_EQ(shownWord("a://me:secret@host/db?password=secret"), "a://...@host/db?password=...");
    EXPECT_EQ(shownWord("a://me:sec=ret@host"), "a://...");
    EXPECT_EQ(shownWord("a://me:secret@host?password=sec@ret"), "a://...@host?password=...");
    EXPECT_EQ(shownWord("http://host/path"), "http://host/path");
    EXPECT_EQ(shownWord("me@host"), "me@host");
}

} // namespace
