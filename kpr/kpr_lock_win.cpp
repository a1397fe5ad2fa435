// Byte-range locks of Windows. They are mandatory and belong to the handle, so the lock of a whole file is
// one byte that no file reaches: whoever locks all bytes meets it, and nobody who reads or writes does.
#include <windows.h>

#include "kpr/file.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

struct Range {
    OVERLAPPED where;
    DWORD low;
    DWORD high;
};

constexpr uint64_t WHOLE_FILE_BYTE = INT64_MAX - 1;

Range toRange(uint64_t pOffset, uint64_t pLength)
{
    Range tRange{};
    if (pOffset == 0 && pLength == 0) {
        pOffset = WHOLE_FILE_BYTE;
        pLength = 1;
    } else if (pLength == 0)
        pLength = UINT64_MAX - pOffset;
    tRange.where.Offset = static_cast<DWORD>(pOffset & 0xFFFFFFFFu);
    tRange.where.OffsetHigh = static_cast<DWORD>(pOffset >> 32);
    tRange.low = static_cast<DWORD>(pLength & 0xFFFFFFFFu);
    tRange.high = static_cast<DWORD>(pLength >> 32);
    return tRange;
}

bool isLockMode(uint32_t pMode)
{
    return !(pMode & ~static_cast<uint32_t>(KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT));
}

HANDLE toHandle(KprFile pFile) { return pFile == KPR_NO_FILE ? nullptr : reinterpret_cast<HANDLE>(pFile); }

} // namespace

uint32_t kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength)
{
    if (!isLockMode(pMode) || !kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    Range tRange = toRange(pOffset, pLength);
    DWORD tFlags = 0;
    if (pMode & KPR_LOCK_EXCLUSIVE) tFlags |= LOCKFILE_EXCLUSIVE_LOCK;
    if (pMode & KPR_LOCK_NO_WAIT) tFlags |= LOCKFILE_FAIL_IMMEDIATELY;
    if (LockFileEx(toHandle(pFile), tFlags, 0, tRange.low, tRange.high, &tRange.where)) return K_SUCCESS;
    return GetLastError() == ERROR_IO_PENDING ? uint32_t{KPR_E_LOCKED} : kpr::lastError();
}

uint32_t kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength)
{
    if (!kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    Range tRange = toRange(pOffset, pLength);
    if (UnlockFileEx(toHandle(pFile), 0, tRange.low, tRange.high, &tRange.where)) return K_SUCCESS;
    // The range was not locked; Wine reports it with the second number.
    const DWORD tError = GetLastError();
    return tError == ERROR_NOT_LOCKED || tError == ERROR_LOCK_VIOLATION ? uint32_t{K_SUCCESS}
                                                                        : kpr::errorFromSystem(tError);
}

uint32_t kprIsFileLocked(const char* pPath, uint32_t pMode, uint32_t* pLocked)
{
    if (!pPath || !pLocked || !isLockMode(pMode) || (pMode & KPR_LOCK_NO_WAIT)) return E_INVALIDARG;
    *pLocked = 0;
    KprFile tFile;
    if (auto tRes = kprOpenFile(pPath, KPR_OPEN_READ, &tFile); KFAILED(tRes)) return tRes;
    uint32_t tRes = kprLockFile(tFile, pMode | KPR_LOCK_NO_WAIT, 0, 0);
    if (tRes == KPR_E_LOCKED) {
        *pLocked = 1;
        tRes = K_SUCCESS;
    }
    kprCloseFile(tFile); // which also gives the lock back
    return tRes;
}
