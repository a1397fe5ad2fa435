// Processes that end themselves at every call.
#include <algorithm>

#include "tests/reliability/storm/storm_Storms.h"
#include "tests/reliability/storm/storm_Values.h"

namespace vel::kos::storm {

namespace {

constexpr uint32_t LIMIT = 9000;
/// What one object file counts for at most, in kilobytes.
constexpr uint64_t LARGEST_KB = (LIMIT >> 10) + 2;
constexpr unsigned OLD_FILES = 8;
constexpr int64_t OLD_SECONDS = 10 * 3600;
/// An age at which asking for an object refreshes its time.
constexpr int64_t STALE_SECONDS = 1000;
constexpr Counters GROWN{uint64_t(1) << 40, 0};

constexpr char THERE[] = "http://there/object";

/// One operation, on a field of its own, ended at one call after the other.
class Sweep {
public:
    /// pOperation is a worker's ("put"); pUri: of what.
    Sweep(const std::string& pOperation, const std::string& pUri)
        : mOperation(pOperation), mUri(pUri), mEnvironment(1)
    {
        // Every process has a cleaner: where it is not meant, there is nothing for it to do.
        if (mOperation != "init") mEnvironment.prepare(cleans() ? GROWN : Counters{});
    }

    /// Ends it at every pStride-th call, beginning with pFirst; returns the number of points reached.
    uint64_t run(uint64_t pFirst, uint64_t pStride)
    {
        lay();
        const uint64_t tCalls = mEnvironment.run("once", options()).calls;
        if (tCalls == 0) mEnvironment.fail(mOperation + " made no calls");
        uint64_t tPoints = 0;
        for (uint64_t i = pFirst; i <= tCalls; i += pStride, ++tPoints)
            endAt(i, false);
        if (mOperation == "put") {
            endAt(WRITE_CALL, true);
            ++tPoints;
        }
        return tPoints;
    }

    /// What processes left behind is an old file like any other.
    void removeStrays()
    {
        const std::size_t tStrays = mEnvironment.strays().size();
        if (tStrays == 0) return;
        mEnvironment.prepare(GROWN);
        mEnvironment.makeAllOld(OLD_SECONDS);
        for (int i = 0; i < 60 && !mEnvironment.strays().empty(); ++i)
            mEnvironment.run("once", WorkerOptions().set("op", "clean"));
        if (!mEnvironment.strays().empty()) mEnvironment.fail("temporary files stay");
        mStrays = tStrays;
    }

    Figures figures()
    {
        Figures tFigures = mEnvironment.figures();
        tFigures.strays = mStrays;
        return tFigures;
    }

private:
    /// The call of a store that writes the object's bytes: after the lock, the temporary name and the
    /// opening.
    static constexpr uint64_t WRITE_CALL = 4;

    bool cleans() const { return mOperation == "clean"; }
    bool stores() const { return mOperation == "put" && mUri != THERE; }

    WorkerOptions options() const
    {
        return WorkerOptions().set("op", mOperation).set("limit", LIMIT).set("uri", mUri);
    }

    void remove(const std::string& pUri)
    {
        std::error_code tIgnored;
        std::filesystem::remove(mEnvironment.objectsDir() / objectName(pUri), tIgnored);
    }

    /// What the operation finds.
    void lay()
    {
        if (mOperation == "init") {
            std::filesystem::remove_all(mEnvironment.userDir() / "cache");
            return;
        }
        remove(THERE);
        mEnvironment.makeObject(THERE, LIMIT, 1, cleans() ? 0 : STALE_SECONDS);
        if (stores()) remove(mUri);
        for (unsigned i = 0; cleans() && i < OLD_FILES; ++i)
            mEnvironment.makeObject("http://old/" + std::to_string(i), LIMIT, i, OLD_SECONDS);
    }

    void endAt(uint64_t pCall, bool pTorn)
    {
        const bool tFromNothing = mOperation == "init";
        lay();
        const uint64_t tBefore = tFromNothing ? 0 : mEnvironment.checkDirectory();
        const Counters tCounters = tFromNothing ? Counters{} : mEnvironment.readCounters();
        const Worker& tWorker =
            mEnvironment.run("once", options().set("end", static_cast<int64_t>(pCall)).set("torn", pTorn));
        const std::string tWhere = mOperation + ", call " + std::to_string(pCall) + ": ";
        if (!tWorker.wasKilled) mEnvironment.fail(tWhere + "was not reached");
        if (!tFromNothing) checkCounters(tWhere, tBefore, tCounters);
        checkThatAnotherWorks();
    }

    /// The directory is the truth: at most the one object that was being stored, or removed, is not counted.
    void checkCounters(const std::string& pWhere, uint64_t pKilobytes, const Counters& pCounters)
    {
        const uint64_t tAfter = mEnvironment.checkDirectory();
        const Counters tNow = mEnvironment.readCounters();
        const uint64_t tCounted =
            pKilobytes + (tNow.inserted - pCounters.inserted) - (tNow.cleaned - pCounters.cleaned);
        const bool tTooFew = stores() ? tAfter < tCounted : tAfter > tCounted;
        const uint64_t tDrift = std::max(tAfter, tCounted) - std::min(tAfter, tCounted);
        if ((tDrift > 0 && tTooFew) || tDrift > (stores() || cleans() ? LARGEST_KB : 0))
            mEnvironment.fail(pWhere + "the directory has " + std::to_string(tAfter) +
                              " KB, the counters say " + std::to_string(tCounted));
    }

    /// A new process stores and reads at once.
    void checkThatAnotherWorks()
    {
        mEnvironment.run("once", WorkerOptions().set("op", "work"));
        mEnvironment.checkDirectory();
    }

    const std::string mOperation;
    const std::string mUri;
    StressEnvironment mEnvironment;
    std::size_t mStrays = 0;
};

} // namespace

Figures injectedEnds(const StressOptions& pOptions)
{
    const std::pair<const char*, const char*> tTrials[] = {{"put", "http://new/object"},
                                                           {"put", THERE},
                                                           {"get", THERE},
                                                           {"has", THERE},
                                                           {"pin", THERE},
                                                           {"clean", ""},
                                                           {"init", ""}};
    Figures tFigures;
    uint64_t tPoints = 0;
    for (const auto& [tOperation, tUri] : tTrials) {
        Sweep tSweep(tOperation, tUri);
        // Begins elsewhere each time, so that a wide stride meets different calls.
        tPoints += tSweep.run(1 + tPoints % pOptions.stride, pOptions.stride);
        tSweep.removeStrays();
        tFigures.add(tSweep.figures());
    }
    tFigures.rounds = tPoints;
    return tFigures;
}

} // namespace vel::kos::storm
