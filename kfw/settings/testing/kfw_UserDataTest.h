// A user data record with an application and settings of its own.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "kfw/settings/kfw_RegDbUserData.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestSettings.h"
#include "tests/support/UserFields.h"

namespace vel::kos::kfw {

using test::UserField;
inline constexpr auto& FIELDS = test::USER_FIELDS;

class UserDataTest : public testing::Test {
protected:
    UserDataTest()
    {
        mSettings.makeModuleNode();
        fresh();
    }
    ~UserDataTest() override
    {
        drop();
        const uint32_t tReferences = mApp->references();
        EXPECT_EQ(tReferences, 1u) << "the application has been given back";
        mApp.reset();
    }

    /// A new, unbound object of a new application.
    void fresh()
    {
        drop();
        mApp = mSettings.application();
        mData = kom::retain(new RegDbUserData);
        ASSERT_EQ(mData.query(mAddress), 0u);
    }
    void drop()
    {
        mAddress.reset();
        mData.reset();
    }
    void start()
    {
        fresh();
        ASSERT_EQ(mData->init(mApp.get()), 0u);
    }
    std::string value(const UserField& pField)
    {
        kom::HeapString tText;
        EXPECT_EQ((mAddress.get()->*pField.get)(tText.out()), 0u) << pField.name;
        EXPECT_FALSE(tText.isNull());
        return tText.c_str();
    }
    std::string value(UserField::Getter pGet) { return value({"", 0, nullptr, pGet}); }
    bool isModifiable()
    {
        uint32_t tModifiable = 7;
        EXPECT_EQ(mAddress->isModifiable(&tModifiable), 0u);
        return tModifiable == 1;
    }

    test::LeakCheck mLeaks;
    test::TestSettings mSettings;
    kom::Ref<test::TestApplication> mApp;
    kom::Ref<RegDbUserData> mData;
    kom::Ref<fw::IAddressData2> mAddress;
};

} // namespace vel::kos::kfw
