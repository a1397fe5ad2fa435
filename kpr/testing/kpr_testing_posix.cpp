#include "kpr/testing/kpr_testing.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/dso.h"

namespace kprtest {

ChildProcess::ChildProcess(const std::vector<std::string>& pArguments, const std::string& pProgram)
{
    const std::string tProgram = pProgram.empty() ? kprGetProgramPath() : pProgram;
    std::vector<char*> tArguments{const_cast<char*>(tProgram.c_str())};
    for (const std::string& tArgument : pArguments)
        tArguments.push_back(const_cast<char*>(tArgument.c_str()));
    tArguments.push_back(nullptr);
    pid_t tProcess;
    if (posix_spawn(&tProcess, tProgram.c_str(), nullptr, nullptr, tArguments.data(), environ) != 0)
        throw std::runtime_error("cannot start " + tProgram);
    mProcess = tProcess;
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
}

int ChildProcess::wait()
{
    if (mProcess == 0) return -1;
    int tStatus;
    while (waitpid(static_cast<pid_t>(mProcess), &tStatus, 0) < 0)
        if (errno != EINTR) return -1;
    mProcess = 0;
    return WIFEXITED(tStatus) ? WEXITSTATUS(tStatus) : -1;
}

void ChildProcess::kill()
{
    if (mProcess != 0) ::kill(static_cast<pid_t>(mProcess), SIGKILL);
}

} // namespace kprtest
