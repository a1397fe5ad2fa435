// Processor, memory and frequencies of a Windows machine.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "kfw/kfw_LogDomain.h"
#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

constexpr char PROCESSOR_KEY[] = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr uint32_t KEY_ACCESS_QUERY_VALUE = 1;
constexpr uint32_t REGISTRY_TEXT = 1;
constexpr uint32_t POWER_LEVEL_PROCESSORS = 11;
constexpr uint16_t ARCHITECTURE_UNKNOWN = 0xFFFF;

struct NumberedName {
    uint16_t number;
    const char* name;
};

constexpr NumberedName ARCHITECTURES[] = {{0, "i386"}, {1, "mips"},  {2, "alpha"}, {3, "ppc"},
                                          {6, "ia64"}, {9, "amd64"}, {10, "i386"}};

constexpr NumberedName FEATURES[] = {{0, "FDIVBug"}, {3, "MMX"},         {7, "3DNOW"},       {6, "XMMI"},
                                     {10, "XMMI64"}, {13, "SSE3"},       {11, "DAZ"},        {8, "RDTSC"},
                                     {2, "CMPXCHG"}, {14, "CMPXCHG16B"}, {15, "CMP8XCHG16"}, {17, "XSAVE"},
                                     {9, "PAE"},     {12, "NX"}};

} // namespace

WindowsFacts::~WindowsFacts()
{
    if (mPowrProf) mCalls.freeLibrary(mPowrProf);
    if (mKernel32) mCalls.freeLibrary(mKernel32);
}

void WindowsFacts::detect(fw::IApplication* pApp, SystemFacts& pFacts)
{
    mKernel32 = mCalls.loadLibrary("kernel32.dll");
    if (!mKernel32)
        kDebug(pApp, LOG_DOMAIN, message("Failed to load kernel32.dll (error %1)", mCalls.getLastError()));
    detectOs(pApp, pFacts);
    detectCpu(pApp, pFacts);
}

void WindowsFacts::detectCpu(fw::IApplication* pApp, SystemFacts& pFacts)
{
    SystemRecord tSystem{};
    GetNativeSystemInfoEntry tGetInfo = nullptr;
    if (mKernel32) tGetInfo = entry<GetNativeSystemInfoEntry>(mKernel32, "GetNativeSystemInfo");
    (tGetInfo ? tGetInfo : mCalls.getSystemInfo)(&tSystem);
    pFacts.processorCount = tSystem.numberOfProcessors;

    const uint16_t tNumber = tSystem.processorArchitecture;
    const auto tRow = std::ranges::find(ARCHITECTURES, tNumber, &NumberedName::number);
    if (tRow != std::end(ARCHITECTURES))
        pFacts.architecture = tRow->name;
    else if (tNumber != ARCHITECTURE_UNKNOWN)
        kDebug(pApp, LOG_DOMAIN, message("Unknown processor architecture %1", tNumber));

    SystemHandle tKey = nullptr;
    if (const int32_t tError = mCalls.regOpenKey(PROCESSOR_KEY, KEY_ACCESS_QUERY_VALUE, &tKey)) {
        kDebug(pApp, LOG_DOMAIN,
               message("Failed to open HKEY_LOCAL_MACHINE\\%1 (error %2)", PROCESSOR_KEY, tError));
        return;
    }
    readProcessorValue(pApp, tKey, "VendorIdentifier", pFacts.cpuVendor);
    readProcessorValue(pApp, tKey, "Identifier", pFacts.cpuModel);
    mCalls.regCloseKey(tKey);

    for (const auto& tFeature : FEATURES) {
        if (!mCalls.isProcessorFeaturePresent(tFeature.number)) continue;
        if (!pFacts.cpuFeatures.empty()) pFacts.cpuFeatures += ' ';
        pFacts.cpuFeatures += tFeature.name;
    }
}

void WindowsFacts::readProcessorValue(fw::IApplication* pApp, SystemHandle pKey, const char* pName,
                                      std::string& pValue)
{
    char tText[128];
    uint32_t tSize = sizeof tText;
    uint32_t tType = 0;
    if (const int32_t tError = mCalls.regQueryValue(pKey, pName, &tType, tText, &tSize))
        kDebug(pApp, LOG_DOMAIN,
               message("Failed to read HKEY_LOCAL_MACHINE\\%1\\%2 (error %3)", PROCESSOR_KEY, pName, tError));
    else if (tType != REGISTRY_TEXT)
        kDebug(pApp, LOG_DOMAIN,
               message("HKEY_LOCAL_MACHINE\\%1\\%2 has wrong value type (%3)", PROCESSOR_KEY, pName, tType));
    else // the registry may hold texts without a terminator
        pValue.assign(tText, strnlen(tText, std::min<std::size_t>(tSize, sizeof tText)));
}

std::optional<MemoryFacts> WindowsFacts::readMemory(fw::IApplication* pApp)
{
    if (!mKernel32) return std::nullopt;
    if (const auto tStatusEx = entry<GlobalMemoryStatusExEntry>(mKernel32, "GlobalMemoryStatusEx")) {
        MemoryRecordEx tRecord{};
        tRecord.length = sizeof tRecord;
        if (tStatusEx(&tRecord))
            return MemoryFacts{tRecord.load, tRecord.totalPhysical, tRecord.availPhysical,
                               tRecord.totalPageFile, tRecord.availPageFile};
        kDebug(pApp, LOG_DOMAIN, message("GlobalMemoryStatusEx failed: %1", mCalls.getLastError()));
    }
    MemoryRecord tRecord{};
    tRecord.length = sizeof tRecord;
    mCalls.globalMemoryStatus(&tRecord);
    return MemoryFacts{tRecord.load, tRecord.totalPhysical, tRecord.availPhysical, tRecord.totalPageFile,
                       tRecord.availPageFile};
}

std::vector<FrequencyFacts> WindowsFacts::readFrequencies(fw::IApplication* pApp, uint32_t pCount)
{
    if (pCount == 0) return {};
    if (!mPowrProf) mPowrProf = mCalls.loadLibrary("powrprof.dll");
    if (!mPowrProf) {
        kDebug(pApp, LOG_DOMAIN, message("Failed to load powrprof.dll (error %1)", mCalls.getLastError()));
        return {};
    }
    const auto tPowerInformation = entry<CallNtPowerInformationEntry>(mPowrProf, "CallNtPowerInformation");
    if (!tPowerInformation) {
        kDebug(pApp, LOG_DOMAIN, "No CallNtPowerInformation entry point found in powrprof.dll");
        return {};
    }

    // The call does not tell how many records it filled: those of the calling thread's processor group, which
    // may be fewer. A record that still holds the filling was not written.
    PowerRecord tFilling;
    std::memset(&tFilling, 0xFF, sizeof tFilling);
    std::vector<PowerRecord> tRecords(pCount, tFilling);
    const auto tSize = static_cast<uint32_t>(tRecords.size() * sizeof(PowerRecord));
    if (const int32_t tStatus =
            tPowerInformation(POWER_LEVEL_PROCESSORS, nullptr, 0, tRecords.data(), tSize)) {
        kDebug(pApp, LOG_DOMAIN,
               message("Call to CallNtPowerInformation with information level ProcessorInformation failed "
                       "(error %1)",
                       tStatus));
        return {};
    }
    std::vector<FrequencyFacts> tFrequencies;
    for (const PowerRecord& tRecord : tRecords) {
        if (std::memcmp(&tRecord, &tFilling, sizeof tFilling) == 0) break;
        tFrequencies.push_back({tRecord.maxMhz, tRecord.currentMhz, tRecord.mhzLimit});
    }
    return tFrequencies;
}

} // namespace vel::kos::kfw
