// Statements as texts: where one ends, and where its parameters stand.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel::kos::drivers {

/// What the text of a statement may hold beside '...', "...", -- and /* */.
struct Dialect {
    bool nestedComments = false;   ///< /* /* */ */
    bool dollarQuotes = false;     ///< $tag$...$tag$, and "$" within names
    bool escapeTexts = false;      ///< E'it\'s'
    bool backslashes = false;      ///< 'it\'s' and "it\"s"
    bool backticks = false;        ///< `name`
    bool brackets = false;         ///< [name]
    bool hashComments = false;     ///< # to the end of the line
    bool questionOperator = false; ///< "?", written "??"
    bool bangComments = false;     ///< what stands in /*! */ is no comment
    bool returnEndsLine = false;   ///< "\r" alone ends a -- comment as well
    bool atomicBodies = false;     ///< BEGIN ATOMIC ...; ...; END of a function's text
};

/// How parameters are given to the database.
enum class Markers {
    DOLLAR,   ///< $1, $2, a number for each parameter
    NUMBERED, ///< ?1, ?2, likewise
    PLAIN,    ///< ? for each place where one stands
};

/// A statement as its database takes it.
struct ParsedStatement {
    std::string text;
    std::vector<std::string> names; ///< one for each parameter, "" for a "?"
    std::vector<uint32_t> places;   ///< the parameter of each place where one stands, in order
    bool rollsBack = false;         ///< it begins with the word for that: for running it many times
    std::string problem;            ///< why it cannot be taken; "" when it can
    size_t problemAt = 0;

    /// Where a byte of the text stood in what was parsed.
    size_t sourcePosition(size_t pPosition) const;

    std::vector<std::pair<size_t, size_t>> shifts; ///< from here in the text, it is from there in the source
};

ParsedStatement parseStatement(std::string_view pSource, const Dialect& pDialect, Markers pMarkers);

/// The length of the statement at the start of a text, with the ";" that ends it.
size_t statementLength(std::string_view pText, const Dialect& pDialect);
/// The word that a statement begins with, in small letters; "" when it begins with none.
std::string firstWord(std::string_view pText, const Dialect& pDialect);
/// The words that a statement begins with, in small letters, up to pMost of them; "" stands for whatever else
/// comes before or behind them.
std::vector<std::string> leadingWords(std::string_view pText, const Dialect& pDialect, size_t pMost);
/// A statement without the blanks, comments and ";" before and behind it.
std::string bareStatement(std::string_view pText, const Dialect& pDialect);
/// Whether a text holds nothing but blanks, comments and ";".
bool isBlank(std::string_view pText, const Dialect& pDialect);

} // namespace vel::kos::drivers
