// Byte strings.
#pragma once

#include <string>
#include <string_view>

namespace kgen {

/// ASCII letters in lower case, all other bytes as they are.
std::string toLower(std::string_view pText);
/// printf into a buffer of pSize bytes: cut to fit, always terminated. Returns the text's length in the
/// buffer.
int formatBounded(char* pBuffer, std::size_t pSize, const char* pFormat, ...)
    __attribute__((format(printf, 3, 4)));

} // namespace kgen
