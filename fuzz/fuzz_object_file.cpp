// Object files: what is refused leaves nothing behind, what is accepted lies inside the file and survives
// being composed again. Who only checks the attributes comes to the same verdict.
#include <cstring>

#include "fuzz/fuzz_object_support.h"
#include "kom/identity.h"

using namespace vel::kos;

namespace {

std::string check(const uint8_t* pData, std::size_t pSize)
{
    const std::string tPath = "file";
    kfw::FirstProblem tLog;
    kfw::MemoryBytes tBytes(pData, pSize);
    kfw::ObjectReader tReader(tBytes, tPath, tLog);
    if (!KFAILED(tReader.readObjectHeader())) tReader.checkAttributes();
    return tLog.text();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    const fuzz::HeapWatch tHeap;
    const auto tFile = fuzz::exactCopy(pData, pSize);
    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tList;
    const std::string tProblem = kfw::parseObject("file", tFile.get(), pSize, &tHeader, &tList);
    fuzz::require(check(tFile.get(), pSize) == tProblem);
    if (!tProblem.empty()) {
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
