// The singleton classes through the module's factories.
#include "kfw/module/kfw_Singletons.h"

#include <gtest/gtest.h>

#include "kfw/classes.h"
#include "kfw/module/testing/kfw_TestObject.h"
#include "kfw/settings/kfw_RegDbSendMailConfig.h"
#include "kfw/settings/kfw_RegDbUserData.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"

namespace vel::kos::kfw {

namespace {

template <class TClass, class TInterface, const char* CLASS_ID>
struct Singleton {
    using Class = TClass;
    using Interface = TInterface;
    static constexpr const char* ID = CLASS_ID;
};

template <class TSingleton>
class SingletonsTest : public testing::Test {
};
using Singletons = testing::Types<
    Singleton<RegDbUserData, fw::IRegDbUserData, fw::CLASS_USER_DATA>,
    Singleton<RegDbSendMailConfig, fw::ISendMailConfig, fw::CLASS_SEND_MAIL_CONFIG>,
    Singleton<SqlDbFactoryReg, sql::ISqlDatabaseFactoryRegistry, fw::CLASS_SQL_FACTORY_REGISTRY>>;
TYPED_TEST_SUITE(SingletonsTest, Singletons);

TYPED_TEST(SingletonsTest, isOneObjectForTheProcess)
{
    using Interface = typename TypeParam::Interface;
    const auto tFirst = test::makeObject<Interface>(TypeParam::ID);
    const auto tSecond = test::makeObject<Interface>(TypeParam::ID);
    ASSERT_TRUE(tFirst);
    EXPECT_EQ(tFirst.get(), tSecond.get());
    EXPECT_STREQ(tFirst->getInterfaceId(), Interface::IID);
    EXPECT_EQ(tFirst->addRef(), 4u) << "the holder's reference is one of them";
    EXPECT_EQ(tFirst->release(), 3u);
    util::SingletonHolder<typename TypeParam::Class>::sInstance.reset();
    EXPECT_EQ(tFirst->addRef(), 3u);
    EXPECT_EQ(tFirst->release(), 2u);
}

} // namespace

} // namespace vel::kos::kfw
