#include <windows.h>

#include "kpr/kpr_block.h"
#include "kpr/kpr_commandline_win.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_wide_win.h"
#include "kpr/process.h"

uint32_t kprGetArguments(KprArgumentList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    const std::vector<std::wstring> tWide = kpr::splitCommandLine(GetCommandLineW());
    std::vector<std::string> tArguments(tWide.size());
    for (size_t i = 0; i < tArguments.size(); ++i)
        if (auto tRes = kpr::toUtf8(tWide[i], &tArguments[i]); KFAILED(tRes)) return tRes;
    return kpr::makeArgumentList(tArguments, pList);
}

uint32_t kprGetEnvironment(const char* pName, char* pBuffer, uint32_t pSize)
{
    if (!pName || !pBuffer) return E_INVALIDARG;
    std::wstring tName;
    if (auto tRes = kpr::toWide(pName, &tName); KFAILED(tRes)) return tRes;
    std::wstring tValue(256, L'\0');
    for (;;) {
        SetLastError(ERROR_SUCCESS); // an empty value has length 0 as well
        const DWORD tLength =
            GetEnvironmentVariableW(tName.c_str(), tValue.data(), static_cast<DWORD>(tValue.size()));
        if (tLength == 0 && GetLastError() != ERROR_SUCCESS) return kpr::lastError();
        const bool tFits = tLength < tValue.size();
        tValue.resize(tLength);
        if (tFits) return kpr::copyOutWide(tValue, pBuffer, pSize);
    }
}

// The system knows it by itself.
void kprWatchProcessEnd(void) {}

uint32_t kprIsProcessEnding(void)
{
    using IsShuttingDown = BOOLEAN(NTAPI*)();
    static const auto tIsShuttingDown = reinterpret_cast<IsShuttingDown>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
    return tIsShuttingDown && tIsShuttingDown() ? 1 : 0;
}
