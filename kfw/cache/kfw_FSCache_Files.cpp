#include "kfw/cache/kfw_FSCache_Files.h"

#include <cstring>

#include "kfw/cache/format/kfw_ByteSource.h"
#include "kom/identity.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace vel::kos::kfw {

uint32_t writeFileAtomically(ProblemLog& pLog, const std::string& pPath, const void* pBytes, uint32_t pLength,
                             bool pDurable)
{
    std::string tDir, tTemp;
    char tName[256];
    uint32_t tRes = kpr::readText(tDir, kprGetDirname, pPath.c_str());
    if (!KFAILED(tRes)) tRes = kprGetBasename(pPath.c_str(), tName, sizeof tName);
    if (!KFAILED(tRes)) {
        const std::string tPrefix = std::string(tName) + ".";
        tTemp.resize(tDir.size() + 256);
        tRes = kprGetTempFileName(tDir.c_str(), tPrefix.c_str(), 0, tTemp.data(),
                                  static_cast<uint32_t>(tTemp.size()));
    }
    if (KFAILED(tRes)) {
        pLog.assertion("!KFAILED(tRes)", __LINE__);
        return tRes;
    }
    tTemp.resize(std::strlen(tTemp.c_str()));

    OpenFile tFile;
    tRes = tFile.open(tTemp, KPR_OPEN_WRITE);
    if (KFAILED(tRes)) {
        pLog.debug("FS cache: failed to create %1: %2", tTemp, komStrError(tRes));
        return tRes;
    }
    uint32_t tWritten = 0;
    tRes = kprWrite(tFile.get(), pBytes, pLength, &tWritten);
    if (KFAILED(tRes)) {
        pLog.debug("FS cache: failed to write to %1: %2", tTemp, komStrError(tRes));
        tFile.detach();
        return tRes;
    }
    if (tWritten < pLength) {
        pLog.debug("FS cache: short write on %1 (requested %2, wrote %3 bytes).", tTemp, pLength, tWritten);
        tFile.detach();
        return 0;
    }
    if (pDurable) static_cast<void>(kprSyncFile(tFile.get())); // a volume that cannot is no reason to fail
    tRes = tFile.close();
    if (KFAILED(tRes)) {
        pLog.debug("FS cache: failed to close %1 after write: %2", tTemp, komStrError(tRes));
        return tRes;
    }
    tRes = kprMoveFile(tTemp.c_str(), pPath.c_str());
    if (!KFAILED(tRes)) return 0;
    if (tRes != KPR_E_EXISTS)
        pLog.debug("FS cache: failed to rename %1 to %2: %3", tTemp, pPath, komStrError(tRes));
    if (const uint32_t tRemoved = kprRemoveFile(tTemp.c_str()); KFAILED(tRemoved))
        pLog.debug("FS cache: failed to remove %1: %2", tTemp, komStrError(tRemoved));
    return tRes;
}

uint32_t readClock(ProblemLog& pLog, KprTime* pNow)
{
    const uint32_t tRes = kprGetCurrentTime(pNow);
    if (KFAILED(tRes)) pLog.debug("FS cache: failed to get current time: %1", komStrError(tRes));
    return tRes;
}

} // namespace vel::kos::kfw
