// Both kinds of factory, over a class of the test's own.
#include "kfw/module/kfw_ObjectFactory.h"

#include <gtest/gtest.h>

#include "kfw/IIdleCallout.h"
#include "kfw/module/kfw_SingletonObjectFactory.h"
#include "kom/heap.h"

namespace vel::kos::util {

namespace {

class Thing : public kom::Implements<Thing, fw::IIdleCallout> {
    friend Implements;

public:
    virtual ~Thing() = default;
    uint32_t onIdle(unsigned int*) override { return 0; }

private:
    kom::RefCount mRefCount;
};

uint64_t liveObjects()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveObjects;
}

} // namespace

template <>
kom::ModuleRef<Thing> SingletonHolder<Thing>::sInstance = {};

namespace {

template <class TFactory>
class FactoryTest : public testing::Test {
protected:
    ~FactoryTest() override
    {
        mFactory.reset();
        SingletonHolder<Thing>::sInstance.reset();
        EXPECT_EQ(liveObjects(), mObjects);
    }

    uint64_t mObjects = liveObjects();
    kom::Ref<TFactory> mFactory = kom::retain(new TFactory);
};

using Factories = testing::Types<ObjectFactory<Thing>, SingletonObjectFactory<Thing>>;
TYPED_TEST_SUITE(FactoryTest, Factories);

TYPED_TEST(FactoryTest, returnsItsIdentities)
{
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:kom/IObjectFactory:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(this->mFactory->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, this->mFactory->unknown());
        EXPECT_EQ(this->mFactory->release(), 1u);
    }
    auto* tInterface = this->mFactory->unknown();
    EXPECT_EQ(this->mFactory->queryInterface("IDL:vel/kos/fw/IIdleCallout:1.0", &tInterface), E_NOINTERFACE);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_STREQ(this->mFactory->getInterfaceId(), "IDL:kom/IObjectFactory:1.0");
    EXPECT_EQ(this->mFactory->lockServer(), 0u);
}

TYPED_TEST(FactoryTest, refusesAggregation)
{
    auto* tOut = this->mFactory->unknown();
    EXPECT_EQ(this->mFactory->createInstance(this->mFactory->unknown(), kom::IUnknown::IID, &tOut),
              0x96240010u);
    EXPECT_EQ(tOut, nullptr);
    EXPECT_EQ(liveObjects(), this->mObjects + 1) << "no object was made";
}

TEST(ObjectFactoryTest, makesANewObjectEachTime)
{
    const auto tFactory = kom::retain(new ObjectFactory<Thing>);
    const uint64_t tObjects = liveObjects();
    kom::IUnknown *tFirst = nullptr, *tSecond = nullptr;
    EXPECT_EQ(tFactory->createInstance(nullptr, fw::IIdleCallout::IID, &tFirst), 0u);
    EXPECT_EQ(tFactory->createInstance(nullptr, kom::IUnknown::IID, &tSecond), 0u);
    ASSERT_TRUE(tFirst && tSecond);
    EXPECT_NE(tFirst, tSecond);
    EXPECT_EQ(liveObjects(), tObjects + 2);
    EXPECT_EQ(tFirst->release(), 0u) << "the caller holds the only reference";
    EXPECT_EQ(tSecond->release(), 0u);
    EXPECT_EQ(liveObjects(), tObjects);
}

TEST(ObjectFactoryTest, destroysAnObjectThatLacksTheInterface)
{
    const auto tFactory = kom::retain(new ObjectFactory<Thing>);
    const uint64_t tObjects = liveObjects();
    auto* tOut = tFactory->unknown();
    EXPECT_EQ(tFactory->createInstance(nullptr, "IDL:vel/kos/fw/IIdleCallout:1.1", &tOut), 0x80004002u);
    EXPECT_EQ(tOut, nullptr);
    EXPECT_EQ(liveObjects(), tObjects);
}

TEST(SingletonObjectFactoryTest, handsOutTheOneObjectThroughEveryFactory)
{
    const uint64_t tObjects = liveObjects();
    kom::IUnknown *tFirst = nullptr, *tSecond = nullptr;
    kom::retain(new SingletonObjectFactory<Thing>)->createInstance(nullptr, fw::IIdleCallout::IID, &tFirst);
    kom::retain(new SingletonObjectFactory<Thing>)->createInstance(nullptr, kom::IUnknown::IID, &tSecond);
    ASSERT_TRUE(tFirst);
    EXPECT_EQ(tFirst, tSecond);
    EXPECT_EQ(tFirst->release(), 2u) << "the holder's and one user's";
    EXPECT_EQ(tSecond->release(), 1u);
    EXPECT_EQ(liveObjects(), tObjects + 1) << "it outlives its users";
    SingletonHolder<Thing>::sInstance.reset();
    EXPECT_EQ(liveObjects(), tObjects);
}

TEST(SingletonObjectFactoryTest, keepsTheObjectWhenItLacksTheInterface)
{
    const uint64_t tObjects = liveObjects();
    const auto tFactory = kom::retain(new SingletonObjectFactory<Thing>);
    auto* tOut = tFactory->unknown();
    EXPECT_EQ(tFactory->createInstance(nullptr, "IDL:x:1.0", &tOut), E_NOINTERFACE);
    EXPECT_EQ(tOut, nullptr);
    EXPECT_TRUE(SingletonHolder<Thing>::sInstance);
    SingletonHolder<Thing>::sInstance.reset();
    EXPECT_EQ(liveObjects(), tObjects + 1);
}

} // namespace

} // namespace vel::kos::util
