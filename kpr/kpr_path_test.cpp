#include "kpr/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

struct Row {
    const char* path;
    const char* dirname;
    const char* basename;
};

constexpr Row ROWS[] = {
    {"/a/b/c", "/a/b", "c"},
    {"a/b", "a", "b"},
    {"a", ".", "a"},
    {"", ".", ""},
    {"/", "/", "/"},
    {"/a", "/", "a"},
    {"a/", ".", "a"},
    {"a/b//", "a", "b"},
    {"a//b", "a", "b"},
    {".", ".", "."},
    {"..", ".", ".."},
    {"/a/.hidden", "/a", ".hidden"},
    {"/\xC3\xA4/\xE6\x97\xA5", "/\xC3\xA4", "\xE6\x97\xA5"},
#if defined(_WIN32)
    {"C:\\a\\b", "C:\\a", "b"},
    {"C:\\a", "C:\\", "a"},
    {"C:/a/b", "C:/a", "b"},
    {"C:\\", "C:\\", "C:\\"},
    {"C:", "C:.", "C:"},
    {"C:a", "C:.", "a"},
    {"C:a\\b", "C:a", "b"},
    {"\\a\\b", "\\a", "b"},
    {"\\a", "\\", "a"},
    {"a\\b/c", "a\\b", "c"},
    {"\\\\server\\share\\a", "\\\\server\\share\\", "a"},
    {"\\\\server\\share", "\\\\server\\share", "\\\\server\\share"},
    {"//server/share/a/b", "//server/share/a", "b"},
    {"\\\\?\\C:\\a", "\\\\?\\C:\\", "a"},
    {"\\\\?\\C:\\a\\b", "\\\\?\\C:\\a", "b"},
    {"\\\\?\\UNC\\server\\share\\a", "\\\\?\\UNC\\server\\share\\", "a"},
#else
    {"a\\b", ".", "a\\b"},
    {"C:\\a", ".", "C:\\a"},
    {"//a", "//", "a"},
#endif
};

} // namespace

TEST(KprPath, TakesPathsApart)
{
    for (const Row& tRow : ROWS) {
        char tText[100];
        EXPECT_EQ(kprGetDirname(tRow.path, tText, sizeof tText), 0u);
        EXPECT_STREQ(tText, tRow.dirname) << tRow.path;
        EXPECT_EQ(kprGetBasename(tRow.path, tText, sizeof tText), 0u);
        EXPECT_STREQ(tText, tRow.basename) << tRow.path;
    }
}

TEST(KprPath, AppendsWithOneSeparator)
{
    const std::string tSeparator(1, kprGetPathSeparator());
    char tText[20];
    EXPECT_EQ(kprAppendToPath("a", "b", tText, sizeof tText), 0u);
    EXPECT_EQ(tText, "a" + tSeparator + "b");
    EXPECT_EQ(kprAppendToPath("a/", "b", tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "a/b");
    EXPECT_EQ(kprAppendToPath("", "b", tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "b");
    EXPECT_EQ(kprAppendToPath("/", "b", tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "/b");
    std::strcpy(tText, "in");
    EXPECT_EQ(kprAppendToPath(tText, "place", tText, sizeof tText), 0u);
    EXPECT_EQ(tText, "in" + tSeparator + "place");
}

TEST(KprPath, RefusesSmallBuffersAndNullPointers)
{
    char tText[10];
    EXPECT_EQ(kprAppendToPath("abc", "defgh", tText, 9), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprAppendToPath("abc", "defgh", tText, 10), 0u);
    EXPECT_EQ(kprGetDirname("/abc/d", tText, 4), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprGetDirname("/abc/d", tText, 5), 0u);
    EXPECT_EQ(kprGetBasename("/d/abc", tText, 3), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprGetBasename("/d/abc", tText, 4), 0u);
    EXPECT_EQ(kprGetBasename("a", tText, 0), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprAppendToPath(nullptr, "a", tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprAppendToPath("a", nullptr, tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprAppendToPath("a", "b", nullptr, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetDirname(nullptr, tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetDirname("a", nullptr, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetBasename(nullptr, tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetBasename("a", nullptr, 10), E_INVALIDARG);
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
