#include "host/host_System.h"

#include <algorithm>
#include <cwchar>
#include <windows.h>

#include "host/host_System_win.h"
#include "kutil/message.h"

namespace vel::kos::host {

namespace {

std::string toUtf8(const wchar_t* pText, std::size_t pLength)
{
    if (pLength == 0) return {};
    const int tLength = static_cast<int>(pLength);
    std::string tText(static_cast<std::size_t>(
                          WideCharToMultiByte(CP_UTF8, 0, pText, tLength, nullptr, 0, nullptr, nullptr)),
                      '\0');
    WideCharToMultiByte(CP_UTF8, 0, pText, tLength, tText.data(), static_cast<int>(tText.size()), nullptr,
                        nullptr);
    return tText;
}

} // namespace

std::vector<std::pair<std::string, std::string>> environmentVariables()
{
    std::vector<std::pair<std::string, std::string>> tVariables;
    wchar_t* tBlock = GetEnvironmentStringsW();
    for (const wchar_t* tEntry = tBlock; tEntry && *tEntry; tEntry += std::wcslen(tEntry) + 1) {
        // The current folders of the drives stand there too, with names that start with "=".
        const wchar_t* tEquals = std::wcschr(tEntry + 1, L'=');
        if (*tEntry != L'=' && tEquals)
            tVariables.emplace_back(toUtf8(tEntry, static_cast<std::size_t>(tEquals - tEntry)),
                                    toUtf8(tEquals + 1, std::wcslen(tEquals + 1)));
    }
    if (tBlock) FreeEnvironmentStringsW(tBlock);
    return tVariables;
}

std::string windowsProblem(unsigned long pMajor, unsigned long pBuild)
{
    // The first with long paths and with removal by POSIX rules. What is older than 10 has not started the
    // program: its header says so. (Wine may call itself anything, and does.)
    constexpr unsigned long tOldest = 14393;
    if (pMajor != 10 || pBuild >= tOldest) return {};
    return util::message("this needs Windows 10 version 1607 (build %1) or later, and runs on build %2",
                         tOldest, pBuild);
}

std::string systemProblem()
{
    // The one function that tells the truth to every program, and it is only available this way.
    using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto tGetVersion = reinterpret_cast<RtlGetVersion>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    OSVERSIONINFOW tVersion{};
    tVersion.dwOSVersionInfoSize = sizeof tVersion;
    if (!tGetVersion || tGetVersion(&tVersion) != 0) return {};
    return windowsProblem(tVersion.dwMajorVersion, tVersion.dwBuildNumber);
}

std::string userLanguage()
{
    // The language that Windows shows its own texts in; the regional format is another setting.
    ULONG tCount = 0, tLength = 0;
    if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &tCount, nullptr, &tLength)) return {};
    std::wstring tNames(tLength, L'\0'); // each ends in a NUL; the one that is liked best comes first
    if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &tCount, tNames.data(), &tLength)) return {};
    std::string tLanguage = toUtf8(tNames.c_str(), std::wcslen(tNames.c_str()));
    std::replace(tLanguage.begin(), tLanguage.end(), '-', '_');
    return tLanguage;
}

const char* settingsFileName() { return ""; }

} // namespace vel::kos::host
