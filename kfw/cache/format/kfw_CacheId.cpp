#include "kfw/cache/format/kfw_CacheId.h"

namespace vel::kos::kfw {

namespace {

/// The value of a hexadecimal digit, or -1.
int digitValue(char pDigit)
{
    if (pDigit >= '0' && pDigit <= '9') return pDigit - '0';
    if (pDigit >= 'A' && pDigit <= 'F') return pDigit - 'A' + 10;
    if (pDigit >= 'a' && pDigit <= 'f') return pDigit - 'a' + 10;
    return -1;
}

} // namespace

bool isObjectName(std::string_view pName)
{
    return pName.size() == OBJECT_NAME_LENGTH &&
           pName.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

bool parseCacheId(std::string_view pText, fw::CacheId* pId)
{
    if (pText.size() != OBJECT_NAME_LENGTH) return false;
    fw::CacheId tId;
    for (std::size_t i = 0; i < sizeof tId.mBytes; ++i) {
        const int tHigh = digitValue(pText[2 * i]), tLow = digitValue(pText[2 * i + 1]);
        if (tHigh < 0 || tLow < 0) return false;
        tId.mBytes[i] = static_cast<uint8_t>(tHigh << 4 | tLow);
    }
    *pId = tId;
    return true;
}

} // namespace vel::kos::kfw

uint32_t kfwFormatCacheId(const vel::kos::fw::CacheId* pId, char* pBuffer, uint32_t pSize)
{
    if (pSize <= vel::kos::kfw::OBJECT_NAME_LENGTH) return KPR_E_BUFFER_TOO_SMALL;
    static constexpr char tDigits[] = "0123456789ABCDEF";
    for (const uint8_t tByte : pId->mBytes) {
        *pBuffer++ = tDigits[tByte >> 4];
        *pBuffer++ = tDigits[tByte & 15];
    }
    *pBuffer = '\0';
    return 0;
}
