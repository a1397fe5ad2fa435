// The event dispatcher beside its floor (hand-made vectors) and beside libsigc++, Boost.Signals2 and Qt.
// Every contestant makes the same virtual calls and has the same type strings made and freed.
#include <memory>

#include <benchmark/benchmark.h>

#include "bench/bench_event_peers.h"
#include "kfw/classes.h"
#include "kfw/module/kfw_Module.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::bench {

namespace {

class Dispatcher final : public Contestant {
public:
    explicit Dispatcher(const Scene& pScene)
    {
        kom::IUnknown* tInterface = nullptr;
        dsoGetObjectFactory(fw::CLASS_EVENT_DISPATCHER, kom::IObjectFactory::IID, &tInterface);
        const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
        tFactory->createInstance(nullptr, fw::IEventDispatcher::IID, &tInterface);
        mDispatcher = kom::adopt(static_cast<fw::IEventDispatcher*>(tInterface));
        mDispatcher->init(mApp.get());
        for (const auto& [tType, tConsumers] : pScene.consumers)
            for (const auto& tConsumer : tConsumers)
                mDispatcher->addConsumer(tType.c_str(), tConsumer.get());
    }
    void send(fw::IEvent* pEvent) override { mDispatcher->sendEvent(pEvent); }
    void postAndDrain(const std::vector<kom::Ref<fw::IEvent>>& pEvents, uint32_t pCount) override
    {
        for (uint32_t i = 0; i < pCount; ++i)
            mDispatcher->postEvent(pEvents[i % pEvents.size()].get());
        mApp->idle();
    }
    void addAndRemove(const std::string& pType, fw::IEventConsumer* pConsumer) override
    {
        mDispatcher->addConsumer(pType.c_str(), pConsumer);
        mDispatcher->removeConsumer(pType.c_str(), pConsumer);
    }

private:
    kom::Ref<test::TestApplication> mApp = test::TestApplication::make();
    kom::Ref<fw::IEventDispatcher> mDispatcher;
};

std::unique_ptr<Contestant> makeDispatcher(const Scene& pScene)
{
    return std::make_unique<Dispatcher>(pScene);
}

using Maker = std::unique_ptr<Contestant> (*)(const Scene&);

/// Sends an event of each type in turn; checks that it reached whom it should.
void send(benchmark::State& pState, Maker pMaker, uint32_t pTypes, uint32_t pPerType, uint32_t pForAll)
{
    const Scene tScene(pTypes, pPerType, pForAll);
    const auto tContestant = pMaker(tScene);
    const uint64_t tBefore = handledCount();
    size_t tNext = 0;
    for (auto _ : pState) {
        tContestant->send(tScene.events[tNext].get());
        if (++tNext == tScene.events.size()) tNext = 0;
    }
    if (handledCount() - tBefore != static_cast<uint64_t>(pState.iterations()) * (pPerType + pForAll))
        pState.SkipWithError("not every event was delivered");
}

void miss(benchmark::State& pState, Maker pMaker)
{
    const Scene tScene(10, 10);
    const auto tContestant = pMaker(tScene);
    for (auto _ : pState)
        tContestant->send(tScene.unheard.get());
}

void addAndRemove(benchmark::State& pState, Maker pMaker)
{
    const Scene tScene(10, 10);
    const auto tContestant = pMaker(tScene);
    const auto tConsumer = makeConsumer();
    const std::string tType = "vel.document.type5";
    for (auto _ : pState)
        tContestant->addAndRemove(tType, tConsumer.get());
}

void postAndDrain(benchmark::State& pState, Maker pMaker)
{
    const Scene tScene(10, 1);
    const auto tContestant = pMaker(tScene);
    const uint64_t tBefore = handledCount();
    for (auto _ : pState)
        tContestant->postAndDrain(tScene.events, 1000);
    if (handledCount() - tBefore != static_cast<uint64_t>(pState.iterations()) * 1000)
        pState.SkipWithError("not every event was delivered");
}

void registerAll()
{
    const std::pair<const char*, Maker> tContestants[] = {
        {"floor", makeVectors}, {"map_of_vectors", makeMapOfVectors}, {"dispatcher", makeDispatcher},
        {"sigc++", makeSigc},   {"boost.signals2", makeBoost},        {"qt", makeQt}};
    struct Case {
        const char* name;
        uint32_t types, perType, forAll;
    };
    constexpr Case CASES[] = {{"send_1_type_x_1", 1, 1, 0},
                              {"send_10_types_x_1", 10, 1, 0},
                              {"send_10_types_x_10", 10, 10, 0},
                              {"send_1000_types_x_1", 1000, 1, 0},
                              {"send_10_types_x_5_and_5_for_all", 10, 5, 5}};
    const auto tName = [](const char* pCase, const char* pContestant) {
        return std::string(pContestant) + "/" + pCase;
    };
    for (const Case& tCase : CASES)
        for (const auto& [tContestant, tMaker] : tContestants)
            benchmark::RegisterBenchmark(tName(tCase.name, tContestant).c_str(), send, tMaker, tCase.types,
                                         tCase.perType, tCase.forAll);
    for (const auto& [tContestant, tMaker] : tContestants)
        benchmark::RegisterBenchmark(tName("send_miss", tContestant).c_str(), miss, tMaker);
    for (const auto& [tContestant, tMaker] : tContestants)
        benchmark::RegisterBenchmark(tName("add_and_remove", tContestant).c_str(), addAndRemove, tMaker);
    for (const auto& [tContestant, tMaker] : tContestants)
        benchmark::RegisterBenchmark(tName("post_1000_and_drain", tContestant).c_str(), postAndDrain, tMaker);
}

} // namespace

} // namespace vel::kos::bench

int main(int pCount, char** pArguments)
{
    vel::kos::bench::registerAll();
    benchmark::Initialize(&pCount, pArguments);
    if (benchmark::ReportUnrecognizedArguments(pCount, pArguments)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
