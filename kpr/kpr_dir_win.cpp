#include <windows.h>

#include <memory>
#include <string>

#include "kpr/dir.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_kind_win.h"
#include "kpr/kpr_retry_win.h"
#include "kpr/kpr_wide_win.h"

namespace {

struct Listing {
    HANDLE find;
    WIN32_FIND_DATAW entry;
    bool pending; // the entry has been read from the system, but not been given out
    bool ended;   // nothing more comes, or a read failed and another one might fail for ever
};

Listing* toListing(KprDir pDir)
{
    return pDir == KPR_NO_DIR || pDir == 0 ? nullptr : reinterpret_cast<Listing*>(pDir);
}

bool isSelfOrParent(std::wstring_view pName) { return pName == L"." || pName == L".."; }

// Without the separators at the end, unless the path is a root.
std::wstring trimmed(std::wstring pPath)
{
    while (pPath.size() > 1 && (pPath.back() == L'\\' || pPath.back() == L'/') &&
           !(pPath.size() == 3 && pPath[1] == L':'))
        pPath.pop_back();
    return pPath;
}

std::wstring environment(const wchar_t* pName)
{
    std::wstring tValue(GetEnvironmentVariableW(pName, nullptr, 0), L'\0');
    if (!tValue.empty())
        tValue.resize(GetEnvironmentVariableW(pName, tValue.data(), static_cast<DWORD>(tValue.size())));
    return tValue;
}

template <class TFunction>
TFunction* functionOf(HMODULE pLibrary, const char* pName)
{
    void* tAddress = pLibrary ? reinterpret_cast<void*>(GetProcAddress(pLibrary, pName)) : nullptr;
    return reinterpret_cast<TFunction*>(tAddress);
}

// The shell knows the folder also without an environment. It brings the window system into the process, after
// which a console program hears nothing of logoff and shutdown any more: so it is loaded last of all.
std::wstring knownLocalAppData()
{
    constexpr GUID tLocalAppData = {
        0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}};
    constexpr DWORD tDontVerify = 0x4000; // KF_FLAG_DONT_VERIFY
    const HMODULE tShell = LoadLibraryExW(L"shell32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const HMODULE tOle = LoadLibraryExW(L"ole32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto tGet =
        functionOf<HRESULT WINAPI(const GUID&, DWORD, HANDLE, PWSTR*)>(tShell, "SHGetKnownFolderPath");
    const auto tFree = functionOf<void WINAPI(void*)>(tOle, "CoTaskMemFree");
    PWSTR tKnown = nullptr;
    std::wstring tDir;
    if (tGet && tFree) {
        if (SUCCEEDED(tGet(tLocalAppData, tDontVerify, nullptr, &tKnown))) tDir = tKnown;
        tFree(tKnown);
    }
    return tDir; // the two libraries stay, as the window system does
}

bool isAbsolute(const std::wstring& pPath)
{
    return (pPath.size() > 2 && pPath[1] == L':') || pPath.starts_with(L"\\\\");
}

} // namespace

uint32_t kprOpenDir(const char* pPath, KprDir* pDir)
{
    if (!pDir) return E_INVALIDARG;
    *pDir = KPR_NO_DIR;
    if (!pPath) return E_INVALIDARG;
    std::wstring tPath;
    // With a component more than the path itself, so that the pattern counts for the limit as well.
    if (!*pPath) return KPR_E_NOT_FOUND;
    if (auto tRes = kpr::toWidePath((std::string(pPath) + "\\*").c_str(), &tPath); KFAILED(tRes)) return tRes;
    auto tListing = std::make_unique<Listing>(); // before there is a handle: it may run out of memory
    tListing->pending = true;
    tListing->find = FindFirstFileExW(tPath.c_str(), FindExInfoBasic, &tListing->entry, FindExSearchNameMatch,
                                      nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (tListing->find == INVALID_HANDLE_VALUE) {
        const DWORD tError = kpr::systemError();
        std::wstring tSelf;
        if (auto tRes = kpr::toWidePath(pPath, &tSelf); KFAILED(tRes)) return tRes;
        const DWORD tAttributes = GetFileAttributesW(tSelf.c_str());
        if (tAttributes != INVALID_FILE_ATTRIBUTES && !(tAttributes & FILE_ATTRIBUTE_DIRECTORY))
            return KPR_E_NOT_DIRECTORY;
        // The root of an empty volume has not even "." in it.
        if (tError != ERROR_FILE_NOT_FOUND || tAttributes == INVALID_FILE_ATTRIBUTES)
            return kpr::errorFromSystem(tError);
        tListing->pending = false;
        tListing->ended = true;
    }
    *pDir = reinterpret_cast<KprDir>(tListing.release());
    return K_SUCCESS;
}

uint32_t kprReadDir(KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind)
{
    Listing* tListing = toListing(pDir);
    if (!tListing) return KPR_E_BAD_HANDLE;
    if (!pBuffer) return E_INVALIDARG;
    while (!tListing->ended) {
        if (!tListing->pending && !FindNextFileW(tListing->find, &tListing->entry)) {
            tListing->ended = true;
            return kpr::lastError(); // KPR_E_END for the regular one
        }
        tListing->pending = false;
        const WIN32_FIND_DATAW& tEntry = tListing->entry;
        if (isSelfOrParent(tEntry.cFileName)) continue;
        if (pKind) *pKind = kpr::toKind(tEntry.dwFileAttributes, tEntry.dwReserved0);
        return kpr::copyOutWide(tEntry.cFileName, pBuffer, pSize);
    }
    return KPR_E_END;
}

uint32_t kprCloseDir(KprDir pDir)
{
    Listing* tListing = toListing(pDir);
    if (!tListing) return KPR_E_BAD_HANDLE;
    const bool tClosed = tListing->find == INVALID_HANDLE_VALUE || FindClose(tListing->find);
    const uint32_t tRes = tClosed ? uint32_t{K_SUCCESS} : kpr::lastError();
    delete tListing;
    return tRes;
}

uint32_t kprMakeDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    std::wstring tPath;
    if (auto tRes = kpr::checkNewName(pPath); KFAILED(tRes)) return tRes;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    const uint32_t tError = kpr::retried([&] {
        if (CreateDirectoryW(tPath.c_str(), nullptr)) return true;
        kpr::waitIfDeletePending(tPath);
        return false;
    });
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}

uint32_t kprRemoveDir(const char* pPath)
{
    if (!pPath) return E_INVALIDARG;
    std::wstring tPath;
    if (auto tRes = kpr::toWidePath(pPath, &tPath); KFAILED(tRes)) return tRes;
    const uint32_t tError = kpr::retried([&] { return RemoveDirectoryW(tPath.c_str()) != FALSE; });
    return tError == 0 ? K_SUCCESS : kpr::errorFromSystem(tError);
}

uint32_t kprGetUserDataDir(char* pBuffer, uint32_t pSize)
{
    if (const std::wstring tDir = environment(L"LOCALAPPDATA"); isAbsolute(tDir))
        return kpr::copyOutWide(trimmed(tDir), pBuffer, pSize);
    const std::wstring tDir = knownLocalAppData();
    return tDir.empty() ? uint32_t{KPR_E_NOT_FOUND} : kpr::copyOutWide(trimmed(tDir), pBuffer, pSize);
}

uint32_t kprGetTempDir(char* pBuffer, uint32_t pSize)
{
    wchar_t tDir[MAX_PATH + 2];
    const DWORD tLength = GetTempPathW(MAX_PATH + 2, tDir);
    if (tLength == 0 || tLength > MAX_PATH + 1) return KPR_E_NOT_FOUND;
    return kpr::copyOutWide(trimmed(tDir), pBuffer, pSize);
}
