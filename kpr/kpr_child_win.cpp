#include <windows.h>

#include <string>

#include "kpr/child.h"
#include "kpr/codes.h"
#include "kpr/kpr_commandline_win.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_wide_win.h"
#include "kpr/mutex.h"

namespace {

// Whether an exit status is the code of the exception that ended the process: an error of the system's, one
// of the debugger's kinds, or a C++ exception that nobody caught.
constexpr bool isException(DWORD pStatus)
{
    return pStatus >> 28 == 0xC || (pStatus >= 0x80000001 && pStatus <= 0x80000004) ||
           pStatus == 0xE06D7363 || pStatus == 0x20474343;
}

// Held while a child starts: what is inheritable for one must not go to another as well. Never destroyed.
kpr::Mutex& starting()
{
    static auto& tMutex = *new kpr::Mutex;
    return tMutex;
}

// The exit status of a process that is stopped: what the system itself gives one that ends by Ctrl-C.
constexpr UINT STOPPED = 0xC000013A;

// A file that a child inherits.
class Inheritable {
public:
    Inheritable() = default;
    ~Inheritable()
    {
        if (mHandle != INVALID_HANDLE_VALUE) CloseHandle(mHandle);
    }
    Inheritable(const Inheritable&) = delete;
    Inheritable& operator=(const Inheritable&) = delete;

    uint32_t open(const wchar_t* pPath, DWORD pAccess)
    {
        SECURITY_ATTRIBUTES tInheritable = {sizeof tInheritable, nullptr, TRUE};
        mHandle = CreateFileW(pPath, pAccess, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              &tInheritable, OPEN_EXISTING, 0, nullptr);
        return mHandle == INVALID_HANDLE_VALUE ? kpr::lastError() : uint32_t{K_SUCCESS};
    }
    HANDLE get() const { return mHandle; }

private:
    HANDLE mHandle = INVALID_HANDLE_VALUE;
};

HANDLE toHandle(KprChild pChild) { return reinterpret_cast<HANDLE>(pChild); }

} // namespace

uint32_t kprStartChild(const KprChildStart* pStart, KprChild* pChild)
{
    if (!pChild) return E_INVALIDARG;
    *pChild = 0;
    if (!pStart || !pStart->program || (pStart->count && !pStart->arguments)) return E_INVALIDARG;
    if (!pStart->quiet != !pStart->output) return E_INVALIDARG;
    std::string tLine = kpr::quoteArgument(pStart->program);
    for (uint32_t i = 0; i < pStart->count; ++i)
        tLine += ' ' + kpr::quoteArgument(pStart->arguments[i]);
    std::wstring tProgram, tWideLine, tOutputPath;
    if (auto tRes = kpr::toWidePath(pStart->program, &tProgram); KFAILED(tRes)) return tRes;
    if (auto tRes = kpr::toWide(tLine, &tWideLine); KFAILED(tRes)) return tRes;

    const kpr::Lock tLock(starting());
    Inheritable tInput, tOutput;
    STARTUPINFOW tInfo{};
    tInfo.cb = sizeof tInfo;
    if (pStart->quiet) {
        if (auto tRes = kpr::toWidePath(pStart->output, &tOutputPath); KFAILED(tRes)) return tRes;
        if (auto tRes = tInput.open(L"NUL", GENERIC_READ); KFAILED(tRes)) return tRes;
        if (auto tRes = tOutput.open(tOutputPath.c_str(), FILE_APPEND_DATA | SYNCHRONIZE); KFAILED(tRes))
            return tRes;
        tInfo.dwFlags = STARTF_USESTDHANDLES;
        tInfo.hStdInput = tInput.get();
        tInfo.hStdOutput = tInfo.hStdError = tOutput.get();
    }
    PROCESS_INFORMATION tProcess;
    if (!CreateProcessW(tProgram.c_str(), tWideLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &tInfo, &tProcess))
        return kpr::lastError();
    CloseHandle(tProcess.hThread);
    *pChild = reinterpret_cast<KprChild>(tProcess.hProcess);
    return K_SUCCESS;
}

uint32_t kprWaitForChild(KprChild pChild, uint32_t pMilliseconds, KprChildEnd* pEnd)
{
    if (!pEnd) return E_INVALIDARG;
    *pEnd = {KPR_CHILD_RUNNING, 0};
    if (!pChild) return KPR_E_BAD_HANDLE;
    static_assert(KPR_WAIT_FOREVER == INFINITE);
    const DWORD tWaited = WaitForSingleObject(toHandle(pChild), pMilliseconds);
    if (tWaited == WAIT_TIMEOUT) return K_SUCCESS;
    DWORD tStatus = 0;
    if (tWaited != WAIT_OBJECT_0 || !GetExitCodeProcess(toHandle(pChild), &tStatus)) return kpr::lastError();
    CloseHandle(toHandle(pChild));
    *pEnd = {isException(tStatus) ? KPR_CHILD_CRASHED : KPR_CHILD_EXITED, tStatus};
    return K_SUCCESS;
}

uint32_t kprStopChild(KprChild pChild)
{
    if (!pChild) return KPR_E_BAD_HANDLE;
    if (TerminateProcess(toHandle(pChild), STOPPED)) return K_SUCCESS;
    // A process that has ended cannot be stopped any more.
    return WaitForSingleObject(toHandle(pChild), 0) == WAIT_OBJECT_0 ? uint32_t{K_SUCCESS} : kpr::lastError();
}
