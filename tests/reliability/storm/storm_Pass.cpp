#include "tests/reliability/storm/storm_Pass.h"

#include "tests/reliability/storm/storm_Values.h"

namespace vel::kos::storm {

namespace {

constexpr Counters GROWN{uint64_t(1) << 40, 0};
constexpr unsigned YOUNG = 50;
constexpr uint32_t LIMIT = 2000;
constexpr int64_t HOUR = 3600;
constexpr unsigned PATIENCE_SECONDS = 600;

/// Makes an object unless it is there.
void make(StressEnvironment& pEnvironment, const std::string& pUri, unsigned pSeed, int64_t pAgeSeconds)
{
    if (!std::filesystem::exists(pEnvironment.objectsDir() / objectName(pUri)))
        pEnvironment.makeObject(pUri, LIMIT, pSeed, pAgeSeconds);
}

/// Fills up what a pass has left of the directory.
void fill(StressEnvironment& pEnvironment, unsigned pFiles)
{
    for (unsigned i = 0; i < YOUNG; ++i)
        make(pEnvironment, "http://young/" + std::to_string(i), i, 0);
    for (unsigned i = 0; i < pFiles; ++i)
        make(pEnvironment, "http://old/" + std::to_string(i), i, HOUR + i % 1000 * HOUR);
}

/// Waits until each worker has told what it measured.
void finish(StressEnvironment& pEnvironment)
{
    const auto tDone = [&] {
        for (const Worker& tWorker : pEnvironment.workers())
            if (!tWorker.hasEnded && !tWorker.hasMeasured) return false;
        return true;
    };
    if (!pEnvironment.wait(tDone, PATIENCE_SECONDS)) pEnvironment.fail("the pass did not end");
    pEnvironment.stopAll();
}

} // namespace

Rows PassFigures::rows() const
{
    Rows tRows = {{"files", files},
                  {"removed", removed},
                  {"pass (ms)", passUs / 1000},
                  {"platform calls", calls},
                  {"memory of the pass (KB)", memoryKb}};
    const auto tAdd = [&](const std::string& pWho, const Latency& pLatency) {
        tRows.emplace_back(pWho + ": lookups", pLatency.count);
        tRows.emplace_back(pWho + ": median (us)", pLatency.median);
        tRows.emplace_back(pWho + ": p99 (us)", pLatency.p99);
        tRows.emplace_back(pWho + ": longest (us)", pLatency.longest);
    };
    tAdd("same process, idle", threadIdle);
    tAdd("same process, during the pass", threadDuring);
    tAdd("other process, idle", processIdle);
    tAdd("other process, during the pass", processDuring);
    return tRows;
}

PassFigures measurePass(unsigned pFiles, unsigned pIdleMs)
{
    StressEnvironment tEnvironment(1);
    tEnvironment.prepare(GROWN);
    PassFigures tFigures;
    tFigures.files = pFiles;
    WorkerOptions tOptions;
    tOptions.set("prefix", "http://young/").set("count", YOUNG).set("idle", pIdleMs);

    fill(tEnvironment, pFiles);
    const Worker& tAlone = tEnvironment.start("pass", WorkerOptions(tOptions).set("cleans", 1));
    finish(tEnvironment);
    tFigures.removed = tAlone.figures.removed;
    tFigures.passUs = tAlone.passedAt - tAlone.electedAt;
    tFigures.calls = tAlone.calls;
    tFigures.memoryKb = tAlone.memoryKb;

    fill(tEnvironment, pFiles);
    const Worker& tBoth =
        tEnvironment.start("pass", WorkerOptions(tOptions).set("cleans", 1).set("reads", 1));
    finish(tEnvironment);
    tFigures.threadDuring = tBoth.during;
    tFigures.threadIdle = tBoth.idle;

    fill(tEnvironment, pFiles);
    Worker& tCleaner = tEnvironment.start("pass", WorkerOptions(tOptions).set("cleans", 1));
    tEnvironment.wait([&] { return tCleaner.electedAt != 0; });
    const Worker& tReader =
        tEnvironment.start("pass", WorkerOptions(tOptions).set("reads", 1).set("watch", tCleaner.logPath));
    finish(tEnvironment);
    tFigures.processDuring = tReader.during;
    tFigures.processIdle = tReader.idle;
    tFigures.failures = tEnvironment.figures().failures;
    return tFigures;
}

} // namespace vel::kos::storm
