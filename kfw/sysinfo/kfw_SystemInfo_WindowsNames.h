// How a Windows is called.
#pragma once

#include <string>
#include <string_view>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsCalls.h"

namespace vel::kos::kfw {

inline constexpr uint32_t PLATFORM_WIN32_NT = 2;

/// The product's name with its suites, from a version record. pExtended: the record holds product type and
/// suites.
std::string windowsProductName(const OsVersionRecord& pRecord, bool pExtended);

/// Wide text as bytes of the current locale, character by character; what it cannot express becomes "?".
std::string narrow(std::u16string_view pText);

} // namespace vel::kos::kfw
