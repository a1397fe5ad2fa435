#include "kutil/AppCloseHookBase.h"

#include <gmock/gmock.h>

#include "kutil/log.h"
#include "tests/support/TestApplication.h"

namespace {

using namespace vel::kos;
using test::TestApplication;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> gFallback;

void record(uint32_t, const char* pDomain, const char* pMessage)
{
    gFallback.push_back(std::string(pDomain) + ": " + pMessage);
}

class Hook : public util::AppCloseHookBase {
public:
    Hook(fw::IApplication* pApp, int pOrder, std::vector<int>& pCalls)
        : AppCloseHookBase(pApp, pOrder), mOrder(pOrder), mCalls(pCalls)
    {
    }

    uint32_t onAppClose() override
    {
        mCalls.push_back(mOrder);
        return 0;
    }

private:
    const int mOrder;
    std::vector<int>& mCalls;
};

class CloseHook : public testing::Test {
protected:
    ~CloseHook() override
    {
        mApp.reset();
        EXPECT_EQ(liveObjects(), mLiveBefore);
    }

    static uint64_t liveObjects()
    {
        KomHeapStats tStats;
        komGetHeapStats(&tStats);
        return tStats.liveObjects;
    }

    kom::Ref<Hook> make(int pOrder) { return kom::retain(new Hook(mApp.get(), pOrder, mCalls)); }

    const uint64_t mLiveBefore = liveObjects();
    kom::Ref<TestApplication> mApp = TestApplication::make();
    std::vector<int> mCalls;
};

TEST_F(CloseHook, IsEnrolledAndCalledInItsOrder)
{
    const auto tLate = make(9000);
    const auto tEarly = make(8500);
    EXPECT_EQ(mApp->hookCount(), 2u);
    mApp->close();
    EXPECT_THAT(mCalls, ElementsAre(8500, 9000));
}

TEST_F(CloseHook, IsKeptByTheApplicationUntilItHasRun)
{
    auto tHook = make(1);
    EXPECT_EQ(tHook->addRef(), 3u);
    EXPECT_EQ(tHook->release(), 2u);
    tHook.reset();
    mApp->close();
    EXPECT_THAT(mCalls, ElementsAre(1));
}

TEST_F(CloseHook, IsDroppedByReset)
{
    auto tHook = make(1);
    const uint32_t tHeld = mApp->references();
    tHook->reset();
    EXPECT_EQ(mApp->hookCount(), 0u);
    EXPECT_EQ(mApp->references(), tHeld - 1);
    EXPECT_EQ(mApp->calls("removeCloseHook"), 1u);
    tHook->reset();
    EXPECT_EQ(mApp->calls("removeCloseHook"), 1u);
    mApp->close();
    EXPECT_THAT(mCalls, IsEmpty());
}

TEST_F(CloseHook, MayGiveBackItsLastReferenceInReset)
{
    Hook* tHook = make(1).get(); // the application's reference keeps it
    tHook->reset();
    EXPECT_EQ(mApp->hookCount(), 0u);
}

TEST_F(CloseHook, MayBeResetAfterItRan)
{
    const auto tHook = make(1);
    mApp->close();
    tHook->reset();
    EXPECT_THAT(mCalls, ElementsAre(1));
}

TEST_F(CloseHook, ReturnsItsIdentities)
{
    const auto tHook = make(1);
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IAppCloseHook:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(tHook->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, tHook.get());
        EXPECT_EQ(tInterface->release(), 2u);
    }
    for (const char* tIid :
         {"IDL:vel/kos/fw/IAppCloseHook:1.1", "IDL:vel/kos/fw/iappclosehook:1.0", "", "IDL:x:1.0"}) {
        kom::IUnknown* tInterface = tHook.get();
        EXPECT_EQ(tHook->queryInterface(tIid, &tInterface), E_NOINTERFACE);
        EXPECT_EQ(tInterface, nullptr);
    }
    kom::IUnknown* tInterface = tHook.get();
    EXPECT_EQ(tHook->queryInterface(nullptr, &tInterface), E_NOINTERFACE);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_STREQ(tHook->getInterfaceId(), "IDL:vel/kos/fw/IAppCloseHook:1.0");

    void* tCom = this;
    EXPECT_EQ(tHook->QueryInterface(nullptr, &tCom), E_NOINTERFACE);
    EXPECT_EQ(tCom, nullptr);
    EXPECT_EQ(tHook->AddRef(), 3u);
    EXPECT_EQ(tHook->Release(), 2u);
    tHook->reset(); // the hook holds the application, which holds the hook
}

TEST_F(CloseHook, ReportsAnApplicationThatHasNoHooks)
{
    mApp->refuseInterface(fw::IApplication3::IID, E_NOINTERFACE);
    const auto tHook = make(1);
    EXPECT_THAT(mApp->messages(fw::LOG_LEVEL_ERROR),
                ElementsAre("The object IDL:vel/kos/fw/IApplication5:1.0 doesn't provide the interface "
                            "IDL:vel/kos/fw/IApplication3:1.0: E_NOINTERFACE, interface not supported."));
    EXPECT_EQ(tHook->addRef(), 2u);
    EXPECT_EQ(tHook->release(), 1u);
    tHook->reset();
    mApp->close();
    EXPECT_THAT(mCalls, IsEmpty());
}

TEST_F(CloseHook, ReportsAnApplicationThatReturnsNoInterface)
{
    mApp->refuseInterface(fw::IApplication3::IID, 0);
    const auto tHook = make(1);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR).size(), 1u);
    tHook->reset();
}

TEST_F(CloseHook, ReportsAnApplicationThatRefusesTheHook)
{
    mApp->failOperation("addCloseHook", E_OUTOFMEMORY);
    const auto tHook = make(1);
    EXPECT_THAT(mApp->messages(fw::LOG_LEVEL_ERROR), ElementsAre("Can't enrol a close hook: out of memory"));
    tHook->reset();
    EXPECT_EQ(mApp->calls("removeCloseHook"), 0u);
}

TEST_F(CloseHook, StandsWithoutAnApplication)
{
    util::kSetFallbackLog(record);
    const auto tHook = kom::retain(new Hook(nullptr, 1, mCalls));
    util::kSetFallbackLog(nullptr);
    EXPECT_THAT(gFallback, ElementsAre("kos:kutil: The object null doesn't provide the interface "
                                       "IDL:vel/kos/fw/IApplication3:1.0: E_INVALIDARG, invalid argument."));
    tHook->reset();
}

/// An application that looks at the hook while it is enrolled, and keeps no reference.
class CuriousApplication : public kom::Implements<CuriousApplication, fw::IApplication3> {
    friend Implements;

public:
    virtual ~CuriousApplication() = default;

    uint32_t addCloseHook(fw::IAppCloseHook* pHook, int32_t) override
    {
        kom::Ref<kom::IUnknown> tInterface;
        mAnswer = kom::queryInterface(pHook, tInterface);
        tInterface.reset();
        return 0;
    }
    uint32_t removeCloseHook(fw::IAppCloseHook*) override { return 0; }

    uint32_t getName(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getDisplayName(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getVersion(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getVendor(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getLanguage(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getCatalogueDir(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getProgramDir(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getArgumentCount(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t getArgument(uint32_t, char**) override { return E_NOT_SUPPORTED; }
    uint32_t logMessage(uint32_t, const char*, const char*) override { return E_NOT_SUPPORTED; }
    uint32_t getLogLevel(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t setLogLevel(uint32_t) override { return E_NOT_SUPPORTED; }
    uint32_t reportAssertion(const char*, const char*, const char*, int32_t) override
    {
        return E_NOT_SUPPORTED;
    }
    uint32_t isMainThread(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t isInteractive(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t setStatusText(const char*) override { return E_NOT_SUPPORTED; }
    uint32_t requestClose(int32_t) override { return E_NOT_SUPPORTED; }
    uint32_t isClosing(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t wakeUp() override { return E_NOT_SUPPORTED; }
    uint32_t runIdleCallouts(uint32_t*) override { return E_NOT_SUPPORTED; }
    uint32_t addIdleCallout(fw::IIdleCallout*) override { return E_NOT_SUPPORTED; }
    uint32_t getUserAppDir(char**) override { return E_NOT_SUPPORTED; }
    uint32_t getTempDir(char**) override { return E_NOT_SUPPORTED; }

    uint32_t mAnswer = E_FAIL;

private:
    kom::RefCount mRefCount;
};

TEST_F(CloseHook, OutlivesReferencesGivenBackDuringItsConstruction)
{
    const auto tApp = kom::retain(new CuriousApplication);
    const auto tHook = kom::retain(new Hook(tApp.get(), 1, mCalls));
    EXPECT_EQ(tApp->mAnswer, 0u);
    EXPECT_EQ(tHook->addRef(), 2u);
    EXPECT_EQ(tHook->release(), 1u);
}

} // namespace
