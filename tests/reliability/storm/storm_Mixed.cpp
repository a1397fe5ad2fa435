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
/// The cleaner's numbers, in milliseconds of the world.
constexpr uint64_t POLL_MS = 30000;
constexpr uint64_t MINIMUM_AGE_MS = 1800000;

Options workOptions(const Form& pForm)
{
    Options tOptions;
    return tOptions.set("threads", pForm.threads)
        .set("objects", pForm.objects)
        .set("limit", pForm.limit)
        .set("hold", pForm.hold)
        .set("pause", pForm.pause);
}

void sleepMicroseconds(uint64_t pTime) { std::this_thread::sleep_for(std::chrono::microseconds(pTime)); }

/// Objects that have been there for long: the first passes have something to remove.
void fillWithOld(Field& pField, const Form& pForm)
{
    for (unsigned i = 0; i < pForm.objects; ++i)
        pField.makeObject("http://old/" + std::to_string(i), pForm.limit, i, OLD_SECONDS);
}

/// A live worker, at random; null when there is none.
Worker* anyWorker(Field& pField, std::mt19937& pRandom)
{
    std::vector<Worker*> tAlive;
    for (Worker& tWorker : pField.workers())
        if (!tWorker.hasEnded) tAlive.push_back(&tWorker);
    return tAlive.empty() ? nullptr : tAlive[pRandom() % tAlive.size()];
}

Worker* workingCleaner(Field& pField)
{
    for (Worker& tWorker : pField.workers())
        if (!tWorker.hasEnded && tWorker.electedAt != 0) return &tWorker;
    return nullptr;
}

/// Nobody is left: everything that lies there grows old, and one cleaner after the other, pass for pass,
/// removes it all, with what killed processes left behind.
void cleanToTheEnd(Field& pField, Figures* pFigures)
{
    pFigures->strays += pField.strays().size();
    pField.makeAllOld(OLD_SECONDS);
    pField.start("idle", Options());
    if (!pField.wait([&] { return std::filesystem::is_empty(pField.objectsDir()); }))
        pField.fail("old files stay: " + std::to_string(pField.strays().size()) + " temporary ones");
    pField.stopAll();
}

} // namespace

Figures killStorm(const Form& pForm)
{
    Field tField(pForm.speed);
    std::mt19937 tRandom(pForm.rounds * 31 + pForm.processes);
    tField.prepare(GROWN);
    fillWithOld(tField, pForm);
    const Options tOptions = workOptions(pForm);
    for (unsigned i = 0; i < pForm.processes; ++i)
        tField.start("mix", tOptions);
    for (Worker& tWorker : tField.workers())
        tField.waitReady(tWorker);
    Figures tFigures;
    for (unsigned i = 0; i < pForm.rounds; ++i) {
        sleepMicroseconds(tRandom() % (2 * tField.realMicroseconds(POLL_MS)));
        tField.look();
        // The working cleaner is as likely as all the others together.
        Worker* tVictim = tRandom() % 2 == 0 ? workingCleaner(tField) : nullptr;
        if (!tVictim) tVictim = anyWorker(tField, tRandom);
        if (!tVictim) break;
        tField.kill(*tVictim);
        tField.checkDirectory();
        tField.waitReady(tField.start("mix", tOptions));
        ++tFigures.rounds;
    }
    tField.stopAll();
    tField.checkDirectory();
    tField.checkAccounts(GROWN);
    cleanToTheEnd(tField, &tFigures);
    tFigures.add(tField.figures());
    return tFigures;
}

Figures manyProcesses(const Form& pForm)
{
    Field tField(pForm.speed);
    tField.prepare(GROWN);
    fillWithOld(tField, pForm);
    for (unsigned i = 0; i < pForm.processes; ++i)
        tField.start("mix", workOptions(pForm));
    for (Worker& tWorker : tField.workers())
        tField.waitReady(tWorker);
    sleepMicroseconds(uint64_t(pForm.seconds) * 1000000);
    tField.stopAll();
    tField.checkDirectory();
    tField.checkAccounts(GROWN);
    if (!tField.strays().empty()) tField.fail("temporary files are left, and nobody was killed");
    Figures tFigures = tField.figures();
    if (tFigures.driftKb != 0) tFigures.failures.push_back("the counters are not exact");
    ++tFigures.rounds;
    return tFigures;
}

Figures pinStorm(const Form& pForm)
{
    Field tField(pForm.speed);
    std::mt19937 tRandom(pForm.processes);
    tField.prepare(GROWN);
    fillWithOld(tField, pForm);
    // Kept for so long that an object whose pin is not refreshed is gone by then.
    const Options tOptions =
        workOptions(pForm).set("keep", static_cast<int64_t>(tField.realMicroseconds(MINIMUM_AGE_MS * 2)));
    for (unsigned i = 0; i < pForm.processes; ++i)
        tField.start("mix", tOptions);
    for (Worker& tWorker : tField.workers())
        tField.waitReady(tWorker);
    const uint64_t tEnd = monotonicNow() + uint64_t(pForm.seconds) * 1000000;
    // The refreshing of pins has to survive the change from waiting to working and the loss of the cleaner.
    while (monotonicNow() < tEnd) {
        sleepMicroseconds(tField.realMicroseconds(MINIMUM_AGE_MS));
        tField.look();
        Worker* tCleaner = workingCleaner(tField);
        if (!tCleaner) continue;
        tField.kill(*tCleaner);
        tField.waitReady(tField.start("mix", tOptions));
    }
    tField.stopAll();
    tField.checkDirectory();
    Figures tFigures = tField.figures();
    ++tFigures.rounds;
    if (tFigures.removed == 0) tFigures.failures.push_back("the cleaners removed nothing");
    if (tFigures.pinChecks == 0) tFigures.failures.push_back("no pinned object was read");
    return tFigures;
}

} // namespace vel::kos::storm
