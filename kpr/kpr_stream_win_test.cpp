// What a console is sent: it is made up here, by wrapping the system's calls.
#include <windows.h>

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/process.h"

namespace {

std::wstring gShown;
size_t gLargest = 0;     // units of a call
DWORD gTaken = MAXDWORD; // units that the console takes at once
bool gParted = false;    // a call ended within a character
bool gBroken = false;    // the console takes nothing any more

BOOL WINAPI isConsole(HANDLE, LPDWORD pMode)
{
    *pMode = 3;
    return TRUE;
}

BOOL WINAPI writeConsole(HANDLE, const VOID* pText, DWORD pLength, LPDWORD pWritten, LPVOID)
{
    if (gBroken) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const std::wstring_view tText(static_cast<const wchar_t*>(pText), pLength);
    *pWritten = std::min(pLength, gTaken);
    gLargest = std::max(gLargest, tText.size());
    gParted |= IS_HIGH_SURROGATE(tText.back());
    gShown += tText.substr(0, *pWritten);
    return TRUE;
}

uint32_t show(const std::string& pBytes, uint32_t pStream = KPR_STDOUT)
{
    return kprWriteStream(pStream, pBytes.data(), static_cast<uint32_t>(pBytes.size()));
}

std::wstring shown()
{
    std::wstring tShown;
    tShown.swap(gShown);
    return tShown;
}

} // namespace

extern "C" {
BOOL(WINAPI* __wrap___imp_GetConsoleMode)(HANDLE, LPDWORD) = isConsole;
BOOL(WINAPI* __wrap___imp_WriteConsoleW)(HANDLE, const VOID*, DWORD, LPDWORD, LPVOID) = writeConsole;
}

TEST(Stream, AConsoleIsSentUtf16)
{
    EXPECT_EQ(show("Gr\xC3\xB6\xC3\x9F"
                   "e \xE6\x97\xA5 \xF0\x9F\x97\x82\n"),
              0u);
    EXPECT_EQ(shown(), L"Gr\u00F6\u00DFe \u65E5 \xD83D\xDDC2\n");
    EXPECT_EQ(show(""), 0u);
    EXPECT_EQ(shown(), L"");
}

TEST(Stream, ACharacterMayComeInParts)
{
    const std::string tText = "a\xC3\xB6\xE6\x97\xA5\xF0\x9F\x97\x82z";
    for (const char tByte : tText) {
        EXPECT_EQ(show(std::string(1, tByte)), 0u);
        EXPECT_EQ(show(std::string(1, tByte), KPR_STDERR), 0u) << "each stream keeps its own";
    }
    EXPECT_EQ(shown(), L"aa\u00F6\u00F6\u65E5\u65E5\xD83D\xDDC2\xD83D\xDDC2zz");
    EXPECT_EQ(show("\xE6\x97"), 0u);
    EXPECT_EQ(shown(), L"");
    EXPECT_EQ(show("\xA5!"), 0u);
    EXPECT_EQ(shown(), L"\u65E5!");
}

TEST(Stream, WhatIsNoUtf8IsShownAsSuch)
{
    EXPECT_EQ(show("a\xFF"
                   "b"),
              0u);
    EXPECT_EQ(shown(), L"a\uFFFD"
                       L"b");
    EXPECT_EQ(show("\x80\x80\x80\x80\x80"
                   "c"),
              0u); // nothing is kept for ever
    EXPECT_EQ(shown().back(), L'c');
    EXPECT_EQ(show("\xC3"
                   "d"),
              0u);
    EXPECT_EQ(shown(), L"\uFFFD"
                       L"d");
}

TEST(Stream, LongTextsGoInPiecesThatPartNoCharacter)
{
    std::string tText;
    std::wstring tWide;
    for (int i = 0; i < 300000; ++i) {
        tText += i % 7 ? "\xF0\x9F\x97\x82" : "x";
        tWide += i % 7 ? L"\xD83D\xDDC2" : L"x";
    }
    EXPECT_EQ(show(tText), 0u);
    EXPECT_TRUE(shown() == tWide);
    EXPECT_LE(gLargest, 8192u);
    EXPECT_FALSE(gParted);
}

TEST(Stream, AConsoleMayTakeLessOrNothing)
{
    gTaken = 3;
    EXPECT_EQ(show("abcdefgh"), 0u);
    EXPECT_EQ(shown(), L"abcdefgh");
    gTaken = 0;
    EXPECT_EQ(show("abc"), KPR_E_IO);
    gTaken = MAXDWORD;
    gBroken = true;
    EXPECT_EQ(show("abc"), KPR_E_BAD_HANDLE);
    gBroken = false;
}
