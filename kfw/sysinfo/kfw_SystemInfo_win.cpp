// Binds the table of calls to Windows itself.
#include <windows.h>

#include <powrprof.h>

#include <type_traits>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"

namespace vel::kos::kfw {

namespace {

static_assert(sizeof(OsVersionRecord) == sizeof(OSVERSIONINFOEXW));
static_assert(offsetof(OsVersionRecord, servicePackMajor) == sizeof(OSVERSIONINFOW));
static_assert(offsetof(OsVersionRecord, suiteMask) == offsetof(OSVERSIONINFOEXW, wSuiteMask));
static_assert(offsetof(OsVersionRecord, productType) == offsetof(OSVERSIONINFOEXW, wProductType));
static_assert(sizeof(SystemRecord) == sizeof(SYSTEM_INFO));
static_assert(offsetof(SystemRecord, numberOfProcessors) == offsetof(SYSTEM_INFO, dwNumberOfProcessors));
static_assert(sizeof(MemoryRecordEx) == sizeof(MEMORYSTATUSEX));
static_assert(sizeof(MemoryRecord) == sizeof(MEMORYSTATUS));

const WindowsCalls WINDOWS_CALLS = {
    // Of the system alone: one that somebody has put beside the program is not what is meant.
    .loadLibrary = [](const char* pName) -> SystemHandle {
        return LoadLibraryExA(pName, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    },
    .freeLibrary = [](SystemHandle pModule) { FreeLibrary(static_cast<HMODULE>(pModule)); },
    .getModuleHandle = [](const char* pName) -> SystemHandle { return GetModuleHandleA(pName); },
    .getProcAddress =
        [](SystemHandle pModule, const char* pName) {
            return reinterpret_cast<SystemEntry>(GetProcAddress(static_cast<HMODULE>(pModule), pName));
        },
    .getLastError = []() -> uint32_t { return GetLastError(); },
    .getVersionEx = [](OsVersionRecord* pRecord) -> int32_t {
        return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(pRecord));
    },
    .getSystemInfo = [](SystemRecord* pRecord) { GetSystemInfo(reinterpret_cast<SYSTEM_INFO*>(pRecord)); },
    .globalMemoryStatus =
        [](MemoryRecord* pRecord) { GlobalMemoryStatus(reinterpret_cast<MEMORYSTATUS*>(pRecord)); },
    .isProcessorFeaturePresent = [](uint32_t pFeature) -> int32_t {
        return IsProcessorFeaturePresent(pFeature);
    },
    .regOpenKey = [](const char* pPath, uint32_t pAccess, SystemHandle* pKey) -> int32_t {
        return RegOpenKeyExA(HKEY_LOCAL_MACHINE, pPath, 0, pAccess, reinterpret_cast<HKEY*>(pKey));
    },
    .regQueryValue = [](SystemHandle pKey, const char* pName, uint32_t* pType, void* pData,
                        uint32_t* pSize) -> int32_t {
        DWORD tType = 0, tSize = *pSize;
        const LSTATUS tError = RegQueryValueExA(static_cast<HKEY>(pKey), pName, nullptr, &tType,
                                                static_cast<BYTE*>(pData), &tSize);
        *pType = tType;
        *pSize = tSize;
        return tError;
    },
    .regCloseKey = [](SystemHandle pKey) -> int32_t { return RegCloseKey(static_cast<HKEY>(pKey)); },
};

} // namespace

const WindowsCalls& windowsCalls() { return WINDOWS_CALLS; }

std::unique_ptr<FactSource> makeFactSource() { return std::make_unique<WindowsFacts>(WINDOWS_CALLS); }

} // namespace vel::kos::kfw
