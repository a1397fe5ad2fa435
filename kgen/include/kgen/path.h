// Paths in their two forms: native (as the operating system writes them) and with "/" everywhere.
#pragma once

#include <string>
#include <string_view>

namespace kgen {

/// "/" becomes the platform's separator.
std::string toNativePath(std::string_view pPath);
/// The platform's separator becomes "/".
std::string fromNativePath(std::string_view pPath);
/// What follows the last "/" of a path in "/" form.
std::string lastComponent(std::string_view pPath);
/// Whether two file names are the same but for letter case, by the platform's rule (kprIsSameFileName).
bool isSameFileName(const std::string& pOne, const std::string& pOther);

} // namespace kgen
