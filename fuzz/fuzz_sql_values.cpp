// Values as a server's texts give them: no text may harm the reader, a value lies within what there is, and
// what is written reads as the same. The first five bytes are the number of a type and its modifier, the rest
// is the text.
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "drivers/postgresql/sql_PostgresqlTypes.h"
#include "drivers/support/sql_Values.h"
#include "fuzz/fuzz_support.h"

using namespace vel::kos;
using namespace vel::kos::drivers;

namespace {

/// A block of exactly the size of a text, so that a read past the end is found.
std::vector<char> exactly(std::string_view pText) { return {pText.begin(), pText.end()}; }

void requireWithin(const sql::SqlValue& pValue, std::string_view pText, std::string_view pBuffer)
{
    require(isValue(pValue));
    if (!hasData(pValue.mType)) return;
    const std::string_view tData(pValue.mData, static_cast<size_t>(pValue.mSize));
    const auto tIsIn = [&](std::string_view pWhole) {
        return std::less_equal<>()(pWhole.data(), tData.data()) &&
               std::less_equal<>()(tData.data() + tData.size(), pWhole.data() + pWhole.size());
    };
    require(tData.empty() || tIsIn(pText) || tIsIn(pBuffer));
    // A zone gets its minutes; nothing else grows.
    require(tData.size() <= pText.size() + 3);
}

void requireReadsAs(uint32_t pType, const std::string& pText, const sql::SqlValue& pExpected)
{
    std::string tBuffer;
    const sql::SqlValue tValue = valueOfPg(pType, pText, tBuffer);
    require(tValue.mType == pExpected.mType && tValue.mSize == pExpected.mSize);
    if (hasData(pType))
        require(tValue.mSize == 0 ||
                std::memcmp(tValue.mData, pExpected.mData, static_cast<size_t>(tValue.mSize)) == 0);
    else if (pType == sql::SQL_VALUE_DOUBLE)
        require(tValue.mDouble == pExpected.mDouble ||
                (std::isnan(tValue.mDouble) && std::isnan(pExpected.mDouble)));
    else
        require(tValue.mInteger == pExpected.mInteger);
}

/// Bytes in both of the ways that a server writes them.
void checkBytes(std::string_view pBytes)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string tHex = "\\x", tEscaped;
    for (const char tChar : pBytes) {
        const auto tByte = static_cast<unsigned char>(tChar);
        tHex += {DIGITS[tByte >> 4], DIGITS[tByte & 15]};
        if (tChar == '\\')
            tEscaped += "\\\\";
        else if (tByte < 0x20 || tByte > 0x7E)
            tEscaped += {'\\', DIGITS[tByte >> 6], DIGITS[tByte >> 3 & 7], DIGITS[tByte & 7]};
        else
            tEscaped += tChar;
    }
    const auto tExpected = sql::dataValue(sql::SQL_VALUE_BYTES, pBytes.data(), pBytes.size());
    requireReadsAs(sql::SQL_VALUE_BYTES, tHex, tExpected);
    requireReadsAs(sql::SQL_VALUE_BYTES, tEscaped, tExpected);
}

/// Numbers and texts that are sent come back as they were.
void checkReturns(std::string_view pBytes)
{
    std::string tText;
    char tFirst[sizeof(int64_t)] = {};
    pBytes.copy(tFirst, sizeof tFirst);
    const auto tInteger = std::bit_cast<int64_t>(tFirst);
    const auto tDouble = std::bit_cast<double>(tFirst);
    require(textForPg(sql::integerValue(tInteger), tText));
    requireReadsAs(sql::SQL_VALUE_INTEGER, tText, sql::integerValue(tInteger));
    require(textForPg(sql::doubleValue(tDouble), tText));
    requireReadsAs(sql::SQL_VALUE_DOUBLE, tText, sql::doubleValue(tDouble));
    const auto tValue = sql::dataValue(sql::SQL_VALUE_TEXT, pBytes.data(), pBytes.size());
    require(textForPg(tValue, tText) == (pBytes.find('\0') == std::string_view::npos));
    requireReadsAs(sql::SQL_VALUE_TEXT, tText, tValue);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    constexpr size_t tHead = 5;
    if (pSize < tHead) return 0;
    constexpr unsigned NUMBERS[] = {16,   17,   18,   19,   20,   21,   23,   25,   26,
                                    114,  142,  700,  701,  1042, 1043, 1082, 1083, 1114,
                                    1184, 1186, 1266, 1700, 2950, 3802, 0};
    const unsigned tNumber = NUMBERS[pData[0] % std::size(NUMBERS)];
    int32_t tModifier;
    std::memcpy(&tModifier, pData + 1, sizeof tModifier);
    require(nameOfPg(tNumber, tModifier).size() < 64);
    const std::vector<char> tText = exactly(toText(pData + tHead, pSize - tHead));
    const std::string_view tView(tText.data(), tText.size());
    std::string tBuffer;
    const sql::SqlValue tValue = valueOfPg(typeOfPg(tNumber), tView, tBuffer);
    require(tValue.mType == typeOfPg(tNumber));
    requireWithin(tValue, tView, tBuffer);
    for (uint32_t tType = sql::SQL_VALUE_NULL; tType < 20; ++tType)
        static_cast<void>(looksLike(tType, tView));
    checkBytes(tView);
    checkReturns(tView);
    return 0;
}
