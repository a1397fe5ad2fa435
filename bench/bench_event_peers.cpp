#include "bench/bench_event_peers.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <string_view>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <boost/signals2/signal.hpp>
#include <sigc++/sigc++.h>

namespace vel::kos::bench {

namespace {

/// What they share: the map in front, the type that is read, all types first, and the queue.
template <class TSlots>
class Mapped : public Contestant {
public:
    void send(fw::IEvent* pEvent) override
    {
        if (const auto tAll = mSlots.find(std::string_view()); tAll != mSlots.end())
            emit(tAll->second, pEvent);
        kom::HeapString tType;
        pEvent->getType(tType.out());
        const auto tSlots = mSlots.find(std::string_view(tType.c_str()));
        if (tSlots != mSlots.end()) emit(tSlots->second, pEvent);
    }
    void postAndDrain(const std::vector<kom::Ref<fw::IEvent>>& pEvents, uint32_t pCount) override
    {
        for (uint32_t i = 0; i < pCount; ++i)
            mQueue.push_back(pEvents[i % pEvents.size()]);
        while (!mQueue.empty()) {
            const auto tEvent = std::move(mQueue.front());
            mQueue.pop_front();
            send(tEvent.get());
        }
    }

protected:
    virtual void emit(TSlots& pSlots, fw::IEvent* pEvent) = 0;

    std::map<std::string, TSlots, std::less<>> mSlots;
    std::deque<kom::Ref<fw::IEvent>> mQueue;
};

using Plain = std::vector<fw::IEventConsumer*>;

class MapOfVectors final : public Mapped<Plain> {
public:
    explicit MapOfVectors(const Scene& pScene)
    {
        for (const auto& [tType, tConsumers] : pScene.consumers)
            for (const auto& tConsumer : tConsumers)
                mSlots[tType].push_back(tConsumer.get());
    }
    void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) override
    {
        auto& tSlots = mSlots[pType];
        pConsumer->addRef();
        tSlots.push_back(pConsumer);
        std::erase(tSlots, pConsumer);
        pConsumer->release();
    }

private:
    void emit(Plain& pSlots, fw::IEvent* pEvent) override
    {
        for (fw::IEventConsumer* tConsumer : pSlots) {
            const uint32_t tConsumed = pEvent->isConsumed();
            if (tConsumed == 0) return;
            tConsumer->handleEvent(pEvent);
        }
    }
};

/// Not even a look-up: the events come in the order of the scene, and so do the vectors.
class Vectors final : public Contestant {
public:
    explicit Vectors(const Scene& pScene)
    {
        for (const auto& tEvent : pScene.events) {
            kom::HeapString tType;
            tEvent->getType(tType.out());
            mSlots.emplace_back();
            for (const char* tName : {"", tType.c_str()})
                if (const auto tEntry = pScene.consumers.find(tName); tEntry != pScene.consumers.end())
                    for (const auto& tConsumer : tEntry->second)
                        mSlots.back().push_back(tConsumer.get());
        }
    }
    void send(fw::IEvent* pEvent) override
    {
        kom::HeapString tType;
        pEvent->getType(tType.out());
        for (fw::IEventConsumer* tConsumer : mSlots[mNext])
            deliver(pEvent, tConsumer);
        if (++mNext == mSlots.size()) mNext = 0;
    }
    void postAndDrain(const std::vector<kom::Ref<fw::IEvent>>& pEvents, uint32_t pCount) override
    {
        for (uint32_t i = 0; i < pCount; ++i)
            mQueue.push_back(pEvents[i % pEvents.size()]);
        for (; !mQueue.empty(); mQueue.pop_front())
            send(mQueue.front().get());
    }
    void addAndRemove(const std::string&, fw::IEventConsumer* pConsumer) override
    {
        pConsumer->addRef();
        mSlots[0].push_back(pConsumer);
        std::erase(mSlots[0], pConsumer);
        pConsumer->release();
    }

private:
    std::vector<Plain> mSlots;
    std::deque<kom::Ref<fw::IEvent>> mQueue;
    size_t mNext = 0;
};

class Sigc final : public Mapped<sigc::signal<void, fw::IEvent*>> {
public:
    explicit Sigc(const Scene& pScene)
    {
        for (const auto& [tType, tConsumers] : pScene.consumers)
            for (const auto& tConsumer : tConsumers)
                mSlots[tType].connect([tConsumer](fw::IEvent* pEvent) { deliver(pEvent, tConsumer.get()); });
    }
    void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) override
    {
        sigc::connection tConnection = mSlots[pType].connect(
            [tConsumer = kom::retain(pConsumer)](fw::IEvent* pEvent) { deliver(pEvent, tConsumer.get()); });
        tConnection.disconnect();
    }

private:
    void emit(sigc::signal<void, fw::IEvent*>& pSlots, fw::IEvent* pEvent) override { pSlots.emit(pEvent); }
};

using BoostSignal = boost::signals2::signal<void(fw::IEvent*)>;

class Boost final : public Mapped<BoostSignal> {
public:
    explicit Boost(const Scene& pScene)
    {
        for (const auto& [tType, tConsumers] : pScene.consumers)
            for (const auto& tConsumer : tConsumers)
                mSlots[tType].connect([tConsumer](fw::IEvent* pEvent) { deliver(pEvent, tConsumer.get()); });
    }
    void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) override
    {
        const auto tConnection = mSlots[pType].connect(
            [tConsumer = kom::retain(pConsumer)](fw::IEvent* pEvent) { deliver(pEvent, tConsumer.get()); });
        tConnection.disconnect();
    }

private:
    void emit(BoostSignal& pSlots, fw::IEvent* pEvent) override { pSlots(pEvent); }
};

class QtEvent : public QEvent {
public:
    explicit QtEvent(const kom::Ref<fw::IEvent>& pEvent) : QEvent(QEvent::User), payload(pEvent) {}
    kom::Ref<fw::IEvent> payload;
};

class QtConsumer : public QObject {
public:
    explicit QtConsumer(const kom::Ref<fw::IEventConsumer>& pConsumer) : mConsumer(pConsumer) {}
    bool event(QEvent* pEvent) override
    {
        deliver(static_cast<QtEvent*>(pEvent)->payload.get(), mConsumer.get());
        return true;
    }

private:
    kom::Ref<fw::IEventConsumer> mConsumer;
};

using QtConsumers = std::vector<std::unique_ptr<QtConsumer>>;

class QtSends final : public Mapped<QtConsumers> {
public:
    explicit QtSends(const Scene& pScene)
    {
        for (const auto& [tType, tConsumers] : pScene.consumers)
            for (const auto& tConsumer : tConsumers)
                mSlots[tType].push_back(std::make_unique<QtConsumer>(tConsumer));
    }
    void postAndDrain(const std::vector<kom::Ref<fw::IEvent>>& pEvents, uint32_t pCount) override
    {
        for (uint32_t i = 0; i < pCount; ++i)
            QCoreApplication::postEvent(&mQueueEnd, new QtEvent(pEvents[i % pEvents.size()]));
        QCoreApplication::sendPostedEvents();
    }
    void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) override
    {
        auto& tSlots = mSlots[pType];
        tSlots.push_back(std::make_unique<QtConsumer>(kom::retain(pConsumer)));
        tSlots.pop_back();
    }

private:
    /// Takes posted events off Qt's queue and delivers each as a sent one.
    class QueueEnd : public QObject {
    public:
        explicit QueueEnd(QtSends& pOwner) : mOwner(pOwner) {}
        bool event(QEvent* pEvent) override
        {
            mOwner.send(static_cast<QtEvent*>(pEvent)->payload.get());
            return true;
        }

    private:
        QtSends& mOwner;
    };

    void emit(QtConsumers& pSlots, fw::IEvent* pEvent) override
    {
        QtEvent tEvent(kom::retain(pEvent));
        for (const auto& tConsumer : pSlots)
            QCoreApplication::sendEvent(tConsumer.get(), &tEvent);
    }

    QueueEnd mQueueEnd{*this};
};

} // namespace

std::unique_ptr<Contestant> makeVectors(const Scene& pScene) { return std::make_unique<Vectors>(pScene); }

std::unique_ptr<Contestant> makeMapOfVectors(const Scene& pScene)
{
    return std::make_unique<MapOfVectors>(pScene);
}

std::unique_ptr<Contestant> makeSigc(const Scene& pScene) { return std::make_unique<Sigc>(pScene); }

std::unique_ptr<Contestant> makeBoost(const Scene& pScene) { return std::make_unique<Boost>(pScene); }

std::unique_ptr<Contestant> makeQt(const Scene& pScene)
{
    static int tArguments = 0;
    static QCoreApplication tApplication(tArguments, nullptr);
    return std::make_unique<QtSends>(pScene);
}

} // namespace vel::kos::bench
