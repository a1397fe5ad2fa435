// The copy that is kept of a damaged settings store.
#pragma once

#include <cstdint>
#include <string>

#include "kpr/time.h"

namespace vel::kos::util {

/// The name of the copy of a store that was last changed at a time: "<path>.damaged-20260412T190400Z", or
/// with the bare seconds where no calendar has such a time.
std::string damagedName(const std::string& pPath, const KprTime& pModified);

/// Copies a damaged store to its damagedName, once: as long as nobody changes the store, the name stays the
/// same, and whatever stands there stays. No link is followed. Gives the copy's path in pCopy.
uint32_t keepDamaged(const std::string& pPath, std::string& pCopy);

} // namespace vel::kos::util
