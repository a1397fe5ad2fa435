// Paths as texts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vel::kos::host {

/// A path that a kpr function writes into a buffer.
uint32_t fetchPath(std::string& pPath, const std::function<uint32_t(char*, uint32_t)>& pFunction);
/// pDir, a separator, pName.
std::string joinPath(const std::string& pDir, const std::string& pName);

} // namespace vel::kos::host
