// What the program says, on its standard streams.
#pragma once

#include <string>

#include "kpr/process.h"

namespace kom::validate {

/// Writes a text in UTF-8 to KPR_STDOUT or KPR_STDERR at once: its bytes to a file or pipe, its characters to
/// a terminal. A stream that takes nothing is nobody's to tell.
inline void put(uint32_t pStream, const std::string& pText)
{
    static_cast<void>(kprWriteStream(pStream, pText.data(), static_cast<uint32_t>(pText.size())));
}

} // namespace kom::validate
