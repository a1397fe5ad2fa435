// Where the user's data lie on Windows when the environment does not tell.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"

namespace {

bool isLoaded(const wchar_t* pLibrary) { return GetModuleHandleW(pLibrary) != nullptr; }

/// What the shell says; it stays loaded.
std::wstring knownFolder()
{
    const GUID tLocalAppData = {0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}};
    using Get = HRESULT(WINAPI*)(const GUID&, DWORD, HANDLE, PWSTR*);
    const auto tGet = reinterpret_cast<Get>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"shell32.dll"), "SHGetKnownFolderPath")));
    PWSTR tFolder = nullptr;
    EXPECT_TRUE(tGet && SUCCEEDED(tGet(tLocalAppData, 0, nullptr, &tFolder)));
    return tFolder ? tFolder : L"";
}

} // namespace

TEST(KprDirWindows, TheUsersFolderComesFromTheEnvironmentOrElseFromTheShell)
{
    char tByEnvironment[1024], tByShell[1024], tShort[4];
    wchar_t tBefore[1024], tWide[1024];
    std::wstring tFound[2];
    size_t tRound = 0;
    ASSERT_GT(GetEnvironmentVariableW(L"LOCALAPPDATA", tBefore, 1024), 0u);
    ASSERT_EQ(kprGetUserDataDir(tByEnvironment, sizeof tByEnvironment), 0u);
    MultiByteToWideChar(CP_UTF8, 0, tByEnvironment, -1, tWide, 1024);
    EXPECT_STREQ(tWide, tBefore);
    EXPECT_FALSE(isLoaded(L"shell32.dll")) << "not needed so far";
    EXPECT_FALSE(isLoaded(L"ole32.dll"));
    for (const wchar_t* tUnusable : {static_cast<const wchar_t*>(nullptr), L"relative\\folder"}) {
        ASSERT_TRUE(SetEnvironmentVariableW(L"LOCALAPPDATA", tUnusable));
        EXPECT_EQ(kprGetUserDataDir(tByShell, sizeof tByShell), 0u);
        MultiByteToWideChar(CP_UTF8, 0, tByShell, -1, tWide, 1024);
        tFound[tRound++] = tWide;
        EXPECT_EQ(kprGetUserDataDir(tShort, sizeof tShort), KPR_E_BUFFER_TOO_SMALL);
    }
    SetEnvironmentVariableW(L"LOCALAPPDATA", tBefore);
    const std::wstring tKnown = knownFolder();
    for (const std::wstring& tFolder : tFound)
        EXPECT_EQ(tFolder, tKnown);
}
