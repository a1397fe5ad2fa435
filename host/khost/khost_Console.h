// The process's standard streams as bytes, and the terminal that may be behind them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kpr/codes.h"
#include "kpr/process.h"

namespace vel::kos::host {

enum class Stream : uint32_t { INPUT = KPR_STDIN, OUTPUT = KPR_STDOUT, ERRORS = KPR_STDERR };

/// Makes a reader that has gone away an error of writing instead of the process's end. Once, first thing.
void prepareConsole();
inline bool isTerminal(Stream pStream)
{
    uint32_t tTerminal = 0;
    kprIsTerminal(static_cast<uint32_t>(pStream), &tTerminal);
    return tTerminal != 0;
}
/// The terminal's columns behind standard error; 80 when that cannot be told.
unsigned terminalWidth();
/// Writes all bytes: unchanged, or as the UTF-8 text that they are to a terminal. False when the stream does
/// not take them.
inline bool writeStream(Stream pStream, std::string_view pBytes)
{
    constexpr std::size_t tMost = 1u << 30;
    for (; !pBytes.empty(); pBytes.remove_prefix(std::min(pBytes.size(), tMost)))
        if (KFAILED(kprWriteStream(static_cast<uint32_t>(pStream), pBytes.data(),
                                   static_cast<uint32_t>(std::min(pBytes.size(), tMost)))))
            return false;
    return true;
}
/// Reads at most pSize bytes of standard input: their number, 0 at its end, -1 on an error. Text that is
/// typed at a terminal comes as UTF-8.
int64_t readInput(char* pBuffer, std::size_t pSize);

} // namespace vel::kos::host
