// kom's records of modules, with records of the test's own.
#include "kom/kom_module.h"

#include <vector>

#include <gtest/gtest.h>

#include "kom/heap.h"
#include "kom/implements.h"

namespace {

unsigned gWatches = 0;

} // namespace

extern "C" void __wrap_kprWatchProcessEnd() { ++gWatches; }

namespace kom {

namespace {

class IThing : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IThing:1.0";

protected:
    ~IThing() = default;
};

class Thing : public Implements<Thing, IThing> {
    friend Implements;

public:
    explicit Thing(std::vector<int>* pOrder = nullptr, int pNumber = 0) : mOrder(pOrder), mNumber(pNumber) {}
    virtual ~Thing()
    {
        if (mOrder) mOrder->push_back(mNumber);
    }

private:
    RefCount mRefCount;
    std::vector<int>* mOrder;
    int mNumber;
};

KomModule& own() { return *detail::gModule.record; }

/// Whether nobody but the module itself uses it.
bool isIdle(const KomModule& pModule)
{
    EXPECT_FALSE(isEmpty(pModule) && isOnlyHeld(pModule));
    return isEmpty(pModule) || isOnlyHeld(pModule);
}

TEST(ModuleTest, hasTheProgramsRecord)
{
    EXPECT_EQ(findModule(&detail::gModule), &own());
    EXPECT_EQ(findModule(reinterpret_cast<const void*>(&own)), &own())
        << "any address in the program will do";
    int tLocal = 0;
    EXPECT_EQ(findModule(&tLocal), nullptr);
}

TEST(ModuleTest, isIdleWithoutObjects)
{
    EXPECT_TRUE(isIdle(own()));
    const auto tThing = retain(new Thing);
    EXPECT_FALSE(isIdle(own()));
}

TEST(ModuleTest, isIdleWhenOnlyItsHoldersHold)
{
    static ModuleRef<Thing> tFirst, tSecond;
    EXPECT_TRUE(isIdle(own()));
    tFirst = retain(new Thing);
    tSecond = retain(new Thing);
    EXPECT_TRUE(tFirst && tSecond);
    EXPECT_TRUE(isIdle(own()));
    {
        const auto tUser = retain(tSecond.get());
        EXPECT_FALSE(isIdle(own())) << "a user";
    }
    EXPECT_TRUE(isIdle(own()));
    {
        const auto tOther = retain(new Thing);
        EXPECT_FALSE(isIdle(own())) << "an object that no holder holds";
    }
    tFirst.reset();
    EXPECT_EQ(tFirst.get(), nullptr);
    EXPECT_TRUE(isIdle(own()));
    tSecond = tFirst.get() ? retain(tFirst.get()) : Ref<Thing>();
    EXPECT_FALSE(tSecond);
    EXPECT_TRUE(isIdle(own()));
}

TEST(ModuleTest, countsAnObjectForTheModuleThatMakesItWithNew)
{
    static char tAddress;
    KomModule* tRecord = komEnterModule(&tAddress);
    void* tObject = komNewObject(tRecord, sizeof(Thing));
    EXPECT_FALSE(isEmpty(*tRecord));
    komDeleteObject(tObject);
    EXPECT_TRUE(isEmpty(*tRecord));
    komDeleteObject(nullptr);
    komDeleteObject(komNewObject(nullptr, 1));
    EXPECT_THROW(komNewObject(tRecord, SIZE_MAX), std::bad_alloc);
    EXPECT_TRUE(isEmpty(*tRecord));

    // As it is when a base class that a library compiled has the count: that one is the library's.
    tObject = komNewObject(tRecord, sizeof(Thing));
    komCountObject(&own(), 1);
    EXPECT_FALSE(isEmpty(*tRecord));
    EXPECT_FALSE(isEmpty(own()));
    komCountObject(&own(), -1);
    komDeleteObject(tObject);
    komLeaveModule(tRecord);
}

TEST(ModuleTest, countsAnObjectThatWasNotMadeWithNew)
{
    EXPECT_TRUE(isEmpty(own()));
    {
        const Thing tThing;
        EXPECT_FALSE(isIdle(own()));
    }
    EXPECT_TRUE(isEmpty(own()));
}

TEST(ModuleTest, leavesOwnedObjectsToTheirOwners)
{
    static ModuleRef<Thing> tHolder;
    auto tOwned = retain(new Thing);
    countOwned(1);
    EXPECT_FALSE(isIdle(own())) << "it lives, and no holder could let go";
    tHolder = retain(new Thing);
    EXPECT_TRUE(isOnlyHeld(own()));
    countOwned(-1);
    EXPECT_FALSE(isOnlyHeld(own())) << "given up by its owner, but still there";
    komCountOwned(nullptr, 1);
    tOwned.reset();
    EXPECT_TRUE(isOnlyHeld(own()));
    tHolder.reset();
}

TEST(ModuleTest, hasItsHoldersLetGoInReverseOrder)
{
    static ModuleRef<Thing> tFirst, tSecond;
    std::vector<int> tOrder;
    tFirst = retain(new Thing(&tOrder, 1));
    tSecond = retain(new Thing(&tOrder, 2));
    letHoldersGo(own());
    EXPECT_EQ(tOrder, (std::vector<int>{2, 1}));
    EXPECT_FALSE(tFirst || tSecond);
    EXPECT_TRUE(isEmpty(own()));
    letHoldersGo(own());
}

TEST(ModuleTest, replacesWhatAHolderHolds)
{
    static ModuleRef<Thing> tHolder;
    std::vector<int> tOrder;
    tHolder = retain(new Thing(&tOrder, 1));
    auto tNext = retain(new Thing(&tOrder, 2));
    tHolder = tNext;
    EXPECT_EQ(tOrder, std::vector<int>{1});
    EXPECT_EQ(tHolder.get(), tNext.get());
    EXPECT_EQ(tHolder->addRef(), 3u);
    EXPECT_EQ((*tHolder).release(), 2u);
    tNext.reset();
    EXPECT_TRUE(isIdle(own()));
    tHolder.reset();
    EXPECT_EQ(tOrder, (std::vector<int>{1, 2}));
}

TEST(ModuleTest, countsForTheProcessWhatHasNoModule)
{
    const uint64_t tBefore = countLiveObjects();
    komCountObject(nullptr, 1);
    EXPECT_EQ(countLiveObjects(), tBefore + 1);
    EXPECT_TRUE(isIdle(own()));
    komCountObject(nullptr, -1);
    EXPECT_EQ(countLiveObjects(), tBefore);
    KomHolder tHolder = {};
    komAddHolder(nullptr, &tHolder);
    EXPECT_EQ(tHolder.next, nullptr);
}

TEST(ModuleTest, watchesForTheEndOfTheProcessOncePerLoad)
{
    static char tAddress;
    const auto tThing = retain(new Thing);
    for (int tLoad = 0; tLoad < 2; ++tLoad) {
        KomModule* tRecord = komEnterModule(&tAddress);
        KomHolder tHolders[3] = {};
        komAddHolder(tRecord, &tHolders[0]);
        komAddHolder(tRecord, &tHolders[1]);
        gWatches = 0;
        komFillHolder(&tHolders[0], nullptr);
        EXPECT_EQ(gWatches, 0u) << "nothing is held yet";
        for (int i = 0; i < 3; ++i) {
            komFillHolder(&tHolders[0], tThing.get());
            komFillHolder(&tHolders[1], tThing.get());
        }
        EXPECT_EQ(gWatches, 1u);
        komAddHolder(tRecord, &tHolders[2]); // its destructor runs before what was registered until now
        komFillHolder(&tHolders[0], tThing.get());
        EXPECT_EQ(gWatches, 2u);
        komLeaveModule(tRecord);
    }
    KomHolder tHolder = {};
    komAddHolder(nullptr, &tHolder);
    komFillHolder(&tHolder, tThing.get());
    EXPECT_EQ(gWatches, 3u) << "of no module: each time";
}

TEST(ModuleTest, takesARecordOverFromAModuleThatWent)
{
    static char tFirst, tSecond;
    KomModule* tRecord = komEnterModule(&tFirst);
    EXPECT_NE(tRecord, &own());
    KomModule* tOther = komEnterModule(&tSecond);
    EXPECT_NE(tRecord, tOther);
    const uint64_t tBefore = countLiveObjects();
    komCountObject(tRecord, 1);
    EXPECT_FALSE(isIdle(*tRecord));
    komLeaveModule(tRecord);
    EXPECT_EQ(countLiveObjects(), tBefore + 1) << "what a module leaves behind still counts";
    EXPECT_EQ(komEnterModule(&tFirst), tRecord);
    EXPECT_TRUE(isIdle(*tRecord)) << "the new module has nothing to do with it";
    komCountObject(nullptr, -1);
    komLeaveModule(tRecord);
    komLeaveModule(tOther);
}

} // namespace

} // namespace kom
