#include <windows.h>

#include <stdexcept>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace kprtest {

namespace {

constexpr UINT STOPPED = 0xDEAD;

std::wstring toWide(const std::string& pText)
{
    std::wstring tWide(pText.size() + 1, L'\0');
    const int tLength = MultiByteToWideChar(CP_UTF8, 0, pText.data(), static_cast<int>(pText.size()),
                                            tWide.data(), static_cast<int>(tWide.size()));
    tWide.resize(static_cast<size_t>(tLength));
    return tWide;
}

// The quoting that the receiver undoes: backslashes count only in front of a quotation mark.
std::string quoted(const std::string& pArgument)
{
    std::string tQuoted = "\"";
    size_t tBackslashes = 0;
    for (char tChar : pArgument) {
        if (tChar == '"') tQuoted.append(tBackslashes + 1, '\\');
        tBackslashes = tChar == '\\' ? tBackslashes + 1 : 0;
        tQuoted += tChar;
    }
    return tQuoted.append(tBackslashes, '\\') + '"';
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& pArguments, const std::string& pProgram)
{
    const std::string tProgram = pProgram.empty() ? kprGetProgramPath() : pProgram;
    std::string tLine = quoted(tProgram);
    for (const std::string& tArgument : pArguments)
        tLine += ' ' + quoted(tArgument);
    STARTUPINFOW tStart{};
    tStart.cb = sizeof tStart;
    PROCESS_INFORMATION tInfo;
    // Handles that may be inherited are: whoever tests that ours are not needs them to try.
    if (!CreateProcessW(toWide(tProgram).c_str(), toWide(tLine).data(), nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &tStart, &tInfo))
        throw std::runtime_error("cannot start " + tProgram);
    CloseHandle(tInfo.hThread);
    mProcess = reinterpret_cast<intptr_t>(tInfo.hProcess);
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
}

int ChildProcess::wait()
{
    const HANDLE tProcess = reinterpret_cast<HANDLE>(mProcess);
    if (!tProcess) return -1;
    DWORD tStatus = STOPPED;
    WaitForSingleObject(tProcess, INFINITE);
    GetExitCodeProcess(tProcess, &tStatus);
    CloseHandle(tProcess);
    mProcess = 0;
    return tStatus == STOPPED ? -1 : static_cast<int>(tStatus);
}

void ChildProcess::kill()
{
    if (mProcess) TerminateProcess(reinterpret_cast<HANDLE>(mProcess), STOPPED);
}

} // namespace kprtest
