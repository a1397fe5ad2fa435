#include "kutil/kutil_RegistryText.h"

#include <cstddef>
#include <cstdint>

namespace vel::kos::util {

namespace {

constexpr char32_t ESCAPE = 0xDC00;

bool isContinuation(unsigned char pByte) { return (pByte & 0xC0) == 0x80; }

/// The length of the well-formed sequence that the text starts with, and its code point; 0 when it is none.
size_t decode(std::string_view pText, char32_t& pPoint)
{
    const auto tByte = [&](size_t i) { return static_cast<unsigned char>(pText[i]); };
    const unsigned char tLead = tByte(0);
    if (tLead < 0x80) {
        pPoint = tLead;
        return 1;
    }
    const size_t tLength = tLead >= 0xF0 ? 4 : tLead >= 0xE0 ? 3 : 2;
    if (tLead < 0xC2 || tLead > 0xF4 || pText.size() < tLength) return 0;
    pPoint = tLead & (0x7Fu >> tLength);
    for (size_t i = 1; i < tLength; ++i) {
        if (!isContinuation(tByte(i))) return 0;
        pPoint = (pPoint << 6) | (tByte(i) & 0x3Fu);
    }
    // Overlong forms, surrogates and what lies beyond Unicode.
    if (tLength == 3 && (pPoint < 0x800 || (pPoint >= 0xD800 && pPoint < 0xE000))) return 0;
    if (tLength == 4 && (pPoint < 0x10000 || pPoint > 0x10FFFF)) return 0;
    return tLength;
}

void encode(char32_t pPoint, std::string& pText)
{
    const auto tPut = [&](char32_t pByte) { pText += static_cast<char>(pByte); };
    if (pPoint < 0x80) {
        tPut(pPoint);
    } else if (pPoint < 0x800) {
        tPut(0xC0 | (pPoint >> 6));
        tPut(0x80 | (pPoint & 0x3F));
    } else if (pPoint < 0x10000) {
        tPut(0xE0 | (pPoint >> 12));
        tPut(0x80 | ((pPoint >> 6) & 0x3F));
        tPut(0x80 | (pPoint & 0x3F));
    } else {
        tPut(0xF0 | (pPoint >> 18));
        tPut(0x80 | ((pPoint >> 12) & 0x3F));
        tPut(0x80 | ((pPoint >> 6) & 0x3F));
        tPut(0x80 | (pPoint & 0x3F));
    }
}

} // namespace

std::u16string toUtf16(std::string_view pText)
{
    std::u16string tResult;
    tResult.reserve(pText.size());
    while (!pText.empty()) {
        char32_t tPoint = 0;
        const size_t tLength = decode(pText, tPoint);
        if (tLength == 0) {
            tResult += static_cast<char16_t>(ESCAPE + static_cast<unsigned char>(pText[0]));
        } else if (tPoint < 0x10000) {
            tResult += static_cast<char16_t>(tPoint);
        } else {
            tResult += static_cast<char16_t>(0xD7C0 + (tPoint >> 10));
            tResult += static_cast<char16_t>(0xDC00 + (tPoint & 0x3FF));
        }
        pText.remove_prefix(tLength == 0 ? 1 : tLength);
    }
    return tResult;
}

std::string fromUtf16(std::u16string_view pText)
{
    std::string tResult;
    tResult.reserve(pText.size());
    for (size_t i = 0; i < pText.size(); ++i) {
        const char32_t tUnit = pText[i];
        const bool tHigh = tUnit >= 0xD800 && tUnit < 0xDC00;
        if (tHigh && i + 1 < pText.size() && pText[i + 1] >= 0xDC00 && pText[i + 1] < 0xE000)
            encode(0x10000 + ((tUnit - 0xD800) << 10) + (pText[++i] - 0xDC00u), tResult);
        else if (tUnit >= ESCAPE + 0x80 && tUnit <= ESCAPE + 0xFF)
            tResult += static_cast<char>(tUnit - ESCAPE);
        else
            encode(tUnit, tResult);
    }
    return tResult;
}

} // namespace vel::kos::util
