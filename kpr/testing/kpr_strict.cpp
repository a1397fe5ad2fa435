// Makes a test program see files as the strictest Windows does, on every target. Linux and the machines that
// tests run on let pass what Windows refuses; a test that links kpr_strict gets its own calls of kpr wrapped:
//
// - reading or writing a range that another handle of this process has locked gives KPR_E_LOCKED (reading:
//   exclusively; writing: at all, also when the handle's own lock is a shared one); a lock of the whole file
//   is one byte past all content and refuses nothing;
// - so does opening with KPR_OPEN_TRUNCATE a file that another handle has locked;
// - a handle that locks a range that it has locked already would wait for itself: E_INTERNAL;
// - a file that is removed while a handle is open keeps its name until the last handle is closed (a volume
//   without POSIX semantics): nobody finds it, but creating it and renaming onto it wait for the name, a
//   quarter of a second, and then give KPR_E_IN_USE;
// - replacing a file that is open gives KPR_E_ACCESS_DENIED.
//
// Only handles of this process count, and only what goes through kprOpenFile.
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/mutex.h"
#include "kpr/path.h"
#include "kpr/time.h"

extern "C" {

uint32_t __real_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);
uint32_t __real_kprCloseFile(KprFile pFile);
uint32_t __real_kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead);
uint32_t __real_kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten);
uint32_t __real_kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength,
                               uint32_t* pRead);
uint32_t __real_kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                                uint32_t* pWritten);
uint32_t __real_kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength);
uint32_t __real_kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength);
uint32_t __real_kprRemoveFile(const char* pPath);
uint32_t __real_kprMoveFile(const char* pFrom, const char* pTo);
uint32_t __real_kprReplaceFile(const char* pFrom, const char* pTo);
uint32_t __real_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo);
}

namespace {

struct Lock {
    uint64_t offset;
    uint64_t length; // 0: to the end
    bool exclusive;

    bool isWhole() const { return offset == 0 && length == 0; }
    // Where it lies: a lock of the whole file is one byte past all content.
    uint64_t start() const { return isWhole() ? INT64_MAX - 1 : offset; }
    uint64_t end() const { return length ? offset + length : INT64_MAX; }

    bool overlaps(const Lock& pOther) const { return start() < pOther.end() && pOther.start() < end(); }
    bool overlaps(uint64_t pOffset, uint64_t pLength) const
    {
        return start() < pOffset + pLength && pOffset < end();
    }
};

struct OpenFile {
    std::string path; // real path when opened
    bool removed;     // the name is gone, but still taken
    std::vector<Lock> locks;
};

kpr::Mutex gMutex;
std::map<KprFile, OpenFile> gFiles K_GUARDED_BY(gMutex);

std::string realPath(const char* pPath)
{
    char tReal[4096];
    if (!pPath) return {};
    // Of a name that is gone the folder is still there.
    if (!KFAILED(kprGetRealPath(pPath, tReal, sizeof tReal))) return tReal;
    char tDir[4096], tName[1024];
    if (KFAILED(kprGetDirname(pPath, tDir, sizeof tDir)) ||
        KFAILED(kprGetBasename(pPath, tName, sizeof tName)) ||
        KFAILED(kprGetRealPath(tDir, tReal, sizeof tReal)) ||
        KFAILED(kprAppendToPath(tReal, tName, tReal, sizeof tReal)))
        return {};
    return tReal;
}

template <typename TTest>
bool anyOther(const std::string& pPath, KprFile pSelf, TTest pTest) K_REQUIRES(gMutex)
{
    for (const auto& [tFile, tOpen] : gFiles)
        if (tFile != pSelf && tOpen.path == pPath && pTest(tOpen)) return true;
    return false;
}

bool isDeletePending(const char* pPath)
{
    const kpr::Lock tGuard(gMutex);
    return anyOther(realPath(pPath), KPR_NO_FILE, [](const OpenFile& pOpen) { return pOpen.removed; });
}

// For who makes a name: whether it stays taken although its file was removed.
bool staysTaken(const char* pPath)
{
    for (uint32_t tWaited = 0; isDeletePending(pPath); tWaited += 5) {
        if (tWaited >= 250) return true;
        kprSleep(5);
    }
    return false;
}

bool refuses(KprFile pFile, uint64_t pOffset, uint64_t pLength, bool pWrites)
{
    const kpr::Lock tGuard(gMutex);
    const auto tSelf = gFiles.find(pFile);
    if (tSelf == gFiles.end() || tSelf->second.removed || pLength == 0) return false;
    const auto tConflicts = [&](const OpenFile& pOpen) {
        for (const Lock& tLock : pOpen.locks)
            if ((pWrites || tLock.exclusive) && tLock.overlaps(pOffset, pLength)) return true;
        return false;
    };
    for (const Lock& tLock : tSelf->second.locks)
        if (pWrites && !tLock.exclusive && tLock.overlaps(pOffset, pLength)) return true;
    return anyOther(tSelf->second.path, pFile, tConflicts);
}

uint64_t position(KprFile pFile)
{
    uint64_t tOffset = 0;
    kprSeek(pFile, 0, KPR_SEEK_CURRENT, &tOffset);
    return tOffset;
}

} // namespace

extern "C" {

uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (pPath && pFile && (pMode & KPR_OPEN_CREATE ? staysTaken(pPath) : isDeletePending(pPath))) {
        *pFile = KPR_NO_FILE;
        return pMode & KPR_OPEN_CREATE ? KPR_E_IN_USE : KPR_E_NOT_FOUND;
    }
    if (pPath && pFile && (pMode & KPR_OPEN_TRUNCATE)) {
        const kpr::Lock tGuard(gMutex);
        if (anyOther(realPath(pPath), KPR_NO_FILE,
                     [](const OpenFile& pOpen) { return !pOpen.locks.empty(); })) {
            *pFile = KPR_NO_FILE;
            return KPR_E_LOCKED;
        }
    }
    const uint32_t tRes = __real_kprOpenFile(pPath, pMode, pFile);
    if (!KFAILED(tRes)) {
        const kpr::Lock tGuard(gMutex);
        gFiles[*pFile] = {realPath(pPath), false, {}};
    }
    return tRes;
}

uint32_t __wrap_kprCloseFile(KprFile pFile)
{
    // Forgotten first: as soon as it is closed another thread may get the same number.
    {
        const kpr::Lock tGuard(gMutex);
        gFiles.erase(pFile);
    }
    return __real_kprCloseFile(pFile);
}

uint32_t __wrap_kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead)
{
    if (pRead && refuses(pFile, position(pFile), pLength, false)) {
        *pRead = 0;
        return KPR_E_LOCKED;
    }
    return __real_kprRead(pFile, pBuffer, pLength, pRead);
}

uint32_t __wrap_kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten)
{
    if (pWritten && refuses(pFile, position(pFile), pLength, true)) {
        *pWritten = 0;
        return KPR_E_LOCKED;
    }
    return __real_kprWrite(pFile, pBuffer, pLength, pWritten);
}

uint32_t __wrap_kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength,
                               uint32_t* pRead)
{
    if (pRead && refuses(pFile, pOffset, pLength, false)) {
        *pRead = 0;
        return KPR_E_LOCKED;
    }
    return __real_kprSeekAndRead(pFile, pOffset, pBuffer, pLength, pRead);
}

uint32_t __wrap_kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                                uint32_t* pWritten)
{
    if (pWritten && refuses(pFile, pOffset, pLength, true)) {
        *pWritten = 0;
        return KPR_E_LOCKED;
    }
    return __real_kprSeekAndWrite(pFile, pOffset, pBuffer, pLength, pWritten);
}

uint32_t __wrap_kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength)
{
    {
        const kpr::Lock tGuard(gMutex);
        const auto tSelf = gFiles.find(pFile);
        if (tSelf != gFiles.end())
            for (const Lock& tLock : tSelf->second.locks)
                if (tLock.overlaps({pOffset, pLength, false})) return E_INTERNAL;
    }
    const uint32_t tRes = __real_kprLockFile(pFile, pMode, pOffset, pLength);
    if (!KFAILED(tRes)) {
        const kpr::Lock tGuard(gMutex);
        if (const auto tSelf = gFiles.find(pFile); tSelf != gFiles.end())
            tSelf->second.locks.push_back({pOffset, pLength, (pMode & KPR_LOCK_EXCLUSIVE) != 0});
    }
    return tRes;
}

uint32_t __wrap_kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength)
{
    {
        const kpr::Lock tGuard(gMutex);
        if (const auto tSelf = gFiles.find(pFile); tSelf != gFiles.end())
            std::erase_if(tSelf->second.locks, [&](const Lock& pLock) {
                return pLock.offset == pOffset && pLock.length == pLength;
            });
    }
    return __real_kprUnlockFile(pFile, pOffset, pLength);
}

uint32_t __wrap_kprRemoveFile(const char* pPath)
{
    if (isDeletePending(pPath)) return KPR_E_NOT_FOUND;
    const std::string tPath = realPath(pPath);
    const uint32_t tRes = __real_kprRemoveFile(pPath);
    if (!KFAILED(tRes)) {
        const kpr::Lock tGuard(gMutex);
        for (auto& [tFile, tOpen] : gFiles)
            if (tOpen.path == tPath) tOpen.removed = true;
    }
    return tRes;
}

uint32_t __wrap_kprMoveFile(const char* pFrom, const char* pTo)
{
    if (isDeletePending(pFrom)) return KPR_E_NOT_FOUND;
    if (staysTaken(pTo)) return KPR_E_IN_USE;
    const std::string tFrom = realPath(pFrom);
    const uint32_t tRes = __real_kprMoveFile(pFrom, pTo);
    if (!KFAILED(tRes)) {
        const kpr::Lock tGuard(gMutex);
        for (auto& [tFile, tOpen] : gFiles)
            if (tOpen.path == tFrom) tOpen.path = realPath(pTo);
    }
    return tRes;
}

uint32_t __wrap_kprReplaceFile(const char* pFrom, const char* pTo)
{
    const std::string tFrom = realPath(pFrom);
    {
        const kpr::Lock tGuard(gMutex);
        if (anyOther(realPath(pTo), KPR_NO_FILE, [](const OpenFile&) { return true; }))
            return KPR_E_ACCESS_DENIED;
    }
    const uint32_t tRes = __real_kprReplaceFile(pFrom, pTo);
    if (!KFAILED(tRes)) {
        const kpr::Lock tGuard(gMutex);
        for (auto& [tFile, tOpen] : gFiles)
            if (tOpen.path == tFrom) tOpen.path = realPath(pTo);
    }
    return tRes;
}

uint32_t __wrap_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo)
{
    if (pPath && isDeletePending(pPath)) return KPR_E_NOT_FOUND;
    return __real_kprGetFileInfo(pPath, pMask, pInfo);
}
}
