#include "host/host_LogFile.h"

#include <filesystem>

#include "kpr/codes.h"
#include "kpr/thread.h"

namespace vel::kos::host {

namespace {

/// This process's turn to write. A process that was stopped within its turn holds nobody up for long.
class Turn {
public:
    explicit Turn(KprFile pLock) : mLock(pLock)
    {
        if (mLock == KPR_NO_FILE) return;
        constexpr uint32_t tPause = 5, tPatience = 1000; // milliseconds
        for (uint32_t tWaited = 0;; tWaited += tPause) {
            const uint32_t tRes = kprLockFile(mLock, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0);
            mTaken = !KFAILED(tRes);
            if (tRes != KPR_E_LOCKED || tWaited >= tPatience) return;
            kprSleep(tPause);
        }
    }
    ~Turn()
    {
        if (mTaken) kprUnlockFile(mLock, 0, 0);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    bool isTaken() const { return mTaken; }

private:
    KprFile mLock;
    bool mTaken = false;
};

} // namespace

LogFile::LogFile(std::string pPath, uint64_t pBytes, uint32_t pOldFiles)
    : mPath(std::move(pPath)), mBytes(pBytes), mOldFiles(pOldFiles), mLimit(pBytes)
{
}

LogFile::~LogFile()
{
    for (const KprFile tFile : {mFile, mLock})
        if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
}

uint32_t LogFile::open()
{
    if (auto tRes = openLog(); KFAILED(tRes)) return tRes;
    static_cast<void>(
        kprOpenFile((mPath + ".lock").c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE | KPR_OPEN_OWN, &mLock));
    return 0;
}

uint32_t LogFile::openLog()
{
    KprFile tFile;
    // The one that is open is better than none.
    if (auto tRes = kprOpenFile(mPath.c_str(),
                                KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_APPEND | KPR_OPEN_OWN, &tFile);
        KFAILED(tRes))
        return tRes;
    if (mFile != KPR_NO_FILE) kprCloseFile(mFile);
    mFile = tFile;
    return K_SUCCESS;
}

std::string LogFile::oldName(uint32_t pNumber) const
{
    if (pNumber == 0) return mPath;
    const std::filesystem::path tPath(std::u8string(mPath.begin(), mPath.end()));
    const std::u8string tExtension = tPath.extension().u8string();
    std::string tName = mPath;
    return tName.insert(tName.size() - tExtension.size(), "." + std::to_string(pNumber));
}

uint64_t LogFile::renamings()
{
    uint64_t tCount = 0;
    uint32_t tRead = 0;
    const uint32_t tRes = kprSeekAndRead(mLock, 0, &tCount, sizeof tCount, &tRead);
    return KFAILED(tRes) || tRead < sizeof tCount ? 0 : tCount;
}

// Others may still have the old files open: an open file can be renamed on every volume, but not always be
// replaced, and its name may outlive its removal. Stops where a name is taken, so that no line is lost.
uint32_t LogFile::rename()
{
    const uint64_t tCount = mRenamings + 1;
    uint32_t tWritten = 0;
    // Counted first: a process that ends in between has the others open the same file again, and no worse.
    if (mLock != KPR_NO_FILE) kprSeekAndWrite(mLock, 0, &tCount, sizeof tCount, &tWritten);
    const std::string tOldest = oldName(mOldFiles), tGone = tOldest + ".gone-" + std::to_string(tCount);
    KprFileInfo tInfo;
    if (!KFAILED(kprGetFileInfo(tOldest.c_str(), KPR_INFO_KIND, &tInfo)) && tInfo.kind == KPR_KIND_FILE &&
        !KFAILED(kprMoveFile(tOldest.c_str(), tGone.c_str())))
        kprRemoveFile(tGone.c_str());
    uint32_t tRes = K_SUCCESS;
    for (uint32_t i = mOldFiles; i > 0 && (!KFAILED(tRes) || tRes == KPR_E_NOT_FOUND); --i)
        tRes = kprMoveFile(oldName(i - 1).c_str(), oldName(i).c_str());
    return tRes;
}

void LogFile::writeLine(const char* pLine, uint32_t pLength, bool pMayRename)
{
    if (const uint64_t tCount = renamings(); tCount != mRenamings && !KFAILED(openLog())) {
        mRenamings = tCount;
        mLimit = mBytes;
    }
    KprFileInfo tInfo;
    const uint64_t tSize = KFAILED(kprGetOpenFileInfo(mFile, KPR_INFO_SIZE, &tInfo)) ? 0 : tInfo.size;
    if (pMayRename && tSize > 0 && tSize + pLength > mLimit) {
        // Where it could not be renamed it is added to, and tried again after as much more.
        mLimit = KFAILED(rename()) ? tSize + mBytes : mBytes;
        mRenamings = renamings();
        openLog();
    }
    uint32_t tWritten = 0;
    kprWrite(mFile, pLine, pLength, &tWritten);
}

void LogFile::sink_it_(const spdlog::details::log_msg& pMessage)
{
    spdlog::memory_buf_t tLine;
    formatter_->format(pMessage, tLine);
    const Turn tTurn(mLock);
    // Without a turn the line is added all the same; only renaming waits for one.
    writeLine(tLine.data(), static_cast<uint32_t>(tLine.size()), tTurn.isTaken() || mLock == KPR_NO_FILE);
}

} // namespace vel::kos::host
