// Small helpers that the sources of both targets share.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/file.h"

namespace kpr {

/// Copies a text and its terminator into a caller's buffer.
inline uint32_t copyOut(std::string_view pText, char* pBuffer, uint32_t pSize) noexcept
{
    if (!pBuffer) return E_INVALIDARG;
    if (pText.size() >= pSize) return KPR_E_BUFFER_TOO_SMALL;
    if (!pText.empty()) std::memmove(pBuffer, pText.data(), pText.size());
    pBuffer[pText.size()] = '\0';
    return K_SUCCESS;
}

/// Whether an open mode makes sense; the same refusals on every target.
constexpr bool isValidOpenMode(uint32_t pMode) noexcept
{
    constexpr uint32_t tKnown = KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE |
                                KPR_OPEN_TRUNCATE | KPR_OPEN_APPEND | KPR_OPEN_FOLLOW | KPR_OPEN_ANY |
                                KPR_OPEN_TRUSTED | KPR_OPEN_OWN;
    const bool tWrites = pMode & KPR_OPEN_WRITE;
    return !(pMode & ~tKnown) && (pMode & KPR_OPEN_READ_WRITE) &&
           (tWrites || !(pMode & (KPR_OPEN_CREATE | KPR_OPEN_TRUNCATE | KPR_OPEN_APPEND))) &&
           (!(pMode & KPR_OPEN_EXCLUSIVE) || (pMode & KPR_OPEN_CREATE)) &&
           (pMode & (KPR_OPEN_TRUNCATE | KPR_OPEN_APPEND)) != (KPR_OPEN_TRUNCATE | KPR_OPEN_APPEND);
}

/// Whether kprOpenDSO takes the text with these flags; the same refusals on every target.
constexpr bool isValidDSOName(std::string_view pText, uint32_t pFlags) noexcept
{
    if (pFlags & ~uint32_t{KPR_DSO_BY_NAME}) return false;
    return !(pFlags & KPR_DSO_BY_NAME) ||
           (!pText.empty() && pText.find_first_of("/\\:") == std::string_view::npos);
}

/// Whether a range can be passed to the system, whose offsets are signed.
constexpr bool isValidRange(uint64_t pOffset, uint64_t pLength) noexcept
{
    return pOffset <= INT64_MAX && pLength <= INT64_MAX - pOffset;
}

constexpr bool isValidTime(const KprTime* pTime) noexcept { return !pTime || pTime->microseconds < 1000000; }

} // namespace kpr
