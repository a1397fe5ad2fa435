// Conversion between the host's byte order and big-endian.
#pragma once

#include <bit>
#include <cstdint>

inline uint32_t kprHost2BE32(uint32_t pValue) noexcept
{
    if constexpr (std::endian::native == std::endian::big) return pValue;
    return __builtin_bswap32(pValue);
}

inline uint64_t kprHost2BE64(uint64_t pValue) noexcept
{
    if constexpr (std::endian::native == std::endian::big) return pValue;
    return __builtin_bswap64(pValue);
}

inline uint32_t kprBE2Host32(uint32_t pValue) noexcept { return kprHost2BE32(pValue); }
inline uint64_t kprBE2Host64(uint64_t pValue) noexcept { return kprHost2BE64(pValue); }
