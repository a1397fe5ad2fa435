// What kind of thing a directory entry is.
#pragma once

#include <windows.h>

#include "kpr/file.h"

namespace kpr {

/// From the attributes and, for a reparse point, its tag. Only name surrogates (symbolic links, junctions)
/// are links; deduplicated, compressed or cloud files carry other tags and are files all the same.
inline uint32_t toKind(DWORD pAttributes, DWORD pReparseTag)
{
    if ((pAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsReparseTagNameSurrogate(pReparseTag))
        return KPR_KIND_LINK;
    if (pAttributes & FILE_ATTRIBUTE_DEVICE) return KPR_KIND_OTHER;
    return pAttributes & FILE_ATTRIBUTE_DIRECTORY ? KPR_KIND_DIRECTORY : KPR_KIND_FILE;
}

inline uint64_t toUint64(DWORD pHigh, DWORD pLow) { return (static_cast<uint64_t>(pHigh) << 32) | pLow; }

} // namespace kpr
