// Texts from functions that fill a caller's buffer, however long they are, and from files. Header only:
// nothing of the C++ library crosses the boundary of kpr.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "kpr/codes.h"
#include "kpr/file.h"

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

/// Reads a whole regular file of at most pLimit bytes, also through a link. On failure pBytes is empty;
/// KPR_E_TOO_LARGE when the file is larger.
inline uint32_t readFile(const char* pPath, uint64_t pLimit, std::string& pBytes)
{
    pBytes.clear();
    KprFile tFile = KPR_NO_FILE;
    if (const auto tRes = kprOpenFile(pPath, KPR_OPEN_READ | KPR_OPEN_FOLLOW, &tFile); KFAILED(tRes))
        return tRes;
    uint32_t tRes = K_SUCCESS, tRead = 0;
    std::string tPart(16384, '\0');
    do {
        tRes = kprRead(tFile, tPart.data(), static_cast<uint32_t>(tPart.size()), &tRead);
        if (!KFAILED(tRes)) pBytes.append(tPart, 0, tRead);
        if (pBytes.size() > pLimit) tRes = KPR_E_TOO_LARGE;
    } while (!KFAILED(tRes) && tRead > 0);
    kprCloseFile(tFile);
    if (KFAILED(tRes)) pBytes.clear();
    return tRes;
}

} // namespace kpr
