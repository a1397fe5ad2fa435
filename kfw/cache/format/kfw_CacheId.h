// The names of object files.
#pragma once

#include <cstdint>
#include <string_view>

#include "kfw/IFileSystemCache.h"

namespace vel::kos::kfw {

/// The characters of an object file's name: two upper-case hexadecimal digits for each byte of its identity.
inline constexpr uint32_t OBJECT_NAME_LENGTH = 32;

/// Whether a name is one that the cache gives to object files: 32 hexadecimal digits, letters in upper case.
bool isObjectName(std::string_view pName);
/// The identity that 32 hexadecimal digits, in either case, stand for; false for any other text.
bool parseCacheId(std::string_view pText, fw::CacheId* pId);

} // namespace vel::kos::kfw

extern "C" {

/// Writes the name of an object's file, terminated, into a buffer of pSize bytes (OBJECT_NAME_LENGTH + 1 are
/// needed). KPR_E_BUFFER_TOO_SMALL leaves the buffer as it is.
uint32_t kfwFormatCacheId(const vel::kos::fw::CacheId* pId, char* pBuffer, uint32_t pSize);

} // extern "C"
