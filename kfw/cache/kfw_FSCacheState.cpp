#include "kfw/cache/kfw_FSCacheState.h"

#include <cstring>
#include <exception>

#include "kfw/cache/kfw_FSCache_Files.h"
#include "kom/identity.h"
#include "kpr/path.h"

namespace vel::kos::kfw {

FSCacheState::~FSCacheState()
{
    for (const KprFile tFile : {mInsertedFile, mCleanedFile})
        if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
    if (mCleanerThread) kprThreadDetach(mCleanerThread);
}

void FSCacheState::detach()
{
    const kom::Ref<fw::IApplication> tApp = mLog.detach(); // given back last
    if (!tApp) return;
    // An init that ran out of memory leaves them empty.
    if (mInserterMutex) mInserterMutex->unbind();
    if (!mPinMutex) return;
    mPinMutex->unbind();
    util::MutexLocker tLock(&*mPinMutex);
    mPinned.clear();
}

uint32_t FSCacheState::composeObjectPath(const char* pName, std::string* pPath)
{
    // Room for the separator and the terminating NUL.
    std::string tPath(mObjectsDir.size() + std::strlen(pName) + 2, '\0');
    const uint32_t tRes =
        kprAppendToPath(mObjectsDir.c_str(), pName, tPath.data(), static_cast<uint32_t>(tPath.size()));
    if (KFAILED(tRes)) {
        mLog.assertion("!KFAILED(tRes)", __LINE__);
        return tRes;
    }
    tPath.resize(std::strlen(tPath.c_str()));
    pPath->swap(tPath);
    return 0;
}

uint32_t FSCacheState::touchObject(const std::string& pPath)
{
    KprTime tTime;
    if (const uint32_t tRes = readClock(mLog, &tTime); KFAILED(tRes)) return tRes;
    tTime.seconds += mTimeOffset;
    const uint32_t tRes = kprSetFileTime(pPath.c_str(), &tTime, &tTime);
    if (KFAILED(tRes)) mLog.debug("FS cache: failed to touch %1: %2", pPath, komStrError(tRes));
    return tRes;
}

uint32_t FSCacheState::lockInserter(bool pExclusive, bool* pDoubled)
{
    mInserterMutex->lock();
    *pDoubled = mInserterLocked;
    if (mInserterLocked) return E_WRONG_STATE;
    const uint32_t tRes = kprLockFile(mInsertedFile, pExclusive ? KPR_LOCK_EXCLUSIVE : KPR_LOCK_SHARED, 0, 0);
    mInserterLocked = !KFAILED(tRes);
    return tRes;
}

uint32_t FSCacheState::unlockInserter()
{
    const uint32_t tRes = kprUnlockFile(mInsertedFile, 0, 0);
    mInserterLocked = false;
    mInserterMutex->unlock();
    return tRes;
}

InserterLock::InserterLock(FSCacheState& pCache, bool pExclusive) : mHold(pCache.mLog)
{
    bool tDoubled = false;
    const uint32_t tRes = pCache.lockInserter(pExclusive, &tDoubled);
    if (!KFAILED(tRes)) {
        mCache = &pCache;
        return;
    }
    // Before anything is reported: a report may run out of memory.
    pCache.mInserterMutex->unlock();
    if (tDoubled)
        pCache.mLog.assertion("!pCache->mInserterLocked", __LINE__);
    else
        pCache.mLog.debug("FS cache: can't get %1lock of %2: %3", pExclusive ? "exclusive " : "",
                          pCache.mInsertedPath, komStrError(tRes));
}

InserterLock::~InserterLock()
{
    if (!mCache) return;
    const uint32_t tRes = mCache->unlockInserter();
    if (!KFAILED(tRes)) return;
    try {
        mCache->mLog.debug("FS cache: can't unlock %1: %2", mCache->mInsertedPath, komStrError(tRes));
    } catch (const std::exception&) {
        // No memory for the message. Nobody is to suffer from that.
    }
}

} // namespace vel::kos::kfw
