#include "drivers/support/sql_Values.h"

#include <charconv>
#include <cstring>
#include <utility>

#include "kom/heap.h"

namespace vel::kos::drivers {

namespace {

bool isDigit(char pChar) { return pChar >= '0' && pChar <= '9'; }

/// Whether a text begins as a pattern says, in which "0" is any digit.
bool fits(std::string_view pText, std::string_view pPattern)
{
    if (pText.size() < pPattern.size()) return false;
    for (size_t i = 0; i < pPattern.size(); ++i)
        if (pPattern[i] == '0' ? !isDigit(pText[i]) : pText[i] != pPattern[i]) return false;
    return true;
}

} // namespace

bool isValue(const sql::SqlValue& pValue)
{
    return pValue.mType <= sql::SQL_VALUE_TIMESTAMP &&
           (!hasData(pValue.mType) || pValue.mData || pValue.mSize == 0);
}

sql::SqlColumnList toBlock(const Columns& pColumns)
{
    size_t tTexts = 0;
    for (const Column& tColumn : pColumns)
        tTexts += tColumn.name.size() + tColumn.declaredType.size() + 2;
    const size_t tRecords = pColumns.size() * sizeof(sql::SqlColumn);
    char* const tBlock = static_cast<char*>(komCalloc(pColumns.empty() ? 0 : 1, tRecords + tTexts));
    auto* const tList = static_cast<sql::SqlColumn*>(static_cast<void*>(tBlock));
    char* tText = tBlock ? tBlock + tRecords : nullptr;
    const auto tPut = [&tText](const std::string& pText) {
        std::memcpy(tText, pText.c_str(), pText.size() + 1);
        return std::exchange(tText, tText + pText.size() + 1);
    };
    for (size_t i = 0; i < pColumns.size(); ++i) {
        const Column& tColumn = pColumns[i];
        tList[i] = {tColumn.type, tColumn.nullable, tPut(tColumn.name), tPut(tColumn.declaredType)};
    }
    return {static_cast<uint32_t>(pColumns.size()), tList};
}

void BlockWriter::add(const sql::SqlValue* pRow, uint32_t pColumns)
{
    ++mRows;
    mColumns = pColumns;
    for (uint32_t i = 0; i < pColumns; ++i) {
        mValues.push_back(pRow[i]);
        if (!hasData(pRow[i].mType)) continue;
        if (pRow[i].mSize > 0) mData.append(pRow[i].mData, static_cast<size_t>(pRow[i].mSize));
        mData += '\0';
    }
}

sql::SqlRowBlock BlockWriter::toBlock() const
{
    const size_t tRecords = mValues.size() * sizeof(sql::SqlValue);
    char* const tBlock = static_cast<char*>(komCalloc(mValues.empty() ? 0 : 1, tRecords + mData.size()));
    if (!tBlock) return {};
    std::memcpy(tBlock, mValues.data(), tRecords);
    std::memcpy(tBlock + tRecords, mData.data(), mData.size());
    auto* const tValues = static_cast<sql::SqlValue*>(static_cast<void*>(tBlock));
    const char* tData = tBlock + tRecords;
    for (size_t i = 0; i < mValues.size(); ++i)
        if (hasData(tValues[i].mType)) {
            tValues[i].mData = tData;
            tData += tValues[i].mSize + 1;
        }
    return {mRows, mColumns, tValues};
}

bool looksLike(uint32_t pType, std::string_view pText)
{
    switch (pType) {
    case sql::SQL_VALUE_DATE:
        return pText.size() == 10 && fits(pText, "0000-00-00");
    case sql::SQL_VALUE_TIME:
        return fits(pText, "00:00:00");
    case sql::SQL_VALUE_TIMESTAMP:
        return fits(pText, "0000-00-00 00:00:00");
    case sql::SQL_VALUE_DECIMAL:
        return pText.find_first_not_of("-.0123456789") == std::string_view::npos && !pText.empty();
    default:
        return false;
    }
}

std::string toText(double pNumber)
{
    char tBuffer[40];
    const auto tEnd = std::to_chars(tBuffer, tBuffer + sizeof tBuffer, pNumber);
    return std::string(tBuffer, tEnd.ptr);
}

} // namespace vel::kos::drivers
