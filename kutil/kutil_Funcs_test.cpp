#include "kutil/Funcs.h"

#include <gtest/gtest.h>

#include "tests/support/TestApplication.h"

namespace {

using namespace vel::kos;
using test::TestApplication;
using util::Funcs;

TEST(Funcs, AsksTheApplicationsProperties)
{
    const auto tApp = TestApplication::make();
    tApp->setProperty("on", "true");
    tApp->setProperty("off", "false");
    tApp->setProperty("other", "something");
    EXPECT_TRUE(Funcs::isPropertyTrue(tApp.get(), "on"));
    EXPECT_FALSE(Funcs::isPropertyFalse(tApp.get(), "on"));
    EXPECT_FALSE(Funcs::isPropertyTrue(tApp.get(), "off"));
    EXPECT_TRUE(Funcs::isPropertyFalse(tApp.get(), "off"));
    for (const char* tName : {"other", "unset"}) {
        EXPECT_FALSE(Funcs::isPropertyTrue(tApp.get(), tName));
        EXPECT_FALSE(Funcs::isPropertyFalse(tApp.get(), tName));
    }
    EXPECT_EQ(tApp->references(), 1u);
}

TEST(Funcs, ReturnsNoWhenTheApplicationCannotBeAsked)
{
    const auto tApp = TestApplication::make();
    tApp->setProperty("on", "true");
    tApp->setProperty("off", "false");
    const auto expectNo = [](fw::IApplication* pApp) {
        EXPECT_FALSE(Funcs::isPropertyTrue(pApp, "on"));
        EXPECT_FALSE(Funcs::isPropertyFalse(pApp, "off"));
    };
    expectNo(nullptr);
    tApp->failOperation("isPropertyTrue", E_FAIL);
    tApp->failOperation("isPropertyFalse", E_FAIL);
    expectNo(tApp.get());
    tApp->failOperation("isPropertyTrue", 0);
    tApp->failOperation("isPropertyFalse", 0);
    EXPECT_TRUE(Funcs::isPropertyTrue(tApp.get(), "on"));
    for (const uint32_t tAnswer : {E_NOINTERFACE, K_SUCCESS}) {
        tApp->refuseInterface(fw::IApplication5::IID, tAnswer);
        expectNo(tApp.get());
    }
}

} // namespace
