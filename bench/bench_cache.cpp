// The cache's operations beside the bare system calls that they come down to.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

#include "bench/bench_cache_floor.h"
#include "kfw/cache/kfw_FSCache.h"
#include "tests/support/TestApplication.h"
#include "tests/support/TestDirectory.h"

using namespace vel::kos;

namespace {

constexpr unsigned BATCH = 64; ///< puts between two removals of everything put

struct Place {
    Place()
    {
        tests.setUserAppDir(dir.text());
        if (cache->init(&tests) != 0) std::abort();
        std::filesystem::create_directory(dir.path() / "floor");
        floor = std::make_unique<bench::Floor>((dir.path() / "floor").string());
    }
    test::TestDirectory dir;
    kom::Ref<test::TestApplication> app = test::TestApplication::make();
    test::TestApplication& tests = *app;
    kom::Ref<kfw::FSCache> cache = kom::retain(new kfw::FSCache);
    std::unique_ptr<bench::Floor> floor;
};

Place& place()
{
    static Place tPlace;
    return tPlace;
}

fw::CacheBytes bytesOf(int64_t pSize)
{
    fw::CacheBytes tBytes;
    tBytes.mSize = static_cast<uint32_t>(pSize);
    tBytes.mData = static_cast<uint8_t*>(komCalloc(1, tBytes.mSize));
    return tBytes;
}

fw::CacheAttrList attributes()
{
    fw::CacheAttrList tList;
    tList.add("Content-Type", "text/html; charset=utf-8");
    tList.add("Last-Modified", "Mon, 12 Apr 2021 19:04:00 GMT");
    return tList;
}

std::string uriOf(int64_t pSize) { return "http://example.com/get/" + std::to_string(pSize); }

/// An object of this size that stays; returns its path in the floor's folder, which has a copy.
std::string store(int64_t pSize)
{
    const fw::CacheAttrList tList = attributes();
    const fw::CacheBytes tBytes = bytesOf(pSize);
    Place& tPlace = place();
    if (tPlace.cache->putObject(uriOf(pSize).c_str(), &tList, &tBytes) != 0) std::abort();
    const auto tPath = tPlace.dir.path() / "floor" / std::to_string(pSize);
    if (!std::filesystem::exists(tPath)) {
        fw::CacheId tId;
        fw::CacheBytes tFile;
        tPlace.cache->computeCacheId(uriOf(pSize).c_str(), &tId);
        tPlace.cache->getObjectFile(&tId, &tFile);
        tPlace.floor->put(tPath.string(), tFile.mData, tFile.mSize);
    }
    return tPath.string();
}

void removeFiles(const std::filesystem::path& pDir)
{
    for (const auto& tEntry : std::filesystem::directory_iterator(pDir))
        std::filesystem::remove(tEntry);
}

void cachePut(benchmark::State& pState)
{
    Place& tPlace = place();
    const fw::CacheAttrList tList = attributes();
    const fw::CacheBytes tBytes = bytesOf(pState.range(0));
    unsigned tCount = 0;
    for (auto tStep : pState) {
        const std::string tUri = "http://example.com/put/" + std::to_string(++tCount);
        if (tPlace.cache->putObject(tUri.c_str(), &tList, &tBytes) != 0) std::abort();
        if (tCount % BATCH != 0) continue;
        pState.PauseTiming();
        removeFiles(tPlace.dir.path() / "cache" / "objects");
        pState.ResumeTiming();
    }
    removeFiles(tPlace.dir.path() / "cache" / "objects");
}

void floorPut(benchmark::State& pState)
{
    Place& tPlace = place();
    const auto tDir = tPlace.dir.path() / "floor" / "put";
    std::filesystem::create_directory(tDir);
    const fw::CacheBytes tBytes = bytesOf(pState.range(0) + 128); // with header and attributes
    unsigned tCount = 0;
    for (auto tStep : pState) {
        tPlace.floor->put((tDir / std::to_string(++tCount)).string(), tBytes.mData, tBytes.mSize);
        if (tCount % BATCH != 0) continue;
        pState.PauseTiming();
        removeFiles(tDir);
        pState.ResumeTiming();
    }
    removeFiles(tDir);
}

void cacheGet(benchmark::State& pState)
{
    store(pState.range(0));
    const std::string tUri = uriOf(pState.range(0));
    for (auto tStep : pState) {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        if (place().cache->getObject(tUri.c_str(), &tList, &tBytes) != 0) std::abort();
    }
}

void floorGet(benchmark::State& pState)
{
    const std::string tPath = store(pState.range(0));
    for (auto tStep : pState)
        benchmark::DoNotOptimize(place().floor->get(tPath));
}

void cacheAttributes(benchmark::State& pState)
{
    store(pState.range(0));
    const std::string tUri = uriOf(pState.range(0));
    for (auto tStep : pState) {
        fw::CacheAttrList tList;
        if (place().cache->getAttributes(tUri.c_str(), &tList) != 0) std::abort();
    }
}

void floorAttributes(benchmark::State& pState)
{
    const std::string tPath = store(pState.range(0));
    for (auto tStep : pState)
        benchmark::DoNotOptimize(place().floor->getStart(tPath));
}

void cacheHas(benchmark::State& pState)
{
    store(pState.range(0));
    const std::string tUri = uriOf(pState.range(0));
    for (auto tStep : pState) {
        uint32_t tExists = 0;
        if (place().cache->hasObject(tUri.c_str(), &tExists) != 0 || tExists != 1) std::abort();
    }
}

void floorHas(benchmark::State& pState)
{
    const std::string tPath = store(pState.range(0));
    for (auto tStep : pState)
        benchmark::DoNotOptimize(place().floor->has(tPath));
}

void cacheName(benchmark::State& pState)
{
    const std::string tUri = uriOf(0);
    for (auto tStep : pState) {
        fw::CacheId tId;
        if (place().cache->computeCacheId(tUri.c_str(), &tId) != 0) std::abort();
        benchmark::DoNotOptimize(tId);
    }
}

constexpr int64_t KB = 1024;

void sizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(1 * KB)->Arg(32 * KB)->Arg(1024 * KB)->UseRealTime();
}

BENCHMARK(cachePut)->Name("cache/put")->Apply(sizes);
BENCHMARK(floorPut)->Name("floor/put")->Apply(sizes);
BENCHMARK(cacheGet)->Name("cache/get")->Apply(sizes);
BENCHMARK(floorGet)->Name("floor/get")->Apply(sizes);
BENCHMARK(cacheAttributes)->Name("cache/attributes")->Apply(sizes);
BENCHMARK(floorAttributes)->Name("floor/attributes")->Apply(sizes);
BENCHMARK(cacheHas)->Name("cache/has")->Apply(sizes);
BENCHMARK(floorHas)->Name("floor/has")->Apply(sizes);
BENCHMARK(cacheName)->Name("cache/computeCacheId")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
