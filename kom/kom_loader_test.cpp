// The loader with real modules: factories, objects, threads.
#include "kom/testing/kom_LoaderTest.h"

#include <atomic>
#include <thread>
#include <vector>

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
    IUnknown* tInterface = nullptr;
    ASSERT_EQ(komGetObjectFactory(CLASS_A_THING, IObjectFactory::IID, &tInterface), 0u);
    tFactory = adopt(static_cast<IObjectFactory*>(tInterface));
    EXPECT_EQ(unload(), 0u) << "a factory lives";
    ASSERT_EQ(tFactory->createInstance(nullptr, ITestThing::IID, &tInterface), 0u);
    EXPECT_EQ(tInterface->release(), 0u);
    EXPECT_EQ(komGetObjectFactory(CLASS_A_THING, ITestThing::IID, &tInterface), E_NOINTERFACE);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_EQ(komCreateInstance(CLASS_A_THING, "IDL:kom/test/ITestThing:1.1", &tInterface), E_NOINTERFACE);
    EXPECT_EQ(tInterface, nullptr);
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
    const auto tUnload = [] {
        ++tCalls;
        const uint64_t tLive = heapStats().liveObjects;
        EXPECT_EQ(unload(), 0u) << "its code runs";
        EXPECT_EQ(heapStats().liveObjects, tLive) << "the call may be about to use the singleton";
    };
    for (const bool tSingleton : {false, true}) {
        tOnFactory(nullptr);
        if (tSingleton) make(CLASS_A_SINGLETON);
        tOnFactory(tUnload);
        IUnknown* tOut = nullptr;
        EXPECT_EQ(komGetObjectFactory(CLASS_A_MISSING, IUnknown::IID, &tOut), KOM_E_CLASSNOTAVAILABLE);
        EXPECT_EQ(komCreateInstance(CLASS_A_MISSING, IUnknown::IID, &tOut), KOM_E_CLASSNOTAVAILABLE);
    }
    EXPECT_EQ(tCalls, 4u);
    tOnFactory(nullptr);
    EXPECT_EQ(unload(), 1u);
}

TEST_F(LoaderTest, knowsAModuleUnderEachOfItsPaths)
{
    const std::string tAlias = otherPath("a");
    KomRegistration tRegistration = {nullptr, tAlias.c_str()};
    ASSERT_EQ(komRegisterDSO(CLASS_A_MISSING, 0, &tRegistration), 0u);
    // Loaded by the one path and by the other.
    for (const char* tFirst : {CLASS_A_THING, CLASS_A_MISSING}) {
        IUnknown* tOut = nullptr;
        EXPECT_TRUE(KFAILED(komGetObjectFactory(tFirst, "IDL:x:1.0", &tOut)));
        {
            OpenModule tModule("a");
            const auto tOnFactory = tModule.symbol<TestOnFactory>("testOnFactory");
            make(CLASS_A_SINGLETON);
            tOnFactory([] {
                const uint64_t tLive = heapStats().liveObjects;
                EXPECT_EQ(unload(), 0u) << "its code runs";
                EXPECT_EQ(heapStats().liveObjects, tLive) << "the call may be about to use the singleton";
            });
            for (const char* tClass : {CLASS_A_THING, CLASS_A_MISSING})
                EXPECT_TRUE(KFAILED(komGetObjectFactory(tClass, "IDL:x:1.0", &tOut)));
            tOnFactory(nullptr);
            EXPECT_EQ(unload(), 1u) << "it is one module";
        }
        EXPECT_FALSE(isLoaded("a")) << "however often it was opened";
        EXPECT_EQ(unload(), 0u);
    }
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
