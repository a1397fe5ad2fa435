// Attribute spaces: four bytes for the count, then the space. No count makes the reader take more memory than
// the space can hold, and what is accepted survives being composed again.
#include <cstring>

#include "fuzz/fuzz_object_support.h"

using namespace vel::kos;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    uint32_t tCount;
    if (pSize < sizeof tCount) return 0;
    std::memcpy(&tCount, pData, sizeof tCount);
    const auto tSize = static_cast<uint32_t>(pSize - sizeof tCount);

    const fuzz::HeapWatch tHeap;
    const auto tSpace = fuzz::exactCopy(pData + sizeof tCount, tSize);
    fw::CacheAttrList tList;
    if (!kfw::parseAttributes(tSpace.get(), tSize, tCount, &tList).empty()) {
        fuzz::require(tList.mCount == 0 && !tList.mAttrs);
        return 0;
    }
    fuzz::require(tList.mCount == tCount);
    fuzz::requireSurvives(tList, {});
    return 0;
}
