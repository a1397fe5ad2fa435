#include "drivers/support/sql_Scanner.h"

#include <algorithm>

namespace vel::kos::drivers {

namespace {

/// What may stand around a statement, besides comments.
constexpr std::string_view BLANKS = " \t\r\n\f;";

bool isDigit(char pChar) { return pChar >= '0' && pChar <= '9'; }

bool isNameStart(char pChar)
{
    return (pChar >= 'a' && pChar <= 'z') || (pChar >= 'A' && pChar <= 'Z') || pChar == '_' ||
           static_cast<unsigned char>(pChar) >= 0x80;
}

size_t nameLength(std::string_view pText, bool pDollar)
{
    size_t tAt = 0;
    while (tAt < pText.size() &&
           (isNameStart(pText[tAt]) || isDigit(pText[tAt]) || (pDollar && pText[tAt] == '$')))
        ++tAt;
    return tAt;
}

/// The length of a piece of text up to the first pClose from pOpen on; to the end when there is none.
size_t enclosed(std::string_view pText, size_t pOpen, std::string_view pClose)
{
    const auto tEnd = pText.find(pClose, std::min(pOpen, pText.size()));
    return tEnd == std::string_view::npos ? pText.size() : tEnd + pClose.size();
}

/// A doubled quote counts as the end of one text and the start of another, which comes to the same.
size_t quoted(std::string_view pText, bool pBackslashes)
{
    if (!pBackslashes) return enclosed(pText, 1, pText.substr(0, 1));
    size_t tAt = 1;
    while (tAt < pText.size() && pText[tAt] != pText[0])
        tAt += pText[tAt] == '\\' ? 2u : 1u;
    return std::min(tAt + 1, pText.size());
}

size_t comment(std::string_view pText, bool pNested)
{
    if (!pNested) return enclosed(pText, 2, "*/");
    size_t tAt = 2;
    for (int tDepth = 1; tDepth > 0 && tAt < pText.size();) {
        if (pText.substr(tAt, 2) == "/*" || pText.substr(tAt, 2) == "*/") {
            tDepth += pText[tAt] == '/' ? 1 : -1;
            tAt += 2;
        } else {
            ++tAt;
        }
    }
    return tAt;
}

/// The length of a comment to the end of the line.
size_t line(std::string_view pText, bool pReturnEnds)
{
    const auto tEnd = pText.find_first_of(pReturnEnds ? "\r\n" : "\n");
    return tEnd == std::string_view::npos ? pText.size() : tEnd + 1;
}

/// How far behind a quoted text it goes on: behind a line break, and comments. 0 when it does not.
size_t continuation(std::string_view pText)
{
    bool tNewLine = false;
    for (size_t tAt = 0; tAt < pText.size();) {
        const char tChar = pText[tAt];
        if (tChar == '\'') return tNewLine ? tAt : 0;
        if (pText.substr(tAt, 2) == "--") {
            tAt += line(pText.substr(tAt), true);
            tNewLine = true;
        } else if (tChar == '\n' || tChar == '\r' || tChar == ' ' || tChar == '\t' || tChar == '\f') {
            tNewLine = tNewLine || tChar == '\n' || tChar == '\r';
            ++tAt;
        } else {
            return 0;
        }
    }
    return 0;
}

/// The length of $tag$...$tag$; 0 when pText does not start with one.
size_t dollarQuoted(std::string_view pText)
{
    if (pText.size() > 1 && isDigit(pText[1])) return 0;
    const size_t tTag = 1 + nameLength(pText.substr(1), false);
    if (tTag >= pText.size() || pText[tTag] != '$') return 0;
    return enclosed(pText, tTag + 1, pText.substr(0, tTag + 1));
}

enum class Kind { OTHER, COMMENT, QUOTED, WORD };

/// What stands at the start of a text (not empty), and its length.
std::pair<Kind, size_t> token(std::string_view pText, const Dialect& pDialect)
{
    const char tChar = pText.front();
    switch (tChar) {
    case '\'':
    case '"':
        return {Kind::QUOTED, quoted(pText, pDialect.backslashes)};
    case '`':
        if (pDialect.backticks) return {Kind::QUOTED, quoted(pText, false)};
        break;
    case '[':
        if (pDialect.brackets) return {Kind::QUOTED, enclosed(pText, 1, "]")};
        break;
    case '$':
        if (pDialect.dollarQuotes)
            if (const size_t tLength = dollarQuoted(pText)) return {Kind::QUOTED, tLength};
        break;
    case '-':
        if (pText.substr(0, 2) == "--") return {Kind::COMMENT, line(pText, pDialect.returnEndsLine)};
        break;
    case '#':
        if (pDialect.hashComments) return {Kind::COMMENT, enclosed(pText, 1, "\n")};
        break;
    case '/':
        if (pDialect.bangComments && pText.substr(0, 3) == "/*!") break;
        if (pText.substr(0, 2) == "/*") return {Kind::COMMENT, comment(pText, pDialect.nestedComments)};
        break;
    default:
        break;
    }
    if (!isNameStart(tChar) && !isDigit(tChar)) return {Kind::OTHER, 1};
    const size_t tLength = nameLength(pText, pDialect.dollarQuotes);
    if (pDialect.escapeTexts && tLength == 1 && (tChar == 'e' || tChar == 'E') && pText.size() > 1 &&
        pText[1] == '\'') {
        // What follows a doubled quote, or stands on the next line, is still a text of this kind.
        size_t tEnd = 1;
        for (size_t tNext = 0; tEnd < pText.size() && pText[tEnd] == '\''; tEnd += tNext) {
            tEnd += quoted(pText.substr(tEnd), true);
            tNext = continuation(pText.substr(tEnd));
        }
        return {Kind::QUOTED, tEnd};
    }
    return {Kind::WORD, tLength};
}

/// A word in small letters.
std::string lower(std::string_view pText)
{
    std::string tWord(pText);
    for (char& tChar : tWord)
        if (tChar >= 'A' && tChar <= 'Z') tChar = static_cast<char>(tChar + ('a' - 'A'));
    return tWord;
}

/// Whether the words of a statement so far have begun the body of a function and not ended it.
class Body {
public:
    bool isOpen() const { return mDepth > 0; }
    void add(std::string pWord)
    {
        if (mDepth > 0)
            mDepth += pWord == "case" ? 1 : pWord == "end" ? -1 : 0;
        else if (pWord == "atomic" && mLast == "begin" && isRoutine())
            mDepth = 1;
        if (mFirst.size() < 4) mFirst.push_back(pWord);
        mLast = std::move(pWord);
    }

private:
    /// "create function", "create or replace procedure"
    bool isRoutine() const
    {
        const size_t tAt = mFirst.size() == 4 && mFirst[1] == "or" ? 3 : 1;
        return mFirst.size() > tAt && mFirst[0] == "create" &&
               (mFirst[tAt] == "function" || mFirst[tAt] == "procedure");
    }

    std::vector<std::string> mFirst;
    std::string mLast;
    int mDepth = 0;
};

/// One run of parseStatement.
class Parser {
public:
    Parser(std::string_view pSource, const Dialect& pDialect, Markers pMarkers)
        : mSource(pSource), mDialect(pDialect), mMarkers(pMarkers)
    {
    }

    ParsedStatement parse()
    {
        mResult.text.reserve(mSource.size() + 16);
        while (mAt < mSource.size() && mResult.problem.empty()) {
            const auto tRest = mSource.substr(mAt);
            const auto [tKind, tLength] = token(tRest, mDialect);
            if (tKind != Kind::OTHER)
                copy(tLength);
            else if (tRest[0] == '?')
                question(tRest);
            else if (tRest[0] == ':')
                colon(tRest);
            else if (tRest[0] == '$' && tRest.size() > 1 && isDigit(tRest[1]))
                fail("parameters are written \"?\" or \":name\"");
            else
                copy(1);
        }
        return std::move(mResult);
    }

private:
    void fail(const char* pProblem)
    {
        mResult.problem = pProblem;
        mResult.problemAt = mAt;
    }
    void copy(size_t pLength)
    {
        mResult.text += mSource.substr(mAt, pLength);
        mAt += std::min(pLength, mSource.size() - mAt);
    }
    void replace(size_t pLength, const std::string& pText)
    {
        mResult.text += pText;
        mAt += pLength;
        mResult.shifts.emplace_back(mResult.text.size(), mAt);
    }

    void question(std::string_view pRest)
    {
        const char tNext = pRest.size() > 1 ? pRest[1] : '\0';
        if (tNext == '?') {
            if (mDialect.questionOperator)
                replace(2, "?");
            else
                fail("the database has no operator \"?\"");
        } else if (isDigit(tNext)) {
            fail("parameters are written \"?\" or \":name\"");
        } else {
            parameter(1, {});
        }
    }
    void colon(std::string_view pRest)
    {
        if (pRest.size() > 1 && pRest[1] == ':') return copy(2);
        if (pRest.size() < 2 || !isNameStart(pRest[1])) return copy(1);
        const size_t tLength = nameLength(pRest.substr(1), false);
        parameter(tLength + 1, std::string(pRest.substr(1, tLength)));
    }
    void parameter(size_t pLength, std::string pName)
    {
        auto& tNames = mResult.names;
        if (!tNames.empty() && tNames.front().empty() != pName.empty())
            return fail("\"?\" and \":name\" do not go together in one statement");
        auto tFound = pName.empty() ? tNames.end() : std::find(tNames.begin(), tNames.end(), pName);
        const auto tNumber = static_cast<uint32_t>(tFound - tNames.begin());
        if (tFound == tNames.end()) tNames.push_back(std::move(pName));
        mResult.places.push_back(tNumber);
        std::string tMarker = mMarkers == Markers::DOLLAR ? "$" : "?";
        if (mMarkers != Markers::PLAIN) tMarker += std::to_string(tNumber + 1);
        replace(pLength, tMarker);
    }

    const std::string_view mSource;
    const Dialect& mDialect;
    const Markers mMarkers;
    size_t mAt = 0;
    ParsedStatement mResult;
};

} // namespace

size_t ParsedStatement::sourcePosition(size_t pPosition) const
{
    auto tNext = std::upper_bound(shifts.begin(), shifts.end(), pPosition,
                                  [](size_t pAt, const auto& pShift) { return pAt < pShift.first; });
    const auto [tText, tSource] = tNext == shifts.begin() ? std::pair<size_t, size_t>() : *(tNext - 1);
    return tSource + (pPosition - tText);
}

ParsedStatement parseStatement(std::string_view pSource, const Dialect& pDialect, Markers pMarkers)
{
    ParsedStatement tParsed = Parser(pSource, pDialect, pMarkers).parse();
    const std::string tWord = firstWord(pSource, pDialect);
    tParsed.rollsBack = tWord == "rollback" || tWord == "abort";
    return tParsed;
}

size_t statementLength(std::string_view pText, const Dialect& pDialect)
{
    Body tBody;
    for (size_t tAt = 0; tAt < pText.size();) {
        if (pText[tAt] == ';' && !tBody.isOpen()) return tAt + 1;
        const auto [tKind, tLength] = token(pText.substr(tAt), pDialect);
        if (tKind == Kind::WORD && pDialect.atomicBodies) tBody.add(lower(pText.substr(tAt, tLength)));
        tAt += tLength;
    }
    return pText.size();
}

std::vector<std::string> leadingWords(std::string_view pText, const Dialect& pDialect, size_t pMost)
{
    std::vector<std::string> tWords;
    while (!pText.empty() && tWords.size() < pMost) {
        const auto [tKind, tLength] = token(pText, pDialect);
        if (tKind == Kind::WORD) {
            tWords.push_back(lower(pText.substr(0, tLength)));
        } else if (tKind != Kind::COMMENT && BLANKS.find(pText.front()) == std::string_view::npos) {
            tWords.emplace_back();
            break;
        }
        pText.remove_prefix(tLength);
    }
    return tWords;
}

std::string firstWord(std::string_view pText, const Dialect& pDialect)
{
    const std::vector<std::string> tWords = leadingWords(pText, pDialect, 1);
    return tWords.empty() ? std::string() : tWords[0];
}

std::string bareStatement(std::string_view pText, const Dialect& pDialect)
{
    size_t tFirst = pText.size(), tEnd = 0;
    for (size_t tAt = 0; tAt < pText.size();) {
        const auto [tKind, tLength] = token(pText.substr(tAt), pDialect);
        const bool tIsPart = tKind != Kind::COMMENT && BLANKS.find(pText[tAt]) == std::string_view::npos;
        if (tIsPart) tFirst = std::min(tFirst, tAt);
        tAt += tLength;
        if (tIsPart) tEnd = tAt;
    }
    return std::string(pText.substr(std::min(tFirst, tEnd), tEnd - std::min(tFirst, tEnd)));
}

bool isBlank(std::string_view pText, const Dialect& pDialect)
{
    while (!pText.empty()) {
        const auto [tKind, tLength] = token(pText, pDialect);
        if (tKind != Kind::COMMENT && BLANKS.find(pText.front()) == std::string_view::npos) return false;
        pText.remove_prefix(tLength);
    }
    return true;
}

} // namespace vel::kos::drivers
