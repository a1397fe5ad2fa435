#include "tools/kom-validate/validate_Process.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/time.h"

namespace kom::validate {

namespace {

constexpr uint32_t STEP = 5; // milliseconds between two looks at the child

/// A text that the C library may not have.
std::string textOf(const char* pText) { return pText ? pText : "unknown"; }

ExitStatus exitStatusOf(int pStatus)
{
    if (WIFEXITED(pStatus)) return {ExitStatus::EXITED, static_cast<uint32_t>(WEXITSTATUS(pStatus))};
    const int tSignal = WTERMSIG(pStatus);
    return {tSignal == SIGABRT ? ExitStatus::ABORTED : ExitStatus::CRASHED, static_cast<uint32_t>(tSignal)};
}

ExitStatus waitFor(pid_t pProcess, uint32_t pSeconds)
{
    int tStatus = 0;
    for (uint64_t tWaited = 0; tWaited < uint64_t{pSeconds} * 1000; tWaited += STEP) {
        if (waitpid(pProcess, &tStatus, WNOHANG) == pProcess) return exitStatusOf(tStatus);
        kprSleep(STEP);
    }
    kill(pProcess, SIGKILL);
    waitpid(pProcess, &tStatus, 0);
    return {ExitStatus::TIMED_OUT, pSeconds};
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
        return "crashed (signal " + std::to_string(code) + ", " +
               textOf(sigdescr_np(static_cast<int>(code))) + ")";
    case TIMED_OUT:
        return "was still at it after " + std::to_string(code) + " s";
    default:
        return "could not be started: " + textOf(strerrordesc_np(static_cast<int>(code)));
    }
}

ExitStatus runSelf(const std::vector<std::string>& pArguments, const std::string& pOutput, uint32_t pSeconds)
{
    std::vector<char*> tArguments{const_cast<char*>(kprGetProgramPath())};
    for (const std::string& tArgument : pArguments)
        tArguments.push_back(const_cast<char*>(tArgument.c_str()));
    tArguments.push_back(nullptr);

    posix_spawn_file_actions_t tFiles;
    posix_spawn_file_actions_init(&tFiles);
    posix_spawn_file_actions_addopen(&tFiles, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&tFiles, STDOUT_FILENO, pOutput.c_str(), O_WRONLY | O_APPEND, 0);
    posix_spawn_file_actions_adddup2(&tFiles, STDOUT_FILENO, STDERR_FILENO);
    pid_t tProcess;
    const int tError = posix_spawn(&tProcess, tArguments[0], &tFiles, nullptr, tArguments.data(), environ);
    posix_spawn_file_actions_destroy(&tFiles);
    if (tError != 0) return {ExitStatus::NOT_STARTED, static_cast<uint32_t>(tError)};
    return waitFor(tProcess, pSeconds);
}

void prepareChild()
{
    constexpr rlimit tNone = {0, 0};
    setrlimit(RLIMIT_CORE, &tNone);
}

std::vector<uint8_t> readMemory(const void* pAddress, size_t pSize)
{
    // Through the file the kernel tells what is mapped; a plain read would end the process.
    std::vector<uint8_t> tBytes(pSize);
    const int tFile = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    const ssize_t tRead = tFile < 0 ? -1
                                    : pread(tFile, tBytes.data(), pSize,
                                            static_cast<off_t>(reinterpret_cast<uintptr_t>(pAddress)));
    if (tFile >= 0) close(tFile);
    tBytes.resize(tRead < 0 ? 0 : static_cast<size_t>(tRead));
    return tBytes;
}

} // namespace kom::validate
