#include "host/khost/khost_Console.h"

#include <cerrno>
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vel::kos::host {

namespace {

int descriptor(Stream pStream)
{
    switch (pStream) {
    case Stream::INPUT:
        return STDIN_FILENO;
    case Stream::OUTPUT:
        return STDOUT_FILENO;
    default:
        return STDERR_FILENO;
    }
}

} // namespace

void prepareConsole() { std::signal(SIGPIPE, SIG_IGN); }

unsigned terminalWidth()
{
    winsize tSize;
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &tSize) == 0 && tSize.ws_col > 0 ? tSize.ws_col : 80;
}

bool writeStream(Stream pStream, std::string_view pBytes)
{
    while (!pBytes.empty()) {
        const ssize_t tWritten = write(descriptor(pStream), pBytes.data(), pBytes.size());
        if (tWritten < 0 && errno == EINTR) continue;
        if (tWritten < 0) return false;
        pBytes.remove_prefix(static_cast<std::size_t>(tWritten));
    }
    return true;
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
