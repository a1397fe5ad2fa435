#include <windows.h>

#include <algorithm>

#include "kpr/dso.h"
#include "tools/kom-validate/validate_Process.h"

namespace kom::validate {

namespace {

constexpr DWORD ABORT_STATUS = 3;             // of the C library's abort
constexpr DWORD FAST_FAIL = 0xC0000409;       // of the newer C library's
constexpr DWORD FIRST_EXCEPTION = 0x80000000; // an exit status from here on is an exception's code

std::wstring toWide(const std::string& pText)
{
    std::wstring tWide(pText.size() + 1, L'\0');
    const int tLength = MultiByteToWideChar(CP_UTF8, 0, pText.data(), static_cast<int>(pText.size()),
                                            tWide.data(), static_cast<int>(tWide.size()));
    tWide.resize(static_cast<size_t>(tLength));
    return tWide;
}

/// The quoting that the receiver undoes: backslashes count only in front of a quotation mark.
std::string quoted(const std::string& pArgument)
{
    std::string tQuoted = "\"";
    size_t tBackslashes = 0;
    for (const char tChar : pArgument) {
        if (tChar == '"') tQuoted.append(tBackslashes + 1, '\\');
        tBackslashes = tChar == '\\' ? tBackslashes + 1 : 0;
        tQuoted += tChar;
    }
    return tQuoted.append(tBackslashes, '\\') + '"';
}

/// A file that the child process inherits.
HANDLE openInheritable(const wchar_t* pPath, DWORD pAccess)
{
    SECURITY_ATTRIBUTES tInheritable = {sizeof tInheritable, nullptr, TRUE};
    return CreateFileW(pPath, pAccess, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &tInheritable,
                       OPEN_EXISTING, 0, nullptr);
}

ExitStatus exitStatusOf(DWORD pStatus)
{
    if (pStatus == ABORT_STATUS || pStatus == FAST_FAIL) return {ExitStatus::ABORTED, pStatus};
    return {pStatus >= FIRST_EXCEPTION ? ExitStatus::CRASHED : ExitStatus::EXITED, pStatus};
}

ExitStatus waitFor(HANDLE pProcess, uint32_t pSeconds)
{
    if (WaitForSingleObject(pProcess, pSeconds * 1000) == WAIT_TIMEOUT) {
        TerminateProcess(pProcess, 1);
        WaitForSingleObject(pProcess, INFINITE);
        return {ExitStatus::TIMED_OUT, pSeconds};
    }
    DWORD tStatus = 0;
    GetExitCodeProcess(pProcess, &tStatus);
    return exitStatusOf(tStatus);
}

LONG WINAPI endAtOnce(EXCEPTION_POINTERS* pException)
{
    TerminateProcess(GetCurrentProcess(), pException->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

std::string hexadecimal(uint32_t pValue)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string tText = "0x";
    for (int tShift = 28; tShift >= 0; tShift -= 4)
        tText += DIGITS[pValue >> tShift & 15];
    return tText;
}

} // namespace

std::string ExitStatus::text() const
{
    switch (kind) {
    case EXITED:
        return "ended with status " + std::to_string(code);
    case ABORTED:
        return "stopped itself (abort)";
    case CRASHED:
        return "crashed (exception " + hexadecimal(code) + ")";
    case TIMED_OUT:
        return "was still at it after " + std::to_string(code) + " s";
    default:
        return "could not be started: error " + std::to_string(code);
    }
}

ExitStatus runSelf(const std::vector<std::string>& pArguments, const std::string& pOutput, uint32_t pSeconds)
{
    const std::string tProgram = kprGetProgramPath();
    std::string tLine = quoted(tProgram);
    for (const std::string& tArgument : pArguments)
        tLine += ' ' + quoted(tArgument);

    const HANDLE tInput = openInheritable(L"NUL", GENERIC_READ);
    const HANDLE tOutput = openInheritable(toWide(pOutput).c_str(), FILE_APPEND_DATA | SYNCHRONIZE);
    STARTUPINFOW tStart{};
    tStart.cb = sizeof tStart;
    tStart.dwFlags = STARTF_USESTDHANDLES;
    tStart.hStdInput = tInput;
    tStart.hStdOutput = tStart.hStdError = tOutput;
    PROCESS_INFORMATION tInfo;
    const bool tStarted = CreateProcessW(toWide(tProgram).c_str(), toWide(tLine).data(), nullptr, nullptr,
                                         TRUE, 0, nullptr, nullptr, &tStart, &tInfo);
    const DWORD tError = GetLastError();
    CloseHandle(tInput);
    CloseHandle(tOutput);
    if (!tStarted) return {ExitStatus::NOT_STARTED, tError};
    const ExitStatus tStatus = waitFor(tInfo.hProcess, pSeconds);
    CloseHandle(tInfo.hThread);
    CloseHandle(tInfo.hProcess);
    return tStatus;
}

void prepareChild()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter(endAtOnce);
}

std::vector<uint8_t> readMemory(const void* pAddress, size_t pSize)
{
    constexpr uintptr_t PAGE = 4096; // what can be read is decided page by page
    std::vector<uint8_t> tBytes(pSize);
    size_t tDone = 0;
    while (tDone < pSize) {
        const uintptr_t tFrom = reinterpret_cast<uintptr_t>(pAddress) + tDone;
        const size_t tPart = std::min<size_t>(pSize - tDone, PAGE - tFrom % PAGE);
        SIZE_T tRead = 0;
        if (!ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(tFrom),
                               tBytes.data() + tDone, tPart, &tRead))
            break;
        tDone += tRead;
    }
    tBytes.resize(tDone);
    return tBytes;
}

} // namespace kom::validate
