// Unique temporary files, from the operations that both targets have.
#include <atomic>
#include <string>
#include <string_view>

#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/kpr_internal.h"
#include "kpr/path.h"
#include "kpr/thread.h"

namespace {

constexpr uint32_t ATTEMPTS = 1000;
constexpr size_t SUFFIX_LENGTH = 10;

// Names need to differ, not to be secret: the file is created exclusively. Process and time tell processes
// (and machines that share the directory) apart, the counter tells calls apart.
uint64_t nextNumber()
{
    static std::atomic<uint64_t> tCounter{0};
    KprTime tNow{};
    kprGetCurrentTime(&tNow);
    uint64_t tNumber = static_cast<uint64_t>(tNow.seconds) * 1000000u + tNow.microseconds;
    tNumber += (static_cast<uint64_t>(kprGetProcessId()) << 40) + (tCounter.fetch_add(1) << 20);
    // Spreads every input bit over the whole number (the finaliser of SplitMix64).
    tNumber = (tNumber ^ (tNumber >> 30)) * 0xBF58476D1CE4E5B9u;
    tNumber = (tNumber ^ (tNumber >> 27)) * 0x94D049BB133111EBu;
    return tNumber ^ (tNumber >> 31);
}

std::string makeSuffix()
{
    // One letter case only: some file systems do not tell the cases apart.
    constexpr std::string_view tDigits = "0123456789abcdefghijklmnopqrstuv";
    std::string tSuffix(SUFFIX_LENGTH, '0');
    uint64_t tNumber = nextNumber();
    for (char& tChar : tSuffix) {
        tChar = tDigits[tNumber % tDigits.size()];
        tNumber /= tDigits.size();
    }
    return tSuffix;
}

} // namespace

uint32_t kprGetTempFileName(const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer,
                            uint32_t pSize)
{
    if (!pDir || !pBuffer || pFlags != 0) return E_INVALIDARG;
    const std::string tPrefix = pPrefix ? pPrefix : "";
    if (tPrefix.find('/') != std::string::npos || tPrefix.find(kprGetPathSeparator()) != std::string::npos)
        return E_INVALIDARG;
    for (uint32_t tAttempt = 0; tAttempt < ATTEMPTS; ++tAttempt) {
        const std::string tName = tPrefix + makeSuffix();
        if (auto tRes = kprAppendToPath(pDir, tName.c_str(), pBuffer, pSize); KFAILED(tRes)) return tRes;
        KprFile tFile;
        const uint32_t tRes =
            kprOpenFile(pBuffer, KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE, &tFile);
        if (!KFAILED(tRes)) return kprCloseFile(tFile);
        if (tRes != KPR_E_EXISTS) return tRes;
    }
    return KPR_E_EXISTS;
}
