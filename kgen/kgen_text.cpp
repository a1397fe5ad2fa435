#include "kgen/text.h"

#include <cstdarg>
#include <cstdio>

namespace kgen {

std::string toLower(std::string_view pText)
{
    std::string tLower(pText);
    for (char& tChar : tLower)
        if (tChar >= 'A' && tChar <= 'Z') tChar = static_cast<char>(tChar - 'A' + 'a');
    return tLower;
}

int formatBounded(char* pBuffer, std::size_t pSize, const char* pFormat, ...)
{
    if (pSize == 0) return 0;
    va_list tArguments;
    va_start(tArguments, pFormat);
    const int tLength = std::vsnprintf(pBuffer, pSize, pFormat, tArguments);
    va_end(tArguments);
    if (tLength < 0) {
        *pBuffer = '\0';
        return 0;
    }
    return static_cast<std::size_t>(tLength) < pSize ? tLength : static_cast<int>(pSize - 1);
}

} // namespace kgen
