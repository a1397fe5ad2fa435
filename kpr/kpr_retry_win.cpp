#include <windows.h>

#include "kpr/kpr_retry_win.h"

namespace {

// Several states of a file are reported as "access denied"; only the status beneath tells them apart.
constexpr LONG DELETE_PENDING = static_cast<LONG>(0xC0000056);
constexpr LONG CANNOT_DELETE = static_cast<LONG>(0xC0000121);

bool isDenied(LONG pStatus)
{
    if (GetLastError() != ERROR_ACCESS_DENIED) return false;
    using LastStatus = LONG(WINAPI*)();
    static const auto tLastStatus = reinterpret_cast<LastStatus>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetLastNtStatus")));
    return tLastStatus && tLastStatus() == pStatus;
}

} // namespace

namespace kpr {

uint32_t systemError()
{
    const uint32_t tError = GetLastError();
    return isDenied(DELETE_PENDING) ? uint32_t{ERROR_DELETE_PENDING} : tError;
}

void waitIfDeletePending(const std::wstring& pPath)
{
    const DWORD tError = systemError();
    const bool tTaken = tError == ERROR_ALREADY_EXISTS || tError == ERROR_FILE_EXISTS;
    bool tPending = tError == ERROR_DELETE_PENDING;
    // Renaming onto such a name says that something is there, and only the name tells what; it may be gone by
    // now.
    if ((tTaken || tError == ERROR_ACCESS_DENIED) &&
        GetFileAttributesW(pPath.c_str()) == INVALID_FILE_ATTRIBUTES) {
        const DWORD tLook = systemError();
        tPending = tLook == ERROR_DELETE_PENDING || (tTaken && tLook == ERROR_FILE_NOT_FOUND);
    }
    SetLastError(tPending ? DWORD{ERROR_SHARING_VIOLATION} : tError);
}

void waitIfMapped(const std::wstring& pPath)
{
    // A read-only file cannot be removed either, and that does not pass.
    if (!isDenied(CANNOT_DELETE)) return;
    const DWORD tAttributes = GetFileAttributesW(pPath.c_str());
    const bool tReadOnly = tAttributes != INVALID_FILE_ATTRIBUTES && (tAttributes & FILE_ATTRIBUTE_READONLY);
    SetLastError(tReadOnly ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_USER_MAPPED_FILE});
}

bool isPassingError(uint32_t pError, bool pDenied)
{
    return pError == ERROR_SHARING_VIOLATION || pError == ERROR_USER_MAPPED_FILE ||
           (pDenied && pError == ERROR_ACCESS_DENIED);
}

void pauseBeforeRetry(uint32_t pAttempt) { Sleep(1u << pAttempt); }

} // namespace kpr
