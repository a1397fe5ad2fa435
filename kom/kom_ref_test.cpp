#include "kom/ref.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "kom/implements.h"

namespace kom {

namespace {

class IBase : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IBase:1.0";

protected:
    ~IBase() = default;
};

class IOther : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IOther:1.0";

protected:
    ~IOther() = default;
};

std::vector<std::string> gEvents;

/// Records its calls and its end.
class Object : public Implements<Object, IBase, IOther> {
    friend Implements;

public:
    explicit Object(const char* pName) : mName(pName) {}
    virtual ~Object() { gEvents.push_back("~" + mName); }
    uint32_t addRef() override
    {
        gEvents.push_back("+" + mName);
        return Implements::addRef();
    }
    uint32_t release() override
    {
        gEvents.push_back("-" + mName);
        return Implements::release();
    }
    uint32_t count() const { return mRefCount.value(); }

private:
    RefCount mRefCount;
    std::string mName;
};

using Events = std::vector<std::string>;

class RefTest : public testing::Test {
protected:
    RefTest() { gEvents.clear(); }
};

// What must not compile: raw pointers in or out without a word.
static_assert(!std::is_convertible_v<Object*, Ref<Object>>);
static_assert(!std::is_constructible_v<Ref<Object>, Object*>);
static_assert(!std::is_convertible_v<Ref<Object>, Object*>);
static_assert(!std::is_convertible_v<Ref<Object>, bool>);
static_assert(!std::is_constructible_v<Ref<Object>, Ref<IBase>>, "no implicit step down");
static_assert(std::is_constructible_v<Ref<IBase>, Ref<Object>>);
static_assert(std::is_nothrow_move_constructible_v<Ref<Object>>);

TEST_F(RefTest, retainsOneAndGivesItBack)
{
    {
        const auto tRef = retain(new Object("a"));
        EXPECT_EQ(tRef->count(), 1u);
        EXPECT_TRUE(tRef);
    }
    EXPECT_EQ(gEvents, (Events{"+a", "-a", "~a"}));
}

TEST_F(RefTest, adoptsWithoutAddingOne)
{
    auto* tObject = new Object("a");
    tObject->addRef();
    {
        const auto tRef = adopt(tObject);
        EXPECT_EQ(tRef->count(), 1u);
        EXPECT_EQ(tRef.get(), tObject);
        EXPECT_EQ(&*tRef, tObject);
    }
    EXPECT_EQ(gEvents, (Events{"+a", "-a", "~a"}));
}

TEST_F(RefTest, holdsNothing)
{
    Ref<Object> tRef;
    EXPECT_FALSE(tRef);
    EXPECT_FALSE(retain(static_cast<Object*>(nullptr)));
    EXPECT_FALSE(adopt(static_cast<Object*>(nullptr)));
    EXPECT_EQ(tRef, nullptr);
    tRef.reset();
    Ref<Object> tCopy(tRef);
    tCopy = tRef;
    EXPECT_FALSE(tCopy);
    EXPECT_EQ(tRef.detach(), nullptr);
    EXPECT_FALSE(tRef.query<IBase>());
    EXPECT_TRUE(gEvents.empty());
}

TEST_F(RefTest, copiesAndMoves)
{
    auto tRef = retain(new Object("a"));
    {
        const Ref<Object> tCopy(tRef);
        EXPECT_EQ(tRef->count(), 2u);
        EXPECT_EQ(tCopy, tRef);
    }
    gEvents.clear();
    const Ref<Object> tMoved(std::move(tRef));
    EXPECT_TRUE(gEvents.empty()) << "a move touches no count";
    EXPECT_FALSE(tRef);
    EXPECT_EQ(tMoved->count(), 1u);
}

TEST_F(RefTest, takesTheNewBeforeItReleasesTheOld)
{
    const auto tNew = retain(new Object("new"));
    auto tRef = retain(new Object("old"));
    gEvents.clear();
    tRef = tNew;
    EXPECT_EQ(gEvents, (Events{"+new", "-old", "~old"}));
}

TEST_F(RefTest, survivesAssigningItself)
{
    auto tRef = retain(new Object("a"));
    auto& tSame = tRef;
    tRef = tSame;
    ASSERT_TRUE(tRef);
    EXPECT_EQ(tRef->count(), 1u);
    tRef = std::move(tSame);
    ASSERT_TRUE(tRef);
    EXPECT_EQ(tRef->count(), 1u);
}

TEST_F(RefTest, assignsAMoveWithoutCounting)
{
    auto tNew = retain(new Object("new"));
    auto tRef = retain(new Object("old"));
    gEvents.clear();
    tRef = std::move(tNew);
    EXPECT_EQ(gEvents, (Events{"-old", "~old"}));
    EXPECT_FALSE(tNew);
    tRef = nullptr;
    EXPECT_FALSE(tRef);
}

TEST_F(RefTest, isEmptyWhenTheObjectGoes)
{
    struct Watcher : Implements<Watcher, IBase> {
        explicit Watcher(Ref<Watcher>& pRef) : mRef(pRef) {}
        virtual ~Watcher() { gEvents.push_back(mRef ? "still there" : "empty"); }
        RefCount mRefCount;
        Ref<Watcher>& mRef;
    };
    Ref<Watcher> tRef;
    tRef = retain(new Watcher(tRef));
    tRef.reset();
    EXPECT_EQ(gEvents, Events{"empty"});
}

TEST_F(RefTest, lendsItsPointerToAResult)
{
    const auto tObject = retain(new Object("a"));
    Ref<IUnknown> tInterface = Ref<IBase>(retain(new Object("old")));
    gEvents.clear();
    IUnknown** tOut = tInterface.out();
    EXPECT_EQ(gEvents, (Events{"-old", "~old"})) << "what was held goes first";
    EXPECT_EQ(*tOut, nullptr);
    EXPECT_EQ(tObject->queryInterface(IBase::IID, tOut), 0u);
    EXPECT_TRUE(tInterface);
    EXPECT_EQ(tObject->count(), 2u);
}

TEST_F(RefTest, detachesItsReference)
{
    auto tRef = retain(new Object("a"));
    Object* tObject = tRef.detach();
    EXPECT_FALSE(tRef);
    EXPECT_EQ(tObject->count(), 1u);
    EXPECT_EQ(tObject->release(), 0u);
}

TEST_F(RefTest, queriesAnotherInterface)
{
    const auto tObject = retain(new Object("a"));
    const Ref<IOther> tInterface = tObject.query<IOther>();
    ASSERT_TRUE(tInterface);
    EXPECT_EQ(tInterface.get(), static_cast<IOther*>(tObject.get()));
    EXPECT_EQ(tObject->count(), 2u);

    Ref<IObjectFactory> tMissing = tObject.query<IObjectFactory>();
    EXPECT_FALSE(tMissing);
    EXPECT_EQ(tObject.query(tMissing), E_NOINTERFACE);
    EXPECT_EQ(tObject->count(), 2u);

    Ref<IBase> tBase;
    EXPECT_EQ(tInterface.query(tBase), 0u);
    EXPECT_EQ(tBase.get(), static_cast<IBase*>(tObject.get()));
    EXPECT_EQ(queryInterface(tObject.get(), tBase), 0u) << "what it held before is given back";
    EXPECT_EQ(tObject->count(), 3u);
}

TEST_F(RefTest, stepsUpToAnInterface)
{
    auto tObject = retain(new Object("a"));
    const Ref<IOther> tOther(tObject);
    EXPECT_EQ(tOther.get(), static_cast<IOther*>(tObject.get()));
    EXPECT_EQ(tObject->count(), 2u);
    gEvents.clear();
    Ref<IBase> tBase(std::move(tObject));
    EXPECT_TRUE(gEvents.empty());
    EXPECT_FALSE(tObject);
    tBase = Ref<IBase>();
    EXPECT_EQ(gEvents, Events{"-a"});
}

uint64_t liveBlocks()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveBlocks;
}

uint32_t answer(const char* pText, char** pOut)
{
    *pOut = pText ? komStrDup(pText) : nullptr;
    return 0;
}

TEST(HeapStringTest, ownsWhatItIsGiven)
{
    const uint64_t tBefore = liveBlocks();
    {
        HeapString tText;
        EXPECT_TRUE(tText.isNull());
        EXPECT_TRUE(tText.empty());
        EXPECT_STREQ(tText.c_str(), "");
        answer("first", tText.out());
        EXPECT_STREQ(tText.c_str(), "first");
        EXPECT_FALSE(tText.empty());
        answer("second", tText.out());
        EXPECT_STREQ(tText.c_str(), "second");
        EXPECT_EQ(liveBlocks(), tBefore + 1) << "the first one was freed";
        answer("", tText.out());
        EXPECT_FALSE(tText.isNull());
        EXPECT_TRUE(tText.empty());
        answer(nullptr, tText.out());
        EXPECT_TRUE(tText.isNull());
        EXPECT_EQ(liveBlocks(), tBefore);
        answer("last", tText.out());
    }
    EXPECT_EQ(liveBlocks(), tBefore);
}

TEST(HeapStringTest, movesAndDetaches)
{
    const uint64_t tBefore = liveBlocks();
    {
        HeapString tText;
        answer("text", tText.out());
        HeapString tMoved(std::move(tText));
        EXPECT_TRUE(tText.isNull());
        EXPECT_STREQ(tMoved.c_str(), "text");
        HeapString tOther;
        answer("other", tOther.out());
        tOther = std::move(tMoved);
        EXPECT_STREQ(tOther.c_str(), "text");
        char* tRaw = tOther.detach();
        EXPECT_TRUE(tOther.isNull());
        EXPECT_STREQ(tRaw, "text");
        komFree(tRaw);
    }
    EXPECT_EQ(liveBlocks(), tBefore);
}

static_assert(!std::is_copy_constructible_v<HeapString>);
static_assert(!std::is_copy_assignable_v<HeapString>);

} // namespace

} // namespace kom
