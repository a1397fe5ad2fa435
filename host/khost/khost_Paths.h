// Paths as texts.
#pragma once

#include <string>

namespace vel::kos::host {

/// As kprAppendToPath, however long; "" for more than a megabyte.
std::string joinPath(const std::string& pDir, const std::string& pName);

} // namespace vel::kos::host
