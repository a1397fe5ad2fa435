// What symbol stores know a Windows module by, read from its image in memory; nothing in it is trusted.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kpr {

/// Of a module as it is laid out in memory: the GUID of its debug information and its age, in upper-case
/// hexadecimal without separators ("0123456789ABCDEF0123456789ABCDEF1"). An image without debug information
/// gives its time stamp, eight upper-case digits, and its size in lower-case ones ("5F0E1A2Bc4000"), the name
/// of the image itself in a symbol store. Empty when the bytes are no image.
std::string readDebugId(std::span<const uint8_t> pImage);

} // namespace kpr
