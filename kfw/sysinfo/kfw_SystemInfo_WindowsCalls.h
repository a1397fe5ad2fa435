// The calls by which Windows tells about itself, as a table, and the records that they fill. The records have
// the layout of the 64-bit Windows ones, so that a machine can be made up wherever the code is compiled.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vel::kos::kfw {

/// OSVERSIONINFOEXW. Without what follows the service pack's text it is OSVERSIONINFOW.
struct OsVersionRecord {
    static constexpr uint32_t EXTENDED_SIZE = 284;
    static constexpr uint32_t PLAIN_SIZE = 276;

    uint32_t size;
    uint32_t major;
    uint32_t minor;
    uint32_t build;
    uint32_t platformId;
    char16_t servicePack[128];
    uint16_t servicePackMajor;
    uint16_t servicePackMinor;
    uint16_t suiteMask;
    uint8_t productType;
    uint8_t reserved;
};
static_assert(sizeof(OsVersionRecord) == OsVersionRecord::EXTENDED_SIZE);
static_assert(offsetof(OsVersionRecord, servicePackMajor) == OsVersionRecord::PLAIN_SIZE);

/// SYSTEM_INFO.
struct SystemRecord {
    uint16_t processorArchitecture;
    uint16_t reserved;
    uint32_t pageSize;
    uint64_t minimumAddress;
    uint64_t maximumAddress;
    uint64_t activeProcessorMask;
    uint32_t numberOfProcessors;
    uint32_t processorType;
    uint32_t allocationGranularity;
    uint16_t processorLevel;
    uint16_t processorRevision;
};
static_assert(sizeof(SystemRecord) == 48);

/// MEMORYSTATUSEX.
struct MemoryRecordEx {
    uint32_t length;
    uint32_t load;
    uint64_t totalPhysical;
    uint64_t availPhysical;
    uint64_t totalPageFile;
    uint64_t availPageFile;
    uint64_t totalVirtual;
    uint64_t availVirtual;
    uint64_t availExtendedVirtual;
};
static_assert(sizeof(MemoryRecordEx) == 64);

/// MEMORYSTATUS.
struct MemoryRecord {
    uint32_t length;
    uint32_t load;
    uint64_t totalPhysical;
    uint64_t availPhysical;
    uint64_t totalPageFile;
    uint64_t availPageFile;
    uint64_t totalVirtual;
    uint64_t availVirtual;
};
static_assert(sizeof(MemoryRecord) == 56);

/// PROCESSOR_POWER_INFORMATION.
struct PowerRecord {
    uint32_t number;
    uint32_t maxMhz;
    uint32_t currentMhz;
    uint32_t mhzLimit;
    uint32_t maxIdleState;
    uint32_t currentIdleState;
};
static_assert(sizeof(PowerRecord) == 24);

/// A module or registry key of the operating system; null is none.
using SystemHandle = void*;
/// What GetProcAddress returns, to be cast to the type of the entry.
using SystemEntry = void (*)();

/// The calls. Each has the name, the arguments and the return value of its Windows original.
struct WindowsCalls {
    SystemHandle (*loadLibrary)(const char* pName);
    void (*freeLibrary)(SystemHandle pModule);
    SystemHandle (*getModuleHandle)(const char* pName);
    SystemEntry (*getProcAddress)(SystemHandle pModule, const char* pName);
    uint32_t (*getLastError)();
    int32_t (*getVersionEx)(OsVersionRecord* pRecord);
    void (*getSystemInfo)(SystemRecord* pRecord);
    void (*globalMemoryStatus)(MemoryRecord* pRecord);
    int32_t (*isProcessorFeaturePresent)(uint32_t pFeature);
    /// Opens a key below HKEY_LOCAL_MACHINE.
    int32_t (*regOpenKey)(const char* pPath, uint32_t pAccess, SystemHandle* pKey);
    int32_t (*regQueryValue)(SystemHandle pKey, const char* pName, uint32_t* pType, void* pData,
                             uint32_t* pSize);
    int32_t (*regCloseKey)(SystemHandle pKey);
};

/// The calls of Windows itself; on Windows only.
const WindowsCalls& windowsCalls();

/// The entries that are looked up by name.
using RtlGetVersionEntry = int32_t (*)(OsVersionRecord* pRecord);
using GetNativeSystemInfoEntry = void (*)(SystemRecord* pRecord);
using GlobalMemoryStatusExEntry = int32_t (*)(MemoryRecordEx* pRecord);
using CallNtPowerInformationEntry = int32_t (*)(uint32_t pLevel, void* pInput, uint32_t pInputSize,
                                                void* pOutput, uint32_t pOutputSize);

} // namespace vel::kos::kfw
