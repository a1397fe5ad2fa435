// The settings store as a file, when a process is killed or a system call fails anywhere in a save.
//
// The store's own system calls are replaced, in a child process, by ones that count and then do it.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kfw/settings/kfw_RegDbUserData.h"
#include "tests/support/TestSettings.h"
#include "tests/support/UserFields.h"

using vel::kos::kfw::RegDbUserData;
using vel::kos::test::TestApplication;
using vel::kos::test::TestSettings;
using vel::kos::test::USER_FIELDS;

namespace {

enum class Fault { KILLED, KILLED_HALFWAY, NO_SPACE, IO_ERROR };

Fault gFault;
/// The call to strike, counted down.
int gCountdown = 0;

/// Whether this call is the one. A killed process does not come back.
bool strikes()
{
    if (gCountdown == 0 || --gCountdown > 0) return false;
    if (gFault == Fault::KILLED) ::kill(::getpid(), SIGKILL);
    return true;
}

ssize_t faultyWrite(int pFile, const void* pData, size_t pLength, off_t pOffset)
{
    if (strikes()) {
        if (gFault == Fault::KILLED_HALFWAY) {
            static_cast<void>(!::pwrite(pFile, pData, pLength / 2, pOffset));
            ::kill(::getpid(), SIGKILL);
        }
        errno = gFault == Fault::NO_SPACE ? ENOSPC : EIO;
        return -1;
    }
    return ::pwrite(pFile, pData, pLength, pOffset);
}

int faultyTruncate(int pFile, off_t pLength)
{
    if (strikes()) {
        if (gFault == Fault::KILLED_HALFWAY) ::kill(::getpid(), SIGKILL);
        errno = EIO;
        return -1;
    }
    return ::ftruncate(pFile, pLength);
}

int faultyUnlink(const char* pPath)
{
    if (strikes()) {
        if (gFault == Fault::KILLED_HALFWAY) ::kill(::getpid(), SIGKILL);
        errno = EIO;
        return -1;
    }
    return ::unlink(pPath);
}

/// Strikes at the given call of those that change the file system, from now on.
void strikeAt(Fault pFault, int pCall)
{
    gFault = pFault;
    gCountdown = pCall;
    sqlite3_initialize();
    sqlite3_vfs* tVfs = sqlite3_vfs_find(nullptr);
    const auto tReplace = [tVfs](const char* pName, auto* pFunction) {
        return tVfs->xSetSystemCall(tVfs, pName, reinterpret_cast<sqlite3_syscall_ptr>(pFunction)) ==
               SQLITE_OK;
    };
    bool tDone = tReplace("pwrite", &faultyWrite);
    tDone = tReplace("pwrite64", &faultyWrite) && tDone;
    tDone = tReplace("ftruncate", &faultyTruncate) && tDone;
    tDone = tReplace("unlink", &faultyUnlink) && tDone;
    if (!tDone) ::_exit(98);
}

/// Fills the record with a text and closes the application.
void save(TestApplication* pApp, RegDbUserData* pData, const std::string& pText)
{
    for (const auto& tField : USER_FIELDS)
        (pData->*tField.set)(pText.c_str());
    pApp->close();
}

void save(const TestSettings& pSettings, const std::string& pText)
{
    const auto tApp = pSettings.application();
    const auto tData = kom::retain(new RegDbUserData);
    tData->init(tApp.get());
    save(tApp.get(), tData.get(), pText);
}

/// The text that all fields of the record have; "a mixture" when they differ.
std::string load(const TestSettings& pSettings)
{
    const auto tApp = pSettings.application();
    const auto tData = kom::retain(new RegDbUserData);
    EXPECT_EQ(tData->init(tApp.get()), 0u);
    EXPECT_TRUE(tApp->logLines().empty()) << tApp->logLines()[0].message;
    uint32_t tModifiable = 0;
    EXPECT_EQ(tData->isModifiable(&tModifiable), 0u);
    EXPECT_EQ(tModifiable, 1u) << "the store is as good as before";
    std::string tRecord;
    for (const auto& tField : USER_FIELDS) {
        kom::HeapString tText;
        EXPECT_EQ((tData.get()->*tField.get)(tText.out()), 0u);
        if (&tField == &USER_FIELDS[0]) tRecord = tText.c_str();
        if (tRecord != tText.c_str()) return "a mixture";
    }
    return tRecord;
}

/// Runs pBody in a child process; returns its wait status.
int inChild(const std::function<void()>& pBody)
{
    const pid_t tChild = ::fork();
    if (tChild == 0) {
        pBody();
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int tStatus = -1;
    EXPECT_EQ(::waitpid(tChild, &tStatus, 0), tChild);
    return tStatus;
}

/// Texts of different lengths move the store's pages about.
std::string textOf(int pRound)
{
    return std::to_string(pRound) + std::string(static_cast<size_t>(pRound * 37 % 800), '.');
}

class SettingsFaultsTest : public testing::Test {
protected:
    SettingsFaultsTest()
    {
        mSettings.makeModuleNode();
        save(mSettings, "old");
    }

    /// Saves with the fault at the first call, then at the second and so on, until a save does without it.
    /// Returns how many calls were struck; the record is the old one or, from some call on, the new one.
    int strikeEveryCall(Fault pFault)
    {
        std::string tOld = "old";
        for (int tCall = 1; tCall < 2000; ++tCall) {
            const std::string tNew = textOf(tCall);
            bool tStruck = false;
            const int tStatus = inChild([&] {
                const auto tApp = mSettings.application();
                const auto tData = kom::retain(new RegDbUserData);
                tData->init(tApp.get());
                strikeAt(pFault, tCall);
                save(tApp.get(), tData.get(), tNew);
                if (gCountdown > 0) ::_exit(77);
                EXPECT_FALSE(tApp->logLines().empty() && load(mSettings) != tNew) << "an unreported loss";
            });
            tStruck = !(WIFEXITED(tStatus) && WEXITSTATUS(tStatus) == 77);
            const bool tKilled = WIFSIGNALED(tStatus) && WTERMSIG(tStatus) == SIGKILL;
            const bool tToBeKilled = pFault == Fault::KILLED || pFault == Fault::KILLED_HALFWAY;
            EXPECT_TRUE(!tStruck || (tToBeKilled ? tKilled : tStatus == 0))
                << tStatus << " at call " << tCall;

            const std::string tFound = load(mSettings);
            EXPECT_TRUE(tFound == tNew || (tStruck && tFound == tOld))
                << tFound.substr(0, 20) << " at call " << tCall;
            if (!tStruck || testing::Test::HasFailure()) return tCall - 1;
            tOld = tFound;
        }
        ADD_FAILURE() << "every save is struck";
        return 0;
    }

    TestSettings mSettings;
};

TEST_F(SettingsFaultsTest, aSaveThatIsKilledAtAnyCallLeavesTheOldRecordOrTheNewOne)
{
    EXPECT_GT(strikeEveryCall(Fault::KILLED), 10);
}

TEST_F(SettingsFaultsTest, aSaveThatIsKilledInTheMiddleOfAnyWriteLeavesTheOldRecordOrTheNewOne)
{
    EXPECT_GT(strikeEveryCall(Fault::KILLED_HALFWAY), 10);
}

TEST_F(SettingsFaultsTest, aSaveThatFindsNoSpaceLeavesTheOldRecord)
{
    EXPECT_GT(strikeEveryCall(Fault::NO_SPACE), 10);
}

TEST_F(SettingsFaultsTest, aSaveThatFailsAtAnyCallLeavesTheOldRecordOrTheNewOne)
{
    EXPECT_GT(strikeEveryCall(Fault::IO_ERROR), 10);
}

TEST(SettingsKillsTest, aThousandKillsLoseNothingThatWasCommitted)
{
    // Kills take nothing from memory, so that a file system without a disk shows the same, and faster.
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
    TestSettings tSettings;
    tSettings.makeModuleNode();
    save(tSettings, textOf(0));
    int tCommitted = 0, tLast = 0, tMid = 0;
    for (int tKill = 0; tKill < 1000; ++tKill) {
        int tPipe[2];
        ASSERT_EQ(::pipe(tPipe), 0);
        const pid_t tChild = ::fork();
        if (tChild == 0) {
            for (int tRound = tLast + 1;; ++tRound) {
                save(tSettings, textOf(tRound));
                if (::write(tPipe[1], &tRound, sizeof tRound) != sizeof tRound) ::_exit(1);
            }
        }
        ::close(tPipe[1]);
        // The child is at work once it has committed one; then it gets from 0 to 3 ms more.
        pollfd tPoll = {tPipe[0], POLLIN, 0};
        EXPECT_EQ(::poll(&tPoll, 1, 60000), 1);
        ::usleep(static_cast<useconds_t>(tKill * 7919 % 3000));
        ::kill(tChild, SIGKILL);
        int tStatus = 0;
        ASSERT_EQ(::waitpid(tChild, &tStatus, 0), tChild);
        ASSERT_TRUE(WIFSIGNALED(tStatus)) << "the child went before it was killed";
        while (::read(tPipe[0], &tCommitted, sizeof tCommitted) == sizeof tCommitted) {
        }
        ::close(tPipe[0]);
        if (::access((tSettings.file() + "-journal").c_str(), F_OK) == 0) ++tMid;

        const std::string tFound = load(tSettings);
        tLast = std::atoi(tFound.c_str());
        ASSERT_EQ(tFound, textOf(tLast)) << "after kill " << tKill;
        ASSERT_TRUE(tLast == tCommitted || tLast == tCommitted + 1)
            << "found " << tLast << " after " << tCommitted << " had been committed";
    }
    EXPECT_GT(tMid, 50) << "too few kills hit the middle of a save";
    RecordProperty("killedInASave", tMid);
}

} // namespace
