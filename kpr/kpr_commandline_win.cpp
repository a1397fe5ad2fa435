#include "kpr/kpr_commandline_win.h"

namespace {

bool isBlank(wchar_t pChar) { return pChar == L' ' || pChar == L'\t'; }

void skipBlanks(std::wstring_view* pLine)
{
    while (!pLine->empty() && isBlank(pLine->front()))
        pLine->remove_prefix(1);
}

// A path, in which a backslash is a backslash and nothing quotes a quotation mark.
std::wstring takeProgram(std::wstring_view* pLine)
{
    std::wstring tProgram;
    bool tQuoted = false;
    for (; !pLine->empty() && (tQuoted || !isBlank(pLine->front())); pLine->remove_prefix(1)) {
        if (pLine->front() == L'"')
            tQuoted = !tQuoted;
        else
            tProgram += pLine->front();
    }
    return tProgram;
}

// Backslashes count only in front of a quotation mark: two stand for one, and an odd one takes the mark for a
// character. Two marks within a quotation are one character.
std::wstring takeArgument(std::wstring_view* pLine)
{
    std::wstring tArgument;
    bool tQuoted = false;
    while (!pLine->empty() && (tQuoted || !isBlank(pLine->front()))) {
        size_t tBackslashes = pLine->find_first_not_of(L'\\');
        if (tBackslashes == pLine->npos) tBackslashes = pLine->size();
        pLine->remove_prefix(tBackslashes);
        if (pLine->empty() || pLine->front() != L'"') {
            tArgument.append(tBackslashes, L'\\');
            if (pLine->empty() || (!tQuoted && isBlank(pLine->front()))) break;
            tArgument += pLine->front();
        } else {
            tArgument.append(tBackslashes / 2, L'\\');
            const bool tDoubled = tQuoted && pLine->size() > 1 && (*pLine)[1] == L'"';
            if (tBackslashes % 2)
                tArgument += L'"';
            else if (tDoubled) {
                tArgument += L'"';
                pLine->remove_prefix(1);
            } else
                tQuoted = !tQuoted;
        }
        pLine->remove_prefix(1);
    }
    return tArgument;
}

} // namespace

namespace kpr {

std::vector<std::wstring> splitCommandLine(std::wstring_view pLine)
{
    std::vector<std::wstring> tArguments = {takeProgram(&pLine)};
    for (skipBlanks(&pLine); !pLine.empty(); skipBlanks(&pLine))
        tArguments.push_back(takeArgument(&pLine));
    return tArguments;
}

std::string quoteArgument(const std::string& pArgument)
{
    std::string tQuoted = "\"";
    size_t tBackslashes = 0;
    for (const char tChar : pArgument) {
        if (tChar == '"') tQuoted.append(tBackslashes + 1, '\\');
        tBackslashes = tChar == '\\' ? tBackslashes + 1 : 0;
        tQuoted += tChar;
    }
    return tQuoted.append(tBackslashes, '\\') + '"';
}

} // namespace kpr
