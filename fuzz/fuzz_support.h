// What every target says when a property does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

inline void require(bool pCondition)
{
    if (!pCondition) std::abort();
}

inline std::string_view toText(const uint8_t* pData, size_t pSize)
{
    return {reinterpret_cast<const char*>(pData), pSize};
}
