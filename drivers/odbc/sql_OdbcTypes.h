// Values and their types, as ODBC takes and gives them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drivers/odbc/sql_Odbc.h"
#include "drivers/support/sql_Values.h"

namespace vel::kos::drivers {

/// What values of an SQL type of ODBC are (SqlType). The type's own name tells where ODBC has none for it.
uint32_t typeOfOdbc(int16_t pType, bool pUnsigned, std::string_view pName);
/// A type as it is declared: "varchar(20)".
std::string declaredOdbc(std::string_view pName, int16_t pType, uint64_t pSize, int16_t pDigits);
/// Name and type of a result's column, counted from 1; false when ODBC does not tell.
/// pNarrow: see OdbcDatabase.
bool describeOdbc(Odbc::Handle pStatement, uint16_t pColumn, bool pNarrow, Column& pDescription);
/// The one form of a decimal, a time or a timestamp that a driver has written: "0.5" of ".5", "23:59:59.5" of
/// "23:59:59.500", "+02:00" of " +02".
void toOneForm(uint32_t pType, std::string& pText);

/// The value of a parameter, kept for as long as ODBC knows its address. It is not moved while it is bound.
class OdbcParameter {
public:
    /// false, with why, for a value that the database has no place for (pLacks: SqlFeature).
    bool take(const sql::SqlValue& pValue, uint32_t pLacks, std::string& pState, std::string& pProblem);
    /// Gives it to a statement as its parameter of a number, from 1.
    Odbc::Return bind(Odbc::Handle pStatement, uint16_t pNumber);

private:
    uint32_t mType = sql::SQL_VALUE_NULL;
    int64_t mInteger = 0;
    double mDouble = 0;
    std::u16string mText;
    std::string mBytes;
    Odbc::Length mLength = odbc::NULL_DATA;
};

/// Reads the values of a row, in the order of its columns; long ones in pieces.
class OdbcReader {
public:
    /// Beside what ODBC's calls return: a text that is no UTF-16.
    static constexpr Odbc::Return NO_TEXT = 77;

    /// The value of a column, counted from 1. pBuffer keeps its data. pAnyType: it may be no value of that
    /// type, and is then what it looks like.
    Odbc::Return read(Odbc::Handle pStatement, uint16_t pColumn, uint32_t pType, sql::SqlValue& pValue,
                      std::string& pBuffer, bool pAnyType = false);

private:
    Odbc::Return pieces(Odbc::Handle pStatement, uint16_t pColumn, int16_t pType, size_t pUnit, bool& pNull);

    Odbc::Return numberOfAnyType(Odbc::Handle pStatement, uint16_t pColumn, sql::SqlValue& pValue,
                                 std::string& pBuffer);

    std::vector<char16_t> mPieces;
    size_t mSize = 0; ///< of what is in mPieces, in bytes
};

} // namespace vel::kos::drivers
