#include <windows.h>
// after windows.h
#include <aclapi.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_retry_win.h"
#include "kpr/kpr_trust_win.h"
#include "kpr/kpr_wide_win.h"

namespace {

using Local = std::unique_ptr<void, HLOCAL(WINAPI*)(HLOCAL)>;

bool isWellKnown(PSID pSid, std::initializer_list<WELL_KNOWN_SID_TYPE> pTypes)
{
    for (const auto tType : pTypes)
        if (IsWellKnownSid(pSid, tType)) return true;
    return false;
}

// Who installs and updates the system itself.
bool isInstaller(PSID pSid)
{
    SID_IDENTIFIER_AUTHORITY tAuthority = {SECURITY_NT_AUTHORITY};
    PSID tInstaller = nullptr;
    if (!AllocateAndInitializeSid(&tAuthority, 6, SECURITY_SERVICE_ID_BASE_RID, 956008885, 3418522649,
                                  1831038044, 1853292631, 2271478464, 0, 0, &tInstaller))
        return false;
    const bool tSame = EqualSid(pSid, tInstaller);
    FreeSid(tInstaller);
    return tSame;
}

bool isCurrentUser(PSID pSid)
{
    HANDLE tToken;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &tToken)) return false;
    DWORD tSize = 0;
    GetTokenInformation(tToken, TokenUser, nullptr, 0, &tSize);
    std::vector<std::max_align_t> tStorage(tSize / sizeof(std::max_align_t) + 1);
    const bool tRead = GetTokenInformation(tToken, TokenUser, tStorage.data(), tSize, &tSize);
    CloseHandle(tToken);
    return tRead && EqualSid(pSid, reinterpret_cast<const TOKEN_USER*>(tStorage.data())->User.Sid);
}

bool isTrustedOwner(PSID pSid)
{
    return isCurrentUser(pSid) || isWellKnown(pSid, {WinBuiltinAdministratorsSid, WinLocalSystemSid}) ||
           isInstaller(pSid);
}

// A group that anybody belongs to.
bool isAnybody(PSID pSid)
{
    return isWellKnown(pSid, {WinWorldSid, WinAuthenticatedUserSid, WinBuiltinUsersSid, WinBuiltinGuestsSid,
                              WinAnonymousSid, WinInteractiveSid, WinNetworkSid, WinBatchSid, WinLocalSid,
                              WinThisOrganizationSid, WinAccountDomainUsersSid, WinAccountDomainGuestsSid});
}

bool anybodyMayWrite(PACL pRights)
{
    if (!pRights) return true; // no list at all lets everybody do everything
    constexpr ACCESS_MASK tWrites = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | WRITE_DAC |
                                    WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
    for (DWORD i = 0; i < pRights->AceCount; ++i) {
        void* tFound = nullptr;
        if (!GetAce(pRights, i, &tFound)) return true;
        const auto* tHeader = static_cast<const ACE_HEADER*>(tFound);
        // What is allowed on a condition counts as allowed; both kinds hold mask and identity in one place.
        if (tHeader->AceType != ACCESS_ALLOWED_ACE_TYPE &&
            tHeader->AceType != ACCESS_ALLOWED_CALLBACK_ACE_TYPE)
            continue;
        if (tHeader->AceFlags & INHERIT_ONLY_ACE) continue;
        auto* tAllowed = static_cast<ACCESS_ALLOWED_ACE*>(tFound);
        if ((tAllowed->Mask & tWrites) && isAnybody(&tAllowed->SidStart)) return true;
    }
    return false;
}

using Handle = std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)>;

/// Opens a file or directory to look at its rights. Nothing is followed with FILE_FLAG_OPEN_REPARSE_POINT.
uint32_t openToLook(const char* pPath, DWORD pFlags, Handle* pHandle)
{
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    const HANDLE tHandle =
        CreateFileW(tPath.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | kpr::ANONYMOUS | pFlags, nullptr);
    if (tHandle == INVALID_HANDLE_VALUE) return kpr::errorFromSystem(kpr::systemError());
    pHandle->reset(tHandle);
    return K_SUCCESS;
}

bool isLink(const FILE_ATTRIBUTE_TAG_INFO& pInfo)
{
    return (pInfo.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) &&
           IsReparseTagNameSurrogate(pInfo.ReparseTag);
}

} // namespace

uint32_t kprCheckLink(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    Handle tHandle(nullptr, CloseHandle);
    if (auto tRes = openToLook(pPath, FILE_FLAG_OPEN_REPARSE_POINT, &tHandle); KFAILED(tRes)) return tRes;
    FILE_ATTRIBUTE_TAG_INFO tInfo{};
    if (!GetFileInformationByHandleEx(tHandle.get(), FileAttributeTagInfo, &tInfo, sizeof tInfo))
        return kpr::lastError();
    return isLink(tInfo) ? kpr::checkTrusted(tHandle.get(), false) : uint32_t{K_SUCCESS};
}

uint32_t kprCheckFile(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    Handle tHandle(nullptr, CloseHandle);
    if (auto tRes = openToLook(pPath, FILE_FLAG_OPEN_REPARSE_POINT, &tHandle); KFAILED(tRes)) return tRes;
    FILE_ATTRIBUTE_TAG_INFO tInfo{};
    if (GetFileType(tHandle.get()) != FILE_TYPE_DISK) return KPR_E_NOT_REGULAR;
    if (!GetFileInformationByHandleEx(tHandle.get(), FileAttributeTagInfo, &tInfo, sizeof tInfo))
        return kpr::lastError();
    if ((tInfo.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) || isLink(tInfo)) return KPR_E_NOT_REGULAR;
    return kpr::checkTrusted(tHandle.get(), false);
}

uint32_t kprCheckDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    Handle tHandle(nullptr, CloseHandle);
    if (auto tRes = openToLook(pPath, 0, &tHandle); KFAILED(tRes)) return tRes;
    BY_HANDLE_FILE_INFORMATION tInfo;
    if (!GetFileInformationByHandle(tHandle.get(), &tInfo)) return kpr::lastError();
    if (!(tInfo.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) return KPR_E_NOT_DIRECTORY;
    return kpr::checkTrusted(tHandle.get(), true);
}

uint32_t kpr::checkTrusted(HANDLE pFile, bool pRights)
{
    DWORD tVolume = 0;
    // A volume that knows no rights cannot tell.
    if (GetVolumeInformationByHandleW(pFile, nullptr, 0, nullptr, nullptr, &tVolume, nullptr, 0) &&
        !(tVolume & FILE_PERSISTENT_ACLS))
        return K_SUCCESS;
    PSID tOwner = nullptr;
    PACL tRights = nullptr;
    PSECURITY_DESCRIPTOR tDescriptor = nullptr;
    const DWORD tError =
        GetSecurityInfo(pFile, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                        &tOwner, nullptr, &tRights, nullptr, &tDescriptor);
    if (tError != ERROR_SUCCESS) return kpr::errorFromSystem(tError);
    const Local tFree(tDescriptor, LocalFree);
    return tOwner && isTrustedOwner(tOwner) && !(pRights && anybodyMayWrite(tRights))
               ? uint32_t{K_SUCCESS}
               : uint32_t{KPR_E_NOT_TRUSTED};
}
