#include "kpr/kpr_notes.h"

#include <algorithm>
#include <cstring>

namespace {

/// How a note begins, in the byte order of the machine.
struct Head {
    uint32_t ownerSize;
    uint32_t textSize;
    uint32_t type;
};
constexpr uint32_t BUILD_ID = 3, ATTRIBUTES = 1;

std::string hexadecimal(std::string_view pBytes)
{
    std::string tText;
    for (const char tChar : pBytes) {
        const auto tByte = static_cast<unsigned char>(tChar);
        tText += "0123456789abcdef"[tByte >> 4];
        tText += "0123456789abcdef"[tByte & 15];
    }
    return tText;
}

// Keys and values in turn, each with its terminator.
void addPairs(std::string_view pTexts, kpr::AttributePairs* pPairs)
{
    const auto tNext = [&]() -> std::string_view {
        const size_t tLength = pTexts.find('\0');
        const std::string_view tText = pTexts.substr(0, tLength);
        pTexts.remove_prefix(tLength == std::string_view::npos ? pTexts.size() : tLength + 1);
        return tText;
    };
    while (!pTexts.empty()) {
        const std::string tKey(tNext());
        kpr::addMissing(tKey.c_str(), std::string(tNext()), pPairs);
    }
}

} // namespace

namespace kpr {

void readNotes(std::string_view pNotes, size_t pAlignment, Notes* pResult)
{
    const auto tPadded = [&](size_t pLength) { return (pLength + pAlignment - 1) & ~(pAlignment - 1); };
    while (pNotes.size() >= sizeof(Head)) {
        Head tNote;
        std::memcpy(&tNote, pNotes.data(), sizeof tNote);
        const size_t tContent = tPadded(sizeof tNote + tNote.ownerSize);
        if (tContent > pNotes.size() || tNote.textSize > pNotes.size() - tContent) break;
        const std::string_view tOwner = pNotes.substr(sizeof tNote, tNote.ownerSize),
                               tText = pNotes.substr(tContent, tNote.textSize);
        // An owner has its terminator.
        if (tOwner == std::string_view("GNU", 4) && tNote.type == BUILD_ID && pResult->buildId.empty())
            pResult->buildId = hexadecimal(tText);
        if (tOwner == std::string_view("KOS", 4) && tNote.type == ATTRIBUTES)
            addPairs(tText, &pResult->attributes);
        pNotes.remove_prefix(std::min(pNotes.size(), tContent + tPadded(tNote.textSize)));
    }
}

} // namespace kpr
