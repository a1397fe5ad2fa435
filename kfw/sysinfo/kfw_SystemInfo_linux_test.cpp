// The facts of Linux: of machines made up in a folder, and of this one beside what other sources say of it.
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <set>
#include <sstream>

#include "kfw/sysinfo/kfw_SystemInfo_LinuxFacts.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_TestFixture.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/support/TestDirectory.h"

namespace {

/// The kernel's word for the architecture; null: the real one.
const char* gMachineName = nullptr;

} // namespace

extern "C" {
int __real_uname(utsname*);
int __wrap_uname(utsname* pName)
{
    const int tRes = __real_uname(pName);
    if (gMachineName) std::snprintf(pName->machine, sizeof pName->machine, "%s", gMachineName);
    return tRes;
}
}

namespace vel::kos::kfw::test {

namespace {

constexpr uint32_t MEM = 1, HW = 2, OS = 4, ALL = 7;

/// One processor of /proc/cpuinfo.
std::string processor(const std::string& pNumber, const std::string& pMore = {})
{
    return "processor\t: " + pNumber +
           "\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: 85\nmodel name\t: A fine one: 9000\n"
           "stepping\t: 7\ncpu MHz\t\t: 2500.998\nflags\t\t: fpu tsc pae cx8 mmx fxsr sse sse2 nx pni cx16 "
           "xsave\n" +
           pMore + "\n";
}

class LinuxFactsTest : public SystemInfoFixture {
protected:
    void put(const std::string& pPath, const std::string& pText)
    {
        const auto tPath = mRoot.path() / pPath;
        std::filesystem::create_directories(tPath.parent_path());
        vel::kos::test::writeFile(tPath, pText);
    }
    void putFrequencies(const std::string& pProcessor, const char* pMaximum, const char* pCurrent,
                        const char* pLimit)
    {
        const std::string tFolder = "sys/devices/system/cpu/cpu" + pProcessor + "/cpufreq/";
        put(tFolder + "cpuinfo_max_freq", pMaximum);
        put(tFolder + "scaling_cur_freq", pCurrent);
        put(tFolder + "scaling_max_freq", pLimit);
    }
    Pairs attributesOf(uint32_t pGroups)
    {
        start(std::make_unique<LinuxFacts>(mRoot.text()));
        return attributes(pGroups);
    }

    vel::kos::test::TestDirectory mRoot;
};

TEST_F(LinuxFactsTest, readsTheRelease)
{
    put("etc/os-release", "# comment=1\nPRETTY_NAME=\"Some \\\"Fine\\\" Linux 5\"\nNAME='Some Linux'\n"
                          "VENDOR_NAME=Maker\\ Ltd\nVERSION_ID=\"5\"\n");
    utsname tName;
    ASSERT_EQ(uname(&tName), 0);
    EXPECT_EQ(attributesOf(OS), (Pairs{{"os.vendor", "Maker Ltd"},
                                       {"os.productName", "Some \"Fine\" Linux 5"},
                                       {"os.version", tName.release}}));
}

TEST_F(LinuxFactsTest, makesDoWithTheName)
{
    put("usr/lib/os-release", "NAME=Tiny\n");
    const Pairs tPairs = attributesOf(OS);
    EXPECT_EQ(valueOf(tPairs, "os.vendor"), "Tiny");
    EXPECT_EQ(valueOf(tPairs, "os.productName"), "Tiny");
}

TEST_F(LinuxFactsTest, leavesOutWhatIsNotThere)
{
    EXPECT_EQ(attributesOf(ALL).size(), 2u) << "architecture and kernel release";
    const auto tMessages = debugMessages();
    EXPECT_EQ(tMessages,
              (std::vector<std::string>{"Failed to read /usr/lib/os-release", "Failed to read /proc/cpuinfo",
                                        "Failed to read /proc/meminfo"}));
}

TEST_F(LinuxFactsTest, describesProcessorsAsWindowsDoes)
{
    put("proc/cpuinfo", processor("0") + processor("1"));
    EXPECT_EQ(attributesOf(HW),
              (Pairs{{"hw.architecture", "amd64"},
                     {"hw.cpu.vendor", "GenuineIntel"},
                     {"hw.cpu.model", "Intel64 Family 6 Model 85 Stepping 7"},
                     {"hw.cpu.features", "MMX XMMI XMMI64 SSE3 DAZ RDTSC CMPXCHG CMPXCHG16B XSAVE PAE NX"},
                     {"hw.cpu.cores", "2"},
                     {"hw.cpu.0.currentFrequency", "2500"},
                     {"hw.cpu.1.currentFrequency", "2500"}}));
}

TEST_F(LinuxFactsTest, namesArchitecturesAsWindowsDoes)
{
    const std::pair<const char*, const char*> tNames[] = {
        {"x86_64", "amd64"}, {"i686", "i386"},   {"i386", "i386"},     {"ppc", "ppc"},
        {"mips", "mips"},    {"alpha", "alpha"}, {"ia64", "ia64"},     {"i6866", "(none)"},
        {"x686", "(none)"},  {"i687", "(none)"}, {"mips64", "(none)"}, {"aarch64", "(none)"}};
    for (const auto& [tMachine, tName] : tNames) {
        gMachineName = tMachine;
        EXPECT_EQ(valueOf(attributesOf(HW), "hw.architecture"), tName) << tMachine;
    }
    gMachineName = nullptr;
}

TEST_F(LinuxFactsTest, knowsOtherMakers)
{
    for (const auto& [tVendor, tPrefix] :
         {std::pair("AuthenticAMD", "AMD64"), std::pair("CentaurHauls", "VIA64"),
          std::pair("HygonGenuine", "AMD64")}) {
        put("proc/cpuinfo",
            std::string("processor : 0\nvendor_id : ") + tVendor +
                "\ncpu family : 23\nmodel : 113\nstepping : 0\nflags : 3dnow\nfdiv_bug : yes\n");
        const Pairs tPairs = attributesOf(HW);
        EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), tVendor);
        EXPECT_EQ(valueOf(tPairs, "hw.cpu.model"), std::string(tPrefix) + " Family 23 Model 113 Stepping 0");
        EXPECT_EQ(valueOf(tPairs, "hw.cpu.features"), "FDIVBug 3DNOW");
    }
}

TEST_F(LinuxFactsTest, readsFrequenciesOfTheProcessorsThatAreOnline)
{
    put("proc/cpuinfo", processor("0") + processor("2")); // 1 is off
    putFrequencies("0", "3400000\n", "1200999\n", "3000000\n");
    putFrequencies("1", "1", "1", "1");
    putFrequencies("2", "3500000\n", "<unknown>\n", "2999999\n");
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(Pairs(tPairs.end() - 6, tPairs.end()), (Pairs{{"hw.cpu.0.maximumFrequency", "3400"},
                                                            {"hw.cpu.0.currentFrequency", "1200"},
                                                            {"hw.cpu.0.frequencyLimit", "3000"},
                                                            {"hw.cpu.1.maximumFrequency", "3500"},
                                                            {"hw.cpu.1.currentFrequency", "2500"},
                                                            {"hw.cpu.1.frequencyLimit", "2999"}}));
}

TEST_F(LinuxFactsTest, listsNoMoreProcessorsThanItCounted)
{
    put("proc/cpuinfo", processor("0"));
    attributesOf(HW);
    put("proc/cpuinfo", processor("0") + processor("1"));
    const Pairs tPairs = attributes(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), "1");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.1.currentFrequency"), "(none)");
}

TEST_F(LinuxFactsTest, listsHundredsOfProcessors)
{
    std::string tText;
    for (int i = 0; i < 300; ++i)
        tText += processor(std::to_string(i));
    put("proc/cpuinfo", tText);
    const Pairs tPairs = attributesOf(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), "300");
    EXPECT_EQ(tPairs.back(), std::pair(std::string("hw.cpu.299.currentFrequency"), std::string("2500")));
    EXPECT_EQ(tPairs.size(), 305u);
}

TEST_F(LinuxFactsTest, readsMemory)
{
    put("proc/meminfo", "MemTotal:       1000 kB\nMemFree:  1 kB\nMemAvailable:    251 kB\n"
                        "SwapTotal:   500 kB\nSwapFree: 400 kB\nHugePages_Total: 7\n");
    EXPECT_EQ(attributesOf(MEM), (Pairs{{"hw.mem.memoryLoad", "74"},
                                        {"hw.mem.totalPhysical", "1024000"},
                                        {"hw.mem.availPhysical", "257024"},
                                        {"hw.mem.totalVirtual", "1536000"},
                                        {"hw.mem.availVirtual", "666624"}}));
    put("proc/meminfo", "MemTotal: 4294967296 kB\nMemAvailable: 4294967296 kB\n");
    const Pairs tPairs = attributes(MEM);
    EXPECT_EQ(valueOf(tPairs, "hw.mem.memoryLoad"), "0") << "read afresh";
    EXPECT_EQ(valueOf(tPairs, "hw.mem.totalVirtual"), "4398046511104");
}

TEST_F(LinuxFactsTest, tellsNoMemoryWithoutWhatIsAvailable)
{
    for (const char* tText :
         {"MemTotal: 1000 kB\nMemFree: 1 kB\n", "MemAvailable: 251 kB\n",
          "MemTotal: 0 kB\nMemAvailable: 251 kB\n", "MemTotal: x kB\nMemAvailable: 2 kB\n"}) {
        put("proc/meminfo", tText);
        EXPECT_EQ(attributesOf(MEM), Pairs()) << tText;
    }
}

TEST_F(LinuxFactsTest, countsNoMoreAsAvailableThanThereIs)
{
    put("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: 101 kB\nSwapTotal: 50 kB\n");
    const Pairs tPairs = attributesOf(MEM);
    EXPECT_EQ(valueOf(tPairs, "hw.mem.memoryLoad"), "0");
    EXPECT_EQ(valueOf(tPairs, "hw.mem.availPhysical"), "102400");
    EXPECT_EQ(valueOf(tPairs, "hw.mem.totalVirtual"), "153600");
    EXPECT_EQ(valueOf(tPairs, "hw.mem.availVirtual"), "102400");
}

// This machine.

/// What a shell command prints, without the last line break.
std::string output(const std::string& pCommand)
{
    int tStatus = -1;
    std::string tText = kprtest::outputOf("/bin/sh", {"-c", pCommand}, &tStatus);
    while (tText.ends_with('\n'))
        tText.pop_back();
    return tText;
}

class ThisMachineTest : public SystemInfoFixture {
protected:
    void SetUp() override { start(makeFactSource()); }
};

TEST_F(ThisMachineTest, agreesWithOsReleaseAndUname)
{
    const Pairs tPairs = attributes(OS);
    EXPECT_EQ(valueOf(tPairs, "os.productName"), output(". /etc/os-release; echo \"$PRETTY_NAME\""));
    EXPECT_EQ(valueOf(tPairs, "os.vendor"), output(". /etc/os-release; echo \"${VENDOR_NAME:-$NAME}\""));
    EXPECT_EQ(valueOf(tPairs, "os.version"), output("uname -r"));
    EXPECT_EQ(valueOf(tPairs, "os.updateRelease"), "(none)");
}

TEST_F(ThisMachineTest, agreesWithLscpu)
{
    if (output("command -v lscpu").empty()) GTEST_SKIP() << "lscpu is not installed";
    const auto lscpu = [](const char* pName) {
        return output(std::string("LC_ALL=C lscpu | sed -n 's/^") + pName + ": *//p'");
    };
    const Pairs tPairs = attributes(HW);
    EXPECT_EQ(valueOf(tPairs, "hw.architecture"), lscpu("Architecture") == "x86_64" ? "amd64" : "i386");
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.vendor"), lscpu("Vendor ID"));
    EXPECT_TRUE(valueOf(tPairs, "hw.cpu.model")
                    .ends_with(" Family " + lscpu("CPU family") + " Model " + lscpu("Model") + " Stepping " +
                               lscpu("Stepping")));
    EXPECT_EQ(valueOf(tPairs, "hw.cpu.cores"), output("nproc --all"));
}

TEST_F(ThisMachineTest, agreesWithTheProcessorItself)
{
    std::istringstream tWords(valueOf(attributes(HW), "hw.cpu.features"));
    const std::set<std::string> tNames(std::istream_iterator<std::string>(tWords), {});
    __builtin_cpu_init();
    EXPECT_EQ(tNames.contains("MMX"), __builtin_cpu_supports("mmx") != 0);
    EXPECT_EQ(tNames.contains("XMMI"), __builtin_cpu_supports("sse") != 0);
    EXPECT_EQ(tNames.contains("XMMI64"), __builtin_cpu_supports("sse2") != 0);
    EXPECT_EQ(tNames.contains("SSE3"), __builtin_cpu_supports("sse3") != 0);
}

TEST_F(ThisMachineTest, agreesWithMeminfo)
{
    const Pairs tPairs = attributes(MEM);
    const long long tTotal = std::stoll(output("awk '/^MemTotal:/{print $2*1024}' OFMT=%.0f /proc/meminfo"));
    EXPECT_EQ(std::stoll(valueOf(tPairs, "hw.mem.totalPhysical")), tTotal);
    EXPECT_NEAR(static_cast<double>(std::stoll(valueOf(tPairs, "hw.mem.availPhysical"))),
                std::stod(output("awk '/^MemAvailable:/{print $2*1024}' /proc/meminfo")),
                0.2 * static_cast<double>(tTotal))
        << "it changes all the time";
    EXPECT_LE(std::stoi(valueOf(tPairs, "hw.mem.memoryLoad")), 100);
}

} // namespace

} // namespace vel::kos::kfw::test
