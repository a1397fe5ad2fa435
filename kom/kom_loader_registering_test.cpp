// Modules and the registry: entering their classes and taking them out.
#include "kom/testing/kom_LoaderTest.h"

#include <thread>

#include "kpr/path.h"

namespace kom::test {

namespace {

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

} // namespace

} // namespace kom::test
