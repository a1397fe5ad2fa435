#include <windows.h>

#include <algorithm>

#include "kpr/file.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_filetime_win.h"
#include "kpr/kpr_kind_win.h"
#include "kpr/kpr_retry_win.h"
#include "kpr/kpr_trust_win.h"
#include "kpr/kpr_wide_win.h"

namespace {

constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// -1 is also the pseudo-handle of the process, which no file function must get.
HANDLE toHandle(KprFile pFile) { return pFile == KPR_NO_FILE ? nullptr : reinterpret_cast<HANDLE>(pFile); }

DWORD toAccess(uint32_t pMode)
{
    DWORD tAccess = 0;
    if (pMode & KPR_OPEN_READ) tAccess |= GENERIC_READ;
    // Without the right to write data, every write goes to the end.
    if (pMode & KPR_OPEN_WRITE)
        tAccess |= pMode & KPR_OPEN_APPEND ? FILE_GENERIC_WRITE & ~static_cast<DWORD>(FILE_WRITE_DATA)
                                           : static_cast<DWORD>(GENERIC_WRITE);
    return tAccess;
}

// Truncation is a step of its own: asking for it here would refuse hidden files and change attributes.
DWORD toDisposition(uint32_t pMode)
{
    if (pMode & KPR_OPEN_EXCLUSIVE) return CREATE_NEW;
    return pMode & KPR_OPEN_CREATE ? OPEN_ALWAYS : OPEN_EXISTING;
}

uint32_t openHandle(const std::wstring& pPath, uint32_t pMode, DWORD pFlags, HANDLE* pHandle)
{
    const uint32_t tError = kpr::retried([&] {
        *pHandle = CreateFileW(pPath.c_str(), toAccess(pMode), SHARE_ALL, nullptr, toDisposition(pMode),
                               FILE_ATTRIBUTE_NORMAL | pFlags, nullptr);
        if (*pHandle != INVALID_HANDLE_VALUE) return true;
        if (pMode & KPR_OPEN_CREATE) kpr::waitIfDeletePending(pPath);
        return false;
    });
    if (tError == 0) return K_SUCCESS;
    if (tError == ERROR_ACCESS_DENIED && (kpr::attributesOf(pPath) & FILE_ATTRIBUTE_DIRECTORY))
        return pMode & KPR_OPEN_ANY ? KPR_E_IS_DIRECTORY : KPR_E_NOT_REGULAR;
    return kpr::errorFromSystem(tError);
}

bool isSameFile(const BY_HANDLE_FILE_INFORMATION& pOne, const BY_HANDLE_FILE_INFORMATION& pOther)
{
    return pOne.dwVolumeSerialNumber == pOther.dwVolumeSerialNumber &&
           pOne.nFileIndexHigh == pOther.nFileIndexHigh && pOne.nFileIndexLow == pOther.nFileIndexLow;
}

DWORD reparseTag(HANDLE pHandle)
{
    FILE_ATTRIBUTE_TAG_INFO tInfo;
    // A point whose tag cannot be told is taken for a link, to be on the safe side.
    return GetFileInformationByHandleEx(pHandle, FileAttributeTagInfo, &tInfo, sizeof tInfo)
               ? tInfo.ReparseTag
               : IO_REPARSE_TAG_SYMLINK;
}

uint32_t reparseTagOf(const std::wstring& pPath, DWORD* pTag)
{
    WIN32_FIND_DATAW tFound; // the only way to the tag that needs no right to the file
    if (const HANDLE tFind = FindFirstFileW(pPath.c_str(), &tFound); tFind != INVALID_HANDLE_VALUE) {
        FindClose(tFind);
        *pTag = tFound.dwReserved0;
        return K_SUCCESS;
    }
    // A root is in no folder, and a name with a separator behind it is not found in one.
    const HANDLE tHandle = CreateFileW(pPath.c_str(), 0, SHARE_ALL, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (tHandle == INVALID_HANDLE_VALUE) return kpr::errorFromSystem(kpr::systemError());
    *pTag = reparseTag(tHandle);
    CloseHandle(tHandle);
    return K_SUCCESS;
}

// Opened without following anything: lets only regular files pass.
uint32_t checkRegular(const std::wstring& pPath, uint32_t pMode, HANDLE* pHandle)
{
    BY_HANDLE_FILE_INFORMATION tInfo;
    if (GetFileType(*pHandle) != FILE_TYPE_DISK) return KPR_E_NOT_REGULAR;
    if (!GetFileInformationByHandle(*pHandle, &tInfo)) return kpr::lastError();
    if (!(tInfo.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return kpr::toKind(tInfo.dwFileAttributes, 0) == KPR_KIND_FILE ? K_SUCCESS : KPR_E_NOT_REGULAR;
    if (kpr::toKind(tInfo.dwFileAttributes, reparseTag(*pHandle)) != KPR_KIND_FILE) return KPR_E_NOT_REGULAR;

    // A file whose content the file system keeps elsewhere is read through its reparse point.
    HANDLE tContent;
    const uint32_t tReopen = pMode & ~static_cast<uint32_t>(KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE);
    if (auto tRes = openHandle(pPath, tReopen, 0, &tContent); KFAILED(tRes)) return tRes;
    std::swap(*pHandle, tContent);
    CloseHandle(tContent);
    BY_HANDLE_FILE_INFORMATION tContentInfo;
    if (!GetFileInformationByHandle(*pHandle, &tContentInfo)) return kpr::lastError();
    return isSameFile(tInfo, tContentInfo) ? K_SUCCESS : KPR_E_NOT_REGULAR;
}

bool isEndOfFile(DWORD pError) { return pError == ERROR_HANDLE_EOF || pError == ERROR_BROKEN_PIPE; }

// Transfers until everything is done, nothing more comes, or an error; pTransfer(offset done, bytes moved)
// moves one piece. A pipe gives what it has, a server or another maker's file system what suits it.
template <typename TTransfer>
uint32_t transferAll(uint32_t pLength, uint32_t* pDone, TTransfer pTransfer)
{
    *pDone = 0;
    while (*pDone < pLength) {
        DWORD tMoved = 0;
        const uint32_t tRes = pTransfer(*pDone, &tMoved);
        *pDone += tMoved;
        if (KFAILED(tRes) || tMoved == 0) return tRes;
    }
    return K_SUCCESS;
}

uint32_t readPiece(KprFile pFile, void* pBuffer, uint32_t pLength, OVERLAPPED* pWhere, DWORD* pRead)
{
    return ReadFile(toHandle(pFile), pBuffer, pLength, pRead, pWhere) || isEndOfFile(GetLastError())
               ? uint32_t{K_SUCCESS}
               : kpr::lastError();
}

uint32_t writePiece(KprFile pFile, const void* pBuffer, uint32_t pLength, OVERLAPPED* pWhere, DWORD* pWritten)
{
    return WriteFile(toHandle(pFile), pBuffer, pLength, pWritten, pWhere) ? uint32_t{K_SUCCESS}
                                                                          : kpr::lastError();
}

uint32_t truncate(HANDLE pHandle)
{
    const uint32_t tError = kpr::retried([&] { return SetEndOfFile(pHandle) != FALSE; });
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}

OVERLAPPED toOverlapped(uint64_t pOffset)
{
    OVERLAPPED tWhere{};
    tWhere.Offset = static_cast<DWORD>(pOffset & 0xFFFFFFFFu);
    tWhere.OffsetHigh = static_cast<DWORD>(pOffset >> 32);
    return tWhere;
}

} // namespace

uint32_t kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (!pFile) return E_INVALIDARG;
    *pFile = KPR_NO_FILE;
    if (!pPath || !kpr::isValidOpenMode(pMode)) return E_INVALIDARG;
    std::wstring tPath;
    if ((pMode & (KPR_OPEN_CREATE | KPR_OPEN_ANY)) == KPR_OPEN_CREATE)
        if (auto tRes = kpr::checkNewName(pPath); KFAILED(tRes)) return tRes;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;

    DWORD tFlags = kpr::ANONYMOUS;
    const bool tFollows = pMode & (KPR_OPEN_FOLLOW | KPR_OPEN_ANY);
    if (!tFollows) tFlags |= FILE_FLAG_OPEN_REPARSE_POINT;
    HANDLE tHandle;
    if (auto tRes = openHandle(tPath, pMode, tFlags, &tHandle); KFAILED(tRes)) return tRes;
    uint32_t tRes = K_SUCCESS;
    if (!tFollows)
        tRes = checkRegular(tPath, pMode, &tHandle);
    else if (!(pMode & KPR_OPEN_ANY) && GetFileType(tHandle) != FILE_TYPE_DISK)
        tRes = KPR_E_NOT_REGULAR;
    if (!KFAILED(tRes) && (pMode & (KPR_OPEN_TRUSTED | KPR_OPEN_OWN)))
        tRes = kpr::checkTrusted(tHandle, pMode & KPR_OPEN_TRUSTED);
    if (!KFAILED(tRes) && (pMode & KPR_OPEN_TRUNCATE)) tRes = truncate(tHandle);
    if (KFAILED(tRes)) {
        CloseHandle(tHandle);
        return tRes;
    }
    *pFile = reinterpret_cast<KprFile>(tHandle);
    return K_SUCCESS;
}

uint32_t kprCloseFile(KprFile pFile)
{
    return toHandle(pFile) && CloseHandle(toHandle(pFile)) ? K_SUCCESS : KPR_E_BAD_HANDLE;
}

uint32_t kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    if (!pBuffer || !pRead) return E_INVALIDARG;
    return transferAll(pLength, pRead, [&](uint32_t pDone, DWORD* pMoved) {
        return readPiece(pFile, static_cast<char*>(pBuffer) + pDone, pLength - pDone, nullptr, pMoved);
    });
}

uint32_t kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    if (!pBuffer || !pWritten) return E_INVALIDARG;
    return transferAll(pLength, pWritten, [&](uint32_t pDone, DWORD* pMoved) {
        return writePiece(pFile, static_cast<const char*>(pBuffer) + pDone, pLength - pDone, nullptr, pMoved);
    });
}

uint32_t kprSeek(KprFile pFile, int64_t pOffset, uint32_t pOrigin, uint64_t* pNewOffset)
{
    constexpr DWORD tOrigins[] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
    if (pOrigin >= std::size(tOrigins)) return E_INVALIDARG;
    LARGE_INTEGER tDistance, tOffset;
    tDistance.QuadPart = pOffset;
    if (!SetFilePointerEx(toHandle(pFile), tDistance, &tOffset, tOrigins[pOrigin])) return kpr::lastError();
    if (pNewOffset) *pNewOffset = static_cast<uint64_t>(tOffset.QuadPart);
    return K_SUCCESS;
}

uint32_t kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    if (!pBuffer || !pRead || !kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    return transferAll(pLength, pRead, [&](uint32_t pDone, DWORD* pMoved) {
        OVERLAPPED tWhere = toOverlapped(pOffset + pDone);
        return readPiece(pFile, static_cast<char*>(pBuffer) + pDone, pLength - pDone, &tWhere, pMoved);
    });
}

uint32_t kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                         uint32_t* pWritten)
{
    if (!pBuffer || !pWritten || !kpr::isValidRange(pOffset, pLength)) return E_INVALIDARG;
    return transferAll(pLength, pWritten, [&](uint32_t pDone, DWORD* pMoved) {
        OVERLAPPED tWhere = toOverlapped(pOffset + pDone);
        return writePiece(pFile, static_cast<const char*>(pBuffer) + pDone, pLength - pDone, &tWhere, pMoved);
    });
}

uint32_t kprSyncFile(KprFile pFile)
{
    return FlushFileBuffers(toHandle(pFile)) ? K_SUCCESS : kpr::lastError();
}

uint32_t kprGetFileInfo(const char* pPath, uint32_t, KprFileInfo* pInfo)
{
    if (!pPath || !pInfo) return E_INVALIDARG;
    *pInfo = {};
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    WIN32_FILE_ATTRIBUTE_DATA tData;
    const uint32_t tError = kpr::retried(
        [&] { return GetFileAttributesExW(tPath.c_str(), GetFileExInfoStandard, &tData) != FALSE; });
    if (tError != 0) return kpr::errorFromSystem(tError);
    DWORD tTag = 0;
    if (tData.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
        if (auto tRes = reparseTagOf(tPath, &tTag); KFAILED(tRes)) return tRes;
    *pInfo = {kpr::toKind(tData.dwFileAttributes, tTag), 0,
              kpr::toUint64(tData.nFileSizeHigh, tData.nFileSizeLow),
              kpr::fromFileTime(tData.ftLastWriteTime), kpr::fromFileTime(tData.ftLastAccessTime)};
    return K_SUCCESS;
}

uint32_t kprGetOpenFileInfo(KprFile pFile, uint32_t, KprFileInfo* pInfo)
{
    if (!pInfo) return E_INVALIDARG;
    *pInfo = {};
    BY_HANDLE_FILE_INFORMATION tInfo;
    if (!GetFileInformationByHandle(toHandle(pFile), &tInfo)) {
        const uint32_t tRes = kpr::lastError();
        return GetFileType(toHandle(pFile)) == FILE_TYPE_UNKNOWN ? tRes
                                                                 : uint32_t{K_SUCCESS}; // a device, a pipe
    }
    const DWORD tTag =
        tInfo.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT ? reparseTag(toHandle(pFile)) : 0;
    *pInfo = {kpr::toKind(tInfo.dwFileAttributes, tTag), 0,
              kpr::toUint64(tInfo.nFileSizeHigh, tInfo.nFileSizeLow),
              kpr::fromFileTime(tInfo.ftLastWriteTime), kpr::fromFileTime(tInfo.ftLastAccessTime)};
    return K_SUCCESS;
}

uint32_t kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified)
{
    if (!pPath || !kpr::isValidTime(pAccessed) || !kpr::isValidTime(pModified)) return E_INVALIDARG;
    FILETIME tAccessed, tModified;
    if ((pAccessed && !kpr::toFileTime(*pAccessed, &tAccessed)) ||
        (pModified && !kpr::toFileTime(*pModified, &tModified)))
        return E_INVALIDARG;
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    HANDLE tHandle = INVALID_HANDLE_VALUE;
    uint32_t tError = kpr::retried([&] {
        tHandle =
            CreateFileW(tPath.c_str(), FILE_WRITE_ATTRIBUTES, SHARE_ALL, nullptr, OPEN_EXISTING,
                        FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS | kpr::ANONYMOUS, nullptr);
        return tHandle != INVALID_HANDLE_VALUE;
    });
    if (tError != 0) return kpr::errorFromSystem(tError);
    const bool tDone =
        SetFileTime(tHandle, nullptr, pAccessed ? &tAccessed : nullptr, pModified ? &tModified : nullptr);
    tError = tDone ? 0 : GetLastError();
    CloseHandle(tHandle);
    return tDone ? K_SUCCESS : kpr::errorFromSystem(tError);
}
