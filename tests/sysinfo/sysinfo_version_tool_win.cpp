// Prints three lines for sysinfo_wine.py: what RtlGetVersion says; version and name as the module finds them;
// and the same as it finds them with GetVersionExW, when there is no RtlGetVersion.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"

using namespace vel::kos::kfw;

namespace {

void print(const WindowsCalls& pCalls)
{
    SystemFacts tFacts;
    WindowsFacts(pCalls).detectOs(nullptr, tFacts);
    std::printf("%s\t%s\t%s\n", tFacts.osVersion.c_str(), tFacts.osProductName.c_str(),
                tFacts.osUpdateRelease.c_str());
}

} // namespace

int main()
{
    using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const auto tGetVersion = reinterpret_cast<RtlGetVersion>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "RtlGetVersion")));
    OSVERSIONINFOEXW tVersion{};
    tVersion.dwOSVersionInfoSize = sizeof tVersion;
    if (!tGetVersion || tGetVersion(&tVersion) != 0) return 1;
    std::printf("%lu\t%lu\t%lu\t%lu\t%u\t%u\t%ls\n", tVersion.dwMajorVersion, tVersion.dwMinorVersion,
                tVersion.dwBuildNumber, tVersion.dwPlatformId, tVersion.wProductType, tVersion.wSuiteMask,
                tVersion.szCSDVersion);
    print(windowsCalls());
    WindowsCalls tOldCalls = windowsCalls();
    tOldCalls.getProcAddress = [](SystemHandle pModule, const char* pName) {
        return std::strcmp(pName, "RtlGetVersion") == 0 ? nullptr
                                                        : windowsCalls().getProcAddress(pModule, pName);
    };
    print(tOldCalls);
    return 0;
}
