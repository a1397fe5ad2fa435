// The groups of cache commands.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/khost/khost_Commands.h"
#include "kfw/IFileSystemCache.h"

namespace vel::kos::host {

/// ls, stat, verify: made by looking only.
void addCacheLookCommands(std::vector<Command>& pTable);
/// explain, show: made by looking only.
void addCacheExplainCommands(std::vector<Command>& pTable);
/// import.
void addCacheImportCommands(std::vector<Command>& pTable);

/// The identity as the 32 digits that are its object file's name.
std::string cacheIdText(const fw::CacheId& pId);
/// The identity of the object that a URI names, as IFileSystemCache::computeCacheId, without a cache.
uint32_t computeCacheId(const std::string& pUri, fw::CacheId* pId);
/// Stores an object and returns its identity. Another object that was there already, and is kept, is
/// reported.
uint32_t storeObject(Session& pSession, fw::IFileSystemCache* pCache, const std::string& pUri,
                     const fw::CacheAttrList& pAttributes, const fw::CacheBytes& pData, fw::CacheId* pId);
/// The bytes as text.
inline std::string_view view(const fw::CacheBytes& pBytes)
{
    return {reinterpret_cast<const char*>(pBytes.mData), pBytes.mSize};
}

} // namespace vel::kos::host
