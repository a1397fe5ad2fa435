// Threads that open the same module at the same time, in an order that the test chooses.
#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "kom/implements.h"
#include "kom/runtime.h"
#include "kom/testmodule/ITestThing.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
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

std::string modulePath()
{
    char tFolder[4096];
    EXPECT_EQ(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder), 0u);
    return std::string(tFolder) + "/libkom_testmodule_a.so";
}

Ref<ITestThing> make(const char* pClassId)
{
    Ref<ITestThing> tThing;
    EXPECT_EQ(createInstance(pClassId, tThing), 0u);
    return tThing;
}

TEST(LoaderOrderTest, aThreadThatHasJustOpenedAModuleWaitsWhileItsSingletonGoes)
{
    const kprtest::TemporaryDirectory tFolder;
    komSetClassRegistry((tFolder / "classes").c_str());
    ASSERT_EQ(komRegisterModule(modulePath().c_str()), 0u);

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
    uint32_t tCount = 99;
    EXPECT_EQ(komUnloadModules(&tCount), 0u);
    tLate.join();
    EXPECT_TRUE(tServed);
    EXPECT_EQ(komUnloadModules(&tCount), 0u);
    komSetClassRegistry(nullptr);
}

} // namespace

} // namespace kom::test
