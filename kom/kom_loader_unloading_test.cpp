// When the loader unloads modules, and what becomes of their singletons.
#include "kom/testing/kom_LoaderTest.h"

#include <atomic>
#include <thread>

#include "kpr/time.h"

namespace kom::test {

namespace {

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
    // In both directions, since the modules are looked at in the order in which they were loaded.
    for (const auto& [tKeeper, tKept] :
         {std::pair(CLASS_A_SINGLETON, CLASS_B_THING), std::pair(CLASS_B_SINGLETON, CLASS_A_THING)}) {
        make(CLASS_A_THING);
        make(CLASS_B_THING);
        make(tKeeper)->keep(make(tKept).get());
        EXPECT_EQ(unload(), 2u);
    }
}

TEST_F(LoaderTest, unloadsWhatTheEndOfAnotherModuleSetFree)
{
    // In both directions again.
    for (const auto& [tKeeper, tKept] : {std::pair("a", CLASS_B_THING), std::pair("b", CLASS_A_THING)}) {
        make(CLASS_A_THING);
        make(CLASS_B_THING);
        OpenModule(tKeeper).symbol<TestKeep>("testKeep")(make(tKept).get());
        EXPECT_EQ(unload(), 2u) << "the object goes with a static object of the first module";
        EXPECT_FALSE(isLoaded("a") || isLoaded("b"));
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

} // namespace

} // namespace kom::test
