#include "kpr/file.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"
#include "kpr/time.h"

namespace {

int toDescriptor(KprFile pFile)
{
    // A number that no descriptor can have must not become one by truncation.
    return pFile >= 0 && pFile <= INT32_MAX ? static_cast<int>(pFile) : -1;
}

uint32_t toKind(mode_t pMode)
{
    if (S_ISREG(pMode)) return KPR_KIND_FILE;
    if (S_ISDIR(pMode)) return KPR_KIND_DIRECTORY;
    if (S_ISLNK(pMode)) return KPR_KIND_LINK;
    return KPR_KIND_OTHER;
}

KprTime toTime(const timespec& pTime)
{
    return {pTime.tv_sec, static_cast<uint32_t>(pTime.tv_nsec / 1000), 0};
}

void fillInfo(const struct stat& pStat, KprFileInfo* pInfo)
{
    *pInfo = {toKind(pStat.st_mode), 0, static_cast<uint64_t>(pStat.st_size), toTime(pStat.st_mtim),
              toTime(pStat.st_atim)};
}

timespec toTimespec(const KprTime* pTime)
{
    if (!pTime) return {0, UTIME_OMIT};
    return {pTime->seconds, static_cast<long>(pTime->microseconds) * 1000};
}

int toFlags(uint32_t pMode)
{
    int tFlags = O_CLOEXEC | O_NOCTTY;
    switch (pMode & KPR_OPEN_READ_WRITE) {
    case KPR_OPEN_READ:
        tFlags |= O_RDONLY;
        break;
    case KPR_OPEN_WRITE:
        tFlags |= O_WRONLY;
        break;
    default:
        tFlags |= O_RDWR;
    }
    if (pMode & KPR_OPEN_CREATE) tFlags |= O_CREAT;
    if (pMode & KPR_OPEN_EXCLUSIVE) tFlags |= O_EXCL;
    if (pMode & KPR_OPEN_TRUNCATE) tFlags |= O_TRUNC;
    if (pMode & KPR_OPEN_APPEND) tFlags |= O_APPEND;
    if (!(pMode & KPR_OPEN_ANY)) tFlags |= O_NONBLOCK;
    if (!(pMode & (KPR_OPEN_ANY | KPR_OPEN_FOLLOW))) tFlags |= O_NOFOLLOW;
    return tFlags;
}

uint32_t openError(int pError, bool pRegularOnly)
{
    // ELOOP: a link where none is wanted. ENXIO: a FIFO without a reader, a socket, a device without driver.
    if (pRegularOnly && (pError == ELOOP || pError == ENXIO || pError == ENODEV || pError == EISDIR))
        return KPR_E_NOT_REGULAR;
    return kpr::errorFromSystem(static_cast<uint32_t>(pError));
}

bool isTrusted(const struct stat& pStat, uint32_t pMode)
{
    if ((pMode & (KPR_OPEN_TRUSTED | KPR_OPEN_OWN)) && pStat.st_uid != 0 && pStat.st_uid != geteuid())
        return false;
    return !(pMode & KPR_OPEN_TRUSTED) || !(pStat.st_mode & (S_IWGRP | S_IWOTH));
}

// Transfers until everything is done, nothing more comes, or an error; pTransfer(offset done) moves one
// piece.
template <typename TTransfer>
uint32_t transferAll(uint32_t pLength, uint32_t* pDone, TTransfer pTransfer)
{
    *pDone = 0;
    while (*pDone < pLength) {
        const ssize_t tMoved = pTransfer(*pDone);
        if (tMoved == 0) break;
        if (tMoved > 0)
            *pDone += static_cast<uint32_t>(tMoved);
        else if (errno != EINTR)
            return kpr::lastError();
    }
    return K_SUCCESS;
}

} // namespace

uint32_t kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (!pFile) return E_INVALIDARG;
    *pFile = KPR_NO_FILE;
    if (!pPath || !kpr::isValidOpenMode(pMode)) return E_INVALIDARG;

    // An open that does not wait is refused while a file server takes a lease on the file back.
    constexpr int tMostTries = 50;
    constexpr uint32_t tPause = 5; // milliseconds
    int tDescriptor = -1;
    for (int tTry = 0; tTry < tMostTries;) {
        tDescriptor = open(pPath, toFlags(pMode), 0600);
        if (tDescriptor >= 0 || (errno != EINTR && errno != EWOULDBLOCK)) break;
        if (errno == EINTR) continue;
        if (++tTry < tMostTries) kprSleep(tPause);
        errno = EWOULDBLOCK;
    }
    const bool tRegularOnly = !(pMode & KPR_OPEN_ANY);
    if (tDescriptor < 0) return openError(errno, tRegularOnly);

    // What the call itself has made is a regular file of ours.
    constexpr uint32_t tMake = KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE;
    if ((pMode & (tMake | KPR_OPEN_TRUSTED)) == tMake) {
        *pFile = tDescriptor;
        return K_SUCCESS;
    }
    struct stat tStat;
    uint32_t tRes = K_SUCCESS;
    if (fstat(tDescriptor, &tStat) != 0)
        tRes = kpr::lastError();
    else if (tRegularOnly && !S_ISREG(tStat.st_mode))
        tRes = KPR_E_NOT_REGULAR;
    else if (S_ISDIR(tStat.st_mode))
        tRes = KPR_E_IS_DIRECTORY;
    else if (!isTrusted(tStat, pMode))
        tRes = KPR_E_NOT_TRUSTED;
    if (KFAILED(tRes)) {
        close(tDescriptor);
        return tRes;
    }
    *pFile = tDescriptor;
    return K_SUCCESS;
}

uint32_t kprCloseFile(KprFile pFile)
{
    // The descriptor is gone even when a signal interrupted the call.
    if (close(toDescriptor(pFile)) != 0 && errno != EINTR) return kpr::lastError();
    return K_SUCCESS;
}

uint32_t kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    if (!pBuffer || !pRead) return E_INVALIDARG;
    return transferAll(pLength, pRead, [&](uint32_t pDone) {
        return read(toDescriptor(pFile), static_cast<char*>(pBuffer) + pDone, pLength - pDone);
    });
}

uint32_t kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    if (!pBuffer || !pWritten) return E_INVALIDARG;
    return transferAll(pLength, pWritten, [&](uint32_t pDone) {
        return write(toDescriptor(pFile), static_cast<const char*>(pBuffer) + pDone, pLength - pDone);
    });
}

uint32_t kprSeek(KprFile pFile, int64_t pOffset, uint32_t pOrigin, uint64_t* pNewOffset)
{
    constexpr int tOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (pOrigin >= std::size(tOrigins)) return E_INVALIDARG;
    const off_t tOffset = lseek(toDescriptor(pFile), pOffset, tOrigins[pOrigin]);
    if (tOffset < 0) return kpr::lastError();
    if (pNewOffset) *pNewOffset = static_cast<uint64_t>(tOffset);
    return K_SUCCESS;
}

uint32_t kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    if (!pBuffer || !pRead || !kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    return transferAll(pLength, pRead, [&](uint32_t pDone) {
        return pread(toDescriptor(pFile), static_cast<char*>(pBuffer) + pDone, pLength - pDone,
                     static_cast<off_t>(pOffset + pDone));
    });
}

uint32_t kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                         uint32_t* pWritten)
{
    if (!pBuffer || !pWritten || !kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    return transferAll(pLength, pWritten, [&](uint32_t pDone) {
        return pwrite(toDescriptor(pFile), static_cast<const char*>(pBuffer) + pDone, pLength - pDone,
                      static_cast<off_t>(pOffset + pDone));
    });
}

uint32_t kprSyncFile(KprFile pFile)
{
    while (fsync(toDescriptor(pFile)) != 0)
        if (errno != EINTR) return kpr::lastError();
    return K_SUCCESS;
}

uint32_t kprGetFileInfo(const char* pPath, uint32_t, KprFileInfo* pInfo)
{
    if (!pPath || !pInfo) return E_INVALIDARG;
    *pInfo = {};
    struct stat tStat;
    if (lstat(pPath, &tStat) != 0) return kpr::lastError();
    fillInfo(tStat, pInfo);
    return K_SUCCESS;
}

uint32_t kprGetOpenFileInfo(KprFile pFile, uint32_t, KprFileInfo* pInfo)
{
    if (!pInfo) return E_INVALIDARG;
    *pInfo = {};
    struct stat tStat;
    if (fstat(toDescriptor(pFile), &tStat) != 0) return kpr::lastError();
    fillInfo(tStat, pInfo);
    return K_SUCCESS;
}

uint32_t kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified)
{
    if (!pPath || !kpr::isValidTime(pAccessed) || !kpr::isValidTime(pModified)) return E_INVALIDARG;
    const timespec tTimes[] = {toTimespec(pAccessed), toTimespec(pModified)};
    if (utimensat(AT_FDCWD, pPath, tTimes, AT_SYMLINK_NOFOLLOW) != 0) return kpr::lastError();
    return K_SUCCESS;
}
