// Words: of a shell line, and as errors repeat them.
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

/// A word that the user gave, as the text of an error repeats it: a description or an address of a database
/// may stand anywhere by mistake, so it has "..." for what follows a "=" and for what stands before the "@"
/// of an address.
std::string shownWord(std::string_view pWord);

} // namespace vel::kos::host
