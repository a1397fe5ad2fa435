// The class registry through its calls, on real files. The program is its own second process.
#include "kom/runtime.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kom/heap.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"

namespace {

using Classes = std::vector<std::pair<std::string, std::string>>;

std::string classId(unsigned pNumber)
{
    char tText[64];
    std::snprintf(tText, sizeof tText, "00000000-0000-4000-8000-%012x", pNumber);
    return tText;
}

uint32_t registerClass(const std::string& pClassId, const std::string& pModule,
                       const char* pRegistry = nullptr)
{
    KomRegistration tRegistration = {pRegistry, pModule.c_str()};
    return komRegisterDSO(pClassId.c_str(), 0, &tRegistration);
}

uint32_t unregisterClass(const std::string& pClassId, const std::string& pModule,
                         const char* pRegistry = nullptr)
{
    KomRegistration tRegistration = {pRegistry, pModule.c_str()};
    return komUnregisterDSO(pClassId.c_str(), 0, &tRegistration);
}

Classes listed()
{
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), 0u) << komGetRegistryProblem();
    Classes tClasses;
    for (uint32_t i = 0; tList && i < tList->count; ++i)
        tClasses.emplace_back(tList->classes[i].classId, tList->classes[i].modulePath);
    komFree(tList);
    return tClasses;
}

/// How many files that were begun, and not put in place, stand beside a registry.
ptrdiff_t filesBegun(const std::string& pFolder)
{
    return std::count_if(std::filesystem::directory_iterator(pFolder), {}, [](const auto& pEntry) {
        return pEntry.path().filename().string().find(".new-") != std::string::npos;
    });
}

void setEnvironment(const char* pName, const char* pValue)
{
#if defined(_WIN32)
    _putenv_s(pName, pValue);
#else
    setenv(pName, pValue, 1);
#endif
}

class RegistryTest : public testing::Test {
protected:
    RegistryTest() { komSetClassRegistry(mPath.c_str()); }
    ~RegistryTest() override { komSetClassRegistry(nullptr); }

    kprtest::TemporaryDirectory mFolder;
    const std::string mPath = mFolder / "classes";
};

TEST_F(RegistryTest, isTheOneThatWasSet)
{
    EXPECT_EQ(komGetClassRegistry(), mPath);
    EXPECT_EQ(komSetClassRegistry(""), E_INVALIDARG);
    EXPECT_EQ(komGetClassRegistry(), mPath);

    const std::string tOther = mFolder / "other";
    setEnvironment("KOM_CLASSES", tOther.c_str());
    EXPECT_EQ(komGetClassRegistry(), mPath) << "what was set comes first";
    EXPECT_EQ(komSetClassRegistry(nullptr), 0u);
    EXPECT_EQ(komGetClassRegistry(), tOther);
    setEnvironment("KOM_CLASSES", "");

    char tData[1024];
    ASSERT_EQ(kprGetUserDataDir(tData, sizeof tData), 0u);
    komSetClassRegistry(nullptr);
    const std::string tSeparator(1, kprGetPathSeparator());
    EXPECT_EQ(komGetClassRegistry(), tData + tSeparator + "kom" + tSeparator + "classes");
}

TEST_F(RegistryTest, isEmptyWithoutAFile)
{
    EXPECT_TRUE(listed().empty());
    EXPECT_EQ(unregisterClass(classId(1), "/a"), KOM_E_CLASSNOTREGISTERED);
    EXPECT_TRUE(std::filesystem::is_empty(mFolder.path())) << "looking creates nothing";
}

TEST_F(RegistryTest, keepsClassesInOrder)
{
    EXPECT_EQ(registerClass(classId(2), "/two"), 0u);
    EXPECT_EQ(registerClass(classId(1), "/one"), 0u);
    EXPECT_EQ(registerClass(classId(3), "/three"), 0u);
    EXPECT_EQ(listed(), (Classes{{classId(1), "/one"}, {classId(2), "/two"}, {classId(3), "/three"}}));
    EXPECT_EQ(kprtest::readFile(mPath),
              "kom-classes 1\n" + classId(1) + " /one\n" + classId(2) + " /two\n" + classId(3) + " /three\n");
    EXPECT_EQ(filesBegun(mFolder.path()), 0);
}

TEST_F(RegistryTest, replacesAnOlderEntry)
{
    registerClass(classId(1), "/old");
    EXPECT_EQ(registerClass(classId(1), "/new\nline %"), 0u);
    EXPECT_EQ(listed(), (Classes{{classId(1), "/new\nline %"}}));
    EXPECT_EQ(unregisterClass(classId(1), "/old"), KOM_E_CLASSNOTREGISTERED)
        << "another module's class stays";
    EXPECT_EQ(unregisterClass(classId(2), "/new\nline %"), KOM_E_CLASSNOTREGISTERED);
    EXPECT_EQ(listed().size(), 1u);
    EXPECT_EQ(unregisterClass(classId(1), "/new\nline %"), 0u);
    EXPECT_TRUE(listed().empty());
}

TEST_F(RegistryTest, leavesTheFileAloneWhenNothingChanges)
{
    registerClass(classId(1), "/one");
    const KprTime tOld = {1000000000, 0, 0};
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, &tOld), 0u);
    EXPECT_EQ(registerClass(classId(1), "/one"), 0u);
    KprFileInfo tInfo;
    ASSERT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_MTIME, &tInfo), 0u);
    EXPECT_EQ(tInfo.modified.seconds, tOld.seconds);
}

TEST_F(RegistryTest, createsMissingFolders)
{
    const std::string tDeep = mFolder / "a/b/c/classes";
    EXPECT_EQ(registerClass(classId(1), "/one", tDeep.c_str()), 0u);
    EXPECT_TRUE(kprtest::exists(tDeep));
    EXPECT_TRUE(listed().empty()) << "the registration named another registry";
    EXPECT_EQ(unregisterClass(classId(1), "/one", tDeep.c_str()), 0u);
    EXPECT_EQ(kprtest::readFile(tDeep), "kom-classes 1\n");
}

TEST_F(RegistryTest, checksItsArguments)
{
    const std::string tId = classId(1);
    KomRegistration tGood = {nullptr, "/a"}, tNull = {nullptr, nullptr}, tEmpty = {nullptr, ""};
    for (const auto tCall : {komRegisterDSO, komUnregisterDSO}) {
        EXPECT_EQ(tCall(nullptr, 0, &tGood), E_INVALIDARG);
        EXPECT_EQ(tCall(tId.c_str(), 0, nullptr), E_INVALIDARG);
        EXPECT_EQ(tCall(tId.c_str(), 1, &tGood), E_INVALIDARG);
        EXPECT_EQ(tCall(tId.c_str(), 0, &tNull), E_INVALIDARG);
        EXPECT_EQ(tCall(tId.c_str(), 0, &tEmpty), E_INVALIDARG);
        EXPECT_EQ(tCall("not-an-id", 0, &tGood), KOM_E_BAD_CLASSID);
        EXPECT_EQ(tCall("A20D8CF0-C2F2-11D5-BFD3-0000E2430653", 0, &tGood), KOM_E_BAD_CLASSID);
    }
    EXPECT_EQ(komListClasses(nullptr), E_INVALIDARG);
    EXPECT_TRUE(std::filesystem::is_empty(mFolder.path()));
}

/// Keeps what it is told, and returns what the test gives.
struct Recorder : KomRegistrar {
    Recorder() : KomRegistrar{entered, removed} {}

    uint32_t keep(const char* pWhat, const char* pClassId, unsigned int pFlags, const void* pContext)
    {
        calls.push_back(std::string(pWhat) + " " + (pClassId ? pClassId : "null") + " " +
                        std::to_string(pFlags) + (pContext == this ? " context" : ""));
        return answer;
    }
    static uint32_t entered(KomRegistrar* pSelf, const char* pClassId, unsigned int pFlags, void* pContext)
    {
        return static_cast<Recorder*>(pSelf)->keep("enter", pClassId, pFlags, pContext);
    }
    static uint32_t removed(KomRegistrar* pSelf, const char* pClassId, unsigned int pFlags, void* pContext)
    {
        return static_cast<Recorder*>(pSelf)->keep("remove", pClassId, pFlags, pContext);
    }

    std::vector<std::string> calls;
    uint32_t answer = 0;
};

TEST_F(RegistryTest, leavesEverythingToARegistrar)
{
    Recorder tRecorder;
    EXPECT_EQ(komSetRegistrar(&tRecorder), nullptr);
    EXPECT_EQ(komRegisterDSO("any text", 7, &tRecorder), 0u);
    std::thread([] { EXPECT_EQ(registerClass(classId(2), "/b"), 0u) << "another thread"; }).join();
    tRecorder.answer = KPR_E_ACCESS_DENIED;
    EXPECT_EQ(registerClass(classId(1), "/a"), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(komUnregisterDSO(nullptr, 0, nullptr), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(komSetRegistrar(nullptr), &tRecorder);
    EXPECT_EQ(registerClass(classId(3), "/c"), 0u);
    EXPECT_EQ(tRecorder.calls, (std::vector<std::string>{"enter any text 7 context",
                                                         "enter " + classId(1) + " 0", "remove null 0"}));
    EXPECT_EQ(listed(), (Classes{{classId(2), "/b"}, {classId(3), "/c"}}));
}

TEST_F(RegistryTest, tellsWhereItIsDamaged)
{
    const std::string tText = "kom-classes 1\n" + classId(1) + " /a\nrubbish\n";
    kprtest::writeFile(mPath, tText);
    KomClassList tDummy = {}, *tList = &tDummy;
    EXPECT_EQ(komListClasses(&tList), KOM_E_BAD_REGISTRY);
    EXPECT_EQ(tList, nullptr);
    const char tProblem[] = "line 3: no class identity at its start";
    EXPECT_STREQ(komGetRegistryProblem(), tProblem);
    EXPECT_EQ(registerClass("x", "/b"), KOM_E_BAD_CLASSID);
    EXPECT_STREQ(komGetRegistryProblem(), "") << "the last call did not look";
    EXPECT_EQ(registerClass(classId(2), "/b"), KOM_E_BAD_REGISTRY);
    EXPECT_STREQ(komGetRegistryProblem(), tProblem);
    EXPECT_EQ(unregisterClass(classId(1), "/a"), KOM_E_BAD_REGISTRY);
    EXPECT_STREQ(komGetRegistryProblem(), tProblem);
    auto* tOut = reinterpret_cast<kom::IUnknown*>(&tDummy);
    EXPECT_EQ(komCreateInstance(classId(1).c_str(), kom::IUnknown::IID, &tOut), KOM_E_BAD_REGISTRY);
    EXPECT_EQ(tOut, nullptr);
    EXPECT_STREQ(komGetRegistryProblem(), tProblem);
    std::thread([] { EXPECT_STREQ(komGetRegistryProblem(), "") << "another thread's"; }).join();
    EXPECT_EQ(kprtest::readFile(mPath), tText) << "a damaged file is left for its owner to mend";

    kprtest::writeFile(mPath, "kom-classes 1\n");
    EXPECT_TRUE(listed().empty());
    EXPECT_STREQ(komGetRegistryProblem(), "");
}

TEST_F(RegistryTest, refusesAnEmptyFile)
{
    kprtest::writeFile(mPath, "");
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), KOM_E_BAD_REGISTRY);
    EXPECT_STREQ(komGetRegistryProblem(), "line 1: it is cut short");
}

TEST_F(RegistryTest, refusesAFileThatIsTooLarge)
{
    kprtest::writeFile(mPath, "kom-classes 1\n#" + std::string(16u << 20, ' ') + "\n");
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), KOM_E_BAD_REGISTRY);
    EXPECT_STREQ(komGetRegistryProblem(), "line 1: the file is too large");
    EXPECT_EQ(registerClass(classId(1), "/a"), KOM_E_BAD_REGISTRY);
}

TEST_F(RegistryTest, doesNotGrowTooLarge)
{
    registerClass(classId(1), "/a");
    const std::string tBefore = kprtest::readFile(mPath);
    EXPECT_EQ(registerClass(classId(2), std::string(16u << 20, 'x')), KPR_E_TOO_LARGE);
    EXPECT_EQ(kprtest::readFile(mPath), tBefore);
    EXPECT_EQ(filesBegun(mFolder.path()), 0);
}

TEST_F(RegistryTest, refusesAFolderInItsPlace)
{
    ASSERT_EQ(kprMakeDir(mPath.c_str()), 0u);
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), KPR_E_NOT_REGULAR);
    EXPECT_EQ(registerClass(classId(1), "/a"), KPR_E_NOT_REGULAR);
    const std::string tBelow = mFolder / "file/classes";
    kprtest::writeFile(mFolder / "file", "");
    EXPECT_TRUE(KFAILED(registerClass(classId(1), "/a", tBelow.c_str())));
}

TEST_F(RegistryTest, leavesWhatStandsUnderAKnownName)
{
    registerClass(classId(1), "/a");
    kprtest::writeFile(mPath + ".new", "somebody else's");
    EXPECT_EQ(registerClass(classId(2), "/b"), 0u);
    EXPECT_EQ(listed().size(), 2u);
    EXPECT_EQ(kprtest::readFile(mPath + ".new"), "somebody else's");
}

TEST_F(RegistryTest, takesARelativeModuleFromItsOwnFolder)
{
    registerClass(classId(1), "modules/some.dll");
    const std::string tSeparator(1, kprGetPathSeparator());
    EXPECT_EQ(listed(), (Classes{{classId(1), mFolder.path() + tSeparator + "modules/some.dll"}}));
    EXPECT_NE(kprtest::readFile(mPath).find(" modules/some.dll\n"), std::string::npos)
        << "it stays as it stands";
    EXPECT_EQ(unregisterClass(classId(1), "modules/some.dll"), 0u);
}

/// A module in the current folder, under the name that a registry elsewhere gives.
TEST_F(RegistryTest, loadsNoModuleFromTheCurrentFolder)
{
    const kprtest::TemporaryDirectory tCurrent;
    const auto tBefore = std::filesystem::current_path();
    kprtest::writeFile(tCurrent / "planted.mod", "looked at");
    registerClass(classId(1), "planted.mod");
    std::filesystem::current_path(tCurrent.path());
    kom::IUnknown* tFactory = nullptr;
    EXPECT_EQ(komGetObjectFactory(classId(1).c_str(), kom::IObjectFactory::IID, &tFactory), KPR_E_NOT_FOUND);
    std::filesystem::current_path(tBefore);
}

TEST_F(RegistryTest, loadsNoModuleWhosePathCountsFromTheCurrentDrive)
{
    if (kprGetPathSeparator() == '/') GTEST_SKIP() << "there are no drives here";
    kom::IUnknown* tFactory = nullptr;
    for (const char* tPath : {"/planted.mod", "\\planted.mod", "Z:planted.mod"}) {
        registerClass(classId(1), tPath);
        EXPECT_EQ(komGetObjectFactory(classId(1).c_str(), kom::IObjectFactory::IID, &tFactory),
                  KPR_E_BAD_NAME)
            << tPath;
    }
}

TEST_F(RegistryTest, tellsRegistriesOfOneSizeAndTimeApart)
{
    const std::string tText = mFolder / "text", tNone = mFolder / "none", tOther = mFolder / "other";
    kprtest::writeFile(tText, "not a module");
    ASSERT_EQ(registerClass(classId(1), tText, mPath.c_str()), 0u);
    ASSERT_EQ(registerClass(classId(1), tNone, tOther.c_str()), 0u);
    // Old enough to be read once only.
    const auto tTime = std::filesystem::last_write_time(mPath) - std::chrono::minutes(1);
    for (const auto& tFile : {mPath, tOther})
        std::filesystem::last_write_time(tFile, tTime);
    for (int i = 0; i < 2; ++i) {
        kom::IUnknown* tInterface = nullptr;
        komSetClassRegistry(mPath.c_str());
        EXPECT_EQ(komGetObjectFactory(classId(1).c_str(), "IDL:x:1.0", &tInterface), KPR_E_NOT_A_DSO);
        komSetClassRegistry(tOther.c_str());
        EXPECT_EQ(komGetObjectFactory(classId(1).c_str(), "IDL:x:1.0", &tInterface), KPR_E_NOT_FOUND);
    }
}

TEST_F(RegistryTest, followsALink)
{
    const std::string tReal = mFolder / "real";
    kprtest::writeFile(tReal, "kom-classes 1\n" + classId(1) + " /a\n");
    std::error_code tError;
    std::filesystem::create_symlink(tReal, mPath, tError);
    if (tError) GTEST_SKIP() << "no symbolic links here: " << tError.message();
    EXPECT_EQ(listed().size(), 1u);
    EXPECT_EQ(registerClass(classId(2), "/b"), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink(mPath));
    EXPECT_EQ(kprtest::readFile(tReal), "kom-classes 1\n" + classId(1) + " /a\n" + classId(2) + " /b\n");
}

TEST_F(RegistryTest, isReadWhileAnotherHoldsTheLock)
{
    registerClass(classId(1), "/a");
    KprFile tLock;
    ASSERT_EQ(kprOpenFile((mPath + ".lock").c_str(), KPR_OPEN_READ_WRITE, &tLock), 0u);
    ASSERT_EQ(kprLockFile(tLock, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    EXPECT_EQ(listed().size(), 1u);
    EXPECT_EQ(kprCloseFile(tLock), 0u);
}

constexpr unsigned PER_WRITER = 12;

void registerMany(unsigned pWriter, const char* pRegistry)
{
    for (unsigned i = 0; i < PER_WRITER; ++i)
        EXPECT_EQ(registerClass(classId(pWriter * 1000 + i), "/module/" + std::to_string(pWriter), pRegistry),
                  0u);
}

void expectWritersDone(unsigned pWriters)
{
    const Classes tClasses = listed();
    EXPECT_EQ(tClasses.size(), pWriters * PER_WRITER);
    const std::set<std::pair<std::string, std::string>> tSet(tClasses.begin(), tClasses.end());
    for (unsigned tWriter = 0; tWriter < pWriters; ++tWriter)
        for (unsigned i = 0; i < PER_WRITER; ++i)
            EXPECT_TRUE(tSet.contains({classId(tWriter * 1000 + i), "/module/" + std::to_string(tWriter)}));
}

TEST_F(RegistryTest, takesEightThreadsAtOnce)
{
    std::vector<std::thread> tThreads;
    for (unsigned i = 0; i < 8; ++i)
        tThreads.emplace_back(registerMany, i, nullptr);
    // Whoever reads meanwhile finds it whole.
    for (size_t tSeen = 0; tSeen < 8 * PER_WRITER;) {
        const size_t tNow = listed().size();
        EXPECT_GE(tNow, tSeen);
        if (HasFailure()) break;
        tSeen = tNow;
    }
    for (auto& tThread : tThreads)
        tThread.join();
    expectWritersDone(8);
}

TEST_F(RegistryTest, takesSeveralProcessesAtOnce)
{
    {
        kprtest::ChildProcess tFirst({"--register", mPath, "0"}), tSecond({"--register", mPath, "1"});
        registerMany(2, nullptr);
        EXPECT_EQ(tFirst.wait(), 0);
        EXPECT_EQ(tSecond.wait(), 0);
    }
    expectWritersDone(3);
}

TEST_F(RegistryTest, staysWholeWhenAProcessIsStopped)
{
    for (int i = 0; i < 5; ++i) {
        kprtest::ChildProcess tChild({"--toggle", mPath});
        ASSERT_TRUE(kprtest::waitForFile(mPath));
        for (int tTurn = 0; tTurn < 3; ++tTurn)
            EXPECT_LE(listed().size(), 1u);
        tChild.kill();
        EXPECT_EQ(registerClass(classId(0), "/own"), 0u) << "its lock has gone with it";
        EXPECT_EQ(listed(), (Classes{{classId(0), "/own"}}));
        unregisterClass(classId(0), "/own");
    }
}

int runChild(const std::vector<std::string>& pArguments)
{
    if (pArguments[0] == "--register") {
        registerMany(static_cast<unsigned>(std::stoul(pArguments[2])), pArguments[1].c_str());
        return testing::Test::HasFailure() ? 1 : 0;
    }
    for (unsigned i = 0;; ++i) // --toggle, until it is stopped
        if (i % 2 == 0)
            registerClass(classId(0), "/child", pArguments[1].c_str());
        else
            unregisterClass(classId(0), "/child", pArguments[1].c_str());
}

} // namespace

int main(int pCount, char** pValues)
{
    testing::InitGoogleTest(&pCount, pValues);
    if (const auto tArguments = kprtest::arguments();
        tArguments.size() > 1 && (tArguments[0] == "--register" || tArguments[0] == "--toggle"))
        return runChild(tArguments);
    return RUN_ALL_TESTS();
}
