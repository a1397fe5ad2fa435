// Where the user's data lie on Windows when the environment does not tell.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"

namespace {

bool isLoaded(const wchar_t* pLibrary) { return GetModuleHandleW(pLibrary) != nullptr; }

} // namespace

TEST(KprDirWindows, TheUsersFolderComesFromTheEnvironmentOrElseFromTheShell)
{
    char tByEnvironment[1024], tByShell[1024], tShort[4];
    wchar_t tBefore[1024];
    ASSERT_GT(GetEnvironmentVariableW(L"LOCALAPPDATA", tBefore, 1024), 0u);
    ASSERT_EQ(kprGetUserDataDir(tByEnvironment, sizeof tByEnvironment), 0u);
    EXPECT_FALSE(isLoaded(L"shell32.dll")) << "not needed so far";
    EXPECT_FALSE(isLoaded(L"ole32.dll"));
    for (const wchar_t* tUnusable : {static_cast<const wchar_t*>(nullptr), L"relative\\folder"}) {
        ASSERT_TRUE(SetEnvironmentVariableW(L"LOCALAPPDATA", tUnusable));
        EXPECT_EQ(kprGetUserDataDir(tByShell, sizeof tByShell), 0u);
        EXPECT_STREQ(tByShell, tByEnvironment);
        EXPECT_EQ(kprGetUserDataDir(tShort, sizeof tShort), KPR_E_BUFFER_TOO_SMALL);
    }
    SetEnvironmentVariableW(L"LOCALAPPDATA", tBefore);
}
