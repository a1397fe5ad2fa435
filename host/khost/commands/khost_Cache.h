// The groups of cache commands.
#pragma once

#include <string>

#include "host/khost/khost_Session.h"

namespace vel::kos::host {

/// put, get, attrs, has, id, put-file, get-file, pin, unpin.
void addCacheObjectCommands(CLI::App& pCache, Session& pSession);
/// ls, stat, verify: made by looking only.
void addCacheLookCommands(CLI::App& pCache, Session& pSession);
/// import.
void addCacheImportCommands(CLI::App& pCache, Session& pSession);

/// The identity as the 32 digits that are its object file's name.
std::string cacheIdText(const fw::CacheId& pId);
/// The path of an object file under a user application directory.
std::string objectPath(const std::string& pUserAppDir, const std::string& pName);

} // namespace vel::kos::host
