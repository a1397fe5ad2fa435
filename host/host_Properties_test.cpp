#include "host/Properties.h"

#include <gtest/gtest.h>

using namespace vel::kos::host;

namespace {

using Problems = std::vector<std::pair<unsigned, std::string>>;

Problems addLines(Properties& pProperties, std::string_view pText)
{
    Problems tProblems;
    pProperties.addLines(
        pText, [&](unsigned pLine, const std::string& pProblem) { tProblems.emplace_back(pLine, pProblem); });
    return tProblems;
}

std::string valueOf(const Properties& pProperties, std::string_view pName)
{
    const std::string* tValue = pProperties.find(pName);
    return tValue ? *tValue : "(unset)";
}

TEST(Properties, ReadsNamesAndValues)
{
    Properties tProperties;
    EXPECT_EQ(addLines(tProperties, "colour = red\nsize=10\n\tpath\t= C:\\dir = x \nempty =\n"), Problems());
    EXPECT_EQ(valueOf(tProperties, "colour"), "red");
    EXPECT_EQ(valueOf(tProperties, "size"), "10");
    EXPECT_EQ(valueOf(tProperties, "path"), "C:\\dir = x");
    EXPECT_EQ(valueOf(tProperties, "empty"), "");
    EXPECT_EQ(valueOf(tProperties, "Colour"), "(unset)");
    EXPECT_EQ(tProperties.find(""), nullptr);
}

TEST(Properties, SkipsCommentsBlankLinesAndAByteOrderMark)
{
    Properties tProperties;
    EXPECT_EQ(addLines(tProperties, "\xEF\xBB\xBF"
                                    "a = 1\r\n\r\n# b = 2\r\n  ; c = 3\r\n   \nd = # no comment"),
              Problems());
    EXPECT_EQ(valueOf(tProperties, "a"), "1");
    EXPECT_EQ(valueOf(tProperties, "b"), "(unset)");
    EXPECT_EQ(valueOf(tProperties, "c"), "(unset)");
    EXPECT_EQ(valueOf(tProperties, "d"), "# no comment");
}

TEST(Properties, ReportsMalformedLinesAndGoesOn)
{
    Properties tProperties;
    const Problems tExpected = {{2, "the line is not \"name = value\""},
                                {4, "the name is missing"},
                                {5, "the line holds a NUL byte"}};
    EXPECT_EQ(addLines(tProperties, std::string_view("a = 1\n[section]\nb = 2\n = 3\nc\0 = 4\nd = 5\n", 40)),
              tExpected);
    EXPECT_EQ(valueOf(tProperties, "a"), "1");
    EXPECT_EQ(valueOf(tProperties, "b"), "2");
    EXPECT_EQ(valueOf(tProperties, "d"), "5");
}

TEST(Properties, LaterValuesReplaceEarlierOnes)
{
    Properties tProperties;
    addLines(tProperties, "a = file\nb = file\nc = file\na = file again\n");
    EXPECT_EQ(valueOf(tProperties, "a"), "file again");
    tProperties.addEnvironment({{"KHOST_PROP_b", "environment"}, {"KHOST_PROP_c", "environment"}},
                               "KHOST_PROP_");
    tProperties.set("c", "option");
    EXPECT_EQ(valueOf(tProperties, "a"), "file again");
    EXPECT_EQ(valueOf(tProperties, "b"), "environment");
    EXPECT_EQ(valueOf(tProperties, "c"), "option");
}

TEST(Properties, TakesOnlyVariablesWithThePrefixAndAName)
{
    Properties tProperties;
    tProperties.addEnvironment(
        {{"KHOST_PROP_", "x"}, {"KHOST_PROPER", "x"}, {"PATH", "x"}, {"khost_prop_a", "x"}}, "KHOST_PROP_");
    for (const char* tName : {"", "ER", "PATH", "a"})
        EXPECT_EQ(tProperties.find(tName), nullptr) << tName;
}

TEST(Properties, KnowsTheWordsForTrueAndFalse)
{
    for (const char* tWord : {"true", "TRUE", "True", "yes", "Yes", "on", "ON", "1"}) {
        EXPECT_TRUE(Properties::isTrueWord(tWord)) << tWord;
        EXPECT_FALSE(Properties::isFalseWord(tWord)) << tWord;
    }
    for (const char* tWord : {"false", "FALSE", "False", "no", "No", "off", "OFF", "0"}) {
        EXPECT_FALSE(Properties::isTrueWord(tWord)) << tWord;
        EXPECT_TRUE(Properties::isFalseWord(tWord)) << tWord;
    }
    for (const char* tWord : {"", " true", "true ", "truer", "tru", "2", "00", "y", "n", "oui", "enabled"}) {
        EXPECT_FALSE(Properties::isTrueWord(tWord)) << tWord;
        EXPECT_FALSE(Properties::isFalseWord(tWord)) << tWord;
    }
}

TEST(SplitAssignment, SplitsAtTheFirstEqualsSign)
{
    using Pair = std::pair<std::string, std::string>;
    EXPECT_EQ(splitAssignment("a=b=c"), Pair("a", "b=c"));
    EXPECT_EQ(splitAssignment("a="), Pair("a", ""));
    EXPECT_EQ(splitAssignment("=b"), std::nullopt);
    EXPECT_EQ(splitAssignment("a"), std::nullopt);
    EXPECT_EQ(splitAssignment(""), std::nullopt);
}

} // namespace
