#include "tests/reliability/storm/storm_Platform.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "kfw/cache/format/kfw_CacheId.h"
#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/thread.h"
#include "kpr/time.h"
#include "tests/reliability/storm/storm_Process.h"

// A function that is counted and passed on: its name, then its parameters twice (declared, passed).
#define K_PASS(pName, pDeclared, pPassed)                                                                    \
    uint32_t __real_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared                                                                        \
    {                                                                                                        \
        enterCall();                                                                                         \
        return __real_##pName pPassed;                                                                       \
    }

// One that has a wrapper of its own.
#define K_WRAPPED(pName, pDeclared)                                                                          \
    uint32_t __real_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared;

extern "C" {
K_WRAPPED(kprWrite, (KprFile, const void*, uint32_t, uint32_t*))
K_WRAPPED(kprSeekAndWrite, (KprFile, uint64_t, const void*, uint32_t, uint32_t*))
K_WRAPPED(kprGetFileInfo, (const char*, uint32_t, KprFileInfo*))
K_WRAPPED(kprGetOpenFileInfo, (KprFile, uint32_t, KprFileInfo*))
K_WRAPPED(kprSetFileTime, (const char*, const KprTime*, const KprTime*))
K_WRAPPED(kprGetCurrentTime, (KprTime*))
K_WRAPPED(kprSleep, (uint32_t))
K_WRAPPED(kprMoveFile, (const char*, const char*))
K_WRAPPED(kprRemoveFile, (const char*))
K_WRAPPED(kprLockFile, (KprFile, uint32_t, uint64_t, uint64_t))
K_WRAPPED(kprThreadCreate, (KprThread*, uint32_t, uint32_t, KprThreadMain, void*))
}

namespace vel::kos::storm {

namespace {

TimeScale gScale;
OperationLogWriter* gLog = nullptr;
std::atomic<bool> gCountCleaners;
std::atomic<uint32_t> gCounted;
std::atomic<uint32_t> gEndAt;
std::atomic<bool> gTorn;
std::atomic<uint32_t> gRounds;
std::atomic<uint64_t> gLongestRound;
std::atomic<uint64_t> gRoundStart; ///< when the cleaner went to sleep last

/// The cleaner's longest rest between two removals, in milliseconds.
constexpr uint32_t LONGEST_REST_MS = 100;

thread_local bool tlCounting = false;
thread_local bool tlCleaner = false;
thread_local uint64_t tlMemory = 0;  ///< the process's peak when the cleaner thread started
thread_local uint32_t tlWritten = 0; ///< bytes of the last kprWrite

/// Counts a call, and ends the process if it is the one. A torn write is for the caller: true.
bool enterCall(bool pMayTear = false)
{
    if (!tlCounting || ++gCounted != gEndAt) return false;
    if (pMayTear && gTorn) return true;
    endNow();
}

/// Writes to the log, whose own calls do not count.
void note(const char* pKind, const std::string& pWords)
{
    if (!gLog) return;
    const bool tCounting = std::exchange(tlCounting, false);
    gLog->write(pKind, pWords);
    tlCounting = tCounting;
}

std::string_view basename(std::string_view pPath) { return pPath.substr(pPath.find_last_of("/\\") + 1); }

std::string kilobytes(uint64_t pBytes) { return std::to_string((pBytes + 1023) >> 10); }

struct ThreadStart {
    KprThreadMain main;
    void* argument;
};

/// The only thread that the module starts is the cleaner's.
uint32_t cleanerThread(void* pStart)
{
    const ThreadStart tStart = *static_cast<ThreadStart*>(pStart);
    delete static_cast<ThreadStart*>(pStart);
    tlCleaner = true;
    tlCounting = gCountCleaners;
    tlMemory = peakMemoryKb();
    gRoundStart = monotonicNow();
    return tStart.main(tStart.argument);
}

/// The time since the cleaner went to sleep last, in milliseconds of scaled time.
uint64_t currentRound()
{
    const uint64_t tStart = gRoundStart;
    return tStart == 0 ? 0 : (monotonicNow() - tStart) / 1000 * gScale.speed;
}

void endRound()
{
    gLongestRound = std::max<uint64_t>(gLongestRound, currentRound());
    gRoundStart = monotonicNow();
    if (std::exchange(tlCounting, false))
        note("passed", std::to_string(gCounted) + ' ' + std::to_string(peakMemoryKb() - tlMemory));
    ++gRounds;
}

} // namespace

void Platform::setTimeScale(const TimeScale& pLens) { gScale = pLens; }
void Platform::setLog(OperationLogWriter* pLog) { gLog = pLog; }
void Platform::startCounting() { tlCounting = true; }
void Platform::stopCounting() { tlCounting = false; }
void Platform::countCleaners() { gCountCleaners = true; }
void Platform::endAtCall(uint32_t pNth, bool pTorn)
{
    gEndAt = pNth;
    gTorn = pTorn;
}
uint32_t Platform::counted() { return gCounted; }
uint32_t Platform::cleanerRounds() { return gRounds; }
uint64_t Platform::longestCleanerRound() { return std::max<uint64_t>(gLongestRound, currentRound()); }

} // namespace vel::kos::storm

using namespace vel::kos::storm;

extern "C" {

K_PASS(kprOpenFile, (const char* pPath, uint32_t pMode, KprFile* pFile), (pPath, pMode, pFile))
K_PASS(kprCloseFile, (KprFile pFile), (pFile))
K_PASS(kprRead, (KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead),
       (pFile, pBuffer, pLength, pRead))
K_PASS(kprSeekAndRead, (KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead),
       (pFile, pOffset, pBuffer, pLength, pRead))
K_PASS(kprUnlockFile, (KprFile pFile, uint64_t pOffset, uint64_t pLength), (pFile, pOffset, pLength))
K_PASS(kprGetTempFileName,
       (const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer, uint32_t pSize),
       (pDir, pPrefix, pFlags, pBuffer, pSize))
K_PASS(kprMakeDir, (const char* pPath), (pPath))
K_PASS(kprOpenDir, (const char* pPath, KprDir* pDir), (pPath, pDir))
K_PASS(kprReadDir, (KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind),
       (pDir, pBuffer, pSize, pKind))
K_PASS(kprCloseDir, (KprDir pDir), (pDir))

uint32_t __wrap_kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    if (enterCall(true)) {
        __real_kprWrite(pFile, pBuffer, pLength / 2, pWritten);
        endNow();
    }
    tlWritten = pLength;
    return __real_kprWrite(pFile, pBuffer, pLength, pWritten);
}

uint32_t __wrap_kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                                uint32_t* pWritten)
{
    enterCall();
    const uint32_t tRes = __real_kprSeekAndWrite(pFile, pOffset, pBuffer, pLength, pWritten);
    // Nothing but the counters is written in place: "inserted" by a store, "cleaned" by the cleaner.
    if (!KFAILED(tRes)) note(tlCleaner ? "cleaned" : "counted", {});
    return tRes;
}

uint32_t __wrap_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo)
{
    enterCall();
    const uint32_t tRes = __real_kprGetFileInfo(pPath, pMask, pInfo);
    if (!KFAILED(tRes)) pInfo->modified = gScale.toScaled(pInfo->modified);
    return tRes;
}

uint32_t __wrap_kprGetOpenFileInfo(KprFile pFile, uint32_t pMask, KprFileInfo* pInfo)
{
    enterCall();
    const uint32_t tRes = __real_kprGetOpenFileInfo(pFile, pMask, pInfo);
    if (!KFAILED(tRes)) pInfo->modified = gScale.toScaled(pInfo->modified);
    return tRes;
}

uint32_t __wrap_kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified)
{
    enterCall();
    KprTime tAccessed{}, tModified{};
    if (pAccessed) tAccessed = gScale.toReal(*pAccessed);
    if (pModified) tModified = gScale.toReal(*pModified);
    return __real_kprSetFileTime(pPath, pAccessed ? &tAccessed : nullptr, pModified ? &tModified : nullptr);
}

uint32_t __wrap_kprGetCurrentTime(KprTime* pTime)
{
    enterCall();
    const uint32_t tRes = __real_kprGetCurrentTime(pTime);
    if (!KFAILED(tRes)) *pTime = gScale.toScaled(*pTime);
    return tRes;
}

uint32_t __wrap_kprSleep(uint32_t pMilliseconds)
{
    enterCall();
    // Rests between removals go by the clock that does not go faster in the world.
    const bool tRest = tlCleaner && pMilliseconds <= LONGEST_REST_MS;
    if (tlCleaner && !tRest) endRound();
    const int64_t tMicroseconds = int64_t(pMilliseconds) * 1000;
    std::this_thread::sleep_for(
        std::chrono::microseconds(tRest ? tMicroseconds : tMicroseconds / gScale.speed));
    return 0;
}

uint32_t __wrap_kprMoveFile(const char* pFrom, const char* pTo)
{
    enterCall();
    const uint32_t tRes = __real_kprMoveFile(pFrom, pTo);
    const std::string_view tName = basename(pTo);
    if (!KFAILED(tRes) && tName.size() == vel::kos::kfw::OBJECT_NAME_LENGTH)
        note("stored", std::string(tName) + ' ' + kilobytes(tlWritten));
    return tRes;
}

uint32_t __wrap_kprRemoveFile(const char* pPath)
{
    enterCall();
    KprFileInfo tInfo{};
    if (tlCleaner) __real_kprGetFileInfo(pPath, KPR_INFO_SIZE, &tInfo);
    const uint32_t tRes = __real_kprRemoveFile(pPath);
    if (!KFAILED(tRes) && tlCleaner)
        note("removed", std::string(basename(pPath)) + ' ' + kilobytes(tInfo.size));
    return tRes;
}

uint32_t __wrap_kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength)
{
    enterCall();
    const uint64_t tStart = monotonicNow();
    const uint32_t tRes = __real_kprLockFile(pFile, pMode, pOffset, pLength);
    // Only the election does not wait. The words say when the try began; the line, when it had ended.
    if (tlCleaner && (pMode & KPR_LOCK_NO_WAIT))
        note(KFAILED(tRes) ? "refused" : "elected", std::to_string(tStart));
    return tRes;
}

uint32_t __wrap_kprThreadCreate(KprThread* pThread, uint32_t pFlags, uint32_t pStackSize, KprThreadMain pMain,
                                void* pArgument)
{
    enterCall();
    auto* tStart = new ThreadStart{pMain, pArgument};
    const uint32_t tRes = __real_kprThreadCreate(pThread, pFlags, pStackSize, cleanerThread, tStart);
    if (KFAILED(tRes)) delete tStart;
    return tRes;
}

} // extern "C"
