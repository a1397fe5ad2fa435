// Open-file-description locks: they belong to the handle and survive the closing of other handles.
#include "kpr/file.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

uint32_t applyLock(int pDescriptor, int pCommand, short pType, uint64_t pOffset, uint64_t pLength,
                   struct flock* pLock)
{
    if (!kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    *pLock = {};
    pLock->l_type = pType;
    pLock->l_whence = SEEK_SET;
    pLock->l_start = static_cast<off_t>(pOffset);
    pLock->l_len = static_cast<off_t>(pLength); // 0: to the end, however far the file grows
    while (fcntl(pDescriptor, pCommand, pLock) != 0) {
        if (errno == EAGAIN || errno == EACCES) return KPR_E_LOCKED;
        if (errno != EINTR) return kpr::lastError();
    }
    return K_SUCCESS;
}

bool isLockMode(uint32_t pMode)
{
    return !(pMode & ~static_cast<uint32_t>(KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT));
}

short toType(uint32_t pMode) { return pMode & KPR_LOCK_EXCLUSIVE ? F_WRLCK : F_RDLCK; }

int toDescriptor(KprFile pFile) { return pFile >= 0 && pFile <= INT32_MAX ? static_cast<int>(pFile) : -1; }

} // namespace

uint32_t kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength)
{
    if (!isLockMode(pMode)) return E_INVALIDARG;
    struct flock tLock;
    return applyLock(toDescriptor(pFile), pMode & KPR_LOCK_NO_WAIT ? F_OFD_SETLK : F_OFD_SETLKW,
                     toType(pMode), pOffset, pLength, &tLock);
}

uint32_t kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength)
{
    struct flock tLock;
    return applyLock(toDescriptor(pFile), F_OFD_SETLK, F_UNLCK, pOffset, pLength, &tLock);
}

uint32_t kprIsFileLocked(const char* pPath, uint32_t pMode, uint32_t* pLocked)
{
    if (!pPath || !pLocked || !isLockMode(pMode) || (pMode & KPR_LOCK_NO_WAIT)) return E_INVALIDARG;
    *pLocked = 0;
    KprFile tFile;
    if (auto tRes = kprOpenFile(pPath, KPR_OPEN_READ, &tFile); KFAILED(tRes)) return tRes;
    struct flock tLock;
    const uint32_t tRes = applyLock(toDescriptor(tFile), F_OFD_GETLK, toType(pMode), 0, 0, &tLock);
    if (!KFAILED(tRes)) *pLocked = tLock.l_type != F_UNLCK;
    kprCloseFile(tFile);
    return tRes;
}
