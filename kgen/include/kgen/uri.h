// URI normalisation (RFC 3986, sections 6.2.2 and 6.2.3).
#pragma once

#include <string>
#include <string_view>

namespace kgen {

/// The normal form of an absolute URI, which is its own normal form:
/// - scheme and host in lower case; percent-encodings in upper case, and decoded where the character is
///   unreserved; bytes that a URI or its component may not hold (blanks, controls, non-ASCII, a "%" without
///   two hexadecimal digits) are percent-encoded first;
/// - dot segments removed ("/." stays in front of a path that would otherwise look like an authority);
/// - an empty port and the scheme's default port dropped; a file's authority "localhost" empty; an empty path
///   after an authority "/";
/// - the query kept, an empty one too, and the fragment dropped.
/// "" for a text that has no scheme or does not parse. It takes time in proportion to the length. Any thread.
std::string normaliseUri(std::string_view pUri);

} // namespace kgen
