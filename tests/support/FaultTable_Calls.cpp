// The wrapped platform calls.
#include "tests/support/FaultTable_Calls.h"
#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/md5.h"
#include "kpr/path.h"

extern "C" uint32_t __real_kprSetFileTime(const char*, const KprTime*, const KprTime*);

namespace vel::kos::test {

namespace {

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
    const kpr::Lock tLock(table().mutex);
    return table().serverOffset;
}

uint32_t withServerTimes(uint32_t pCode, KprFileInfo* pInfo)
{
    if (KFAILED(pCode)) return pCode;
    const kpr::Lock tLock(table().mutex);
    for (KprTime* tTime : {&pInfo->modified, &pInfo->accessed}) {
        if (table().serverOffset != 0) *tTime = shifted(*tTime, table().serverOffset);
        if (const int64_t tStep = table().fileTimeStep; tStep > 0)
            *tTime = {tTime->seconds - tTime->seconds % tStep, 0, 0};
    }
    return pCode;
}

/// Gives a file that was made the time of the files' clock.
void stamp(const char* pPath)
{
    std::optional<KprTime> tNow;
    {
        const kpr::Lock tLock(table().mutex);
        tNow = table().fileClock;
    }
    if (tNow) __real_kprSetFileTime(pPath, &*tNow, &*tNow);
}

} // namespace

} // namespace vel::kos::test

using namespace vel::kos::test;

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
K_WRAP_RELEASE(kprThreadDetach, (KprThread pThread), (pThread))
K_WRAP(kprPinModule, (const void* pAddress), (pAddress))
K_WRAP(kprLockFile, (KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength),
       (pFile, pMode, pOffset, pLength))
K_WRAP(kprSyncFile, (KprFile pFile), (pFile))
K_WRAP(kprReplaceFile, (const char* pFrom, const char* pTo), (pFrom, pTo))
K_WRAP(kprRemoveFile, (const char* pPath), (pPath))
K_WRAP(kprMakeDir, (const char* pPath), (pPath))
K_WRAP(kprCheckLink, (const char* pPath), (pPath))
K_WRAP(kprGetDirname, (const char* pPath, char* pBuffer, uint32_t pSize), (pPath, pBuffer, pSize))
K_WRAP(kprGetBasename, (const char* pPath, char* pBuffer, uint32_t pSize), (pPath, pBuffer, pSize))
K_WRAP(kprAppendToPath, (const char* pPath, const char* pName, char* pBuffer, uint32_t pSize),
       (pPath, pName, pBuffer, pSize))
K_WRAP(kprMD5Init, (KprMD5 * pState), (pState))
K_WRAP(kprMD5Update, (KprMD5 * pState, const void* pBytes, uint32_t pLength), (pState, pBytes, pLength))
K_WRAP_RELEASE(kprMD5Final, (KprMD5 * pState, uint8_t* pDigest), (pState, pDigest))

uint32_t __real_kprReadDir(KprDir, char*, uint32_t, uint32_t*);
uint32_t __wrap_kprReadDir(KprDir, char*, uint32_t, uint32_t*);
uint32_t __wrap_kprReadDir(KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind)
{
    const auto tVerdict = enter("kprReadDir");
    if (tVerdict.code) return tVerdict.code;
    const kpr::Lock tLock(table().mutex);
    std::string& tLast = table().lastEntry;
    if (tVerdict.misplace && tLast.size() < pSize) {
        pBuffer[tLast.copy(pBuffer, tLast.size())] = '\0';
        return 0;
    }
    const uint32_t tRes = __real_kprReadDir(pDir, pBuffer, pSize, pKind);
    if (tRes == 0) tLast = pBuffer;
    return tRes;
}

uint32_t __real_kprMoveFile(const char*, const char*);
uint32_t __wrap_kprMoveFile(const char*, const char*);
uint32_t __wrap_kprMoveFile(const char* pFrom, const char* pTo)
{
    const auto tVerdict = enter("kprMoveFile");
    if (tVerdict.code) return tVerdict.code;
    stamp(pFrom);
    return __real_kprMoveFile(pFrom, pTo);
}

uint32_t __real_kprOpenDir(const char*, KprDir*);
uint32_t __wrap_kprOpenDir(const char*, KprDir*);
uint32_t __wrap_kprOpenDir(const char* pPath, KprDir* pDir)
{
    const auto tVerdict = enter("kprOpenDir");
    *pDir = KPR_NO_DIR;
    if (tVerdict.code) return tVerdict.code;
    const uint32_t tRes = __real_kprOpenDir(pPath, pDir);
    if (!KFAILED(tRes)) {
        const kpr::Lock tLock(table().mutex);
        table().openDirs.insert(*pDir);
    }
    return tRes;
}

uint32_t __real_kprCloseDir(KprDir);
uint32_t __wrap_kprCloseDir(KprDir);
uint32_t __wrap_kprCloseDir(KprDir pDir)
{
    const auto tVerdict = enter("kprCloseDir");
    {
        const kpr::Lock tLock(table().mutex);
        table().openDirs.erase(pDir);
    }
    const uint32_t tRes = __real_kprCloseDir(pDir);
    return tVerdict.code ? tVerdict.code : tRes;
}

uint32_t __real_kprOpenFile(const char*, uint32_t, KprFile*);
uint32_t __wrap_kprOpenFile(const char*, uint32_t, KprFile*);
uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    const auto tVerdict = enter("kprOpenFile");
    *pFile = KPR_NO_FILE;
    if (tVerdict.code) return tVerdict.code;
    const uint32_t tRes = __real_kprOpenFile(pPath, pMode, pFile);
    if (!KFAILED(tRes)) {
        const kpr::Lock tLock(table().mutex);
        table().openFiles[*pFile] = pPath;
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
        const kpr::Lock tLock(table().mutex);
        table().openFiles.erase(pFile);
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
    stamp(pBuffer);
    std::function<void(const char*)> tAction;
    {
        const kpr::Lock tLock(table().mutex);
        tAction = table().tempFileAction;
    }
    if (tAction) tAction(pBuffer);
    return tRes;
}

uint32_t __real_kprBeginFile(const char*, char*, uint32_t, KprFile*);
uint32_t __wrap_kprBeginFile(const char*, char*, uint32_t, KprFile*);
uint32_t __wrap_kprBeginFile(const char* pTarget, char* pBuffer, uint32_t pSize, KprFile* pFile)
{
    const auto tVerdict = enter("kprBeginFile");
    if (tVerdict.code) return tVerdict.code;
    return __real_kprBeginFile(pTarget, pBuffer, pSize, pFile);
}

uint32_t __real_kprPutInPlace(KprFile, const char*, const char*, uint32_t);
uint32_t __wrap_kprPutInPlace(KprFile, const char*, const char*, uint32_t);
uint32_t __wrap_kprPutInPlace(KprFile pFile, const char* pPath, const char* pTarget, uint32_t pFlags)
{
    const auto tVerdict = enter("kprPutInPlace");
    if (!tVerdict.code) return __real_kprPutInPlace(pFile, pPath, pTarget, pFlags);
    __real_kprCloseFile(pFile); // as it does when a step of it fails
    __real_kprRemoveFile(pPath);
    return tVerdict.code;
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
        auto& tTable = table();
        const kpr::Lock tLock(tTable.mutex);
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
    return withServerTimes(__real_kprGetFileInfo(pPath, pMask, pInfo), pInfo);
}

uint32_t __real_kprGetOpenFileInfo(KprFile, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetOpenFileInfo(KprFile, uint32_t, KprFileInfo*);
uint32_t __wrap_kprGetOpenFileInfo(KprFile pFile, uint32_t pMask, KprFileInfo* pInfo)
{
    const auto tVerdict = enter("kprGetOpenFileInfo");
    if (tVerdict.code) return tVerdict.code;
    return withServerTimes(__real_kprGetOpenFileInfo(pFile, pMask, pInfo), pInfo);
}

uint32_t __wrap_kprSetFileTime(const char*, const KprTime*, const KprTime*);
uint32_t __wrap_kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified)
{
    const auto tVerdict = enter("kprSetFileTime");
    if (tVerdict.code) return tVerdict.code;
    const int64_t tOffset = serverOffset();
    KprTime tAccessed{}, tModified{};
    if (pAccessed) tAccessed = shifted(*pAccessed, -tOffset);
    if (pModified) tModified = shifted(*pModified, -tOffset);
    return __real_kprSetFileTime(pPath, pAccessed ? &tAccessed : nullptr, pModified ? &tModified : nullptr);
}

uint32_t __real_kprGetCurrentTime(KprTime*);
uint32_t __wrap_kprGetCurrentTime(KprTime*);
uint32_t __wrap_kprGetCurrentTime(KprTime* pTime)
{
    const auto tVerdict = enter("kprGetCurrentTime");
    if (tVerdict.code) return tVerdict.code;
    {
        const kpr::Lock tLock(table().mutex);
        if (table().clock) {
            *pTime = *table().clock;
            return 0;
        }
    }
    return __real_kprGetCurrentTime(pTime);
}

uint32_t __real_kprGetMonotonicTime(uint64_t*);
uint32_t __wrap_kprGetMonotonicTime(uint64_t*);
uint32_t __wrap_kprGetMonotonicTime(uint64_t* pMicroseconds)
{
    const auto tVerdict = enter("kprGetMonotonicTime");
    if (tVerdict.code) return tVerdict.code;
    {
        const kpr::Lock tLock(table().mutex);
        if (table().clock) {
            *pMicroseconds = table().monotonic;
            return 0;
        }
    }
    return __real_kprGetMonotonicTime(pMicroseconds);
}

uint32_t __real_kprSleep(uint32_t);
uint32_t __wrap_kprSleep(uint32_t);
uint32_t __wrap_kprSleep(uint32_t pMilliseconds)
{
    const auto tVerdict = enter("kprSleep");
    if (tVerdict.code) return tVerdict.code;
    std::function<uint32_t(uint32_t)> tSleeper;
    {
        const kpr::Lock tLock(table().mutex);
        tSleeper = table().sleeper;
    }
    return tSleeper ? tSleeper(pMilliseconds) : __real_kprSleep(pMilliseconds);
}

} // extern "C"
