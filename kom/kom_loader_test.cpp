// The loader with real modules.
#include "kom/runtime.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kom/heap.h"
#include "kom/implements.h"
#include "kom/testmodule/ITestThing.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

#if defined(__SANITIZE_THREAD__)
// The sanitizer does not see the lock under which the system's loader opens and closes modules: neither
// between the static initialisers of a module that is loaded again, nor for the loader's own records of
// modules.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions()
{
    return "race:call_init\nrace:kprGetModulePath\nrace:ld-linux-x86-64\n";
}
#endif

namespace kom::test {

namespace {

/// The path of a test module, which lies beside this program.
std::string modulePath(const std::string& pName)
{
    char tFolder[4096];
    EXPECT_EQ(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder), 0u);
    return std::string(tFolder) + kprGetPathSeparator() + kprGetDSOPrefix() + "kom_testmodule_" + pName +
           kprGetDSOSuffix();
}

bool isLoaded(const std::string& pName)
{
    const std::string tFile = "kom_testmodule_" + pName + kprGetDSOSuffix();
    KprModuleList* tList = nullptr;
    EXPECT_EQ(kprListLoadedModules(&tList), 0u);
    bool tFound = false;
    for (uint32_t i = 0; tList && i < tList->count; ++i)
        tFound = tFound || std::string(tList->modules[i].path).ends_with(tFile);
    kprFree(tList);
    return tFound;
}

KomHeapStats heapStats()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats;
}

uint32_t unload()
{
    uint32_t tCount = 99;
    EXPECT_EQ(komUnloadModules(&tCount), 0u);
    return tCount;
}

Ref<ITestThing> make(const char* pClassId)
{
    Ref<ITestThing> tThing;
    EXPECT_EQ(createInstance(pClassId, tThing), 0u);
    return tThing;
}

size_t countClasses()
{
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), 0u);
    const size_t tCount = tList ? tList->count : 0;
    komFree(tList);
    return tCount;
}

/// A module that the test itself has open, for what it exports beside its entry points.
class OpenModule {
public:
    explicit OpenModule(const std::string& pName)
    {
        EXPECT_EQ(kprOpenDSO(modulePath(pName).c_str(), 0, &mHandle), 0u);
    }
    ~OpenModule() { EXPECT_EQ(kprCloseDSO(mHandle), 0u); }
    OpenModule(const OpenModule&) = delete;
    OpenModule& operator=(const OpenModule&) = delete;

    template <class TFunction>
    TFunction symbol(const char* pName)
    {
        void* tAddress = nullptr;
        EXPECT_EQ(kprGetDSOSymbol(mHandle, pName, &tAddress), 0u);
        return reinterpret_cast<TFunction>(tAddress);
    }

private:
    KprDSO mHandle = 0;
};

/// Calls a function when it is destroyed.
class EndTeller : public Implements<EndTeller, ITestThing> {
    friend Implements;

public:
    explicit EndTeller(std::function<void()> pOnEnd) : mOnEnd(std::move(pOnEnd)) {}
    virtual ~EndTeller() { mOnEnd(); }
    uint32_t getModule(char*) override { return E_NOT_SUPPORTED; }
    uint32_t keep(IUnknown*) override { return E_NOT_SUPPORTED; }

private:
    const std::function<void()> mOnEnd;
    RefCount mRefCount;
};

class LoaderTest : public testing::Test {
protected:
    LoaderTest()
    {
        komSetClassRegistry((mFolder / "classes").c_str());
        for (const char* tName : {"a", "b", "plain"})
            EXPECT_EQ(komRegisterModule(modulePath(tName).c_str()), 0u);
    }
    ~LoaderTest() override
    {
        komUnloadModules(nullptr);
        EXPECT_FALSE(isLoaded("a"));
        EXPECT_FALSE(isLoaded("b"));
        EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects);
        EXPECT_EQ(heapStats().liveBlocks, mBefore.liveBlocks);
        komSetClassRegistry(nullptr);
    }

    const KomHeapStats mBefore = heapStats();
    kprtest::TemporaryDirectory mFolder;
};

TEST_F(LoaderTest, registersModules)
{
    KomClassList* tList = nullptr;
    ASSERT_EQ(komListClasses(&tList), 0u);
    ASSERT_EQ(tList->count, 7u);
    char tReal[4096];
    ASSERT_EQ(kprGetRealPath(modulePath("a").c_str(), tReal, sizeof tReal), 0u);
    EXPECT_STREQ(tList->classes[0].classId, CLASS_A_THING);
    EXPECT_STREQ(tList->classes[0].modulePath, tReal) << "the absolute path";
    EXPECT_STREQ(tList->classes[6].classId, CLASS_PLAIN);
    komFree(tList);
    EXPECT_FALSE(isLoaded("a")) << "registering does not keep a module";

    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), 0u);
    EXPECT_EQ(countClasses(), 4u);
    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), KOM_E_CLASSNOTREGISTERED);
    Ref<ITestThing> tThing;
    EXPECT_EQ(createInstance(CLASS_A_THING, tThing), KOM_E_CLASSNOTREGISTERED);
    EXPECT_FALSE(tThing);
}

TEST_F(LoaderTest, keepsWhatWasRegisteredBeforeAFailure)
{
    OpenModule tModule("a");
    const auto tFailAt = tModule.symbol<TestFailAt>("testFailAt");

    // Unregistering goes on past the failure and returns it, registering stops at it.
    tFailAt(1, KPR_E_IO);
    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), KPR_E_IO);
    EXPECT_EQ(countClasses(), 5u);
    tFailAt(0, 0);
    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), KOM_E_CLASSNOTREGISTERED) << "the first was gone";
    EXPECT_EQ(countClasses(), 4u);
    tFailAt(2, KPR_E_NO_SPACE);
    EXPECT_EQ(komRegisterModule(modulePath("a").c_str()), KPR_E_NO_SPACE);
    EXPECT_EQ(countClasses(), 6u);
    tFailAt(0, 0);
    EXPECT_TRUE(make(CLASS_A_THING));
}

TEST_F(LoaderTest, forgetsWhatAModuleTakesBackWhileItRegisters)
{
    OpenModule tModule("a");
    const auto tOnRegister = tModule.symbol<TestOnRegister>("testOnRegister");
    const auto tTakeBack = [](unsigned int pFlags, void* pContext) {
        KomRegistration tOther = {nullptr, "/other"};
        EXPECT_EQ(komUnregisterDSO(CLASS_A_THING, pFlags, &tOther), KOM_E_CLASSNOTREGISTERED)
            << "this module's";
        EXPECT_EQ(komUnregisterDSO(CLASS_A_THING, pFlags, pContext), 0u);
        EXPECT_EQ(komUnregisterDSO(CLASS_A_THING, pFlags, pContext), KOM_E_CLASSNOTREGISTERED);
        EXPECT_EQ(komUnregisterDSO(CLASS_B_THING, pFlags, pContext), KOM_E_CLASSNOTREGISTERED)
            << "another module's";
        EXPECT_EQ(komUnregisterDSO("eeeeeeee-0000-4000-8000-000000000000", pFlags, pContext),
                  KOM_E_CLASSNOTREGISTERED);
        return KPR_E_NO_SPACE;
    };
    tOnRegister(tTakeBack);
    // The class stood in the file before, and then it does not.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(komRegisterModule(modulePath("a").c_str()), KPR_E_NO_SPACE);
        Ref<ITestThing> tThing;
        EXPECT_EQ(createInstance(CLASS_A_THING, tThing), KOM_E_CLASSNOTREGISTERED);
        EXPECT_EQ(countClasses(), 6u);
    }
    // In any order, also what was not entered in the same go.
    tOnRegister([](unsigned int pFlags, void* pContext) {
        EXPECT_EQ(komUnregisterDSO(CLASS_A_THING, pFlags, pContext), 0u);
        EXPECT_EQ(komRegisterDSO(CLASS_A_THING, pFlags, pContext), 0u);
        return komRegisterDSO("eeeeeeee-0000-4000-8000-000000000000", pFlags, pContext);
    });
    EXPECT_EQ(komRegisterModule(modulePath("a").c_str()), 0u);
    EXPECT_EQ(countClasses(), 8u);
    tOnRegister([](unsigned int pFlags, void* pContext) {
        EXPECT_EQ(komUnregisterDSO("eeeeeeee-0000-4000-8000-000000000000", pFlags, pContext), 0u);
        return komUnregisterDSO("eeeeeeee-0000-4000-8000-000000000000", pFlags, pContext);
    });
    EXPECT_EQ(komRegisterModule(modulePath("a").c_str()), KOM_E_CLASSNOTREGISTERED);
    EXPECT_EQ(countClasses(), 7u);
    EXPECT_TRUE(make(CLASS_A_THING));
    tOnRegister(nullptr);
}

TEST_F(LoaderTest, takesAModulesClassesOutAtOnce)
{
    OpenModule tModule("a");
    const auto tOnUnregister = tModule.symbol<void (*)(void (*)())>("testOnUnregister");
    tOnUnregister([] { EXPECT_EQ(countClasses(), 7u) << "all of them are there to the end"; });
    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), 0u);
    EXPECT_EQ(countClasses(), 4u);
    // What somebody else enters meanwhile stays.
    ASSERT_EQ(komRegisterModule(modulePath("a").c_str()), 0u);
    tOnUnregister([] {
        std::thread([] {
            KomRegistration tOther = {nullptr, "/other"};
            EXPECT_EQ(komRegisterDSO(CLASS_A_THING, 0, &tOther), 0u);
        }).join();
    });
    EXPECT_EQ(komUnregisterModule(modulePath("a").c_str()), 0u);
    EXPECT_EQ(countClasses(), 5u);
    tOnUnregister(nullptr);
}

TEST_F(LoaderTest, registersAModuleWhileAnotherRegisters)
{
    OpenModule tModule("a");
    const auto tOnRegister = tModule.symbol<TestOnRegister>("testOnRegister");
    ASSERT_EQ(komUnregisterModule(modulePath("a").c_str()), 0u);
    ASSERT_EQ(komUnregisterModule(modulePath("b").c_str()), 0u);
    tOnRegister([](unsigned int pFlags, void* pContext) {
        EXPECT_EQ(komRegisterModule(modulePath("b").c_str()), 0u);
        EXPECT_EQ(countClasses(), 4u) << "the inner module's classes are there, the outer one's not yet";
        EXPECT_EQ(komRegisterDSO("eeeeeeee-0000-4000-8000-000000000000", pFlags, pContext), 0u);
        EXPECT_EQ(countClasses(), 4u) << "still collected";
        return 0u;
    });
    EXPECT_EQ(komRegisterModule(modulePath("a").c_str()), 0u);
    EXPECT_EQ(countClasses(), 8u);
    tOnRegister(nullptr);
}

TEST_F(LoaderTest, refusesWhatIsNoModule)
{
    for (const auto tCall : {komRegisterModule, komUnregisterModule}) {
        EXPECT_EQ(tCall(nullptr), E_INVALIDARG);
        EXPECT_EQ(tCall((mFolder / "missing").c_str()), KPR_E_NOT_FOUND);
        kprtest::writeFile(mFolder / "text", "not a module");
        EXPECT_EQ(tCall((mFolder / "text").c_str()), KPR_E_NOT_A_DSO);
        EXPECT_EQ(tCall(modulePath("bare").c_str()), KOM_E_NOT_A_MODULE);
        EXPECT_FALSE(isLoaded("bare"));
    }
    EXPECT_EQ(countClasses(), 7u);
}

TEST_F(LoaderTest, returnsWhyThereIsNoFactory)
{
    const std::string tText = mFolder / "text";
    kprtest::writeFile(tText, "not a module");
    const std::pair<std::string, std::string> tRows[] = {
        {"dddddddd-0000-4000-8000-000000000001", mFolder / "missing"},
        {"dddddddd-0000-4000-8000-000000000002", tText},
        {"dddddddd-0000-4000-8000-000000000003", modulePath("bare")},
        {"dddddddd-0000-4000-8000-000000000004", modulePath("a")}};
    for (const auto& [tId, tPath] : tRows) {
        KomRegistration tRegistration = {nullptr, tPath.c_str()};
        ASSERT_EQ(komRegisterDSO(tId.c_str(), 0, &tRegistration), 0u);
    }
    const std::pair<const char*, uint32_t> tExpected[] = {
        {tRows[0].first.c_str(), KPR_E_NOT_FOUND},
        {tRows[1].first.c_str(), KPR_E_NOT_A_DSO},
        {tRows[2].first.c_str(), KOM_E_NOT_A_MODULE},
        {tRows[3].first.c_str(), KOM_E_CLASSNOTAVAILABLE},
        {CLASS_A_MISSING, KOM_E_CLASSNOTAVAILABLE},
        {"eeeeeeee-0000-4000-8000-000000000000", KOM_E_CLASSNOTREGISTERED},
        {"AAAAAAAA-0000-4000-8000-000000000001", KOM_E_CLASSNOTREGISTERED},
        {"", KOM_E_CLASSNOTREGISTERED},
        {nullptr, KOM_E_CLASSNOTREGISTERED}};
    for (const auto tCall : {komGetObjectFactory, komCreateInstance})
        for (const auto& [tId, tCode] : tExpected) {
            auto* tOut = reinterpret_cast<IUnknown*>(&mFolder);
            EXPECT_EQ(tCall(tId, IUnknown::IID, &tOut), tCode) << (tId ? tId : "null");
            EXPECT_EQ(tOut, nullptr);
            EXPECT_EQ(tCall(tId, IUnknown::IID, nullptr), E_INVALIDARG);
        }
}

TEST_F(LoaderTest, handsOutFactories)
{
    Ref<IObjectFactory> tFactory;
    IUnknown* tFace = nullptr;
    ASSERT_EQ(komGetObjectFactory(CLASS_A_THING, IObjectFactory::IID, &tFace), 0u);
    tFactory = adopt(static_cast<IObjectFactory*>(tFace));
    EXPECT_EQ(unload(), 0u) << "a factory lives";
    ASSERT_EQ(tFactory->createInstance(nullptr, ITestThing::IID, &tFace), 0u);
    EXPECT_EQ(tFace->release(), 0u);
    EXPECT_EQ(komGetObjectFactory(CLASS_A_THING, ITestThing::IID, &tFace), E_NOINTERFACE);
    EXPECT_EQ(tFace, nullptr);
    EXPECT_EQ(komCreateInstance(CLASS_A_THING, "IDL:kom/test/ITestThing:1.1", &tFace), E_NOINTERFACE);
    EXPECT_EQ(tFace, nullptr);
}

TEST_F(LoaderTest, makesObjectsOfTheirModules)
{
    char tLetter = '?';
    EXPECT_EQ(make(CLASS_A_THING)->getModule(&tLetter), 0u);
    EXPECT_EQ(tLetter, 'a');
    EXPECT_EQ(make(CLASS_B_SINGLETON)->getModule(&tLetter), 0u);
    EXPECT_EQ(tLetter, 'b');
    EXPECT_EQ(make(CLASS_A_SINGLETON), make(CLASS_A_SINGLETON));
    EXPECT_NE(make(CLASS_A_THING).get(), make(CLASS_B_THING).get());
}

TEST_F(LoaderTest, keepsAModuleWhileItsObjectsLive)
{
    auto tA = make(CLASS_A_THING), tB = make(CLASS_B_THING);
    EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects + 2);
    EXPECT_EQ(unload(), 0u);
    tA.reset();
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("a"));
    EXPECT_TRUE(isLoaded("b"));
    char tLetter = '?';
    EXPECT_EQ(tB->getModule(&tLetter), 0u);
    EXPECT_EQ(tLetter, 'b');
    tB.reset();
    EXPECT_EQ(unload(), 1u);
    EXPECT_EQ(unload(), 0u);
    EXPECT_TRUE(make(CLASS_A_THING)) << "it is loaded again when it is wanted";
    EXPECT_EQ(unload(), 1u);
}

TEST_F(LoaderTest, letsASingletonGoWithItsModule)
{
    auto tUser = make(CLASS_A_SINGLETON);
    EXPECT_EQ(unload(), 0u) << "somebody uses it";
    tUser.reset();
    EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects + 1) << "the module keeps it";
    const auto tOther = make(CLASS_A_THING);
    EXPECT_EQ(unload(), 0u) << "another object lives";
    const_cast<Ref<ITestThing>&>(tOther).reset();
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("a"));
    EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects) << "the holder let go at the unloading";
}

TEST_F(LoaderTest, unloadsWhatOnlyAnUnloadedModuleUsed)
{
    // In both directions, since the modules are looked at in the order of their paths.
    for (const auto& [tKeeper, tKept] :
         {std::pair(CLASS_A_SINGLETON, CLASS_B_THING), std::pair(CLASS_B_SINGLETON, CLASS_A_THING)}) {
        make(tKeeper)->keep(make(tKept).get());
        EXPECT_EQ(unload(), 2u);
    }
}

TEST_F(LoaderTest, servesItsOwnThreadWhileASingletonGoes)
{
    bool tEnded = false;
    make(CLASS_A_SINGLETON)->keep(retain(new EndTeller([&] {
                                      EXPECT_EQ(unload(), 0u) << "its code runs";
                                      char tLetter = '?';
                                      EXPECT_EQ(make(CLASS_A_THING)->getModule(&tLetter), 0u);
                                      EXPECT_EQ(tLetter, 'a');
                                      tEnded = true;
                                  })).get());
    EXPECT_EQ(unload(), 1u);
    EXPECT_TRUE(tEnded);
}

TEST_F(LoaderTest, hasOtherThreadsWaitWhileASingletonGoes)
{
    std::atomic<bool> tServed = false;
    std::thread tOther;
    make(CLASS_A_SINGLETON)->keep(retain(new EndTeller([&] {
                                      tOther = std::thread([&] {
                                          EXPECT_TRUE(make(CLASS_A_SINGLETON));
                                          tServed = true;
                                      });
                                      kprSleep(100);
                                      EXPECT_FALSE(tServed) << "the holder is just being emptied";
                                  })).get());
    unload();
    ASSERT_TRUE(tOther.joinable());
    tOther.join();
    EXPECT_TRUE(tServed);
    unload();
}

TEST_F(LoaderTest, emptiesASingletonOnceACall)
{
    // One that is made anew whenever it goes would keep a loop busy for ever.
    unsigned tEnds = 0;
    std::function<void()> tMakeAnew = [&] {
        if (++tEnds < 100) make(CLASS_A_SINGLETON)->keep(retain(new EndTeller(tMakeAnew)).get());
    };
    tMakeAnew();
    EXPECT_EQ(unload(), 0u);
    EXPECT_EQ(tEnds, 2u);
    tEnds = 100;
    make(CLASS_A_SINGLETON)->keep(nullptr);
    EXPECT_EQ(unload(), 1u);
}

TEST_F(LoaderTest, keepsAModuleWhoseSingletonAnotherUses)
{
    auto tUser = make(CLASS_B_THING);
    tUser->keep(make(CLASS_A_SINGLETON).get());
    EXPECT_EQ(unload(), 0u);
    tUser.reset();
    EXPECT_EQ(unload(), 2u);
}

TEST_F(LoaderTest, keepsAModuleWhoseObjectHasItsBaseInALibrary)
{
    ASSERT_EQ(komRegisterModule(modulePath("derived").c_str()), 0u);
    {
        const auto tThing = make(CLASS_DERIVED);
        EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects + 1);
        EXPECT_EQ(unload(), 0u);
        ASSERT_TRUE(isLoaded("derived")) << "its class lies there, whoever compiled the base";
        char tLetter = '?';
        EXPECT_EQ(tThing->getModule(&tLetter), 0u);
        EXPECT_EQ(tLetter, 'd');
    }
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("derived"));
}

TEST_F(LoaderTest, keepsAModuleThatItCannotJudge)
{
    char tLetter = '?';
    EXPECT_EQ(make(CLASS_PLAIN)->getModule(&tLetter), 0u);
    EXPECT_EQ(tLetter, 'p');
    EXPECT_EQ(unload(), 0u);
    EXPECT_TRUE(isLoaded("plain"));
}

TEST_F(LoaderTest, unloadsWithoutBeingAskedForTheCount)
{
    make(CLASS_A_THING);
    EXPECT_EQ(komUnloadModules(nullptr), 0u);
    EXPECT_FALSE(isLoaded("a"));
}

TEST_F(LoaderTest, followsAChangeOfTheRegistry)
{
    EXPECT_TRUE(make(CLASS_A_THING));
    const std::string tNowhere = modulePath("nowhere");
    KomRegistration tRegistration = {nullptr, tNowhere.c_str()};
    ASSERT_EQ(komRegisterDSO(CLASS_A_THING, 0, &tRegistration), 0u);
    Ref<ITestThing> tThing;
    EXPECT_EQ(createInstance(CLASS_A_THING, tThing), KPR_E_NOT_FOUND);
}

TEST_F(LoaderTest, servesEightThreads)
{
    std::atomic<unsigned> tWaiting{8};
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 8; ++i)
        tThreads.emplace_back([&] {
            for (--tWaiting; tWaiting != 0;) // all load at the same time
                std::this_thread::yield();
            const auto tKept = make(CLASS_A_THING);
            const auto tOther = make(CLASS_B_THING);
            for (int tTurn = 0; tTurn < 50; ++tTurn) {
                make(CLASS_A_THING)->keep(make(CLASS_B_THING).get());
                if (tTurn % 10 == 0) {
                    EXPECT_EQ(unload(), 0u);
                }
            }
        });
    for (auto& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(unload(), 2u);
}

TEST_F(LoaderTest, keepsAModuleThatIsBeingCalled)
{
    OpenModule tModule("a");
    const auto tOnFactory = tModule.symbol<TestOnFactory>("testOnFactory");
    static uint32_t tCalls;
    tCalls = 0;
    tOnFactory([] {
        ++tCalls;
        EXPECT_EQ(unload(), 0u) << "no object lives, but its code runs";
    });
    IUnknown* tOut = nullptr;
    EXPECT_EQ(komGetObjectFactory(CLASS_A_MISSING, IUnknown::IID, &tOut), KOM_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(komCreateInstance(CLASS_A_MISSING, IUnknown::IID, &tOut), KOM_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(tCalls, 2u);
    tOnFactory(nullptr);
    EXPECT_EQ(unload(), 1u);
}

TEST_F(LoaderTest, unloadsNothingThatIsBeingCalled)
{
    std::atomic<bool> tStop{false};
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 4; ++i)
        tThreads.emplace_back([&] {
            while (!tStop) {
                // Neither leaves an object behind; only the call itself keeps the module.
                IUnknown* tOut = nullptr;
                EXPECT_EQ(komGetObjectFactory(CLASS_A_MISSING, IUnknown::IID, &tOut),
                          KOM_E_CLASSNOTAVAILABLE);
                EXPECT_EQ(komCreateInstance(CLASS_A_THING, "IDL:x:1.0", &tOut), E_NOINTERFACE);
                kprSleep(1); // leaves moments in which nobody calls
            }
        });
    uint32_t tUnloaded = 0;
    for (int i = 0; i < 5000 && tUnloaded < 20; ++i) {
        tUnloaded += unload();
        kprSleep(1);
    }
    tStop = true;
    for (auto& tThread : tThreads)
        tThread.join();
    EXPECT_GT(tUnloaded, 0u);
}

} // namespace

} // namespace kom::test
