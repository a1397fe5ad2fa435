#include <windows.h>
// after windows.h
#include <psapi.h>

#include <algorithm>
#include <cstring>

#include "kpr/dso.h"
#include "kpr/kpr_block.h"
#include "kpr/kpr_debug_id.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_version_resource.h"
#include "kpr/kpr_wide_win.h"

namespace {

// Plain bytes: they need no destructor at a thread's end.
thread_local char tErrorText[512];

HMODULE toModule(KprDSO pHandle) { return reinterpret_cast<HMODULE>(pHandle); }

void keepErrorText(DWORD pError)
{
    tErrorText[0] = '\0';
    if (pError == ERROR_SUCCESS) return;
    wchar_t tWide[256];
    DWORD tLength = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                   pError, 0, tWide, static_cast<DWORD>(std::size(tWide)), nullptr);
    while (tLength > 0 &&
           (tWide[tLength - 1] == L'\n' || tWide[tLength - 1] == L'\r' || tWide[tLength - 1] == L' '))
        --tLength;
    std::string tText;
    if (tLength == 0 || KFAILED(kpr::toUtf8({tWide, tLength}, &tText)))
        tText = "error " + std::to_string(pError) + " of the operating system";
    tText.resize(std::min(tText.size(), sizeof tErrorText - 1));
    std::memcpy(tErrorText, tText.c_str(), tText.size() + 1);
}

uint32_t modulePath(HMODULE pModule, std::string* pPath)
{
    std::wstring tPath(MAX_PATH, L'\0');
    for (;;) {
        const DWORD tLength = GetModuleFileNameW(pModule, tPath.data(), static_cast<DWORD>(tPath.size()));
        if (tLength == 0) return kpr::lastError();
        if (tLength < tPath.size()) {
            tPath.resize(tLength);
            return kpr::toUtf8(kpr::withoutLongPrefix(tPath), pPath);
        }
        tPath.resize(tPath.size() * 2);
    }
}

// Never destroyed: threads may ask until the process ends.
const std::string& programPath()
{
    static const std::string& tPath = *[] {
        auto* tRead = new std::string;
        modulePath(nullptr, tRead);
        return tRead;
    }();
    return tPath;
}

uint32_t moduleHolding(const void* pAddress, DWORD pFlags, HMODULE* pModule)
{
    if (!pAddress) return E_INVALIDARG;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | pFlags, static_cast<LPCWSTR>(pAddress),
                              pModule)
               ? uint32_t{K_SUCCESS}
               : uint32_t{KPR_E_NOT_FOUND};
}

// Keeps the system from showing a dialog when a module cannot be loaded.
class QuietErrors {
public:
    QuietErrors() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &mBefore); }
    ~QuietErrors() { SetThreadErrorMode(mBefore, nullptr); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    DWORD mBefore = 0;
};

/// The system's list as one call gives it, which may fail or be wrong while modules come and go.
uint32_t listModulesOnce(std::vector<HMODULE>* pModules)
{
    pModules->resize(256);
    for (;;) {
        const DWORD tRoom = static_cast<DWORD>(pModules->size() * sizeof(HMODULE));
        DWORD tNeeded = 0;
        if (!EnumProcessModules(GetCurrentProcess(), pModules->data(), tRoom, &tNeeded))
            return kpr::lastError();
        pModules->resize(tNeeded / sizeof(HMODULE));
        if (tNeeded <= tRoom) return K_SUCCESS;
    }
}

/// The system's list, read again until two readings agree. When they never do, the latest is as good as any.
uint32_t listModules(std::vector<HMODULE>* pModules)
{
    constexpr int tAttempts = 50;
    std::vector<HMODULE> tRead;
    uint32_t tRes = K_SUCCESS;
    for (int tAttempt = 0; tAttempt < tAttempts; ++tAttempt) {
        tRes = listModulesOnce(&tRead);
        if (KFAILED(tRes)) {
            Sleep(1); // for the thread that loads to get on
            continue;
        }
        if (tRead == *pModules) return K_SUCCESS;
        *pModules = tRead;
    }
    return pModules->empty() ? tRes : uint32_t{K_SUCCESS};
}

} // namespace

namespace kpr {

/// How many bytes from an address on can be read, at most pSize.
static size_t readableSize(const uint8_t* pStart, size_t pSize)
{
    size_t tDone = 0;
    while (tDone < pSize) {
        MEMORY_BASIC_INFORMATION tRegion;
        if (!VirtualQuery(pStart + tDone, &tRegion, sizeof tRegion)) break;
        if (tRegion.State != MEM_COMMIT || (tRegion.Protect & (PAGE_NOACCESS | PAGE_GUARD))) break;
        const auto* const tEnd = static_cast<const uint8_t*>(tRegion.BaseAddress) + tRegion.RegionSize;
        tDone = static_cast<size_t>(tEnd - pStart);
    }
    return std::min(tDone, pSize);
}

uint32_t readFileAttributes(KprDSO pHandle, AttributePairs* pPairs)
{
    // A module's handle is the address of its image.
    HMODULE tModule = nullptr;
    const DWORD tFlags = GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (KFAILED(moduleHolding(reinterpret_cast<const void*>(pHandle), tFlags, &tModule)) ||
        tModule != toModule(pHandle))
        return KPR_E_BAD_HANDLE;
    // The resource lies in the loaded image, so no file is read.
    const HRSRC tResource = FindResourceW(toModule(pHandle), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
    const HGLOBAL tLoaded = tResource ? LoadResource(toModule(pHandle), tResource) : nullptr;
    const void* tBytes = tLoaded ? LockResource(tLoaded) : nullptr;
    if (tBytes)
        readVersionResource(
            {static_cast<const uint8_t*>(tBytes), SizeofResource(toModule(pHandle), tResource)}, pPairs);
    return K_SUCCESS;
}

void addFileId(KprDSO pHandle, AttributePairs* pPairs)
{
    // The image's size is the loader's to tell: others may have overwritten the image's headers.
    MODULEINFO tInfo{};
    if (!GetModuleInformation(GetCurrentProcess(), toModule(pHandle), &tInfo, sizeof tInfo)) return;
    const auto* const tImage = reinterpret_cast<const uint8_t*>(pHandle);
    addMissing("DebugId", readDebugId({tImage, readableSize(tImage, tInfo.SizeOfImage)}), pPairs);
}

} // namespace kpr

uint32_t kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle)
{
    if (!pHandle) return E_INVALIDARG;
    *pHandle = 0;
    if (!pPath || !kpr::isValidDSOName(pPath, pFlags)) return E_INVALIDARG;
    keepErrorText(ERROR_SUCCESS);

    std::wstring tPath;
    const bool tIsPath = !(pFlags & KPR_DSO_BY_NAME);
    if (auto tRes = tIsPath ? kpr::toWidePath(pPath, &tPath) : kpr::toWide(pPath, &tPath); KFAILED(tRes)) {
        keepErrorText(ERROR_INVALID_NAME);
        return tRes;
    }
    // Without these flags the loader searches the current folder and PATH as well, also for what a module
    // needs.
    DWORD tFlags = LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
    if (tIsPath) {
        // The search beside the module wants an absolute path.
        if (std::wstring tFull = kpr::fullPath(tPath); !tFull.empty()) tPath = std::move(tFull);
        tFlags |= LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
    }
    QuietErrors tQuiet;
    const HMODULE tModule = LoadLibraryExW(tPath.c_str(), nullptr, tFlags);
    if (!tModule) {
        const DWORD tError = GetLastError();
        keepErrorText(tError);
        if (tError != ERROR_MOD_NOT_FOUND) {
            const uint32_t tRes = kpr::errorFromSystem(tError);
            return tRes == KPR_E_NOT_FOUND || tRes == KPR_E_ACCESS_DENIED || tRes == E_OUTOFMEMORY
                       ? tRes
                       : uint32_t{KPR_E_NOT_A_DSO};
        }
        // The same error when the file is missing and when something that it needs is.
        const bool tThere = tIsPath && GetFileAttributesW(tPath.c_str()) != INVALID_FILE_ATTRIBUTES;
        return tThere ? KPR_E_NOT_A_DSO : KPR_E_NOT_FOUND;
    }
    *pHandle = reinterpret_cast<KprDSO>(tModule);
    return K_SUCCESS;
}

void kprRestrictLibrarySearch(void) { SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS); }

uint32_t kprCloseDSO(KprDSO pHandle)
{
    return pHandle && FreeLibrary(toModule(pHandle)) ? K_SUCCESS : KPR_E_BAD_HANDLE;
}

uint32_t kprGetDSOSymbol(KprDSO pHandle, const char* pName, void** pAddress)
{
    if (!pAddress) return E_INVALIDARG;
    *pAddress = nullptr;
    if (!pName) return E_INVALIDARG;
    if (!pHandle) return KPR_E_BAD_HANDLE;
    *pAddress = reinterpret_cast<void*>(GetProcAddress(toModule(pHandle), pName));
    return *pAddress ? K_SUCCESS : KPR_E_NO_SYMBOL;
}

const char* kprGetDSOErrorText(void) { return tErrorText; }

uint32_t kprListLoadedModules(KprModuleList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    std::vector<HMODULE> tHandles;
    if (auto tRes = listModules(&tHandles); KFAILED(tRes)) return tRes;
    std::vector<kpr::ModuleEntry> tModules;
    for (HMODULE tListed : tHandles) {
        HMODULE tHandle = nullptr;
        if (KFAILED(moduleHolding(tListed, 0, &tHandle))) continue; // unloaded since
        std::string tPath;
        if (KFAILED(modulePath(tHandle, &tPath)))
            FreeLibrary(tHandle);
        else
            tModules.push_back({std::move(tPath), reinterpret_cast<KprDSO>(tHandle)});
    }
    return kpr::makeModuleList(tModules, pList);
}

const char* kprGetDSOPrefix(void) { return ""; }
const char* kprGetDSOSuffix(void) { return ".dll"; }

uint32_t kprGetModulePath(const void* pAddress, char* pBuffer, uint32_t pSize)
{
    HMODULE tModule;
    if (auto tRes = moduleHolding(pAddress, GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, &tModule);
        KFAILED(tRes))
        return tRes;
    std::string tPath;
    const uint32_t tRes = modulePath(tModule, &tPath);
    return KFAILED(tRes) ? tRes : kpr::copyOut(tPath, pBuffer, pSize);
}

uint32_t kprPinModule(const void* pAddress)
{
    HMODULE tModule;
    return moduleHolding(pAddress, GET_MODULE_HANDLE_EX_FLAG_PIN, &tModule);
}

const char* kprGetProgramName(void)
{
    const std::string& tPath = programPath();
    return tPath.c_str() + tPath.rfind('\\') + 1;
}

const char* kprGetProgramPath(void) { return programPath().c_str(); }
