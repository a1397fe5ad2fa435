// What only a real Windows shows. Wine lets pass what Windows refuses: a test that finds itself let through
// there is skipped and says so, and fails everywhere else.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "host/Application.h"
#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

bool isWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

#define K_SHOWN(pCondition, pWhat)                                                                           \
    do {                                                                                                     \
        const bool tShown = (pCondition);                                                                    \
        if (!tShown && isWine()) GTEST_SKIP() << "not shown by Wine: " << (pWhat);                           \
        EXPECT_TRUE(tShown) << (pWhat);                                                                      \
    } while (false)

class RealWindows : public testing::Test {
protected:
    RealWindows() { kprtest::writeFile(mPath, "content"); }

    std::wstring wide(const std::string& pPath)
    {
        std::wstring tWide(pPath.size(), L'\0');
        tWide.resize(
            static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, pPath.data(), static_cast<int>(pPath.size()),
                                                    tWide.data(), static_cast<int>(tWide.size()))));
        return tWide;
    }
    KprFile open(uint32_t pMode)
    {
        KprFile tFile = KPR_NO_FILE;
        EXPECT_EQ(kprOpenFile(mPath.c_str(), pMode, &tFile), 0u);
        return tFile;
    }
    /// Removes the file as programs did before there were POSIX rules; its name stays until the last handle
    /// goes.
    bool removeOldStyle()
    {
        const HANDLE tFile =
            CreateFileW(wide(mPath).c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                        nullptr, OPEN_EXISTING, 0, nullptr);
        FILE_DISPOSITION_INFO tRemove = {TRUE};
        const bool tDone = tFile != INVALID_HANDLE_VALUE &&
                           SetFileInformationByHandle(tFile, FileDispositionInfo, &tRemove, sizeof tRemove);
        CloseHandle(tFile);
        return tDone;
    }
    uint32_t create()
    {
        KprFile tFile = KPR_NO_FILE;
        const uint32_t tRes =
            kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE, &tFile);
        if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
        return tRes;
    }

    kprtest::TemporaryDirectory mDir;
    const std::string mPath = mDir / "file", mOther = mDir / "other";
};

TEST_F(RealWindows, ARangeThatIsLockedIsRefusedToOtherHandles)
{
    const KprFile tOne = open(KPR_OPEN_READ_WRITE), tOther = open(KPR_OPEN_READ_WRITE);
    ASSERT_EQ(kprLockFile(tOne, KPR_LOCK_EXCLUSIVE, 0, 4), 0u);
    char tBytes[8];
    uint32_t tRead = 0, tWritten = 0;
    const uint32_t tReads = kprSeekAndRead(tOther, 0, tBytes, 4, &tRead);
    const uint32_t tWrites = kprSeekAndWrite(tOther, 0, "CONT", 4, &tWritten);
    EXPECT_EQ(kprSeekAndRead(tOther, 4, tBytes, 3, &tRead), 0u) << "beyond it";
    kprCloseFile(tOther);
    kprCloseFile(tOne);
    K_SHOWN(tReads == KPR_E_LOCKED && tWrites == KPR_E_LOCKED, "locks are mandatory");
}

TEST_F(RealWindows, ALockOfTheWholeFileLeavesItsContentToEverybody)
{
    const KprFile tOne = open(KPR_OPEN_READ_WRITE), tOther = open(KPR_OPEN_READ_WRITE);
    ASSERT_EQ(kprLockFile(tOne, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    EXPECT_EQ(kprLockFile(tOther, KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT, 0, 0), KPR_E_LOCKED);
    char tBytes[8];
    uint32_t tRead = 0;
    EXPECT_EQ(kprSeekAndRead(tOther, 0, tBytes, 7, &tRead), 0u);
    EXPECT_EQ(std::string(tBytes, tRead), "content");
    kprCloseFile(tOther);
    kprCloseFile(tOne);
}

TEST_F(RealWindows, ANameThatIsAboutToVanishIsNeitherThereNorFree)
{
    const KprFile tFile = open(KPR_OPEN_READ);
    ASSERT_TRUE(removeOldStyle());
    KprFileInfo tInfo;
    KprFile tAgain = KPR_NO_FILE;
    const uint32_t tLooks = kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo);
    const uint32_t tOpens = kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tAgain);
    if (tAgain != KPR_NO_FILE) kprCloseFile(tAgain);
    const DWORD tBegan = GetTickCount();
    const uint32_t tCreates = create();
    const DWORD tTook = GetTickCount() - tBegan;
    kprCloseFile(tFile);
    K_SHOWN(tOpens == KPR_E_NOT_FOUND && tCreates == KPR_E_IN_USE, "a removed name is taken for a while");
    EXPECT_TRUE(tLooks == KPR_E_NOT_FOUND || tLooks == 0u) << tLooks;
    EXPECT_GE(tTook, 200u) << "it was waited for";
    EXPECT_EQ(create(), 0u) << "and free when the last handle has gone";
}

TEST_F(RealWindows, ARemovedNameIsFreeAtOnce)
{
    const KprFile tFile = open(KPR_OPEN_READ);
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), 0u);
    const uint32_t tCreates = create();
    char tBytes[8];
    uint32_t tRead = 0;
    EXPECT_EQ(kprRead(tFile, tBytes, 7, &tRead), 0u) << "who has it open goes on";
    EXPECT_EQ(tRead, 7u);
    kprCloseFile(tFile);
    wchar_t tSystem[32] = L"";
    GetVolumeInformationW(wide(mDir.path()).substr(0, 3).c_str(), nullptr, 0, nullptr, nullptr, nullptr,
                          tSystem, 32);
    if (std::wstring(tSystem) != L"NTFS") GTEST_SKIP() << "the folder for temporary files is not on NTFS";
    K_SHOWN(tCreates == 0, "removal by POSIX rules");
}

TEST_F(RealWindows, AnOpenFileIsReplaced)
{
    kprtest::writeFile(mOther, "new");
    const KprFile tFile = open(KPR_OPEN_READ);
    const uint32_t tReplaces = kprReplaceFile(mOther.c_str(), mPath.c_str());
    char tBytes[8];
    uint32_t tRead = 0;
    EXPECT_EQ(kprRead(tFile, tBytes, 7, &tRead), 0u);
    EXPECT_EQ(std::string(tBytes, tRead), "content");
    kprCloseFile(tFile);
    K_SHOWN(tReplaces == 0, "replacing an open file by POSIX rules");
    EXPECT_EQ(kprtest::readFile(mPath), "new");
}

TEST_F(RealWindows, AMappedFileIsReplacedWhollyOrNotAtAll)
{
    kprtest::writeFile(mOther, "new");
    const HANDLE tFile =
        CreateFileW(wide(mPath).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    const HANDLE tSection = CreateFileMappingW(tFile, nullptr, PAGE_READONLY, 0, 0, nullptr);
    const void* tView = MapViewOfFile(tSection, FILE_MAP_READ, 0, 0, 0);
    ASSERT_TRUE(tView);
    CloseHandle(tSection);
    CloseHandle(tFile);
    const uint32_t tReplaces = kprReplaceFile(mOther.c_str(), mPath.c_str());
    const uint32_t tRemoves = kprRemoveFile(mPath.c_str());
    EXPECT_EQ(std::string(static_cast<const char*>(tView), 7), "content") << "the view keeps what it showed";
    UnmapViewOfFile(tView);
    RecordProperty("replacing", static_cast<int>(tReplaces));
    RecordProperty("removing", static_cast<int>(tRemoves));
    std::printf("replacing a mapped file returns 0x%08X, removing it 0x%08X\n",
                static_cast<unsigned>(tReplaces), static_cast<unsigned>(tRemoves));
    for (const uint32_t tRes : {tReplaces, tRemoves})
        EXPECT_TRUE(tRes == 0 || tRes == KPR_E_IN_USE || tRes == KPR_E_ACCESS_DENIED) << tRes;
    if (KFAILED(tReplaces)) {
        EXPECT_EQ(kprtest::readFile(mOther), "new") << "nothing is lost";
    }
}

TEST_F(RealWindows, AFileThatSomebodyKeepsToHimselfIsInUse)
{
    const HANDLE tFile =
        CreateFileW(wide(mPath).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(tFile, INVALID_HANDLE_VALUE);
    KprFile tOther = KPR_NO_FILE;
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tOther), KPR_E_IN_USE);
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), KPR_E_IN_USE);
    CloseHandle(tFile);
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), 0u);
}

/// A host that closes when it is asked to, in a process of its own.
int runHost(const std::string& pFolder)
{
    using namespace vel::kos;
    host::ApplicationOptions tOptions;
    tOptions.userAppDir = pFolder;
    tOptions.handleCloseSignals = true;
    kom::Ref<host::Application> tApp;
    if (KFAILED(host::Application::create(tOptions, tApp))) return 99;
    kprtest::writeFile(pFolder + "\\ready", "");
    tApp->run();
    static_cast<void>(tApp->close());
    kprtest::writeFile(pFolder + "\\closed", "");
    return 42;
}

TEST_F(RealWindows, CtrlBreakClosesTheApplication)
{
    wchar_t tSelf[MAX_PATH];
    GetModuleFileNameW(nullptr, tSelf, MAX_PATH);
    std::wstring tCommand = L"\"" + std::wstring(tSelf) + L"\" --host \"" + wide(mDir.path()) + L"\"";
    STARTUPINFOW tStart{};
    tStart.cb = sizeof tStart;
    PROCESS_INFORMATION tProcess;
    ASSERT_TRUE(CreateProcessW(nullptr, tCommand.data(), nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP,
                               nullptr, nullptr, &tStart, &tProcess));
    EXPECT_TRUE(kprtest::waitForFile(mDir / "ready"));
    const bool tSent = GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, tProcess.dwProcessId);
    const bool tEnded = tSent && WaitForSingleObject(tProcess.hProcess, 20000) == WAIT_OBJECT_0;
    DWORD tStatus = 0;
    if (tEnded) GetExitCodeProcess(tProcess.hProcess, &tStatus);
    if (!tEnded) TerminateProcess(tProcess.hProcess, 1);
    CloseHandle(tProcess.hThread);
    CloseHandle(tProcess.hProcess);
    if (!tSent) GTEST_SKIP() << "there is no console to send it by";
    K_SHOWN(tEnded && tStatus == 42 && kprtest::exists(mDir / "closed"), "the console's events");
}

} // namespace

int main(int pCount, char** pArguments)
{
    if (pCount == 3 && std::string(pArguments[1]) == "--host") return runHost(pArguments[2]);
    testing::InitGoogleTest(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
