// Threads that open the same module at the same time, in an order that the test chooses.
#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include <dlfcn.h>

#include "kom/testing/kom_LoaderTest.h"
#include "kpr/time.h"

namespace {

/// Called by the next thread that has opened a module, before it goes on.
std::function<void()> gOnOpened;

} // namespace

/// What the runtime calls, since a program's functions are found before those of the libraries.
extern "C" uint32_t kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle)
{
    static const auto tReal = reinterpret_cast<decltype(&kprOpenDSO)>(dlsym(RTLD_NEXT, "kprOpenDSO"));
    const uint32_t tRes = tReal(pPath, pFlags, pHandle);
    if (const auto tOnOpened = std::exchange(gOnOpened, nullptr)) tOnOpened();
    return tRes;
}

namespace kom::test {

namespace {

TEST(LoaderOrderTest, aThreadThatHasJustOpenedAModuleWaitsWhileItsSingletonGoes)
{
    const kprtest::TemporaryDirectory tFolder;
    komSetClassRegistry((tFolder / "classes").c_str());
    ASSERT_EQ(komRegisterModule(modulePath("a").c_str()), 0u);

    std::promise<void> tOpened, tEmptying;
    std::atomic<bool> tServed = false;
    gOnOpened = [&] {
        tOpened.set_value();
        tEmptying.get_future().wait();
    };
    std::thread tLate([&] {
        EXPECT_TRUE(make(CLASS_A_THING));
        tServed = true;
    });
    tOpened.get_future().wait();
    make(CLASS_A_SINGLETON)->keep(retain(new EndTeller([&] {
                                      tEmptying.set_value();
                                      kprSleep(100);
                                      EXPECT_FALSE(tServed) << "the holder is just being emptied";
                                  })).get());
    unload();
    tLate.join();
    EXPECT_TRUE(tServed);
    unload();
    komSetClassRegistry(nullptr);
}

} // namespace

} // namespace kom::test
