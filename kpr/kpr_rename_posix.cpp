#include "kpr/file.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

bool isSameFile(const char* pOne, const char* pOther)
{
    struct stat tOne, tOther;
    return lstat(pOne, &tOne) == 0 && lstat(pOther, &tOther) == 0 && tOne.st_dev == tOther.st_dev &&
           tOne.st_ino == tOther.st_ino;
}

// Rename-if-absent for file systems that have no such operation (NFS): the second name is made before the
// first one goes, so that for a moment both are there.
uint32_t moveByLink(const char* pFrom, const char* pTo)
{
    // A reply that NFS lost makes a repeated request fail although the link was made.
    if (link(pFrom, pTo) != 0 && !(errno == EEXIST && isSameFile(pFrom, pTo)))
        return errno == EPERM ? E_NOT_SUPPORTED : kpr::lastError();
    if (unlink(pFrom) != 0 && errno != ENOENT) {
        const uint32_t tRes = kpr::lastError();
        unlink(pTo);
        return tRes;
    }
    return K_SUCCESS;
}

} // namespace

uint32_t kprMoveFile(const char* pFrom, const char* pTo)
{
    if (!pFrom || !pTo) return E_INVALIDARG;
    if (renameat2(AT_FDCWD, pFrom, AT_FDCWD, pTo, RENAME_NOREPLACE) == 0) return K_SUCCESS;
    if (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) return moveByLink(pFrom, pTo);
    return kpr::lastError();
}

uint32_t kprReplaceFile(const char* pFrom, const char* pTo)
{
    if (!pFrom || !pTo) return E_INVALIDARG;
    return rename(pFrom, pTo) == 0 ? K_SUCCESS : kpr::lastError();
}

uint32_t kprRemoveFile(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    return unlink(pPath) == 0 ? K_SUCCESS : kpr::lastError();
}
