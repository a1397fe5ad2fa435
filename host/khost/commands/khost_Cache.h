// The groups of cache commands.
#pragma once

#include <string>
#include <vector>

#include "host/khost/khost_Commands.h"
#include "kfw/IFileSystemCache.h"

namespace vel::kos::host {

/// ls, stat, verify: made by looking only.
void addCacheLookCommands(std::vector<Command>& pTable);
/// import.
void addCacheImportCommands(std::vector<Command>& pTable);

/// The identity as the 32 digits that are its object file's name.
std::string cacheIdText(const fw::CacheId& pId);
/// The identity of the object that a URI names, as IFileSystemCache::computeCacheId, without a cache.
uint32_t computeCacheId(const std::string& pUri, fw::CacheId* pId);
/// Stores an object and returns its identity. Tells of another object that was there already and is kept.
uint32_t storeObject(Session& pSession, fw::IFileSystemCache* pCache, const std::string& pUri,
                     const fw::CacheAttrList& pAttributes, const fw::CacheBytes& pData, fw::CacheId* pId);
/// The path of an object file under a user application directory.
std::string objectPath(const std::string& pUserAppDir, const std::string& pName);

} // namespace vel::kos::host
