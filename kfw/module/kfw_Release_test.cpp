// A release too many stops the process: every class, and whatever else the module hands out.
#include <csignal>

#include <gtest/gtest.h>

#include "kfw/cache/kfw_FSCache.h"
#include "kfw/events/kfw_EventDispatcher.h"
#include "kfw/features/kfw_FeatureSet.h"
#include "kfw/module/kfw_ObjectFactory.h"
#include "kfw/module/kfw_Singletons.h"
#include "kfw/settings/kfw_RegDbSendMailConfig.h"
#include "kfw/settings/kfw_RegDbUserData.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"
#include "kfw/sysinfo/kfw_SystemInfo.h"

namespace vel::kos::kfw {

namespace {

#if defined(_WIN32)
const auto ABORTED = testing::ExitedWithCode(3);
#else
const auto ABORTED = testing::KilledBySignal(SIGABRT);
#endif

class Callout : public EventDispatcher::IdleCallout {
public:
    Callout() : IdleCallout(nullptr) {}
};

/// Without an application: it is told to nobody when one closes.
class CloseHook : public util::AppCloseHookAdapter<RegDbUserData> {
public:
    CloseHook() : AppCloseHookAdapter(nullptr, nullptr) {}
};

template <class T>
class ReleaseDeathTest : public testing::Test {
protected:
    ReleaseDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    /// The object as a user has it.
    kom::IUnknown* object() const
    {
        if constexpr (requires { mObject->unknown(); })
            return mObject->unknown();
        else
            return mObject;
    }

    T* const mObject = new T; ///< its count is 0

    ~ReleaseDeathTest() override
    {
        mObject->addRef();
        mObject->release();
    }
};

using Classes = testing::Types<EventDispatcher, RegDbUserData, RegDbSendMailConfig, SqlDbFactoryReg, FSCache,
                               SystemInfo, FeatureSet, util::ObjectFactory<FSCache>,
                               util::SingletonObjectFactory<SqlDbFactoryReg>, Callout, CloseHook>;
TYPED_TEST_SUITE(ReleaseDeathTest, Classes);

TYPED_TEST(ReleaseDeathTest, stopsTheProcessAtAReleaseTooMany)
{
    EXPECT_EXIT(this->object()->release(), ABORTED, "");
}

TYPED_TEST(ReleaseDeathTest, stopsItThroughTheSlotOfTheOtherLayoutAsWell)
{
    EXPECT_EXIT(this->object()->Release(), ABORTED, "");
}

} // namespace

} // namespace vel::kos::kfw
