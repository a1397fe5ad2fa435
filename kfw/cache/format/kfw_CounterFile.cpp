#include "kfw/cache/format/kfw_CounterFile.h"

#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kom/identity.h"
#include "kpr/byteorder.h"

namespace vel::kos::kfw {

static_assert(sizeof(uint64_t) == COUNTER_SIZE);

uint32_t CounterFile::read(ByteSource& pSource, uint64_t* pKilobytes)
{
    uint64_t tBytes = 0;
    uint32_t tRead = 0;
    const uint32_t tRes = pSource.readAt(0, &tBytes, sizeof tBytes, &tRead);
    if (KFAILED(tRes)) {
        mLog.debug("%1: failed to read %2: %3", mSpeaker, mPath, komStrError(tRes));
        return tRes;
    }
    if (tRead < sizeof tBytes) {
        mLog.debug("%1: short read on %2 (%3 bytes).", mSpeaker, mPath, tRead);
        return E_FAIL;
    }
    *pKilobytes = kprBE2Host64(tBytes);
    return 0;
}

uint32_t CounterFile::add(FileBytes& pFile, uint32_t pKilobytes)
{
    uint64_t tCounter = 0;
    if (const uint32_t tRes = read(pFile, &tCounter); KFAILED(tRes)) return tRes;
    tCounter = kprHost2BE64(tCounter + pKilobytes);
    uint32_t tWritten = 0;
    const uint32_t tRes = pFile.writeAt(0, &tCounter, sizeof tCounter, &tWritten);
    if (KFAILED(tRes)) {
        mLog.debug("%1: failed to write %2: %3", mSpeaker, mPath, komStrError(tRes));
        return tRes;
    }
    if (tWritten < sizeof tCounter) {
        mLog.debug("%1: short write on %2 (%3 bytes).", mSpeaker, mPath, tWritten);
        return E_FAIL;
    }
    return 0;
}

} // namespace vel::kos::kfw
