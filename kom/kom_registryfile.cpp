#include "kom/kom_registryfile.h"

#include <cstdio>

#include "kpr/dir.h"
#include "kpr/path.h"
#include "kpr/text.h"
#include "kpr/time.h"

namespace kom {

namespace {

constexpr uint64_t LARGEST = 16u << 20; // bytes; far more than any number of classes needs

thread_local char gProblem[160]; // plain bytes: they need no destructor at a thread's end

/// Refuses a registry that is not to be trusted before anything is made beside it.
uint32_t checkRegistry(const std::string& pRegistry)
{
    KprFile tFile = KPR_NO_FILE;
    const uint32_t tRes = kprOpenFile(pRegistry.c_str(), KPR_OPEN_READ | KPR_OPEN_TRUSTED, &tFile);
    if (tRes == KPR_E_NOT_FOUND) return 0;
    return KFAILED(tRes) ? tRes : kprCloseFile(tFile);
}

/// The lock of a registry: a file beside it, since the registry itself is replaced.
class Lock {
public:
    Lock() = default;
    ~Lock()
    {
        if (mLocked) kprUnlockFile(mFile, 0, 0);
        if (mFile != KPR_NO_FILE) kprCloseFile(mFile);
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Waits while others hold it, but not for somebody who was halted: KPR_E_LOCKED.
    uint32_t takeExclusive(const std::string& pRegistry)
    {
        constexpr uint32_t tPatience = 20000; // many may be before us, on a busy disk
        uint32_t tRes = open(pRegistry, KPR_OPEN_READ_WRITE);
        // Who holds a lock may be replacing the registry: only where there is none yet it is opened without.
        if (tRes == KPR_E_NOT_FOUND) tRes = checkRegistry(pRegistry);
        if (!KFAILED(tRes) && mFile == KPR_NO_FILE)
            tRes = open(pRegistry, KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE);
        if (KFAILED(tRes)) return tRes;
        return tryToLock(KPR_LOCK_EXCLUSIVE, tPatience);
    }
    /// Shared, when it is available within a second.
    void tryShared(const std::string& pRegistry)
    {
        constexpr uint32_t tPatience = 1000;
        if (!KFAILED(open(pRegistry, KPR_OPEN_READ)))
            static_cast<void>(tryToLock(KPR_LOCK_SHARED, tPatience));
    }

private:
    uint32_t open(const std::string& pRegistry, uint32_t pMode)
    {
        // Whose file it is may keep it locked.
        return kprOpenFile((pRegistry + ".lock").c_str(), pMode | KPR_OPEN_OWN, &mFile);
    }
    /// pPatience is in milliseconds.
    uint32_t tryToLock(uint32_t pMode, uint32_t pPatience)
    {
        constexpr uint32_t tPause = 5;
        uint32_t tRes = KPR_E_LOCKED;
        for (uint32_t tWaited = 0; tRes == KPR_E_LOCKED && tWaited < pPatience; tWaited += tPause) {
            if (tWaited > 0) kprSleep(tPause);
            tRes = kprLockFile(mFile, pMode | KPR_LOCK_NO_WAIT, 0, 0);
        }
        mLocked = !KFAILED(tRes);
        return tRes;
    }

    KprFile mFile = KPR_NO_FILE;
    bool mLocked = false;
};

uint32_t createDirectories(const std::string& pPath)
{
    const uint32_t tRes = kprMakeDir(pPath.c_str());
    if (tRes == KPR_E_EXISTS) return 0;
    if (tRes != KPR_E_NOT_FOUND) return tRes;
    std::string tParent;
    if (auto tRes2 = kpr::readText(tParent, kprGetDirname, pPath.c_str()); KFAILED(tRes2)) return tRes2;
    if (tParent == pPath) return tRes;
    if (auto tRes2 = createDirectories(tParent); KFAILED(tRes2)) return tRes2;
    const uint32_t tAgain = kprMakeDir(pPath.c_str());
    return tAgain == KPR_E_EXISTS ? 0 : tAgain;
}

uint32_t lockForChange(const std::string& pRegistry, Lock& pLock)
{
    const uint32_t tRes = pLock.takeExclusive(pRegistry);
    if (tRes != KPR_E_NOT_FOUND) return tRes;
    std::string tFolder;
    if (auto tRes2 = kpr::readText(tFolder, kprGetDirname, pRegistry.c_str()); KFAILED(tRes2)) return tRes2;
    if (auto tRes2 = createDirectories(tFolder); KFAILED(tRes2)) return tRes2;
    return pLock.takeExclusive(pRegistry);
}

uint32_t damaged(uint64_t pLine, const char* pWhat)
{
    std::snprintf(gProblem, sizeof gProblem, "line %llu: %s", static_cast<unsigned long long>(pLine), pWhat);
    return KOM_E_BAD_REGISTRY;
}

uint32_t readWhole(const std::string& pPath, std::string& pText, KprFileInfo& pInfo)
{
    // What stands here decides which code runs.
    const uint32_t tRes = kpr::readFile(pPath.c_str(), LARGEST, pText, KPR_OPEN_TRUSTED, &pInfo,
                                        KPR_INFO_SIZE | KPR_INFO_MTIME);
    if (tRes == KPR_E_TOO_LARGE) return damaged(1, "the file is too large");
    if (KFAILED(tRes)) return tRes;
    return pText.size() == pInfo.size ? 0 : KPR_E_IO; // somebody is writing in place
}

uint32_t parse(const std::string& pText, ClassFile& pFile)
{
    ClassFileProblem tProblem;
    if (parseClassFile(pText, pFile, tProblem)) return 0;
    return damaged(tProblem.line, tProblem.text.c_str());
}

/// Puts a new text in the file's place.
uint32_t replace(const std::string& pPath, const std::string& pText)
{
    if (pText.size() > LARGEST) return KPR_E_TOO_LARGE;
    std::string tNew;
    KprFile tFile = KPR_NO_FILE;
    if (auto tRes = kpr::readText(tNew,
                                  [&](char* pBuffer, uint32_t pSize) {
                                      return kprBeginFile(pPath.c_str(), pBuffer, pSize, &tFile);
                                  });
        KFAILED(tRes))
        return tRes;
    if (auto tRes = kpr::writeAll(tFile, pText); KFAILED(tRes)) {
        kprCloseFile(tFile);
        kprRemoveFile(tNew.c_str());
        return tRes;
    }
    return kprPutInPlace(tFile, tNew.c_str(), pPath.c_str(), KPR_PUT_REPLACE | KPR_PUT_SYNC);
}

} // namespace

uint32_t locateRegistry(const std::string& pPath, RegistryFile& pFile)
{
    constexpr uint32_t tFacts = KPR_INFO_KIND | KPR_INFO_SIZE | KPR_INFO_MTIME;
    pFile.path = pPath;
    if (auto tRes = kprGetFileInfo(pPath.c_str(), tFacts, &pFile.info); KFAILED(tRes)) return tRes;
    if (pFile.info.kind != KPR_KIND_LINK) return 0;
    if (auto tRes = kprCheckLink(pPath.c_str()); KFAILED(tRes)) return tRes;
    std::string tTarget;
    if (auto tRes = kpr::readText(tTarget, kprGetRealPath, pPath.c_str()); KFAILED(tRes)) return tRes;
    pFile.path = tTarget;
    return kprGetFileInfo(tTarget.c_str(), tFacts, &pFile.info);
}

uint32_t readRegistry(const std::string& pPath, ClassFile& pFile, KprFileInfo* pInfo)
{
    // The shared lock keeps the file from being open while it is replaced, which not every volume supports.
    // Without it (no lock file yet, a read-only folder, a process that holds it and was halted) the file is
    // read all the same: it is always whole, and nobody's object waits for another process for long.
    Lock tLock;
    tLock.tryShared(pPath);
    std::string tText;
    KprFileInfo tInfo;
    if (auto tRes = readWhole(pPath, tText, pInfo ? *pInfo : tInfo); KFAILED(tRes)) return tRes;
    return parse(tText, pFile);
}

uint32_t changeRegistry(const std::string& pPath, const std::function<uint32_t(ClassFile&)>& pChange)
{
    RegistryFile tRegistry;
    if (auto tRes = locateRegistry(pPath, tRegistry); KFAILED(tRes) && tRes != KPR_E_NOT_FOUND) return tRes;
    Lock tLock;
    if (auto tRes = lockForChange(tRegistry.path, tLock); KFAILED(tRes)) return tRes;

    std::string tOld;
    ClassFile tFile;
    KprFileInfo tInfo;
    if (auto tRes = readWhole(tRegistry.path, tOld, tInfo); !KFAILED(tRes)) {
        if (auto tRes2 = parse(tOld, tFile); KFAILED(tRes2)) return tRes2;
    } else if (tRes != KPR_E_NOT_FOUND) {
        return tRes;
    }
    if (auto tRes = pChange(tFile); KFAILED(tRes)) return tRes;
    const std::string tNew = composeClassFile(tFile);
    return tNew == tOld ? 0 : replace(tRegistry.path, tNew);
}

const char* registryProblem() noexcept { return gProblem; }

void clearRegistryProblem() noexcept { gProblem[0] = '\0'; }

} // namespace kom
