// The pages that are made from the table of commands.
#pragma once

#include <string>

namespace vel::kos::host {

/// The manual page khost(1), in the man macros of roff, without its last line end.
std::string manualPage();
/// docs/khost.md, without its last line end.
std::string markdownPage();

} // namespace vel::kos::host
