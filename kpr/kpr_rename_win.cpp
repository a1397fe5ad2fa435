#include <windows.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "kpr/file.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_kind_win.h"
#include "kpr/kpr_retry_win.h"
#include "kpr/kpr_trust_win.h"
#include "kpr/kpr_wide_win.h"

namespace {

// Replaces a file also while others have it open; they keep what they opened. Windows 10 and later, on file
// systems that can; elsewhere this fails without having changed anything.
bool replaceOpenTarget(const std::wstring& pFrom, const std::wstring& pTo)
{
    constexpr auto tInfoClass = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22); // FileRenameInfoEx
    constexpr DWORD tFlags = 0x1 | 0x2;                                     // replace, POSIX semantics
    struct RenameInfo {
        DWORD flags;
        HANDLE root;
        DWORD nameBytes;
        wchar_t name[1];
    };
    const HANDLE tHandle = CreateFileW(
        pFrom.c_str(), DELETE | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS | kpr::ANONYMOUS, nullptr);
    if (tHandle == INVALID_HANDLE_VALUE) return false;
    const size_t tBytes = pTo.size() * sizeof(wchar_t);
    std::vector<std::max_align_t> tStorage((sizeof(RenameInfo) + tBytes) / sizeof(std::max_align_t) + 1);
    auto* tInfo = reinterpret_cast<RenameInfo*>(tStorage.data());
    *tInfo = {tFlags, nullptr, static_cast<DWORD>(tBytes), {}};
    std::memcpy(tInfo->name, pTo.c_str(), tBytes + sizeof(wchar_t));
    const bool tDone =
        SetFileInformationByHandle(tHandle, tInfoClass, tInfo,
                                   static_cast<DWORD>(offsetof(RenameInfo, name) + tBytes + sizeof(wchar_t)));
    CloseHandle(tHandle);
    return tDone;
}

// On a volume that does not know what it was asked for.
bool isUnsupported(DWORD pError)
{
    return pError == ERROR_INVALID_PARAMETER || pError == ERROR_NOT_SUPPORTED ||
           pError == ERROR_INVALID_FUNCTION || pError == ERROR_CALL_NOT_IMPLEMENTED;
}

// With POSIX semantics the name is free at once, whoever has the file open; without, the system keeps it
// until the last handle goes. No directories.
bool removeName(const std::wstring& pPath)
{
    constexpr auto tInfoClass = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21); // FileDispositionInfoEx
    DWORD tFlags = 0x1 | 0x2;                                               // delete, POSIX semantics
    const HANDLE tHandle =
        CreateFileW(pPath.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | kpr::ANONYMOUS, nullptr);
    if (tHandle == INVALID_HANDLE_VALUE) return false;
    const bool tDone = SetFileInformationByHandle(tHandle, tInfoClass, &tFlags, sizeof tFlags);
    const bool tUnsupported = !tDone && isUnsupported(GetLastError());
    CloseHandle(tHandle); // which leaves the last error alone
    return tDone || (tUnsupported && DeleteFileW(pPath.c_str()));
}

bool isLink(const std::wstring& pPath)
{
    WIN32_FIND_DATAW tFound;
    const HANDLE tFind = FindFirstFileW(pPath.c_str(), &tFound);
    if (tFind == INVALID_HANDLE_VALUE) return false;
    FindClose(tFind);
    return kpr::toKind(tFound.dwFileAttributes, tFound.dwReserved0) == KPR_KIND_LINK;
}

uint32_t toWidePaths(const char* pFrom, const char* pTo, std::wstring* pWideFrom, std::wstring* pWideTo)
{
    if (!pFrom || !pTo) return E_INVALIDARG;
    if (auto tRes = kpr::checkNewName(pTo); KFAILED(tRes)) return tRes;
    const uint32_t tRes = kpr::toWidePath(pFrom, pWideFrom);
    return KFAILED(tRes) ? tRes : kpr::toWidePath(pTo, pWideTo);
}

} // namespace

uint32_t kprMoveFile(const char* pFrom, const char* pTo)
{
    std::wstring tFrom, tTo;
    if (auto tRes = toWidePaths(pFrom, pTo, &tFrom, &tTo); KFAILED(tRes)) return tRes;
    const uint32_t tError = kpr::retried([&] {
        if (MoveFileExW(tFrom.c_str(), tTo.c_str(), 0)) return true;
        if (kpr::systemError() != ERROR_DELETE_PENDING)
            kpr::waitIfDeletePending(tTo); // else it is the source
        return false;
    });
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}

uint32_t kprReplaceFile(const char* pFrom, const char* pTo)
{
    std::wstring tFrom, tTo;
    if (auto tRes = toWidePaths(pFrom, pTo, &tFrom, &tTo); KFAILED(tRes)) return tRes;
    if (kpr::isDirectory(tTo)) return KPR_E_IS_DIRECTORY;
    const uint32_t tError = kpr::retried(
        [&] {
            if (replaceOpenTarget(tFrom, tTo) ||
                MoveFileExW(tFrom.c_str(), tTo.c_str(), MOVEFILE_REPLACE_EXISTING))
                return true;
            if (kpr::systemError() == ERROR_DELETE_PENDING) {
                // One of the two names is about to vanish: the one that is not found any more.
                const bool tSource = GetFileAttributesW(tFrom.c_str()) == INVALID_FILE_ATTRIBUTES;
                SetLastError(tSource ? ERROR_FILE_NOT_FOUND : ERROR_SHARING_VIOLATION);
            } else
                kpr::waitIfDeletePending(tTo);
            return false;
        },
        true);
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}

uint32_t kprRemoveFile(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    const uint32_t tError = kpr::retried([&] {
        if (removeName(tPath)) return true;
        kpr::waitIfMapped(tPath);
        return false;
    });
    if (tError == ERROR_ACCESS_DENIED && (kpr::attributesOf(tPath) & FILE_ATTRIBUTE_DIRECTORY)) {
        // A link to a folder is one itself for the system, and goes as those do, without what it leads to.
        if (!isLink(tPath)) return KPR_E_IS_DIRECTORY;
        return RemoveDirectoryW(tPath.c_str()) ? uint32_t{K_SUCCESS} : kpr::lastError();
    }
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}
