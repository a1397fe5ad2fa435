#include "drivers/support/sql_Description.h"

#include <algorithm>
#include <charconv>

namespace vel::kos::drivers {

namespace {

constexpr std::string_view BLANKS = " \t\r\n";

std::string_view trim(std::string_view pText)
{
    const auto tFirst = pText.find_first_not_of(BLANKS);
    if (tFirst == std::string_view::npos) return {};
    return pText.substr(tFirst, pText.find_last_not_of(BLANKS) - tFirst + 1);
}

std::string lower(std::string_view pText)
{
    std::string tText(pText);
    std::transform(tText.begin(), tText.end(), tText.begin(), [](char pChar) {
        return pChar >= 'A' && pChar <= 'Z' ? static_cast<char>(pChar + 32) : pChar;
    });
    return tText;
}

} // namespace

bool Description::fail(size_t pAt, const char* pProblem)
{
    mProblem = "the description is wrong at byte " + std::to_string(pAt) + ": " + pProblem;
    return false;
}

bool Description::parse(std::string_view pText)
{
    mValues.clear();
    mPlaces.clear();
    mProblem.clear();
    const char* const tStart = pText.data();
    while (!(pText = trim(pText)).empty()) {
        if (pText.front() == ';') {
            pText.remove_prefix(1);
            continue;
        }
        const auto tAt = static_cast<size_t>(pText.data() - tStart);
        const auto tEquals = pText.find_first_of("=;\"");
        if (tEquals == std::string_view::npos || pText[tEquals] != '=')
            return fail(tAt, "a key is not followed by \"=\"");
        const std::string tKey = lower(trim(pText.substr(0, tEquals)));
        if (tKey.find_first_of("\r\n") != std::string::npos) return fail(tAt, "a key holds a line break");
        if (tKey.empty()) return fail(tAt, "there is no key before the \"=\"");
        pText = trim(pText.substr(tEquals + 1));

        std::string tValue;
        if (!pText.empty() && pText.front() == '"') {
            pText.remove_prefix(1);
            for (;;) {
                const auto tQuote = pText.find('"');
                if (tQuote == std::string_view::npos) return fail(tAt, "a quoted value has no end");
                tValue += pText.substr(0, tQuote);
                pText.remove_prefix(tQuote + 1);
                if (pText.empty() || pText.front() != '"') break;
                tValue += '"';
                pText.remove_prefix(1);
            }
            pText = trim(pText);
            if (!pText.empty() && pText.front() != ';')
                return fail(tAt, "something stands between a quoted value and the next \";\"");
        } else {
            const auto tEnd = std::min(pText.find(';'), pText.size());
            const auto tPlain = trim(pText.substr(0, tEnd));
            if (tPlain.find('"') != std::string_view::npos)
                return fail(tAt, "a value holds a double quote but is not quoted");
            if (tPlain.find_first_of("\r\n") != std::string_view::npos)
                return fail(tAt, "a value holds a line break but is not quoted");
            tValue = tPlain;
            pText.remove_prefix(tEnd);
        }
        if (!mValues.emplace(tKey, std::move(tValue)).second) return fail(tAt, "a key is given twice");
        mPlaces[tKey] = tAt;
    }
    return true;
}

std::vector<std::string> Description::secrets() const
{
    std::vector<std::string> tSecrets;
    for (const auto& [tKey, tValue] : mValues)
        for (const char* tPart : {"password", "passwd", "pwd", "secret"})
            if (tKey.find(tPart) != std::string::npos && !tValue.empty()) tSecrets.push_back(tValue);
    // The longest first: one that holds another is hidden whole.
    std::stable_sort(
        tSecrets.begin(), tSecrets.end(),
        [](const std::string& pOne, const std::string& pOther) { return pOne.size() > pOther.size(); });
    return tSecrets;
}

std::string Description::value(const std::string& pKey) const
{
    const auto tValue = mValues.find(pKey);
    return tValue == mValues.end() ? std::string() : tValue->second;
}

bool Description::seconds(const std::string& pKey, uint64_t& pSeconds) const
{
    const std::string tValue = value(pKey);
    if (tValue.empty()) return true;
    const char* const tEnd = tValue.data() + tValue.size();
    const auto tParsed = std::from_chars(tValue.data(), tEnd, pSeconds);
    return tParsed.ec == std::errc() && tParsed.ptr == tEnd && pSeconds <= 1000000;
}

bool Description::yes(const std::string& pKey, bool pDefault, bool& pAnswer) const
{
    const std::string tValue = has(pKey) ? lower(value(pKey)) : pDefault ? "yes" : "no";
    pAnswer = tValue == "yes";
    return pAnswer || tValue == "no";
}

} // namespace vel::kos::drivers
