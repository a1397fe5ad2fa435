#include "kutil/kutil_DamagedCopy_posix.h"

#include <climits>
#include <ctime>

#include "kpr/codes.h"
#include "kpr/file.h"

namespace vel::kos::util {

namespace {

uint32_t copyFile(KprFile pFrom, KprFile pTo)
{
    char tBuffer[16384];
    for (;;) {
        uint32_t tRead = 0, tWritten = 0;
        if (auto tRes = kprRead(pFrom, tBuffer, sizeof tBuffer, &tRead); KFAILED(tRes)) return tRes;
        if (tRead == 0) return 0;
        if (auto tRes = kprWrite(pTo, tBuffer, tRead, &tWritten); KFAILED(tRes)) return tRes;
        if (tWritten != tRead) return KPR_E_NO_SPACE;
    }
}

} // namespace

std::string damagedName(const std::string& pPath, const KprTime& pModified)
{
    const std::time_t tSeconds = pModified.seconds;
    std::tm tUtc{};
    char tStamp[48];
    if (gmtime_r(&tSeconds, &tUtc) && std::strftime(tStamp, sizeof tStamp, "%Y%m%dT%H%M%SZ", &tUtc) > 0)
        return pPath + ".damaged-" + tStamp;
    return pPath + ".damaged-" + std::to_string(pModified.seconds);
}

uint32_t keepDamaged(const std::string& pPath, std::string& pCopy)
{
    KprFile tFrom = KPR_NO_FILE;
    if (auto tRes = kprOpenFile(pPath.c_str(), KPR_OPEN_READ, &tFrom); KFAILED(tRes)) return tRes;
    KprFileInfo tInfo{}, tThere{};
    uint32_t tRes = kprGetOpenFileInfo(tFrom, KPR_INFO_MTIME, &tInfo);
    if (!KFAILED(tRes)) {
        pCopy = damagedName(pPath, tInfo.modified);
        tRes = kprGetFileInfo(pCopy.c_str(), KPR_INFO_KIND, &tThere);
    }
    if (tRes == KPR_E_NOT_FOUND) {
        // A copy that was broken off must not pass for the whole.
        char tPart[PATH_MAX];
        KprFile tTo = KPR_NO_FILE;
        tRes = kprBeginFile(pCopy.c_str(), tPart, sizeof tPart, &tTo);
        if (!KFAILED(tRes)) {
            tRes = copyFile(tFrom, tTo);
            if (!KFAILED(tRes)) {
                tRes = kprPutInPlace(tTo, tPart, pCopy.c_str(), KPR_PUT_KEEP | KPR_PUT_SYNC);
                if (tRes == KPR_E_EXISTS) tRes = 0; // another process was faster
            } else {
                kprCloseFile(tTo);
                kprRemoveFile(tPart);
            }
        }
    }
    kprCloseFile(tFrom);
    return tRes;
}

} // namespace vel::kos::util
