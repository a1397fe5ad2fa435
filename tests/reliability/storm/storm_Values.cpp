#include "tests/reliability/storm/storm_Values.h"

#include <algorithm>
#include <cstring>

#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/testing/kfw_ParseObject.h"
#include "kpr/md5.h"

namespace vel::kos::storm {

namespace {

enum Attribute : uint32_t { ADDRESS, LENGTH, DIGEST, FILLER, ATTRIBUTES };

/// The digest as an object's name would show it.
std::string digestOf(const void* pBytes, std::size_t pSize)
{
    KprMD5 tState;
    fw::CacheId tId;
    kprMD5Init(&tState);
    kprMD5Update(&tState, pBytes, static_cast<uint32_t>(pSize));
    kprMD5Final(&tState, tId.mBytes);
    char tText[kfw::OBJECT_NAME_LENGTH + 1] = "";
    kfwFormatCacheId(&tId, tText, sizeof tText);
    return tText;
}

std::string digestOf(const fw::CacheBytes& pData)
{
    return digestOf(pData.mData ? pData.mData : nullptr, pData.mSize);
}

} // namespace

Value makeValue(const std::string& pUri, uint32_t pLimit, std::mt19937& pRandom)
{
    Value tValue;
    const uint32_t tLimit = pRandom() % 4 == 0 ? pLimit : std::min(pLimit, 2000u);
    tValue.data.mSize = static_cast<uint32_t>(pRandom() % (tLimit + 1));
    tValue.data.mData = static_cast<uint8_t*>(komRealloc(nullptr, tValue.data.mSize));
    uint64_t tState = (uint64_t(pRandom()) << 32 | pRandom()) | 1;
    for (uint32_t i = 0; i < tValue.data.mSize; ++i) {
        tState = tState * 6364136223846793005u + 1442695040888963407u;
        tValue.data.mData[i] = static_cast<uint8_t>(tState >> 56);
    }
    tValue.attributes.add("address", pUri.c_str());
    tValue.attributes.add("length", std::to_string(tValue.data.mSize).c_str());
    tValue.attributes.add("digest", digestOf(tValue.data).c_str());
    tValue.attributes.add("filler", std::string(pRandom() % 300, 'f').c_str());
    return tValue;
}

std::string checkValue(const std::string& pUri, const fw::CacheAttrList& pAttributes,
                       const fw::CacheBytes* pData)
{
    if (pAttributes.mCount != ATTRIBUTES) return "wrong number of attributes";
    if (pUri != pAttributes.mAttrs[ADDRESS].mValue) return "another address's object";
    const std::string tFiller = pAttributes.mAttrs[FILLER].mValue;
    if (tFiller.find_first_not_of('f') != std::string::npos) return "wrong bytes in the last attribute";
    if (!pData) return "";
    if (std::to_string(pData->mSize) != pAttributes.mAttrs[LENGTH].mValue) return "wrong length";
    if (digestOf(*pData) != pAttributes.mAttrs[DIGEST].mValue) return "wrong bytes";
    return "";
}

std::string checkObjectFile(const std::string& pName, const uint8_t* pBytes, uint64_t pSize)
{
    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tAttributes;
    if (std::string tProblem = kfw::parseObject(pName, pBytes, pSize, &tHeader, &tAttributes);
        !tProblem.empty())
        return tProblem;
    fw::CacheBytes tData;
    tData.mSize = tHeader.dataSize;
    tData.mData = static_cast<uint8_t*>(komRealloc(nullptr, tData.mSize));
    if (tData.mSize > 0) std::memcpy(tData.mData, pBytes + tHeader.dataOffset, tData.mSize);
    if (tAttributes.mCount != ATTRIBUTES) return "wrong number of attributes";
    const std::string tUri = tAttributes.mAttrs[ADDRESS].mValue;
    if (objectName(tUri) != pName) return "stored under another address's name";
    return checkValue(tUri, tAttributes, &tData);
}

std::string objectName(const std::string& pUri) { return digestOf(pUri.data(), pUri.size()); }

} // namespace vel::kos::storm
