#include "tests/windows/bundle/bundle_Process_win.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace bundle {

namespace {

class Handle {
public:
    explicit Handle(HANDLE pHandle = nullptr) : mHandle(pHandle) {}
    ~Handle()
    {
        if (mHandle && mHandle != INVALID_HANDLE_VALUE) CloseHandle(mHandle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE get() const { return mHandle; }

private:
    HANDLE mHandle;
};

/// A file that the program inherits.
HANDLE openForChild(const std::string& pPath, DWORD pAccess, DWORD pDisposition)
{
    SECURITY_ATTRIBUTES tInherited = {sizeof tInherited, nullptr, TRUE};
    return CreateFileW(toWide(pPath).c_str(), pAccess, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       &tInherited, pDisposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string quoted(const std::string& pArgument)
{
    if (!pArgument.empty() && pArgument.find_first_of(" \t\"") == std::string::npos) return pArgument;
    std::string tText = "\"";
    size_t tBackslashes = 0;
    for (const char tChar : pArgument) {
        if (tChar == '"') tText.append(tBackslashes + 1, '\\');
        tBackslashes = tChar == '\\' ? tBackslashes + 1 : 0;
        tText += tChar;
    }
    return tText.append(tBackslashes, '\\') + '"';
}

/// Everything in it is stopped with it. A crash ends a program without a word to the user.
HANDLE makeJob()
{
    const HANDLE tJob = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION tLimits{};
    tLimits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    SetInformationJobObject(tJob, JobObjectExtendedLimitInformation, &tLimits, sizeof tLimits);
    return tJob;
}

} // namespace

std::wstring toWide(const std::string& pText)
{
    const int tSize = static_cast<int>(pText.size());
    std::wstring tWide(pText.size(), L'\0'); // never more units than bytes
    tWide.resize(static_cast<size_t>(
        MultiByteToWideChar(CP_UTF8, 0, pText.data(), tSize, tWide.data(), static_cast<int>(tWide.size()))));
    return tWide;
}

std::string toUtf8(const std::wstring& pText)
{
    const int tSize = static_cast<int>(pText.size());
    std::string tText(pText.size() * 3, '\0');
    tText.resize(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, pText.data(), tSize, tText.data(),
                                                         static_cast<int>(tText.size()), nullptr, nullptr)));
    return tText;
}

std::string errorText(unsigned long pError)
{
    wchar_t tText[512];
    DWORD tLength = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                   pError, 0, tText, static_cast<DWORD>(std::size(tText)), nullptr);
    while (tLength > 0 && (tText[tLength - 1] <= L' ' || tText[tLength - 1] == L'.'))
        --tLength;
    return "error " + std::to_string(pError) + (tLength ? " (" + toUtf8({tText, tLength}) + ")" : "");
}

std::string Ending::text() const
{
    char tCode[16];
    static_cast<void>(std::snprintf(tCode, sizeof tCode, "0x%08lX", code));
    switch (kind) {
    case EXITED:
        return code == 0 ? "passed" : "ended with status " + std::to_string(code);
    case CRASHED:
        if (code == 0xC0000135) return "a library that it needs is missing";
        return std::string("crashed with exception ") + tCode;
    case TIMED_OUT:
        return "was stopped at its time limit";
    default:
        return "was not started: " + errorText(code);
    }
}

Ending run(const std::vector<std::string>& pCommand, const std::string& pFolder, const std::string& pOutput,
           unsigned pSeconds)
{
    Ending tEnding;
    const Handle tInput(openForChild("NUL", GENERIC_READ, OPEN_EXISTING));
    const Handle tOutput(openForChild(pOutput, FILE_APPEND_DATA | SYNCHRONIZE, CREATE_ALWAYS));
    STARTUPINFOW tStart{};
    tStart.cb = sizeof tStart;
    tStart.dwFlags = STARTF_USESTDHANDLES;
    tStart.hStdInput = tInput.get();
    tStart.hStdOutput = tStart.hStdError = tOutput.get();
    std::string tLine;
    for (const std::string& tArgument : pCommand)
        tLine += (tLine.empty() ? "" : " ") + quoted(tArgument);
    std::wstring tWideLine = toWide(tLine);
    PROCESS_INFORMATION tProcess;
    const ULONGLONG tBegan = GetTickCount64();
    const Handle tJob(makeJob());
    if (!CreateProcessW(nullptr, tWideLine.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                        toWide(pFolder).c_str(), &tStart, &tProcess)) {
        tEnding.code = GetLastError();
        return tEnding;
    }
    const Handle tOwner(tProcess.hProcess), tThread(tProcess.hThread);
    AssignProcessToJobObject(tJob.get(), tProcess.hProcess);
    ResumeThread(tProcess.hThread);
    DWORD tCode = 0;
    if (WaitForSingleObject(tProcess.hProcess, pSeconds * 1000) != WAIT_OBJECT_0) {
        TerminateJobObject(tJob.get(), 1);
        TerminateProcess(tProcess.hProcess, 1); // should there be no job
        WaitForSingleObject(tProcess.hProcess, 10000);
        tEnding.kind = Ending::TIMED_OUT;
    } else {
        GetExitCodeProcess(tProcess.hProcess, &tCode);
        tEnding.kind = tCode >= 0xC0000000 ? Ending::CRASHED : Ending::EXITED;
    }
    tEnding.code = tCode;
    tEnding.seconds = static_cast<double>(GetTickCount64() - tBegan) / 1000;
    return tEnding;
}

std::string readFile(const std::string& pPath)
{
    std::ifstream tFile(std::filesystem::path(toWide(pPath)), std::ios::binary);
    std::ostringstream tContent;
    tContent << tFile.rdbuf();
    return tContent.str();
}

bool writeFile(const std::string& pPath, const std::string& pContent)
{
    std::ofstream tFile(std::filesystem::path(toWide(pPath)), std::ios::binary);
    tFile << pContent;
    tFile.close();
    return !tFile.fail();
}

bool makeFolders(const std::string& pPath)
{
    std::error_code tError;
    std::filesystem::create_directories(toWide(pPath), tError);
    return std::filesystem::is_directory(toWide(pPath), tError);
}

void removeTree(const std::string& pPath)
{
    std::error_code tError;
    std::filesystem::remove_all(toWide(pPath), tError);
}

} // namespace bundle
