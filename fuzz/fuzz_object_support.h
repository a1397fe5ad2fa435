// What the fuzzers of object files share.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kfw/cache/testing/kfw_ParseObject.h"
#include "kom/heap.h"

namespace fuzz {

inline void require(bool pCondition)
{
    if (!pCondition) std::abort();
}

/// Nothing of the component heap is left behind.
class HeapWatch {
public:
    HeapWatch() { komGetHeapStats(&mStart); }
    ~HeapWatch()
    {
        KomHeapStats tEnd;
        komGetHeapStats(&tEnd);
        require(tEnd.liveBlocks == mStart.liveBlocks);
    }

private:
    KomHeapStats mStart;
};

/// The bytes in a block of exactly their size, so that a read past the end is found.
inline std::unique_ptr<uint8_t[]> exactCopy(const uint8_t* pBytes, std::size_t pSize)
{
    std::unique_ptr<uint8_t[]> tCopy(new uint8_t[pSize]);
    std::copy_n(pBytes, pSize, tCopy.get());
    return tCopy;
}

/// Composing and parsing gives the same attributes and data back.
inline void requireSurvives(const vel::kos::fw::CacheAttrList& pList, const vel::kos::fw::CacheBytes& pData)
{
    using namespace vel::kos;
    kfw::ObjectImage tImage;
    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tList;
    require(kfw::composeObject("file", pList, pData, &tImage).empty());
    require(kfw::parseObject("file", tImage.bytes.get(), tImage.size, &tHeader, &tList).empty());
    require(tList.mCount == pList.mCount);
    for (uint32_t i = 0; i < pList.mCount; ++i) {
        require(std::strcmp(tList.mAttrs[i].mKey, pList.mAttrs[i].mKey) == 0);
        require(std::strcmp(tList.mAttrs[i].mValue, pList.mAttrs[i].mValue) == 0);
    }
    require(tHeader.dataSize == pData.mSize);
    require(std::equal(pData.mData, pData.mData + pData.mSize, tImage.bytes.get() + tHeader.dataOffset));
}

} // namespace fuzz
