// What a process of Linux brings along: its environment, its modules, its terminal, and the signals and
// stacks of its threads.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/testing/kpr_faults_posix.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/thread.h"

namespace kprtest {

TEST_F(KprPosixTest, AProgramWithMoreRightsTakesNothingFromTheEnvironment)
{
    char tText[4096];
    for (const char* tName : {"HOME", "XDG_DATA_HOME", "TMPDIR", "KOM_CLASSES"})
        setenv(tName, "/callers/choice", 1);
    EXPECT_EQ(kprGetEnvironment("KOM_CLASSES", tText, sizeof tText), 0u);
    EXPECT_EQ(kprGetTempDir(tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "/callers/choice");
    gSecure = true;
    EXPECT_EQ(kprGetEnvironment("KOM_CLASSES", tText, sizeof tText), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetTempDir(tText, sizeof tText), 0u);
    EXPECT_STREQ(tText, "/tmp");
    // The rights of a file or a group come on top of the caller's own, whose home is the caller's choice too.
    EXPECT_EQ(kprGetUserDataDir(tText, sizeof tText), KPR_E_NOT_FOUND);
    gSecure = false;
    for (const char* tName : {"HOME", "XDG_DATA_HOME", "TMPDIR", "KOM_CLASSES"})
        unsetenv(tName);
}

TEST_F(KprPosixTest, ListsThatFindNoMemoryHoldNothing)
{
    const std::string tPath = kprtest::modulePath("kpr_test_plain");
    KprDSO tHandle;
    ASSERT_EQ(kprOpenDSO(tPath.c_str(), 0, &tHandle), 0u) << kprGetDSOErrorText();
    ASSERT_TRUE(kprtest::isLoaded("kpr_test_plain"));

    auto* tAttributes = reinterpret_cast<KprAttributeList*>(this);
    gCalloc.set(ENOMEM, 1);
    EXPECT_EQ(kprGetDSOAttributes(tHandle, &tAttributes), E_OUTOFMEMORY);
    EXPECT_EQ(tAttributes, nullptr);
    auto* tModules = reinterpret_cast<KprModuleList*>(this);
    gCalloc.set(ENOMEM, 1);
    EXPECT_EQ(kprListLoadedModules(&tModules), E_OUTOFMEMORY);
    EXPECT_EQ(tModules, nullptr);
    auto* tArguments = reinterpret_cast<KprArgumentList*>(this);
    gCalloc.set(ENOMEM, 1);
    EXPECT_EQ(kprGetArguments(&tArguments), E_OUTOFMEMORY);
    EXPECT_EQ(tArguments, nullptr);

    EXPECT_EQ(kprCloseDSO(tHandle), 0u);
    EXPECT_FALSE(kprtest::isLoaded("kpr_test_plain")) << "the list that failed has let it go";
}

TEST_F(KprPosixTest, AModuleWhoseBuildIdCannotBeReadHasItsOtherAttributes)
{
    char tFolder[4096];
    ASSERT_EQ(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder), 0u);
    // How often the loader is asked before the build id is wanted: for the symbol of a module that speaks for
    // itself, and for the file of one that does not.
    const std::pair<const char*, std::size_t> tModules[] = {{"module", 1}, {"plain", 2}};
    for (const auto& [tName, tAsked] : tModules) {
        KprDSO tHandle;
        const std::string tPath = std::string(tFolder) + "/libkpr_test_" + tName + ".so";
        ASSERT_EQ(kprOpenDSO(tPath.c_str(), 0, &tHandle), 0u) << kprGetDSOErrorText();
        KprAttributeList* tAll = nullptr;
        EXPECT_EQ(kprGetDSOAttributes(tHandle, &tAll), 0u);
        KprAttributeList* tRest = nullptr;
        gMostModules = tAsked;
        EXPECT_EQ(kprGetDSOAttributes(tHandle, &tRest), 0u) << tName;
        gMostModules = SIZE_MAX;
        if (tAll && tRest) {
            ASSERT_EQ(tRest->count, tAll->count - 1);
            EXPECT_STREQ(tAll->pairs[tRest->count].key, "BuildId");
            for (uint32_t i = 0; i < tRest->count; ++i)
                EXPECT_STREQ(tRest->pairs[i].key, tAll->pairs[i].key);
        }
        kprFree(tAll);
        kprFree(tRest);
        EXPECT_EQ(kprCloseDSO(tHandle), 0u);
    }
}

TEST_F(KprPosixTest, ATerminalIsKnown)
{
    const int tMaster = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(tMaster, 0);
    ASSERT_EQ(grantpt(tMaster), 0);
    ASSERT_EQ(unlockpt(tMaster), 0);
    const int tTerminal = ::open(ptsname(tMaster), O_RDWR | O_NOCTTY | O_CLOEXEC), tFile = dup(STDIN_FILENO);
    ASSERT_GE(tTerminal, 0);
    uint32_t tIsTerminal = 7;
    dup2(tTerminal, STDIN_FILENO);
    EXPECT_EQ(kprIsTerminal(KPR_STDIN, &tIsTerminal), 0u);
    EXPECT_EQ(tIsTerminal, 1u);
    const int tNothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(tNothing, STDIN_FILENO);
    EXPECT_EQ(kprIsTerminal(KPR_STDIN, &tIsTerminal), 0u);
    EXPECT_EQ(tIsTerminal, 0u);
    dup2(tFile, STDIN_FILENO);
    for (const int tOpen : {tMaster, tTerminal, tFile, tNothing})
        close(tOpen);
}

TEST_F(KprPosixTest, ALongErrorTextIsCut)
{
    std::string tPath;
    for (const char tName : {'a', 'b', 'c'})
        tPath += "/" + std::string(200, tName);
    KprDSO tHandle;
    EXPECT_EQ(kprOpenDSO(tPath.c_str(), 0, &tHandle), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetDSOErrorText(), tPath.substr(0, 511));
}

TEST_F(KprPosixTest, FoldersComeFromTheEnvironment)
{
    const auto tGet = [](auto pFunction) {
        char tPath[1024];
        return KFAILED(pFunction(tPath, sizeof tPath)) ? std::string() : std::string(tPath);
    };
    const char* const tBefore = getenv("HOME");
    const std::string tHome = tBefore ? tBefore : "";
    setenv("XDG_DATA_HOME", "/data/home//", 1);
    EXPECT_EQ(tGet(kprGetUserDataDir), "/data/home");
    setenv("XDG_DATA_HOME", "relative", 1);
    setenv("HOME", "/home/somebody/", 1);
    EXPECT_EQ(tGet(kprGetUserDataDir), "/home/somebody/.local/share");
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_NE(tGet(kprGetUserDataDir), ""); // from the user database
    setenv("TMPDIR", "/other/tmp/", 1);
    EXPECT_EQ(tGet(kprGetTempDir), "/other/tmp");
    unsetenv("TMPDIR");
    EXPECT_EQ(tGet(kprGetTempDir), "/tmp");
    setenv("HOME", tHome.c_str(), 1);
}

TEST_F(KprPosixTest, ThreadsTakeTheStackAskedForAndNoSignals)
{
    struct Facts {
        size_t stack = 0;
        bool blocked = false;
        bool faultsPass = false;
    } tFacts;
    const KprThreadMain tBody = [](void* pFacts) -> uint32_t {
        auto* tSeen = static_cast<Facts*>(pFacts);
        pthread_attr_t tAttributes;
        pthread_getattr_np(pthread_self(), &tAttributes);
        pthread_attr_getstacksize(&tAttributes, &tSeen->stack);
        pthread_attr_destroy(&tAttributes);
        sigset_t tMask;
        pthread_sigmask(SIG_BLOCK, nullptr, &tMask);
        tSeen->blocked =
            sigismember(&tMask, SIGTERM) && sigismember(&tMask, SIGALRM) && sigismember(&tMask, SIGINT);
        tSeen->faultsPass = !sigismember(&tMask, SIGSEGV) && !sigismember(&tMask, SIGABRT);
        return 0;
    };
    KprThread tThread;
    ASSERT_EQ(kprThreadCreate(&tThread, 0, 262144, tBody, &tFacts), 0u);
    ASSERT_EQ(kprThreadJoin(tThread, nullptr), 0u);
    EXPECT_GE(tFacts.stack, 262144u);
    EXPECT_LT(tFacts.stack, 2u << 20); // sanitizers add to it; the default is far more
    EXPECT_TRUE(tFacts.blocked);
    EXPECT_TRUE(tFacts.faultsPass);
    sigset_t tMask;
    pthread_sigmask(SIG_BLOCK, nullptr, &tMask);
    EXPECT_FALSE(sigismember(&tMask, SIGTERM)); // the caller's own mask is as before
}

} // namespace kprtest
