#include "host/Properties.h"

#include <algorithm>
#include <array>

namespace vel::kos::host {

namespace {

constexpr std::array<std::string_view, 4> TRUE_WORDS = {"true", "yes", "on", "1"};
constexpr std::array<std::string_view, 4> FALSE_WORDS = {"false", "no", "off", "0"};

char lower(char pChar) { return pChar >= 'A' && pChar <= 'Z' ? static_cast<char>(pChar - 'A' + 'a') : pChar; }

bool equalsWord(std::string_view pValue, std::string_view pWord)
{
    return std::equal(pValue.begin(), pValue.end(), pWord.begin(), pWord.end(),
                      [](char pA, char pB) { return lower(pA) == pB; });
}

template <class TWords>
bool isOneOf(std::string_view pValue, const TWords& pWords)
{
    return std::any_of(pWords.begin(), pWords.end(),
                       [&](std::string_view pWord) { return equalsWord(pValue, pWord); });
}

std::string_view trim(std::string_view pText)
{
    constexpr std::string_view BLANKS = " \t\r";
    const auto tFirst = pText.find_first_not_of(BLANKS);
    if (tFirst == std::string_view::npos) return {};
    return pText.substr(tFirst, pText.find_last_not_of(BLANKS) - tFirst + 1);
}

} // namespace

void Properties::set(std::string pName, std::string pValue)
{
    mValues.insert_or_assign(std::move(pName), std::move(pValue));
}

const std::string* Properties::find(std::string_view pName) const
{
    const auto tIter = mValues.find(pName);
    return tIter == mValues.end() ? nullptr : &tIter->second;
}

void Properties::addLines(std::string_view pText, const Report& pReport)
{
    constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
    if (pText.starts_with(BYTE_ORDER_MARK)) pText.remove_prefix(BYTE_ORDER_MARK.size());

    for (unsigned tNumber = 1; !pText.empty(); ++tNumber) {
        const auto tEnd = pText.find('\n');
        const std::string_view tLine = trim(pText.substr(0, tEnd));
        pText = tEnd == std::string_view::npos ? std::string_view() : pText.substr(tEnd + 1);

        if (tLine.empty() || tLine.front() == '#' || tLine.front() == ';') continue;
        const auto tEquals = tLine.find('=');
        const std::string_view tName = trim(tLine.substr(0, tEquals));
        if (tLine.find('\0') != std::string_view::npos)
            pReport(tNumber, "the line holds a NUL byte");
        else if (tEquals == std::string_view::npos)
            pReport(tNumber, "the line is not \"name = value\"");
        else if (tName.empty())
            pReport(tNumber, "the name is missing");
        else
            set(std::string(tName), std::string(trim(tLine.substr(tEquals + 1))));
    }
}

void Properties::addEnvironment(const std::vector<std::pair<std::string, std::string>>& pVariables,
                                std::string_view pPrefix)
{
    for (const auto& [tName, tValue] : pVariables)
        if (tName.size() > pPrefix.size() && tName.starts_with(pPrefix))
            set(tName.substr(pPrefix.size()), tValue);
}

bool Properties::isTrueWord(std::string_view pValue) { return isOneOf(pValue, TRUE_WORDS); }

bool Properties::isFalseWord(std::string_view pValue) { return isOneOf(pValue, FALSE_WORDS); }

std::optional<std::pair<std::string, std::string>> splitAssignment(std::string_view pText)
{
    const auto tEquals = pText.find('=');
    if (tEquals == std::string_view::npos || tEquals == 0) return std::nullopt;
    return std::pair(std::string(pText.substr(0, tEquals)), std::string(pText.substr(tEquals + 1)));
}

} // namespace vel::kos::host
