// A host that has a run-time of its own in the process, under the compiler's names, before it loads anything
// of ours:
//
//   older_host FOLDER LIBRARY FUNCTION [ARGUMENT...]
//
// loads the run-time libraries of the folder, then the library, and calls its function as a main function is
// called, with the library's path as first argument. Its status is that of the function; 3 when it was not
// called.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int NOT_CALLED = 3;
constexpr const wchar_t* NAMES[] = {L"libwinpthread-1.dll", L"libgcc_s_seh-1.dll", L"libstdc++-6.dll"};

std::string utf8(const wchar_t* pText)
{
    const int tSize = WideCharToMultiByte(CP_UTF8, 0, pText, -1, nullptr, 0, nullptr, nullptr);
    std::string tText(static_cast<size_t>(tSize), '\0');
    WideCharToMultiByte(CP_UTF8, 0, pText, -1, tText.data(), tSize, nullptr, nullptr);
    return tText;
}

/// Loads a library, whose path counts from the current folder; says so when that fails.
HMODULE load(const std::wstring& pPath)
{
    wchar_t tPath[1024] = L"";
    GetFullPathNameW(pPath.c_str(), 1024, tPath, nullptr);
    HMODULE tModule = LoadLibraryExW(tPath, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!tModule)
        std::printf("older_host: %s is not loaded: error %lu\n", utf8(tPath).c_str(), GetLastError());
    return tModule;
}

/// Whether what is in the process under this name is the older run-time.
bool isOlder(const wchar_t* pName)
{
    HMODULE tModule = GetModuleHandleW(pName);
    return tModule && GetProcAddress(tModule, "isOlderRunTime");
}

int run(int pCount, wchar_t** pArguments)
{
    if (pCount < 4) {
        std::printf("older_host FOLDER LIBRARY FUNCTION [ARGUMENT...]\n");
        return NOT_CALLED;
    }
    for (const wchar_t* tName : NAMES) {
        if (isOlder(tName) || !load(std::wstring(pArguments[1]) + L"\\" + tName)) return NOT_CALLED;
    }
    HMODULE tLibrary = load(pArguments[2]);
    if (!tLibrary) return NOT_CALLED;
    for (const wchar_t* tName : NAMES) {
        if (isOlder(tName)) continue;
        std::printf("older_host: %s is no longer the host's\n", utf8(tName).c_str());
        return NOT_CALLED;
    }
    const auto tFunction = reinterpret_cast<int (*)(int, char**)>(
        reinterpret_cast<void*>(GetProcAddress(tLibrary, utf8(pArguments[3]).c_str())));
    if (!tFunction) {
        std::printf("older_host: the library has no function %s\n", utf8(pArguments[3]).c_str());
        return NOT_CALLED;
    }
    std::vector<std::string> tTexts{utf8(pArguments[2])};
    for (int i = 4; i < pCount; ++i)
        tTexts.push_back(utf8(pArguments[i]));
    std::vector<char*> tArguments;
    for (std::string& tText : tTexts)
        tArguments.push_back(tText.data());
    tArguments.push_back(nullptr);
    std::fflush(stdout);
    return tFunction(static_cast<int>(tTexts.size()), tArguments.data());
}

} // namespace

int wmain(int pCount, wchar_t** pArguments)
{
    const int tStatus = run(pCount, pArguments);
    std::fflush(stdout);
    return tStatus;
}
