#include "kpr/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/text.h"

TEST(KprPath, RefusesSmallBuffersAndNullPointers)
{
    char tText[10];
    EXPECT_EQ(kprGetRealPath(nullptr, tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetRealPath(".", nullptr, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetRealPath(".", tText, 1), KPR_E_BUFFER_TOO_SMALL);
}

TEST(KprPath, RealPathsAreAbsoluteAndWithoutDetours)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "file \xC3\xA4";
    kprtest::writeFile(tFile, "");
    char tDirect[2048], tDetour[2048];
    ASSERT_EQ(kprGetRealPath(tFile.c_str(), tDirect, sizeof tDirect), 0u);
    ASSERT_EQ(kprGetRealPath(
                  (tDir.path() + "/./../" + tFile.substr(tDir.path().rfind(kprGetPathSeparator()))).c_str(),
                  tDetour, sizeof tDetour),
              0u);
    EXPECT_STREQ(tDirect, tDetour);
    EXPECT_TRUE(std::string(tDirect).ends_with("file \xC3\xA4")) << tDirect;
    EXPECT_EQ(std::string(tDirect).find("/."), std::string::npos);
    EXPECT_TRUE(tDirect[0] == '/' || tDirect[1] == ':') << tDirect;
    EXPECT_EQ(kprGetRealPath((tDir / "missing").c_str(), tDirect, sizeof tDirect), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetRealPath(tDir.path().c_str(), tDirect, sizeof tDirect), 0u);
}

namespace {

std::string identity(const std::string& pPath)
{
    std::string tText;
    EXPECT_EQ(kpr::readText(tText, kprGetFileIdentity, pPath.c_str()), 0u) << pPath;
    return tText;
}

bool isSame(const char* pOne, const char* pOther)
{
    uint32_t tSame = 7;
    EXPECT_EQ(kprIsSameFileName(pOne, pOther, &tSame), 0u);
    EXPECT_LE(tSame, 1u);
    return tSame != 0;
}

} // namespace

TEST(KprPath, OneFileHasOneIdentity)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tOne = tDir / "one", tOther = tDir / "other";
    kprtest::writeFile(tOne, "same");
    kprtest::writeFile(tOther, "same");
    EXPECT_EQ(identity(tOne), identity(tDir / "." + kprGetPathSeparator() + "one"));
    EXPECT_NE(identity(tOne), identity(tOther));
    EXPECT_NE(identity(tOne), identity(tDir.path()));
    EXPECT_EQ(identity(tDir.path()), identity(tDir / "."));
#if defined(_WIN32)
    EXPECT_EQ(identity(tOne), identity(tDir / "ONE"));
#endif
    char tText[4];
    EXPECT_EQ(kprGetFileIdentity((tDir / "missing").c_str(), tText, 4), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetFileIdentity(tOne.c_str(), tText, 4), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprGetFileIdentity(nullptr, tText, 4), E_INVALIDARG);
    EXPECT_EQ(kprGetFileIdentity(tOne.c_str(), nullptr, 4), E_INVALIDARG);
}

TEST(KprPath, FileNamesDifferInMoreThanLetterCase)
{
    EXPECT_TRUE(isSame("", ""));
    EXPECT_TRUE(isSame("Name.DLL", "nAME.dll"));
    EXPECT_TRUE(isSame("\xC3\xA4.x", "\xC3\xA4.X"));
    EXPECT_TRUE(isSame("\xFF", "\xFF")) << "no UTF-8, but equal";
    for (const char* tOther : {"", "a", "abc", "ac", "a_"}) {
        EXPECT_FALSE(isSame("ab", tOther)) << tOther;
        EXPECT_FALSE(isSame(tOther, "ab")) << tOther;
    }
    EXPECT_FALSE(isSame("@[", "`{")) << "these are no letters";
    uint32_t tSame = 7;
#if defined(_WIN32)
    EXPECT_TRUE(isSame("\xC3\xA4.x", "\xC3\x84.x"));
    EXPECT_FALSE(isSame("\xC3\x9F", "ss")) << "a file system folds letters, not spellings";
    EXPECT_EQ(kprIsSameFileName("\xFF", "a", &tSame), KPR_E_BAD_NAME);
    EXPECT_EQ(tSame, 0u);
    EXPECT_EQ(kprIsSameFileName("a", "\xFF", &tSame), KPR_E_BAD_NAME);
#else
    EXPECT_FALSE(isSame("\xC3\xA4.x", "\xC3\x84.x"));
    EXPECT_FALSE(isSame("\xFF", "a"));
#endif
    EXPECT_EQ(kprIsSameFileName(nullptr, "a", &tSame), E_INVALIDARG);
    EXPECT_EQ(tSame, 0u);
    EXPECT_EQ(kprIsSameFileName("a", nullptr, &tSame), E_INVALIDARG);
    EXPECT_EQ(kprIsSameFileName("a", "a", nullptr), E_INVALIDARG);
}

TEST(KprText, IsReadHoweverLongItIs)
{
    static uint32_t tLength, tCalls;
    const auto tFill = [](char pFill, char* pBuffer, uint32_t pSize) -> uint32_t {
        ++tCalls;
        if (tLength + 1 > pSize) return KPR_E_BUFFER_TOO_SMALL;
        std::memset(pBuffer, pFill, tLength);
        pBuffer[tLength] = '\0';
        return 0;
    };
    std::string tText;
    for (const uint32_t tSize : {0u, 1u, 511u, 512u, 5000u, (1u << 20) - 1}) {
        tLength = tSize;
        EXPECT_EQ(kpr::readText(tText, tFill, 'x'), 0u) << tSize;
        EXPECT_EQ(tText, std::string(tSize, 'x'));
    }
    tLength = 1u << 20;
    tCalls = 0;
    EXPECT_EQ(kpr::readText(tText, tFill, 'x'), KPR_E_BUFFER_TOO_SMALL) << "a megabyte is enough";
    EXPECT_EQ(tText, "");
    EXPECT_EQ(tCalls, 12u);
    tText = "old";
    EXPECT_EQ(kpr::readText(tText, [](char*, uint32_t) { return uint32_t{KPR_E_IO}; }), KPR_E_IO);
    EXPECT_EQ(tText, "");
}

TEST(KprText, OfAFileIsReadUpToALimit)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tFile = tDir / "file";
    std::string tBytes = "old";
    EXPECT_EQ(kpr::readFile(tFile.c_str(), 10, tBytes), KPR_E_NOT_FOUND);
    EXPECT_EQ(tBytes, "");
    for (const size_t tSize : {size_t{0}, size_t{1}, size_t{16384}, size_t{100000}}) {
        std::string tContent(tSize, 'x');
        if (tSize) tContent.front() = '\0', tContent.back() = 'y';
        kprtest::writeFile(tFile, tContent);
        EXPECT_EQ(kpr::readFile(tFile.c_str(), tSize, tBytes), 0u);
        EXPECT_EQ(tBytes, tContent) << "as many as allowed";
        if (tSize == 0) continue;
        EXPECT_EQ(kpr::readFile(tFile.c_str(), tSize - 1, tBytes), KPR_E_TOO_LARGE);
        EXPECT_EQ(tBytes, "");
    }
    EXPECT_EQ(kpr::readFile(tDir.path().c_str(), 10, tBytes), KPR_E_NOT_REGULAR);
    EXPECT_EQ(kpr::readFile(tDir.path().c_str(), 10, tBytes, KPR_OPEN_ANY), KPR_E_IS_DIRECTORY)
        << "opened as asked";
    kprtest::writeFile(tFile, "some");
    KprFileInfo tInfo = {};
    EXPECT_EQ(
        kpr::readFile(tFile.c_str(), 10, tBytes, KPR_OPEN_FOLLOW, &tInfo, KPR_INFO_KIND | KPR_INFO_SIZE), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_FILE);
    EXPECT_EQ(tInfo.size, 4u);
}
