// What goes into statements and comes out of them: values with types, columns, errors. Plain records.
#pragma once

#include <cstdint>

namespace vel::kos::sql {

/// What a value is.
enum SqlType : uint32_t {
    SQL_VALUE_NULL = 0,
    SQL_VALUE_INTEGER = 1,   ///< 64 bits with sign; a truth value is 1 or 0
    SQL_VALUE_DOUBLE = 2,    ///< 64 bits as IEEE 754 has them
    SQL_VALUE_TEXT = 3,      ///< UTF-8, of any length, NULs among it where the database has them
    SQL_VALUE_BYTES = 4,     ///< bytes of any length
    SQL_VALUE_DECIMAL = 5,   ///< an exact number as text: "-12.50"
    SQL_VALUE_DATE = 6,      ///< "2026-01-31"
    SQL_VALUE_TIME = 7,      ///< "23:59:59.5", with "+02:00" behind it where the type has a zone
    SQL_VALUE_TIMESTAMP = 8, ///< "2026-01-31 23:59:59.5", with "+02:00" behind it where the type has a zone
};

/// One value. mInteger, mDouble or mData with mSize counts, as mType says; the others are 0. mData has mSize
/// bytes (a value that was handed out has a NUL behind them) and may be null when mSize is 0.
struct SqlValue {
    uint32_t mType; ///< SqlType
    uint32_t mReserved;
    int64_t mInteger;
    double mDouble;
    uint64_t mSize;
    const char* mData;
};

/// Values in order. Who owns them is said where a list is taken or given.
struct SqlValueList {
    uint32_t mCount;
    const SqlValue* mValues;
};

/// Rows one behind the other, mRows * mColumns values, in one komCalloc block with all they point to: the
/// receiver gives mValues back with komFree. Null when there are none.
struct SqlRowBlock {
    uint32_t mRows;
    uint32_t mColumns;
    SqlValue* mValues;
};

/// Whether a column may be NULL.
enum SqlNullable : uint32_t { SQL_NULLS_REFUSED = 0, SQL_NULLS_TAKEN = 1, SQL_NULLS_UNKNOWN = 2 };

/// A column of a result.
struct SqlColumn {
    uint32_t mType;     ///< the SqlType of its values, SQL_VALUE_NULL when each has its own
    uint32_t mNullable; ///< SqlNullable
    const char* mName;
    const char* mDeclaredType; ///< as the database spells it, "varchar(20)"; "" when it has none
};

/// Columns in one komCalloc block with their texts: the receiver gives mColumns back with komFree. Null when
/// there are none.
struct SqlColumnList {
    uint32_t mCount;
    SqlColumn* mColumns;
};

/// Which constraint was violated.
enum SqlConstraint : uint32_t {
    SQL_CONSTRAINT_NONE = 0,
    SQL_CONSTRAINT_UNIQUE = 1, ///< a primary key too
    SQL_CONSTRAINT_NOT_NULL = 2,
    SQL_CONSTRAINT_FOREIGN_KEY = 3,
    SQL_CONSTRAINT_CHECK = 4,
    SQL_CONSTRAINT_OTHER = 5,
};

/// Why an operation failed. No text of it holds the password of a description.
struct SqlError {
    uint32_t mCode;       ///< the result code that the operation returned; 0: none has failed
    uint32_t mConstraint; ///< SqlConstraint, with SQL_E_CONSTRAINT
    uint32_t mRetry;      ///< 1: the same once more, a transaction from its begin, may well succeed
    int32_t mNativeCode;  ///< the database's own number; 0 when it has none
    int64_t mPosition;    ///< where in the statement, in bytes from 0; -1 when that is not known
    char mSqlState[8];    ///< five characters and a NUL; "" when there is none
    char* mText;          ///< in the words of the database; the receiver gives it back with komFree
};

inline SqlValue nullValue() { return {SQL_VALUE_NULL, 0, 0, 0, 0, nullptr}; }
inline SqlValue integerValue(int64_t pNumber) { return {SQL_VALUE_INTEGER, 0, pNumber, 0, 0, nullptr}; }
inline SqlValue doubleValue(double pNumber) { return {SQL_VALUE_DOUBLE, 0, 0, pNumber, 0, nullptr}; }
/// A value of any of the types that are texts or bytes. It borrows pData.
inline SqlValue dataValue(uint32_t pType, const void* pData, uint64_t pSize)
{
    return {pType, 0, 0, 0, pSize, static_cast<const char*>(pData)};
}
/// A text that ends with a NUL. It borrows pText.
inline SqlValue textValue(const char* pText)
{
    uint64_t tSize = 0;
    while (pText[tSize])
        ++tSize;
    return dataValue(SQL_VALUE_TEXT, pText, tSize);
}

} // namespace vel::kos::sql
