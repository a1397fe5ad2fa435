// Saving and loading a record of 40 settings, beside a file of the same content that is replaced as a whole.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "kpr/file.h"
#include "kutil/Registry.h"
#include "tests/support/TestApplication.h"
#include "tests/support/TestDirectory.h"

using namespace vel::kos;

namespace {

constexpr int FIELDS = 40;

void require(uint32_t pCode)
{
    if (KFAILED(pCode)) std::abort();
}

struct Place {
    Place()
    {
        for (int i = 0; i < FIELDS; ++i)
            names.push_back("Field" + std::to_string(i));
        app->setSettings("VEL", (dir.path() / "settings").string());
        node = util::Registry::openCurrentUserKOSModule(app.get(), "Bench", true);
        if (!node.isOpen()) std::abort();
    }
    test::TestDirectory dir;
    kom::Ref<test::TestApplication> app = test::TestApplication::make();
    std::vector<std::string> names;
    util::RegNode node;
    int round = 0;

    /// A value that no earlier save has written.
    std::string value() { return "the value of round " + std::to_string(++round); }
};

Place& place()
{
    static Place tPlace;
    return tPlace;
}

void saveSettings(benchmark::State& pState)
{
    Place& tPlace = place();
    for (auto _ : pState) {
        const std::string tValue = tPlace.value();
        util::RegBatch tBatch(tPlace.node, util::RegBatch::Kind::WRITE);
        for (const std::string& tName : tPlace.names)
            require(tPlace.node.put(tName.c_str(), tValue));
        require(tBatch.commit());
    }
}
BENCHMARK(saveSettings)->Name("settings/save_40_fields")->UseRealTime();

void saveFile(benchmark::State& pState)
{
    Place& tPlace = place();
    const std::string tDir = tPlace.dir.text(), tTarget = tDir + "/plain";
    for (auto _ : pState) {
        const std::string tValue = tPlace.value();
        std::string tText;
        for (const std::string& tName : tPlace.names)
            tText.append(tName).append("=").append(tValue).append("\n");
        char tTemp[1024];
        KprFile tFile = KPR_NO_FILE;
        uint32_t tWritten = 0;
        require(kprGetTempFileName(tDir.c_str(), "save", 0, tTemp, sizeof tTemp));
        require(kprOpenFile(tTemp, KPR_OPEN_WRITE, &tFile));
        require(kprWrite(tFile, tText.data(), static_cast<uint32_t>(tText.size()), &tWritten));
        require(kprSyncFile(tFile));
        require(kprCloseFile(tFile));
        require(kprReplaceFile(tTemp, tTarget.c_str()));
    }
}
BENCHMARK(saveFile)->Name("floor/save_40_fields")->UseRealTime();

void loadSettings(benchmark::State& pState)
{
    Place& tPlace = place();
    std::string tText;
    for (const std::string& tName : tPlace.names)
        require(tPlace.node.put(tName.c_str(), tPlace.value()));
    for (auto _ : pState) {
        util::RegBatch tBatch(tPlace.node, util::RegBatch::Kind::READ);
        for (const std::string& tName : tPlace.names)
            require(tPlace.node.get(tName.c_str(), &tText));
        benchmark::DoNotOptimize(tText);
    }
}
BENCHMARK(loadSettings)->Name("settings/load_40_fields")->UseRealTime();

void loadFile(benchmark::State& pState)
{
    const std::string tPath = place().dir.text() + "/plain-load";
    KprFile tFile = KPR_NO_FILE;
    uint32_t tLength = 0;
    require(kprOpenFile(tPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE, &tFile));
    require(kprWrite(tFile, std::string(1600, 'x').data(), 1600, &tLength));
    require(kprCloseFile(tFile));
    char tBuffer[4096];
    for (auto _ : pState) {
        require(kprOpenFile(tPath.c_str(), KPR_OPEN_READ, &tFile));
        require(kprRead(tFile, tBuffer, sizeof tBuffer, &tLength));
        require(kprCloseFile(tFile));
        benchmark::DoNotOptimize(tBuffer);
    }
}
BENCHMARK(loadFile)->Name("floor/load_40_fields")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
