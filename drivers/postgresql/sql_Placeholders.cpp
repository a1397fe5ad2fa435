#include "drivers/postgresql/sql_Placeholders.h"

#include <algorithm>
#include <cctype>

namespace vel::kos::drivers {

namespace {

/// The length of a piece of text that starts with pOpen and ends with the first pClose after it; to the end
/// of the statement when there is none.
size_t enclosed(std::string_view pText, size_t pOpen, std::string_view pClose)
{
    const auto tEnd = pText.find(pClose, pOpen);
    return tEnd == std::string_view::npos ? pText.size() : tEnd + pClose.size();
}

/// The length of a comment between /* and */, which nest.
size_t comment(std::string_view pText)
{
    size_t tAt = 2;
    for (int tDepth = 1; tDepth > 0 && tAt < pText.size();) {
        if (pText.substr(tAt, 2) == "/*" || pText.substr(tAt, 2) == "*/") {
            tDepth += pText[tAt] == '/' ? 1 : -1;
            tAt += 2;
        } else {
            ++tAt;
        }
    }
    return tAt;
}

/// The length of a text quoted as $tag$...$tag$; 0 when pText does not start with one.
size_t dollarQuoted(std::string_view pText)
{
    size_t tAt = 1;
    while (tAt < pText.size() && (std::isalnum(static_cast<unsigned char>(pText[tAt])) || pText[tAt] == '_'))
        ++tAt;
    if (tAt >= pText.size() || pText[tAt] != '$') return 0;
    const auto tTag = pText.substr(0, tAt + 1);
    return enclosed(pText, tTag.size(), tTag);
}

/// The length of what stands at the start of pText and holds no parameters; 0 for ordinary text.
size_t opaque(std::string_view pText)
{
    switch (pText.front()) {
    case '\'':
        return enclosed(pText, 1, "'");
    case '"':
        return enclosed(pText, 1, "\"");
    case '-':
        return pText.substr(0, 2) == "--" ? enclosed(pText, 2, "\n") : 0;
    case '/':
        return pText.substr(0, 2) == "/*" ? comment(pText) : 0;
    case '$':
        return dollarQuoted(pText);
    default:
        return 0;
    }
}

} // namespace

std::string numberPlaceholders(std::string_view pStatement, uint32_t& pCount)
{
    std::string tResult;
    tResult.reserve(pStatement.size() + 16);
    pCount = 0;
    while (!pStatement.empty()) {
        if (const size_t tLength = opaque(pStatement)) {
            tResult += pStatement.substr(0, tLength);
            pStatement.remove_prefix(std::min(tLength, pStatement.size()));
            continue;
        }
        if (pStatement.front() == '?')
            tResult += '$' + std::to_string(++pCount);
        else
            tResult += pStatement.front();
        pStatement.remove_prefix(1);
    }
    return tResult;
}

} // namespace vel::kos::drivers
