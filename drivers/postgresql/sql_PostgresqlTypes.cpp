#include "drivers/postgresql/sql_PostgresqlTypes.h"

#include <algorithm>
#include <charconv>

#include "drivers/support/sql_Values.h"

namespace vel::kos::drivers {

namespace {

struct PgType {
    unsigned number;
    uint32_t type;
    const char* name;
};

constexpr PgType TYPES[] = {
    {16, sql::SQL_VALUE_INTEGER, "boolean"},
    {PG_BYTES, sql::SQL_VALUE_BYTES, "bytea"},
    {18, sql::SQL_VALUE_TEXT, "\"char\""},
    {19, sql::SQL_VALUE_TEXT, "name"},
    {20, sql::SQL_VALUE_INTEGER, "bigint"},
    {21, sql::SQL_VALUE_INTEGER, "smallint"},
    {23, sql::SQL_VALUE_INTEGER, "integer"},
    {25, sql::SQL_VALUE_TEXT, "text"},
    {26, sql::SQL_VALUE_INTEGER, "oid"},
    {114, sql::SQL_VALUE_TEXT, "json"},
    {142, sql::SQL_VALUE_TEXT, "xml"},
    {700, sql::SQL_VALUE_DOUBLE, "real"},
    {701, sql::SQL_VALUE_DOUBLE, "double precision"},
    {1042, sql::SQL_VALUE_TEXT, "character"},
    {1043, sql::SQL_VALUE_TEXT, "character varying"},
    {1082, sql::SQL_VALUE_DATE, "date"},
    {1083, sql::SQL_VALUE_TIME, "time without time zone"},
    {1114, sql::SQL_VALUE_TIMESTAMP, "timestamp without time zone"},
    {1184, sql::SQL_VALUE_TIMESTAMP, "timestamp with time zone"},
    {1186, sql::SQL_VALUE_TEXT, "interval"},
    {1266, sql::SQL_VALUE_TIME, "time with time zone"},
    {1700, sql::SQL_VALUE_DECIMAL, "numeric"},
    {2950, sql::SQL_VALUE_TEXT, "uuid"},
    {3802, sql::SQL_VALUE_TEXT, "jsonb"},
};

const PgType* find(unsigned pType)
{
    const auto tFound = std::find_if(std::begin(TYPES), std::end(TYPES),
                                     [pType](const PgType& pRow) { return pRow.number == pType; });
    return tFound == std::end(TYPES) ? nullptr : tFound;
}

int digit(char pChar)
{
    if (pChar >= '0' && pChar <= '9') return pChar - '0';
    return pChar >= 'a' && pChar <= 'f' ? pChar - 'a' + 10 : 0;
}

/// Bytes are written as "\x" and hexadecimal digits, or, by servers that are set so, with escapes.
void bytes(std::string_view pText, std::string& pBytes)
{
    pBytes.clear();
    if (pText.starts_with("\\x")) {
        pBytes.resize((pText.size() - 2) / 2);
        for (size_t i = 0; i < pBytes.size(); ++i)
            pBytes[i] = static_cast<char>(digit(pText[2 * i + 2]) * 16 + digit(pText[2 * i + 3]));
        return;
    }
    for (size_t i = 0; i < pText.size(); ++i) {
        if (pText[i] != '\\') {
            pBytes += pText[i];
        } else if (pText.substr(i + 1, 1) == "\\") {
            pBytes += pText[++i];
        } else if (i + 3 < pText.size()) {
            pBytes +=
                static_cast<char>(digit(pText[i + 1]) * 64 + digit(pText[i + 2]) * 8 + digit(pText[i + 3]));
            i += 3;
        }
    }
}

/// "12:00:00+02" as "12:00:00+02:00".
bool hasShortZone(std::string_view pText)
{
    const auto tSign = pText.find_last_of("+-");
    return tSign != std::string_view::npos && tSign + 3 == pText.size() &&
           pText.find(':') != std::string_view::npos && tSign > pText.find(':');
}

template <class TNumber>
TNumber number(std::string_view pText)
{
    TNumber tNumber{};
    std::from_chars(pText.data(), pText.data() + pText.size(), tNumber);
    return tNumber;
}

} // namespace

uint32_t typeOfPg(unsigned pType)
{
    const PgType* const tType = find(pType);
    return tType ? tType->type : uint32_t{sql::SQL_VALUE_TEXT};
}

std::string nameOfPg(unsigned pType, int pModifier)
{
    const PgType* const tType = find(pType);
    std::string tName = tType ? tType->name : "";
    if (pModifier < 0) return tName;
    // The modifier counts the four bytes of its own length.
    const int tModifier = pModifier - 4;
    if (pType == 1042 || pType == 1043) tName += "(" + std::to_string(tModifier) + ")";
    if (pType == 1700)
        tName +=
            "(" + std::to_string((tModifier >> 16) & 0xFFFF) + "," + std::to_string(tModifier & 0x7FF) + ")";
    return tName;
}

sql::SqlValue valueOfPg(uint32_t pType, std::string_view pText, std::string& pBuffer)
{
    switch (pType) {
    case sql::SQL_VALUE_INTEGER:
        return sql::integerValue(pText == "t" ? 1 : pText == "f" ? 0 : number<int64_t>(pText));
    case sql::SQL_VALUE_DOUBLE:
        return sql::doubleValue(number<double>(pText));
    case sql::SQL_VALUE_BYTES:
        bytes(pText, pBuffer);
        return sql::dataValue(pType, pBuffer.data(), pBuffer.size());
    case sql::SQL_VALUE_TIME:
    case sql::SQL_VALUE_TIMESTAMP:
        if (!hasShortZone(pText)) break;
        pBuffer = std::string(pText) + ":00";
        return sql::dataValue(pType, pBuffer.data(), pBuffer.size());
    default:
        break;
    }
    return sql::dataValue(pType, pText.data(), pText.size());
}

bool textForPg(const sql::SqlValue& pValue, std::string& pText)
{
    if (pValue.mType == sql::SQL_VALUE_INTEGER)
        pText = std::to_string(pValue.mInteger);
    else if (pValue.mType == sql::SQL_VALUE_DOUBLE)
        pText = pValue.mDouble != pValue.mDouble ? "NaN" : toText(pValue.mDouble);
    else if (pValue.mSize == 0)
        pText.clear();
    else
        pText.assign(pValue.mData, static_cast<size_t>(pValue.mSize));
    return pText.find('\0') == std::string::npos;
}

} // namespace vel::kos::drivers
