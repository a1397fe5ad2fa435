// The class registry's text, in memory. docs/class-registry.md describes the format for its readers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace kom {

struct ClassEntry {
    std::string module;   ///< path of the module that provides the class; any bytes but NUL, not empty
    std::string comments; ///< the comment and empty lines before the class, each with its line feed
};

/// The content of a class registry.
struct ClassFile {
    std::map<std::string, ClassEntry, std::less<>> classes; ///< by class identity
    std::string comments;                                   ///< those after the last class
};

/// What is wrong with a text that is no class registry, and in which line (from 1).
struct ClassFileProblem {
    uint64_t line = 0;
    std::string text;
};

/// Whether a text is a class identity: a UUID of 36 characters in lower case.
bool isClassId(std::string_view pText);

/// Parses strictly what composeClassFile writes; classes may be in any order and lines may end in CR LF. On
/// the first other line returns false, sets pProblem and empties pFile.
bool parseClassFile(std::string_view pText, ClassFile& pFile, ClassFileProblem& pProblem);

/// The text of a registry, the classes in ascending order.
std::string composeClassFile(const ClassFile& pFile);

} // namespace kom
