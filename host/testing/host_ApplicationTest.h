// An application in a folder of its own, with callouts and hooks that do what a test wants.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "host/Application.h"
#include "host/testing/host_TestDirectory.h"
#include "kom/ref.h"

namespace vel::kos::host {

/// A callout that does what it is told.
class Callout : public kom::Implements<Callout, fw::IIdleCallout> {
    friend Implements;

public:
    using Action = std::function<uint32_t(unsigned int*)>;
    explicit Callout(Action pAction) : mAction(std::move(pAction)) {}
    virtual ~Callout() = default;
    uint32_t onIdle(unsigned int* pAgain) override { return mAction(pAgain); }

private:
    kom::RefCount mRefCount;
    Action mAction;
};

/// A close hook that does what it is told.
class Hook : public kom::Implements<Hook, fw::IAppCloseHook> {
    friend Implements;

public:
    using Action = std::function<uint32_t()>;
    explicit Hook(Action pAction) : mAction(std::move(pAction)) {}
    virtual ~Hook() = default;
    uint32_t onAppClose() override { return mAction(); }

private:
    kom::RefCount mRefCount;
    Action mAction;
};

inline kom::Ref<Callout> makeCallout(Callout::Action pAction)
{
    return kom::retain(new Callout(std::move(pAction)));
}
inline kom::Ref<Hook> makeHook(Hook::Action pAction) { return kom::retain(new Hook(std::move(pAction))); }

/// Ends after its first call.
inline Callout::Action once(std::function<void()> pAction)
{
    return [tAction = std::move(pAction)](unsigned int* pAgain) {
        tAction();
        *pAgain = 0;
        return 0u;
    };
}

class ApplicationTest : public testing::Test {
protected:
    ApplicationTest()
    {
        mOptions.name = "unithost";
        mOptions.version = "1.2.3";
        mOptions.vendor = "Somebody";
        mOptions.language = "de_AT";
        mOptions.arguments = {"one", "two"};
        mOptions.userAppDir = mDir.file(u8"app");
        mOptions.log.console = false;
        mOptions.log.file = mDir.file(u8"host.log");
    }
    ~ApplicationTest() override
    {
        if (mApp) mApp->close();
    }
    void start()
    {
        std::string tProblem;
        ASSERT_EQ(Application::create(mOptions, mApp, &tProblem), 0u) << tProblem;
    }
    uint32_t runCallouts()
    {
        uint32_t tRan = 0;
        EXPECT_EQ(mApp->runIdleCallouts(&tRan), 0u);
        return tRan;
    }
    std::string log() const { return mDir.read(u8"host.log"); }

    using TextOperation = uint32_t (fw::IApplication5::*)(char**);
    std::string text(TextOperation pOperation)
    {
        kom::HeapString tText;
        EXPECT_EQ((mApp.get()->*pOperation)(tText.out()), 0u);
        EXPECT_EQ((mApp.get()->*pOperation)(nullptr), E_INVALIDARG);
        return tText.c_str();
    }

    TestDirectory mDir;
    ApplicationOptions mOptions;
    kom::Ref<Application> mApp;
};

} // namespace vel::kos::host
