// A cached result of the feature set beside a bare look-up of the same name in an ordered map.
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include "kfw/IFeatureSet.h"
#include "kfw/classes.h"
#include "kfw/module/kfw_Module.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::bench {

namespace {

std::vector<std::string> names(int64_t pCount)
{
    std::vector<std::string> tNames;
    for (int64_t i = 0; i < pCount; ++i)
        tNames.push_back("vel.document.feature" + std::to_string(i));
    return tNames;
}

void lookUp(benchmark::State& pState)
{
    const auto tNames = names(pState.range(0));
    std::map<std::string, uint32_t, std::less<>> tMap;
    for (const auto& tName : tNames)
        tMap[tName] = 1;
    size_t tNext = 0;
    for (auto _ : pState) {
        const char* tName = tNames[tNext].c_str();
        benchmark::DoNotOptimize(tName);
        benchmark::DoNotOptimize(tMap.find(std::string_view(tName))->second);
        if (++tNext == tNames.size()) tNext = 0;
    }
}

void isEnabled(benchmark::State& pState)
{
    const auto tNames = names(pState.range(0));
    const auto tApp = test::TestApplication::make();
    kom::IUnknown* tInterface = nullptr;
    dsoGetObjectFactory(fw::CLASS_FEATURE_SET, kom::IObjectFactory::IID, &tInterface);
    const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
    tFactory->createInstance(nullptr, fw::IFeatureSet::IID, &tInterface);
    const auto tSet = kom::adopt(static_cast<fw::IFeatureSet*>(tInterface));
    tSet->init(tApp.get(), 0);
    uint32_t tEnabled = 0;
    for (const auto& tName : tNames) {
        tSet->addFeature(tName.c_str(), nullptr, nullptr, 0);
        tSet->isEnabled(tName.c_str(), &tEnabled);
    }
    size_t tNext = 0;
    for (auto _ : pState) {
        const char* tName = tNames[tNext].c_str();
        benchmark::DoNotOptimize(tName);
        tSet->isEnabled(tName, &tEnabled);
        benchmark::DoNotOptimize(tEnabled);
        if (++tNext == tNames.size()) tNext = 0;
    }
}

BENCHMARK(lookUp)->Name("floor/cached_answer")->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(isEnabled)->Name("feature_set/cached_answer")->Arg(10)->Arg(100)->Arg(1000);

} // namespace

} // namespace vel::kos::bench

BENCHMARK_MAIN();
