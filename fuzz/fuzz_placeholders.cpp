// Statements as texts: a statement changes in its markers, and in nothing else; its parts are a whole; what
// is left of it without blanks and comments says the same.
#include <algorithm>

#include "drivers/support/sql_Scanner.h"
#include "fuzz/fuzz_support.h"

using namespace vel::kos::drivers;

namespace {

void parse(std::string_view pText, const Dialect& pDialect, Markers pMarkers)
{
    const ParsedStatement tParsed = parseStatement(pText, pDialect, pMarkers);
    if (!tParsed.problem.empty()) {
        require(tParsed.problemAt < pText.size());
        return;
    }
    require(tParsed.names.size() <= tParsed.places.size());
    for (const uint32_t tPlace : tParsed.places)
        require(tPlace < tParsed.names.size());
    // What stands between two markers is what stood there.
    size_t tText = 0, tSource = 0;
    for (const auto& [tTextEnd, tSourceEnd] : tParsed.shifts) {
        require(tText <= tTextEnd && tTextEnd <= tParsed.text.size());
        require(tSource < tSourceEnd && tSourceEnd <= pText.size());
        const auto tLength =
            static_cast<size_t>(std::mismatch(tParsed.text.begin() + static_cast<std::ptrdiff_t>(tText),
                                              tParsed.text.begin() + static_cast<std::ptrdiff_t>(tTextEnd),
                                              pText.begin() + static_cast<std::ptrdiff_t>(tSource),
                                              pText.begin() + static_cast<std::ptrdiff_t>(tSourceEnd))
                                    .first -
                                (tParsed.text.begin() + static_cast<std::ptrdiff_t>(tText)));
        // The marker is all that differs, and has no more than ten digits.
        require(tText + tLength + 12 >= tTextEnd);
        require(tParsed.sourcePosition(tTextEnd) == tSourceEnd);
        tText = tTextEnd;
        tSource = tSourceEnd;
    }
    require(tParsed.text.substr(tText) == pText.substr(tSource));
}

void words(std::string_view pText, const Dialect& pDialect)
{
    const std::string tBare = bareStatement(pText, pDialect);
    require(pText.find(tBare) != std::string_view::npos);
    require(tBare.empty() == isBlank(pText, pDialect));
    require(bareStatement(tBare, pDialect) == tBare);
    const auto tWords = leadingWords(pText, pDialect, 3);
    require(tWords.size() <= 3);
    require(firstWord(pText, pDialect) == (tWords.empty() ? "" : tWords[0]));
    require(firstWord(tBare, pDialect) == firstWord(pText, pDialect));
    for (const std::string& tWord : tWords)
        require(std::none_of(tWord.begin(), tWord.end(),
                             [](char pChar) { return pChar >= 'A' && pChar <= 'Z'; }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const std::string_view tText = toText(pData, pSize);
    for (const Dialect& tDialect :
         {Dialect{}, Dialect{.backticks = true, .brackets = true},
          Dialect{
              .nestedComments = true, .dollarQuotes = true, .escapeTexts = true, .questionOperator = true},
          Dialect{.backslashes = true, .backticks = true, .hashComments = true},
          Dialect{.backslashes = true, .hashComments = true, .bangComments = true, .returnEndsLine = true}}) {
        for (const Markers tMarkers : {Markers::DOLLAR, Markers::NUMBERED, Markers::PLAIN})
            parse(tText, tDialect, tMarkers);
        for (size_t tAt = 0; tAt < tText.size();) {
            const size_t tLength = statementLength(tText.substr(tAt), tDialect);
            require(tLength > 0 && tLength <= tText.size() - tAt);
            tAt += tLength;
        }
        words(tText, tDialect);
    }
    return 0;
}
