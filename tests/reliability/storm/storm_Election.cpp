// The cleaners' election under kills.
#include <chrono>
#include <random>
#include <thread>

#include "tests/reliability/storm/storm_Storms.h"

namespace vel::kos::storm {

namespace {

constexpr Counters GROWN{uint64_t(1) << 40, 0};
constexpr int64_t OLD_SECONDS = 10 * 3600;
constexpr uint64_t POLL_MS = 30000;
constexpr unsigned FILES = 8; ///< old ones, for the cleaner to be at work when it dies

/// Whoever was elected first after a moment; null when nobody was.
Worker* electedAfter(StressEnvironment& pEnvironment, uint64_t pMoment)
{
    Worker* tFirst = nullptr;
    for (Worker& tWorker : pEnvironment.workers())
        if (tWorker.electedAt >= pMoment && (!tFirst || tWorker.electedAt < tFirst->electedAt))
            tFirst = &tWorker;
    return tFirst;
}

/// That nobody was elected while the cleaner lived, and that between its death and its successor nobody tried
/// in vain: within one poll interval everybody tries once.
void checkTakeOver(StressEnvironment& pEnvironment, const Worker& pCleaner, const Worker& pSuccessor)
{
    for (const Worker& tWorker : pEnvironment.workers())
        if (&tWorker != &pCleaner && tWorker.electedAt > pCleaner.electedAt &&
            tWorker.electedAt < pCleaner.killedAt)
            pEnvironment.fail("two cleaners: " + std::to_string(pCleaner.number) + " and " +
                              std::to_string(tWorker.number));
    for (const Worker& tWorker : pEnvironment.workers())
        for (const auto& [tBegan, tEnded] : tWorker.refused)
            if (tBegan > pCleaner.deadAt && tEnded < pSuccessor.electedFrom)
                pEnvironment.fail("the lock of dead " + std::to_string(pCleaner.number) + " is still held");
}

} // namespace

Figures election(const StressOptions& pOptions)
{
    StressEnvironment tEnvironment(pOptions.speed);
    std::mt19937 tRandom(pOptions.processes);
    tEnvironment.prepare(GROWN);
    for (unsigned i = 0; i < pOptions.processes; ++i)
        tEnvironment.start("idle", WorkerOptions());
    for (Worker& tWorker : tEnvironment.workers())
        tEnvironment.waitReady(tWorker);
    const uint64_t tPoll = tEnvironment.realMicroseconds(POLL_MS);
    Figures tFigures;
    Worker* tCleaner = nullptr;
    if (!tEnvironment.wait([&] { return (tCleaner = electedAfter(tEnvironment, 1)) != nullptr; }))
        tEnvironment.fail("nobody was elected");
    for (unsigned i = 0; tCleaner && i < pOptions.rounds; ++i) {
        for (unsigned tFile = 0; tFile < FILES; ++tFile)
            tEnvironment.makeObject("http://old/" + std::to_string(tFile), 3000, tFile, OLD_SECONDS);
        std::this_thread::sleep_for(std::chrono::microseconds(tRandom() % (tPoll + tPoll / 2)));
        tEnvironment.look();
        tEnvironment.kill(*tCleaner);
        Worker* tSuccessor = nullptr;
        if (!tEnvironment.wait(
                [&] { return (tSuccessor = electedAfter(tEnvironment, tCleaner->killedAt)) != nullptr; })) {
            tEnvironment.fail("nobody took over");
            break;
        }
        checkTakeOver(tEnvironment, *tCleaner, *tSuccessor);
        const uint64_t tTime = tSuccessor->electedAt > tCleaner->deadAt
                                   ? (tSuccessor->electedAt - tCleaner->deadAt) * tEnvironment.speed() / 1000
                                   : 0;
        tFigures.worstTakeOverMs = std::max(tFigures.worstTakeOverMs, tTime);
        ++tFigures.rounds;
        tCleaner = tSuccessor;
        tEnvironment.start("idle", WorkerOptions()); // in the dead one's place, so that as many go on waiting
    }
    tEnvironment.stopAll();
    tEnvironment.checkDirectory();
    tFigures.add(tEnvironment.figures());
    return tFigures;
}

} // namespace vel::kos::storm
