#include "kutil/message.h"

namespace vel::kos::util {

namespace {

/// A placeholder within a text.
struct Placeholder {
    std::size_t start;
    std::size_t length;
    unsigned number;
};

bool isDigit(std::string_view pText, std::size_t pAt)
{
    return pAt < pText.size() && pText[pAt] >= '0' && pText[pAt] <= '9';
}

/// Finds the next placeholder at or after an offset.
bool findPlaceholder(std::string_view pText, std::size_t pFrom, Placeholder& pFound)
{
    for (std::size_t tAt = pText.find('%', pFrom); tAt != std::string_view::npos;
         tAt = pText.find('%', tAt + 1)) {
        if (!isDigit(pText, tAt + 1) || pText[tAt + 1] == '0') continue;
        pFound = {tAt, 2, static_cast<unsigned>(pText[tAt + 1] - '0')};
        if (isDigit(pText, tAt + 2)) {
            pFound.length = 3;
            pFound.number = pFound.number * 10 + static_cast<unsigned>(pText[tAt + 2] - '0');
        }
        return true;
    }
    return false;
}

std::string& insertLowest(std::string& pText, std::string_view pValue)
{
    unsigned tLowest = 0;
    Placeholder tFound;
    for (std::size_t tAt = 0; findPlaceholder(pText, tAt, tFound); tAt = tFound.start + tFound.length)
        if (tLowest == 0 || tFound.number < tLowest) tLowest = tFound.number;
    if (tLowest == 0) return pText;

    std::string tFilled;
    std::size_t tAt = 0;
    while (findPlaceholder(pText, tAt, tFound)) {
        const std::size_t tEnd = tFound.start + tFound.length;
        if (tFound.number == tLowest)
            tFilled.append(pText, tAt, tFound.start - tAt).append(pValue);
        else
            tFilled.append(pText, tAt, tEnd - tAt);
        tAt = tEnd;
    }
    tFilled.append(pText, tAt);
    pText.swap(tFilled);
    return pText;
}

} // namespace

std::string fillMessage(std::string_view pFormat, const MessageArgument* pArguments, uint32_t pCount)
{
    std::string tFilled;
    std::size_t tSize = pFormat.size();
    for (std::size_t tIndex = 0; tIndex < pCount; ++tIndex)
        tSize += pArguments[tIndex].text().size();
    tFilled.reserve(tSize);

    Placeholder tFound;
    std::size_t tAt = 0;
    while (findPlaceholder(pFormat, tAt, tFound)) {
        const std::size_t tEnd = tFound.start + tFound.length;
        if (tFound.number <= pCount)
            tFilled.append(pFormat, tAt, tFound.start - tAt).append(pArguments[tFound.number - 1].text());
        else
            tFilled.append(pFormat, tAt, tEnd - tAt);
        tAt = tEnd;
    }
    return tFilled.append(pFormat, tAt, std::string_view::npos);
}

std::string& operator<<(std::string& pText, const char* pValue)
{
    return insertLowest(pText, pValue ? pValue : "");
}

std::string& operator<<(std::string& pText, const std::string& pValue) { return insertLowest(pText, pValue); }

std::string& operator<<(std::string& pText, int pValue)
{
    return insertLowest(pText, std::to_string(pValue));
}

std::string& operator<<(std::string& pText, unsigned int pValue)
{
    return insertLowest(pText, std::to_string(pValue));
}

std::string& operator<<(std::string& pText, long pValue)
{
    return insertLowest(pText, std::to_string(pValue));
}

std::string& operator<<(std::string& pText, unsigned long pValue)
{
    return insertLowest(pText, std::to_string(pValue));
}

std::string& operator<<(std::string& pText, unsigned short pValue)
{
    return insertLowest(pText, std::to_string(pValue));
}

} // namespace vel::kos::util
