// Texts from functions that fill a caller's buffer, however long they are. Header only: nothing of the C++
// library crosses the boundary of kpr.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "kpr/codes.h"

namespace kpr {

/// Calls pFunction(pArguments..., buffer, size) with larger and larger buffers until the text fits, and
/// returns its code. On failure pText is empty; KPR_E_BUFFER_TOO_SMALL for a text of more than a megabyte.
template <class TFunction, class... TArguments>
uint32_t readText(std::string& pText, TFunction pFunction, TArguments... pArguments)
{
    constexpr uint32_t tLargest = 1u << 20;
    for (uint32_t tSize = 512;; tSize *= 2) {
        pText.resize(tSize);
        const uint32_t tRes = pFunction(pArguments..., pText.data(), tSize);
        if (tRes == KPR_E_BUFFER_TOO_SMALL && tSize < tLargest) continue;
        pText.resize(KFAILED(tRes) ? 0 : std::strlen(pText.c_str()));
        return tRes;
    }
}

} // namespace kpr
