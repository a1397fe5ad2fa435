// Values and columns as the drivers keep them, and the blocks in which they are handed out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kfw/sql/SqlValue.h"

namespace vel::kos::drivers {

/// A value with its own copy of its data.
class OwnedValue {
public:
    OwnedValue() = default;
    explicit OwnedValue(const sql::SqlValue& pValue) : mValue(pValue)
    {
        if (pValue.mSize > 0) mData.assign(pValue.mData, static_cast<size_t>(pValue.mSize));
    }
    /// Valid until it is moved, copied over or destroyed.
    sql::SqlValue value() const
    {
        sql::SqlValue tValue = mValue;
        if (tValue.mData) tValue.mData = mData.c_str();
        return tValue;
    }

private:
    sql::SqlValue mValue = sql::nullValue();
    std::string mData;
};

struct Column {
    std::string name;
    std::string declaredType;
    uint32_t type = sql::SQL_VALUE_NULL;
    uint32_t nullable = sql::SQL_NULLS_UNKNOWN;
};

using Columns = std::vector<Column>;

/// Whether a value has a known type, and data where it has a size.
bool isValue(const sql::SqlValue& pValue);
/// Whether a text is written as the dates, times, timestamps or decimals of a type are. Where columns hold
/// whatever was put there, only what looks so is one.
bool looksLike(uint32_t pType, std::string_view pText);
/// Whether values of a type are held by mData and mSize.
inline bool hasData(uint32_t pType) { return pType >= sql::SQL_VALUE_TEXT; }

/// The columns in one block of kom's heap.
sql::SqlColumnList toBlock(const Columns& pColumns);
/// Gathers rows and puts them into one block of kom's heap.
class BlockWriter {
public:
    void add(const sql::SqlValue* pRow, uint32_t pColumns);
    sql::SqlRowBlock toBlock() const;

private:
    uint32_t mRows = 0;
    uint32_t mColumns = 0;
    std::vector<sql::SqlValue> mValues; ///< mData is not theirs
    std::string mData;                  ///< of all values, in order, a NUL behind each
};

/// The double that reads back as the same number, as text: "inf", "-inf", "nan" apart.
std::string toText(double pNumber);

} // namespace vel::kos::drivers
