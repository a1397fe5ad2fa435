// The version resource of a Windows module, read from memory; nothing in it is trusted.
#pragma once

#include <cstdint>
#include <span>

#include "kpr/kpr_block.h"

namespace kpr {

/// Appends the strings of the resource's first string table in their order. "FileVersion" and
/// "ProductVersion" that the table lacks come from the fixed part as "a.b.c.d". A damaged resource gives
/// what stands before the damage.
void readVersionResource(std::span<const uint8_t> pBytes, AttributePairs* pPairs);

} // namespace kpr
