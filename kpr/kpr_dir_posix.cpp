#include "kpr/dir.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

struct Listing {
    DIR* directory;
    bool broken; // a read failed; another one might fail for ever
};

Listing* toListing(KprDir pDir)
{
    return pDir == KPR_NO_DIR ? nullptr : reinterpret_cast<Listing*>(pDir); // 0 is null as well
}

uint32_t toKind(Listing* pListing, const dirent& pEntry)
{
    switch (pEntry.d_type) {
    case DT_REG:
        return KPR_KIND_FILE;
    case DT_DIR:
        return KPR_KIND_DIRECTORY;
    case DT_LNK:
        return KPR_KIND_LINK;
    case DT_UNKNOWN:
        break; // the file system does not tell
    default:
        return KPR_KIND_OTHER;
    }
    struct stat tStat;
    if (fstatat(dirfd(pListing->directory), pEntry.d_name, &tStat, AT_SYMLINK_NOFOLLOW) != 0)
        return KPR_KIND_OTHER;
    if (S_ISREG(tStat.st_mode)) return KPR_KIND_FILE;
    if (S_ISDIR(tStat.st_mode)) return KPR_KIND_DIRECTORY;
    return S_ISLNK(tStat.st_mode) ? KPR_KIND_LINK : KPR_KIND_OTHER;
}

std::string trimmed(std::string pPath)
{
    while (pPath.size() > 1 && pPath.back() == '/')
        pPath.pop_back();
    return pPath;
}

std::string homeDirectory()
{
    if (const char* tHome = secure_getenv("HOME"); tHome && *tHome == '/') return tHome;
    // With the rights of a file or a group on top of the caller's own, the caller's home is no place to
    // trust.
    if (getauxval(AT_SECURE) && geteuid() == getuid()) return {};
    std::vector<char> tBuffer(16384);
    passwd tRecord{};
    passwd* tFound = nullptr;
    if (getpwuid_r(geteuid(), &tRecord, tBuffer.data(), tBuffer.size(), &tFound) != 0 || !tFound) return {};
    return tFound->pw_dir;
}

} // namespace

uint32_t kprOpenDir(const char* pPath, KprDir* pDir)
{
    if (!pDir) return E_INVALIDARG;
    *pDir = KPR_NO_DIR;
    if (!pPath) return E_INVALIDARG;
    auto tListing = std::make_unique<Listing>(); // first: it may run out of memory
    tListing->directory = opendir(pPath);        // close-on-exec, and never blocks on what is no directory
    if (!tListing->directory) return kpr::lastError();
    *pDir = reinterpret_cast<KprDir>(tListing.release());
    return K_SUCCESS;
}

uint32_t kprReadDir(KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind)
{
    Listing* tListing = toListing(pDir);
    if (!tListing) return KPR_E_BAD_HANDLE;
    if (!pBuffer) return E_INVALIDARG;
    if (tListing->broken) return KPR_E_END;
    for (;;) {
        errno = 0;
        const dirent* tEntry = readdir(tListing->directory);
        if (!tEntry) {
            if (errno == 0) return KPR_E_END;
            tListing->broken = true;
            return kpr::lastError();
        }
        const std::string_view tName = tEntry->d_name;
        if (tName == "." || tName == "..") continue;
        if (pKind) *pKind = toKind(tListing, *tEntry);
        return kpr::copyOut(tName, pBuffer, pSize);
    }
}

uint32_t kprCloseDir(KprDir pDir)
{
    Listing* tListing = toListing(pDir);
    if (!tListing) return KPR_E_BAD_HANDLE;
    const int tFailed = closedir(tListing->directory);
    delete tListing;
    return tFailed && errno != EINTR ? kpr::lastError() : K_SUCCESS;
}

uint32_t kprMakeDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    return mkdir(pPath, 0700) == 0 ? K_SUCCESS : kpr::lastError();
}

uint32_t kprRemoveDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    if (rmdir(pPath) == 0) return K_SUCCESS;
    return errno == EEXIST ? KPR_E_NOT_EMPTY : kpr::lastError();
}

uint32_t kprGetUserDataDir(char* pBuffer, uint32_t pSize)
{
    if (const char* tData = secure_getenv("XDG_DATA_HOME"); tData && *tData == '/')
        return kpr::copyOut(trimmed(tData), pBuffer, pSize);
    const std::string tHome = homeDirectory();
    if (tHome.empty()) return KPR_E_NOT_FOUND;
    return kpr::copyOut(trimmed(tHome) + "/.local/share", pBuffer, pSize);
}

uint32_t kprGetTempDir(char* pBuffer, uint32_t pSize)
{
    const char* tDir = secure_getenv("TMPDIR");
    return kpr::copyOut(trimmed(tDir && *tDir == '/' ? tDir : "/tmp"), pBuffer, pSize);
}
