#include "kgen/escape.h"

namespace kgen {

namespace {

unsigned char byteAt(std::string_view pText, std::size_t pIndex)
{
    return pIndex < pText.size() ? static_cast<unsigned char>(pText[pIndex]) : 0;
}

/// The length of the well-formed UTF-8 sequence at pIndex; 0 when there is none.
std::size_t sequenceLength(std::string_view pText, std::size_t pIndex)
{
    const unsigned char tLead = byteAt(pText, pIndex);
    if (tLead < 0x80) return 1;
    const std::size_t tLength = tLead < 0xC2 ? 0 : tLead < 0xE0 ? 2 : tLead < 0xF0 ? 3 : tLead < 0xF5 ? 4 : 0;
    for (std::size_t i = 1; i < tLength; ++i)
        if ((byteAt(pText, pIndex + i) & 0xC0) != 0x80) return 0;
    // Too long forms, surrogates, and what is past U+10FFFF.
    const unsigned char tSecond = byteAt(pText, pIndex + 1);
    if ((tLead == 0xE0 && tSecond < 0xA0) || (tLead == 0xED && tSecond > 0x9F)) return 0;
    if ((tLead == 0xF0 && tSecond < 0x90) || (tLead == 0xF4 && tSecond > 0x8F)) return 0;
    return tLength;
}

void addDigits(std::string& pText, unsigned char pByte)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    pText += {DIGITS[pByte >> 4], DIGITS[pByte & 15]};
}

} // namespace

std::string escapeControls(std::string_view pText, std::string_view pKept)
{
    std::string tText;
    tText.reserve(pText.size());
    for (std::size_t i = 0; i < pText.size();) {
        const std::size_t tLength = sequenceLength(pText, i);
        const unsigned char tByte = byteAt(pText, i);
        if (tLength == 2 && tByte == 0xC2 && byteAt(pText, i + 1) < 0xA0) {
            tText += "\\u00";
            addDigits(tText, byteAt(pText, i + 1));
        } else if (tLength > 1 || (tLength == 1 && tByte >= 0x20 && tByte != 0x7F) ||
                   pKept.find(pText[i]) != std::string_view::npos) {
            tText += pText.substr(i, tLength > 1 ? tLength : 1);
        } else if (tByte == '\n' || tByte == '\r' || tByte == '\t') {
            tText += tByte == '\n' ? "\\n" : tByte == '\r' ? "\\r" : "\\t";
        } else {
            tText += "\\x";
            addDigits(tText, tByte);
        }
        i += tLength > 1 ? tLength : 1;
    }
    return tText;
}

std::string escapeJsonControls(std::string_view pJson)
{
    std::string tText;
    tText.reserve(pJson.size());
    for (std::size_t i = 0; i < pJson.size(); ++i) {
        const unsigned char tByte = byteAt(pJson, i), tNext = byteAt(pJson, i + 1);
        const bool tIsLate = tByte == 0xC2 && tNext >= 0x80 && tNext < 0xA0;
        if (tIsLate || tByte == 0x7F) {
            tText += "\\u00";
            addDigits(tText, tIsLate ? tNext : tByte);
            i += tIsLate;
        } else {
            tText += pJson[i];
        }
    }
    return tText;
}

} // namespace kgen
