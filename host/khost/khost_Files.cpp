#include "host/khost/khost_Files.h"

#include <algorithm>

#include "host/khost/khost_Console.h"
#include "kom/heap.h"
#include "kpr/codes.h"
#include "kpr/text.h"

namespace vel::kos::host {

namespace {

/// Collects what a reader returns until it returns nothing; pExpected is how much is likely to come.
template <class TRead>
uint32_t collect(TRead pRead, uint64_t pExpected, fw::CacheBytes* pBytes)
{
    constexpr uint64_t PART = 65536;
    fw::CacheBytes tBytes;
    uint64_t tCapacity = 0;
    for (;;) {
        // One byte more than the rest of a file is asked for, so that its end shows at once.
        const uint64_t tWanted = std::max(tBytes.mSize + PART, pExpected + 1);
        if (tBytes.mSize == tCapacity) {
            tCapacity = tCapacity < tWanted ? tWanted : tCapacity * 2;
            tCapacity = std::min<uint64_t>(tCapacity, UINT32_MAX);
            if (tBytes.mSize == tCapacity) return KPR_E_TOO_LARGE;
            tBytes.mData = static_cast<uint8_t*>(komRealloc(tBytes.mData, tCapacity));
        }
        uint32_t tRead = 0;
        const auto tSpace = static_cast<uint32_t>(std::min<uint64_t>(tCapacity - tBytes.mSize, 1u << 30));
        if (auto tRes = pRead(tBytes.mData + tBytes.mSize, tSpace, &tRead); KFAILED(tRes)) return tRes;
        if (tRead == 0) break;
        tBytes.mSize += tRead;
    }
    tBytes.mData = static_cast<uint8_t*>(komRealloc(tBytes.mData, tBytes.mSize));
    *pBytes = std::move(tBytes);
    return 0;
}

} // namespace

uint32_t readWholeFile(const std::string& pPath, fw::CacheBytes* pBytes, uint32_t pMode)
{
    KprFile tFile = KPR_NO_FILE;
    if (auto tRes = kprOpenFile(pPath.c_str(), KPR_OPEN_READ | pMode, &tFile); KFAILED(tRes)) return tRes;
    KprFileInfo tInfo = {};
    uint32_t tRes = kprGetOpenFileInfo(tFile, KPR_INFO_KIND | KPR_INFO_SIZE, &tInfo);
    if (!KFAILED(tRes) && tInfo.kind == KPR_KIND_DIRECTORY) tRes = KPR_E_IS_DIRECTORY;
    if (!KFAILED(tRes) && tInfo.size > UINT32_MAX) tRes = KPR_E_TOO_LARGE;
    if (!KFAILED(tRes))
        tRes = collect([tFile](uint8_t* pBuffer, uint32_t pSize,
                               uint32_t* pRead) { return kprRead(tFile, pBuffer, pSize, pRead); },
                       tInfo.size, pBytes);
    kprCloseFile(tFile);
    return tRes;
}

uint32_t readWholeInput(fw::CacheBytes* pBytes)
{
    return collect(
        [](uint8_t* pBuffer, uint32_t pSize, uint32_t* pRead) -> uint32_t {
            const int64_t tRead = readInput(reinterpret_cast<char*>(pBuffer), pSize);
            *pRead = tRead > 0 ? static_cast<uint32_t>(tRead) : 0;
            return tRead < 0 ? KPR_E_IO : 0;
        },
        0, pBytes);
}

uint32_t writeWholeFile(const std::string& pPath, std::string_view pBytes)
{
    KprFile tFile = KPR_NO_FILE;
    constexpr uint32_t MODE = KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_TRUNCATE | KPR_OPEN_ANY;
    if (auto tRes = kprOpenFile(pPath.c_str(), MODE, &tFile); KFAILED(tRes)) return tRes;
    const uint32_t tRes = kpr::writeAll(tFile, pBytes);
    const uint32_t tClosed = kprCloseFile(tFile);
    return KFAILED(tRes) ? tRes : tClosed;
}

} // namespace vel::kos::host
