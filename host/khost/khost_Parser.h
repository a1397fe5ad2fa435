// From the words of a command line to a command and its arguments. Only khost_Parser.cpp knows the library
// behind it, which is slow to compile.
#pragma once

#include <string>
#include <vector>

#include "host/khost/khost_Command.h"

namespace vel::kos::host {

/// What the words of a line mean.
struct ParsedLine {
    enum Kind { RUN, SHOW, WRONG };

    Kind kind = WRONG;
    const Command* command = nullptr; ///< RUN: what to do
    Arguments arguments;              ///< RUN: with what
    std::string text;                 ///< SHOW: what to print; WRONG: what was wrongly typed, for people
};

/// Parses the words that follow the program's name, or those of a line of the shell.
ParsedLine parseLine(const std::vector<std::string>& pWords, bool pInShell);

} // namespace vel::kos::host
