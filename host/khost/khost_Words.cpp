#include "host/khost/khost_Words.h"

namespace vel::kos::host {

bool splitWords(std::string_view pLine, std::vector<std::string>& pWords)
{
    constexpr std::string_view BLANKS = " \t\r";
    pWords.clear();
    char tQuote = '\0';
    bool tInWord = false;
    for (std::size_t i = 0; i < pLine.size(); ++i) {
        const char tChar = pLine[i];
        const bool tBlank = BLANKS.find(tChar) != std::string_view::npos;
        if (tQuote == '\0' && tBlank) {
            tInWord = false;
            continue;
        }
        if (tQuote == '\0' && !tInWord && tChar == '#') break;
        if (!tInWord) {
            tInWord = true;
            pWords.emplace_back();
        }
        const std::string_view tEscapable = tQuote == '"' ? "\"\\" : tQuote == '\'' ? "" : "\"'\\# \t";
        if (tChar == '\\' && i + 1 < pLine.size() && tEscapable.find(pLine[i + 1]) != std::string_view::npos)
            pWords.back() += pLine[++i];
        else if (tChar == tQuote)
            tQuote = '\0';
        else if (tQuote == '\0' && (tChar == '"' || tChar == '\''))
            tQuote = tChar;
        else
            pWords.back() += tChar;
    }
    return tQuote == '\0';
}

std::string shownWord(std::string_view pWord)
{
    constexpr std::string_view tHidden = "...", tMark = "://";
    const auto tEquals = pWord.find('=');
    std::string tShown(pWord.substr(0, tEquals));
    if (const auto tColon = tShown.find(tMark); tColon != std::string::npos) {
        const auto tUser = tColon + tMark.size();
        if (const auto tAt = tShown.rfind('@'); tAt != std::string::npos && tAt >= tUser)
            tShown.replace(tUser, tAt - tUser, tHidden);
        else if (pWord.find('@', tUser) != std::string_view::npos)
            return tShown.erase(tUser).append(tHidden); // the "=" is one of the password
    }
    if (tEquals != std::string_view::npos) tShown.append("=").append(tHidden);
    return tShown;
}

} // namespace vel::kos::host
