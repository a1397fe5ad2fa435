#include "kfw/cache/format/kfw_ObjectFile.h"

#include <algorithm>
#include <cstring>

#include "kfw/cache/format/kfw_AttributeWalk.h"
#include "kpr/byteorder.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

namespace {

using util::message;

uint32_t readNumber(const uint8_t* pBytes)
{
    uint32_t tNumber;
    std::memcpy(&tNumber, pBytes, sizeof tNumber);
    return kprBE2Host32(tNumber);
}

uint8_t* writeNumber(uint8_t* pBytes, uint32_t pNumber)
{
    const uint32_t tNumber = kprHost2BE32(pNumber);
    std::memcpy(pBytes, &tNumber, sizeof tNumber);
    return pBytes + sizeof tNumber;
}

/// The length with its NUL; a null is "".
uint64_t stringLength(const char* pText) { return pText ? std::strlen(pText) + uint64_t(1) : 1; }

uint8_t* writeString(uint8_t* pBytes, const char* pText)
{
    const uint64_t tLength = stringLength(pText), tPadded = paddedLength(tLength);
    pBytes = writeNumber(pBytes, static_cast<uint32_t>(tLength));
    std::memcpy(pBytes, pText ? pText : "", tLength);
    // What the heap held before is nobody's business.
    std::memset(pBytes + tLength, 0, tPadded - tLength);
    return pBytes + tPadded;
}

/// The most attributes that a space can hold: the smallest, two empty strings, takes 16 bytes, of which the
/// last three are padding that the end of the space may lack.
constexpr uint32_t mostAttributes(uint32_t pSpaceSize)
{
    return static_cast<uint32_t>((uint64_t(pSpaceSize) + 3) / 16);
}

/// An attribute space in memory.
class SpaceInMemory {
public:
    SpaceInMemory(const uint8_t* pSpace, uint32_t pSize) : mSpace(pSpace), mSize(pSize) {}
    uint64_t size() const { return mSize; }
    uint8_t at(uint64_t pOffset) const { return mSpace[pOffset]; }
    /// A copy of a string on the kom heap.
    char* copy(uint64_t pOffset, uint32_t pLength) const
    {
        return komStrNDup(reinterpret_cast<const char*>(mSpace + pOffset), pLength);
    }

private:
    const uint8_t* mSpace;
    uint64_t mSize;
};

} // namespace

std::string composeObject(const std::string& pPath, const fw::CacheAttrList& pAttributes,
                          const fw::CacheBytes& pData, ObjectImage* pImage)
{
    uint64_t tAttrSize = 0;
    for (uint32_t i = 0; i < pAttributes.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = pAttributes.mAttrs[i];
        tAttrSize += 8 + paddedLength(stringLength(tAttr.mKey)) + paddedLength(stringLength(tAttr.mValue));
    }
    const uint64_t tTotal = OBJECT_HEADER_SIZE + tAttrSize + pData.mSize;
    if (std::string tProblem = checkObjectSize(pPath, tTotal); !tProblem.empty()) return tProblem;

    pImage->size = static_cast<uint32_t>(tTotal);
    pImage->bytes.reset(new uint8_t[pImage->size]);
    uint8_t* tBytes = pImage->bytes.get();
    tBytes = writeNumber(tBytes, OBJECT_MAGIC);
    tBytes = writeNumber(tBytes, OBJECT_VERSION);
    tBytes = writeNumber(tBytes, OBJECT_HEADER_SIZE);
    tBytes = writeNumber(tBytes, static_cast<uint32_t>(tAttrSize));
    tBytes = writeNumber(tBytes, pAttributes.mCount);
    tBytes = writeNumber(tBytes, static_cast<uint32_t>(OBJECT_HEADER_SIZE + tAttrSize));
    tBytes = writeNumber(tBytes, pData.mSize);
    for (uint32_t i = 0; i < pAttributes.mCount; ++i) {
        tBytes = writeString(tBytes, pAttributes.mAttrs[i].mKey);
        tBytes = writeString(tBytes, pAttributes.mAttrs[i].mValue);
    }
    if (pData.mSize > 0) std::memcpy(tBytes, pData.mData, pData.mSize);
    return {};
}

std::string checkObjectSize(const std::string& pPath, uint64_t pFileSize)
{
    return pFileSize <= UINT32_MAX ? std::string() : message("FS cache: object %1 too large.", pPath);
}

std::string parseObjectHeader(const std::string& pPath, uint32_t pFileSize, const uint8_t* pBytes,
                              uint32_t pLength, ObjectFileHeader* pHeader)
{
    if (pLength < OBJECT_HEADER_SIZE)
        return message("FS cache: incomplete read of object header of %1 (got only %2 bytes).", pPath,
                       pLength);
    const auto tField = [pBytes](uint32_t pIndex) { return readNumber(pBytes + 4 * pIndex); };
    const ObjectFileHeader tHeader{tField(0), tField(1), tField(2), tField(3),
                                   tField(4), tField(5), tField(6)};
    if (tHeader.magic != OBJECT_MAGIC)
        return message("FS cache: %1 is not a valid cache object (invalid magic number).", pPath);
    if (tHeader.version != OBJECT_VERSION)
        return message("FS cache: %1 has wrong version number (expected %2, got %3).", pPath, OBJECT_VERSION,
                       tHeader.version);
    if (tHeader.attrOffset > tHeader.dataOffset || tHeader.attrSize > tHeader.dataOffset - tHeader.attrOffset)
        return message(
            "FS cache: attribute offs (%1) plus attribute size (%2) of %3 beyond data offset (%4).",
            tHeader.attrOffset, tHeader.attrSize, pPath, tHeader.dataOffset);
    if (tHeader.dataOffset > pFileSize || tHeader.dataSize > pFileSize - tHeader.dataOffset)
        return message("FS cache: data offset (%1) plus data size (%2) of %3 beyond object size (%4).",
                       tHeader.dataOffset, tHeader.dataSize, pPath, pFileSize);
    *pHeader = tHeader;
    return {};
}

std::string parseAttributes(const uint8_t* pSpace, uint32_t pSize, uint32_t pCount, fw::CacheAttrList* pList)
{
    fw::CacheAttrList tList;
    // A count beyond this ends in one of the walk's refusals before the array is full.
    const uint32_t tRoom = std::min(pCount, mostAttributes(pSize));
    tList.mAttrs = static_cast<fw::KFSCacheAttr*>(komCalloc(tRoom, sizeof(fw::KFSCacheAttr)));
    SpaceInMemory tSpace(pSpace, pSize);
    AttributeWalk tWalk(tSpace);
    while (tList.mCount < pCount) {
        fw::KFSCacheAttr tAttr;
        const auto tCopyTo = [&tSpace](char*& pText) {
            return [&](uint64_t pOffset, uint32_t pLength) { pText = tSpace.copy(pOffset, pLength); };
        };
        if (const char* tProblem = tWalk.take(tCopyTo(tAttr.mKey), tCopyTo(tAttr.mValue)); *tProblem)
            return tProblem;
        auto* tNew = new (tList.mAttrs + tList.mCount) fw::KFSCacheAttr;
        ++tList.mCount;
        std::swap(tNew->mKey, tAttr.mKey);
        std::swap(tNew->mValue, tAttr.mValue);
    }
    pList->swap(tList);
    return {};
}

} // namespace vel::kos::kfw
