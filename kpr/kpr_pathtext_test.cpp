// Path texts, which need no file. On other targets a second program has Windows' rules (KPR_WINDOWS_PATHS).
#include "kpr/path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kpr/codes.h"

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
#if defined(_WIN32) || defined(KPR_WINDOWS_PATHS)
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
    {"\\\\?\\UNC\\server\\share", "\\\\?\\UNC\\server\\share", "\\\\?\\UNC\\server\\share"},
    {"\\\\?\\Volume{x}\\a", "\\\\?\\Volume{x}", "a"},
    {"\\\\.\\C:\\a", "\\\\.\\C:\\", "a"},
    {"\\\\\\server\\a", "\\\\\\server", "a"},
    {"a:\\b", "a:\\", "b"},
    {"z:\\b", "z:\\", "b"},
    {"A:\\b", "A:\\", "b"},
    {"Z:\\b", "Z:\\", "b"},
    {"1:\\b", "1:", "b"},
    {"[:\\b", "[:", "b"},
    {"ab\\c", "ab", "c"},
    {"b:", "b:.", "b:"},
#else
    {"a\\b", ".", "a\\b"},
    {"C:\\a", ".", "C:\\a"},
    {"//a", "//", "a"},
#endif
};

} // namespace

TEST(KprPathText, TakesPathsApart)
{
    for (const Row& tRow : ROWS) {
        char tText[100];
        EXPECT_EQ(kprGetDirname(tRow.path, tText, sizeof tText), 0u);
        EXPECT_STREQ(tText, tRow.dirname) << tRow.path;
        EXPECT_EQ(kprGetBasename(tRow.path, tText, sizeof tText), 0u);
        EXPECT_STREQ(tText, tRow.basename) << tRow.path;
    }
}

TEST(KprPathText, AppendsWithOneSeparator)
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
    const bool tWindows = kprGetPathSeparator() == '\\';
    EXPECT_EQ(kprAppendToPath("C:", "b", tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, tWindows ? "C:b" : "C:/b") << "in that drive's current folder";
    EXPECT_EQ(kprAppendToPath("a\\", "b", tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, tWindows ? "a\\b" : "a\\/b");
    EXPECT_EQ(kprAppendToPath("ab", "c", tText, sizeof tText), 0u);
    EXPECT_EQ(tText, "ab" + tSeparator + "c");
}

TEST(KprPathText, RefusesSmallBuffersAndNullPointers)
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
}
