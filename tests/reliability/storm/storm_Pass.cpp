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
void make(Field& pField, const std::string& pUri, unsigned pSeed, int64_t pAgeSeconds)
{
    if (!std::filesystem::exists(pField.objectsDir() / objectName(pUri)))
        pField.makeObject(pUri, LIMIT, pSeed, pAgeSeconds);
}

/// Fills up what a pass has left of the directory.
void fill(Field& pField, unsigned pFiles)
{
    for (unsigned i = 0; i < YOUNG; ++i)
        make(pField, "http://young/" + std::to_string(i), i, 0);
    for (unsigned i = 0; i < pFiles; ++i)
        make(pField, "http://old/" + std::to_string(i), i, HOUR + i % 1000 * HOUR);
}

/// Waits until each worker has told what it measured.
void finish(Field& pField)
{
    const auto tDone = [&] {
        for (const Worker& tWorker : pField.workers())
            if (!tWorker.hasEnded && !tWorker.hasMeasured) return false;
        return true;
    };
    if (!pField.wait(tDone, PATIENCE_SECONDS)) pField.fail("the pass did not end");
    pField.stopAll();
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
    Field tField(1);
    tField.prepare(GROWN);
    PassFigures tFigures;
    tFigures.files = pFiles;
    Options tOptions;
    tOptions.set("prefix", "http://young/").set("count", YOUNG).set("idle", pIdleMs);

    fill(tField, pFiles);
    const Worker& tAlone = tField.start("pass", Options(tOptions).set("cleans", 1));
    finish(tField);
    tFigures.removed = tAlone.figures.removed;
    tFigures.passUs = tAlone.passedAt - tAlone.electedAt;
    tFigures.calls = tAlone.calls;
    tFigures.memoryKb = tAlone.memoryKb;

    fill(tField, pFiles);
    const Worker& tBoth = tField.start("pass", Options(tOptions).set("cleans", 1).set("reads", 1));
    finish(tField);
    tFigures.threadDuring = tBoth.during;
    tFigures.threadIdle = tBoth.idle;

    fill(tField, pFiles);
    Worker& tCleaner = tField.start("pass", Options(tOptions).set("cleans", 1));
    tField.wait([&] { return tCleaner.electedAt != 0; });
    const Worker& tReader =
        tField.start("pass", Options(tOptions).set("reads", 1).set("watch", tCleaner.ledgerPath));
    finish(tField);
    tFigures.processDuring = tReader.during;
    tFigures.processIdle = tReader.idle;
    tFigures.failures = tField.figures().failures;
    return tFigures;
}

} // namespace vel::kos::storm
