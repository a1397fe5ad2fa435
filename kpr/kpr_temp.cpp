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

/// Makes and opens a file that was not there. pCompose(suffix) puts its path into pBuffer.
template <class TCompose>
uint32_t createUnique(char* pBuffer, KprFile* pFile, TCompose pCompose)
{
    for (uint32_t tAttempt = 0; tAttempt < ATTEMPTS; ++tAttempt) {
        if (auto tRes = pCompose(makeSuffix()); KFAILED(tRes)) return tRes;
        const uint32_t tRes =
            kprOpenFile(pBuffer, KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE, pFile);
        if (tRes != KPR_E_EXISTS) return tRes;
    }
    return KPR_E_EXISTS;
}

} // namespace

uint32_t kprGetTempFileName(const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer,
                            uint32_t pSize)
{
    if (!pDir || !pBuffer || pFlags != 0) return E_INVALIDARG;
    const std::string tPrefix = pPrefix ? pPrefix : "";
    if (tPrefix.find('/') != std::string::npos || tPrefix.find(kprGetPathSeparator()) != std::string::npos)
        return E_INVALIDARG;
    KprFile tFile;
    const uint32_t tRes = createUnique(pBuffer, &tFile, [&](const std::string& pSuffix) {
        return kprAppendToPath(pDir, (tPrefix + pSuffix).c_str(), pBuffer, pSize);
    });
    return KFAILED(tRes) ? tRes : kprCloseFile(tFile);
}

uint32_t kprBeginFile(const char* pTarget, char* pBuffer, uint32_t pSize, KprFile* pFile)
{
    if (!pFile) return E_INVALIDARG;
    *pFile = KPR_NO_FILE;
    if (!pTarget || !*pTarget || !pBuffer) return E_INVALIDARG;
    const std::string tPrefix = std::string(pTarget) + ".new-";
    return createUnique(pBuffer, pFile, [&](const std::string& pSuffix) {
        return kpr::copyOut(tPrefix + pSuffix, pBuffer, pSize);
    });
}

uint32_t kprPutInPlace(KprFile pFile, const char* pPath, const char* pTarget, uint32_t pFlags)
{
    if (!pPath || !pTarget || (pFlags & ~uint32_t{KPR_PUT_REPLACE | KPR_PUT_SYNC})) return E_INVALIDARG;
    uint32_t tRes = pFlags & KPR_PUT_SYNC ? kprSyncFile(pFile) : uint32_t{K_SUCCESS};
    const uint32_t tClosed = kprCloseFile(pFile);
    if (!KFAILED(tRes)) tRes = tClosed;
    if (!KFAILED(tRes))
        tRes = pFlags & KPR_PUT_REPLACE ? kprReplaceFile(pPath, pTarget) : kprMoveFile(pPath, pTarget);
    if (KFAILED(tRes)) kprRemoveFile(pPath);
    return tRes;
}
