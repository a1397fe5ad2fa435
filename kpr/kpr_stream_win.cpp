// The standard streams of Windows: bytes for files and pipes, UTF-16 for the console.
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"
#include "kpr/mutex.h"
#include "kpr/process.h"

namespace {

HANDLE handleOf(uint32_t pStream)
{
    constexpr DWORD tStreams[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    return GetStdHandle(tStreams[pStream]);
}

bool isConsole(HANDLE pHandle)
{
    DWORD tMode; // only a console has one; the C library takes every device for a terminal
    return GetConsoleMode(pHandle, &tMode);
}

// The length of the text without a last character of which not all bytes are there.
size_t lengthOfWhole(std::string_view pText)
{
    size_t tLast = pText.size();
    while (tLast > 0 && pText.size() - tLast < 4) {
        const auto tByte = static_cast<unsigned char>(pText[--tLast]);
        if ((tByte & 0xC0) == 0x80) continue; // one that follows
        const size_t tWanted = tByte >= 0xF0 ? 4 : tByte >= 0xE0 ? 3 : tByte >= 0xC0 ? 2 : 1;
        return pText.size() - tLast < tWanted ? tLast : pText.size();
    }
    return pText.size();
}

// In pieces that every console takes, which do not part what belongs together.
uint32_t writeConsole(HANDLE pConsole, std::wstring_view pText)
{
    constexpr size_t tMost = 8000;
    while (!pText.empty()) {
        size_t tPiece = std::min(pText.size(), tMost);
        if (tPiece < pText.size() && IS_HIGH_SURROGATE(pText[tPiece - 1])) --tPiece;
        DWORD tWritten = 0;
        if (!WriteConsoleW(pConsole, pText.data(), static_cast<DWORD>(tPiece), &tWritten, nullptr))
            return kpr::lastError();
        if (tWritten == 0) return KPR_E_IO;
        pText.remove_prefix(tWritten);
    }
    return K_SUCCESS;
}

// Both standard streams end in the same console, and so share a mutex. Never destroyed.
struct Console {
    kpr::Mutex mutex;
    std::string left[2] K_GUARDED_BY(mutex); // the bytes of a character that has not come whole yet
};

uint32_t writeText(uint32_t pStream, HANDLE pConsole, std::string_view pBytes)
{
    static auto& tConsole = *new Console;
    const kpr::Lock tLock(tConsole.mutex);
    std::string& tLeft = tConsole.left[pStream == KPR_STDERR];
    tLeft.append(pBytes);
    const size_t tWhole = lengthOfWhole(tLeft);
    if (tWhole == 0) return K_SUCCESS;
    std::wstring tWide(tWhole, L'\0'); // never more units than bytes
    const int tLength = MultiByteToWideChar(CP_UTF8, 0, tLeft.data(), static_cast<int>(tWhole), tWide.data(),
                                            static_cast<int>(tWide.size()));
    tLeft.erase(0, tWhole);
    return writeConsole(pConsole, {tWide.data(), static_cast<size_t>(tLength)});
}

} // namespace

uint32_t kprIsTerminal(uint32_t pStream, uint32_t* pTerminal)
{
    if (!pTerminal || pStream > KPR_STDERR) return E_INVALIDARG;
    *pTerminal = isConsole(handleOf(pStream)) ? 1 : 0;
    return K_SUCCESS;
}

uint32_t kprWriteStream(uint32_t pStream, const void* pBytes, uint32_t pLength)
{
    if ((pStream != KPR_STDOUT && pStream != KPR_STDERR) || (!pBytes && pLength)) return E_INVALIDARG;
    const HANDLE tHandle = handleOf(pStream);
    std::string_view tBytes(static_cast<const char*>(pBytes), pLength);
    if (isConsole(tHandle)) {
        // In parts, so that the number of units fits.
        constexpr size_t tMost = 1u << 20;
        for (; !tBytes.empty(); tBytes.remove_prefix(std::min(tBytes.size(), tMost)))
            if (auto tRes = writeText(pStream, tHandle, tBytes.substr(0, tMost)); KFAILED(tRes)) return tRes;
        return K_SUCCESS;
    }
    while (!tBytes.empty()) {
        DWORD tWritten = 0;
        if (!WriteFile(tHandle, tBytes.data(), static_cast<DWORD>(tBytes.size()), &tWritten, nullptr))
            return kpr::lastError();
        if (tWritten == 0) return KPR_E_IO; // a full pipe that does not wait
        tBytes.remove_prefix(tWritten);
    }
    return K_SUCCESS;
}

uint32_t kprSetBinaryStdio(void)
{
    for (FILE* tStream : {stdin, stdout})
        if (_setmode(_fileno(tStream), _O_BINARY) == -1) return KPR_E_BAD_HANDLE;
    return K_SUCCESS;
}
