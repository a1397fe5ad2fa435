#include "tests/windows/bundle/bundle_Facts_win.h"

#include <windows.h>

#include <cstring>

#include "tests/windows/bundle/bundle_Process_win.h"

namespace bundle {

namespace {

template <class TFunction>
TFunction* functionOf(const wchar_t* pLibrary, const char* pName)
{
    return reinterpret_cast<TFunction*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(pLibrary), pName)));
}

/// A value of the registry as text; empty when there is none.
std::string registryValue(const wchar_t* pKey, const wchar_t* pName)
{
    wchar_t tText[256] = L"";
    DWORD tSize = sizeof tText, tType = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, pKey, pName, RRF_RT_REG_SZ | RRF_RT_REG_DWORD, &tType, tText,
                     &tSize) != ERROR_SUCCESS)
        return {};
    DWORD tNumber = 0;
    std::memcpy(&tNumber, tText, sizeof tNumber);
    return tType == REG_DWORD ? std::to_string(tNumber) : toUtf8(tText);
}

constexpr wchar_t SYSTEM_KEY[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::string system()
{
    OSVERSIONINFOEXW tVersion{};
    tVersion.dwOSVersionInfoSize = sizeof tVersion;
    if (const auto tGet = functionOf<LONG WINAPI(OSVERSIONINFOEXW*)>(L"ntdll.dll", "RtlGetVersion"))
        tGet(&tVersion);
    std::string tText = std::to_string(tVersion.dwMajorVersion) + "." +
                        std::to_string(tVersion.dwMinorVersion) + "." +
                        std::to_string(tVersion.dwBuildNumber);
    if (const std::string tUpdate = registryValue(SYSTEM_KEY, L"UBR"); !tUpdate.empty())
        tText += "." + tUpdate;
    tText += tVersion.wProductType == VER_NT_WORKSTATION ? ", workstation" : ", server";
    for (const wchar_t* tName : {L"ProductName", L"DisplayVersion"})
        if (const std::string tValue = registryValue(SYSTEM_KEY, tName); !tValue.empty())
            tText += ", " + tValue;
    if (const std::string tWine = wineVersion(); !tWine.empty()) tText += ", played by Wine " + tWine;
    return tText;
}

std::string machine()
{
    USHORT tProcess = 0, tNative = 0;
    const auto tGet = functionOf<BOOL WINAPI(HANDLE, USHORT*, USHORT*)>(L"kernel32.dll", "IsWow64Process2");
    std::string tText = "not known";
    if (tGet && tGet(GetCurrentProcess(), &tProcess, &tNative)) {
        tText = tNative == 0x8664   ? "x64"
                : tNative == 0xAA64 ? "ARM64, which emulates x64"
                                    : std::to_string(tNative);
    }
    return tText + ", " + std::to_string(GetActiveProcessorCount(ALL_PROCESSOR_GROUPS)) + " processors in " +
           std::to_string(GetActiveProcessorGroupCount()) + " groups";
}

std::string longPaths()
{
    const std::string tValue =
        registryValue(L"SYSTEM\\CurrentControlSet\\Control\\FileSystem", L"LongPathsEnabled");
    return tValue.empty() ? "not set" : tValue == "0" ? "off" : "on";
}

std::string defenderService()
{
    const SC_HANDLE tManager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE tService =
        tManager ? OpenServiceW(tManager, L"WinDefend", SERVICE_QUERY_STATUS) : nullptr;
    SERVICE_STATUS tStatus{};
    std::string tText = "no Windows Defender";
    if (tService && QueryServiceStatus(tService, &tStatus))
        tText = tStatus.dwCurrentState == SERVICE_RUNNING ? "Windows Defender runs"
                                                          : "Windows Defender does not run";
    if (tService) CloseServiceHandle(tService);
    if (tManager) CloseServiceHandle(tManager);
    return tText;
}

/// The scanners that have registered themselves, and whether Defender looks at files as they are opened.
std::string antivirus(const std::string& pScratch)
{
    const std::string tOutput = pScratch + "\\antivirus.txt";
    const Ending tEnding =
        run({"powershell.exe", "-NoProfile", "-NonInteractive", "-Command",
             "Get-CimInstance -Namespace root/SecurityCenter2 -ClassName AntiVirusProduct "
             "-ErrorAction SilentlyContinue | ForEach-Object { $_.displayName "
             "+ ' (state ' + $_.productState + ')' }; 'real-time protection: ' + "
             "(Get-MpComputerStatus -ErrorAction SilentlyContinue).RealTimeProtectionEnabled"},
            pScratch, tOutput, 60);
    std::string tText = defenderService();
    // It fails where Defender has been taken away, and has told of the others by then.
    if (!tEnding.isGood()) tText += "; PowerShell " + tEnding.text();
    std::string tLine;
    for (const char tChar : readFile(tOutput) + "\n") {
        if (tChar != '\n' && tChar != '\r') {
            tLine += tChar;
        } else if (!tLine.empty()) {
            tText += "; " + tLine;
            tLine.clear();
        }
    }
    return tText;
}

} // namespace

std::string wineVersion()
{
    const auto tGet = functionOf<const char*()>(L"ntdll.dll", "wine_get_version");
    return tGet ? tGet() : "";
}

bool isElevated()
{
    HANDLE tToken;
    TOKEN_ELEVATION tElevation{};
    DWORD tSize = sizeof tElevation;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &tToken)) return false;
    const bool tDone = GetTokenInformation(tToken, TokenElevation, &tElevation, sizeof tElevation, &tSize);
    CloseHandle(tToken);
    return tDone && tElevation.TokenIsElevated;
}

std::string volumeOf(const std::string& pFolder)
{
    wchar_t tRoot[MAX_PATH + 1] = L"", tSystem[64] = L"";
    DWORD tFlags = 0;
    if (!GetVolumePathNameW(toWide(pFolder).c_str(), tRoot, MAX_PATH) ||
        !GetVolumeInformationW(tRoot, nullptr, 0, nullptr, nullptr, &tFlags, tSystem, 64))
        return "not known: " + errorText(GetLastError());
    constexpr const char* KINDS[] = {"unknown", "missing", "removable", "fixed",
                                     "remote",  "optical", "in memory"};
    const UINT tKind = GetDriveTypeW(tRoot);
    constexpr DWORD POSIX_RULES = 0x400; // FILE_SUPPORTS_POSIX_UNLINK_RENAME
    std::string tText =
        toUtf8(tSystem) + " on " + toUtf8(tRoot) + ", " + (tKind < 7 ? KINDS[tKind] : "unknown");
    tText += tFlags & FILE_PERSISTENT_ACLS ? ", access rights" : ", no access rights";
    return tText + (tFlags & POSIX_RULES ? ", POSIX removal" : ", no word of POSIX removal");
}

unsigned codePage() { return GetConsoleOutputCP(); }

Facts collectFacts(const std::string& pWork, const std::string& pScratch)
{
    return {{"system", system()},
            {"machine", machine()},
            {"elevated", isElevated() ? "yes" : "no"},
            {"volume", volumeOf(pWork)},
            {"long paths by policy", longPaths()},
            {"antivirus", antivirus(pScratch)},
            {"code page of the system", std::to_string(GetACP())},
            {"code page of the console", codePage() ? std::to_string(codePage()) : "there is no console"}};
}

} // namespace bundle
