// The names of Windows systems, row by row.
#include "kfw/sysinfo/kfw_SystemInfo_WindowsNames.h"

#include <clocale>

#include <gtest/gtest.h>

namespace vel::kos::kfw {

namespace {

constexpr uint8_t WORKSTATION = 1, DOMAIN_CONTROLLER = 2, SERVER = 3;

std::string name(uint32_t pMajor, uint32_t pMinor, uint8_t pProductType, uint16_t pSuites,
                 bool pExtended = true)
{
    OsVersionRecord tRecord{};
    tRecord.major = pMajor;
    tRecord.minor = pMinor;
    tRecord.platformId = PLATFORM_WIN32_NT;
    tRecord.productType = pProductType;
    tRecord.suiteMask = pSuites;
    return windowsProductName(tRecord, pExtended);
}

TEST(WindowsNamesTest, hasEveryRow)
{
    const struct {
        uint32_t major, minor;
        bool server;
        uint16_t suite;
        const char* name;
    } tRows[] = {
        {5, 0, true, 0x0080, "Windows 2000 Datacenter Server"},
        {5, 0, true, 0x0002, "Windows 2000 Advanced Server"},
        {5, 0, false, 0, "Windows 2000"},
        {5, 1, false, 0x0040, "Windows XP Embedded"},
        {5, 1, false, 0x0200, "Windows XP Home Edition"},
        {5, 1, false, 0, "Windows XP"},
        {5, 2, true, 0x0400, "Windows Server 2003, Web Edition"},
        {5, 2, true, 0x4000, "Windows Server 2003, Compute Cluster Edition"},
        {5, 2, true, 0x0080, "Windows Server 2003, Datacenter Edition"},
        {5, 2, true, 0x0002, "Windows Server 2003, Enterprise Edition"},
        {5, 2, true, 0x2000, "Windows Storage Server 2003"},
        {5, 2, true, 0, "Windows Server 2003"},
        {5, 2, false, 0, "Windows XP 64-Bit Edition"},
        {6, 0, true, 0x0080, "Windows Server 2008 Datacenter"},
        {6, 0, true, 0x0002, "Windows Server 2008 Enterprise"},
        {6, 0, true, 0, "Windows Server 2008"},
        {6, 0, false, 0x0200, "Windows Vista Home Premium/Basic"},
        {6, 0, false, 0, "Windows Vista"},
        {6, 1, true, 0, "Windows Server 2008 R2"},
        {6, 1, false, 0, "Windows 7"},
        {6, 2, true, 0, "Windows Server 2012"},
        {6, 2, false, 0, "Windows 8"},
        {6, 3, true, 0, "Windows Server 2012 R2"},
        {6, 3, false, 0, "Windows 8.1"},
        {10, 0, true, 0, "Windows Server 2016"},
        {10, 0, false, 0, "Windows 10"},
    };
    for (const auto& tRow : tRows) {
        EXPECT_EQ(name(tRow.major, tRow.minor, tRow.server ? SERVER : WORKSTATION, tRow.suite), tRow.name);
        if (tRow.server) {
            EXPECT_EQ(name(tRow.major, tRow.minor, DOMAIN_CONTROLLER, tRow.suite), tRow.name)
                << "whatever is no workstation is a server";
        }
    }
}

TEST(WindowsNamesTest, hasEverySuite)
{
    const std::pair<uint16_t, std::string> tSuites[] = {{0x0001, "Small Business"},
                                                        {0x0002, "Enterprise"},
                                                        {0x0004, "BackOffice"},
                                                        {0x0010, "Terminal Services"},
                                                        {0x0020, "Small Business Restricted"},
                                                        {0x0040, "Embedded NT"},
                                                        {0x0080, "Datacenter"},
                                                        {0x0100, "Single User TS"},
                                                        {0x0200, "Personal"},
                                                        {0x0400, "Blade"},
                                                        {0x2000, "Storage Server"},
                                                        {0x4000, "Compute Server"},
                                                        {0x8000, "Home Server"}};
    uint16_t tKnown = 0;
    std::string tAll;
    for (const auto& [tMask, tName] : tSuites) {
        EXPECT_EQ(name(9, 9, WORKSTATION, tMask), "Windows NT 9.9 (" + tName + ")");
        tKnown = static_cast<uint16_t>(tKnown | tMask);
        tAll += (tAll.empty() ? "" : ", ") + tName;
    }
    EXPECT_EQ(name(9, 9, WORKSTATION, 0xFFFF), "Windows NT 9.9 (" + tAll + ")");
    EXPECT_EQ(name(9, 9, WORKSTATION, static_cast<uint16_t>(~tKnown)), "Windows NT 9.9");
}

TEST(WindowsNamesTest, dropsAKeySuiteThatMatchedNoRow)
{
    EXPECT_EQ(name(6, 1, WORKSTATION, 0x0200), "Windows 7");
    EXPECT_EQ(name(10, 0, SERVER, 0x0080), "Windows Server 2016");
    EXPECT_EQ(name(10, 0, SERVER, 0x0082), "Windows Server 2016 (Enterprise, Datacenter)")
        << "two are no key";
    EXPECT_EQ(name(5, 0, WORKSTATION, 0x0002), "Windows 2000") << "no server, but still the key";
}

TEST(WindowsNamesTest, doesNotReadWhatAPlainRecordLacks)
{
    EXPECT_EQ(name(10, 0, SERVER, 0xFFFF, false), "Windows NT 10.0");
    EXPECT_EQ(name(4, 0, SERVER, 0x0002, false), "Windows NT 4.0");
}

TEST(WindowsNamesTest, namesOtherPlatforms)
{
    OsVersionRecord tRecord{};
    tRecord.major = 4;
    tRecord.suiteMask = 0xFFFF;
    for (const uint32_t tPlatform : {0u, 1u, 3u, 0xFFFFFFFFu}) {
        tRecord.platformId = tPlatform;
        EXPECT_EQ(windowsProductName(tRecord, true), "<unknown Microsoft Windows platform>");
    }
}

/// Sets the locale for its lifetime.
class Locale {
public:
    explicit Locale(const char* pName)
        : mOld(std::setlocale(LC_ALL, nullptr)), mSet(std::setlocale(LC_ALL, pName))
    {
    }
    ~Locale() { std::setlocale(LC_ALL, mOld.c_str()); }
    explicit operator bool() const { return mSet; }

private:
    std::string mOld;
    bool mSet;
};

TEST(NarrowTest, keepsWhatEveryLocaleKnows)
{
    EXPECT_EQ(narrow(u""), "");
    EXPECT_EQ(narrow(u"Service Pack 1"), "Service Pack 1");
}

TEST(NarrowTest, marksWhatTheLocaleCannotExpress)
{
    EXPECT_EQ(narrow(u"a\u4e2d\u20acz"), "a??z");
    EXPECT_EQ(narrow(u"\xd83d\xde00."), "??.") << "each half of a pair is a character of its own";
}

TEST(NarrowTest, goesByTheCurrentLocale)
{
    for (const char* tName : {"C.UTF-8", "de_DE.UTF-8", ".UTF-8", "German_Germany.1252"}) {
        const Locale tLocale(tName);
        if (!tLocale) continue;
        const std::string tExpected =
            std::string(tName).find("UTF-8") != std::string::npos ? "\xc3\xbc" : "\xfc";
        EXPECT_EQ(narrow(u"\u00fc"), tExpected) << tName;
        EXPECT_EQ(narrow(u"a\xd800z"), "a?z") << tName;
        return;
    }
    GTEST_SKIP() << "the system has none of the locales that the test knows";
}

} // namespace

} // namespace vel::kos::kfw
