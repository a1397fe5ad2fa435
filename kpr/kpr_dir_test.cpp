#include "kpr/dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"

namespace {

class KprDirTest : public testing::Test {
protected:
    std::map<std::string, uint32_t> list()
    {
        std::map<std::string, uint32_t> tEntries;
        KprDir tDir;
        EXPECT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
        char tName[512];
        uint32_t tRes, tKind;
        while ((tRes = kprReadDir(tDir, tName, sizeof tName, &tKind)) == 0)
            tEntries[tName] = tKind;
        EXPECT_EQ(tRes, KPR_E_END);
        EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, &tKind), KPR_E_END);
        EXPECT_EQ(kprCloseDir(tDir), 0u);
        return tEntries;
    }

    kprtest::TemporaryDirectory mDir;
};

} // namespace

TEST_F(KprDirTest, ListsNamesAndKinds)
{
    EXPECT_TRUE(list().empty());
    kprtest::writeFile(mDir / "file", "x");
    kprtest::writeFile(mDir / "\xC3\xA4\xE6\x97\xA5", "");
    kprtest::writeFile(mDir / ".hidden", "");
    ASSERT_EQ(kprMakeDir((mDir / "folder").c_str()), 0u);
    const std::map<std::string, uint32_t> tExpected = {{"file", KPR_KIND_FILE},
                                                       {"\xC3\xA4\xE6\x97\xA5", KPR_KIND_FILE},
                                                       {".hidden", KPR_KIND_FILE},
                                                       {"folder", KPR_KIND_DIRECTORY}};
    EXPECT_EQ(list(), tExpected);
}

TEST_F(KprDirTest, ListsThousandsOfEntriesOnceEach)
{
    std::map<std::string, uint32_t> tExpected;
    for (int i = 0; i < 2500; ++i) {
        const std::string tName = "entry-number-" + std::to_string(i);
        kprtest::writeFile(mDir / tName, "");
        tExpected[tName] = KPR_KIND_FILE;
    }
    EXPECT_EQ(list(), tExpected);
}

TEST_F(KprDirTest, SkipsANameThatDoesNotFit)
{
    kprtest::writeFile(mDir / "a-rather-long-name", "");
    kprtest::writeFile(mDir / "short", "");
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    char tName[6];
    int tTooSmall = 0, tGood = 0;
    for (uint32_t tRes; (tRes = kprReadDir(tDir, tName, sizeof tName, nullptr)) != KPR_E_END;) {
        tTooSmall += tRes == KPR_E_BUFFER_TOO_SMALL;
        if (tRes == 0) {
            ++tGood;
            EXPECT_STREQ(tName, "short"); // with its terminator it just fits
        }
    }
    EXPECT_EQ(tTooSmall, 1);
    EXPECT_EQ(tGood, 1);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
}

TEST_F(KprDirTest, RefusesWhatIsNoDirectory)
{
    kprtest::writeFile(mDir / "file", "");
    KprDir tDir = 5;
    EXPECT_EQ(kprOpenDir((mDir / "missing").c_str(), &tDir), KPR_E_NOT_FOUND);
    EXPECT_EQ(tDir, KPR_NO_DIR);
    EXPECT_EQ(kprOpenDir((mDir / "file").c_str(), &tDir), KPR_E_NOT_DIRECTORY);
    EXPECT_EQ(kprOpenDir("", &tDir), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprOpenDir(nullptr, &tDir), E_INVALIDARG);
    EXPECT_EQ(kprOpenDir(mDir.path().c_str(), nullptr), E_INVALIDARG);
    char tName[10];
    for (KprDir tBad : {KPR_NO_DIR, KprDir{0}}) {
        EXPECT_EQ(kprReadDir(tBad, tName, sizeof tName, nullptr), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprCloseDir(tBad), KPR_E_BAD_HANDLE);
    }
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    EXPECT_EQ(kprReadDir(tDir, nullptr, 10, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
}

TEST_F(KprDirTest, MakesAndRemovesDirectories)
{
    const std::string tPath = mDir / "new";
    EXPECT_EQ(kprMakeDir(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprRemoveDir(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprMakeDir(tPath.c_str()), 0u);
    EXPECT_EQ(kprMakeDir(tPath.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprMakeDir((tPath + "/a/b").c_str()), KPR_E_NOT_FOUND);
    kprtest::writeFile(tPath + "/file", "");
    EXPECT_EQ(kprMakeDir((tPath + "/file").c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprRemoveDir(tPath.c_str()), KPR_E_NOT_EMPTY);
    EXPECT_EQ(kprRemoveDir((tPath + "/file").c_str()), KPR_E_NOT_DIRECTORY);
    EXPECT_EQ(kprRemoveFile((tPath + "/file").c_str()), 0u);
    EXPECT_EQ(kprRemoveDir(tPath.c_str()), 0u);
    EXPECT_EQ(kprRemoveDir(tPath.c_str()), KPR_E_NOT_FOUND);
}

TEST_F(KprDirTest, TellsTheUsersAndTheTemporaryFolder)
{
    for (auto tGet : {kprGetUserDataDir, kprGetTempDir}) {
        char tPath[2048], tSmall[3];
        ASSERT_EQ(tGet(tPath, sizeof tPath), 0u);
        const std::string tText = tPath;
        ASSERT_GT(tText.size(), 3u);
        // A share is on Windows, with two of its separators.
        EXPECT_TRUE(tText[0] == '/' || tText[1] == ':' || tText.starts_with("\\\\")) << tText;
        EXPECT_NE(tText.back(), kprGetPathSeparator());
        EXPECT_EQ(tGet(tSmall, sizeof tSmall), KPR_E_BUFFER_TOO_SMALL);
        EXPECT_EQ(tGet(nullptr, 100), E_INVALIDARG);
    }
}
