// The layout of an object file, the same on every platform.
//
//     object file     = header attributes data
//     header          = magic version attr-offset attr-size attr-count data-offset data-size
//     attributes      = attribute*                  at attr-offset, attr-size bytes
//     attribute       = string string               the key, then the value
//     string          = length byte*length padding  length counts the terminating NUL; the padding fills
//                                                   up to a multiple of 4 bytes from the start of the
//                                                   attributes
//     data            = byte*data-size              at data-offset
//
// Every number is 32 bits, big-endian. Readers take the offsets from the header: there may be gaps before the
// attributes, between them and the data, and after the data. Padding and gaps hold anything.
//
// Everything here works on memory. What refuses a file says why in words that name it, ready for the log.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kfw/IFileSystemCache.h"

namespace vel::kos::kfw {

inline constexpr uint32_t OBJECT_MAGIC = 0x0E9A5B42;
inline constexpr uint32_t OBJECT_VERSION = 1;
inline constexpr uint32_t OBJECT_HEADER_SIZE = 28;

/// The header in host order.
struct ObjectFileHeader {
    uint32_t magic = 0;
    uint32_t version = 0;
    uint32_t attrOffset = 0;
    uint32_t attrSize = 0;
    uint32_t attrCount = 0;
    uint32_t dataOffset = 0;
    uint32_t dataSize = 0;
};

/// A composed object file.
struct ObjectImage {
    uint32_t size = 0;
    std::unique_ptr<uint8_t[]> bytes;
};

/// Composes an object file; null keys and values are written as "". Returns "", or why it cannot be written:
/// it would be larger than 32 bits can say.
std::string composeObject(const std::string& pPath, const fw::CacheAttrList& pAttributes,
                          const fw::CacheBytes& pData, ObjectImage* pImage);

/// Whether an object file may have this size: "", or why not.
std::string checkObjectSize(const std::string& pPath, uint64_t pFileSize);

/// Reads the header from the file's first pLength bytes (at most OBJECT_HEADER_SIZE are looked at) and checks
/// that both spaces lie in the file, so that nothing that is read later wraps. Returns "", or why not.
std::string parseObjectHeader(const std::string& pPath, uint32_t pFileSize, const uint8_t* pBytes,
                              uint32_t pLength, ObjectFileHeader* pHeader);

/// Reads pCount attributes from an attribute space. Returns "", or why not; then *pList is as it was. Memory
/// is taken for what the space can hold, whatever the count says.
std::string parseAttributes(const uint8_t* pSpace, uint32_t pSize, uint32_t pCount, fw::CacheAttrList* pList);

} // namespace vel::kos::kfw
