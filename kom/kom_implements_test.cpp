#include "kom/implements.h"

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace kom {

namespace {

class IOld : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IOld:1.0";
    virtual uint32_t oldOperation() = 0;

protected:
    ~IOld() = default;
};

class INew : public IOld {
public:
    using Parent = IOld;
    static constexpr char IID[] = "IDL:test/INew:1.0";
    virtual uint32_t newOperation() = 0;

protected:
    ~INew() = default;
};

class ISide : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/ISide:1.0";

protected:
    ~ISide() = default;
};

class Plain : public Implements<Plain, IOld> {
    friend Implements;

public:
    virtual ~Plain() { ++sDestroyed; }
    uint32_t oldOperation() override { return 1; }
    uint32_t count() const { return mRefCount.value(); }
    static inline std::atomic<int> sDestroyed = 0;

private:
    RefCount mRefCount;
};

/// Two interfaces, the first of which extends another interface.
class Rich : public Implements<Rich, INew, ISide> {
    friend Implements;

public:
    virtual ~Rich() = default;
    uint32_t oldOperation() override { return 1; }
    uint32_t newOperation() override { return 2; }

private:
    RefCount mRefCount;
};

/// The second interface is the one that stands for the object.
class Turned : public Implements<Turned, IOld, ISide> {
    friend Implements;

public:
    using PrimaryInterface = ISide;
    virtual ~Turned() = default;
    uint32_t oldOperation() override { return 1; }

private:
    RefCount mRefCount;
};

/// Takes a reference to itself, and gives it back, while it is constructed and while it is destroyed.
class Clinging : public Implements<Clinging, IOld> {
    friend Implements;

public:
    /// pRestarts: the way it may be done.
    explicit Clinging(bool pRestarts) : mRestarts(pRestarts) { cling(); }
    virtual ~Clinging() { cling(); }
    uint32_t oldOperation() override { return 1; }
    uint32_t count() const { return mRefCount.value(); }

private:
    void cling()
    {
        if (mRestarts) mRefCount.restart();
        mRefCount.increment();
        addRef();
        release();
        mRefCount.decrement();
        if (mRestarts) mRefCount.restart();
    }

    RefCount mRefCount;
    const bool mRestarts;
};

template <class T>
IUnknown* ask(T& pObject, const char* pIid)
{
    IUnknown* tInterface = nullptr;
    EXPECT_EQ(pObject->queryInterface(pIid, &tInterface), 0u) << pIid;
    if (tInterface) tInterface->release();
    return tInterface;
}

uint64_t liveObjects()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveObjects;
}

TEST(ImplementsTest, returnsItsIdentitiesWithOneReference)
{
    const auto tObject = retain(new Plain);
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:test/IOld:1.0"}) {
        IUnknown* tInterface = nullptr;
        EXPECT_EQ(tObject->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, tObject.get()) << "the object itself";
        EXPECT_EQ(tObject->count(), 2u);
        EXPECT_EQ(tInterface->release(), 1u);
    }
}

TEST(ImplementsTest, refusesEveryOtherIdentity)
{
    const auto tObject = retain(new Plain);
    for (const char* tIid :
         {"IDL:test/INew:1.0", "IDL:test/IOld:1.1", "IDL:test/IOld:2.0", "IDL:test/iold:1.0",
          "IDL:TEST/IOld:1.0", "IDL:test/IOld:1.0 ", "IDL:test/IOld:1", "IOld", "IDL:kom/IUnknown:1.1",
          "IDL:kom/iUnknown:1.0", "IDL:kom/IObjectFactory:1.0", "", static_cast<const char*>(nullptr)}) {
        IUnknown* tInterface = tObject.get();
        EXPECT_EQ(tObject->queryInterface(tIid, &tInterface), 0x80004002u) << (tIid ? tIid : "null");
        EXPECT_EQ(tInterface, nullptr);
        EXPECT_EQ(tObject->count(), 1u);
    }
}

TEST(ImplementsTest, returnsEachInterfaceAndWhatItExtends)
{
    const auto tObject = retain(new Rich);
    auto* tNew = static_cast<INew*>(tObject.get());
    auto* tSide = static_cast<ISide*>(tObject.get());
    ASSERT_NE(static_cast<void*>(tNew), static_cast<void*>(tSide));
    EXPECT_EQ(ask(tObject, INew::IID), static_cast<IUnknown*>(tNew));
    EXPECT_EQ(ask(tObject, IOld::IID), static_cast<IUnknown*>(tNew)) << "the interface that extends it";
    EXPECT_EQ(ask(tObject, ISide::IID), static_cast<IUnknown*>(tSide));
    EXPECT_EQ(ask(tObject, IUnknown::IID), static_cast<IUnknown*>(tNew)) << "the first interface";
    // Every interface returns the same, whichever is asked.
    EXPECT_EQ(ask(tSide, IUnknown::IID), static_cast<IUnknown*>(tNew));
    EXPECT_EQ(ask(tSide, IOld::IID), static_cast<IUnknown*>(tNew));
    auto* tOld = static_cast<IOld*>(static_cast<INew*>(ask(tObject, IOld::IID)));
    EXPECT_EQ(tOld->oldOperation(), 1u);
}

TEST(ImplementsTest, namesTheInterfaceItIsCalledOn)
{
    const auto tObject = retain(new Rich);
    EXPECT_STREQ(static_cast<INew*>(tObject.get())->getInterfaceId(), "IDL:test/INew:1.0");
    EXPECT_STREQ(static_cast<ISide*>(tObject.get())->getInterfaceId(), "IDL:test/ISide:1.0");
}

TEST(ImplementsTest, letsAClassChooseItsPrimaryInterface)
{
    const auto tObject = retain(new Turned);
    IUnknown* tSide = static_cast<ISide*>(tObject.get());
    EXPECT_EQ(tObject->unknown(), tSide);
    EXPECT_EQ(ask(tObject, IUnknown::IID), tSide);
    EXPECT_EQ(ask(tObject, IOld::IID), static_cast<IOld*>(tObject.get()));
}

TEST(ImplementsTest, refusesComInGoodOrder)
{
    const auto tObject = retain(new Rich);
    const unsigned char tUnknownGuid[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    const void* tQuestions[] = {tUnknownGuid, IUnknown::IID, INew::IID, nullptr};
    for (IUnknown* tInterface : {static_cast<IUnknown*>(static_cast<INew*>(tObject.get())),
                                 static_cast<IUnknown*>(static_cast<ISide*>(tObject.get()))}) {
        for (const void* tQuestion : tQuestions) {
            void* tOut = tInterface;
            EXPECT_EQ(tInterface->QueryInterface(tQuestion, &tOut), 0x80004002u);
            EXPECT_EQ(tOut, nullptr);
        }
        EXPECT_EQ(tInterface->AddRef(), 2u);
        EXPECT_EQ(tInterface->addRef(), 3u) << "one count for all";
        EXPECT_EQ(tInterface->Release(), 2u);
        EXPECT_EQ(tInterface->release(), 1u);
    }
}

/// The first slots of an object in the layout of the Windows COM IUnknown.
struct ComSlots {
    uint32_t (*queryInterface)(void*, const void*, void**);
    uint32_t (*addRef)(void*);
    uint32_t (*release)(void*);
};

TEST(ImplementsTest, hasTheComSlotsFirst)
{
    auto* tObject = new Plain;
    tObject->addRef();
    const ComSlots* tSlots = *reinterpret_cast<const ComSlots* const*>(static_cast<IUnknown*>(tObject));
    void* tOut = tObject;
    EXPECT_EQ(tSlots->queryInterface(tObject, IUnknown::IID, &tOut), E_NOINTERFACE);
    EXPECT_EQ(tOut, nullptr);
    EXPECT_EQ(tSlots->addRef(tObject), 2u);
    EXPECT_EQ(tSlots->release(tObject), 1u);
    EXPECT_EQ(tSlots->release(tObject), 0u);
}

TEST(ImplementsTest, startsAtZeroAndGoesWithTheLastReference)
{
    const uint64_t tBefore = liveObjects();
    Plain::sDestroyed = 0;
    auto* tObject = new Plain;
    EXPECT_EQ(tObject->count(), 0u);
    EXPECT_EQ(liveObjects(), tBefore + 1);
    EXPECT_EQ(tObject->addRef(), 1u);
    EXPECT_EQ(tObject->addRef(), 2u);
    EXPECT_EQ(tObject->release(), 1u);
    EXPECT_EQ(Plain::sDestroyed, 0);
    EXPECT_EQ(tObject->release(), 0u);
    EXPECT_EQ(Plain::sDestroyed, 1);
    EXPECT_EQ(liveObjects(), tBefore);
}

TEST(ImplementsTest, addsAReferenceOnlyToOthers)
{
    RefCount tCount;
    EXPECT_FALSE(tCount.incrementIfHeld()) << "nobody has the object yet";
    tCount.increment();
    EXPECT_TRUE(tCount.incrementIfHeld());
    EXPECT_EQ(tCount.value(), 2u);
    tCount.decrement();
    tCount.decrement();
    EXPECT_FALSE(tCount.incrementIfHeld()) << "it is on its way out";
}

TEST(ImplementsTest, countsAmongThreads)
{
    const uint64_t tBefore = liveObjects();
    const auto tObject = retain(new Plain);
    std::vector<Ref<Plain>> tKept(8);
    std::vector<std::thread> tThreads;
    for (auto& tRef : tKept)
        tThreads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                const Ref<Plain> tCopy(tObject);
                const auto tOther = retain(new Plain);
            }
            tRef = tObject;
        });
    for (auto& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(tObject->count(), 9u);
    EXPECT_EQ(liveObjects(), tBefore + 1);
}

TEST(ImplementsTest, letsAnObjectHoldItselfInConstructorAndDestructor)
{
    const uint64_t tBefore = liveObjects();
    auto tObject = retain(new Clinging(true));
    EXPECT_EQ(tObject->count(), 1u);
    tObject.reset();
    EXPECT_EQ(liveObjects(), tBefore);
}

#if defined(_WIN32)
const auto ABORTED = testing::ExitedWithCode(3);
#else
const auto ABORTED = testing::KilledBySignal(SIGABRT);
#endif

TEST(ImplementsDeathTest, stopsTheProcessAtAReleaseTooMany)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    auto* tObject = new Plain;
    EXPECT_EXIT(tObject->release(), ABORTED, "");
    EXPECT_EXIT(tObject->Release(), ABORTED, "");
    tObject->addRef();
    tObject->release();
}

TEST(ImplementsDeathTest, stopsTheProcessAtAReferenceTakenAfterTheLastOne)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(retain(new Clinging(false)), ABORTED, "");
    const auto tEndThenTake = [] {
        RefCount tCount;
        tCount.increment();
        tCount.decrement();
        tCount.increment();
    };
    EXPECT_EXIT(tEndThenTake(), ABORTED, "");
    const auto tEndThenGiveBack = [] {
        RefCount tCount;
        tCount.increment();
        tCount.decrement();
        tCount.decrement();
    };
    EXPECT_EXIT(tEndThenGiveBack(), ABORTED, "");
}

} // namespace

} // namespace kom
