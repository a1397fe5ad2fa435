// Processor, memory and frequencies of made-up Windows machines.
#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindowsTest.h"

namespace vel::kos::kfw::test {

namespace {

using HardwareTest = FakeWindowsTest;

constexpr char KEY[] = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";

TEST_F(HardwareTest, worksWithoutKernel32)
{
    gMachine.missingModules = {"kernel32.dll"};
    gMachine.lastError = 126;
    EXPECT_EQ(attributesOf(MEM), Pairs()) << "no memory without it";
    EXPECT_EQ(valueIn(HW, "hw.architecture"), "amd64");
    EXPECT_EQ(gMachine.count("GetSystemInfo"), 1u);
    EXPECT_EQ(gMachine.count("GetNativeSystemInfo"), 0u);
    EXPECT_EQ(debugMessages(), Messages{"Failed to load kernel32.dll (error 126)"});
}

TEST_F(HardwareTest, prefersTheNativeSystemInfo)
{
    start();
    EXPECT_EQ(gMachine.count("GetNativeSystemInfo"), 1u);
    EXPECT_EQ(gMachine.count("GetSystemInfo"), 0u);
    mInfo.reset();
    gMachine.missingEntries = {"GetNativeSystemInfo"};
    EXPECT_EQ(valueIn(HW, "hw.cpu.cores"), "2");
    EXPECT_EQ(gMachine.count("GetSystemInfo"), 1u);
    EXPECT_EQ(debugMessages(), Messages());
}

TEST_F(HardwareTest, namesTheArchitectures)
{
    const std::pair<uint16_t, const char*> tCases[] = {{0, "i386"}, {1, "mips"},  {2, "alpha"}, {3, "ppc"},
                                                       {6, "ia64"}, {9, "amd64"}, {10, "i386"}};
    for (const auto& [tNumber, tName] : tCases) {
        gMachine.architecture = tNumber;
        EXPECT_EQ(freshValueIn(HW, "hw.architecture"), tName);
    }
    EXPECT_EQ(debugMessages(), Messages());
    gMachine.architecture = 0xFFFF;
    EXPECT_EQ(freshValueIn(HW, "hw.architecture"), "(none)");
    EXPECT_EQ(debugMessages(), Messages()) << "unknown is a known answer";
    for (const int tNumber : {4, 5, 7, 8, 11, 12}) {
        gMachine.architecture = static_cast<uint16_t>(tNumber);
        mApp->clearRecords();
        EXPECT_EQ(freshValueIn(HW, "hw.architecture"), "(none)");
        EXPECT_EQ(debugMessages(), Messages{"Unknown processor architecture " + std::to_string(tNumber)});
    }
}

TEST_F(HardwareTest, stopsWithoutTheProcessorKey)
{
    gMachine.registryError = 5;
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), "(none)");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), "(none)");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.features"), "(none)") << "whatever features there are";
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), "2");
    EXPECT_EQ(debugMessages(), Messages{"Failed to open HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System"
                                        "\\CentralProcessor\\0 (error 5)"});
    EXPECT_EQ(gMachine.count("RegCloseKey"), 0u);
}

TEST_F(HardwareTest, readsTheKeyWithTheAccessAndRoomItNeeds)
{
    start();
    EXPECT_EQ(gMachine.count(std::string("RegOpenKeyExA 1 ") + KEY), 1u);
    EXPECT_EQ(gMachine.count("RegQueryValueExA 128 VendorIdentifier"), 1u);
    EXPECT_EQ(gMachine.count("RegQueryValueExA 128 Identifier"), 1u);
    EXPECT_EQ(gMachine.count("RegCloseKey"), 1u);
}

TEST_F(HardwareTest, goesOnWithoutAValue)
{
    gMachine.registry.erase("VendorIdentifier");
    gMachine.registry["Identifier"].bytes.assign(129, 'x');
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), "(none)");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), "(none)");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.features"), "MMX XMMI XMMI64");
    EXPECT_EQ(
        debugMessages(),
        (Messages{"Failed to read HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0"
                  "\\VendorIdentifier (error 2)",
                  "Failed to read HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0"
                  "\\Identifier (error 234)"}));
    EXPECT_EQ(gMachine.count("RegCloseKey"), 1u);
}

TEST_F(HardwareTest, refusesValuesOfAnotherType)
{
    gMachine.registry["VendorIdentifier"].type = 4;
    gMachine.registry["Identifier"].type = 7;
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), "(none)");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), "(none)");
    EXPECT_EQ(
        debugMessages(),
        (Messages{"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0\\VendorIdentifier "
                  "has wrong value type (4)",
                  "HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0\\Identifier has "
                  "wrong value type (7)"}));
}

TEST_F(HardwareTest, takesTextsWithoutATerminator)
{
    gMachine.registry["VendorIdentifier"].bytes.assign(128, 'v');
    gMachine.registry["Identifier"].bytes = "short";
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), std::string(128, 'v'));
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), "short");
    gMachine.registry["Identifier"].bytes = "";
    EXPECT_EQ(freshValueIn(HW, "hw.cpu.model"), "(none)");
}

TEST_F(HardwareTest, namesTheFeaturesInTheirOrder)
{
    const std::pair<uint32_t, std::string> tFeatures[] = {
        {0, "FDIVBug"},     {3, "MMX"},    {7, "3DNOW"}, {6, "XMMI"},    {10, "XMMI64"},
        {13, "SSE3"},       {11, "DAZ"},   {8, "RDTSC"}, {2, "CMPXCHG"}, {14, "CMPXCHG16B"},
        {15, "CMP8XCHG16"}, {17, "XSAVE"}, {9, "PAE"},   {12, "NX"}};
    std::string tAll;
    gMachine.features.clear();
    for (const auto& [tNumber, tName] : tFeatures) {
        gMachine.features = {tNumber};
        EXPECT_EQ(freshValueIn(HW, "hw.cpu.features"), tName);
        tAll += (tAll.empty() ? "" : " ") + tName;
    }
    gMachine.features.clear();
    EXPECT_EQ(freshValueIn(HW, "hw.cpu.features"), "(none)");
    for (uint32_t tNumber = 0; tNumber < 64; ++tNumber)
        gMachine.features.insert(tNumber);
    EXPECT_EQ(freshValueIn(HW, "hw.cpu.features"), tAll);
}

TEST_F(HardwareTest, neverListsADisplayName)
{
    gMachine.registry["ProcessorNameString"] = {1, "A fine processor"};
    EXPECT_EQ(valueIn(HW, "hw.cpu.displayName"), "(none)");
}

// Memory.

TEST_F(HardwareTest, fallsBackWhenTheMemoryStatusFails)
{
    gMachine.failMemoryStatusEx = true;
    gMachine.lastError = 87;
    const Pairs tExpected = {{"hw.mem.memoryLoad", "43"},
                             {"hw.mem.totalPhysical", "8000000001"},
                             {"hw.mem.availPhysical", "5000000001"},
                             {"hw.mem.totalVirtual", "9000000001"},
                             {"hw.mem.availVirtual", "6000000001"}};
    EXPECT_EQ(attributesOf(MEM), tExpected);
    EXPECT_EQ(debugMessages(), Messages{"GlobalMemoryStatusEx failed: 87"});
}

TEST_F(HardwareTest, fallsBackWithoutTheMemoryEntry)
{
    gMachine.missingEntries = {"GlobalMemoryStatusEx"};
    EXPECT_EQ(valueIn(MEM, "hw.mem.totalVirtual"), "9000000001");
    EXPECT_EQ(debugMessages(), Messages()) << "an old system is no failure";
}

TEST_F(HardwareTest, asksForMemoryWithTheWholeRecord)
{
    attributesOf(MEM);
    EXPECT_EQ(gMachine.count("GlobalMemoryStatusEx 64"), 1u);
    EXPECT_EQ(gMachine.count("GlobalMemoryStatus"), 0u);
}

TEST_F(HardwareTest, writesTheGreatestNumbers)
{
    gMachine.memory = {0, UINT32_MAX, UINT64_MAX, UINT64_MAX, UINT64_MAX, UINT64_MAX, 0, 0, 0};
    gMachine.power = {{0, UINT32_MAX, 0, UINT32_MAX, 0, 0}, {1, 0, 0, 0, 0, 0}};
    const Pairs tPairs = attributesOf(HW | MEM);
    EXPECT_EQ(valueOf(tPairs, "hw.mem.memoryLoad"), "4294967295");
    EXPECT_EQ(valueOf(tPairs, "hw.mem.availVirtual"), "18446744073709551615");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.0.maximumFrequency"), "4294967295");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.1.maximumFrequency"), "0") << "as it was reported";
}

// Frequencies.

TEST_F(HardwareTest, hasNoFrequenciesWithoutProcessors)
{
    gMachine.processors = 0;
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), "(none)");
    EXPECT_EQ(tPairs.size(), 4u);
    EXPECT_EQ(gMachine.count("LoadLibraryA powrprof.dll"), 0u);
}

TEST_F(HardwareTest, triesPowrProfAgain)
{
    gMachine.missingModules = {"powrprof.dll"};
    gMachine.lastError = 126;
    EXPECT_EQ(attributesOf(HW).size(), 5u);
    EXPECT_EQ(attributesOf(HW).size(), 5u);
    EXPECT_EQ(debugMessages(), (Messages{"Failed to load powrprof.dll (error 126)",
                                         "Failed to load powrprof.dll (error 126)"}));
    gMachine.missingModules.clear();
    EXPECT_EQ(attributesOf(HW).size(), 11u);
    EXPECT_EQ(attributesOf(HW).size(), 11u);
    EXPECT_EQ(gMachine.count("LoadLibraryA powrprof.dll"), 3u) << "kept once it is there";
}

TEST_F(HardwareTest, hasNoFrequenciesWithoutTheEntry)
{
    gMachine.missingEntries = {"CallNtPowerInformation"};
    EXPECT_EQ(attributesOf(HW).size(), 5u);
    EXPECT_EQ(debugMessages(), Messages{"No CallNtPowerInformation entry point found in powrprof.dll"});
}

TEST_F(HardwareTest, hasNoFrequenciesWhenTheCallFails)
{
    gMachine.powerStatus = -1073741789;
    EXPECT_EQ(attributesOf(HW).size(), 5u);
    EXPECT_EQ(debugMessages(),
              Messages{"Call to CallNtPowerInformation with information level ProcessorInformation "
                       "failed (error -1073741789)"});
}

TEST_F(HardwareTest, asksForAllProcessorsAtOnce)
{
    attributesOf(HW);
    EXPECT_EQ(gMachine.count("CallNtPowerInformation 11"), 1u);
    EXPECT_EQ(gMachine.powerBufferSize, 2u * 24u);
}

TEST_F(HardwareTest, listsMoreThan64Processors)
{
    for (const uint32_t tCount : {64u, 65u, 200u, 1024u}) {
        mInfo.reset();
        gMachine.processors = tCount;
        gMachine.power.clear();
        for (uint32_t i = 0; i < tCount; ++i)
            gMachine.power.push_back({i % 64, 3000 + i, 2000 + i, 2500 + i, 0, 0});
        const Pairs tPairs = attributesOf(HW);
        EXPECT_EQ(gMachine.powerBufferSize, tCount * 24);
        EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), std::to_string(tCount));
        ASSERT_EQ(tPairs.size(), 5 + 3 * tCount);
        for (uint32_t i = 0; i < tCount; ++i) { // by position, not by the record's number within its group
            const std::string tPrefix = "hw.cpu." + std::to_string(i);
            EXPECT_EQ(tPairs[5 + 3 * i], std::pair(tPrefix + ".maximumFrequency", std::to_string(3000 + i)));
            EXPECT_EQ(tPairs[6 + 3 * i], std::pair(tPrefix + ".currentFrequency", std::to_string(2000 + i)));
            EXPECT_EQ(tPairs[7 + 3 * i], std::pair(tPrefix + ".frequencyLimit", std::to_string(2500 + i)));
        }
    }
}

TEST_F(HardwareTest, leavesOutProcessorsThatAreNotReported)
{
    gMachine.processors = 64; // and the calling thread runs in a group of two
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), "64");
    EXPECT_EQ(tPairs.size(), 5u + 2u * 3u);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.1.frequencyLimit"), "2401");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.2.maximumFrequency"), "(none)") << "and not 0";
}

} // namespace

} // namespace vel::kos::kfw::test
