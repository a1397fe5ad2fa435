#include <windows.h>
// after windows.h
#include <aclapi.h>

#include <map>

#include "kpr/testing/kpr_volume_win.h"

namespace kprtest {

Volume gVolume;
unsigned gFetched = 0;
unsigned gAskedForOwner = 0;

std::vector<Volume> volumes()
{
    return {
        {},
        {.name = "FAT32", .posixError = ERROR_INVALID_PARAMETER, .timeStep = 2, .fat = true, .rights = false},
        {.name = "exFAT", .posixError = ERROR_INVALID_FUNCTION, .rights = false},
        {.name = "Server", .posixError = ERROR_NOT_SUPPORTED, .clock = 7237},
        {.name = "Loopback", .posixError = ERROR_NOT_SUPPORTED},
        // A small server's, as a drive: no numbers, and no way back from a file to its path.
        {.name = "MappedDrive",
         .posixError = ERROR_INVALID_PARAMETER,
         .timeStep = 1,
         .clock = -3661,
         .rights = false,
         .ids = false,
         .pathError = ERROR_INVALID_FUNCTION},
        {.name = "WithoutLocks",
         .posixError = ERROR_NOT_SUPPORTED,
         .clock = 5,
         .lockError = ERROR_NOT_SUPPORTED},
        {.name = "OneDrive", .tag = CLOUD_TAG}};
}

} // namespace kprtest

using kprtest::gVolume;

namespace {

constexpr int64_t SECOND = 10'000'000; // in the steps of a FILETIME
constexpr int64_t DAY = 86400 * SECOND, YEAR_1980 = 119'600'064'000'000'000;

int64_t toSteps(const FILETIME& pTime)
{
    return static_cast<int64_t>(uint64_t{pTime.dwHighDateTime} << 32 | pTime.dwLowDateTime);
}

FILETIME toFileTime(int64_t pSteps)
{
    return {static_cast<DWORD>(pSteps & 0xFFFFFFFF), static_cast<DWORD>(pSteps >> 32)};
}

void show(FILETIME& pTime)
{
    int64_t tTime = toSteps(pTime) + gVolume.clock * SECOND;
    if (const int64_t tStep = gVolume.timeStep * SECOND) tTime = (tTime + tStep - 1) / tStep * tStep;
    pTime = toFileTime(tTime);
}

void showAccess(FILETIME& pTime)
{
    if (gVolume.fat) pTime = toFileTime(toSteps(pTime) / DAY * DAY);
}

void show(DWORD& pAttributes)
{
    if (gVolume.tag) pAttributes |= FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_OFFLINE;
}

void show(WIN32_FIND_DATAW& pEntry)
{
    show(pEntry.dwFileAttributes);
    show(pEntry.ftLastWriteTime);
    showAccess(pEntry.ftLastAccessTime);
    if (gVolume.tag) pEntry.dwReserved0 = gVolume.tag;
}

BOOL fail(uint32_t pError)
{
    SetLastError(pError);
    return FALSE;
}

/// How files that were elsewhere at that time were opened: their point, or what it stands for.
std::map<HANDLE, bool> gOpenedPoint;

} // namespace

// What is imported from a library of the system is called through a pointer; these take its place.
#define K_WRAPPED(pName)                                                                                     \
    extern decltype(&pName) __real___imp_##pName;                                                            \
    extern decltype(&pName) __wrap___imp_##pName;                                                            \
    decltype(&pName) __wrap___imp_##pName

extern "C" {

K_WRAPPED(CreateFileW) = [](LPCWSTR pPath, DWORD pAccess, DWORD pShare, LPSECURITY_ATTRIBUTES pRights,
                            DWORD pDisposition, DWORD pFlags, HANDLE pTemplate) {
    const HANDLE tFile =
        __real___imp_CreateFileW(pPath, pAccess, pShare, pRights, pDisposition, pFlags, pTemplate);
    if (tFile == INVALID_HANDLE_VALUE) return tFile;
    const DWORD tError = GetLastError();
    gOpenedPoint.erase(tFile);
    if (gVolume.tag) gOpenedPoint[tFile] = pFlags & FILE_FLAG_OPEN_REPARSE_POINT;
    SetLastError(tError);
    return tFile;
};

K_WRAPPED(ReadFile) = [](HANDLE pFile, LPVOID pBytes, DWORD pLength, LPDWORD pRead, LPOVERLAPPED pWhere) {
    constexpr uint32_t INVALID_REQUEST = 380; // ERROR_CLOUD_FILE_INVALID_REQUEST
    if (const auto tOpened = gOpenedPoint.find(pFile); tOpened != gOpenedPoint.end()) {
        if (tOpened->second) return fail(INVALID_REQUEST); // there is nothing in it
        ++kprtest::gFetched;
        if (gVolume.contentError) return fail(gVolume.contentError);
    }
    return __real___imp_ReadFile(pFile, pBytes, pLength, pRead, pWhere);
};

K_WRAPPED(WriteFile) = [](HANDLE pFile, LPCVOID pBytes, DWORD pLength, LPDWORD pWritten,
                          LPOVERLAPPED pWhere) {
    if (gVolume.fat && pWhere && pWhere->OffsetHigh) return fail(ERROR_DISK_FULL);
    return __real___imp_WriteFile(pFile, pBytes, pLength, pWritten, pWhere);
};

K_WRAPPED(SetFileInformationByHandle) = [](HANDLE pFile, FILE_INFO_BY_HANDLE_CLASS pClass, LPVOID pInfo,
                                           DWORD pSize) {
    const auto tClass = static_cast<unsigned>(pClass);
    if (tClass != 21 && tClass != 22) // FileDispositionInfoEx, FileRenameInfoEx
        return __real___imp_SetFileInformationByHandle(pFile, pClass, pInfo, pSize);
    if (gVolume.posixError) return fail(gVolume.posixError);
    // What this machine cannot do is not asked of it: an ordinary removal stands in, or what the caller does
    // where replacing is refused.
    if (tClass == 22) return fail(ERROR_INVALID_PARAMETER);
    FILE_DISPOSITION_INFO tRemove = {TRUE};
    return __real___imp_SetFileInformationByHandle(pFile, FileDispositionInfo, &tRemove, sizeof tRemove);
};

K_WRAPPED(GetFileAttributesExW) = [](LPCWSTR pPath, GET_FILEEX_INFO_LEVELS pLevel, LPVOID pInfo) {
    const BOOL tDone = __real___imp_GetFileAttributesExW(pPath, pLevel, pInfo);
    if (!tDone) return tDone;
    auto* tInfo = static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(pInfo);
    show(tInfo->dwFileAttributes);
    show(tInfo->ftLastWriteTime);
    showAccess(tInfo->ftLastAccessTime);
    return tDone;
};

K_WRAPPED(GetFileInformationByHandle) = [](HANDLE pFile, LPBY_HANDLE_FILE_INFORMATION pInfo) {
    const BOOL tDone = __real___imp_GetFileInformationByHandle(pFile, pInfo);
    if (!tDone) return tDone;
    show(pInfo->dwFileAttributes);
    show(pInfo->ftLastWriteTime);
    showAccess(pInfo->ftLastAccessTime);
    if (!gVolume.ids) pInfo->nFileIndexHigh = pInfo->nFileIndexLow = 0;
    return tDone;
};

K_WRAPPED(GetFileInformationByHandleEx) = [](HANDLE pFile, FILE_INFO_BY_HANDLE_CLASS pClass, LPVOID pInfo,
                                             DWORD pSize) {
    if (pClass == FileIdInfo && !gVolume.ids) return fail(ERROR_INVALID_PARAMETER);
    const BOOL tDone = __real___imp_GetFileInformationByHandleEx(pFile, pClass, pInfo, pSize);
    if (tDone && gVolume.tag && pClass == FileAttributeTagInfo) {
        auto* tInfo = static_cast<FILE_ATTRIBUTE_TAG_INFO*>(pInfo);
        show(tInfo->FileAttributes);
        tInfo->ReparseTag = gVolume.tag;
    }
    return tDone;
};

K_WRAPPED(FindFirstFileW) = [](LPCWSTR pPath, LPWIN32_FIND_DATAW pEntry) {
    const HANDLE tFind = __real___imp_FindFirstFileW(pPath, pEntry);
    if (tFind != INVALID_HANDLE_VALUE) show(*pEntry);
    return tFind;
};

K_WRAPPED(FindFirstFileExW) = [](LPCWSTR pPath, FINDEX_INFO_LEVELS pLevel, LPVOID pEntry,
                                 FINDEX_SEARCH_OPS pSearch, LPVOID pFilter, DWORD pFlags) {
    const HANDLE tFind = __real___imp_FindFirstFileExW(pPath, pLevel, pEntry, pSearch, pFilter, pFlags);
    if (tFind != INVALID_HANDLE_VALUE) show(*static_cast<WIN32_FIND_DATAW*>(pEntry));
    return tFind;
};

K_WRAPPED(FindNextFileW) = [](HANDLE pFind, LPWIN32_FIND_DATAW pEntry) {
    const BOOL tDone = __real___imp_FindNextFileW(pFind, pEntry);
    if (tDone) show(*pEntry);
    return tDone;
};

K_WRAPPED(SetFileTime) = [](HANDLE pFile, const FILETIME* pCreated, const FILETIME* pAccessed,
                            const FILETIME* pModified) {
    FILETIME tModified{};
    for (const FILETIME* tTime : {pAccessed, pModified})
        if (gVolume.fat && tTime && toSteps(*tTime) < YEAR_1980) return fail(ERROR_INVALID_PARAMETER);
    if (pModified) tModified = toFileTime(toSteps(*pModified) - gVolume.clock * SECOND);
    return __real___imp_SetFileTime(pFile, pCreated, pAccessed, pModified ? &tModified : nullptr);
};

K_WRAPPED(LockFileEx) = [](HANDLE pFile, DWORD pFlags, DWORD pReserved, DWORD pLow, DWORD pHigh,
                           LPOVERLAPPED pWhere) {
    if (gVolume.lockError) return fail(gVolume.lockError);
    return __real___imp_LockFileEx(pFile, pFlags, pReserved, pLow, pHigh, pWhere);
};

K_WRAPPED(GetFinalPathNameByHandleW) = [](HANDLE pFile, LPWSTR pPath, DWORD pSize, DWORD pFlags) -> DWORD {
    if (gVolume.pathError) return static_cast<DWORD>(fail(gVolume.pathError));
    return __real___imp_GetFinalPathNameByHandleW(pFile, pPath, pSize, pFlags);
};

K_WRAPPED(GetVolumeInformationByHandleW) = [](HANDLE pFile, LPWSTR pName, DWORD pNameSize, LPDWORD pSerial,
                                              LPDWORD pLength, LPDWORD pFlags, LPWSTR pSystem,
                                              DWORD pSystemSize) -> BOOL {
    if (!__real___imp_GetVolumeInformationByHandleW(pFile, pName, pNameSize, pSerial, pLength, pFlags,
                                                    pSystem, pSystemSize))
        return FALSE;
    constexpr DWORD RIGHTS = FILE_PERSISTENT_ACLS;
    if (pFlags) *pFlags = gVolume.rights ? *pFlags | RIGHTS : *pFlags & ~RIGHTS;
    if (gVolume.fat && pSystem && pSystemSize > 5) lstrcpyW(pSystem, L"FAT32");
    return TRUE;
};

K_WRAPPED(GetSecurityInfo) = [](HANDLE pFile, SE_OBJECT_TYPE pType, SECURITY_INFORMATION pWhat, PSID* pOwner,
                                PSID* pGroup, PACL* pRights, PACL* pAudit, PSECURITY_DESCRIPTOR* pAll) {
    ++kprtest::gAskedForOwner;
    if (!gVolume.rights) return DWORD{ERROR_NOT_SUPPORTED};
    return __real___imp_GetSecurityInfo(pFile, pType, pWhat, pOwner, pGroup, pRights, pAudit, pAll);
};

} // extern "C"
