#include "kpr/kpr_version_resource.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace {

using Bytes = std::span<const uint8_t>;

uint16_t read16(Bytes pBytes, size_t pPos)
{
    return static_cast<uint16_t>(pBytes[pPos] | (pBytes[pPos + 1] << 8));
}

uint32_t read32(Bytes pBytes, size_t pPos)
{
    return read16(pBytes, pPos) | (static_cast<uint32_t>(read16(pBytes, pPos + 2)) << 16);
}

constexpr size_t aligned(size_t pPos) { return (pPos + 3) & ~size_t{3}; }

void appendUtf8(uint32_t pCode, std::string* pText)
{
    const auto tAdd = [&](uint32_t pByte) { *pText += static_cast<char>(pByte); };
    if (pCode < 0x80) return tAdd(pCode);
    if (pCode < 0x800) {
        tAdd(0xC0 | (pCode >> 6));
    } else {
        if (pCode < 0x10000) {
            tAdd(0xE0 | (pCode >> 12));
        } else {
            tAdd(0xF0 | (pCode >> 18));
            tAdd(0x80 | ((pCode >> 12) & 0x3F));
        }
        tAdd(0x80 | ((pCode >> 6) & 0x3F));
    }
    tAdd(0x80 | (pCode & 0x3F));
}

// UTF-16 up to its terminator or the end; a surrogate that stands alone becomes the replacement character.
std::string readText(Bytes pBytes)
{
    std::string tText;
    for (size_t tPos = 0; tPos + 1 < pBytes.size(); tPos += 2) {
        uint32_t tCode = read16(pBytes, tPos);
        if (tCode == 0) break;
        if (tCode >= 0xD800 && tCode < 0xE000) {
            const uint32_t tLow = tPos + 3 < pBytes.size() ? read16(pBytes, tPos + 2) : 0u;
            const bool tPair = tCode < 0xDC00 && tLow >= 0xDC00 && tLow < 0xE000;
            tCode = tPair ? 0x10000 + ((tCode - 0xD800) << 10) + (tLow - 0xDC00) : 0xFFFD;
            if (tPair) tPos += 2;
        }
        appendUtf8(tCode, &tText);
    }
    return tText;
}

// A node of the resource: a key, a value and child nodes after it.
struct Node {
    std::string key;
    Bytes value;
    Bytes children;
    size_t size; // with the padding before the next one
};

// Layout: total length, value length (16-bit units for text), type (1: text), key in UTF-16, padding to a
// multiple of 4, value, padding, children. Lengths are 16-bit.
std::optional<Node> readNode(Bytes pBytes)
{
    constexpr size_t tHead = 6;
    if (pBytes.size() < tHead) return {};
    const size_t tLength = read16(pBytes, 0);
    if (tLength < tHead || tLength > pBytes.size()) return {};
    const Bytes tSelf = pBytes.first(tLength);
    const size_t tValueLength = size_t{read16(tSelf, 2)} * (read16(tSelf, 4) == 1 ? 2 : 1);
    size_t tPos = tHead;
    while (tPos + 1 < tLength && read16(tSelf, tPos) != 0)
        tPos += 2;
    Node tNode;
    tNode.key = readText(tSelf.subspan(tHead, tPos - tHead));
    const size_t tValue = std::min(aligned(tPos + 2), tLength);
    tNode.value = tSelf.subspan(tValue, std::min(tValueLength, tLength - tValue));
    tNode.children = tSelf.subspan(std::min(aligned(tValue + tNode.value.size()), tLength));
    tNode.size = std::min(aligned(tLength), pBytes.size());
    return tNode;
}

template <typename TVisit>
void forEachChild(Bytes pChildren, TVisit pVisit)
{
    while (const auto tNode = readNode(pChildren)) {
        pVisit(*tNode);
        pChildren = pChildren.subspan(tNode->size);
    }
}

void addFixedVersion(Bytes pFixed, size_t pPos, const char* pKey, kpr::AttributePairs* pPairs)
{
    const uint32_t tHigh = read32(pFixed, pPos), tLow = read32(pFixed, pPos + 4);
    char tText[32];
    std::snprintf(tText, sizeof tText, "%u.%u.%u.%u", static_cast<unsigned>(tHigh >> 16),
                  static_cast<unsigned>(tHigh & 0xFFFF), static_cast<unsigned>(tLow >> 16),
                  static_cast<unsigned>(tLow & 0xFFFF));
    kpr::addMissing(pKey, tText, pPairs);
}

} // namespace

namespace kpr {

void readVersionResource(std::span<const uint8_t> pBytes, AttributePairs* pPairs)
{
    const auto tRoot = readNode(pBytes);
    if (!tRoot || tRoot->key != "VS_VERSION_INFO") return;
    bool tTaken = false; // the first table only: the others say the same in other languages
    forEachChild(tRoot->children, [&](const Node& pInfo) {
        if (pInfo.key != "StringFileInfo") return;
        forEachChild(pInfo.children, [&](const Node& pTable) {
            if (tTaken) return;
            tTaken = true;
            forEachChild(pTable.children, [&](const Node& pText) {
                if (!pText.key.empty()) pPairs->emplace_back(pText.key, readText(pText.value));
            });
        });
    });
    constexpr uint32_t tSignature = 0xFEEF04BD;
    constexpr size_t tFileVersion = 8, tProductVersion = 16, tFixedSize = 52;
    const Bytes tFixed = tRoot->value;
    if (tFixed.size() < tFixedSize || read32(tFixed, 0) != tSignature) return;
    addFixedVersion(tFixed, tFileVersion, "FileVersion", pPairs);
    addFixedVersion(tFixed, tProductVersion, "ProductVersion", pPairs);
}

} // namespace kpr
