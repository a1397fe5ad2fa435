// kom::BackPointer: who may use an owner, and until when.
#include "kom/backpointer.h"

#include <atomic>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "kom/implements.h"
#include "kpr/time.h"

namespace kom {

namespace {

class IOwner : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IOwner:1.0";

protected:
    ~IOwner() = default;
};

class Owner;

/// What an owner hands to others, who keep it for longer than the owner lives.
struct Enrolled {
    explicit Enrolled(Owner* pOwner) : owner(pOwner) {}
    BackPointer<Owner> owner;
};

class Owner : public Implements<Owner, IOwner> {
    friend Implements;

public:
    Owner(std::shared_ptr<Enrolled>& pEnrolled, std::atomic<int>& pEnds)
        : mEnrolled(std::make_shared<Enrolled>(this)), mEnds(pEnds)
    {
        pEnrolled = mEnrolled;
    }
    virtual ~Owner()
    {
        EXPECT_TRUE(mEnrolled->owner.clear());
        EXPECT_FALSE(mEnrolled->owner.get()) << "it is on its way out";
        mAlive = false;
        ++mEnds;
    }
    bool isAlive() const { return mAlive; }

private:
    RefCount mRefCount;
    std::shared_ptr<Enrolled> mEnrolled;
    std::atomic<int>& mEnds;
    bool mAlive = true;
};

class BackPointerTest : public testing::Test {
protected:
    std::shared_ptr<Enrolled> mEnrolled;
    std::atomic<int> mEnds = 0;
};

TEST_F(BackPointerTest, givesAReferenceWhileSomebodyHasOne)
{
    auto* tRaw = new Owner(mEnrolled, mEnds);
    EXPECT_FALSE(mEnrolled->owner.get()) << "nobody has it yet";
    auto tOwner = retain(tRaw);
    {
        const auto tUse = mEnrolled->owner.get();
        EXPECT_EQ(tUse.get(), tRaw);
        EXPECT_EQ(tRaw->addRef(), 3u);
        EXPECT_EQ(tRaw->release(), 2u);
    }
    EXPECT_EQ(tRaw->addRef(), 2u) << "the pointer itself keeps nothing";
    EXPECT_EQ(tRaw->release(), 1u);
    tOwner.reset();
    EXPECT_EQ(mEnds, 1);
    EXPECT_FALSE(mEnrolled->owner.get());
    EXPECT_FALSE(mEnrolled->owner.clear()) << "it was cleared before";
    EXPECT_FALSE(BackPointer<Owner>(nullptr).get());
}

TEST_F(BackPointerTest, keepsTheOwnerForTheCallThatUsesIt)
{
    auto tOwner = retain(new Owner(mEnrolled, mEnds));
    {
        const auto tUse = mEnrolled->owner.get();
        tOwner.reset();
        EXPECT_EQ(mEnds, 0);
        EXPECT_TRUE(mEnrolled->owner.get()) << "another call may begin";
    }
    EXPECT_EQ(mEnds, 1);
}

TEST_F(BackPointerTest, standsBetweenTheLastReleaseAndAUse)
{
    for (int i = 0; i < 300; ++i) {
        auto tOwner = retain(new Owner(mEnrolled, mEnds));
        std::atomic<bool> tReady = false;
        std::thread tOther([tLast = tOwner.detach(), &tReady] {
            tReady = true;
            tLast->release();
        });
        while (!tReady)
            std::this_thread::yield();
        while (const auto tUse = mEnrolled->owner.get())
            ASSERT_TRUE(tUse->isAlive());
        tOther.join();
        ASSERT_EQ(mEnds, i + 1);
    }
}

/// An owner whose references are taken slowly.
struct SlowOwner {
    bool addRefIfHeld()
    {
        taking = true;
        begun = true;
        kprSleep(100);
        taking = false;
        return false;
    }
    uint32_t release() { return 0; }

    std::atomic<bool> taking = false, begun = false;
};

TEST(BackPointerClearTest, waitsForAUseThatIsJustBeginning)
{
    SlowOwner tOwner;
    BackPointer<SlowOwner> tPointer(&tOwner);
    std::thread tOther([&] { EXPECT_FALSE(tPointer.get()); });
    while (!tOwner.begun)
        std::this_thread::yield();
    EXPECT_TRUE(tPointer.clear());
    EXPECT_FALSE(tOwner.taking) << "the owner's memory was used after it";
    tOther.join();
}

} // namespace

} // namespace kom
