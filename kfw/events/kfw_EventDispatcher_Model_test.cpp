// The dispatcher against a slow, obvious model: the same random steps are taken with both, with nested
// actions from the handlers, and everything that can be observed is compared after each step.
#include <deque>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_TestEvents.h"
#include "kom/identity.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw {

namespace {

// Fewer where the code is instrumented and several times slower.
#if defined(__SANITIZE_THREAD__)
constexpr uint32_t STEPS = 50000;
#elif defined(__SANITIZE_ADDRESS__)
constexpr uint32_t STEPS = 200000;
#else
constexpr uint32_t STEPS = 1000000;
#endif

constexpr const char* TYPES[] = {nullptr, "", "a", "ab", "b", "\xFF"};
constexpr const char* EVENT_TYPES[] = {"a", "b", "", "ab", nullptr, "\xFF", "zz", "a"};
constexpr uint32_t CONSUMERS = 6;
constexpr uint32_t EVENTS = std::size(EVENT_TYPES);

std::string nameOf(const char* pType) { return pType ? pType : ""; }

/// Told of each delivery; what it returns, the consumer returns.
class Listener {
public:
    virtual uint32_t delivered(uint32_t pConsumer, uint32_t pEvent) = 0;

protected:
    ~Listener() = default;
};

/// The model: registrations in the order they were made, gone over by index.
class Model {
public:
    explicit Model(Listener& pListener) : mListener(pListener) {}

    test::EventResults& event(uint32_t pEvent) { return mEvents[pEvent]; }
    uint32_t add(const char* pType, uint32_t pConsumer)
    {
        mEntries.push_back({nameOf(pType), pConsumer, false});
        return 0;
    }
    uint32_t remove(uint32_t pConsumer)
    {
        for (Entry& tEntry : mEntries)
            if (tEntry.consumer == pConsumer) tEntry.removed = true;
        return 0;
    }
    uint32_t remove(const char* pType, uint32_t pConsumer)
    {
        for (Entry& tEntry : mEntries)
            if (tEntry.consumer == pConsumer && tEntry.name == nameOf(pType)) tEntry.removed = true;
        return 0;
    }
    uint32_t send(uint32_t pEvent)
    {
        ++mBusy;
        deliver("", pEvent);
        const uint32_t tRes = mEvents[pEvent].typeCode;
        if (KFAILED(tRes))
            mMessages.push_back(std::string("Event dispatcher failed to get event type: ") +
                                komStrError(tRes));
        else
            deliver(nameOf(EVENT_TYPES[pEvent]), pEvent);
        leave();
        return KFAILED(tRes) ? E_FAIL : 0;
    }
    uint32_t post(uint32_t pEvent)
    {
        mQueue.push_back(pEvent);
        if (!mScheduled) mCallouts.push_back(mGeneration);
        mScheduled = true;
        return 0;
    }
    uint32_t idle()
    {
        const auto tCallouts = mCallouts;
        for (const uint32_t tGeneration : tCallouts) {
            // An idle run keeps the dispatcher, but none begins for one that nobody has any more.
            if (tGeneration == mGeneration && (!mDropped || mDraining > 0)) drain();
            for (auto tEntry = mCallouts.begin(); tEntry != mCallouts.end(); ++tEntry) {
                if (*tEntry != tGeneration) continue;
                mCallouts.erase(tEntry);
                break;
            }
        }
        return static_cast<uint32_t>(tCallouts.size());
    }
    /// Gives the outside reference back: the dispatcher goes as soon as nothing runs in it.
    void drop()
    {
        ++mBusy;
        mDropped = true;
        leave();
    }
    void renew() { mDropped = false; }
    bool dropped() const { return mDropped; }

    std::vector<uint32_t> consumerReferences() const
    {
        std::vector<uint32_t> tCounts(CONSUMERS, 1);
        for (const Entry& tEntry : mEntries)
            tCounts[tEntry.consumer] += tEntry.removed ? 0 : 1;
        return tCounts;
    }
    std::vector<uint32_t> eventReferences() const
    {
        std::vector<uint32_t> tCounts(EVENTS, 1);
        for (const uint32_t tEvent : mQueue)
            ++tCounts[tEvent];
        return tCounts;
    }
    std::vector<std::string> takeMessages() { return std::exchange(mMessages, {}); }
    size_t calloutCount() const { return mCallouts.size(); }

private:
    struct Entry {
        std::string name;
        uint32_t consumer;
        bool removed;
    };

    void deliver(const std::string& pName, uint32_t pEvent)
    {
        for (size_t i = 0; i < mEntries.size(); ++i) {
            if (mEntries[i].removed || mEntries[i].name != pName) continue;
            const uint32_t tConsumed = mEvents[pEvent].consumedCode;
            if (tConsumed == 0) return;
            if (KFAILED(tConsumed)) {
                mMessages.push_back(std::string("Event dispatcher got an error result from isConsumed(): ") +
                                    komStrError(tConsumed));
                continue;
            }
            const uint32_t tRes = mListener.delivered(mEntries[i].consumer, pEvent);
            if (KFAILED(tRes))
                mMessages.push_back("Event dispatcher failed to deliver event of type " +
                                    (pName.empty() ? "ANY" : pName) + ": " + komStrError(tRes));
        }
    }
    void drain()
    {
        ++mBusy;
        ++mDraining;
        while (!mQueue.empty()) {
            const uint32_t tEvent = mQueue.front();
            mQueue.pop_front();
            send(tEvent);
        }
        mScheduled = false;
        --mDraining;
        leave();
    }
    void leave()
    {
        if (--mBusy > 0) return;
        if (mDropped) {
            mEntries.clear();
            mQueue.clear();
            mScheduled = false;
            ++mGeneration;
        }
        std::erase_if(mEntries, [](const Entry& pEntry) { return pEntry.removed; });
    }

    Listener& mListener;
    test::EventResults mEvents[EVENTS];
    std::vector<Entry> mEntries;
    std::deque<uint32_t> mQueue;
    std::vector<uint32_t> mCallouts; ///< whose dispatcher each callout is
    std::vector<std::string> mMessages;
    uint32_t mGeneration = 0;
    uint32_t mBusy = 0;
    uint32_t mDraining = 0;
    bool mScheduled = false;
    bool mDropped = false;
};

/// The dispatcher itself, with the same operations.
class Real {
public:
    explicit Real(Listener& pListener)
    {
        for (const char* tType : EVENT_TYPES)
            mEvents.push_back(
                test::TestEvent::make(tType ? std::optional<std::string>(tType) : std::nullopt));
        for (uint32_t i = 0; i < CONSUMERS; ++i)
            mConsumers.push_back(test::TestConsumer::make([this, i, &pListener](test::TestEvent* pEvent) {
                uint32_t tEvent = 0;
                while (mEvents[tEvent].get() != pEvent)
                    ++tEvent;
                return pListener.delivered(i, tEvent);
            }));
        renew();
    }

    test::EventResults& event(uint32_t pEvent) { return mEvents[pEvent]->results; }
    uint32_t add(const char* pType, uint32_t pConsumer)
    {
        return pType ? mRaw->addConsumer(pType, mConsumers[pConsumer].get())
                     : mRaw->addConsumer(mConsumers[pConsumer].get());
    }
    uint32_t remove(uint32_t pConsumer) { return mRaw->removeConsumer(mConsumers[pConsumer].get()); }
    uint32_t remove(const char* pType, uint32_t pConsumer)
    {
        return mRaw->removeConsumer(pType, mConsumers[pConsumer].get());
    }
    uint32_t send(uint32_t pEvent) { return mRaw->sendEvent(mEvents[pEvent].get()); }
    uint32_t post(uint32_t pEvent) { return mRaw->postEvent(mEvents[pEvent].get()); }
    uint32_t idle() { return mApp->idle(); }
    void drop() { mOwned.reset(); }
    void renew()
    {
        mOwned = test::makeDispatcher();
        mRaw = mOwned.get();
        mRaw->init(mApp.get());
    }
    bool dropped() const { return !mOwned; }

    std::vector<uint32_t> consumerReferences() const { return references(mConsumers); }
    std::vector<uint32_t> eventReferences() const { return references(mEvents); }
    std::vector<std::string> takeMessages()
    {
        auto tMessages = mApp->messages(fw::LOG_LEVEL_DEBUG);
        mApp->clearRecords();
        return tMessages;
    }
    size_t calloutCount() const { return mApp->calloutCount(); }

private:
    template <class T>
    static std::vector<uint32_t> references(const std::vector<kom::Ref<T>>& pObjects)
    {
        std::vector<uint32_t> tCounts;
        for (const auto& tObject : pObjects)
            tCounts.push_back(tObject->references());
        return tCounts;
    }

    std::vector<kom::Ref<test::TestEvent>> mEvents;
    std::vector<kom::Ref<test::TestConsumer>> mConsumers;
    kom::Ref<test::TestApplication> mApp = test::TestApplication::make();
    kom::Ref<fw::IEventDispatcher> mOwned;
    fw::IEventDispatcher* mRaw = nullptr; ///< usable for as long as a handler runs
};

/// Takes random steps with one side and keeps a trace of what came of them.
template <class TSide>
class Driver final : Listener {
public:
    explicit Driver(uint64_t pSeed) : mRandom(pSeed), mSide(*this) {}

    void step()
    {
        mTrace.clear();
        mFuel = 8;
        mDepth = 0;
        mSide.event(pick(EVENTS)) = {}; // else most would soon stay consumed
        act();
        if (mSide.dropped()) mSide.renew();
    }
    const std::vector<uint32_t>& trace() const { return mTrace; }
    TSide& side() { return mSide; }
    uint64_t deliveries() const { return mDeliveries; }

private:
    uint32_t pick(uint32_t pBound) { return static_cast<uint32_t>(mRandom() % pBound); }

    void act()
    {
        const uint32_t tAction = pick(32);
        const uint32_t tConsumer = pick(CONSUMERS), tEvent = pick(EVENTS);
        const char* tType = TYPES[pick(std::size(TYPES))];
        mTrace.push_back(tAction);
        if (tAction < 9)
            mTrace.push_back(mSide.add(tType, tConsumer));
        else if (tAction < 11)
            mTrace.push_back(mSide.remove(tConsumer));
        else if (tAction < 14)
            mTrace.push_back(mSide.remove(tType, tConsumer));
        else if (tAction < 20)
            mTrace.push_back(mSide.send(tEvent));
        else if (tAction < 24)
            mTrace.push_back(mSide.post(tEvent));
        else if (tAction < 26)
            mTrace.push_back(mSide.idle());
        else if (tAction < 29)
            mSide.event(tEvent) = {};
        else if (tAction < 30)
            mSide.event(tEvent).consumedCode = pick(2) ? 0 : E_FAIL;
        else if (tAction < 31)
            mSide.event(tEvent).typeCode = pick(2) ? E_NOT_SUPPORTED : 3;
        else if (pick(32) == 0)
            drop();
    }
    void drop()
    {
        if (!mSide.dropped()) mSide.drop();
    }
    uint32_t delivered(uint32_t pConsumer, uint32_t pEvent) override
    {
        ++mDeliveries;
        mTrace.insert(mTrace.end(), {1000 + pConsumer, pEvent, mDepth});
        ++mDepth;
        for (uint32_t tActions = pick(3); tActions > 0 && mFuel > 0; --tActions) {
            --mFuel;
            act();
        }
        if (pick(16) == 0) mSide.event(pEvent).consumedCode = 0;
        --mDepth;
        return pick(8) == 0 ? KPR_E_IO : pick(4);
    }

    std::mt19937_64 mRandom;
    std::vector<uint32_t> mTrace;
    uint32_t mFuel = 0;
    uint32_t mDepth = 0;
    uint64_t mDeliveries = 0;
    TSide mSide;
};

TEST(EventDispatcherModelTest, behavesAsTheModel)
{
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    {
        Driver<Model> tModel(20240517);
        Driver<Real> tReal(20240517);
        for (uint32_t i = 0; i < STEPS; ++i) {
            tModel.step();
            tReal.step();
            ASSERT_EQ(tReal.trace(), tModel.trace()) << "step " << i;
            ASSERT_EQ(tReal.side().takeMessages(), tModel.side().takeMessages()) << "step " << i;
            ASSERT_EQ(tReal.side().calloutCount(), tModel.side().calloutCount()) << "step " << i;
            ASSERT_EQ(tReal.side().consumerReferences(), tModel.side().consumerReferences()) << "step " << i;
            ASSERT_EQ(tReal.side().eventReferences(), tModel.side().eventReferences()) << "step " << i;
        }
        RecordProperty("deliveries", static_cast<int>(tReal.deliveries()));
        EXPECT_GT(tReal.deliveries(), STEPS) << "the steps have to lead somewhere";
        tReal.side().drop();
        EXPECT_EQ(tReal.side().consumerReferences(), std::vector<uint32_t>(CONSUMERS, 1));
        EXPECT_EQ(tReal.side().eventReferences(), std::vector<uint32_t>(EVENTS, 1));
    }
    komGetHeapStats(&tAfter);
    EXPECT_EQ(tAfter.liveObjects, tBefore.liveObjects);
    EXPECT_EQ(tAfter.liveBlocks, tBefore.liveBlocks);
}

} // namespace

} // namespace vel::kos::kfw
