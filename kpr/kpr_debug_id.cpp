#include "kpr/kpr_debug_id.h"

#include <optional>

namespace {

using Bytes = std::span<const uint8_t>;

/// A little-endian number of pSize bytes; 0 where the bytes end.
uint32_t read(Bytes pBytes, uint64_t pPos, unsigned pSize)
{
    if (pPos > pBytes.size() || pBytes.size() - pPos < pSize) return 0;
    uint32_t tValue = 0;
    for (unsigned i = 0; i < pSize; ++i)
        tValue |= static_cast<uint32_t>(pBytes[static_cast<size_t>(pPos) + i]) << (8 * i);
    return tValue;
}

uint32_t read16(Bytes pBytes, uint64_t pPos) { return read(pBytes, pPos, 2); }
uint32_t read32(Bytes pBytes, uint64_t pPos) { return read(pBytes, pPos, 4); }

std::string hexadecimal(uint32_t pValue, size_t pLeastDigits, const char* pDigits = "0123456789ABCDEF")
{
    std::string tText;
    for (; pValue || tText.size() < pLeastDigits; pValue >>= 4)
        tText.insert(tText.begin(), pDigits[pValue & 15]);
    return tText;
}

/// The part of the image that a pair of address and size names; empty when it lies outside.
Bytes part(Bytes pImage, uint64_t pAddress, uint64_t pSize)
{
    if (pAddress > pImage.size() || pSize > pImage.size() - pAddress) return {};
    return pImage.subspan(static_cast<size_t>(pAddress), static_cast<size_t>(pSize));
}

/// A record of debug information: signature, GUID, age, path of the symbol file.
std::optional<std::string> readRecord(Bytes pRecord)
{
    constexpr uint32_t tSignature = 0x53445352; // "RSDS"
    constexpr size_t tGuid = 4, tAge = 20, tHead = 24;
    if (pRecord.size() < tHead || read32(pRecord, 0) != tSignature) return {};
    // The first three parts of a GUID are numbers, the last eight bytes stand as they are.
    std::string tId = hexadecimal(read32(pRecord, tGuid), 8) + hexadecimal(read16(pRecord, tGuid + 4), 4) +
                      hexadecimal(read16(pRecord, tGuid + 6), 4);
    for (size_t i = tGuid + 8; i < tAge; ++i)
        tId += hexadecimal(pRecord[i], 2);
    return tId + hexadecimal(read32(pRecord, tAge), 1);
}

} // namespace

namespace kpr {

std::string readDebugId(std::span<const uint8_t> pImage)
{
    constexpr uint32_t tMark = 0x00004550;             // "PE"
    constexpr uint32_t tWide = 0x20B, tNarrow = 0x10B; // images of 64 and of 32 bits
    constexpr uint32_t tDebug = 6, tDirectory = 8;     // place and size of a data directory
    constexpr uint32_t tEntry = 28, tCodeView = 2;     // of the debug directory
    const uint64_t tHead = read32(pImage, 0x3C), tOptional = tHead + 24;
    const uint32_t tMagic = read16(pImage, tOptional);
    if (read32(pImage, tHead) != tMark || (tMagic != tWide && tMagic != tNarrow)) return {};

    const uint64_t tDirectories = tOptional + (tMagic == tWide ? 112 : 96);
    if (read32(pImage, tDirectories - 4) > tDebug) {
        const uint64_t tPlace = tDirectories + uint64_t{tDebug} * tDirectory;
        const Bytes tEntries = part(pImage, read32(pImage, tPlace), read32(pImage, tPlace + 4));
        for (size_t tPos = 0; tPos + tEntry <= tEntries.size(); tPos += tEntry) {
            if (read32(tEntries, tPos + 12) != tCodeView) continue;
            if (auto tId = readRecord(part(pImage, read32(tEntries, tPos + 20), read32(tEntries, tPos + 16))))
                return *tId;
        }
    }
    return hexadecimal(read32(pImage, tHead + 8), 8) +
           hexadecimal(read32(pImage, tOptional + 56), 1, "0123456789abcdef");
}

} // namespace kpr
