// Settings as UTF-16, as the Windows registry keeps them, without losing a byte.
#pragma once

#include <string>
#include <string_view>

namespace vel::kos::util {

/// UTF-8 becomes UTF-16. Each byte that is not part of well-formed UTF-8 becomes a lone surrogate, U+DC80 to
/// U+DCFF, so that fromUtf16 gives back every text byte for byte.
std::u16string toUtf16(std::string_view pText);

/// The inverse of toUtf16. Lone surrogates that it never makes, which other programs may have stored, become
/// three bytes, as if they were characters.
std::string fromUtf16(std::u16string_view pText);

} // namespace vel::kos::util
