#include <windows.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_wide_win.h"
#include "kpr/path.h"

uint32_t kprGetRealPath(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath || !pBuffer) return E_INVALIDARG;
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    const HANDLE tHandle =
        CreateFileW(tPath.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (tHandle == INVALID_HANDLE_VALUE) return kpr::lastError();
    std::wstring tReal(MAX_PATH, L'\0');
    for (;;) {
        const DWORD tLength = GetFinalPathNameByHandleW(
            tHandle, tReal.data(), static_cast<DWORD>(tReal.size()), FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
        const bool tFits = tLength < tReal.size();
        tReal.resize(tLength);
        if (tFits) break;
    }
    CloseHandle(tHandle);
    // Some file systems (and Wine, for long paths) cannot say; then the full path has to do.
    if (tReal.empty()) tReal = kpr::fullPath(tPath);
    return tReal.empty() ? uint32_t{KPR_E_SYSTEM}
                         : kpr::copyOutWide(kpr::withoutLongPrefix(tReal), pBuffer, pSize);
}
