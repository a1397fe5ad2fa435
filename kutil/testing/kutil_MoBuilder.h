// Compiled message catalogues for tests, in either byte order.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace kutil_test {

using Texts = std::map<std::string, std::string>;

/// Appends a 32-bit number to a catalogue.
inline void appendNumber(std::string& pBytes, uint32_t pNumber, bool pBigEndian)
{
    for (int tByte = 0; tByte < 4; ++tByte)
        pBytes += static_cast<char>(pNumber >> 8 * (pBigEndian ? 3 - tByte : tByte) & 0xFF);
}

/// A catalogue with these texts.
inline std::string buildMo(const Texts& pTexts, bool pBigEndian = false)
{
    const auto tCount = static_cast<uint32_t>(pTexts.size());
    constexpr uint32_t HEADER = 28;
    std::string tBytes;
    for (const uint32_t tField :
         {0x950412DEu, 0u, tCount, HEADER, HEADER + 8 * tCount, 0u, HEADER + 16 * tCount})
        appendNumber(tBytes, tField, pBigEndian);

    std::string tStrings;
    const auto table = [&](auto pChoose) {
        for (const auto& tEntry : pTexts) {
            const std::string& tText = pChoose(tEntry);
            appendNumber(tBytes, static_cast<uint32_t>(tText.size()), pBigEndian);
            appendNumber(tBytes, HEADER + 16 * tCount + static_cast<uint32_t>(tStrings.size()), pBigEndian);
            tStrings += tText + '\0';
        }
    };
    table([](const auto& pEntry) -> const std::string& { return pEntry.first; });
    table([](const auto& pEntry) -> const std::string& { return pEntry.second; });
    return tBytes + tStrings;
}

} // namespace kutil_test
