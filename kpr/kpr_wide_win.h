// UTF-8 outside, UTF-16 towards Windows: the only place where one becomes the other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kpr/kpr_internal.h"

namespace kpr {

/// UTF-8 to UTF-16. KPR_E_BAD_NAME when the bytes are no UTF-8 (encoded surrogates are none).
uint32_t toWide(std::string_view pText, std::wstring* pWide);
/// UTF-16 to UTF-8. KPR_E_BAD_NAME when a surrogate stands alone.
uint32_t toUtf8(std::wstring_view pWide, std::string* pText);
/// The same into a caller's buffer.
uint32_t copyOutWide(std::wstring_view pWide, char* pBuffer, uint32_t pSize);

/// A path as the system takes it: backslashes, and the "\\?\" form where the plain one would hit the limit
/// of 260 characters. A path that comes in that form is rid of what it must not have in it: doubled
/// separators, "." and "..". KPR_E_NOT_FOUND for the empty path.
uint32_t toWidePath(const char* pPath, std::wstring* pWide);
/// For operations that make a name: KPR_E_BAD_NAME where the system would make another one, without a dot or
/// blank at its end, or open a device or a file's other stream. What comes in the "\\?\" form passes.
uint32_t checkNewName(const char* pPath);
/// The absolute form of a path, without "." and ".."; empty when the system cannot tell.
std::wstring fullPath(const std::wstring& pPath);
/// A native path without the "\\?\" that toWidePath adds again where it is needed.
std::wstring withoutLongPrefix(std::wstring pPath);

/// A file's attributes, 0 where there is no such file.
DWORD attributesOf(const std::wstring& pPath);
/// Whether the path names a directory (not a link to one).
bool isDirectory(const std::wstring& pPath);

} // namespace kpr
