// System information beside the bare system calls that it comes down to.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench/bench_system_info_floor.h"
#include "kfw/sysinfo/kfw_SystemInfo.h"
#include "tests/support/TestApplication.h"

using namespace vel::kos;

namespace {

struct Place {
    Place()
    {
        fw::ModuleList tModules;
        if (info->init(app.get()) != 0 || info->getModules(&tModules) != 0) std::abort();
        fw::freeModules(&tModules);
    }
    kom::Ref<test::TestApplication> app = test::TestApplication::make();
    kom::Ref<kfw::SystemInfo> info = kom::retain(new kfw::SystemInfo);
};

Place& place()
{
    static Place tPlace;
    return tPlace;
}

/// A refresh that finds nothing new, without copying descriptions out.
void refresh(benchmark::State& pState)
{
    char *tMin, *tMax;
    for (auto tTurn : pState)
        if (place().info->getProductVersionRange("no such product", &tMin, &tMax) != KFW_E_NO_PRODUCT)
            pState.SkipWithError("the range has an answer");
}

void floorRefresh(benchmark::State& pState)
{
    for (auto tTurn : pState)
        benchmark::DoNotOptimize(bench::listModules());
}

void getModules(benchmark::State& pState)
{
    for (auto tTurn : pState) {
        fw::ModuleList tModules;
        if (place().info->getModules(&tModules) != 0) pState.SkipWithError("getModules failed");
        fw::freeModules(&tModules);
    }
}

void getAttributes(benchmark::State& pState, uint32_t pGroup)
{
    for (auto tTurn : pState) {
        fw::AttributeList tList;
        if (place().info->getAttributes(pGroup, &tList) != 0) pState.SkipWithError("getAttributes failed");
        fw::freeAttributes(&tList);
    }
}

void floorRead(benchmark::State& pState, const char* pPath)
{
    for (auto tTurn : pState)
        if (bench::readProcFile(pPath) == 0) pState.SkipWithError("nothing to read");
}

/// The pairs of the operating system's group, copied one by one.
void floorCopy(benchmark::State& pState)
{
    for (auto tTurn : pState) {
        char* tTexts[6];
        for (char*& tText : tTexts)
            tText = komStrDup("a text of about this length");
        for (char* tText : tTexts)
            komFree(tText);
    }
}

BENCHMARK(refresh)->Name("sysinfo/refresh");
BENCHMARK(floorRefresh)->Name("floor/refresh");
BENCHMARK(getModules)->Name("sysinfo/getModules");
BENCHMARK(floorRefresh)->Name("floor/getModules");
BENCHMARK_CAPTURE(getAttributes, memory, fw::SYSTEM_INFO_MEMORY)->Name("sysinfo/attributes-mem");
BENCHMARK_CAPTURE(floorRead, memory, "/proc/meminfo")->Name("floor/attributes-mem");
BENCHMARK_CAPTURE(getAttributes, hardware, fw::SYSTEM_INFO_HARDWARE)->Name("sysinfo/attributes-hw");
BENCHMARK_CAPTURE(floorRead, hardware, "/proc/cpuinfo")->Name("floor/attributes-hw");
BENCHMARK_CAPTURE(getAttributes, system, fw::SYSTEM_INFO_OS)->Name("sysinfo/attributes-os");
BENCHMARK(floorCopy)->Name("floor/attributes-os");

} // namespace

BENCHMARK_MAIN();
