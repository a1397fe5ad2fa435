// Storms of mixed work.
#include <chrono>
#include <random>
#include <thread>

#include "tests/reliability/storm/storm_Storms.h"

namespace vel::kos::storm {

namespace {

/// Enough growth for every pass to remove something, however much a storm removes.
constexpr Counters GROWN{uint64_t(1) << 40, 0};
constexpr int64_t OLD_SECONDS = 10 * 3600;
/// The cleaner's numbers, in milliseconds of scaled time.
constexpr uint64_t POLL_MS = 30000;
constexpr uint64_t MINIMUM_AGE_MS = 1800000;

WorkerOptions workOptions(const StressOptions& pOptions)
{
    WorkerOptions tOptions;
    return tOptions.set("threads", pOptions.threads)
        .set("objects", pOptions.objects)
        .set("limit", pOptions.limit)
        .set("hold", pOptions.hold)
        .set("pause", pOptions.pause);
}

void sleepMicroseconds(uint64_t pTime) { std::this_thread::sleep_for(std::chrono::microseconds(pTime)); }

/// Objects that have been there for long: the first passes have something to remove.
void fillWithOld(StressEnvironment& pEnvironment, const StressOptions& pOptions)
{
    for (unsigned i = 0; i < pOptions.objects; ++i)
        pEnvironment.makeObject("http://old/" + std::to_string(i), pOptions.limit, i, OLD_SECONDS);
}

/// A live worker, at random; null when there is none.
Worker* anyWorker(StressEnvironment& pEnvironment, std::mt19937& pRandom)
{
    std::vector<Worker*> tAlive;
    for (Worker& tWorker : pEnvironment.workers())
        if (!tWorker.hasEnded) tAlive.push_back(&tWorker);
    return tAlive.empty() ? nullptr : tAlive[pRandom() % tAlive.size()];
}

Worker* workingCleaner(StressEnvironment& pEnvironment)
{
    for (Worker& tWorker : pEnvironment.workers())
        if (!tWorker.hasEnded && tWorker.electedAt != 0) return &tWorker;
    return nullptr;
}

/// Nobody is left: everything that lies there grows old, and one cleaner after the other, pass for pass,
/// removes it all, with what killed processes left behind.
void cleanToTheEnd(StressEnvironment& pEnvironment, Figures* pFigures)
{
    pFigures->strays += pEnvironment.strays().size();
    pEnvironment.makeAllOld(OLD_SECONDS);
    pEnvironment.start("idle", WorkerOptions());
    if (!pEnvironment.wait([&] { return std::filesystem::is_empty(pEnvironment.objectsDir()); }))
        pEnvironment.fail("old files stay: " + std::to_string(pEnvironment.strays().size()) +
                          " temporary ones");
    pEnvironment.stopAll();
}

} // namespace

Figures killStorm(const StressOptions& pOptions)
{
    StressEnvironment tEnvironment(pOptions.speed);
    std::mt19937 tRandom(pOptions.rounds * 31 + pOptions.processes);
    tEnvironment.prepare(GROWN);
    fillWithOld(tEnvironment, pOptions);
    const WorkerOptions tOptions = workOptions(pOptions);
    for (unsigned i = 0; i < pOptions.processes; ++i)
        tEnvironment.start("mix", tOptions);
    for (Worker& tWorker : tEnvironment.workers())
        tEnvironment.waitReady(tWorker);
    Figures tFigures;
    for (unsigned i = 0; i < pOptions.rounds; ++i) {
        sleepMicroseconds(tRandom() % (2 * tEnvironment.realMicroseconds(POLL_MS)));
        tEnvironment.look();
        // The working cleaner is as likely as all the others together.
        Worker* tVictim = tRandom() % 2 == 0 ? workingCleaner(tEnvironment) : nullptr;
        if (!tVictim) tVictim = anyWorker(tEnvironment, tRandom);
        if (!tVictim) break;
        tEnvironment.kill(*tVictim);
        tEnvironment.checkDirectory();
        tEnvironment.waitReady(tEnvironment.start("mix", tOptions));
        ++tFigures.rounds;
    }
    tEnvironment.stopAll();
    tEnvironment.checkDirectory();
    tEnvironment.checkAccounts(GROWN);
    cleanToTheEnd(tEnvironment, &tFigures);
    tFigures.add(tEnvironment.figures());
    return tFigures;
}

Figures manyProcesses(const StressOptions& pOptions)
{
    StressEnvironment tEnvironment(pOptions.speed);
    tEnvironment.prepare(GROWN);
    fillWithOld(tEnvironment, pOptions);
    for (unsigned i = 0; i < pOptions.processes; ++i)
        tEnvironment.start("mix", workOptions(pOptions));
    for (Worker& tWorker : tEnvironment.workers())
        tEnvironment.waitReady(tWorker);
    sleepMicroseconds(uint64_t(pOptions.seconds) * 1000000);
    tEnvironment.stopAll();
    tEnvironment.checkDirectory();
    tEnvironment.checkAccounts(GROWN);
    if (!tEnvironment.strays().empty()) tEnvironment.fail("temporary files are left, and nobody was killed");
    Figures tFigures = tEnvironment.figures();
    if (tFigures.driftKb != 0) tFigures.failures.push_back("the counters are not exact");
    ++tFigures.rounds;
    return tFigures;
}

Figures pinStorm(const StressOptions& pOptions)
{
    StressEnvironment tEnvironment(pOptions.speed);
    std::mt19937 tRandom(pOptions.processes);
    tEnvironment.prepare(GROWN);
    fillWithOld(tEnvironment, pOptions);
    // Kept for so long that an object whose pin is not refreshed is gone by then.
    const WorkerOptions tOptions = workOptions(pOptions).set(
        "keep", static_cast<int64_t>(tEnvironment.realMicroseconds(MINIMUM_AGE_MS * 2)));
    for (unsigned i = 0; i < pOptions.processes; ++i)
        tEnvironment.start("mix", tOptions);
    for (Worker& tWorker : tEnvironment.workers())
        tEnvironment.waitReady(tWorker);
    const uint64_t tEnd = monotonicNow() + uint64_t(pOptions.seconds) * 1000000;
    // The refreshing of pins has to survive the change from waiting to working and the loss of the cleaner.
    while (monotonicNow() < tEnd) {
        sleepMicroseconds(tEnvironment.realMicroseconds(MINIMUM_AGE_MS));
        tEnvironment.look();
        Worker* tCleaner = workingCleaner(tEnvironment);
        if (!tCleaner) continue;
        tEnvironment.kill(*tCleaner);
        tEnvironment.waitReady(tEnvironment.start("mix", tOptions));
    }
    tEnvironment.stopAll();
    tEnvironment.checkDirectory();
    Figures tFigures = tEnvironment.figures();
    ++tFigures.rounds;
    if (tFigures.removed == 0) tFigures.failures.push_back("the cleaners removed nothing");
    if (tFigures.pinChecks == 0) tFigures.failures.push_back("no pinned object was read");
    return tFigures;
}

} // namespace vel::kos::storm
