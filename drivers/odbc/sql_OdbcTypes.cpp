#include "drivers/odbc/sql_OdbcTypes.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "drivers/odbc/sql_OdbcText.h"
#include "kfw/sql/ISqlDatabase.h"

namespace vel::kos::drivers {

namespace {

constexpr size_t FIRST_PIECE = 8192; ///< in bytes
/// From this length on, in characters or bytes, drivers want a long type.
constexpr size_t LONG = 4000;

std::string lower(std::string_view pText)
{
    std::string tText(pText);
    for (char& tChar : tText)
        if (tChar >= 'A' && tChar <= 'Z') tChar = static_cast<char>(tChar + ('a' - 'A'));
    return tText;
}

bool isDigit(char pChar) { return pChar >= '0' && pChar <= '9'; }

} // namespace

uint32_t typeOfOdbc(int16_t pType, bool pUnsigned, std::string_view pName)
{
    switch (pType) {
    case odbc::BIT:
    case odbc::TINYINT:
    case odbc::SMALLINT:
    case odbc::INTEGER:
        return sql::SQL_VALUE_INTEGER;
    case odbc::BIGINT:
        return pUnsigned ? sql::SQL_VALUE_DECIMAL : sql::SQL_VALUE_INTEGER;
    case odbc::FLOAT:
    case odbc::REAL:
    case odbc::DOUBLE:
        return sql::SQL_VALUE_DOUBLE;
    case odbc::NUMERIC:
    case odbc::DECIMAL:
        return sql::SQL_VALUE_DECIMAL;
    case odbc::BINARY:
    case odbc::VARBINARY:
    case odbc::LONGVARBINARY:
        return sql::SQL_VALUE_BYTES;
    case odbc::OLD_DATE:
    case odbc::TYPE_DATE:
        return sql::SQL_VALUE_DATE;
    case odbc::OLD_TIME:
    case odbc::TYPE_TIME:
    case odbc::SS_TIME:
        return sql::SQL_VALUE_TIME;
    case odbc::OLD_TIMESTAMP:
    case odbc::TYPE_TIMESTAMP:
    case odbc::SS_TIMESTAMP_WITH_ZONE:
        return sql::SQL_VALUE_TIMESTAMP;
    default:
        break;
    }
    const std::string tName = lower(pName);
    if (tName == "bool" || tName == "boolean") return sql::SQL_VALUE_INTEGER;
    return sql::SQL_VALUE_TEXT;
}

std::string declaredOdbc(std::string_view pName, int16_t pType, uint64_t pSize, int16_t pDigits)
{
    std::string tName(pName);
    const bool tHasSize = tName.find('(') != std::string::npos || pSize == 0 || pSize >= 0x7FFFFFFF;
    if (tName.empty() || tHasSize) return tName;
    switch (pType) {
    case odbc::CHAR:
    case odbc::VARCHAR:
    case odbc::WCHAR:
    case odbc::WVARCHAR:
    case odbc::BINARY:
    case odbc::VARBINARY:
        return tName + "(" + std::to_string(pSize) + ")";
    case odbc::NUMERIC:
    case odbc::DECIMAL:
        return tName + "(" + std::to_string(pSize) + "," + std::to_string(pDigits) + ")";
    default:
        return tName;
    }
}

bool describeOdbc(Odbc::Handle pStatement, uint16_t pColumn, bool pNarrow, Column& pDescription)
{
    std::vector<char16_t> tName(1024);
    int16_t tLength = 0, tType = 0, tDigits = 0, tNullable = 0;
    uint64_t tSize = 0;
    char tNarrow[1024] = {};
    const Odbc::Return tReturn =
        pNarrow ? gOdbc.describeNarrow(pStatement, pColumn, tNarrow, sizeof tNarrow, &tLength, &tType, &tSize,
                                       &tDigits, &tNullable)
                : gOdbc.describeColumn(pStatement, pColumn, tName.data(), static_cast<int16_t>(tName.size()),
                                       &tLength, &tType, &tSize, &tDigits, &tNullable);
    if (!odbc::succeeded(tReturn)) return false;
    tName.back() = 0;
    if (pNarrow)
        pDescription.name = tNarrow;
    else if (!toUtf8(std::u16string_view(tName.data()), pDescription.name))
        pDescription.name.clear();
    std::fill(tName.begin(), tName.end(), char16_t{0});
    std::string tTypeName;
    Odbc::Length tUnsigned = 0;
    if (odbc::succeeded(gOdbc.columnAttribute(pStatement, pColumn, odbc::DESC_TYPE_NAME, tName.data(),
                                              static_cast<int16_t>((tName.size() - 1) * sizeof(char16_t)),
                                              &tLength, nullptr)))
        toUtf8(std::u16string_view(tName.data()), tTypeName);
    if (!odbc::succeeded(
            gOdbc.columnAttribute(pStatement, pColumn, odbc::DESC_UNSIGNED, nullptr, 0, nullptr, &tUnsigned)))
        tUnsigned = 0;
    pDescription.type = typeOfOdbc(tType, tUnsigned != 0, tTypeName);
    pDescription.declaredType = declaredOdbc(tTypeName, tType, tSize, tDigits);
    pDescription.nullable = tNullable == 0   ? sql::SQL_NULLS_REFUSED
                            : tNullable == 1 ? sql::SQL_NULLS_TAKEN
                                             : sql::SQL_NULLS_UNKNOWN;
    return true;
}

void toOneForm(uint32_t pType, std::string& pText)
{
    if (pType == sql::SQL_VALUE_DECIMAL) {
        const size_t tSign = pText.starts_with('-') ? 1 : 0;
        if (pText.size() > tSign && pText[tSign] == '.') pText.insert(tSign, "0");
        return;
    }
    if (pType != sql::SQL_VALUE_TIME && pType != sql::SQL_VALUE_TIMESTAMP) return;
    const auto tColon = pText.find(':');
    if (tColon == std::string::npos) return;
    if (pType == sql::SQL_VALUE_TIMESTAMP && pText.size() > 10 && pText[10] == 'T') pText[10] = ' ';
    if (const auto tPoint = pText.find('.', tColon); tPoint != std::string::npos) {
        size_t tEnd = tPoint + 1;
        while (tEnd < pText.size() && isDigit(pText[tEnd]))
            ++tEnd;
        size_t tKept = tEnd;
        while (tKept > tPoint && (pText[tKept - 1] == '0' || pText[tKept - 1] == '.'))
            --tKept;
        pText.erase(tKept, tEnd - tKept);
    }
    if (const auto tZone = pText.find_first_of("+-", tColon); tZone != std::string::npos) {
        if (pText.size() == tZone + 3) pText += ":00";
        if (pText[tZone - 1] == ' ') pText.erase(tZone - 1, 1);
    }
}

// --- Parameters -------------------------------------------------------------------------------------------

bool OdbcParameter::take(const sql::SqlValue& pValue, uint32_t pLacks, std::string& pState,
                         std::string& pProblem)
{
    const auto tRefused = [&](const char* pWhich, const char* pText) {
        pState = pWhich;
        pProblem = pText;
        return false;
    };
    mType = pValue.mType;
    mInteger = pValue.mInteger;
    mDouble = pValue.mDouble;
    mText.clear();
    mBytes.clear();
    if (mType == sql::SQL_VALUE_NULL) {
        mLength = odbc::NULL_DATA;
    } else if (mType == sql::SQL_VALUE_INTEGER) {
        mLength = sizeof mInteger;
    } else if (mType == sql::SQL_VALUE_DOUBLE) {
        mLength = sizeof mDouble;
        if ((pLacks & sql::SQL_FEATURE_NAN) != 0 && std::isnan(mDouble))
            return tRefused("22003", "the database has no \"not a number\"");
        if ((pLacks & sql::SQL_FEATURE_INFINITY) != 0 && std::isinf(mDouble))
            return tRefused("22003", "the database has no infinite numbers");
    } else if (mType == sql::SQL_VALUE_BYTES) {
        if (pValue.mSize > 0) mBytes.assign(pValue.mData, static_cast<size_t>(pValue.mSize));
        mLength = static_cast<Odbc::Length>(mBytes.size());
    } else {
        const std::string_view tText =
            pValue.mSize > 0 ? std::string_view(pValue.mData, static_cast<size_t>(pValue.mSize)) : "";
        if ((pLacks & sql::SQL_FEATURE_TEXT_WITH_NUL) != 0 && tText.find('\0') != std::string_view::npos)
            return tRefused("22021", "through this ODBC driver no text holds a NUL");
        if (!toUtf16(tText, mText)) return tRefused("22021", "a text is no UTF-8");
        mLength = static_cast<Odbc::Length>(mText.size() * sizeof(char16_t));
    }
    return true;
}

Odbc::Return OdbcParameter::bind(Odbc::Handle pStatement, uint16_t pNumber)
{
    int16_t tFrom = odbc::C_WCHAR, tTo = odbc::WVARCHAR;
    void* tData = mText.data();
    size_t tSize = mText.size();
    if (mType == sql::SQL_VALUE_INTEGER) {
        tFrom = odbc::C_SBIGINT;
        tTo = odbc::BIGINT;
        tData = &mInteger;
        tSize = 19;
    } else if (mType == sql::SQL_VALUE_DOUBLE) {
        tFrom = odbc::C_DOUBLE;
        tTo = odbc::DOUBLE;
        tData = &mDouble;
        tSize = 15;
    } else if (mType == sql::SQL_VALUE_BYTES) {
        tFrom = odbc::C_BINARY;
        tTo = mBytes.size() > LONG ? odbc::LONGVARBINARY : odbc::VARBINARY;
        tData = mBytes.data();
        tSize = mBytes.size();
    } else if (tSize > LONG) {
        tTo = odbc::WLONGVARCHAR;
    }
    return gOdbc.bindParameter(pStatement, pNumber, odbc::PARAMETER_INPUT, tFrom, tTo,
                               std::max<size_t>(tSize, 1), 0, tData, std::max<Odbc::Length>(mLength, 0),
                               &mLength);
}

// --- Reading ----------------------------------------------------------------------------------------------

Odbc::Return OdbcReader::pieces(Odbc::Handle pStatement, uint16_t pColumn, int16_t pType, size_t pUnit,
                                bool& pNull)
{
    mSize = 0;
    const size_t tEnd = pType == odbc::C_BINARY ? 0 : pUnit; // of a text, with the NUL behind it
    size_t tRoom = FIRST_PIECE;
    for (;;) {
        if (mPieces.size() * sizeof(char16_t) < mSize + tRoom) mPieces.resize((mSize + tRoom + 1) / 2);
        Odbc::Length tLength = 0;
        const Odbc::Return tReturn =
            gOdbc.getData(pStatement, pColumn, pType, reinterpret_cast<char*>(mPieces.data()) + mSize,
                          static_cast<Odbc::Length>(tRoom), &tLength);
        if (tReturn == odbc::NO_DATA) return odbc::SUCCESS;
        if (!odbc::succeeded(tReturn)) return tReturn;
        pNull = tLength == odbc::NULL_DATA;
        if (pNull) return odbc::SUCCESS;
        const size_t tGiven = (tRoom - tEnd) / pUnit * pUnit;
        if (tLength >= 0 && static_cast<size_t>(tLength) <= tGiven) {
            mSize += static_cast<size_t>(tLength);
            return odbc::SUCCESS;
        }
        // There is more; most drivers say how much.
        mSize += tGiven;
        tRoom = tLength >= 0 ? static_cast<size_t>(tLength) - tGiven + tEnd + pUnit : tRoom * 2;
    }
}

/// As a text, which a driver would otherwise turn into the number that it begins with, or 0.
Odbc::Return OdbcReader::numberOfAnyType(Odbc::Handle pStatement, uint16_t pColumn, sql::SqlValue& pValue,
                                         std::string& pBuffer)
{
    const Odbc::Return tReturn = read(pStatement, pColumn, sql::SQL_VALUE_TEXT, pValue, pBuffer);
    if (!odbc::succeeded(tReturn) || pValue.mType == sql::SQL_VALUE_NULL) return tReturn;
    const char* const tEnd = pBuffer.data() + pBuffer.size();
    int64_t tInteger = 0;
    double tDouble = 0;
    if (const auto tParsed = std::from_chars(pBuffer.data(), tEnd, tInteger);
        tParsed.ec == std::errc() && tParsed.ptr == tEnd)
        pValue = sql::integerValue(tInteger);
    else if (const auto tOther = std::from_chars(pBuffer.data(), tEnd, tDouble);
             tOther.ec == std::errc() && tOther.ptr == tEnd)
        pValue = sql::doubleValue(tDouble);
    return tReturn;
}

Odbc::Return OdbcReader::read(Odbc::Handle pStatement, uint16_t pColumn, uint32_t pType,
                              sql::SqlValue& pValue, std::string& pBuffer, bool pAnyType)
{
    Odbc::Length tLength = 0;
    pValue = sql::nullValue();
    const bool tIsNumber = pType == sql::SQL_VALUE_INTEGER || pType == sql::SQL_VALUE_DOUBLE;
    if (pAnyType && tIsNumber) return numberOfAnyType(pStatement, pColumn, pValue, pBuffer);
    if (pType == sql::SQL_VALUE_INTEGER) {
        int64_t tNumber = 0;
        const Odbc::Return tReturn =
            gOdbc.getData(pStatement, pColumn, odbc::C_SBIGINT, &tNumber, sizeof tNumber, &tLength);
        if (odbc::succeeded(tReturn) && tLength != odbc::NULL_DATA) pValue = sql::integerValue(tNumber);
        return tReturn;
    }
    if (pType == sql::SQL_VALUE_DOUBLE) {
        double tNumber = 0;
        const Odbc::Return tReturn =
            gOdbc.getData(pStatement, pColumn, odbc::C_DOUBLE, &tNumber, sizeof tNumber, &tLength);
        if (odbc::succeeded(tReturn) && tLength != odbc::NULL_DATA) pValue = sql::doubleValue(tNumber);
        return tReturn;
    }
    bool tNull = false;
    const bool tIsBytes = pType == sql::SQL_VALUE_BYTES;
    const Odbc::Return tReturn = pieces(pStatement, pColumn, tIsBytes ? odbc::C_BINARY : odbc::C_WCHAR,
                                        tIsBytes ? 1 : sizeof(char16_t), tNull);
    if (!odbc::succeeded(tReturn) || tNull) return tReturn;
    if (tIsBytes) {
        pBuffer.assign(reinterpret_cast<const char*>(mPieces.data()), mSize);
    } else {
        if (!toUtf8({mPieces.data(), mSize / sizeof(char16_t)}, pBuffer)) return NO_TEXT;
        if (pAnyType && !looksLike(pType, pBuffer))
            pType = sql::SQL_VALUE_TEXT;
        else
            toOneForm(pType, pBuffer);
    }
    pValue = sql::dataValue(pType, pBuffer.data(), pBuffer.size());
    return tReturn;
}

} // namespace vel::kos::drivers
