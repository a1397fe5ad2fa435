// Our run-time libraries and the compiler's in one process, each used by libraries of its own.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <thread>

namespace {

using Probe = int (*)(int, char**);

std::wstring pathOf(HMODULE pModule)
{
    wchar_t tPath[1024] = L"";
    GetModuleFileNameW(pModule, tPath, 1024);
    return tPath;
}

std::wstring folderOf(const std::wstring& pPath) { return pPath.substr(0, pPath.find_last_of(L'\\')); }

/// The function of a library in the program's folder, or in one below.
Probe probeOf(const wchar_t* pName)
{
    const std::wstring tPath = folderOf(pathOf(nullptr)) + L"\\" + pName;
    HMODULE tLibrary = LoadLibraryExW(tPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    EXPECT_NE(tLibrary, nullptr) << "error " << GetLastError();
    return tLibrary
               ? reinterpret_cast<Probe>(reinterpret_cast<void*>(GetProcAddress(tLibrary, "probeRunTime")))
               : nullptr;
}

} // namespace

TEST(RunTime, OursIsUsedAndLiesBesideThePrograms)
{
    const std::wstring tFolder = folderOf(pathOf(nullptr));
    for (const wchar_t* tName : {L"stdc++-6.dll", L"gcc_s_seh-1.dll", L"winpthread-1.dll"}) {
        HMODULE tLibrary = GetModuleHandleW((std::wstring(L"kos") + tName).c_str());
        ASSERT_NE(tLibrary, nullptr);
        EXPECT_EQ(folderOf(pathOf(tLibrary)), tFolder);
    }
}

TEST(RunTime, AnotherOneInTheProcessDisturbsNeither)
{
    const Probe tOurs = probeOf(L"run_time_probe.dll");
    EXPECT_EQ(GetModuleHandleW(L"libstdc++-6.dll"), nullptr) << "brought by what is ours";
    const Probe tForeign = probeOf(L"foreign\\foreign_probe.dll");
    ASSERT_TRUE(tOurs && tForeign);
    for (const wchar_t* tName : {L"stdc++-6.dll", L"gcc_s_seh-1.dll", L"winpthread-1.dll"})
        EXPECT_NE(GetModuleHandleW((std::wstring(L"lib") + tName).c_str()), nullptr);
    int tStatus = -1;
    std::thread tThread([&] { tStatus = tForeign(0, nullptr); });
    EXPECT_EQ(tOurs(0, nullptr), 0);
    tThread.join();
    EXPECT_EQ(tStatus, 0);
}
