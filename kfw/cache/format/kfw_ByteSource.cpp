#include "kfw/cache/format/kfw_ByteSource.h"

#include "kom/identity.h"

namespace vel::kos::kfw {

uint32_t FileBytes::getSize(uint64_t* pSize)
{
    KprFileInfo tInfo;
    const uint32_t tRes = kprGetOpenFileInfo(mFile, KPR_INFO_SIZE, &tInfo);
    if (!KFAILED(tRes)) *pSize = tInfo.size;
    return tRes;
}

uint32_t FileBytes::read(void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    return kprRead(mFile, pBuffer, pLength, pRead);
}

uint32_t FileBytes::readAt(uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    uint32_t tRes = kprSeekAndRead(mFile, pOffset, pBuffer, pLength, pRead);
    if (tRes != E_NOT_SUPPORTED) return tRes;
    tRes = seekTo(pOffset);
    return KFAILED(tRes) ? tRes : kprRead(mFile, pBuffer, pLength, pRead);
}

uint32_t FileBytes::writeAt(uint64_t pOffset, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    uint32_t tRes = kprSeekAndWrite(mFile, pOffset, pBuffer, pLength, pWritten);
    if (tRes != E_NOT_SUPPORTED) return tRes;
    tRes = seekTo(pOffset);
    return KFAILED(tRes) ? tRes : kprWrite(mFile, pBuffer, pLength, pWritten);
}

uint32_t FileBytes::seekTo(uint64_t pOffs)
{
    uint64_t tNewOffs = 0;
    const uint32_t tRes = kprSeek(mFile, static_cast<int64_t>(pOffs), KPR_SEEK_START, &tNewOffs);
    if (KFAILED(tRes)) return tRes;
    if (pOffs != tNewOffs) {
        mLog.assertion("pOffs == tNewOffs", __LINE__);
        return E_INVALIDARG;
    }
    return 0;
}

} // namespace vel::kos::kfw
