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
/// The path of an object file under a user application directory.
std::string objectPath(const std::string& pUserAppDir, const std::string& pName);

} // namespace vel::kos::host
