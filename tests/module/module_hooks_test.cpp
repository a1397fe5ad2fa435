// A close hook that an application keeps keeps its module loaded, whoever made it and however the application
// came to keep it. Each test runs in a process of its own, which a call into a module that is gone ends.
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "kfw/ISendMailConfig.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"
#include "kom/runtime.h"
#include "kom/testing/kom_unload.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/module/hookmodule.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestDirectory.h"
#include "tests/support/TestSettings.h"

namespace vel::kos::test {

namespace {

using kom::test::unload;
using kprtest::isLoaded;
using kprtest::modulePath;

template <class TInterface>
kom::Ref<TInterface> make(const char* pClassId)
{
    kom::Ref<TInterface> tObject;
    EXPECT_EQ(kom::createInstance(pClassId, tObject), 0u);
    return tObject;
}

void initUserData(TestApplication* pApp)
{
    EXPECT_EQ(make<fw::IRegDbUserData>(fw::CLASS_USER_DATA)->init(pApp), 0u);
}

std::string lastName()
{
    kom::HeapString tName;
    EXPECT_EQ(make<fw::IAddressData2>(fw::CLASS_USER_DATA)->getLastName(tName.out()), 0u);
    return tName.c_str();
}

/// What every test begins with.
struct Host {
    Host()
    {
        EXPECT_EQ(komSetClassRegistry((folder.path() / "classes").string().c_str()), 0u);
        for (const char* tName : {"kfw", "hookmodule"})
            EXPECT_EQ(komRegisterModule(modulePath(tName).c_str()), 0u);
        settings.makeModuleNode();
    }

    TestDirectory folder;
    TestSettings settings;
};

void keepAHookAfterItsRemoval()
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tApp = tHost.settings.application();
    initUserData(tApp.get());
    auto tHooks = tApp->hooks();
    ASSERT_EQ(tHooks.size(), 1u);

    EXPECT_EQ(unload(), 0u);
    EXPECT_EQ(tApp->hookCount(), 0u) << "the singleton let go, and its hook was removed";
    EXPECT_EQ(tApp->references(), 1u);
    ASSERT_TRUE(isLoaded("kfw"));
    EXPECT_EQ(tHooks[0]->onAppClose(), E_WRONG_STATE);

    tHooks.clear();
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("kfw"));
}

void failToRemoveAHook()
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tApp = tHost.settings.application();
    initUserData(tApp.get());
    tApp->failOperation("removeCloseHook", E_FAIL);
    EXPECT_EQ(unload(), 0u);
    EXPECT_EQ(tApp->hookCount(), 1u);
    ASSERT_TRUE(isLoaded("kfw"));
    tApp->close();
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("kfw"));
}

void enrolAHookOfAnotherModule()
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tApp = tHost.settings.application();
    EXPECT_EQ(make<fw::IRegDbSendMailConfig>(CLASS_ENROLLER)->init(tApp.get()), 0u);
    EXPECT_EQ(unload(), 0u);
    ASSERT_TRUE(isLoaded("hookmodule"));
    tApp->close();
    EXPECT_EQ(tApp->calls("setStatusText"), 1u);
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("hookmodule"));
}

void keepASingletonBesideAHookThatIsNobodys()
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tFirst = tHost.settings.application(), tSecond = tHost.settings.application();
    initUserData(tFirst.get());
    auto tKept = tFirst->hooks();
    EXPECT_EQ(unload(), 0u);

    // The module stays for the first hook's sake; what is made from now on is not let go for nothing.
    initUserData(tSecond.get());
    EXPECT_EQ(make<fw::IAddressData2>(fw::CLASS_USER_DATA)->setLastName("Lovelace"), 0u);
    EXPECT_EQ(unload(), 0u);
    EXPECT_EQ(lastName(), "Lovelace");
    tKept.clear();
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("kfw"));
}

void useTheSettingsAndUnload()
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tApp = tHost.settings.application();
    initUserData(tApp.get());
    EXPECT_EQ(make<fw::IRegDbSendMailConfig>(fw::CLASS_SEND_MAIL_CONFIG)->init(tApp.get()), 0u);
    EXPECT_EQ(tApp->hookCount(), 2u);
    EXPECT_EQ(unload(), 1u);
    EXPECT_FALSE(isLoaded("kfw"));
    EXPECT_EQ(tApp->hookCount(), 0u);
    EXPECT_EQ(tApp->references(), 1u);
}

TestApplication* gApp = nullptr;

/// Has the application that closes unload modules while the singleton of hookmodule saves.
void unloadWhileASingletonSaves(void (*pObserver)(const char* pOperation))
{
    const LeakCheck tLeaks;
    const Host tHost;
    auto tApp = tHost.settings.application();
    EXPECT_EQ(make<fw::IRegDbSendMailConfig>(CLASS_SAVER)->init(tApp.get()), 0u);
    gApp = tApp.get();
    tApp->setObserver(pObserver);
    tApp->close();
    EXPECT_EQ(tApp->calls("setStatusText"), 1u);
    EXPECT_EQ(tApp->calls("requestClose"), 0u);
    EXPECT_EQ(unload(), 1u);
    EXPECT_EQ(tApp->calls("requestClose"), 1u);
    EXPECT_FALSE(isLoaded("hookmodule"));
}

void unloadFromWithinASave()
{
    unloadWhileASingletonSaves([](const char* pOperation) {
        if (pOperation != std::string("setStatusText")) return;
        EXPECT_EQ(unload(), 0u);
        EXPECT_EQ(gApp->calls("requestClose"), 0u) << "the singleton that saves is gone";
    });
}

void unloadFromAnotherThreadDuringASave()
{
    unloadWhileASingletonSaves([](const char* pOperation) {
        if (pOperation != std::string("setStatusText")) return;
        std::thread([] { EXPECT_EQ(unload(), 0u); }).join();
        EXPECT_EQ(gApp->calls("requestClose"), 0u) << "the singleton that saves is gone";
    });
}

/// Runs a scene in a process of its own, which ends with 0 when nothing in it failed.
void expectGood(void (*pScene)())
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            pScene();
            std::fflush(nullptr);
            std::_Exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ModuleHooksDeathTest, aHookKeptAfterItsRemovalKeepsTheModule) { expectGood(keepAHookAfterItsRemoval); }

TEST(ModuleHooksDeathTest, aHookThatCannotBeRemovedKeepsTheModule) { expectGood(failToRemoveAHook); }

TEST(ModuleHooksDeathTest, anEnrolledHookKeepsAModuleThatHasNothingElse)
{
    expectGood(enrolAHookOfAnotherModule);
}

TEST(ModuleHooksDeathTest, aHookThatIsNobodysKeepsTheSingletonsToo)
{
    expectGood(keepASingletonBesideAHookThatIsNobodys);
}

TEST(ModuleHooksDeathTest, aSingletonStaysWhileItSaves)
{
    expectGood(unloadFromWithinASave);
    expectGood(unloadFromAnotherThreadDuringASave);
}

TEST(ModuleHooksDeathTest, theSettingsHooksGoWithTheModule) { expectGood(useTheSettingsAndUnload); }

} // namespace

} // namespace vel::kos::test
