// Object files: what is refused leaves nothing behind, what is accepted lies inside the file and survives
// being composed again.
#include <cstring>

#include "fuzz/fuzz_object_support.h"

using namespace vel::kos;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    const fuzz::HeapWatch tHeap;
    const auto tFile = fuzz::exactCopy(pData, pSize);
    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tList;
    if (!kfw::parseObject("file", tFile.get(), pSize, &tHeader, &tList).empty()) {
        fuzz::require(tList.mCount == 0 && !tList.mAttrs && tHeader.magic == 0);
        return 0;
    }
    fuzz::require(uint64_t(tHeader.attrOffset) + tHeader.attrSize <= tHeader.dataOffset);
    fuzz::require(uint64_t(tHeader.dataOffset) + tHeader.dataSize <= pSize);
    fuzz::require(tList.mCount == tHeader.attrCount);

    fw::CacheBytes tData;
    tData.mSize = tHeader.dataSize;
    tData.mData = static_cast<uint8_t*>(komRealloc(nullptr, tData.mSize));
    if (tData.mSize > 0) std::memcpy(tData.mData, tFile.get() + tHeader.dataOffset, tData.mSize);
    fuzz::requireSurvives(tList, tData);
    return 0;
}
