// Reading an object file in few system calls.
#pragma once

#include <string>

#include "kfw/cache/format/kfw_ObjectFile.h"
#include "kfw/cache/kfw_FSCacheState.h"

namespace vel::kos::kfw {

/// Reads one object file. The first read takes more than the header, so that small objects are read at once;
/// what it brought is not read again. Every failure is reported and leaves the outputs as they were.
class ObjectReader {
public:
    /// Both outlive the reader.
    ObjectReader(FSCacheState& pCache, const std::string& pPath) : mCache(pCache), mPath(pPath) {}

    uint32_t open();
    uint32_t close() { return mFile.close(); }

    /// Reads and checks the header; first of all.
    uint32_t readObjectHeader();
    uint32_t readAttributes(fw::CacheAttrList* pList);
    uint32_t readData(fw::CacheBytes* pBytes);

private:
    /// Reads a range that the header check found inside the file. "" or why the bytes are not all there goes
    /// to the log: pWhat is "attributes" or "data".
    uint32_t readRange(const char* pWhat, uint32_t pOffset, uint8_t* pBuffer, uint32_t pLength);
    uint32_t refuse(const std::string& pProblem);

    FSCacheState& mCache;
    const std::string& mPath;
    OpenFile mFile;
    ObjectFileHeader mHeader;
    uint32_t mHeadSize = 0;
    uint8_t mHead[4096];
};

} // namespace vel::kos::kfw
