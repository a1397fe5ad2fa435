// What kpr makes of the failures that a real Windows gives, and how often it tries: the system's calls are
// wrapped and fail with their numbers.
#include <windows.h>

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

// What the system says beneath ERROR_ACCESS_DENIED.
constexpr LONG PENDING = static_cast<LONG>(0xC0000056); // removed, but still open somewhere
constexpr LONG CANNOT = static_cast<LONG>(0xC0000121);  // mapped, or read-only

constexpr int ALWAYS = INT_MAX;
constexpr int TRIES = 9; // with the pauses between them, a quarter of a second

struct Fault {
    LONG error = 0;
    LONG status = 0;
    int times = 0;
};

std::map<std::string, Fault> gFaults;
std::map<std::string, int> gCalls;
DWORD gPaused = 0;      // milliseconds
DWORD gDispositions[2]; // class and flags of the latest removal through a handle

bool fails(const char* pFunction)
{
    ++gCalls[pFunction];
    const auto tFault = gFaults.find(pFunction);
    if (tFault == gFaults.end() || tFault->second.times-- <= 0) return false;
    using ToDosError = ULONG(WINAPI*)(LONG);
    static const auto tToDosError = reinterpret_cast<ToDosError>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlNtStatusToDosError")));
    tToDosError(tFault->second.status); // the system remembers the status
    SetLastError(static_cast<DWORD>(tFault->second.error));
    return true;
}

class Faults : public testing::Test {
protected:
    Faults()
    {
        kprtest::writeFile(mPath, "content");
        kprtest::writeFile(mOther, "other");
        clear();
    }
    ~Faults() override { gFaults.clear(); }

    void clear()
    {
        gFaults.clear();
        gCalls.clear();
        gPaused = 0;
    }
    void fail(const char* pFunction, LONG pError, int pTimes = 1, LONG pStatus = 0)
    {
        gFaults[pFunction] = {pError, pStatus, pTimes};
    }
    uint32_t open(uint32_t pMode, const std::string& pPath)
    {
        KprFile tFile = KPR_NO_FILE;
        const uint32_t tRes = kprOpenFile(pPath.c_str(), pMode, &tFile);
        EXPECT_EQ(KFAILED(tRes), tFile == KPR_NO_FILE);
        if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
        return tRes;
    }
    uint32_t open(uint32_t pMode = KPR_OPEN_READ) { return open(pMode, mPath); }
    uint32_t remove() { return kprRemoveFile(mPath.c_str()); }
    uint32_t move() { return kprMoveFile(mPath.c_str(), mTarget.c_str()); }
    uint32_t replace() { return kprReplaceFile(mPath.c_str(), mOther.c_str()); }

    kprtest::TemporaryDirectory mDir;
    const std::string mPath = mDir / "file", mOther = mDir / "other", mTarget = mDir / "target";
};

} // namespace

#define K_SYSTEM(pReturn, pFailed, pName, pParameters, pArguments)                                           \
    extern "C" pReturn(WINAPI* __real___imp_##pName) pParameters;                                            \
    static pReturn WINAPI fake##pName pParameters                                                            \
    {                                                                                                        \
        return fails(#pName) ? pFailed : __real___imp_##pName pArguments;                                    \
    }                                                                                                        \
    extern "C" {                                                                                             \
    pReturn(WINAPI* __wrap___imp_##pName) pParameters = fake##pName;                                         \
    }

K_SYSTEM(HANDLE, INVALID_HANDLE_VALUE, CreateFileW,
         (LPCWSTR pPath, DWORD pAccess, DWORD pShare, LPSECURITY_ATTRIBUTES pSecurity, DWORD pDisposition,
          DWORD pFlags, HANDLE pTemplate),
         (pPath, pAccess, pShare, pSecurity, pDisposition, pFlags, pTemplate))
K_SYSTEM(BOOL, FALSE, DeleteFileW, (LPCWSTR pPath), (pPath))
K_SYSTEM(BOOL, FALSE, MoveFileExW, (LPCWSTR pFrom, LPCWSTR pTo, DWORD pFlags), (pFrom, pTo, pFlags))
K_SYSTEM(BOOL, FALSE, LockFileEx,
         (HANDLE pFile, DWORD pFlags, DWORD pReserved, DWORD pLow, DWORD pHigh, LPOVERLAPPED pWhere),
         (pFile, pFlags, pReserved, pLow, pHigh, pWhere))
K_SYSTEM(BOOL, FALSE, CreateDirectoryW, (LPCWSTR pPath, LPSECURITY_ATTRIBUTES pSecurity), (pPath, pSecurity))
K_SYSTEM(BOOL, FALSE, RemoveDirectoryW, (LPCWSTR pPath), (pPath))
K_SYSTEM(DWORD, INVALID_FILE_ATTRIBUTES, GetFileAttributesW, (LPCWSTR pPath), (pPath))
K_SYSTEM(BOOL, FALSE, GetFileAttributesExW, (LPCWSTR pPath, GET_FILEEX_INFO_LEVELS pLevel, LPVOID pInfo),
         (pPath, pLevel, pInfo))
K_SYSTEM(BOOL, FALSE, SetEndOfFile, (HANDLE pFile), (pFile))

extern "C" {

extern BOOL(WINAPI* __real___imp_SetFileInformationByHandle)(HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID,
                                                             DWORD);
static BOOL WINAPI fakeSetInformation(HANDLE pFile, FILE_INFO_BY_HANDLE_CLASS pClass, LPVOID pInfo,
                                      DWORD pSize)
{
    if (pClass == 21) { // FileDispositionInfoEx
        gDispositions[0] = pClass;
        gDispositions[1] = *static_cast<DWORD*>(pInfo);
    }
    if (fails("SetFileInformationByHandle")) return FALSE;
    // What this machine cannot do is not asked of it: an ordinary removal stands in.
    if (pClass != 21) return __real___imp_SetFileInformationByHandle(pFile, pClass, pInfo, pSize);
    FILE_DISPOSITION_INFO tRemove = {TRUE};
    return __real___imp_SetFileInformationByHandle(pFile, FileDispositionInfo, &tRemove, sizeof tRemove);
}
BOOL(WINAPI* __wrap___imp_SetFileInformationByHandle)
(HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID, DWORD) = fakeSetInformation;

static void WINAPI fakeSleep(DWORD pMilliseconds) { gPaused += pMilliseconds; }
void(WINAPI* __wrap___imp_Sleep)(DWORD) = fakeSleep;

} // extern "C"

TEST_F(Faults, AFileThatIsHeldIsTriedForAQuarterOfASecond)
{
    for (const LONG tError : {ERROR_SHARING_VIOLATION, ERROR_USER_MAPPED_FILE}) {
        clear();
        fail("CreateFileW", tError, TRIES - 1);
        EXPECT_EQ(open(), 0u);
        EXPECT_EQ(gCalls["CreateFileW"], TRIES);
        EXPECT_EQ(gPaused, 255u);

        clear();
        fail("CreateFileW", tError, ALWAYS);
        EXPECT_EQ(open(), KPR_E_IN_USE);
        EXPECT_EQ(gCalls["CreateFileW"], TRIES);
    }
}

TEST_F(Faults, WhatDoesNotPassIsTriedOnce)
{
    const struct {
        LONG error;
        uint32_t code;
    } tCases[] = {{ERROR_ACCESS_DENIED, KPR_E_ACCESS_DENIED}, {ERROR_LOCK_VIOLATION, KPR_E_LOCKED},
                  {ERROR_FILE_NOT_FOUND, KPR_E_NOT_FOUND},    {ERROR_INVALID_FUNCTION, E_NOT_SUPPORTED},
                  {ERROR_NOT_SUPPORTED, E_NOT_SUPPORTED},     {ERROR_INVALID_PARAMETER, E_INVALIDARG},
                  {ERROR_PARTIAL_COPY, KPR_E_SYSTEM}};
    for (const auto& [tError, tCode] : tCases) {
        clear();
        fail("CreateFileW", tError, ALWAYS);
        EXPECT_EQ(open(), tCode) << tError;
        EXPECT_EQ(gCalls["CreateFileW"], 1) << tError;
        EXPECT_EQ(gPaused, 0u);
    }
}

TEST_F(Faults, ADeletePendingNameIsNotThereForWhoLooks)
{
    KprFileInfo tInfo;
    const KprTime tTime = {1000000000, 0, 0};
    for (const char* tFunction : {"CreateFileW", "GetFileAttributesExW"})
        fail(tFunction, ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    EXPECT_EQ(open(), KPR_E_NOT_FOUND);
    EXPECT_EQ(open(KPR_OPEN_READ_WRITE), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprSetFileTime(mPath.c_str(), &tTime, &tTime), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
    EXPECT_EQ(remove(), KPR_E_NOT_FOUND);
    EXPECT_EQ(gPaused, 0u) << "nobody waits for it";
}

TEST_F(Faults, ADeletePendingNameIsWaitedForByWhoCreates)
{
    const uint32_t tCreate = KPR_OPEN_WRITE | KPR_OPEN_CREATE;
    for (const uint32_t tMode : {tCreate, tCreate | KPR_OPEN_EXCLUSIVE}) {
        clear();
        fail("CreateFileW", ERROR_ACCESS_DENIED, 5, PENDING);
        EXPECT_EQ(open(tMode, mDir / std::to_string(tMode)), 0u);
        EXPECT_EQ(gCalls["CreateFileW"], 6);
        clear();
        fail("CreateFileW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
        EXPECT_EQ(open(tMode, mTarget), KPR_E_IN_USE);
        EXPECT_EQ(gCalls["CreateFileW"], TRIES);
        EXPECT_EQ(gPaused, 255u);
    }
}

TEST_F(Faults, ARenameOntoADeletePendingNameWaits)
{
    // The system says that the name is taken, and only looking at it tells by what.
    for (const LONG tError : {ERROR_ALREADY_EXISTS, ERROR_FILE_EXISTS, ERROR_ACCESS_DENIED}) {
        clear();
        kprtest::writeFile(mPath, "content");
        fail("MoveFileExW", tError, 3);
        fail("GetFileAttributesW", ERROR_ACCESS_DENIED, 3, PENDING);
        EXPECT_EQ(move(), 0u) << tError;
        EXPECT_EQ(gCalls["MoveFileExW"], 4);
        EXPECT_EQ(gPaused, 7u);
        gFaults.clear();
        kprRemoveFile(mTarget.c_str());
    }
    clear();
    kprtest::writeFile(mPath, "content");
    fail("MoveFileExW", ERROR_ALREADY_EXISTS, ALWAYS);
    fail("GetFileAttributesW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    EXPECT_EQ(move(), KPR_E_IN_USE);
    EXPECT_EQ(gCalls["MoveFileExW"], TRIES);
}

TEST_F(Faults, ARenameOntoALivingNameDoesNotWait)
{
    kprtest::writeFile(mTarget, "there");
    clear();
    EXPECT_EQ(move(), KPR_E_EXISTS);
    EXPECT_EQ(gCalls["MoveFileExW"], 1);
    clear();
    fail("MoveFileExW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    EXPECT_EQ(move(), KPR_E_NOT_FOUND) << "it is the source that goes away";
    EXPECT_EQ(gCalls["MoveFileExW"], 1);
    kprRemoveFile(mTarget.c_str());
    clear();
    fail("MoveFileExW", ERROR_SHARING_VIOLATION, 2);
    EXPECT_EQ(move(), 0u);
    EXPECT_EQ(gCalls["MoveFileExW"], 3);
}

TEST_F(Faults, ARemovalGivesTheNameBackAtOnce)
{
    EXPECT_EQ(remove(), 0u);
    EXPECT_EQ(gDispositions[0], 21u);
    EXPECT_EQ(gDispositions[1], 3u) << "with POSIX semantics";
    EXPECT_EQ(gCalls["DeleteFileW"], 0);
    EXPECT_FALSE(kprtest::exists(mPath));
}

TEST_F(Faults, AVolumeWithoutPosixSemanticsRemovesAsItCan)
{
    for (const LONG tError :
         {ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED, ERROR_INVALID_FUNCTION, ERROR_CALL_NOT_IMPLEMENTED}) {
        clear();
        kprtest::writeFile(mPath, "content");
        fail("SetFileInformationByHandle", tError, ALWAYS);
        EXPECT_EQ(remove(), 0u) << tError;
        EXPECT_EQ(gCalls["DeleteFileW"], 1);
        EXPECT_FALSE(kprtest::exists(mPath));
        EXPECT_EQ(gPaused, 0u);
    }
    clear();
    kprtest::writeFile(mPath, "content");
    fail("SetFileInformationByHandle", ERROR_INVALID_PARAMETER, ALWAYS);
    fail("DeleteFileW", ERROR_SHARING_VIOLATION, 4);
    EXPECT_EQ(remove(), 0u);
    EXPECT_EQ(gCalls["DeleteFileW"], 5);
}

TEST_F(Faults, AFileThatIsMappedIsRemovedWhenItIsNot)
{
    for (const char* tFunction : {"SetFileInformationByHandle", "DeleteFileW"}) {
        for (const Fault& tFault : {Fault{ERROR_ACCESS_DENIED, CANNOT, 3}, {ERROR_USER_MAPPED_FILE, 0, 3}}) {
            clear();
            kprtest::writeFile(mPath, "content");
            const bool tFallback = tFunction == std::string("DeleteFileW");
            if (tFallback) fail("SetFileInformationByHandle", ERROR_NOT_SUPPORTED, ALWAYS);
            gFaults[tFunction] = tFault;
            EXPECT_EQ(remove(), 0u) << tFunction << tFault.error;
            EXPECT_EQ(gCalls[tFunction], 4);
            EXPECT_EQ(gPaused, 7u);

            clear();
            kprtest::writeFile(mPath, "content");
            if (tFallback) fail("SetFileInformationByHandle", ERROR_NOT_SUPPORTED, ALWAYS);
            gFaults[tFunction] = {tFault.error, tFault.status, ALWAYS};
            EXPECT_EQ(remove(), KPR_E_IN_USE);
            EXPECT_EQ(gCalls[tFunction], TRIES);
        }
    }
}

TEST_F(Faults, AReadOnlyFileIsNotWaitedFor)
{
    ASSERT_TRUE(SetFileAttributesA(mPath.c_str(), FILE_ATTRIBUTE_READONLY));
    fail("SetFileInformationByHandle", ERROR_ACCESS_DENIED, ALWAYS, CANNOT);
    EXPECT_EQ(remove(), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(gCalls["SetFileInformationByHandle"], 1);
    EXPECT_EQ(gPaused, 0u);
    ASSERT_TRUE(SetFileAttributesA(mPath.c_str(), FILE_ATTRIBUTE_NORMAL));
    clear();
    fail("SetFileInformationByHandle", ERROR_ACCESS_DENIED, ALWAYS); // no right to it
    EXPECT_EQ(remove(), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(gCalls["SetFileInformationByHandle"], 1);
}

TEST_F(Faults, AReplacementFallsBackAndWaits)
{
    for (const LONG tError :
         {ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED, ERROR_INVALID_FUNCTION, ERROR_ACCESS_DENIED}) {
        clear();
        kprtest::writeFile(mPath, "content");
        fail("SetFileInformationByHandle", tError, ALWAYS);
        EXPECT_EQ(replace(), 0u) << tError;
        EXPECT_EQ(gCalls["MoveFileExW"], 1);
        EXPECT_EQ(kprtest::readFile(mOther), "content");
    }
    for (const LONG tError : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_USER_MAPPED_FILE}) {
        clear();
        kprtest::writeFile(mPath, "content");
        fail("SetFileInformationByHandle", ERROR_INVALID_PARAMETER, ALWAYS);
        fail("MoveFileExW", tError, 2);
        EXPECT_EQ(replace(), 0u) << tError;
        EXPECT_EQ(gCalls["MoveFileExW"], 3);
        clear();
        kprtest::writeFile(mPath, "content");
        fail("SetFileInformationByHandle", ERROR_INVALID_PARAMETER, ALWAYS);
        fail("MoveFileExW", tError, ALWAYS);
        EXPECT_EQ(replace(), tError == ERROR_ACCESS_DENIED ? KPR_E_ACCESS_DENIED : KPR_E_IN_USE);
        EXPECT_EQ(gCalls["MoveFileExW"], TRIES);
    }
    clear();
    fail("SetFileInformationByHandle", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    fail("MoveFileExW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    kprtest::writeFile(mPath, "content");
    EXPECT_EQ(replace(), KPR_E_IN_USE) << "onto a delete-pending name";
    EXPECT_EQ(gCalls["MoveFileExW"], TRIES);
    gCalls.clear();
    fail("GetFileAttributesW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    EXPECT_EQ(replace(), KPR_E_NOT_FOUND) << "it is the source that goes away";
    EXPECT_EQ(gCalls["MoveFileExW"], 1);
}

TEST_F(Faults, FoldersAreMadeAndRemovedWithTheSamePatience)
{
    const std::string tFolder = mDir / "folder";
    for (const Fault& tFault : {Fault{ERROR_SHARING_VIOLATION, 0, 3}, {ERROR_ACCESS_DENIED, PENDING, 3}}) {
        clear();
        gFaults["CreateDirectoryW"] = tFault;
        EXPECT_EQ(kprMakeDir(tFolder.c_str()), 0u);
        EXPECT_EQ(gCalls["CreateDirectoryW"], 4);
        clear();
        fail("RemoveDirectoryW", ERROR_SHARING_VIOLATION, 3);
        EXPECT_EQ(kprRemoveDir(tFolder.c_str()), 0u);
        EXPECT_EQ(gCalls["RemoveDirectoryW"], 4);
        clear();
        gFaults["CreateDirectoryW"] = {tFault.error, tFault.status, ALWAYS};
        EXPECT_EQ(kprMakeDir(tFolder.c_str()), KPR_E_IN_USE);
        EXPECT_EQ(gCalls["CreateDirectoryW"], TRIES);
    }
    clear();
    fail("CreateDirectoryW", ERROR_ALREADY_EXISTS, 3);
    fail("GetFileAttributesW", ERROR_ACCESS_DENIED, 3, PENDING);
    EXPECT_EQ(kprMakeDir(tFolder.c_str()), 0u);
    EXPECT_EQ(gCalls["CreateDirectoryW"], 4);
    clear();
    EXPECT_EQ(kprMakeDir(tFolder.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(gCalls["CreateDirectoryW"], 1);
    clear();
    fail("CreateDirectoryW", ERROR_ACCESS_DENIED, ALWAYS);
    EXPECT_EQ(kprMakeDir(tFolder.c_str()), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(gCalls["CreateDirectoryW"], 1);
    clear();
    fail("RemoveDirectoryW", ERROR_ACCESS_DENIED, ALWAYS, PENDING);
    EXPECT_EQ(kprRemoveDir(tFolder.c_str()), KPR_E_NOT_FOUND);
}

TEST_F(Faults, LookingAtAHeldFileWaits)
{
    KprFileInfo tInfo;
    fail("GetFileAttributesExW", ERROR_SHARING_VIOLATION, 4);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.size, 7u);
    EXPECT_EQ(gCalls["GetFileAttributesExW"], 5);
}

TEST_F(Faults, AMappedFileIsTruncatedWhenItIsNot)
{
    fail("SetEndOfFile", ERROR_USER_MAPPED_FILE, 4);
    EXPECT_EQ(open(KPR_OPEN_WRITE | KPR_OPEN_TRUNCATE), 0u);
    EXPECT_EQ(gCalls["SetEndOfFile"], 5);
    EXPECT_EQ(kprtest::readFile(mPath), "");
    clear();
    fail("SetEndOfFile", ERROR_USER_MAPPED_FILE, ALWAYS);
    EXPECT_EQ(open(KPR_OPEN_WRITE | KPR_OPEN_TRUNCATE), KPR_E_IN_USE);
    EXPECT_EQ(gCalls["SetEndOfFile"], TRIES);
}

TEST_F(Faults, ALockSaysWhyItCannotBeHad)
{
    const struct {
        LONG error;
        uint32_t code;
    } tCases[] = {{ERROR_LOCK_VIOLATION, KPR_E_LOCKED},      {ERROR_IO_PENDING, KPR_E_LOCKED},
                  {ERROR_INVALID_FUNCTION, E_NOT_SUPPORTED}, {ERROR_NOT_SUPPORTED, E_NOT_SUPPORTED},
                  {ERROR_INVALID_PARAMETER, E_INVALIDARG},   {ERROR_ACCESS_DENIED, KPR_E_ACCESS_DENIED}};
    KprFile tFile = KPR_NO_FILE;
    uint32_t tLocked = 5;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
    for (const auto& [tError, tCode] : tCases) {
        clear();
        fail("LockFileEx", tError, 2);
        EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0), tCode) << tError;
        const bool tHeld = tCode == KPR_E_LOCKED;
        EXPECT_EQ(kprIsFileLocked(mPath.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), tHeld ? 0u : tCode);
        EXPECT_EQ(tLocked, tHeld ? 1u : 0u);
        EXPECT_EQ(gCalls["LockFileEx"], 2);
    }
    kprCloseFile(tFile);
}
