#include <sys/stat.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/kpr_error.h"

namespace {

bool isTrustedOwner(const struct stat& pStat) { return pStat.st_uid == 0 || pStat.st_uid == geteuid(); }

uint32_t trust(const struct stat& pStat)
{
    return isTrustedOwner(pStat) && !(pStat.st_mode & S_IWOTH) ? uint32_t{K_SUCCESS}
                                                               : uint32_t{KPR_E_NOT_TRUSTED};
}

} // namespace

uint32_t kprCheckLink(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    struct stat tStat;
    if (lstat(pPath, &tStat) != 0) return kpr::lastError();
    return !S_ISLNK(tStat.st_mode) || isTrustedOwner(tStat) ? uint32_t{K_SUCCESS}
                                                            : uint32_t{KPR_E_NOT_TRUSTED};
}

uint32_t kprCheckFile(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    struct stat tStat;
    if (lstat(pPath, &tStat) != 0) return kpr::lastError();
    if (!S_ISREG(tStat.st_mode)) return KPR_E_NOT_REGULAR;
    return trust(tStat);
}

uint32_t kprCheckDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    struct stat tStat;
    if (stat(pPath, &tStat) != 0) return kpr::lastError();
    if (!S_ISDIR(tStat.st_mode)) return KPR_E_NOT_DIRECTORY;
    return trust(tStat);
}
