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
Worker* electedAfter(Field& pField, uint64_t pMoment)
{
    Worker* tFirst = nullptr;
    for (Worker& tWorker : pField.workers())
        if (tWorker.electedAt >= pMoment && (!tFirst || tWorker.electedAt < tFirst->electedAt))
            tFirst = &tWorker;
    return tFirst;
}

/// That nobody was elected while the cleaner lived, and that between its death and its successor nobody tried
/// in vain: within one poll interval everybody tries once.
void checkTakeOver(Field& pField, const Worker& pCleaner, const Worker& pSuccessor)
{
    for (const Worker& tWorker : pField.workers())
        if (&tWorker != &pCleaner && tWorker.electedAt > pCleaner.electedAt &&
            tWorker.electedAt < pCleaner.killedAt)
            pField.fail("two cleaners: " + std::to_string(pCleaner.number) + " and " +
                        std::to_string(tWorker.number));
    for (const Worker& tWorker : pField.workers())
        for (const auto& [tBegan, tEnded] : tWorker.refused)
            if (tBegan > pCleaner.deadAt && tEnded < pSuccessor.electedFrom)
                pField.fail("the lock of dead " + std::to_string(pCleaner.number) + " is still held");
}

} // namespace

Figures election(const Form& pForm)
{
    Field tField(pForm.speed);
    std::mt19937 tRandom(pForm.processes);
    tField.prepare(GROWN);
    for (unsigned i = 0; i < pForm.processes; ++i)
        tField.start("idle", Options());
    for (Worker& tWorker : tField.workers())
        tField.waitReady(tWorker);
    const uint64_t tPoll = tField.realMicroseconds(POLL_MS);
    Figures tFigures;
    Worker* tCleaner = nullptr;
    if (!tField.wait([&] { return (tCleaner = electedAfter(tField, 1)) != nullptr; }))
        tField.fail("nobody was elected");
    for (unsigned i = 0; tCleaner && i < pForm.rounds; ++i) {
        for (unsigned tFile = 0; tFile < FILES; ++tFile)
            tField.makeObject("http://old/" + std::to_string(tFile), 3000, tFile, OLD_SECONDS);
        std::this_thread::sleep_for(std::chrono::microseconds(tRandom() % (tPoll + tPoll / 2)));
        tField.look();
        tField.kill(*tCleaner);
        Worker* tSuccessor = nullptr;
        if (!tField.wait(
                [&] { return (tSuccessor = electedAfter(tField, tCleaner->killedAt)) != nullptr; })) {
            tField.fail("nobody took over");
            break;
        }
        checkTakeOver(tField, *tCleaner, *tSuccessor);
        const uint64_t tTime = tSuccessor->electedAt > tCleaner->deadAt
                                   ? (tSuccessor->electedAt - tCleaner->deadAt) * tField.speed() / 1000
                                   : 0;
        tFigures.worstTakeOverMs = std::max(tFigures.worstTakeOverMs, tTime);
        ++tFigures.rounds;
        tCleaner = tSuccessor;
        tField.start("idle", Options()); // in the dead one's place, so that as many go on waiting
    }
    tField.stopAll();
    tField.checkDirectory();
    tFigures.add(tField.figures());
    return tFigures;
}

} // namespace vel::kos::storm
