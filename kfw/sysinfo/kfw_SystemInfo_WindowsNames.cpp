#include "kfw/sysinfo/kfw_SystemInfo_WindowsNames.h"

#include <bit>
#include <climits>
#include <cwchar>

#include "kutil/message.h"

namespace vel::kos::kfw {

namespace {

enum ProductType : uint8_t { WORKSTATION = 1, SERVER = 3 };

enum Suite : uint16_t {
    SMALL_BUSINESS = 0x0001,
    ENTERPRISE = 0x0002,
    BACK_OFFICE = 0x0004,
    TERMINAL_SERVICES = 0x0010,
    SMALL_BUSINESS_RESTRICTED = 0x0020,
    EMBEDDED_NT = 0x0040,
    DATACENTER = 0x0080,
    SINGLE_USER_TS = 0x0100,
    PERSONAL = 0x0200,
    BLADE = 0x0400,
    STORAGE_SERVER = 0x2000,
    COMPUTE_SERVER = 0x4000,
    HOME_SERVER = 0x8000
};

/// The suites that decide about a name, as long as there is only one of them.
constexpr uint16_t KEY_SUITES =
    ENTERPRISE | EMBEDDED_NT | DATACENTER | PERSONAL | BLADE | STORAGE_SERVER | COMPUTE_SERVER;

struct NameRow {
    uint32_t major;
    uint32_t minor;
    uint8_t server; ///< the row is for servers only
    uint16_t suite; ///< the key suite that it wants; 0: any
    const char* name;
};

constexpr NameRow NAMES[] = {
    {5, 0, 1, DATACENTER, "Windows 2000 Datacenter Server"},
    {5, 0, 1, ENTERPRISE, "Windows 2000 Advanced Server"},
    {5, 0, 0, 0, "Windows 2000"},
    {5, 1, 0, EMBEDDED_NT, "Windows XP Embedded"},
    {5, 1, 0, PERSONAL, "Windows XP Home Edition"},
    {5, 1, 0, 0, "Windows XP"},
    {5, 2, 1, BLADE, "Windows Server 2003, Web Edition"},
    {5, 2, 1, COMPUTE_SERVER, "Windows Server 2003, Compute Cluster Edition"},
    {5, 2, 1, DATACENTER, "Windows Server 2003, Datacenter Edition"},
    {5, 2, 1, ENTERPRISE, "Windows Server 2003, Enterprise Edition"},
    {5, 2, 1, STORAGE_SERVER, "Windows Storage Server 2003"},
    {5, 2, 1, 0, "Windows Server 2003"},
    {5, 2, 0, 0, "Windows XP 64-Bit Edition"},
    {6, 0, 1, DATACENTER, "Windows Server 2008 Datacenter"},
    {6, 0, 1, ENTERPRISE, "Windows Server 2008 Enterprise"},
    {6, 0, 1, 0, "Windows Server 2008"},
    {6, 0, 0, PERSONAL, "Windows Vista Home Premium/Basic"},
    {6, 0, 0, 0, "Windows Vista"},
    {6, 1, 1, 0, "Windows Server 2008 R2"},
    {6, 1, 0, 0, "Windows 7"},
    {6, 2, 1, 0, "Windows Server 2012"},
    {6, 2, 0, 0, "Windows 8"},
    {6, 3, 1, 0, "Windows Server 2012 R2"},
    {6, 3, 0, 0, "Windows 8.1"},
    {10, 0, 1, 0, "Windows Server 2016"},
    {10, 0, 0, 0, "Windows 10"},
};

struct SuiteRow {
    uint16_t mask;
    const char* name;
};

constexpr SuiteRow SUITES[] = {
    {SMALL_BUSINESS, "Small Business"},
    {ENTERPRISE, "Enterprise"},
    {BACK_OFFICE, "BackOffice"},
    {TERMINAL_SERVICES, "Terminal Services"},
    {SMALL_BUSINESS_RESTRICTED, "Small Business Restricted"},
    {EMBEDDED_NT, "Embedded NT"},
    {DATACENTER, "Datacenter"},
    {SINGLE_USER_TS, "Single User TS"},
    {PERSONAL, "Personal"},
    {BLADE, "Blade"},
    {STORAGE_SERVER, "Storage Server"},
    {COMPUTE_SERVER, "Compute Server"},
    {HOME_SERVER, "Home Server"},
};

std::string plainName(const OsVersionRecord& pRecord)
{
    return util::message("Windows NT %1.%2", pRecord.major, pRecord.minor);
}

/// What the name of an NT 4 adds for its product type.
const char* nt4Suffix(uint8_t pProductType, uint16_t pSuites)
{
    if (pProductType == WORKSTATION) return " Workstation";
    if (pProductType == SERVER) return pSuites & ENTERPRISE ? " Server, Enterprise Edition" : " Server";
    return "";
}

/// The name from the table; the suite that is part of it is taken out of pSuites.
std::string tableName(const OsVersionRecord& pRecord, uint16_t& pSuites)
{
    const bool tIsServer = pRecord.productType != WORKSTATION;
    uint16_t tKey = pSuites & KEY_SUITES;
    if (std::popcount(tKey) > 1) tKey = 0;
    for (const NameRow& tRow : NAMES) {
        if (tRow.major != pRecord.major || tRow.minor != pRecord.minor) continue;
        if ((tRow.server && !tIsServer) || (tRow.suite && tRow.suite != tKey)) continue;
        pSuites = static_cast<uint16_t>(pSuites & ~tKey); // also when the row does not ask for it
        return tRow.name;
    }
    return plainName(pRecord);
}

std::string suiteList(uint16_t pSuites)
{
    std::string tList;
    for (const SuiteRow& tRow : SUITES)
        if (pSuites & tRow.mask) tList.append(tList.empty() ? " (" : ", ").append(tRow.name);
    return tList.empty() ? tList : tList + ")";
}

} // namespace

std::string windowsProductName(const OsVersionRecord& pRecord, bool pExtended)
{
    if (pRecord.platformId != PLATFORM_WIN32_NT) return "<unknown Microsoft Windows platform>";
    uint16_t tSuites = pExtended ? pRecord.suiteMask : 0;
    std::string tName;
    if (pExtended && pRecord.major >= 5) {
        tName = tableName(pRecord, tSuites);
    } else {
        tName = plainName(pRecord);
        if (pExtended && pRecord.major == 4) tName += nt4Suffix(pRecord.productType, tSuites);
    }
    return tName + suiteList(tSuites);
}

std::string narrow(std::u16string_view pText)
{
    std::string tText;
    std::mbstate_t tState{};
    for (const char16_t tChar : pText) {
        char tBytes[MB_LEN_MAX];
        const std::size_t tLength = std::wcrtomb(tBytes, static_cast<wchar_t>(tChar), &tState);
        if (tLength == static_cast<std::size_t>(-1)) {
            tText += '?';
            tState = {}; // undefined after a failure
        } else {
            tText.append(tBytes, tLength);
        }
    }
    return tText;
}

} // namespace vel::kos::kfw
