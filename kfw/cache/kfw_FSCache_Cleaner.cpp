#include "kfw/cache/kfw_FSCache_Cleaner.h"

#include <exception>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kfw/cache/format/kfw_CounterFile.h"
#include "kfw/cache/kfw_FSCache_Files.h"
#include "kfw/cache/kfw_LockThrottle.h"
#include "kom/identity.h"
#include "kpr/dir.h"
#include "kpr/dso.h"

namespace vel::kos::kfw {

namespace {

/// Who reports about the counters.
constexpr char SPEAKER[] = "FS cache cleaner";

/// A listing that is closed when it goes out of scope, unless it was closed before.
class Listing {
public:
    Listing() = default;
    ~Listing() { static_cast<void>(close()); }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    uint32_t open(const std::string& pPath) { return kprOpenDir(pPath.c_str(), &mDir); }
    uint32_t close()
    {
        const KprDir tDir = std::exchange(mDir, KPR_NO_DIR);
        return tDir == KPR_NO_DIR ? 0 : kprCloseDir(tDir);
    }
    KprDir get() const { return mDir; }

private:
    KprDir mDir = KPR_NO_DIR;
};

} // namespace

uint32_t Cleaner::start(const std::shared_ptr<FSCacheState>& pState)
{
    // Once the thread runs, the module's code may not go.
    static constexpr char tHere = 0;
    if (const uint32_t tRes = kprPinModule(&tHere); KFAILED(tRes)) return tRes;
    auto tArgument = std::make_unique<std::shared_ptr<FSCacheState>>(pState);
    const uint32_t tRes =
        kprThreadCreate(&pState->mCleanerThread, 0, STACK_SIZE, cleanerMain, tArgument.get());
    if (!KFAILED(tRes)) static_cast<void>(tArgument.release()); // it is the thread's now
    return tRes;
}

uint32_t Cleaner::cleanerMain(void* pCache)
{
    const std::unique_ptr<std::shared_ptr<FSCacheState>> tState(
        static_cast<std::shared_ptr<FSCacheState>*>(pCache));
    Cleaner(**tState).run();
    return 1;
}

void Cleaner::run()
{
    try {
        if (KFAILED(acquireCleanerLock())) return;
        static_cast<void>(work()); // what failed is reported, but for a wait
    } catch (const std::bad_alloc&) {
        reportException(komStrError(E_OUTOFMEMORY));
    } catch (const std::exception& tException) {
        reportException(tException.what());
    }
    try {
        releaseCleanerLock();
    } catch (const std::exception&) {
        // No memory for its messages.
    }
}

void Cleaner::reportException(const char* pWhat)
{
    try {
        mState.mLog.debug("FS cache cleaner: ended by an exception: %1", pWhat);
    } catch (const std::exception&) {
        // No memory for the message either. The thread ends all the same.
    }
}

uint32_t Cleaner::work()
{
    KprTime tNow;
    if (const uint32_t tRes = readClock(mState.mLog, &tNow); KFAILED(tRes)) return tRes;
    // A cleaner that has waited keeps its schedule: a fresh interval after the old one would let pins grow
    // older than MINIMUM_AGE.
    if (mNextRefresh == 0) mNextRefresh = tNow.seconds + PIN_INTERVAL;
    if (const uint32_t tRes = readClock(mState.mLog, &tNow); KFAILED(tRes)) return tRes;
    for (;;) {
        if (tNow.seconds >= mNextRefresh) {
            mNextRefresh = tNow.seconds + PIN_INTERVAL;
            if (const uint32_t tRes = refreshPinned(); KFAILED(tRes)) return tRes;
        }
        bool tNeeded = false;
        if (const uint32_t tRes = isCleaningNeeded(&tNeeded); KFAILED(tRes)) return tRes;
        if (tNeeded) {
            if (const uint32_t tRes = readClock(mState.mLog, &tNow); KFAILED(tRes)) return tRes;
            Candidates tCandidates(tNow.seconds, mState.mTimeOffset);
            if (const uint32_t tRes = collectCandidates(&tCandidates); KFAILED(tRes)) return tRes;
            if (const uint32_t tRes = removeCandidates(tCandidates); KFAILED(tRes)) return tRes;
        }
        if (const uint32_t tRes = kprSleep(POLL_INTERVAL); KFAILED(tRes)) return tRes;
        if (const uint32_t tRes = readClock(mState.mLog, &tNow); KFAILED(tRes)) return tRes;
    }
}

uint32_t Cleaner::acquireCleanerLock()
{
    for (;;) {
        uint32_t tRes = kprLockFile(mState.mCleanedFile, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0);
        if (!KFAILED(tRes)) return 0;
        if (tRes != KPR_E_LOCKED) {
            mState.mLog.debug("FS cache cleaner: failed to lock %1: %2", mState.mCleanedPath,
                              komStrError(tRes));
            closeCleanedFile();
            return tRes;
        }
        if (tRes = refreshPinnedWhenDue(); KFAILED(tRes)) {
            closeCleanedFile();
            return tRes;
        }
        tRes = kprSleep(POLL_INTERVAL);
        if (KFAILED(tRes)) {
            mState.mLog.assertion("!KFAILED(tRes)", __LINE__);
            closeCleanedFile();
            return tRes;
        }
    }
}

uint32_t Cleaner::refreshPinnedWhenDue()
{
    KprTime tNow;
    if (const uint32_t tRes = readClock(mState.mLog, &tNow); KFAILED(tRes)) return tRes;
    const bool tFirst = mNextRefresh == 0;
    if (!tFirst && tNow.seconds < mNextRefresh) return 0;
    mNextRefresh = tNow.seconds + PIN_INTERVAL;
    return tFirst ? 0 : refreshPinned();
}

void Cleaner::releaseCleanerLock()
{
    if (mState.mCleanedFile == KPR_NO_FILE) return;
    // Both steps first: a message may run out of memory.
    const uint32_t tUnlocked = kprUnlockFile(mState.mCleanedFile, 0, 0);
    const uint32_t tClosed = kprCloseFile(std::exchange(mState.mCleanedFile, KPR_NO_FILE));
    if (KFAILED(tUnlocked))
        mState.mLog.debug("FS cache cleaner: failed to unlock %1: %2", mState.mCleanedPath,
                          komStrError(tUnlocked));
    if (KFAILED(tClosed))
        mState.mLog.debug("FS cache cleaner: failed to close %1: %2", mState.mCleanedPath,
                          komStrError(tClosed));
}

void Cleaner::closeCleanedFile()
{
    const KprFile tFile = std::exchange(mState.mCleanedFile, KPR_NO_FILE);
    if (const uint32_t tRes = kprCloseFile(tFile); KFAILED(tRes))
        mState.mLog.debug("FS cache cleaner: failed to close %1: %2", mState.mCleanedPath, komStrError(tRes));
}

uint32_t Cleaner::refreshPinned()
{
    KprTime tTime;
    if (const uint32_t tRes = readClock(mState.mLog, &tTime); KFAILED(tRes)) return tRes;
    tTime.seconds += mState.mTimeOffset;
    std::vector<std::string> tNames;
    {
        util::MutexLocker tLock(&*mState.mPinMutex);
        for (const auto& [tName, tCount] : mState.mPinned)
            tNames.push_back(tName);
    }
    for (const std::string& tName : tNames) {
        std::string tPath;
        if (KFAILED(mState.composeObjectPath(tName.c_str(), &tPath))) continue;
        if (const uint32_t tRes = kprSetFileTime(tPath.c_str(), &tTime, &tTime); KFAILED(tRes))
            mState.mLog.debug("FS cache cleaner: failed to touch %1: %2", tPath, komStrError(tRes));
    }
    return 0;
}

uint32_t Cleaner::isCleaningNeeded(bool* pNeeded)
{
    InserterLock tLock(mState, false);
    uint64_t tInserted = 0, tCleaned = 0;
    FileBytes tInsertedFile(mState.mInsertedFile, mState.mLog);
    FileBytes tCleanedFile(mState.mCleanedFile, mState.mLog);
    uint32_t tRes = CounterFile(SPEAKER, mState.mInsertedPath, mState.mLog).read(tInsertedFile, &tInserted);
    if (!KFAILED(tRes))
        tRes = CounterFile(SPEAKER, mState.mCleanedPath, mState.mLog).read(tCleanedFile, &tCleaned);
    if (KFAILED(tRes)) return tRes;
    *pNeeded = kfw::isCleaningNeeded(tInserted, tCleaned);
    return 0;
}

uint32_t Cleaner::collectCandidates(Candidates* pCandidates)
{
    Listing tListing;
    uint32_t tRes = tListing.open(mState.mObjectsDir);
    if (KFAILED(tRes)) {
        mState.mLog.debug("FS cache cleaner: can't open directory %1: %2", mState.mObjectsDir,
                          komStrError(tRes));
        return tRes;
    }
    std::unordered_set<std::string> tSeen;
    char tName[512];
    while ((tRes = kprReadDir(tListing.get(), tName, sizeof tName, nullptr)) != KPR_E_END) {
        if (KFAILED(tRes)) {
            mState.mLog.debug("FS cache cleaner: failed to read directory entry of %1: %2",
                              mState.mObjectsDir, komStrError(tRes));
            continue;
        }
        if (!tSeen.insert(tName).second) continue;
        std::string tPath;
        if (KFAILED(mState.composeObjectPath(tName, &tPath))) continue;
        KprFileInfo tInfo;
        tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_KIND | KPR_INFO_SIZE | KPR_INFO_MTIME, &tInfo);
        if (KFAILED(tRes))
            mState.mLog.debug("FS cache cleaner: failed to get file information for %1: %2", tPath,
                              komStrError(tRes));
        else
            pCandidates->add(tName, tInfo);
    }
    if (tRes = tListing.close(); KFAILED(tRes))
        mState.mLog.debug("FS cache cleaner: can't close directory %1: %2", mState.mObjectsDir,
                          komStrError(tRes));
    return 0;
}

uint32_t Cleaner::removeCandidates(const Candidates& pCandidates)
{
    KprTime tNow;
    uint32_t tRes = readClock(mState.mLog, &tNow);
    if (KFAILED(tRes)) return tRes;
    RemovalTarget tTarget(pCandidates.totalKilobytes());
    LockThrottle tThrottle;
    pCandidates.visit([&](const Candidate& pCandidate) {
        tThrottle.rest();
        // Taken for each file anew, so that readers and writers wait for one removal at the most.
        InserterLock tLock(mState, true);
        tThrottle.lockTaken();
        if (!tLock || !removeCandidate(pCandidate, tNow.seconds)) return true;
        tRes = addToCleaned(pCandidate.kilobytes);
        return !KFAILED(tRes) && tTarget.count(pCandidate.kilobytes);
    });
    return tRes;
}

bool Cleaner::removeCandidate(const Candidate& pCandidate, int64_t pNow)
{
    std::string tPath;
    if (KFAILED(mState.composeObjectPath(pCandidate.name.c_str(), &tPath))) return false;
    KprFileInfo tInfo;
    uint32_t tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_MTIME, &tInfo);
    if (KFAILED(tRes)) {
        mState.mLog.debug("FS cache cleaner: failed to get modification time of %1: %2", tPath,
                          komStrError(tRes));
        return false;
    }
    // It may have been touched since the listing.
    if (!isOldEnough(toLocalTime(tInfo.modified.seconds, mState.mTimeOffset), pNow)) return false;
    tRes = kprRemoveFile(tPath.c_str());
    if (KFAILED(tRes))
        mState.mLog.debug("FS cache cleaner: failed to remove %1: %2", tPath, komStrError(tRes));
    return !KFAILED(tRes);
}

uint32_t Cleaner::addToCleaned(uint32_t pKilobytes)
{
    FileBytes tFile(mState.mCleanedFile, mState.mLog);
    return CounterFile(SPEAKER, mState.mCleanedPath, mState.mLog).add(tFile, pKilobytes);
}

} // namespace vel::kos::kfw
