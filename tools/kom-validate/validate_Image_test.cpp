// The reader of module files: on real modules, on small ones made here, and on broken ones.
#include "tools/kom-validate/validate_Image.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string_view>

#include <gtest/gtest.h>

#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace kom::validate {

namespace {

using Bytes = std::vector<uint8_t>;
using Names = std::vector<std::string>;

void put(Bytes& pBytes, size_t pOffset, uint64_t pValue, size_t pSize)
{
    if (pBytes.size() < pOffset + pSize) pBytes.resize(pOffset + pSize);
    for (size_t i = 0; i < pSize; ++i)
        pBytes[pOffset + i] = static_cast<uint8_t>(pValue >> 8 * i);
}

void put(Bytes& pBytes, size_t pOffset, std::string_view pText)
{
    if (pBytes.size() < pOffset + pText.size() + 1) pBytes.resize(pOffset + pText.size() + 1);
    std::copy(pText.begin(), pText.end(), pBytes.begin() + static_cast<std::ptrdiff_t>(pOffset));
}

/// A shared library whose dynamic symbols are all kinds of one.
Bytes makeElf()
{
    Bytes tFile;
    put(tFile, 0,
        "\x7F"
        "ELF\x02\x01\x01");
    put(tFile, 16, 3, 2);     // a shared library
    put(tFile, 18, 62, 2);    // for x86-64
    put(tFile, 40, 0x400, 8); // section headers
    put(tFile, 60, 3, 2);
    const auto section = [&](size_t pIndex, uint32_t pKind, uint64_t pOffset, uint64_t pSize,
                             uint32_t pLink) {
        const size_t tHeader = 0x400 + pIndex * 64;
        put(tFile, tHeader + 4, pKind, 4);
        put(tFile, tHeader + 24, pOffset, 8);
        put(tFile, tHeader + 32, pSize, 8);
        put(tFile, tHeader + 40, pLink, 4);
        put(tFile, tHeader + 56, 0, 8);
    };
    section(1, 11, 0x100, 8 * 24, 2);
    section(2, 3, 0x300, 0x80, 0);
    size_t tName = 1;
    const auto symbol = [&](size_t pIndex, const char* pName, uint32_t pInfo, uint32_t pVisibility,
                            uint32_t pSection) {
        put(tFile, 0x100 + pIndex * 24, tName, 4);
        put(tFile, 0x100 + pIndex * 24 + 4, pInfo, 1);
        put(tFile, 0x100 + pIndex * 24 + 5, pVisibility, 1);
        put(tFile, 0x100 + pIndex * 24 + 6, pSection, 2);
        put(tFile, 0x300 + tName, pName);
        tName += std::strlen(pName) + 1;
    };
    symbol(1, "function", 0x12, 0, 7);
    symbol(2, "data", 0x11, 3, 8);
    symbol(3, "weak", 0x22, 0, 7);
    symbol(4, "local", 0x02, 0, 7);
    symbol(5, "needed", 0x12, 0, 0);
    symbol(6, "hidden", 0x12, 2, 7);
    symbol(7, "VERSION_1", 0x11, 0, 0xFFF1);
    return tFile;
}

/// A DLL with two named functions and one that has only its ordinal.
Bytes makePe()
{
    Bytes tFile;
    put(tFile, 0, "MZ");
    put(tFile, 0x3C, 0x80, 4);
    put(tFile, 0x80, "PE");
    put(tFile, 0x84, 0x8664, 2);
    put(tFile, 0x86, 1, 2);      // one section
    put(tFile, 0x94, 0xF0, 2);   // size of the optional header
    put(tFile, 0x96, 0x2000, 2); // a DLL
    put(tFile, 0x98, 0x20B, 2);
    put(tFile, 0x98 + 108, 16, 4);
    put(tFile, 0x98 + 112, 0x1000, 4); // the export directory
    put(tFile, 0x188 + 12, 0x1000, 4); // the section's address, size and place
    put(tFile, 0x188 + 16, 0x200, 4);
    put(tFile, 0x188 + 20, 0x200, 4);
    put(tFile, 0x200 + 16, 5, 4); // first ordinal
    put(tFile, 0x200 + 20, 3, 4); // functions
    put(tFile, 0x200 + 24, 2, 4); // names
    put(tFile, 0x200 + 28, 0x1040, 4);
    put(tFile, 0x200 + 32, 0x1060, 4);
    put(tFile, 0x200 + 36, 0x1080, 4);
    for (size_t i = 0; i < 3; ++i)
        put(tFile, 0x240 + 4 * i, 0x5000 + i, 4);
    put(tFile, 0x260, 0x10A0, 4);
    put(tFile, 0x264, 0x10C0, 4);
    put(tFile, 0x280, 0, 2);
    put(tFile, 0x282, 2, 2);
    put(tFile, 0x2A0, "zeta");
    put(tFile, 0x2C0, "alpha");
    tFile.resize(0x400);
    return tFile;
}

Names exportsOf(const Bytes& pFile)
{
    Names tNames;
    EXPECT_EQ(readExports(pFile, tNames), "");
    return tNames;
}

std::string problemOf(const Bytes& pFile)
{
    Names tNames = {"old"};
    const std::string tProblem = readExports(pFile, tNames);
    EXPECT_TRUE(tProblem.empty() || tNames.empty()) << "a file that cannot be read has no names";
    return tProblem;
}

Bytes with(Bytes pFile, size_t pOffset, uint64_t pValue, size_t pSize)
{
    put(pFile, pOffset, pValue, pSize);
    return pFile;
}

TEST(ValidateImage, ReadsWhatAnElfFileDefinesForOthers)
{
    EXPECT_EQ(exportsOf(makeElf()), (Names{"data", "function", "weak"}));
}

TEST(ValidateImage, ReadsTheExportDirectoryOfADll)
{
    EXPECT_EQ(exportsOf(makePe()), (Names{"#6", "alpha", "zeta"}));
    EXPECT_EQ(exportsOf(with(makePe(), 0x98 + 112, 0, 4)), Names());
}

TEST(ValidateImage, ReadsARealModule)
{
    const std::string tProgram = kprGetProgramPath();
    const std::string tKom = tProgram.substr(0, tProgram.size() - std::strlen(kprGetProgramName())) +
                             kprGetDSOPrefix() + "kom" + kprGetDSOSuffix();
    const std::string tFile = kprtest::readFile(tKom);
    const Bytes tBytes(tFile.begin(), tFile.end());
    EXPECT_EQ(formatOf(tBytes), NATIVE_FORMAT);
    const Names tNames = exportsOf(tBytes);
    EXPECT_TRUE(std::ranges::binary_search(tNames, "komFree"));
    EXPECT_TRUE(std::ranges::all_of(tNames, [](const auto& pName) { return pName.starts_with("kom"); }));
    EXPECT_TRUE(std::ranges::binary_search(findIdentities(tBytes), "IDL:kom/IUnknown:1.0"));
}

TEST(ValidateImage, SaysWhatIsWrongWithAFile)
{
    constexpr char ARCHITECTURE[] = "the file is not built for 64-bit x86",
                   CUT[] = "the file is cut short or damaged";
    EXPECT_EQ(problemOf({}), "the file is not a loadable module");
    EXPECT_EQ(problemOf({'#', '!', '/'}), "the file is not a loadable module");
    EXPECT_EQ(problemOf(with(makeElf(), 4, 1, 1)), ARCHITECTURE);
    EXPECT_EQ(problemOf(with(makeElf(), 18, 183, 2)), ARCHITECTURE);
    EXPECT_EQ(problemOf(with(makeElf(), 16, 2, 2)), "the file is not a shared library");
    EXPECT_EQ(problemOf(with(makeElf(), 40, UINT64_MAX, 8)), CUT);
    EXPECT_EQ(problemOf(with(makeElf(), 0x400 + 64 + 24, UINT64_MAX - 4, 8)), CUT);
    EXPECT_EQ(problemOf(with(makeElf(), 0x400 + 64 + 32, UINT64_MAX, 8)), CUT);
    const Bytes tTwice = with(with(with(makeElf(), 0x404, 11, 4), 0x418, 0x100, 8), 0x420, 8 * 24, 8);
    EXPECT_EQ(problemOf(with(tTwice, 0x428, 2, 4)), CUT) << "two tables of symbols";
    EXPECT_EQ(problemOf(with(makePe(), 0x80, 0, 2)), "the file is not a Windows module");
    EXPECT_EQ(problemOf(with(makePe(), 0x84, 0x14C, 2)), ARCHITECTURE);
    EXPECT_EQ(problemOf(with(makePe(), 0x96, 0x22, 2)), "the file is not a DLL");
    EXPECT_EQ(problemOf(with(makePe(), 0x3C, UINT32_MAX, 4)), CUT);
    EXPECT_EQ(problemOf(with(makePe(), 0x98 + 112, 0x9000, 4)), CUT);
    EXPECT_EQ(problemOf(with(makePe(), 0x200 + 20, UINT32_MAX, 4)), CUT);
    EXPECT_EQ(problemOf(with(makePe(), 0x200 + 24, 60000, 4)), CUT);
    EXPECT_EQ(problemOf(with(makePe(), 0x260, 0x11FF, 4)), "")
        << "the last byte of the section is its text's end";
}

TEST(ValidateImage, SurvivesEveryCutAndManyChanges)
{
    std::mt19937 tRandom(1);
    for (const Bytes& tWhole : {makeElf(), makePe()}) {
        for (size_t tSize = 0; tSize < tWhole.size(); ++tSize)
            problemOf(Bytes(tWhole.begin(), tWhole.begin() + static_cast<std::ptrdiff_t>(tSize)));
        for (int i = 0; i < 20000; ++i) {
            Bytes tChanged = tWhole;
            for (int j = 0; j < 4; ++j)
                tChanged[tRandom() % tChanged.size()] = static_cast<uint8_t>(tRandom());
            problemOf(tChanged);
            findIdentities(tChanged);
        }
    }
}

TEST(ValidateImage, FindsIdentitiesAmongTheTexts)
{
    constexpr char TEXT[] = "xIDL:b/I:1.0\0IDL:a/b_c/IName2:12.34\0IDL:b/I:1.0\0IDL:open:1.0";
    const Bytes tBytes(std::begin(TEXT), std::end(TEXT) - 1); // the last text has no end
    EXPECT_EQ(findIdentities(tBytes), (Names{"IDL:a/b_c/IName2:12.34", "IDL:b/I:1.0"}));
}

TEST(ValidateImage, KnowsTheFormOfAnIdentity)
{
    EXPECT_TRUE(isIdentity("IDL:kom/IUnknown:1.0"));
    for (const char* tText : {"", "IDL:", "IDL::1.0", "IDL:a:1", "IDL:a:1.", "IDL:a:.0", "IDL:a:1.0 ",
                              "idl:a:1.0", "IDL:/a:1.0", "IDL:a/:1.0", "IDL:a b:1.0", "IDL:a:1.0.0", "IDL:a"})
        EXPECT_FALSE(isIdentity(tText)) << tText;
}

} // namespace

} // namespace kom::validate
