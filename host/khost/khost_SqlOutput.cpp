#include "host/khost/khost_SqlOutput.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/khost/khost_Console.h"
#include "host/khost/khost_Session.h"
#include "kgen/escape.h"

namespace vel::kos::host {

namespace {

/// The rows by which the width of a table's columns is measured.
constexpr size_t MEASURED = 1000;

std::string hexadecimal(std::string_view pBytes)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string tText;
    for (const char tByte : pBytes)
        tText.append({DIGITS[static_cast<unsigned char>(tByte) >> 4], DIGITS[tByte & 15]});
    return tText;
}

bool isNumber(const sql::SqlValue& pValue)
{
    return pValue.mType == sql::SQL_VALUE_INTEGER || pValue.mType == sql::SQL_VALUE_DOUBLE ||
           pValue.mType == sql::SQL_VALUE_DECIMAL;
}

std::string_view dataOf(const sql::SqlValue& pValue)
{
    return {pValue.mData ? pValue.mData : "", static_cast<size_t>(pValue.mSize)};
}

/// A value that is not NULL; bytes as hexadecimal digits.
std::string plainText(const sql::SqlValue& pValue)
{
    if (pValue.mType == sql::SQL_VALUE_INTEGER) return std::to_string(pValue.mInteger);
    if (pValue.mType == sql::SQL_VALUE_BYTES) return hexadecimal(dataOf(pValue));
    if (pValue.mType != sql::SQL_VALUE_DOUBLE) return std::string(dataOf(pValue));
    char tBuffer[40];
    return std::string(tBuffer, std::to_chars(tBuffer, tBuffer + sizeof tBuffer, pValue.mDouble).ptr);
}

/// A text as a tab-separated line takes it.
std::string tabText(std::string_view pText)
{
    std::string tText;
    for (const char tChar : pText) {
        constexpr std::string_view PLAIN = "\t\n\r\\", NAMES = "tnr\\";
        if (const auto tAt = PLAIN.find(tChar); tAt != std::string_view::npos)
            tText.append("\\").append(1, NAMES[tAt]);
        else
            tText += tChar;
    }
    return tText;
}

/// A field of a tab-separated line: "\\N" for null, "\\x" before the digits of bytes, and tabs, line breaks
/// and backslashes as \\t, \\n, \\r and \\\\.
std::string fieldText(const sql::SqlValue& pValue)
{
    if (pValue.mType == sql::SQL_VALUE_NULL) return "\\N";
    if (pValue.mType == sql::SQL_VALUE_BYTES) return "\\x" + plainText(pValue);
    return tabText(plainText(pValue));
}

/// A field as RFC 4180 has it. NULL is empty, and an empty text is quoted.
std::string csvText(std::string_view pText)
{
    if (!pText.empty() && pText.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(pText);
    std::string tText = "\"";
    for (const char tChar : pText)
        tText.append(tChar == '"' ? 2 : 1, tChar);
    return tText + '"';
}

Json jsonValue(const sql::SqlValue& pValue)
{
    switch (pValue.mType) {
    case sql::SQL_VALUE_NULL:
        return {};
    case sql::SQL_VALUE_INTEGER:
        return pValue.mInteger;
    case sql::SQL_VALUE_DOUBLE:
        // JSON has no infinite numbers.
        return pValue.mDouble - pValue.mDouble == 0 ? Json(pValue.mDouble) : Json(plainText(pValue));
    case sql::SQL_VALUE_BYTES:
        return Json::object({{"bytes", plainText(pValue)}});
    default:
        return plainText(pValue);
    }
}

/// How many columns of a terminal a text takes, as far as its characters take one each.
size_t width(std::string_view pText)
{
    return static_cast<size_t>(std::count_if(pText.begin(), pText.end(), [](char pChar) {
        return (static_cast<unsigned char>(pChar) & 0xC0) != 0x80;
    }));
}

/// Numbers names that occur again: "a", "a:2".
void makeUnique(std::vector<std::string>& pNames)
{
    std::set<std::string> tTaken;
    for (std::string& tName : pNames) {
        std::string tUnique = tName;
        for (unsigned i = 2; !tTaken.insert(tUnique).second; ++i)
            tUnique = tName + ":" + std::to_string(i);
        tName = std::move(tUnique);
    }
}

class Printer {
public:
    Printer(Session& pSession, SqlForm pForm, bool pHeader, std::vector<std::string> pNames)
        : mSession(pSession), mForm(pForm), mHeader(pHeader), mNames(std::move(pNames))
    {
        if (mForm == SqlForm::JSON) makeUnique(mNames);
        if (mForm == SqlForm::CSV || (mForm == SqlForm::TABS && mHeader)) printNames();
    }

    void add(const sql::SqlValueList& pRow)
    {
        std::string tLine;
        auto tObject = Json::object();
        std::vector<Field> tFields;
        for (uint32_t i = 0; i < pRow.mCount; ++i) {
            const sql::SqlValue& tValue = pRow.mValues[i];
            const bool tNull = tValue.mType == sql::SQL_VALUE_NULL;
            if (mForm == SqlForm::JSON)
                tObject.set(mNames[i], jsonValue(tValue));
            else if (mForm == SqlForm::TABLE)
                tFields.push_back(
                    {tNull ? "NULL" : kgen::escapeControls(plainText(tValue)), isNumber(tValue)});
            else if (mForm == SqlForm::TABS)
                tLine += (i ? "\t" : "") + fieldText(tValue);
            else
                tLine += (i ? "," : "") + (tNull ? std::string() : csvText(plainText(tValue)));
        }
        if (mForm == SqlForm::JSON)
            mJson.add(std::move(tObject));
        else if (mForm == SqlForm::TABLE)
            addToTable(std::move(tFields));
        else
            printText(tLine);
    }
    void end()
    {
        if (mForm == SqlForm::JSON) mSession.printJson(mJson);
        if (mForm == SqlForm::TABLE && !mMeasured) printTable();
    }

private:
    struct Field {
        std::string text;
        bool isNumber;
    };

    void printNames()
    {
        std::string tLine;
        for (size_t i = 0; i < mNames.size(); ++i)
            tLine += (i ? mForm == SqlForm::CSV ? "," : "\t" : "") +
                     (mForm == SqlForm::CSV ? csvText(mNames[i]) : tabText(mNames[i]));
        if (!mNames.empty()) printText(tLine);
    }
    /// A line for programs ends as its form says; one for people is one line, whatever the values hold.
    void printText(const std::string& pLine)
    {
        const bool tCsv = mForm == SqlForm::CSV && !isTerminal(Stream::OUTPUT);
        mSession.print(mSession.shown(pLine) + (tCsv ? "\r\n" : "\n"));
    }
    void addToTable(std::vector<Field> pFields)
    {
        if (mMeasured) return printLine(pFields);
        mRows.push_back(std::move(pFields));
        if (mRows.size() == MEASURED) printTable();
    }
    void printTable()
    {
        mMeasured = true;
        if (mNames.empty()) return;
        std::vector<Field> tNames, tRule;
        for (size_t i = 0; i < mNames.size(); ++i) {
            tNames.push_back({kgen::escapeControls(mNames[i]), false});
            size_t tWidth = width(tNames[i].text);
            for (const auto& tRow : mRows)
                tWidth = std::max(tWidth, width(tRow[i].text));
            mWidths.push_back(tWidth);
            tRule.push_back({std::string(tWidth, '-'), false});
        }
        printLine(tNames);
        printLine(tRule);
        for (const auto& tRow : mRows)
            printLine(tRow);
        mRows.clear();
    }
    void printLine(const std::vector<Field>& pFields)
    {
        std::string tLine;
        for (size_t i = 0; i < pFields.size(); ++i) {
            const size_t tWidth = width(pFields[i].text);
            const std::string tBlanks(mWidths[i] > tWidth ? mWidths[i] - tWidth : 0, ' ');
            tLine += (i ? "  " : "") +
                     (pFields[i].isNumber ? tBlanks + pFields[i].text : pFields[i].text + tBlanks);
        }
        while (!tLine.empty() && tLine.back() == ' ')
            tLine.pop_back();
        mSession.print(tLine + "\n");
    }

    Session& mSession;
    const SqlForm mForm;
    const bool mHeader;
    std::vector<std::string> mNames;
    Json mJson = Json::array();
    bool mMeasured = false;
    std::vector<size_t> mWidths;
    std::vector<std::vector<Field>> mRows; ///< those by which the widths are measured
};

} // namespace

uint32_t printSqlRows(Session& pSession, sql::ISqlRows* pRows, SqlForm pForm, bool pHeader, uint64_t* pCount)
{
    *pCount = 0;
    sql::SqlColumnList tColumns{};
    if (auto tRes = pRows->getColumns(&tColumns); KFAILED(tRes)) return tRes;
    std::vector<std::string> tNames;
    for (uint32_t i = 0; i < tColumns.mCount; ++i)
        tNames.emplace_back(tColumns.mColumns[i].mName);
    komFree(tColumns.mColumns);
    Printer tPrinter(pSession, pForm, pHeader, std::move(tNames));
    for (;; ++*pCount) {
        sql::SqlValueList tRow{};
        if (auto tRes = pRows->next(&tRow); KFAILED(tRes)) return tRes;
        if (!tRow.mValues) break;
        tPrinter.add(tRow);
    }
    tPrinter.end();
    return 0;
}

} // namespace vel::kos::host
