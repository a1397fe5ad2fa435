#include "drivers/odbc/sql_OdbcText.h"

#include <algorithm>

namespace vel::kos::drivers {

namespace {

/// The length of the UTF-8 sequence at the start of a text (not empty), and what it stands for; 0 for none.
size_t decode(std::string_view pText, char32_t& pPoint)
{
    const auto tByte = [pText](size_t pAt) { return static_cast<unsigned char>(pText[pAt]); };
    const unsigned tFirst = tByte(0);
    if (tFirst < 0x80) {
        pPoint = tFirst;
        return 1;
    }
    const size_t tLength = tFirst >= 0xF0 ? 4 : tFirst >= 0xE0 ? 3 : 2;
    constexpr char32_t LEAST[] = {0, 0, 0x80, 0x800, 0x10000};
    if (tFirst < 0xC2 || tFirst > 0xF4 || pText.size() < tLength) return 0;
    pPoint = tFirst & (0xFFu >> (tLength + 1));
    for (size_t i = 1; i < tLength; ++i) {
        if ((tByte(i) & 0xC0) != 0x80) return 0;
        pPoint = (pPoint << 6) | (tByte(i) & 0x3F);
    }
    const bool tIs = pPoint >= LEAST[tLength] && pPoint <= 0x10FFFF && (pPoint < 0xD800 || pPoint > 0xDFFF);
    return tIs ? tLength : 0;
}

/// A value as it stands in a connection string.
std::string quoted(const std::string& pValue)
{
    constexpr const char* SPECIAL = "[]{}(),;?*=!@";
    const bool tPlain = pValue.find_first_of(SPECIAL) == std::string::npos &&
                        (pValue.empty() || (pValue.front() != ' ' && pValue.back() != ' '));
    if (tPlain) return pValue;
    std::string tQuoted = "{";
    for (const char tChar : pValue)
        tQuoted += tChar == '}' ? std::string("}}") : std::string(1, tChar);
    return tQuoted + "}";
}

} // namespace

bool toUtf16(std::string_view pText, std::u16string& pUtf16)
{
    pUtf16.clear();
    pUtf16.reserve(pText.size());
    while (!pText.empty()) {
        char32_t tPoint = 0;
        const size_t tLength = decode(pText, tPoint);
        if (tLength == 0) return false;
        pText.remove_prefix(tLength);
        if (tPoint >= 0x10000) {
            pUtf16 += static_cast<char16_t>(0xD800 + ((tPoint - 0x10000) >> 10));
            pUtf16 += static_cast<char16_t>(0xDC00 + ((tPoint - 0x10000) & 0x3FF));
        } else {
            pUtf16 += static_cast<char16_t>(tPoint);
        }
    }
    return true;
}

bool toUtf8(std::u16string_view pUtf16, std::string& pText)
{
    pText.clear();
    pText.reserve(pUtf16.size());
    for (size_t i = 0; i < pUtf16.size(); ++i) {
        char32_t tPoint = pUtf16[i];
        if (tPoint >= 0xD800 && tPoint <= 0xDFFF) {
            if (tPoint > 0xDBFF || i + 1 >= pUtf16.size() || pUtf16[i + 1] < 0xDC00 || pUtf16[i + 1] > 0xDFFF)
                return false;
            tPoint = 0x10000 + ((tPoint - 0xD800) << 10) + (pUtf16[++i] - 0xDC00u);
        }
        const auto tMore = [tPoint](int pShift) {
            return static_cast<char>(0x80 | ((tPoint >> pShift) & 0x3F));
        };
        if (tPoint < 0x80) {
            pText += static_cast<char>(tPoint);
        } else if (tPoint < 0x800) {
            pText += {static_cast<char>(0xC0 | (tPoint >> 6)), tMore(0)};
        } else if (tPoint < 0x10000) {
            pText += {static_cast<char>(0xE0 | (tPoint >> 12)), tMore(6), tMore(0)};
        } else {
            pText += {static_cast<char>(0xF0 | (tPoint >> 18)), tMore(12), tMore(6), tMore(0)};
        }
    }
    return true;
}

std::string connectionString(const Description& pDescription, std::string& pProblem)
{
    pProblem.clear();
    std::string tString, tPlace;
    for (const auto& [tKey, tValue] : pDescription.values()) {
        if (tKey == "type" || tKey == "connect_timeout") continue;
        const char* const tName = tKey == "user" ? "uid" : tKey == "password" ? "pwd" : tKey.c_str();
        if (tName != tKey.c_str() && pDescription.has(tName)) {
            pProblem = "\"" + tKey + "\" and \"" + tName + "\" are the same key";
            return {};
        }
        if (tKey.find_first_of("{}[]()!@*?, ") == 0 || tValue.find('\0') != std::string::npos) {
            pProblem = "a connection string has no place for \"" + tKey + "\"";
            return {};
        }
        if (tKey == "dsn" || tKey == "filedsn") {
            tPlace = tKey + "=" + quoted(tValue) + ";";
        } else if (tKey == "driver") {
            const bool tIsQuoted = tValue.size() > 1 && tValue.front() == '{' && tValue.back() == '}';
            // What a data source says of its own driver counts.
            if (tPlace.empty()) tPlace = "driver=" + (tIsQuoted ? tValue : quoted(tValue)) + ";";
        } else {
            tString += tName + ("=" + quoted(tValue)) + ";";
        }
    }
    if (tPlace.empty()) pProblem = "the description names no data source (dsn) and no driver";
    return tPlace + tString;
}

std::vector<std::string> secretsOfConnection(const Description& pDescription)
{
    std::vector<std::string> tSecrets = pDescription.secrets();
    const size_t tCount = tSecrets.size();
    for (size_t i = 0; i < tCount; ++i)
        if (std::string tQuoted = quoted(tSecrets[i]); tQuoted != tSecrets[i])
            tSecrets.push_back(tQuoted.substr(1, tQuoted.size() - 2));
    std::stable_sort(
        tSecrets.begin(), tSecrets.end(),
        [](const std::string& pOne, const std::string& pOther) { return pOne.size() > pOther.size(); });
    return tSecrets;
}

Control controlOf(const ParsedStatement& pText, const Dialect& pDialect)
{
    const std::vector<std::string> tWords = leadingWords(pText.text, pDialect, 3);
    if (tWords.empty()) return Control::NONE;
    const std::string& tFirst = tWords[0];
    const std::string tSecond = tWords.size() > 1 ? tWords[1] : "";
    const bool tAlone = tWords.size() == 1;
    const bool tNoise =
        tWords.size() == 2 && (tSecond == "transaction" || tSecond == "work" || tSecond == "tran");
    if (tFirst == "commit" || tFirst == "end") return tAlone || tNoise ? Control::COMMIT : Control::NONE;
    if (tFirst == "rollback" || tFirst == "abort")
        return tAlone || tNoise ? Control::ROLLBACK : Control::NONE;
    if (tFirst == "start" && tSecond == "transaction") return tNoise ? Control::BEGIN : Control::OTHER;
    if (tFirst != "begin") return Control::NONE;
    if (tAlone || tNoise) return Control::BEGIN;
    // Elsewhere it begins a block of statements.
    for (const char* tMode : {"transaction", "work", "tran", "deferred", "immediate", "exclusive",
                              "isolation", "read", "concurrent"})
        if (tSecond == tMode) return Control::OTHER;
    return Control::NONE;
}

std::string tidyOdbc(std::string_view pText)
{
    while (pText.starts_with('[')) {
        const auto tEnd = pText.find(']');
        if (tEnd == std::string_view::npos) break;
        pText.remove_prefix(tEnd + 1);
    }
    while (!pText.empty() && (pText.back() == '\n' || pText.back() == '\r' || pText.back() == ' '))
        pText.remove_suffix(1);
    while (!pText.empty() && pText.front() == ' ')
        pText.remove_prefix(1);
    return std::string(pText);
}

} // namespace vel::kos::drivers
