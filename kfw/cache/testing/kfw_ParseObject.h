// A whole object file in memory, read as the cache reads it.
#pragma once

#include <string>

#include "kfw/cache/format/kfw_ObjectReader.h"
#include "kfw/cache/testing/kfw_MemoryBytes.h"

namespace vel::kos::kfw {

/// Reads the header and the attributes; the data is at header.dataOffset. Returns "", or why the cache would
/// refuse the file.
inline std::string parseObject(const std::string& pPath, const uint8_t* pBytes, uint64_t pFileSize,
                               ObjectFileHeader* pHeader, fw::CacheAttrList* pList)
{
    FirstProblem tLog;
    MemoryBytes tBytes(pBytes, pFileSize);
    ObjectReader tReader(tBytes, pPath, tLog);
    if (!KFAILED(tReader.readObjectHeader()) && !KFAILED(tReader.readAttributes(pList)))
        *pHeader = tReader.header();
    return tLog.text();
}

} // namespace vel::kos::kfw
