// What is shown on a terminal: no control character and no broken UTF-8 comes out, what is fit to be shown
// stays, and pieces that are escaped one by one are the whole. What is told apart here is told apart by
// decoding, in another way than in the escaper.
#include <optional>

#include "fuzz/fuzz_support.h"
#include "kgen/escape.h"

namespace {

/// The character at the start of a text and its length; nothing where it is not UTF-8.
struct Character {
    uint32_t code;
    size_t length;
};

std::optional<Character> decode(std::string_view pText)
{
    const auto tByte = [&](size_t i) -> uint32_t { return static_cast<unsigned char>(pText[i]); };
    if (tByte(0) < 0x80) return Character{tByte(0), 1};
    for (size_t tLength = 2; tLength <= 4; ++tLength) {
        const uint32_t tMark = 0x100u - (0x80u >> (tLength - 1)); // 110..., 1110..., 11110...
        if ((tByte(0) & (tMark | 0x80u >> tLength)) != (tMark & 0xFF)) continue;
        if (pText.size() < tLength) return {};
        uint32_t tCode = tByte(0) & ~(tMark | 0x80u >> tLength);
        for (size_t i = 1; i < tLength; ++i) {
            if (tByte(i) >> 6 != 2) return {};
            tCode = tCode << 6 | (tByte(i) & 0x3F);
        }
        constexpr uint32_t LEAST[] = {0x80, 0x800, 0x10000};
        if (tCode < LEAST[tLength - 2] || tCode > 0x10FFFF || tCode >> 11 == 0xD800 >> 11) return {};
        return Character{tCode, tLength};
    }
    return {};
}

bool isControl(uint32_t pCode) { return pCode < 0x20 || (pCode >= 0x7F && pCode < 0xA0); }

bool isShown(const std::optional<Character>& pCharacter, std::string_view pKept)
{
    if (!pCharacter) return false;
    return !isControl(pCharacter->code) ||
           (pCharacter->code < 0x80 &&
            pKept.find(static_cast<char>(pCharacter->code)) != std::string_view::npos);
}

void requireFit(std::string_view pText, std::string_view pKept)
{
    while (!pText.empty()) {
        const auto tCharacter = decode(pText);
        require(isShown(tCharacter, pKept));
        pText.remove_prefix(tCharacter->length);
    }
}

void escape(std::string_view pText, std::string_view pKept)
{
    const std::string tEscaped = kgen::escapeControls(pText, pKept);
    requireFit(tEscaped, pKept);
    require(kgen::escapeControls(tEscaped, pKept) == tEscaped);
    // What is fit stays, in its place; the rest becomes an escape each.
    size_t tAt = 0;
    for (std::string_view tRest = pText; !tRest.empty();) {
        const auto tCharacter = decode(tRest);
        const size_t tLength = tCharacter ? tCharacter->length : 1;
        const std::string_view tPiece = tRest.substr(0, tLength);
        const std::string tOne = kgen::escapeControls(tPiece, pKept);
        require(isShown(tCharacter, pKept) ? tOne == tPiece : tOne.size() >= 2 && tOne[0] == '\\');
        require(tEscaped.compare(tAt, tOne.size(), tOne) == 0);
        tAt += tOne.size();
        tRest.remove_prefix(tLength);
    }
    require(tAt == tEscaped.size());
}

/// JSON's escapes can be turned back.
void escapeJson(std::string_view pText)
{
    const std::string tEscaped = kgen::escapeJsonControls(pText);
    size_t tAt = 0;
    for (size_t i = 0; i < pText.size();) {
        const auto tCharacter = decode(pText.substr(i));
        if (tCharacter && tCharacter->code >= 0x7F && tCharacter->code < 0xA0) {
            require(tEscaped.compare(tAt, 4, "\\u00") == 0 && tAt + 6 <= tEscaped.size());
            require(std::stoul(tEscaped.substr(tAt + 2, 4), nullptr, 16) == tCharacter->code);
            tAt += 6;
            i += tCharacter->length;
        } else {
            require(tAt < tEscaped.size() && tEscaped[tAt] == pText[i]);
            ++tAt;
            ++i;
        }
    }
    require(tAt == tEscaped.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const std::string_view tText = toText(pData, pSize);
    escape(tText, {});
    escape(tText, "\n\t");
    escapeJson(tText);
    return 0;
}
