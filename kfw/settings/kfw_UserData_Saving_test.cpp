// When the user's record is saved, and the close hook that does it.
#include <functional>

#include "kfw/settings/testing/kfw_UserDataTest.h"

namespace vel::kos::kfw {

namespace {

TEST_F(UserDataTest, doesNotSaveWhenDestroyed)
{
    start();
    mAddress->setSalutation("kept");
    mApp->close();
    start();
    mAddress->setSalutation("lost");
    drop();
    EXPECT_EQ(mApp->hookCount(), 0u) << "the application has dropped the hook";
    mApp->close();
    EXPECT_EQ(mSettings.seenFromOutside("UserData").at("Salutation"), "string:kept");
}

/// Notes what the settings hold when the application gets to its own hook.
class Probe final : public fw::IAppCloseHook_Adapter {
public:
    explicit Probe(const test::TestSettings& pSettings) : mSettings(pSettings) {}
    uint32_t queryInterface(const char*, kom::IUnknown** pOut) override
    {
        *pOut = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t addRef() override { return 1; }
    uint32_t release() override { return 1; }
    uint32_t onAppClose() override
    {
        values = mSettings.seenFromOutside("UserData").size();
        return 0;
    }

    size_t values = 99;

private:
    const test::TestSettings& mSettings;
};

TEST_F(UserDataTest, savesAtItsPlaceAmongTheHooks)
{
    start();
    Probe tBefore(mSettings), tAfter(mSettings);
    mApp->addCloseHook(&tAfter, 8501);
    mApp->addCloseHook(&tBefore, 8499);
    mApp->close();
    EXPECT_EQ(tBefore.values, 0u);
    EXPECT_EQ(tAfter.values, 28u);
}

/// What a hook saves, without settings.
class Target : public kom::Implements<Target, fw::IIdleCallout> {
    friend Implements;

public:
    virtual ~Target() = default;
    uint32_t onIdle(unsigned int*) override { return 0; }
    void saveToRegistry()
    {
        if (onSave) onSave();
        ++saved;
    }

    std::function<void()> onSave;
    int saved = 0;

private:
    kom::RefCount mRefCount;
};

TEST_F(UserDataTest, aHookThatOutlivesTheRecordDoesNothing)
{
    auto tTarget = kom::retain(new Target);
    const auto tHook = kom::retain(new util::AppCloseHookAdapter<Target>(mApp.get(), tTarget.get()));
    EXPECT_STREQ(tHook->getInterfaceId(), "IDL:vel/kos/fw/IAppCloseHook:1.0");
    EXPECT_EQ(tHook->onAppClose(), 0u);
    EXPECT_EQ(tTarget->saved, 1);
    tHook->detach();
    EXPECT_EQ(mApp->hookCount(), 0u);
    tTarget.reset();
    EXPECT_EQ(tHook->onAppClose(), 0x80000100u);
}

TEST_F(UserDataTest, aHookKeepsTheRecordThatItSavesAndNoLonger)
{
    auto tTarget = kom::retain(new Target);
    const auto tHook = kom::retain(new util::AppCloseHookAdapter<Target>(mApp.get(), tTarget.get()));
    int tReferences = 0;
    tTarget->onSave = [&] {
        tReferences = static_cast<int>(tTarget->addRef()) - 1;
        tTarget->release();
    };
    EXPECT_EQ(tHook->onAppClose(), 0u);
    EXPECT_EQ(tReferences, 2);
    EXPECT_EQ(tTarget->addRef(), 2u);
    EXPECT_EQ(tTarget->release(), 1u);
    tHook->detach();
}

TEST_F(UserDataTest, aHookThatTheApplicationKeepsLeavesTheFreedRecordAlone)
{
    start();
    mAddress->setSalutation("lost");
    mApp->failOperation("removeCloseHook", E_FAIL);
    drop();
    EXPECT_EQ(mApp->hookCount(), 1u);
    mApp->close();
    EXPECT_TRUE(mSettings.seenFromOutside("UserData").empty());
}

TEST_F(UserDataTest, savesAgainAtEveryCall)
{
    start();
    mAddress->setSalutation("one");
    mData->saveToRegistry();
    mAddress->setSalutation("two");
    mData->saveToRegistry();
    EXPECT_EQ(mSettings.seenFromOutside("UserData").at("Salutation"), "string:two");
}

} // namespace

} // namespace vel::kos::kfw
