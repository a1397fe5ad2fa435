// From "?" to "$1".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vel::kos::drivers {

/// The statement with each parameter "?" numbered as PostgreSQL wants it; pCount gets how many there are.
/// What stands in quoted texts and names, dollar-quoted texts and comments stays as it is.
std::string numberPlaceholders(std::string_view pStatement, uint32_t& pCount);

} // namespace vel::kos::drivers
