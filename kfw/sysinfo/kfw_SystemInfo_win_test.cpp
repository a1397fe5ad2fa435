// The facts of the Windows that the test runs on, beside what direct calls say in the same run.
#include <windows.h>

#include <powrprof.h>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsCalls.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_TestFixture.h"
#include "kutil/message.h"

namespace vel::kos::kfw::test {

namespace {

constexpr uint32_t MEM = 1, HW = 2, OS = 4;

std::string processorValue(const char* pName)
{
    char tText[256] = {};
    DWORD tSize = sizeof tText - 1;
    RegGetValueA(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", pName,
                 RRF_RT_REG_SZ, nullptr, tText, &tSize);
    return *tText ? tText : "(none)";
}

class ThisWindowsTest : public SystemInfoFixture {
protected:
    void SetUp() override { start(makeFactSource()); }
};

TEST_F(ThisWindowsTest, agreesWithRtlGetVersion)
{
    using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const auto tGetVersion = reinterpret_cast<RtlGetVersion>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "RtlGetVersion")));
    ASSERT_TRUE(tGetVersion);
    OSVERSIONINFOEXW tVersion{};
    tVersion.dwOSVersionInfoSize = sizeof tVersion;
    ASSERT_EQ(tGetVersion(&tVersion), 0);
    const Pairs tPairs = attributes(OS);
    EXPECT_EQ(valueOf(tPairs, "os.vendor"), "Microsoft Corporation");
    EXPECT_EQ(valueOf(tPairs, "os.version"), util::message("%1.%2.%3", tVersion.dwMajorVersion,
                                                           tVersion.dwMinorVersion, tVersion.dwBuildNumber));
    EXPECT_TRUE(valueOf(tPairs, "os.productName").starts_with("Windows "));
    EXPECT_EQ(valueOf(tPairs, "os.updateRelease") == "(none)", *tVersion.szCSDVersion == 0);
    EXPECT_EQ(mApp->logLines().size(), 0u);
}

TEST_F(ThisWindowsTest, agreesWithTheProcessorsCalls)
{
    SYSTEM_INFO tSystem;
    GetNativeSystemInfo(&tSystem);
    const Pairs tPairs = attributes(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.architecture"), "amd64");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), std::to_string(tSystem.dwNumberOfProcessors));
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), processorValue("VendorIdentifier"));
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), processorValue("Identifier"));
    const std::string tFeatures = " " + valueOf(tPairs, "hw.cpu.features") + " ";
    const std::pair<DWORD, const char*> tNames[] = {{PF_FLOATING_POINT_PRECISION_ERRATA, "FDIVBug"},
                                                    {PF_MMX_INSTRUCTIONS_AVAILABLE, "MMX"},
                                                    {PF_3DNOW_INSTRUCTIONS_AVAILABLE, "3DNOW"},
                                                    {PF_XMMI_INSTRUCTIONS_AVAILABLE, "XMMI"},
                                                    {PF_XMMI64_INSTRUCTIONS_AVAILABLE, "XMMI64"},
                                                    {PF_SSE3_INSTRUCTIONS_AVAILABLE, "SSE3"},
                                                    {PF_SSE_DAZ_MODE_AVAILABLE, "DAZ"},
                                                    {PF_RDTSC_INSTRUCTION_AVAILABLE, "RDTSC"},
                                                    {PF_COMPARE_EXCHANGE_DOUBLE, "CMPXCHG"},
                                                    {PF_COMPARE_EXCHANGE128, "CMPXCHG16B"},
                                                    {PF_COMPARE64_EXCHANGE128, "CMP8XCHG16"},
                                                    {PF_XSAVE_ENABLED, "XSAVE"},
                                                    {PF_PAE_ENABLED, "PAE"},
                                                    {PF_NX_ENABLED, "NX"}};
    for (const auto& [tId, tName] : tNames)
        EXPECT_EQ(tFeatures.find(std::string(" ") + tName + " ") != std::string::npos,
                  IsProcessorFeaturePresent(tId) != 0)
            << tName;
}

TEST_F(ThisWindowsTest, agreesWithThePowerInformation)
{
    struct Record {
        ULONG number, maxMhz, currentMhz, mhzLimit, maxIdleState, currentIdleState;
    };
    SYSTEM_INFO tSystem;
    GetNativeSystemInfo(&tSystem);
    std::vector<Record> tRecords(tSystem.dwNumberOfProcessors);
    const auto tStatus = CallNtPowerInformation(ProcessorInformation, nullptr, 0, tRecords.data(),
                                                static_cast<ULONG>(tRecords.size() * sizeof(Record)));
    const Pairs tPairs = attributes(HW);
    for (std::size_t i = 0; i < tRecords.size(); ++i) {
        const std::string tPrefix = "hw.cpu." + std::to_string(i);
        const bool tKnown = tStatus == 0;
        EXPECT_EQ(valueOf(tPairs, tPrefix + ".maximumFrequency"),
                  tKnown ? std::to_string(tRecords[i].maxMhz) : "(none)");
        EXPECT_EQ(valueOf(tPairs, tPrefix + ".frequencyLimit"),
                  tKnown ? std::to_string(tRecords[i].mhzLimit) : "(none)");
        EXPECT_EQ(valueOf(tPairs, tPrefix + ".currentFrequency") == "(none)", !tKnown) << "the value changes";
    }
}

TEST_F(ThisWindowsTest, agreesWithTheMemoryStatus)
{
    MEMORYSTATUSEX tStatus{};
    tStatus.dwLength = sizeof tStatus;
    ASSERT_TRUE(GlobalMemoryStatusEx(&tStatus));
    const Pairs tPairs = attributes(MEM);
    EXPECT_EQ(valueOf(tPairs, "hw.mem.totalPhysical"), std::to_string(tStatus.ullTotalPhys));
    EXPECT_EQ(valueOf(tPairs, "hw.mem.totalVirtual"), std::to_string(tStatus.ullTotalPageFile));
    const double tTotal = static_cast<double>(tStatus.ullTotalPhys);
    EXPECT_NEAR(std::stod(valueOf(tPairs, "hw.mem.availPhysical")), static_cast<double>(tStatus.ullAvailPhys),
                0.2 * tTotal);
    EXPECT_NEAR(std::stod(valueOf(tPairs, "hw.mem.availVirtual")),
                static_cast<double>(tStatus.ullAvailPageFile), 0.2 * tTotal);
    EXPECT_NEAR(std::stod(valueOf(tPairs, "hw.mem.memoryLoad")), tStatus.dwMemoryLoad, 20);
}

TEST_F(ThisWindowsTest, loadsTheSystemsLibrariesOnly)
{
    const WindowsCalls& tCalls = windowsCalls();
    SystemHandle tSystems = tCalls.loadLibrary("powrprof.dll");
    EXPECT_TRUE(tSystems);
    if (tSystems) tCalls.freeLibrary(tSystems);
    // A library that lies beside the program and is not loaded.
    ASSERT_FALSE(GetModuleHandleA("kfw.dll"));
    SystemHandle tBeside = tCalls.loadLibrary("kfw.dll");
    EXPECT_FALSE(tBeside);
    if (tBeside) tCalls.freeLibrary(tBeside);
}

} // namespace

} // namespace vel::kos::kfw::test
