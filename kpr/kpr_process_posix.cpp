#include "kpr/process.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include "kpr/file.h"
#include "kpr/kpr_block.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

std::atomic<bool> gEnding = false;

uint32_t readCommandLine(std::string* pBytes)
{
    KprFile tFile;
    if (auto tRes = kprOpenFile("/proc/self/cmdline", KPR_OPEN_READ, &tFile); KFAILED(tRes)) return tRes;
    uint32_t tRes, tRead;
    do {
        char tPiece[4096];
        tRes = kprRead(tFile, tPiece, sizeof tPiece, &tRead);
        pBytes->append(tPiece, tRead);
    } while (!KFAILED(tRes) && tRead);
    kprCloseFile(tFile);
    return tRes;
}

} // namespace

uint32_t kprGetArguments(KprArgumentList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    std::string tBytes; // each argument with its terminator
    if (auto tRes = readCommandLine(&tBytes); KFAILED(tRes)) return tRes;
    std::vector<std::string> tArguments;
    for (size_t tPos = 0; tPos < tBytes.size(); tPos += tArguments.back().size() + 1)
        tArguments.emplace_back(tBytes.c_str() + tPos);
    return kpr::makeArgumentList(tArguments, pList);
}

uint32_t kprGetEnvironment(const char* pName, char* pBuffer, uint32_t pSize)
{
    if (!pName || !pBuffer) return E_INVALIDARG;
    const char* tValue = secure_getenv(pName);
    return tValue ? kpr::copyOut(tValue, pBuffer, pSize) : KPR_E_NOT_FOUND;
}

uint32_t kprIsTerminal(uint32_t pStream, uint32_t* pTerminal)
{
    if (!pTerminal || pStream > KPR_STDERR) return E_INVALIDARG;
    *pTerminal = isatty(static_cast<int>(pStream)) ? 1 : 0;
    return K_SUCCESS;
}

uint32_t kprWriteStream(uint32_t pStream, const void* pBytes, uint32_t pLength)
{
    if ((pStream != KPR_STDOUT && pStream != KPR_STDERR) || (!pBytes && pLength)) return E_INVALIDARG;
    const int tDescriptor = pStream == KPR_STDOUT ? STDOUT_FILENO : STDERR_FILENO;
    for (uint32_t tDone = 0; tDone < pLength;) {
        const ssize_t tWritten =
            write(tDescriptor, static_cast<const char*>(pBytes) + tDone, pLength - tDone);
        if (tWritten < 0 && errno == EINTR) continue;
        if (tWritten < 0) return kpr::lastError();
        tDone += static_cast<uint32_t>(tWritten);
    }
    return K_SUCCESS;
}

uint32_t kprSetBinaryStdio(void) { return K_SUCCESS; } // they are

// Handlers run in the reverse order of their registration, destructors of static objects among them.
void kprWatchProcessEnd(void)
{
    std::atexit([] { gEnding = true; });
}

uint32_t kprIsProcessEnding(void) { return gEnding ? 1 : 0; }
