// Machines that are not like those that everybody has: with groups of processors, with a processor of another
// kind that emulates ours, with a system that counts its updates.
#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindowsTest.h"

namespace vel::kos::kfw::test {

namespace {

constexpr char REFUSED[] =
    "Call to CallNtPowerInformation with information level ProcessorInformation failed "
    "(error -1073741789)";

class MachinesTest : public FakeWindowsTest {
protected:
    uint32_t frequencies()
    {
        uint32_t tCount = 0;
        for (const auto& [tKey, tValue] : attributesOf(HW))
            tCount += tKey.ends_with(".maximumFrequency") ? 1u : 0u;
        return tCount;
    }
};

TEST_F(MachinesTest, tellOfTheGroupInWhichTheProgramRuns)
{
    gMachine.groups = {64, 64};
    EXPECT_EQ(valueIn(HW, "hw.cpu.cores"), "64") << "and not 128";
    EXPECT_EQ(frequencies(), 64u);
    EXPECT_EQ(valueIn(HW, "hw.cpu.63.maximumFrequency"), "63");
    gMachine.callersGroup = 1;
    EXPECT_EQ(valueIn(HW, "hw.cpu.63.maximumFrequency"), "1063")
        << "of the group that the thread is in by now";
    EXPECT_EQ(debugMessages(), Messages());
}

TEST_F(MachinesTest, mayHaveGroupsThatAreNotAlike)
{
    gMachine.groups = {40, 24}; // a program begins in either
    EXPECT_EQ(valueIn(HW, "hw.cpu.cores"), "40");
    gMachine.callersGroup = 1;
    EXPECT_EQ(valueIn(HW, "hw.cpu.cores"), "40") << "found out once";
    EXPECT_EQ(frequencies(), 24u);
    EXPECT_EQ(debugMessages(), Messages());

    EXPECT_EQ(freshValueIn(HW, "hw.cpu.cores"), "24");
    EXPECT_EQ(frequencies(), 24u);
    gMachine.callersGroup = 0;
    EXPECT_EQ(frequencies(), 0u) << "the system has more to tell than there is room for";
    EXPECT_EQ(debugMessages(), Messages{REFUSED});
    EXPECT_EQ(valueIn(HW, "hw.architecture"), "amd64") << "the rest is there";
}

TEST_F(MachinesTest, tellAnEmulatedProgramWhatItIsBuiltFor)
{
    // ARM64: the calls speak of the processor that is played, the registry of the one that is there.
    gMachine.architecture = 9;
    gMachine.registry = {
        {"VendorIdentifier", {1, std::string("Qualcomm Technologies Inc", 26)}},
        {"Identifier", {1, std::string("ARMv8 (64-bit) Family 8 Model 1 Revision 201", 45)}}};
    gMachine.features = {3, 6, 8, 9, 10, 12, 13, 14};
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.architecture"), "amd64");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), "Qualcomm Technologies Inc");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), "ARMv8 (64-bit) Family 8 Model 1 Revision 201");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.features"), "MMX XMMI XMMI64 SSE3 RDTSC CMPXCHG16B PAE NX");
    EXPECT_EQ(debugMessages(), Messages());

    gMachine.architecture = 12; // should a system tell the truth
    mInfo.reset();
    const Pairs tTruth = attributesOf(HW);
    EXPECT_EQ(valueOf(tTruth, "hw.architecture"), "(none)");
    EXPECT_EQ(valueOf(tTruth, "hw.cpu.model"), "ARMv8 (64-bit) Family 8 Model 1 Revision 201");
    EXPECT_EQ(valueOf(tTruth, "hw.cpu.cores"), "2");
    EXPECT_EQ(debugMessages(), Messages{"Unknown processor architecture 12"});
}

TEST_F(MachinesTest, haveAVersionWithoutTheLevelOfTheirUpdates)
{
    gMachine.version.build = 26100;
    gMachine.registry["UBR"] = {4, std::string("\x39\x05\0\0", 4)};
    gMachine.registry["DisplayVersion"] = {1, std::string("24H2", 5)};
    EXPECT_EQ(valueIn(OS, "os.version"), "10.0.26100");
    EXPECT_EQ(valueIn(OS, "os.updateRelease"), "(none)") << "that is a service pack";
    EXPECT_EQ(valueIn(OS, "os.productName"), "Windows 10") << "whatever the build";
    for (const std::string& tCall : gMachine.trace)
        EXPECT_TRUE(tCall.find("RegOpenKey") == std::string::npos || tCall.ends_with("\\CentralProcessor\\0"))
            << tCall;
    EXPECT_EQ(gMachine.count("RegQueryValueExA 128 VendorIdentifier"), 1u);
    EXPECT_EQ(gMachine.count("RegCloseKey"), 1u);
}

} // namespace

} // namespace vel::kos::kfw::test
