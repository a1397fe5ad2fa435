// How a cache is set up: its directories, its counter files, the clock of the file system they lie on, and
// its cleaner.
#include "kfw/cache/kfw_FSCache.h"

#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kfw/cache/kfw_FSCache_Cleaner.h"
#include "kfw/cache/kfw_FSCache_Files.h"
#include "kfw/kfw_LogDomain.h"
#include "kgen/directory.h"
#include "kgen/path.h"
#include "kom/identity.h"
#include "kpr/dir.h"
#include "kutil/catalogue.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

namespace {

/// Creates a directory with its parents; a failure is shown to the user. A link in its place is followed
/// unless it is somebody else's: the cleaner removes what lies where it leads.
uint32_t makeDirectory(CacheLog& pLog, const std::string& pPath)
{
    uint32_t tRes = kgen::createDirectories(pPath);
    if (!KFAILED(tRes)) {
        tRes = kprCheckLink(pPath.c_str());
        if (!KFAILED(tRes)) return 0;
        pLog.debug("FS cache: %1 is not used: %2", pPath, komStrError(tRes));
    }
    pLog.error(util::message(util::kGetText("kfw", "Can't create directory %1."), pPath));
    return E_FAIL;
}

/// The nearest whole second.
int64_t rounded(const KprTime& pTime) { return pTime.seconds + (pTime.microseconds > 500000 ? 1 : 0); }

} // namespace

uint32_t FSCache::init(fw::IApplication* pApp)
{
    if (mState->mLog.application()) return E_WRONG_STATE;
    if (!pApp) return E_INVALIDARG;
    mState->mLog.attach(pApp);
    mState->mInserterMutex.emplace(pApp);
    mState->mPinMutex.emplace(pApp);
    uint32_t tRes = setUpDirectories();
    if (KFAILED(tRes)) return tRes;
    tRes = Cleaner::start(mState);
    if (KFAILED(tRes)) mState->mLog.debug("FS cache: failed to start cleaner thread: %1", komStrError(tRes));
    return KFAILED(tRes) ? tRes : 0;
}

uint32_t FSCache::setUpDirectories()
{
    fw::IApplication* tApp = mState->mLog.application();
    kom::Ref<fw::IApplication2> tApp2;
    uint32_t tRes = kom::queryInterface(tApp, tApp2);
    if (KFAILED(tRes) || !tApp2) {
        util::_queryInterfaceError(tApp, LOG_DOMAIN, tApp, fw::IApplication2::IID, tRes);
        mState->mLog.assertion("!KFAILED(tRes) && tApp2 != 0", __LINE__);
        return KFAILED(tRes) ? tRes : E_FAIL;
    }
    kom::HeapString tUsrAppDirPath;
    tRes = tApp2->getUserAppDir(tUsrAppDirPath.out());
    if (KFAILED(tRes) || tUsrAppDirPath.empty()) {
        mState->mLog.assertion("!KFAILED(tRes) && *KOMCSTR(tUsrAppDirPath) != '\\0'", __LINE__);
        return KFAILED(tRes) ? tRes : E_FAIL;
    }
    const std::string tUserAppDir = tUsrAppDirPath.c_str();
    if (!kgen::directoryExists(tUserAppDir)) {
        mState->mLog.error(
            util::message(util::kGetText("kfw", "The directory %1 doesn't exist."), tUserAppDir));
        return E_FAIL;
    }
    const std::string tCacheDir = kgen::toNativePath(tUserAppDir + "/" + CACHE_FOLDER);
    if (tRes = makeDirectory(mState->mLog, tCacheDir); KFAILED(tRes)) return tRes;
    mState->mCacheDir = tCacheDir;
    const std::string tObjectsDir = kgen::toNativePath(tCacheDir + "/" + OBJECTS_FOLDER);
    if (tRes = makeDirectory(mState->mLog, tObjectsDir); KFAILED(tRes)) return tRes;
    mState->mObjectsDir = tObjectsDir;

    if (tRes = setUpCounter(INSERTED_COUNTER, &mState->mInsertedPath, &mState->mInsertedFile); KFAILED(tRes))
        return tRes;
    if (tRes = setUpCounter(CLEANED_COUNTER, &mState->mCleanedPath, &mState->mCleanedFile); KFAILED(tRes))
        return tRes;
    computeTimeOffset();
    return 0;
}

uint32_t FSCache::setUpCounter(const char* pName, std::string* pPath, KprFile* pFile)
{
    const std::string tPath = kgen::toNativePath(mState->mCacheDir + "/" + pName);
    if (!kgen::fileExists(tPath)) {
        static constexpr uint8_t tZero[COUNTER_SIZE] = {};
        // A power cut must not leave an empty counter: nobody would mend it.
        const uint32_t tRes = writeFileAtomically(mState->mLog, tPath, tZero, sizeof tZero, true);
        // Another process may have been first.
        if (KFAILED(tRes) && tRes != KPR_E_EXISTS) {
            mState->mLog.error(
                util::message(util::kGetText("kfw", "Can't create %1: %2."), tPath, komStrError(tRes)));
            return tRes;
        }
    }
    *pPath = tPath;
    const uint32_t tRes = kprOpenFile(tPath.c_str(), KPR_OPEN_READ_WRITE, pFile);
    if (KFAILED(tRes))
        mState->mLog.debug("FS cache: failed to open %1 for reading/writing: %2", tPath, komStrError(tRes));
    return tRes;
}

void FSCache::computeTimeOffset()
{
    std::string tPath(mState->mCacheDir.size() + 256, '\0');
    uint32_t tRes = kprGetTempFileName(mState->mCacheDir.c_str(), nullptr, 0, tPath.data(),
                                       static_cast<uint32_t>(tPath.size()));
    if (KFAILED(tRes)) {
        mState->mLog.debug("FS cache: failed to create temporary file used for file system time offset "
                           "computation: %1",
                           komStrError(tRes));
        return;
    }
    tPath.resize(std::char_traits<char>::length(tPath.c_str()));
    KprFileInfo tInfo;
    tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_MTIME, &tInfo);
    if (KFAILED(tRes)) {
        mState->mLog.debug(
            "FS cache: failed to get modification time of %1 (used for file system time offset "
            "computation): %2",
            tPath, komStrError(tRes));
        kprRemoveFile(tPath.c_str());
        return;
    }
    tRes = kprRemoveFile(tPath.c_str());
    if (KFAILED(tRes))
        mState->mLog.debug("FS cache: failed to remove %1 (used for file system time offset computation): %2",
                           tPath, komStrError(tRes));
    KprTime tNow;
    if (KFAILED(readClock(mState->mLog, &tNow))) return;
    mState->mTimeOffset = static_cast<int32_t>(rounded(tInfo.modified) - rounded(tNow));
}

} // namespace vel::kos::kfw
