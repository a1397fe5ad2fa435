// Paths as users of Windows write them: what the system is asked for, and which names are refused.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/kpr_wide_win.h"
#include "kpr/testing/kpr_testing.h"

namespace {

std::wstring wide(const char* pPath)
{
    std::wstring tWide;
    EXPECT_EQ(kpr::toWidePath(pPath, &tWide), 0u) << pPath;
    return tWide;
}

class Names : public testing::Test {
protected:
    /// What each way to make the name returns; they have to agree.
    uint32_t make(const std::string& pName)
    {
        const std::string tPath = mDir / pName;
        KprFile tFile = KPR_NO_FILE;
        const uint32_t tRes = kprOpenFile(tPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE, &tFile);
        if (!KFAILED(tRes)) {
            kprCloseFile(tFile);
            kprRemoveFile(tPath.c_str());
        }
        EXPECT_EQ(kprMakeDir(tPath.c_str()), tRes) << pName;
        if (!KFAILED(tRes)) kprRemoveDir(tPath.c_str());
        for (auto tMove : {kprMoveFile, kprReplaceFile}) {
            kprtest::writeFile(mDir / "source", "");
            EXPECT_EQ(tMove((mDir / "source").c_str(), tPath.c_str()), tRes) << pName;
            if (!KFAILED(tRes)) kprRemoveFile(tPath.c_str());
        }
        return tRes;
    }

    kprtest::TemporaryDirectory mDir;
};

} // namespace

TEST_F(Names, LongFormPathsAreTidiedBecauseTheSystemDoesNot)
{
    EXPECT_EQ(wide("\\\\?\\C:\\dir\\\\cache"), L"\\\\?\\C:\\dir\\cache");
    EXPECT_EQ(wide("\\\\?\\C:\\dir/cache//objects/"), L"\\\\?\\C:\\dir\\cache\\objects");
    EXPECT_EQ(wide("//?/C:/dir/file"), L"\\\\?\\C:\\dir\\file");
    EXPECT_EQ(wide("\\\\?\\C:\\a\\.\\b\\..\\c"), L"\\\\?\\C:\\a\\c");
    EXPECT_EQ(wide("\\\\?\\C:\\..\\..\\a"), L"\\\\?\\C:\\a");
    EXPECT_EQ(wide("\\\\?\\C:\\"), L"\\\\?\\C:\\");
    EXPECT_EQ(wide("\\\\?\\C:\\\\"), L"\\\\?\\C:\\");
    EXPECT_EQ(wide("\\\\?\\UNC\\server\\share\\\\dir\\..\\..\\x"), L"\\\\?\\UNC\\server\\share\\x");
    EXPECT_EQ(wide("\\\\?\\Volume{1-2}\\\\dir"), L"\\\\?\\Volume{1-2}\\dir");
    EXPECT_EQ(wide("\\\\?\\C:\\dot.\\blank "), L"\\\\?\\C:\\dot.\\blank ") << "as they are asked for";
    EXPECT_EQ(wide("\\\\.\\pipe\\a\\\\b"), L"\\\\.\\pipe\\a\\\\b") << "no path of files";
}

TEST_F(Names, OrdinaryPathsAreLeftToTheSystem)
{
    EXPECT_EQ(wide("C:/dir/../file"), L"C:\\dir\\..\\file");
    EXPECT_EQ(wide("//server/share/dir"), L"\\\\server\\share\\dir");
    const std::string tLong(300, 'x');
    const std::wstring tWideLong(300, L'x');
    EXPECT_EQ(wide(("C:\\a\\\\b\\.\\" + tLong).c_str()), L"\\\\?\\C:\\a\\b\\" + tWideLong);
    EXPECT_EQ(wide(("//server/share/" + tLong).c_str()), L"\\\\?\\UNC\\server\\share\\" + tWideLong);
}

TEST_F(Names, AFolderGivenInTheLongFormWorks)
{
    const std::string tLongForm = "\\\\?\\" + mDir.path() + "\\";
    EXPECT_EQ(kprMakeDir((tLongForm + "/cache").c_str()), 0u);
    EXPECT_EQ(kprMakeDir((tLongForm + "/cache//objects/").c_str()), 0u);
    kprtest::writeFile(tLongForm + "cache\\\\objects/./file", "x");
    EXPECT_EQ(kprtest::readFile(mDir / "cache\\objects\\file"), "x");
}

TEST_F(Names, NamesThatTheSystemWouldChangeAreRefused)
{
    for (const char* tName : {"dot.", "dots...", "blank ", "both. .", "folder.\\file", "folder \\file"})
        EXPECT_EQ(make(tName), KPR_E_BAD_NAME) << tName;
    for (const char* tName : {"a.b", ".hidden", "a b", "..a"})
        EXPECT_EQ(make(tName), 0u) << tName;
    ASSERT_EQ(kprMakeDir((mDir / "sub").c_str()), 0u);
    EXPECT_EQ(make("sub\\..\\file"), 0u);
    EXPECT_EQ(make(".\\sub\\.\\file"), 0u);
}

TEST_F(Names, DevicesAndStreamsAreNoNamesOfFiles)
{
    for (const char* tName : {"NUL", "nul", "con", "PRN", "aux.txt", "COM1", "lpt9", "COM\xC2\xB2", "NUL .x",
                              "CONIN$", "conout$", "file:stream", "file:", "file::$DATA"})
        EXPECT_EQ(make(tName), KPR_E_BAD_NAME) << tName;
    for (const char* tName : {"NULL", "COM", "COM10", "COM0x", "xNUL", "con-x"})
        EXPECT_EQ(make(tName), 0u) << tName;
    KprFile tFile = KPR_NO_FILE;
    EXPECT_EQ(kprOpenFile("NUL", KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_ANY, &tFile), 0u) << "asked for";
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    EXPECT_EQ(kprOpenFile("NUL", KPR_OPEN_READ, &tFile), KPR_E_NOT_REGULAR);
}
