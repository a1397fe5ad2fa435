// A Windows machine that a test makes up: what the table of calls returns.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsCalls.h"

namespace vel::kos::kfw::test {

struct RegistryValue {
    uint32_t type;
    std::string bytes;
    int32_t error = 0;
};

/// A healthy workstation with two processors, unless a test says otherwise.
struct FakeWindows {
    std::set<std::string> missingModules; ///< not found by loadLibrary and getModuleHandle
    std::set<std::string> missingEntries;
    uint32_t lastError = 0;
    int32_t rtlGetVersionStatus = 0;
    std::set<uint32_t> refusedVersionSizes; ///< record sizes that getVersionEx refuses
    OsVersionRecord version = {.size = 0,
                               .major = 10,
                               .minor = 0,
                               .build = 19045,
                               .platformId = 2,
                               .servicePack = {},
                               .servicePackMajor = 0,
                               .servicePackMinor = 0,
                               .suiteMask = 0,
                               .productType = 1,
                               .reserved = 0};
    uint16_t architecture = 9;
    uint32_t processors = 2;
    std::vector<uint32_t> groups; ///< processors of each group; none: one group of all processors
    std::size_t callersGroup = 0; ///< in which of them the calling thread runs
    int32_t registryError = 0;
    std::map<std::string, RegistryValue> registry = {
        {"VendorIdentifier", {1, std::string("GenuineIntel", 13)}},
        {"Identifier", {1, std::string("Intel64 Family 6 Model 85 Stepping 7", 37)}}};
    std::set<uint32_t> features = {3, 6, 10};
    bool failMemoryStatusEx = false;
    MemoryRecordEx memory = {0, 42, 8'000'000'000, 5'000'000'000, 9'000'000'000, 6'000'000'000, 1, 2, 3};
    int32_t powerStatus = 0;
    std::vector<PowerRecord> power = {{7, 2600, 1200, 2400, 0, 0}, {8, 2601, 1201, 2401, 0, 0}};

    std::vector<std::string> trace;    ///< the calls that were made, with what tells them apart
    std::map<std::string, int> loaded; ///< modules by loadLibrary and not yet freed
    uint32_t powerBufferSize = 0;

    void setServicePack(std::u16string_view pText)
    {
        std::ranges::fill(version.servicePack, u'\0');
        std::ranges::copy(pText, version.servicePack);
    }
    std::size_t count(std::string_view pCall) const
    {
        return static_cast<std::size_t>(std::ranges::count(trace, pCall));
    }
};

/// The machine of the moment.
inline FakeWindows gMachine;

namespace fake {

/// A module's handle is the address of its name in this set.
inline SystemHandle handleOf(const char* pName)
{
    static std::set<std::string> sNames;
    if (gMachine.missingModules.contains(pName)) return nullptr;
    return const_cast<std::string*>(&*sNames.insert(pName).first);
}

inline const std::string& nameOf(SystemHandle pModule) { return *static_cast<const std::string*>(pModule); }

inline SystemHandle loadLibrary(const char* pName)
{
    gMachine.trace.push_back(std::string("LoadLibraryA ") + pName);
    const SystemHandle tModule = handleOf(pName);
    if (tModule) ++gMachine.loaded[pName];
    return tModule;
}

inline void freeLibrary(SystemHandle pModule) { --gMachine.loaded[nameOf(pModule)]; }

inline void fillSystem(SystemRecord* pRecord)
{
    pRecord->processorArchitecture = gMachine.architecture;
    pRecord->numberOfProcessors =
        gMachine.groups.empty() ? gMachine.processors : gMachine.groups[gMachine.callersGroup];
}

inline int32_t rtlGetVersion(OsVersionRecord* pRecord)
{
    gMachine.trace.push_back("RtlGetVersion " + std::to_string(pRecord->size));
    if (gMachine.rtlGetVersionStatus) return gMachine.rtlGetVersionStatus;
    const uint32_t tSize = pRecord->size;
    *pRecord = gMachine.version;
    pRecord->size = tSize;
    return 0;
}

inline int32_t getVersionEx(OsVersionRecord* pRecord)
{
    gMachine.trace.push_back("GetVersionExW " + std::to_string(pRecord->size));
    if (gMachine.refusedVersionSizes.contains(pRecord->size)) return 0;
    OsVersionRecord tRecord = gMachine.version;
    tRecord.size = pRecord->size;
    std::memcpy(pRecord, &tRecord, pRecord->size);
    return 1;
}

inline void getSystemInfo(SystemRecord* pRecord)
{
    gMachine.trace.push_back("GetSystemInfo");
    fillSystem(pRecord);
}

inline void getNativeSystemInfo(SystemRecord* pRecord)
{
    gMachine.trace.push_back("GetNativeSystemInfo");
    fillSystem(pRecord);
}

inline int32_t globalMemoryStatusEx(MemoryRecordEx* pRecord)
{
    gMachine.trace.push_back("GlobalMemoryStatusEx " + std::to_string(pRecord->length));
    if (gMachine.failMemoryStatusEx) return 0;
    *pRecord = gMachine.memory;
    return 1;
}

inline void globalMemoryStatus(MemoryRecord* pRecord)
{
    gMachine.trace.push_back("GlobalMemoryStatus");
    const MemoryRecordEx& tFrom = gMachine.memory;
    *pRecord = {0,
                tFrom.load + 1,
                tFrom.totalPhysical + 1,
                tFrom.availPhysical + 1,
                tFrom.totalPageFile + 1,
                tFrom.availPageFile + 1,
                tFrom.totalVirtual,
                tFrom.availVirtual};
}

inline int32_t callNtPowerInformation(uint32_t pLevel, void* pInput, uint32_t pInputSize, void* pOutput,
                                      uint32_t pOutputSize)
{
    gMachine.trace.push_back("CallNtPowerInformation " + std::to_string(pLevel));
    gMachine.powerBufferSize = pOutputSize;
    if (pInput || pInputSize) return -1;
    if (!gMachine.groups.empty()) {
        // Numbers count within a group, frequencies here tell the group.
        gMachine.power.clear();
        for (uint32_t i = 0; i < gMachine.groups[gMachine.callersGroup]; ++i)
            gMachine.power.push_back(
                {i, 1000 * static_cast<uint32_t>(gMachine.callersGroup) + i, 0, 0, 0, 0});
        constexpr int32_t TOO_SMALL = static_cast<int32_t>(0xC0000023);
        if (pOutputSize < gMachine.power.size() * sizeof(PowerRecord)) return TOO_SMALL;
    }
    // What a call that fails has written counts for nothing.
    const std::size_t tRoom = pOutputSize / sizeof(PowerRecord);
    std::copy_n(gMachine.power.begin(), std::min(gMachine.power.size(), tRoom),
                static_cast<PowerRecord*>(pOutput));
    return gMachine.powerStatus;
}

inline SystemEntry getProcAddress(SystemHandle pModule, const char* pName)
{
    static const std::map<std::string, SystemEntry> sEntries = {
        {"ntdll.dll!RtlGetVersion", reinterpret_cast<SystemEntry>(&rtlGetVersion)},
        {"kernel32.dll!GetNativeSystemInfo", reinterpret_cast<SystemEntry>(&getNativeSystemInfo)},
        {"kernel32.dll!GlobalMemoryStatusEx", reinterpret_cast<SystemEntry>(&globalMemoryStatusEx)},
        {"powrprof.dll!CallNtPowerInformation", reinterpret_cast<SystemEntry>(&callNtPowerInformation)}};
    if (gMachine.missingEntries.contains(pName)) return nullptr;
    const auto tEntry = sEntries.find(nameOf(pModule) + "!" + pName);
    return tEntry == sEntries.end() ? nullptr : tEntry->second;
}

inline int32_t regOpenKey(const char* pPath, uint32_t pAccess, SystemHandle* pKey)
{
    gMachine.trace.push_back("RegOpenKeyExA " + std::to_string(pAccess) + " " + pPath);
    if (gMachine.registryError) return gMachine.registryError;
    *pKey = &gMachine.registry;
    return 0;
}

inline int32_t regQueryValue(SystemHandle, const char* pName, uint32_t* pType, void* pData, uint32_t* pSize)
{
    gMachine.trace.push_back("RegQueryValueExA " + std::to_string(*pSize) + " " + pName);
    constexpr int32_t NOT_FOUND = 2, MORE_DATA = 234;
    const auto tFound = gMachine.registry.find(pName);
    if (tFound == gMachine.registry.end()) return NOT_FOUND;
    const RegistryValue& tValue = tFound->second;
    if (tValue.error) return tValue.error;
    const bool tFits = tValue.bytes.size() <= *pSize;
    *pType = tValue.type;
    if (tFits) std::memcpy(pData, tValue.bytes.data(), tValue.bytes.size());
    *pSize = static_cast<uint32_t>(tValue.bytes.size());
    return tFits ? 0 : MORE_DATA;
}

inline int32_t regCloseKey(SystemHandle)
{
    gMachine.trace.push_back("RegCloseKey");
    return 0;
}

} // namespace fake

inline constexpr WindowsCalls FAKE_CALLS = {
    .loadLibrary = fake::loadLibrary,
    .freeLibrary = fake::freeLibrary,
    .getModuleHandle = fake::handleOf,
    .getProcAddress = fake::getProcAddress,
    .getLastError = []() -> uint32_t { return gMachine.lastError; },
    .getVersionEx = fake::getVersionEx,
    .getSystemInfo = fake::getSystemInfo,
    .globalMemoryStatus = fake::globalMemoryStatus,
    .isProcessorFeaturePresent = [](uint32_t pFeature) -> int32_t {
        return gMachine.features.contains(pFeature);
    },
    .regOpenKey = fake::regOpenKey,
    .regQueryValue = fake::regQueryValue,
    .regCloseKey = fake::regCloseKey,
};

} // namespace vel::kos::kfw::test
