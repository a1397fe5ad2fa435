#include "FaultTable.h"

#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <optional>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/md5.h"
#include "kpr/path.h"
#include "kpr/thread.h"

namespace vel::kos::test {

namespace {

struct Rule {
    std::string function;
    uint32_t skip = 0; ///< calls to let pass first
    uint32_t times = 1;
    uint32_t code = 0;
    std::optional<uint32_t> limit;
    int64_t misplace = 0;
    std::function<void()> action;
};

struct Table {
    std::mutex mutex;
    std::list<Rule> rules;
    std::map<std::string, uint32_t> calls;
    std::vector<std::string> trace;
    bool tracing = false;
    std::optional<KprTime> clock;
    std::function<uint32_t(uint32_t)> sleeper;
    int64_t serverOffset = 0;
    bool capturing = false;
    std::function<void(const char*)> tempFileAction;
    std::map<KprFile, std::string> openFiles;
    std::vector<FaultTable::Thread> threads;
};

/// Never destroyed: threads may call until the process ends.
Table& table()
{
    static Table* tTable = new Table;
    return *tTable;
}

/// What a call is to do: answer a code, move less, land elsewhere.
struct Verdict {
    uint32_t code = 0;
    std::optional<uint32_t> limit;
    int64_t misplace = 0;

    uint32_t cut(uint32_t pLength) const { return limit ? std::min(*limit, pLength) : pLength; }
};

Verdict enter(const char* pFunction)
{
    Table& tTable = table();
    Verdict tVerdict;
    std::vector<std::function<void()>> tActions;
    {
        std::lock_guard tLock(tTable.mutex);
        ++tTable.calls[pFunction];
        if (tTable.tracing) tTable.trace.emplace_back(pFunction);
        for (auto tRule = tTable.rules.begin(); tRule != tTable.rules.end();) {
            if (tRule->function != pFunction) {
                ++tRule;
                continue;
            }
            if (tRule->skip > 0) {
                --tRule->skip;
                ++tRule;
                continue;
            }
            if (tRule->code != 0) tVerdict.code = tRule->code;
            if (tRule->limit) tVerdict.limit = tRule->limit;
            tVerdict.misplace += tRule->misplace;
            if (tRule->action) tActions.push_back(tRule->action);
            tRule = --tRule->times == 0 ? tTable.rules.erase(tRule) : std::next(tRule);
        }
    }
    for (const auto& tAction : tActions)
        tAction();
    return tVerdict;
}

void addRule(Rule pRule)
{
    std::lock_guard tLock(table().mutex);
    table().rules.push_back(std::move(pRule));
}

/// A time moved by the server clock's offset, forwards or back.
KprTime shifted(const KprTime& pTime, int64_t pMicroseconds)
{
    const int64_t tTotal = pTime.seconds * 1000000 + pTime.microseconds + pMicroseconds;
    int64_t tSeconds = tTotal / 1000000, tRest = tTotal % 1000000;
    if (tRest < 0) {
        tRest += 1000000;
        --tSeconds;
    }
    return {tSeconds, static_cast<uint32_t>(tRest), 0};
}

int64_t serverOffset()
{
    std::lock_guard tLock(table().mutex);
    return table().serverOffset;
}

uint32_t withServerTimes(uint32_t pCode, KprFileInfo* pInfo)
{
    if (KFAILED(pCode)) return pCode;
    const int64_t tOffset = serverOffset();
    if (tOffset == 0) return pCode;
    pInfo->modified = shifted(pInfo->modified, tOffset);
    pInfo->accessed = shifted(pInfo->accessed, tOffset);
    return pCode;
}

} // namespace

void FaultTable::reset()
{
    Table& tTable = table();
    std::lock_guard tLock(tTable.mutex);
    tTable.rules.clear();
    tTable.calls.clear();
    tTable.trace.clear();
    tTable.tracing = false;
    tTable.clock.reset();
    tTable.sleeper = nullptr;
    tTable.serverOffset = 0;
    tTable.capturing = false;
    tTable.tempFileAction = nullptr;
    tTable.openFiles.clear();
    tTable.threads.clear();
}

void FaultTable::fail(const std::string& pFunction, uint32_t pCode, uint32_t pNth, uint32_t pTimes)
{
    addRule({pFunction, pNth - 1, pTimes, pCode, {}, 0, {}});
}

void FaultTable::cutShort(const std::string& pFunction, uint32_t pBytes, uint32_t pNth)
{
    addRule({pFunction, pNth - 1, 1, 0, pBytes, 0, {}});
}

void FaultTable::misplaceSeek(int64_t pBytes, uint32_t pNth)
{
    addRule({"kprSeek", pNth - 1, 1, 0, {}, pBytes, {}});
}

void FaultTable::before(const std::string& pFunction, std::function<void()> pAction, uint32_t pNth)
{
    addRule({pFunction, pNth - 1, 1, 0, {}, 0, std::move(pAction)});
}

void FaultTable::onTempFile(std::function<void(const char*)> pAction)
{
    std::lock_guard tLock(table().mutex);
    table().tempFileAction = std::move(pAction);
}

uint32_t FaultTable::closeLeftOpen(const std::string& pPathPart)
{
    std::vector<KprFile> tFiles;
    {
        std::lock_guard tLock(table().mutex);
        for (const auto& [tFile, tPath] : table().openFiles)
            if (tPath.find(pPathPart) != std::string::npos) tFiles.push_back(tFile);
    }
    for (const KprFile tFile : tFiles)
        kprCloseFile(tFile);
    return static_cast<uint32_t>(tFiles.size());
}

uint32_t FaultTable::calls(const std::string& pFunction)
{
    std::lock_guard tLock(table().mutex);
    const auto tEntry = table().calls.find(pFunction);
    return tEntry == table().calls.end() ? 0 : tEntry->second;
}

std::vector<std::string> FaultTable::trace()
{
    std::lock_guard tLock(table().mutex);
    return table().trace;
}

void FaultTable::recordTrace()
{
    std::lock_guard tLock(table().mutex);
    table().tracing = true;
}

void FaultTable::captureThreads()
{
    std::lock_guard tLock(table().mutex);
    table().capturing = true;
}

std::vector<FaultTable::Thread> FaultTable::capturedThreads()
{
    std::lock_guard tLock(table().mutex);
    return table().threads;
}

void FaultTable::setClock(KprTime pNow)
{
    std::lock_guard tLock(table().mutex);
    table().clock = pNow;
}

void FaultTable::advanceClock(int64_t pSeconds)
{
    std::lock_guard tLock(table().mutex);
    if (table().clock) table().clock->seconds += pSeconds;
}

void FaultTable::setSleeper(std::function<uint32_t(uint32_t)> pSleeper)
{
    std::lock_guard tLock(table().mutex);
    table().sleeper = std::move(pSleeper);
}

void FaultTable::setServerClockOffset(int64_t pMicroseconds)
{
    std::lock_guard tLock(table().mutex);
    table().serverOffset = pMicroseconds;
}

} // namespace vel::kos::test

using vel::kos::test::enter;

// A function that is failed or passed on: its name, then its parameters twice (declared, passed).
#define K_WRAP(pName, pDeclared, pPassed)                                                                    \
    uint32_t __real_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared                                                                        \
    {                                                                                                        \
        const auto tVerdict = enter(#pName);                                                                 \
        return tVerdict.code ? tVerdict.code : __real_##pName pPassed;                                       \
    }

// One that gives something back, and does so even when it is to fail.
#define K_WRAP_RELEASE(pName, pDeclared, pPassed)                                                            \
    uint32_t __real_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared;                                                                       \
    uint32_t __wrap_##pName pDeclared                                                                        \
    {                                                                                                        \
        const auto tVerdict = enter(#pName);                                                                 \
        const uint32_t tRes = __real_##pName pPassed;                                                        \
        return tVerdict.code ? tVerdict.code : tRes;                                                         \
    }

extern "C" {

K_WRAP_RELEASE(kprUnlockFile, (KprFile pFile, uint64_t pOffset, uint64_t pLength), (pFile, pOffset, pLength))
K_WRAP_RELEASE(kprCloseDir, (KprDir pDir), (pDir))
K_WRAP(kprLockFile, (KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength),
       (pFile, pMode, pOffset, pLength))
K_WRAP(kprSyncFile, (KprFile pFile), (pFile))
K_WRAP(kprMoveFile, (const char* pFrom, const char* pTo), (pFrom, pTo))
K_WRAP(kprReplaceFile, (const char* pFrom, const char* pTo), (pFrom, pTo))
K_WRAP(kprRemoveFile, (const char* pPath), (pPath))
K_WRAP(kprOpenDir, (const char* pPath, KprDir* pDir), (pPath, pDir))
K_WRAP(kprReadDir, (KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind),
       (pDir, pBuffer, pSize, pKind))
K_WRAP(kprMakeDir, (const char* pPath), (pPath))
K_WRAP(kprGetDirname, (const char* pPath, char* pBuffer, uint32_t pSize), (pPath, pBuffer, pSize))
K_WRAP(kprGetBasename, (const char* pPath, char* pBuffer, uint32_t pSize), (pPath, pBuffer, pSize))
K_WRAP(kprAppendToPath, (const char* pPath, const char* pName, char* pBuffer, uint32_t pSize),
       (pPath, pName, pBuffer, pSize))
K_WRAP(kprMD5Init, (KprMD5 * pState), (pState))
K_WRAP(kprMD5Update, (KprMD5 * pState, const void* pBytes, uint32_t pLength), (pState, pBytes, pLength))
K_WRAP_RELEASE(kprMD5Final, (KprMD5 * pState, uint8_t* pDigest), (pState, pDigest))

uint32_t __real_kprOpenFile(const char*, uint32_t, KprFile*);
uint32_t __wrap_kprOpenFile(const char*, uint32_t, KprFile*);
uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    const auto tVerdict = enter("kprOpenFile");
    *pFile = KPR_NO_FILE;
    if (tVerdict.code) return tVerdict.code;
    const uint32_t tRes = __real_kprOpenFile(pPath, pMode, pFile);
    if (!KFAILED(tRes)) {
        std::lock_guard tLock(vel::kos::test::table().mutex);
        vel::kos::test::table().openFiles[*pFile] = pPath;
    }
    return tRes;
}

uint32_t __real_kprCloseFile(KprFile);
uint32_t __wrap_kprCloseFile(KprFile);
uint32_t __wrap_kprCloseFile(KprFile pFile)
{
    const auto tVerdict = enter("kprCloseFile");
    {
        // Before it is closed: afterwards another thread may get the same handle.
        std::lock_guard tLock(vel::kos::test::table().mutex);
        vel::kos::test::table().openFiles.erase(pFile);
    }
    const uint32_t tRes = __real_kprCloseFile(pFile);
    return tVerdict.code ? tVerdict.code : tRes;
}

uint32_t __real_kprGetTempFileName(const char*, const char*, uint32_t, char*, uint32_t);
uint32_t __wrap_kprGetTempFileName(const char*, const char*, uint32_t, char*, uint32_t);
uint32_t __wrap_kprGetTempFileName(const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer,
                                   uint32_t pSize)
{
    const auto tVerdict = enter("kprGetTempFileName");
    if (tVerdict.code) return tVerdict.code;
    const uint32_t tRes = __real_kprGetTempFileName(pDir, pPrefix, pFlags, pBuffer, pSize);
    if (KFAILED(tRes)) return tRes;
    std::function<void(const char*)> tAction;
    {
        std::lock_guard tLock(vel::kos::test::table().mutex);
        tAction = vel::kos::test::table().tempFileAction;
    }
    if (tAction) tAction(pBuffer);
    return tRes;
}

uint32_t __real_kprThreadCreate(KprThread*, uint32_t, uint32_t, KprThreadMain, void*);
uint32_t __wrap_kprThreadCreate(KprThread*, uint32_t, uint32_t, KprThreadMain, void*);
uint32_t __wrap_kprThreadCreate(KprThread* pThread, uint32_t pFlags, uint32_t pStackSize, KprThreadMain pMain,
                                void* pArgument)
{
    const auto tVerdict = enter("kprThreadCreate");
    *pThread = 0;
    if (tVerdict.code) return tVerdict.code;
    {
        auto& tTable = vel::kos::test::table();
        std::lock_guard tLock(tTable.mutex);
        if (tTable.capturing) {
            tTable.threads.push_back({pMain, pArgument, pStackSize});
            return 0;
        }
    }
    return __real_kprThreadCreate(pThread, pFlags, pStackSize, pMain, pArgument);
}

uint32_t __real_kprRead(KprFile, void*, uint32_t, uint32_t*);
uint32_t __wrap_kprRead(KprFile, void*, uint32_t, uint32_t*);
uint32_t __wrap_kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    const auto tVerdict = enter("kprRead");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprRead(pFile, pBuffer, tVerdict.cut(pLength), pRead);
}

uint32_t __real_kprWrite(KprFile, const void*, uint32_t, uint32_t*);
uint32_t __wrap_kprWrite(KprFile, const void*, uint32_t, uint32_t*);
uint32_t __wrap_kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    const auto tVerdict = enter("kprWrite");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprWrite(pFile, pBuffer, tVerdict.cut(pLength), pWritten);
}

uint32_t __real_kprSeekAndRead(KprFile, uint64_t, void*, uint32_t, uint32_t*);
uint32_t __wrap_kprSeekAndRead(KprFile, uint64_t, void*, uint32_t, uint32_t*);
uint32_t __wrap_kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength,
                               uint32_t* pRead)
{
    const auto tVerdict = enter("kprSeekAndRead");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprSeekAndRead(pFile, pOffset, pBuffer, tVerdict.cut(pLength), pRead);
}

uint32_t __real_kprSeekAndWrite(KprFile, uint64_t, const void*, uint32_t, uint32_t*);
uint32_t __wrap_kprSeekAndWrite(KprFile, uint64_t, const void*, uint32_t, uint32_t*);
uint32_t __wrap_kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                                uint32_t* pWritten)
{
    const auto tVerdict = enter("kprSeekAndWrite");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprSeekAndWrite(pFile, pOffset, pBuffer, tVerdict.cut(pLength), pWritten);
}

uint32_t __real_kprSeek(KprFile, int64_t, uint32_t, uint64_t*);
uint32_t __wrap_kprSeek(KprFile, int64_t, uint32_t, uint64_t*);
uint32_t __wrap_kprSeek(KprFile pFile, int64_t pOffset, uint32_t pOrigin, uint64_t* pNewOffset)
{
    const auto tVerdict = enter("kprSeek");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprSeek(pFile, pOffset + tVerdict.misplace, pOrigin, pNewOffset);
}

uint32_t __real_kprGetFileInfo(const char*, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetFileInfo(const char*, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo)
{
    const auto tVerdict = enter("kprGetFileInfo");
    if (tVerdict.code) return tVerdict.code;
    return vel::kos::test::withServerTimes(__real_kprGetFileInfo(pPath, pMask, pInfo), pInfo);
}

uint32_t __real_kprGetOpenFileInfo(KprFile, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetOpenFileInfo(KprFile, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetOpenFileInfo(KprFile pFile, uint32_t pMask, KprFileInfo* pInfo)
{
    const auto tVerdict = enter("kprGetOpenFileInfo");
    if (tVerdict.code) return tVerdict.code;
    return vel::kos::test::withServerTimes(__real_kprGetOpenFileInfo(pFile, pMask, pInfo), pInfo);
}

uint32_t __real_kprSetFileTime(const char*, const KprTime*, const KprTime*);
uint32_t __wrap_kprSetFileTime(const char*, const KprTime*, const KprTime*);
uint32_t __wrap_kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified)
{
    const auto tVerdict = enter("kprSetFileTime");
    if (tVerdict.code) return tVerdict.code;
    const int64_t tOffset = vel::kos::test::serverOffset();
    KprTime tAccessed{}, tModified{};
    if (pAccessed) tAccessed = vel::kos::test::shifted(*pAccessed, -tOffset);
    if (pModified) tModified = vel::kos::test::shifted(*pModified, -tOffset);
    return __real_kprSetFileTime(pPath, pAccessed ? &tAccessed : nullptr, pModified ? &tModified : nullptr);
}

uint32_t __real_kprGetCurrentTime(KprTime*);
uint32_t __wrap_kprGetCurrentTime(KprTime*);
uint32_t __wrap_kprGetCurrentTime(KprTime* pTime)
{
    const auto tVerdict = enter("kprGetCurrentTime");
    if (tVerdict.code) return tVerdict.code;
    {
        std::lock_guard tLock(vel::kos::test::table().mutex);
        if (const auto& tClock = vel::kos::test::table().clock) {
            *pTime = *tClock;
            return 0;
        }
    }
    return __real_kprGetCurrentTime(pTime);
}

uint32_t __real_kprSleep(uint32_t);
uint32_t __wrap_kprSleep(uint32_t);
uint32_t __wrap_kprSleep(uint32_t pMilliseconds)
{
    const auto tVerdict = enter("kprSleep");
    if (tVerdict.code) return tVerdict.code;
    std::function<uint32_t(uint32_t)> tSleeper;
    {
        std::lock_guard tLock(vel::kos::test::table().mutex);
        tSleeper = vel::kos::test::table().sleeper;
    }
    return tSleeper ? tSleeper(pMilliseconds) : __real_kprSleep(pMilliseconds);
}

} // extern "C"
