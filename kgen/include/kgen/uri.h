// URI normalisation (RFC 3986, sections 6.2.2 and 6.2.3).
#pragma once

#include <string>
#include <string_view>

namespace kgen {

/// The normal form of an absolute URI: scheme and host in lower case, percent-encodings in upper case and
/// decoded where the character is unreserved, dot segments removed, the scheme's default port and an empty
/// port dropped, an empty path after an authority "/" where the scheme has it so. The fragment is dropped.
/// Bytes that a URI may not hold (blanks, controls, non-ASCII, a "%" without two hexadecimal digits) are
/// percent-encoded first. "" for a text that has no scheme or does not parse.
std::string normaliseUri(std::string_view pUri);

} // namespace kgen
