// Splitting a shell line into words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::kos::host {

/// Blanks and tabs separate words. In single quotes every character stands for itself; in double quotes a
/// backslash takes the meaning from a following double quote or backslash; outside of quotes also from a
/// blank, a tab, a single quote or "#". Before anything else a backslash stands for itself, so that
/// C:\dir\file needs no quotes. "#" at the start of a word begins a comment. False for a quote that is not
/// closed.
bool splitWords(std::string_view pLine, std::vector<std::string>& pWords);

} // namespace vel::kos::host
