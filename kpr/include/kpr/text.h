// Texts from functions that fill a caller's buffer, however long they are, and whole files in and out. Header
// only: nothing of the C++ library crosses the boundary of kpr.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

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

/// Reads a whole regular file of at most pLimit bytes. pMode (KprOpenMode) is added to KPR_OPEN_READ; the
/// facts of pMask (KprInfoMask) of the very file that is read go to *pInfo, which may be null. On failure
/// pBytes is empty; KPR_E_TOO_LARGE when the file is larger.
inline uint32_t readFile(const char* pPath, uint64_t pLimit, std::string& pBytes,
                         uint32_t pMode = KPR_OPEN_FOLLOW, KprFileInfo* pInfo = nullptr, uint32_t pMask = 0)
{
    pBytes.clear();
    KprFile tFile = KPR_NO_FILE;
    if (const auto tRes = kprOpenFile(pPath, KPR_OPEN_READ | pMode, &tFile); KFAILED(tRes)) return tRes;
    uint32_t tRes = pInfo ? kprGetOpenFileInfo(tFile, pMask, pInfo) : uint32_t{K_SUCCESS}, tRead = 0;
    std::string tPart(16384, '\0');
    while (!KFAILED(tRes)) {
        tRes = kprRead(tFile, tPart.data(), static_cast<uint32_t>(tPart.size()), &tRead);
        if (!KFAILED(tRes)) pBytes.append(tPart, 0, tRead);
        if (pBytes.size() > pLimit) tRes = KPR_E_TOO_LARGE;
        if (tRead == 0) break;
    }
    kprCloseFile(tFile);
    if (KFAILED(tRes)) pBytes.clear();
    return tRes;
}

/// Writes all bytes at the file's position, in as many steps as it takes. KPR_E_NO_SPACE when a step writes
/// nothing.
inline uint32_t writeAll(KprFile pFile, std::string_view pBytes)
{
    constexpr std::size_t tLargest = 1u << 30;
    while (!pBytes.empty()) {
        uint32_t tWritten = 0;
        const auto tLength = static_cast<uint32_t>(std::min(pBytes.size(), tLargest));
        if (const auto tRes = kprWrite(pFile, pBytes.data(), tLength, &tWritten); KFAILED(tRes)) return tRes;
        if (tWritten == 0) return KPR_E_NO_SPACE;
        pBytes.remove_prefix(tWritten);
    }
    return K_SUCCESS;
}

} // namespace kpr
