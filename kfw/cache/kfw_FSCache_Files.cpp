// The cache's file operations: positioned reads and writes, and files that appear whole.
#include <cstring>

#include "kfw/cache/kfw_FSCacheState.h"
#include "kom/identity.h"
#include "kpr/path.h"

namespace vel::kos::kfw {

namespace {

/// Moves the position to pOffs from the start.
uint32_t seekTo(FSCacheState& pCache, KprFile pFile, uint64_t pOffs)
{
    uint64_t tNewOffs = 0;
    const uint32_t tRes = kprSeek(pFile, static_cast<int64_t>(pOffs), KPR_SEEK_START, &tNewOffs);
    if (KFAILED(tRes)) return tRes;
    if (pOffs != tNewOffs) {
        pCache.assertion("pOffs == tNewOffs", __LINE__);
        return E_INVALIDARG;
    }
    return 0;
}

} // namespace

uint32_t FSCacheState::readAt(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength,
                              uint32_t* pRead)
{
    uint32_t tRes = kprSeekAndRead(pFile, pOffset, pBuffer, pLength, pRead);
    if (tRes != E_NOT_SUPPORTED) return tRes;
    tRes = seekTo(*this, pFile, pOffset);
    return KFAILED(tRes) ? tRes : kprRead(pFile, pBuffer, pLength, pRead);
}

uint32_t FSCacheState::writeAt(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                               uint32_t* pWritten)
{
    uint32_t tRes = kprSeekAndWrite(pFile, pOffset, pBuffer, pLength, pWritten);
    if (tRes != E_NOT_SUPPORTED) return tRes;
    tRes = seekTo(*this, pFile, pOffset);
    return KFAILED(tRes) ? tRes : kprWrite(pFile, pBuffer, pLength, pWritten);
}

uint32_t FSCacheState::writeFileAtomically(const std::string& pPath, const void* pBytes, uint32_t pLength)
{
    std::string tDir(pPath.size() + 2, '\0'); // "." stands for the directory of a bare name
    char tName[256];
    std::string tTemp;
    uint32_t tRes = kprGetDirname(pPath.c_str(), tDir.data(), static_cast<uint32_t>(tDir.size()));
    if (!KFAILED(tRes)) tRes = kprGetBasename(pPath.c_str(), tName, sizeof tName);
    if (!KFAILED(tRes)) {
        const std::string tPrefix = std::string(tName) + ".";
        tTemp.resize(std::strlen(tDir.c_str()) + 256);
        tRes = kprGetTempFileName(tDir.c_str(), tPrefix.c_str(), 0, tTemp.data(),
                                  static_cast<uint32_t>(tTemp.size()));
    }
    if (KFAILED(tRes)) {
        assertion("!KFAILED(tRes)", __LINE__);
        return tRes;
    }
    tTemp.resize(std::strlen(tTemp.c_str()));

    OpenFile tFile;
    tRes = tFile.open(tTemp, KPR_OPEN_WRITE);
    if (KFAILED(tRes)) {
        debug("FS cache: failed to create %1: %2", tTemp, komStrError(tRes));
        return tRes;
    }
    uint32_t tWritten = 0;
    tRes = kprWrite(tFile.get(), pBytes, pLength, &tWritten);
    if (KFAILED(tRes)) {
        debug("FS cache: failed to write to %1: %2", tTemp, komStrError(tRes));
        tFile.detach();
        return tRes;
    }
    if (tWritten < pLength) {
        debug("FS cache: short write on %1 (requested %2, wrote %3 bytes).", tTemp, pLength, tWritten);
        tFile.detach();
        return 0;
    }
    tRes = tFile.close();
    if (KFAILED(tRes)) {
        debug("FS cache: failed to close %1 after write: %2", tTemp, komStrError(tRes));
        return tRes;
    }
    tRes = kprMoveFile(tTemp.c_str(), pPath.c_str());
    if (!KFAILED(tRes)) return 0;
    if (tRes != KPR_E_EXISTS)
        debug("FS cache: failed to rename %1 to %2: %3", tTemp, pPath, komStrError(tRes));
    if (const uint32_t tRemoved = kprRemoveFile(tTemp.c_str()); KFAILED(tRemoved))
        debug("FS cache: failed to remove %1: %2", tTemp, komStrError(tRemoved));
    return tRes;
}

} // namespace vel::kos::kfw
