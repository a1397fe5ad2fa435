// Times, sizes and columns as khost shows them.
#pragma once

#include <cstdint>
#include <string>

namespace vel::kos::host {

/// A time in seconds since 1970-01-01 00:00:00 UTC, of any year: "2026-11-20T19:08:00Z".
std::string utcTime(int64_t pSeconds);
/// A size in bytes for people: "17.0 MiB".
std::string readableSize(uint64_t pBytes);
/// A span of seconds for people, in its two largest units: "2 d 5 h", "40 s"; with "-" before a negative one.
std::string readableSpan(int64_t pSeconds);
/// A text that ends in a column of that width, with blanks before it.
std::string padded(const std::string& pText, std::size_t pWidth);

} // namespace vel::kos::host
