#include "kutil/kutil_MoFile.h"

#include <gtest/gtest.h>

#include "kutil/testing/kutil_MoBuilder.h"

namespace {

using kutil_test::appendNumber;
using kutil_test::buildMo;
using vel::kos::util::MoFile;

const kutil_test::Texts TEXTS = {
    {"", "Content-Type: text/plain\n"},
    {"One", "Eins"},
    {"Two", "Zwei"},
    {"Three", "Drei"},
    {"a file", "eine Datei"},
    {"empty", ""},
    {std::string("%1 file\0%1 files", 16), std::string("%1 Datei\0%1 Dateien", 19)}};

void expectTexts(const std::string& pBytes)
{
    MoFile tFile;
    std::string tProblem;
    ASSERT_TRUE(tFile.parse(pBytes, tProblem)) << tProblem;
    EXPECT_STREQ(tFile.find("One"), "Eins");
    EXPECT_STREQ(tFile.find("Two"), "Zwei");
    EXPECT_STREQ(tFile.find("Three"), "Drei");
    EXPECT_STREQ(tFile.find("a file"), "eine Datei");
    EXPECT_STREQ(tFile.find("%1 file"), "%1 Datei");
    for (const char* tUnknown : {"one", "On", "Onee", "Zzz", "A", "empty", "\xFF", "%1 file%1 files"})
        EXPECT_EQ(tFile.find(tUnknown), nullptr) << tUnknown;
}

TEST(MoFile, FindsTextsInBothByteOrders)
{
    expectTexts(buildMo(TEXTS, false));
    expectTexts(buildMo(TEXTS, true));
}

TEST(MoFile, TakesAnEmptyCatalogue)
{
    MoFile tFile;
    std::string tProblem;
    ASSERT_TRUE(tFile.parse(buildMo({}), tProblem));
    EXPECT_EQ(tFile.find("One"), nullptr);
    std::string tHeader; // the least there is: no texts, so no tables either
    for (const uint32_t tNumber : {0x950412DEu, 0u, 0u, 20u, 20u})
        appendNumber(tHeader, tNumber, false);
    ASSERT_TRUE(tFile.parse(tHeader, tProblem)) << tProblem;
    EXPECT_EQ(tFile.find("One"), nullptr);
}

void expectRefused(const std::string& pBytes, const char* pProblem)
{
    MoFile tFile;
    std::string tProblem;
    EXPECT_FALSE(tFile.parse(pBytes, tProblem));
    EXPECT_EQ(tProblem, pProblem);
    EXPECT_EQ(tFile.find("One"), nullptr);
}

/// The catalogue with one of its numbers replaced.
std::string with(std::size_t pOffset, uint32_t pNumber, bool pBigEndian = false)
{
    std::string tNumber, tBytes = buildMo(TEXTS, pBigEndian);
    appendNumber(tNumber, pNumber, pBigEndian);
    return tBytes.replace(pOffset, 4, tNumber);
}

TEST(MoFile, RefusesWhatIsNoCatalogue)
{
    expectRefused("", "shorter than a catalogue's header");
    expectRefused(buildMo(TEXTS).substr(0, 19), "shorter than a catalogue's header");
    expectRefused(std::string(100, 'x'), "not a message catalogue");
    expectRefused(with(0, 0x950412DF), "not a message catalogue");
    expectRefused(with(4, 0x00020000), "unknown revision");
    expectRefused(with(4, 0xFFFF0000, true), "unknown revision");
    std::string tProblem;
    EXPECT_TRUE(MoFile().parse(with(4, 0x00010001), tProblem));
}

TEST(MoFile, RefusesTextsOutsideOfTheFile)
{
    constexpr char OUTSIDE[] = "a text lies outside of the file";
    const auto tSize = static_cast<uint32_t>(buildMo(TEXTS).size());
    const uint32_t tCount = static_cast<uint32_t>(TEXTS.size());
    for (const bool tBigEndian : {false, true}) {
        for (const uint32_t tBad : {tSize, tSize - 1, 0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFF8u}) {
            expectRefused(with(8, tBad, tBigEndian), OUTSIDE);  // the number of texts
            expectRefused(with(12, tBad, tBigEndian), OUTSIDE); // the tables
            expectRefused(with(16, tBad, tBigEndian), OUTSIDE);
            for (const uint32_t tRow : {28u + 8, 28 + 8 * tCount, 28 + 16 * tCount - 16}) {
                expectRefused(with(tRow, tBad, tBigEndian), OUTSIDE);     // a length
                expectRefused(with(tRow + 4, tBad, tBigEndian), OUTSIDE); // an offset
            }
        }
        expectRefused(with(8, 0x20000000, tBigEndian), OUTSIDE); // whose rows' size wraps in 32 bits
        expectRefused(with(28 + 8, 2, tBigEndian), OUTSIDE);     // no NUL where the text ends
    }
}

TEST(MoFile, RefusesAFileThatWasCut)
{
    const std::string tWhole = buildMo(TEXTS);
    for (std::size_t tLength = 0; tLength < tWhole.size(); ++tLength) {
        MoFile tFile;
        std::string tProblem;
        EXPECT_FALSE(tFile.parse(tWhole.substr(0, tLength), tProblem)) << tLength;
    }
}

TEST(MoFile, LooksOnlyIntoTheFileWhateverItsNumbersAre)
{
    // Each number of the header and the tables with values that lie at some border; the sanitizers watch.
    const std::string tWhole = buildMo(TEXTS);
    for (std::size_t tOffset = 4; tOffset < 28 + 16 * TEXTS.size(); tOffset += 4)
        for (const uint32_t tNumber :
             {0u, 1u, 27u, 28u, static_cast<uint32_t>(tWhole.size() - 1), 0x80000000u}) {
            MoFile tFile;
            std::string tProblem;
            if (!tFile.parse(with(tOffset, tNumber), tProblem)) continue;
            for (const auto& tText : TEXTS)
                if (const char* tFound = tFile.find(tText.first.c_str())) {
                    EXPECT_LT(std::string(tFound).size(), tWhole.size());
                }
        }
}

} // namespace
