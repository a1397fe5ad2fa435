// Bytes in memory as a source to read objects from.
#pragma once

#include <algorithm>
#include <cstring>

#include "kfw/cache/format/kfw_ByteSource.h"

namespace vel::kos::kfw {

/// Bytes in memory, which stay their owner's.
class MemoryBytes final : public ByteSource {
public:
    MemoryBytes(const uint8_t* pBytes, uint64_t pSize) : mBytes(pBytes), mSize(pSize) {}

    uint32_t getSize(uint64_t* pSize) override
    {
        *pSize = mSize;
        return 0;
    }
    uint32_t read(void* pBuffer, uint32_t pLength, uint32_t* pRead) override
    {
        const uint32_t tRes = readAt(mPosition, pBuffer, pLength, pRead);
        mPosition += *pRead;
        return tRes;
    }
    uint32_t readAt(uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead) override
    {
        const uint64_t tLeft = pOffset < mSize ? mSize - pOffset : 0;
        *pRead = static_cast<uint32_t>(std::min<uint64_t>(pLength, tLeft));
        if (*pRead > 0) std::memcpy(pBuffer, mBytes + pOffset, *pRead);
        return 0;
    }

private:
    const uint8_t* mBytes;
    uint64_t mSize;
    uint64_t mPosition = 0;
};

} // namespace vel::kos::kfw
