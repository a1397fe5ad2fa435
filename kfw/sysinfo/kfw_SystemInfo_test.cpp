// The facts of made-up Windows machines, through the interface.
#include "kfw/sysinfo/kfw_SystemInfo.h"

#include <cstring>

#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindowsTest.h"

namespace {

std::vector<std::size_t> gSizes; // of the attribute arrays that were grown
bool gRecordSizes = false;

} // namespace

extern "C" void* __real_komRealloc(void* pBlock, size_t pSize);

extern "C" void* __wrap_komRealloc(void* pBlock, size_t pSize)
{
    if (gRecordSizes) gSizes.push_back(pSize);
    return __real_komRealloc(pBlock, pSize);
}

namespace vel::kos::kfw::test {

namespace {

using SystemInfoTest = FakeWindowsTest;

// The object.

TEST_F(SystemInfoTest, returnsItsIdentities)
{
    start();
    EXPECT_STREQ(mInfo->getInterfaceId(), "IDL:vel/kos/fw/ISystemInfo:1.0");
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/ISystemInfo:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(mInfo->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, mInfo.get());
        EXPECT_EQ(mInfo->release(), 1u);
    }
    for (const char* tIid : {"IDL:vel/kos/fw/ISystemInfo:1.1", "IDL:vel/kos/fw/isysteminfo:1.0", ""}) {
        kom::IUnknown* tInterface = mInfo.get();
        EXPECT_EQ(mInfo->queryInterface(tIid, &tInterface), 0x80004002u);
        EXPECT_EQ(tInterface, nullptr);
    }
}

TEST_F(SystemInfoTest, isInitialisedOnce)
{
    mInfo = kom::retain(new SystemInfo(std::make_unique<WindowsFacts>(FAKE_CALLS)));
    EXPECT_EQ(mInfo->init(nullptr), 0x80070057u);
    EXPECT_EQ(mInfo->init(mApp.get()), 0u);
    EXPECT_EQ(mApp->references(), 2u);
    const auto tTrace = gMachine.trace;
    EXPECT_EQ(mInfo->init(mApp.get()), 0x80000100u);
    EXPECT_EQ(mInfo->init(nullptr), 0x80000100u) << "the state is looked at first";
    EXPECT_EQ(mApp->references(), 2u);
    EXPECT_EQ(gMachine.trace, tTrace) << "a refused call changes nothing";
}

TEST_F(SystemInfoTest, refusesEverythingBeforeInit)
{
    mInfo = kom::retain(new SystemInfo(std::make_unique<WindowsFacts>(FAKE_CALLS)));
    fw::AttributeList tList{7, nullptr};
    EXPECT_EQ(mInfo->getAttributes(ALL, &tList), 0x80000100u);
    EXPECT_EQ(tList.mCount, 0u);
    fw::SysInfoModule tModule;
    std::memset(&tModule, 0xAA, sizeof tModule);
    EXPECT_EQ(mInfo->getModule("x", &tModule), 0x80000100u);
    EXPECT_TRUE(!tModule.mPathName && !tModule.mFileName && !tModule.mInternalName);
    EXPECT_TRUE(tModule.mAttrs.mCount == 0 && !tModule.mAttrs.mAttrs);
    fw::ModuleList tModules{7, &tModule};
    EXPECT_EQ(mInfo->getModules(&tModules), 0x80000100u);
    EXPECT_TRUE(tModules.mCount == 0 && !tModules.mModules);
    char tText[] = "x";
    char *tFirst = tText, *tSecond = tText;
    EXPECT_EQ(mInfo->getModuleFileVersion("x", &tFirst), 0x80000100u);
    EXPECT_EQ(tFirst, nullptr);
    tFirst = tText;
    EXPECT_EQ(mInfo->getProductVersionRange("", &tFirst, &tSecond), 0x80000100u);
    EXPECT_EQ(tFirst, nullptr);
    EXPECT_EQ(tSecond, nullptr);
}

TEST_F(SystemInfoTest, refusesNullOutputsFirst)
{
    mInfo = kom::retain(new SystemInfo(std::make_unique<WindowsFacts>(FAKE_CALLS)));
    char* tText = nullptr;
    for (int i = 0; i < 2; ++i) { // before init and after it
        EXPECT_EQ(mInfo->getAttributes(ALL, nullptr), 0x80070057u);
        EXPECT_EQ(mInfo->getModule("x", nullptr), 0x80070057u);
        EXPECT_EQ(mInfo->getModules(nullptr), 0x80070057u);
        EXPECT_EQ(mInfo->getModuleFileVersion("x", nullptr), 0x80070057u);
        EXPECT_EQ(mInfo->getProductVersionRange("x", nullptr, &tText), 0x80070057u);
        EXPECT_EQ(mInfo->getProductVersionRange("x", &tText, nullptr), 0x80070057u);
        EXPECT_EQ(mInfo->init(mApp.get()), i == 0 ? 0u : 0x80000100u);
    }
}

TEST_F(SystemInfoTest, looksAtTheSystemBeforeTheProcessor)
{
    start();
    const Messages tExpected = {"LoadLibraryA kernel32.dll",
                                "RtlGetVersion 284",
                                "GetNativeSystemInfo",
                                "RegOpenKeyExA 1 HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
                                "RegQueryValueExA 128 VendorIdentifier",
                                "RegQueryValueExA 128 Identifier",
                                "RegCloseKey"};
    EXPECT_EQ(gMachine.trace, tExpected);
}

// The list.

TEST_F(SystemInfoTest, listsHardwareThenMemoryThenSystem)
{
    gMachine.setServicePack(u"Service Pack 2");
    const Pairs tExpected = {{"hw.architecture", "amd64"},
                             {"hw.cpu.vendor", "GenuineIntel"},
                             {"hw.cpu.model", "Intel64 Family 6 Model 85 Stepping 7"},
                             {"hw.cpu.features", "MMX XMMI XMMI64"},
                             {"hw.cpu.cores", "2"},
                             {"hw.cpu.0.maximumFrequency", "2600"},
                             {"hw.cpu.0.currentFrequency", "1200"},
                             {"hw.cpu.0.frequencyLimit", "2400"},
                             {"hw.cpu.1.maximumFrequency", "2601"},
                             {"hw.cpu.1.currentFrequency", "1201"},
                             {"hw.cpu.1.frequencyLimit", "2401"},
                             {"hw.mem.memoryLoad", "42"},
                             {"hw.mem.totalPhysical", "8000000000"},
                             {"hw.mem.availPhysical", "5000000000"},
                             {"hw.mem.totalVirtual", "9000000000"},
                             {"hw.mem.availVirtual", "6000000000"},
                             {"os.vendor", "Microsoft Corporation"},
                             {"os.productName", "Windows 10"},
                             {"os.version", "10.0.19045"},
                             {"os.updateRelease", "Service Pack 2"}};
    EXPECT_EQ(attributesOf(ALL), tExpected);
    EXPECT_EQ(attributesOf(0xFFFFFFFF), tExpected) << "other bits mean nothing";
    EXPECT_EQ(debugMessages(), Messages());
}

TEST_F(SystemInfoTest, listsTheGroupsAskedFor)
{
    EXPECT_EQ(attributesOf(0), Pairs());
    EXPECT_EQ(attributesOf(8), Pairs());
    EXPECT_EQ(attributesOf(MEM).size(), 5u);
    EXPECT_EQ(attributesOf(HW).size(), 11u);
    EXPECT_EQ(attributesOf(OS).size(), 3u) << "no service pack, no key";
    EXPECT_EQ(attributesOf(MEM | OS).front().first, "hw.mem.memoryLoad");
    EXPECT_EQ(attributesOf(HW | OS).back().first, "os.version");
}

TEST_F(SystemInfoTest, growsTheListByWhatAGroupMayAdd)
{
    start();
    gSizes.clear();
    gRecordSizes = true;
    attributes(ALL);
    gRecordSizes = false;
    constexpr std::size_t PAIR = 16;
    // 6 of hardware, of which 5 are there; 2 x 3 frequencies; 5 of memory; 4 of the system.
    EXPECT_EQ(gSizes, (std::vector<std::size_t>{6 * PAIR, 11 * PAIR, 16 * PAIR, 20 * PAIR}));
}

TEST_F(SystemInfoTest, hasNoArrayWhenNothingIsKnown)
{
    gMachine.architecture = 0xFFFF;
    gMachine.processors = 0;
    gMachine.registryError = 2;
    EXPECT_EQ(attributesOf(HW), Pairs());
}

TEST_F(SystemInfoTest, readsMemoryAndFrequenciesAfreshAndTheRestOnce)
{
    attributesOf(ALL);
    gMachine.memory.load = 43;
    gMachine.power[1].currentMhz = 999;
    gMachine.version.major = 6;
    gMachine.version.minor = 1;
    gMachine.registry.clear();
    gMachine.architecture = 0;
    const Pairs tPairs = attributesOf(ALL);
    EXPECT_EQ(valueOf(tPairs, "hw.mem.memoryLoad"), "43");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.1.currentFrequency"), "999");
    EXPECT_EQ(valueOf(tPairs, "os.productName"), "Windows 10");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), "GenuineIntel");
    EXPECT_EQ(valueOf(tPairs, "hw.architecture"), "amd64");
    EXPECT_EQ(gMachine.count("LoadLibraryA powrprof.dll"), 1u);
    EXPECT_EQ(gMachine.count("LoadLibraryA kernel32.dll"), 1u);
}

TEST_F(SystemInfoTest, touchesNoFrequenciesBeforeTheyAreAskedFor)
{
    attributesOf(MEM | OS);
    EXPECT_EQ(gMachine.count("LoadLibraryA powrprof.dll"), 0u);
}

// Which Windows it is.

TEST_F(SystemInfoTest, asksRtlGetVersionFirst)
{
    start();
    EXPECT_EQ(gMachine.count("RtlGetVersion 284"), 1u);
    EXPECT_EQ(gMachine.count("GetVersionExW 284"), 0u);
}

TEST_F(SystemInfoTest, fallsBackWithoutNtDll)
{
    gMachine.missingModules = {"ntdll.dll"};
    gMachine.lastError = 126;
    EXPECT_EQ(valueIn(OS, "os.version"), "10.0.19045");
    EXPECT_EQ(debugMessages(), Messages{"GetModuleHandle(\"ntdll.dll\") failed (error 126)"});
    EXPECT_EQ(gMachine.count("GetVersionExW 284"), 1u);
}

TEST_F(SystemInfoTest, fallsBackWithoutRtlGetVersion)
{
    gMachine.missingEntries = {"RtlGetVersion"};
    gMachine.lastError = 127;
    EXPECT_EQ(valueIn(OS, "os.version"), "10.0.19045");
    EXPECT_EQ(debugMessages(), Messages{"GetProcAddress(<ntdll.dll>, \"RtlGetVersion\") failed (error 127), "
                                        "falling back to GetVersionExW()"});
}

TEST_F(SystemInfoTest, fallsBackWhenRtlGetVersionFails)
{
    gMachine.rtlGetVersionStatus = -1073741823;
    gMachine.version.suiteMask = 0x0010;
    EXPECT_EQ(valueIn(OS, "os.productName"), "Windows 10 (Terminal Services)") << "still extended";
    EXPECT_EQ(debugMessages(),
              Messages{"RtlGetVersion() failed (status -1073741823), falling back to GetVersionExW()"});
}

TEST_F(SystemInfoTest, fallsBackToThePlainRecord)
{
    gMachine.rtlGetVersionStatus = 1;
    gMachine.refusedVersionSizes = {284};
    gMachine.version.suiteMask = 0x0010;
    gMachine.setServicePack(u"SP");
    EXPECT_EQ(valueIn(OS, "os.productName"), "Windows NT 10.0") << "without product type and suites";
    EXPECT_EQ(valueIn(OS, "os.version"), "10.0.19045");
    EXPECT_EQ(valueIn(OS, "os.updateRelease"), "SP");
    EXPECT_EQ(gMachine.count("GetVersionExW 276"), 1u);
    EXPECT_EQ(debugMessages(),
              Messages{"RtlGetVersion() failed (status 1), falling back to GetVersionExW()"});
}

TEST_F(SystemInfoTest, knowsTheVendorWhenNoCallTellsTheVersion)
{
    gMachine.rtlGetVersionStatus = 1;
    gMachine.refusedVersionSizes = {284, 276};
    gMachine.lastError = 122;
    EXPECT_EQ(attributesOf(OS), (Pairs{{"os.vendor", "Microsoft Corporation"}}));
    EXPECT_EQ(debugMessages(), (Messages{"RtlGetVersion() failed (status 1), falling back to GetVersionExW()",
                                         "GetVersionExW failed (error 122)"}));
}

TEST_F(SystemInfoTest, hasNoUpdateReleaseOfAnotherPlatform)
{
    gMachine.version.platformId = 1;
    gMachine.setServicePack(u"B");
    EXPECT_EQ(attributesOf(OS), (Pairs{{"os.vendor", "Microsoft Corporation"},
                                       {"os.productName", "<unknown Microsoft Windows platform>"},
                                       {"os.version", "10.0.19045"}}));
}

TEST_F(SystemInfoTest, convertsTheServicePack)
{
    gMachine.setServicePack(u"A\u4e2dB\xd800");
    EXPECT_EQ(valueIn(OS, "os.updateRelease"), "A?B?") << "the C locale knows neither";
    mInfo.reset();
    gMachine.setServicePack(std::u16string(128, u'x'));
    EXPECT_EQ(valueIn(OS, "os.updateRelease"), std::string(128, 'x')) << "a full field has no terminator";
}

TEST_F(SystemInfoTest, namesTheEdgeCases)
{
    const struct {
        uint32_t major, minor;
        uint8_t productType;
        uint16_t suites;
        const char* name;
    } tCases[] = {
        {5, 2, 3, 0x0012, "Windows Server 2003, Enterprise Edition (Terminal Services)"},
        {10, 0, 1, 0x0110, "Windows 10 (Terminal Services, Single User TS)"},
        {10, 0, 3, 0, "Windows Server 2016"},
        {6, 1, 1, 0x0200, "Windows 7"},
        {5, 2, 3, 0x0082, "Windows Server 2003 (Enterprise, Datacenter)"},
        {6, 4, 1, 0x0010, "Windows NT 6.4 (Terminal Services)"},
        {6, 4, 1, 0x0200, "Windows NT 6.4 (Personal)"},
        {4, 0, 3, 0x0002, "Windows NT 4.0 Server, Enterprise Edition (Enterprise)"},
        {4, 0, 3, 0, "Windows NT 4.0 Server"},
        {4, 0, 1, 0, "Windows NT 4.0 Workstation"},
        {4, 0, 2, 0x0002, "Windows NT 4.0 (Enterprise)"},
        {3, 51, 1, 0, "Windows NT 3.51"},
    };
    for (const auto& tCase : tCases) {
        gMachine.version.major = tCase.major;
        gMachine.version.minor = tCase.minor;
        gMachine.version.productType = tCase.productType;
        gMachine.version.suiteMask = tCase.suites;
        EXPECT_EQ(freshValueIn(OS, "os.productName"), tCase.name);
    }
}

} // namespace

} // namespace vel::kos::kfw::test
