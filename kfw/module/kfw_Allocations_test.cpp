// What the fast paths of the dispatcher and the feature set must not do: allocate.
#include <gtest/gtest.h>

#include "kfw/IFeatureSet.h"
#include "kfw/events/testing/kfw_TestEvents.h"
#include "tests/support/Allocations.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw {

namespace {

/// Long enough that a std::string of it would need the heap.
constexpr char LONG_NAME[] = "a.type.name.that.no.small.string.buffer.holds";

TEST(AllocationsTest, aSendMakesNone)
{
    const auto tApp = test::TestApplication::make();
    const auto tDispatcher = test::makeDispatcher();
    ASSERT_EQ(tDispatcher->init(tApp.get()), 0u);
    const auto tConsumer = test::TestConsumer::make();
    for (const char* tType : {"", LONG_NAME, "another.type.name.that.no.small.string.buffer.holds"})
        for (int i = 0; i < 10; ++i)
            tDispatcher->addConsumer(tType, tConsumer.get());
    const auto tEvent = test::TestEvent::make(LONG_NAME);
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    const uint64_t tAllocations = test::Allocations::count();
    for (int i = 0; i < 100; ++i)
        tDispatcher->sendEvent(tEvent.get());
    EXPECT_EQ(test::Allocations::count(), tAllocations);
    komGetHeapStats(&tAfter);
    EXPECT_EQ(tAfter.liveBlocks, tBefore.liveBlocks);
    EXPECT_EQ(tConsumer->handled, 2000u);
    EXPECT_EQ(tEvent->typeQuestions, 100u) << "the type is read once a send";
    tDispatcher->addConsumer("a.new.type.that.needs.a.name.of.its.own", tConsumer.get());
    EXPECT_GT(test::Allocations::count(), tAllocations) << "the count counts";
}

TEST(AllocationsTest, aRemovalMakesNone)
{
    const auto tApp = test::TestApplication::make();
    const auto tDispatcher = test::makeDispatcher();
    ASSERT_EQ(tDispatcher->init(tApp.get()), 0u);
    const auto tConsumer = test::TestConsumer::make();
    tDispatcher->addConsumer(LONG_NAME, tConsumer.get());
    tDispatcher->addConsumer(tConsumer.get());
    const uint64_t tAllocations = test::Allocations::count();
    tDispatcher->removeConsumer(LONG_NAME, tConsumer.get());
    tDispatcher->removeConsumer(tConsumer.get());
    EXPECT_EQ(test::Allocations::count(), tAllocations);
    EXPECT_EQ(tConsumer->references(), 1u);
}

TEST(AllocationsTest, aCachedResultMakesNone)
{
    const auto tApp = test::TestApplication::make();
    tApp->setProperty("a.learnt.feature.with.a.name.that.is.long", "true");
    const auto tSet = test::makeObject<fw::IFeatureSet>(fw::CLASS_FEATURE_SET);
    ASSERT_EQ(tSet->init(tApp.get(), 0), 0u);
    ASSERT_EQ(tSet->addFeature(LONG_NAME, nullptr, nullptr, 0), 0u);
    uint32_t tEnabled = 0;
    for (const char* tName : {LONG_NAME, "a.learnt.feature.with.a.name.that.is.long"}) {
        uint64_t tAllocations = test::Allocations::count();
        EXPECT_EQ(tSet->isEnabled(tName, &tEnabled), 0u);
        EXPECT_GT(test::Allocations::count(), tAllocations) << "the host is asked the first time";
        tAllocations = test::Allocations::count();
        for (int i = 0; i < 100; ++i)
            tSet->isEnabled(tName, &tEnabled);
        EXPECT_EQ(test::Allocations::count(), tAllocations);
        EXPECT_EQ(tEnabled, 1u);
    }
}

} // namespace

} // namespace vel::kos::kfw
