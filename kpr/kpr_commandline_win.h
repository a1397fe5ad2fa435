// The one line of text that a Windows program gets its arguments in, made and taken apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kpr {

/// The arguments of a command line, the program's name first, as the C library's main functions see them.
/// (The system's own function for it would bring in the window system.) The first is "" for an empty line.
std::vector<std::wstring> splitCommandLine(std::wstring_view pLine);

/// Text of a command line that the child's start takes for one argument, whatever is in it.
std::string quoteArgument(const std::string& pArgument);

} // namespace kpr
