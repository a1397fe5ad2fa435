#include "host/khost/khost_Console.h"

#include <algorithm>
#include <string>
#include <windows.h>

namespace vel::kos::host {

namespace {

HANDLE handle(Stream pStream)
{
    switch (pStream) {
    case Stream::INPUT:
        return GetStdHandle(STD_INPUT_HANDLE);
    case Stream::OUTPUT:
        return GetStdHandle(STD_OUTPUT_HANDLE);
    default:
        return GetStdHandle(STD_ERROR_HANDLE);
    }
}

// A console's input as bytes would lose all that is not in its code page: it is read as UTF-16.
int64_t readTerminal(char* pBuffer, std::size_t pSize)
{
    static std::string tLeft;
    if (tLeft.empty()) {
        wchar_t tWide[4096];
        DWORD tCount = 0;
        if (!ReadConsoleW(handle(Stream::INPUT), tWide, 4096, &tCount, nullptr)) return -1;
        if (tCount == 0 || tWide[0] == L'\x1A') return 0; // Ctrl-Z ends the input
        const int tLength =
            WideCharToMultiByte(CP_UTF8, 0, tWide, static_cast<int>(tCount), nullptr, 0, nullptr, nullptr);
        tLeft.resize(static_cast<std::size_t>(tLength));
        WideCharToMultiByte(CP_UTF8, 0, tWide, static_cast<int>(tCount), tLeft.data(), tLength, nullptr,
                            nullptr);
    }
    const std::size_t tTaken = std::min(pSize, tLeft.size());
    std::copy_n(tLeft.begin(), tTaken, pBuffer);
    tLeft.erase(0, tTaken);
    return static_cast<int64_t>(tTaken);
}

} // namespace

void prepareConsole() {}

unsigned terminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO tInfo;
    if (!GetConsoleScreenBufferInfo(handle(Stream::ERRORS), &tInfo)) return 80;
    return static_cast<unsigned>(std::max(1, tInfo.srWindow.Right - tInfo.srWindow.Left + 1));
}

int64_t readInput(char* pBuffer, std::size_t pSize)
{
    if (isTerminal(Stream::INPUT)) return readTerminal(pBuffer, pSize);
    DWORD tRead = 0;
    if (ReadFile(handle(Stream::INPUT), pBuffer, static_cast<DWORD>(std::min<std::size_t>(pSize, 1u << 30)),
                 &tRead, nullptr))
        return tRead;
    return GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;
}

} // namespace vel::kos::host
