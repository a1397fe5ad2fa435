#include "kom/kom_classfile.h"

#include <gtest/gtest.h>

namespace kom {

namespace {

const std::string HEADER = "kom-classes 1\n";
const std::string FIRST = "11111111-2222-3333-4444-555555555555";
const std::string SECOND = "a20d8cf0-c2f2-11d5-bfd3-0000e2430653";

ClassFile parsed(const std::string& pText)
{
    ClassFile tFile;
    ClassFileProblem tProblem;
    EXPECT_TRUE(parseClassFile(pText, tFile, tProblem)) << tProblem.line << ": " << tProblem.text;
    return tFile;
}

/// "line: what is wrong", "" when nothing is.
std::string problemOf(const std::string& pText)
{
    ClassFile tFile;
    tFile.classes["left over"];
    ClassFileProblem tProblem;
    if (parseClassFile(pText, tFile, tProblem)) return {};
    EXPECT_TRUE(tFile.classes.empty() && tFile.comments.empty());
    return std::to_string(tProblem.line) + ": " + tProblem.text;
}

TEST(ClassFileTest, readsClassesInAnyOrder)
{
    const ClassFile tFile =
        parsed(HEADER + SECOND + " /lib/kfw.so\n" + FIRST + " C:\\Program Files\\x.dll\n");
    ASSERT_EQ(tFile.classes.size(), 2u);
    EXPECT_EQ(tFile.classes.begin()->first, FIRST);
    EXPECT_EQ(tFile.classes.at(FIRST).module, "C:\\Program Files\\x.dll");
    EXPECT_EQ(tFile.classes.at(SECOND).module, "/lib/kfw.so");
    EXPECT_TRUE(tFile.comments.empty());
}

TEST(ClassFileTest, readsTheEmptyRegistry)
{
    EXPECT_TRUE(parsed(HEADER).classes.empty());
    EXPECT_EQ(composeClassFile({}), "kom-classes 1\n");
}

TEST(ClassFileTest, writesInAscendingOrder)
{
    ClassFile tFile;
    tFile.classes[SECOND].module = "/b";
    tFile.classes[FIRST].module = "/a";
    EXPECT_EQ(composeClassFile(tFile), HEADER + FIRST + " /a\n" + SECOND + " /b\n");
}

TEST(ClassFileTest, takesLineEndsOfWindows)
{
    const ClassFile tFile = parsed("kom-classes 1\r\n# note\r\n" + FIRST + " /a\r\n");
    EXPECT_EQ(tFile.classes.at(FIRST).module, "/a");
    EXPECT_EQ(tFile.classes.at(FIRST).comments, "# note\n");
}

TEST(ClassFileTest, keepsCommentsWithTheClassBelow)
{
    const std::string tText = HEADER + "# of the first\n\n#\twith a tab\n" + FIRST +
                              " /a\n# of the second\n" + SECOND + " /b\n# at the end\n";
    ClassFile tFile = parsed(tText);
    EXPECT_EQ(composeClassFile(tFile), tText);
    tFile.classes["00000000-0000-0000-0000-000000000000"].module = "/new";
    tFile.classes.erase(SECOND);
    EXPECT_EQ(composeClassFile(tFile), HEADER + "00000000-0000-0000-0000-000000000000 /new\n" +
                                           "# of the first\n\n#\twith a tab\n" + FIRST +
                                           " /a\n# at the end\n");
}

TEST(ClassFileTest, keepsEveryByteOfAPath)
{
    std::string tPath;
    for (int i = 1; i < 256; ++i)
        tPath += static_cast<char>(i);
    for (const std::string& tModule :
         {tPath, std::string("# not a comment"), std::string(" /leading/and/trailing "), std::string("%25"),
          std::string("/a\nb"), std::string("/M\xC3\xBCnchen.so"), std::string(300000, 'x')}) {
        ClassFile tFile;
        tFile.classes[FIRST].module = tModule;
        EXPECT_EQ(parsed(composeClassFile(tFile)).classes.at(FIRST).module, tModule);
    }
}

TEST(ClassFileTest, escapesOnlyWhatItMust)
{
    ClassFile tFile;
    tFile.classes[FIRST].module = "/a b/100%\t\n\r\x7F\x01/\xC3\xBC\\#";
    EXPECT_EQ(composeClassFile(tFile), HEADER + FIRST + " /a b/100%25%09%0A%0D%7F%01/\xC3\xBC\\#\n");
}

TEST(ClassFileTest, refusesAWrongHeader)
{
    for (const std::string tText : {"\n", "kom-classes\n", "KOM-classes 1\n", "\xEF\xBB\xBFkom-classes 1\n",
                                    " kom-classes 1\n", "# note\nkom-classes 1\n"})
        EXPECT_EQ(problemOf(tText), "1: not the first line of a class registry") << tText;
    for (const std::string tText :
         {"kom-classes 2\n", "kom-classes 1 \n", "kom-classes \n", "kom-classes 10\n"})
        EXPECT_EQ(problemOf(tText), "1: a format version that is not supported") << tText;
    EXPECT_EQ(problemOf(""), "1: it is cut short");
    EXPECT_EQ(problemOf("kom-classes 1"), "1: it is cut short");
}

TEST(ClassFileTest, refusesALineThatIsCutShort)
{
    const std::string tText = HEADER + FIRST + " /lib/kfw.so\n";
    for (size_t i = 0; i < tText.size(); ++i)
        if (i != HEADER.size()) {
            EXPECT_NE(problemOf(tText.substr(0, i)), "") << i;
        }
    EXPECT_EQ(problemOf(tText.substr(0, tText.size() - 1)), "2: it is cut short");
    EXPECT_EQ(problemOf(HEADER + "# a comment"), "2: it is cut short");
}

TEST(ClassFileTest, refusesWhatIsNoClassIdentity)
{
    for (const std::string tLine :
         {"x", " ", "11111111-2222-3333-4444-55555555555 /a", "11111111-2222-3333-4444-5555555555555 /a",
          "A20D8CF0-C2F2-11D5-BFD3-0000E2430653 /a", "a20d8cf0-c2f2-11d5-bfd3-0000e243065g /a",
          "a20d8cf0c-2f2-11d5-bfd3-0000e2430653 /a", " a20d8cf0-c2f2-11d5-bfd3-0000e2430653 /a",
          "{a20d8cf0-c2f2-11d5-bfd3-0000e2430653} /a"})
        EXPECT_EQ(problemOf(HEADER + "\n" + tLine + "\n"), "3: no class identity at its start") << tLine;
}

TEST(ClassFileTest, refusesAMissingPath)
{
    EXPECT_EQ(problemOf(HEADER + FIRST + "\n"), "2: no module path");
    EXPECT_EQ(problemOf(HEADER + FIRST + " \n"), "2: no module path");
}

TEST(ClassFileTest, refusesWrongEscapes)
{
    for (const std::string tPath : {"%", "/a%", "/a%0", "%0a", "%4G", "%00", "%41", "%%", "%2525%x"})
        EXPECT_EQ(problemOf(HEADER + FIRST + " " + tPath + "\n"), "2: a wrong escape in the module path")
            << tPath;
}

TEST(ClassFileTest, refusesControlCharacters)
{
    EXPECT_EQ(problemOf(HEADER + FIRST + " /a\tb\n"), "2: a control character");
    EXPECT_EQ(problemOf(HEADER + FIRST + " /a\rb\n"), "2: a control character");
    EXPECT_EQ(problemOf(HEADER + FIRST + " /a\x7F\n"), "2: a control character");
    EXPECT_EQ(problemOf(HEADER + FIRST + " /a" + std::string(1, '\0') + "\n"), "2: a control character");
    EXPECT_EQ(problemOf(HEADER + "#" + std::string(4, '\0') + "\n"), "2: a control character");
}

TEST(ClassFileTest, refusesAClassTwice)
{
    EXPECT_EQ(problemOf(HEADER + FIRST + " /a\n" + SECOND + " /b\n#\n" + FIRST + " /a\n"),
              "5: the class of line 2 again");
}

TEST(ClassFileTest, knowsClassIdentities)
{
    EXPECT_TRUE(isClassId(SECOND));
    EXPECT_FALSE(isClassId(""));
    EXPECT_FALSE(isClassId(SECOND + "0"));
    EXPECT_FALSE(isClassId(SECOND.substr(1)));
    for (size_t i = 0; i < SECOND.size(); ++i)
        for (const char tChar : {'-', 'A', 'g', ' ', '0'}) {
            std::string tId = SECOND;
            const bool tDash = tId[i] == '-';
            tId[i] = tChar;
            EXPECT_EQ(isClassId(tId), tDash ? tChar == '-' : tChar == '0') << tId;
        }
}

} // namespace

} // namespace kom
