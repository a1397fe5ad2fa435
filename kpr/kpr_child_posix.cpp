#include "kpr/child.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/kpr_error.h"
#include "kpr/time.h"

namespace {

constexpr uint32_t STEP = 5; // milliseconds between two looks at a child

// What the child opens before the program starts.
class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&mActions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&mActions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    int quieten(const char* pOutput)
    {
        int tError = posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        if (!tError)
            tError =
                posix_spawn_file_actions_addopen(&mActions, STDOUT_FILENO, pOutput, O_WRONLY | O_APPEND, 0);
        return tError ? tError : posix_spawn_file_actions_adddup2(&mActions, STDOUT_FILENO, STDERR_FILENO);
    }
    const posix_spawn_file_actions_t* get() const { return &mActions; }

private:
    posix_spawn_file_actions_t mActions;
};

KprChildEnd endOf(int pStatus)
{
    if (WIFEXITED(pStatus)) return {KPR_CHILD_EXITED, static_cast<uint32_t>(WEXITSTATUS(pStatus))};
    return {KPR_CHILD_CRASHED, static_cast<uint32_t>(WTERMSIG(pStatus))};
}

} // namespace

uint32_t kprStartChild(const KprChildStart* pStart, KprChild* pChild)
{
    if (!pChild) return E_INVALIDARG;
    *pChild = 0;
    if (!pStart || !pStart->program || (pStart->count && !pStart->arguments)) return E_INVALIDARG;
    if (!pStart->quiet != !pStart->output) return E_INVALIDARG;
    std::vector<char*> tArguments{const_cast<char*>(pStart->program)};
    for (uint32_t i = 0; i < pStart->count; ++i)
        tArguments.push_back(const_cast<char*>(pStart->arguments[i]));
    tArguments.push_back(nullptr);
    FileActions tFiles;
    pid_t tProcess = 0;
    int tError = pStart->quiet ? tFiles.quieten(pStart->output) : 0;
    if (!tError)
        tError = posix_spawn(&tProcess, pStart->program, tFiles.get(), nullptr, tArguments.data(), environ);
    if (tError) return kpr::errorFromSystem(static_cast<uint32_t>(tError));
    *pChild = tProcess;
    return K_SUCCESS;
}

uint32_t kprWaitForChild(KprChild pChild, uint32_t pMilliseconds, KprChildEnd* pEnd)
{
    if (!pEnd) return E_INVALIDARG;
    *pEnd = {KPR_CHILD_RUNNING, 0};
    if (pChild <= 0) return KPR_E_BAD_HANDLE;
    const bool tForever = pMilliseconds == KPR_WAIT_FOREVER;
    uint64_t tStart = 0, tNow = 0;
    if (const auto tRes = kprGetMonotonicTime(&tStart); KFAILED(tRes)) return tRes;
    for (;;) {
        int tStatus = 0;
        const pid_t tEnded = waitpid(static_cast<pid_t>(pChild), &tStatus, tForever ? 0 : WNOHANG);
        if (tEnded > 0) {
            *pEnd = endOf(tStatus);
            return K_SUCCESS;
        }
        if (tEnded < 0 && errno != EINTR) return kpr::lastError();
        if (tForever) continue;
        if (const auto tRes = kprGetMonotonicTime(&tNow); KFAILED(tRes)) return tRes;
        const uint64_t tWaited = (tNow - tStart) / 1000;
        if (tWaited >= pMilliseconds) return K_SUCCESS;
        kprSleep(static_cast<uint32_t>(std::min<uint64_t>(STEP, pMilliseconds - tWaited)));
    }
}

uint32_t kprStopChild(KprChild pChild)
{
    if (pChild <= 0) return KPR_E_BAD_HANDLE;
    return kill(static_cast<pid_t>(pChild), SIGKILL) == 0 ? uint32_t{K_SUCCESS} : kpr::lastError();
}
