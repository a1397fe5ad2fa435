// Values that say of themselves what they are: the attributes name the address, the length and the digest of
// the data, so that whoever reads an object, by whatever way, can tell a wrong byte.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "kfw/IFileSystemCache.h"

namespace vel::kos::storm {

struct Value {
    fw::CacheAttrList attributes;
    fw::CacheBytes data;
};

/// A new value for an address, of at most pLimit bytes of data; small ones are more frequent.
Value makeValue(const std::string& pUri, uint32_t pLimit, std::mt19937& pRandom);

/// Whether attributes, and data unless it is null, are a value of this address: "", or why not.
std::string checkValue(const std::string& pUri, const fw::CacheAttrList& pAttributes,
                       const fw::CacheBytes* pData);

/// Whether the bytes of an object file are a whole value that belongs under this file name: "", or why not.
std::string checkObjectFile(const std::string& pName, const uint8_t* pBytes, uint64_t pSize);

/// The name of an address's object file. The address has to be in normal form, without a query.
std::string objectName(const std::string& pUri);

} // namespace vel::kos::storm
