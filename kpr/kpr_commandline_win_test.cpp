#include <windows.h>
// after windows.h
#include <shellapi.h>

#include "kpr/kpr_commandline_win.h"

#include <random>

#include <gtest/gtest.h>

namespace {

using Arguments = std::vector<std::wstring>;

Arguments bySystem(const std::wstring& pLine)
{
    int tCount = 0;
    wchar_t** tWide = CommandLineToArgvW(pLine.c_str(), &tCount);
    Arguments tArguments(tWide, tWide + tCount);
    LocalFree(tWide);
    return tArguments;
}

} // namespace

TEST(CommandLine, IsTakenApartAsTheCLibraryDoes)
{
    const struct {
        const wchar_t* line;
        Arguments arguments;
    } tCases[] = {
        {L"", {L""}},
        {L"p", {L"p"}},
        {L"p  ", {L"p"}},
        {L" p", {L"", L"p"}},
        {L"\"C:\\Program Files\\p.exe\" a", {L"C:\\Program Files\\p.exe", L"a"}},
        {L"C:\\\"a b\"\\p.exe\ta", {L"C:\\a b\\p.exe", L"a"}},
        {L"\"C:\\dir\\\" a", {L"C:\\dir\\", L"a"}}, // no quoting in the program's name
        {L"p \"a b c\" d e", {L"p", L"a b c", L"d", L"e"}},
        {L"p \"ab\\\"c\" \"\\\\\" d", {L"p", L"ab\"c", L"\\", L"d"}},
        {L"p a\\\\\\b d\"e f\"g h", {L"p", L"a\\\\\\b", L"de fg", L"h"}},
        {L"p a\\\\\\\"b c d", {L"p", L"a\\\"b", L"c", L"d"}},
        {L"p a\\\\\\\\\"b c\" d e", {L"p", L"a\\\\b c", L"d", L"e"}},
        {L"p a\"b\"\" c d", {L"p", L"ab\" c d"}},
        {L"p \"\" \"\" a", {L"p", L"", L"", L"a"}},
        {L"p \"a\"\"b\" c", {L"p", L"a\"b", L"c"}},
        {L"p \"open", {L"p", L"open"}},
        {L"p a\\", {L"p", L"a\\"}},
        {L"p \\ \\\\", {L"p", L"\\", L"\\\\"}},
        {L"p a\nb", {L"p", L"a\nb"}},
    };
    for (const auto& [tLine, tArguments] : tCases)
        EXPECT_EQ(kpr::splitCommandLine(tLine), tArguments) << tLine;
}

TEST(CommandLine, IsTakenApartAsTheSystemDoesButForDoubledMarks)
{
    std::mt19937 tRandom(7);
    constexpr std::wstring_view tPieces[] = {L" ", L"\t", L"\\", L"\"", L"a", L"\u00E4", L"\\\"", L"\\\\"};
    int tCompared = 0;
    for (int i = 0; i < 20000; ++i) {
        std::wstring tLine = L"p ";
        for (unsigned tLength = tRandom() % 12; tLength > 0; --tLength)
            tLine += tPieces[tRandom() % std::size(tPieces)];
        if (tLine.find(L"\"\"") != tLine.npos) continue; // the two differ here
        ++tCompared;
        ASSERT_EQ(kpr::splitCommandLine(tLine), bySystem(tLine)) << tLine;
    }
    EXPECT_GT(tCompared, 5000);
}

TEST(CommandLine, TakesWhatWasQuotedForOneArgument)
{
    std::mt19937 tRandom(8);
    for (int i = 0; i < 5000; ++i) {
        std::string tText;
        for (unsigned tLength = tRandom() % 8; tLength > 0; --tLength)
            tText += " \t\\\\\"\"ab"[tRandom() % 8];
        const std::string tLine = "p " + kpr::quoteArgument(tText) + " end";
        const std::wstring tWide(tText.begin(), tText.end());
        ASSERT_EQ(kpr::splitCommandLine(std::wstring(tLine.begin(), tLine.end())),
                  (Arguments{L"p", tWide, L"end"}))
            << tLine;
    }
}
