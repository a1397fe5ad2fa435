// Texts from kpr functions that fill a caller's buffer.
#pragma once

#include <cstring>
#include <string>

#include "kpr/codes.h"

namespace kom {

/// Calls pFunction(pArguments..., buffer, size) with a buffer that is large enough. On failure pText is
/// empty.
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

} // namespace kom
