#include "host/khost/khost_Console.h"

#include <cerrno>
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vel::kos::host {

void prepareConsole() { std::signal(SIGPIPE, SIG_IGN); }

unsigned terminalWidth()
{
    winsize tSize;
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &tSize) == 0 && tSize.ws_col > 0 ? tSize.ws_col : 80;
}

int64_t readInput(char* pBuffer, std::size_t pSize)
{
    ssize_t tRead;
    do
        tRead = read(STDIN_FILENO, pBuffer, pSize);
    while (tRead < 0 && errno == EINTR);
    return tRead;
}

} // namespace vel::kos::host
