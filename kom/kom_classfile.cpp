#include "kom/kom_classfile.h"

#include <algorithm>
#include <utility>

namespace kom {

namespace {

constexpr std::string_view HEADER = "kom-classes ";
constexpr std::string_view VERSION = "1";
constexpr size_t ID_LENGTH = 36;
constexpr std::string_view HEX = "0123456789ABCDEF";

bool isControl(char pChar)
{
    const auto tByte = static_cast<unsigned char>(pChar);
    return tByte < 0x20 || tByte == 0x7F;
}

/// A "%" and two digits stand for each byte that would break the line, and for "%".
std::string escape(std::string_view pText)
{
    std::string tEscaped;
    for (const char tChar : pText) {
        if (tChar != '%' && !isControl(tChar)) {
            tEscaped += tChar;
            continue;
        }
        const auto tByte = static_cast<unsigned char>(tChar);
        tEscaped += {'%', HEX[tByte >> 4], HEX[tByte & 0xFu]};
    }
    return tEscaped;
}

bool unescape(std::string_view pText, std::string& pPlain)
{
    pPlain.clear();
    for (size_t i = 0; i < pText.size(); ++i) {
        if (pText[i] != '%') {
            pPlain += pText[i];
            continue;
        }
        if (pText.size() - i < 3) return false;
        const size_t tHigh = HEX.find(pText[i + 1]), tLow = HEX.find(pText[i + 2]);
        if (tHigh == std::string_view::npos || tLow == std::string_view::npos) return false;
        const char tChar = static_cast<char>(tHigh << 4 | tLow);
        if (tChar == '\0' || (tChar != '%' && !isControl(tChar))) return false;
        pPlain += tChar;
        i += 2;
    }
    return true;
}

/// Takes the next line off the text, without its end; false when the line has none.
bool takeLine(std::string_view& pText, std::string_view& pLine)
{
    const size_t tEnd = pText.find('\n');
    if (tEnd == std::string_view::npos) return false;
    pLine = pText.substr(0, tEnd);
    pText.remove_prefix(tEnd + 1);
    if (pLine.ends_with('\r')) pLine.remove_suffix(1);
    return true;
}

class Parser {
public:
    explicit Parser(ClassFile& pFile) : mFile(pFile) {}

    /// What is wrong, or "".
    std::string addHeader(std::string_view pLine)
    {
        if (!pLine.starts_with(HEADER)) return "not the first line of a class registry";
        if (pLine.substr(HEADER.size()) != VERSION) return "a format version that is not supported";
        return {};
    }
    std::string addLine(std::string_view pLine, uint64_t pNumber)
    {
        const bool tComment = pLine.empty() || pLine.front() == '#';
        if (std::any_of(pLine.begin(), pLine.end(),
                        [&](char pChar) { return isControl(pChar) && !(tComment && pChar == '\t'); }))
            return "a control character";
        if (tComment) {
            mFile.comments.append(pLine) += '\n';
            return {};
        }
        const std::string_view tId = pLine.substr(0, pLine.find(' '));
        if (!isClassId(tId)) return "no class identity at its start";
        if (pLine.size() <= ID_LENGTH + 1) return "no module path";
        ClassEntry tEntry;
        if (!unescape(pLine.substr(ID_LENGTH + 1), tEntry.module)) return "a wrong escape in the module path";
        const auto [tOld, tNew] = mLines.try_emplace(std::string(tId), pNumber);
        if (!tNew) return "the class of line " + std::to_string(tOld->second) + " again";
        tEntry.comments = std::exchange(mFile.comments, {});
        mFile.classes.emplace(tId, std::move(tEntry));
        return {};
    }

private:
    ClassFile& mFile;
    std::map<std::string, uint64_t> mLines;
};

} // namespace

bool isClassId(std::string_view pText)
{
    if (pText.size() != ID_LENGTH) return false;
    for (size_t i = 0; i < ID_LENGTH; ++i) {
        const bool tDash = i == 8 || i == 13 || i == 18 || i == 23;
        const char tChar = pText[i];
        const bool tHex = (tChar >= '0' && tChar <= '9') || (tChar >= 'a' && tChar <= 'f');
        if (tDash ? tChar != '-' : !tHex) return false;
    }
    return true;
}

bool parseClassFile(std::string_view pText, ClassFile& pFile, ClassFileProblem& pProblem)
{
    pFile = {};
    Parser tParser(pFile);
    uint64_t tNumber = 0;
    do {
        ++tNumber;
        std::string_view tLine;
        std::string tProblem = "it is cut short";
        if (takeLine(pText, tLine))
            tProblem = tNumber == 1 ? tParser.addHeader(tLine) : tParser.addLine(tLine, tNumber);
        if (tProblem.empty()) continue;
        pProblem = {tNumber, std::move(tProblem)};
        pFile = {};
        return false;
    } while (!pText.empty());
    return true;
}

std::string composeClassFile(const ClassFile& pFile)
{
    std::string tText = std::string(HEADER) + std::string(VERSION) + "\n";
    for (const auto& [tId, tEntry] : pFile.classes) {
        tText += tEntry.comments;
        tText += tId;
        tText += ' ';
        tText += escape(tEntry.module);
        tText += '\n';
    }
    return tText + pFile.comments;
}

} // namespace kom
