// What the system says of the user: its calls are wrapped.
#include "host/host_System.h"

#include <cwchar>
#include <gtest/gtest.h>
#include <windows.h>

#include "host/host_System_win.h"

using namespace vel::kos::host;

namespace {

std::wstring gLanguages; // each ended by a NUL, and one more at the end; "" makes the call fail
bool gChanges = false;   // another language comes in between two calls

BOOL WINAPI preferredLanguages(DWORD pFlags, PULONG pCount, PZZWSTR pNames, PULONG pLength)
{
    EXPECT_EQ(pFlags, DWORD{MUI_LANGUAGE_NAME});
    if (gLanguages.empty()) return FALSE;
    *pCount = 1;
    const ULONG tRoom = *pLength;
    *pLength = static_cast<ULONG>(gLanguages.size());
    if (!pNames) return TRUE;
    if (gChanges || tRoom < *pLength) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::wmemcpy(pNames, gLanguages.data(), gLanguages.size());
    return TRUE;
}

int WINAPI regionalFormat(LPWSTR pName, int)
{
    return static_cast<int>(std::wcslen(std::wcscpy(pName, L"fr-CH"))) + 1;
}

} // namespace

extern "C" {
BOOL(WINAPI* __wrap___imp_GetUserPreferredUILanguages)(DWORD, PULONG, PZZWSTR, PULONG) = preferredLanguages;
int(WINAPI* __wrap___imp_GetUserDefaultLocaleName)(LPWSTR, int) = regionalFormat;
}

TEST(System, SaysWhatItNeedsWhereItIsTooOld)
{
    EXPECT_EQ(windowsProblem(10, 14393), "");
    EXPECT_EQ(windowsProblem(10, 26100), "");
    EXPECT_EQ(windowsProblem(11, 1), "");
    for (const unsigned long tBuild : {10240ul, 10586ul, 14392ul})
        EXPECT_EQ(windowsProblem(10, tBuild),
                  "this needs Windows 10 version 1607 (build 14393) or later, and runs on build " +
                      std::to_string(tBuild));
    EXPECT_EQ(windowsProblem(6, 7601), "") << "does not start the program, so it is no Windows";
    EXPECT_EQ(systemProblem(), "") << "here";
}

TEST(System, TheLanguageIsThatOfTheSystemsTextsAndNotTheRegionalFormat)
{
    gLanguages = std::wstring(L"de-AT\0en-US\0\0", 13);
    EXPECT_EQ(userLanguage(), "de_AT");
    gLanguages = std::wstring(L"ja\0\0", 4);
    EXPECT_EQ(userLanguage(), "ja");
    gLanguages = std::wstring(L"\0\0", 2);
    EXPECT_EQ(userLanguage(), "");
    gLanguages.clear();
    EXPECT_EQ(userLanguage(), "") << "the system cannot tell";
    gLanguages = std::wstring(L"ja\0\0", 4);
    gChanges = true;
    EXPECT_EQ(userLanguage(), "");
}
