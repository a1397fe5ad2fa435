#include <windows.h>

#include <cstdio>
#include <cstring>

#include "kpr/kpr_error.h"
#include "kpr/kpr_trust_win.h"
#include "kpr/kpr_wide_win.h"
#include "kpr/path.h"

namespace {

// A file or folder, opened for questions about it only.
class Queried {
public:
    uint32_t open(const char* pPath)
    {
        if (auto tRes = kpr::toWidePath(pPath, &mPath); KFAILED(tRes)) return tRes;
        mHandle = CreateFileW(mPath.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | kpr::ANONYMOUS, nullptr);
        return mHandle == INVALID_HANDLE_VALUE ? kpr::lastError() : uint32_t{K_SUCCESS};
    }
    Queried() = default;
    ~Queried()
    {
        if (mHandle != INVALID_HANDLE_VALUE) CloseHandle(mHandle);
    }
    Queried(const Queried&) = delete;
    Queried& operator=(const Queried&) = delete;

    HANDLE handle() const { return mHandle; }

    std::wstring realPath() const
    {
        std::wstring tReal(MAX_PATH, L'\0');
        for (;;) {
            const DWORD tLength =
                GetFinalPathNameByHandleW(mHandle, tReal.data(), static_cast<DWORD>(tReal.size()),
                                          FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
            const bool tFits = tLength < tReal.size();
            tReal.resize(tLength);
            if (tFits) break;
        }
        // Some file systems (and Wine, for long paths) cannot say; then the full path has to do.
        return kpr::withoutLongPrefix(tReal.empty() ? kpr::fullPath(mPath) : tReal);
    }

private:
    std::wstring mPath;
    HANDLE mHandle = INVALID_HANDLE_VALUE;
};

} // namespace

uint32_t kprGetRealPath(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath || !pBuffer) return E_INVALIDARG;
    Queried tFile;
    if (auto tRes = tFile.open(pPath); KFAILED(tRes)) return tRes;
    const std::wstring tReal = tFile.realPath();
    return tReal.empty() ? uint32_t{KPR_E_SYSTEM} : kpr::copyOutWide(tReal, pBuffer, pSize);
}

uint32_t kprGetFileIdentity(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath || !pBuffer) return E_INVALIDARG;
    Queried tFile;
    if (auto tRes = tFile.open(pPath); KFAILED(tRes)) return tRes;
    // 128 bits where the system has them: the 64 of the older call are not unique on every file system.
    struct {
        uint64_t volume = 0;
        uint64_t id[2] = {};
    } tIdentity;
    FILE_ID_INFO tWide;
    BY_HANDLE_FILE_INFORMATION tNarrow;
    if (GetFileInformationByHandleEx(tFile.handle(), FileIdInfo, &tWide, sizeof tWide)) {
        tIdentity.volume = tWide.VolumeSerialNumber;
        static_assert(sizeof tIdentity.id == sizeof tWide.FileId);
        std::memcpy(tIdentity.id, &tWide.FileId, sizeof tIdentity.id);
    } else if (GetFileInformationByHandle(tFile.handle(), &tNarrow)) {
        tIdentity.volume = tNarrow.dwVolumeSerialNumber;
        tIdentity.id[0] = uint64_t{tNarrow.nFileIndexHigh} << 32 | tNarrow.nFileIndexLow;
    }
    if (!tIdentity.id[0] && !tIdentity.id[1]) { // a volume without ids
        const std::wstring tReal = tFile.realPath();
        return tReal.empty() ? uint32_t{KPR_E_SYSTEM} : kpr::copyOutWide(tReal, pBuffer, pSize);
    }
    char tText[64];
    std::snprintf(
        tText, sizeof tText, "%016llx:%016llx%016llx", static_cast<unsigned long long>(tIdentity.volume),
        static_cast<unsigned long long>(tIdentity.id[1]), static_cast<unsigned long long>(tIdentity.id[0]));
    return kpr::copyOut(tText, pBuffer, pSize);
}

uint32_t kprIsSameFileName(const char* pOne, const char* pOther, uint32_t* pSame)
{
    if (!pSame) return E_INVALIDARG;
    *pSame = 0;
    if (!pOne || !pOther) return E_INVALIDARG;
    if (std::strcmp(pOne, pOther) == 0) {
        *pSame = 1;
        return K_SUCCESS;
    }
    std::wstring tOne, tOther;
    if (auto tRes = kpr::toWide(pOne, &tOne); KFAILED(tRes)) return tRes;
    if (auto tRes = kpr::toWide(pOther, &tOther); KFAILED(tRes)) return tRes;
    *pSame = CompareStringOrdinal(tOne.c_str(), static_cast<int>(tOne.size()), tOther.c_str(),
                                  static_cast<int>(tOther.size()), TRUE) == CSTR_EQUAL;
    return K_SUCCESS;
}
