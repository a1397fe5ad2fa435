// Where a storm takes place: a cache directory, the worker processes on it, and what is known about both.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kpr/testing/kpr_testing.h"
#include "tests/reliability/storm/storm_OperationLog.h"
#include "tests/reliability/storm/storm_Reader.h"
#include "tests/reliability/storm/storm_TimeScale.h"
#include "tests/reliability/storm/storm_WorkerOptions.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::storm {

/// Figures with their names, in the order of a table.
using Rows = std::vector<std::pair<std::string, uint64_t>>;

/// What a storm found, in the units that the names say. Figures of several storms add up.
struct Figures {
    uint64_t rounds = 0;
    uint64_t processes = 0;
    uint64_t kills = 0;
    uint64_t operations = 0;
    uint64_t checked = 0;     ///< values read and compared, by workers and by the driver
    uint64_t pinChecks = 0;   ///< of those, reads of objects that the reader had pinned
    uint64_t latePins = 0;    ///< the same in a process that the machine held up: not to be had otherwise
    uint64_t stored = 0;      ///< objects
    uint64_t removed = 0;     ///< files removed by cleaners
    uint64_t wrong = 0;       ///< values with a wrong byte
    uint64_t lostPins = 0;    ///< pinned objects that were gone
    uint64_t interrupted = 0; ///< stores and removals that a kill may have kept from being counted
    uint64_t driftKb = 0;     ///< kilobytes that the counters do not know
    uint64_t strays = 0;      ///< temporary files that killed processes left
    uint64_t elections = 0;
    uint64_t worstTakeOverMs = 0; ///< from a cleaner's death to its successor, in milliseconds of scaled time
    uint64_t longestRoundMs = 0;  ///< a cleaner's, from sleep to sleep, in milliseconds of scaled time
    std::vector<std::string> failures; ///< a line each; wrong values and lost pins are among them

    void add(const Figures& pOther);
    Rows rows() const;
};

/// A worker process and what its log said so far.
struct Worker {
    unsigned number = 0;
    bool hasEnded = false; ///< no process is there any more
    bool wasKilled = false;
    bool isReady = false;
    uint64_t killedAt = 0;                   ///< just before it was killed; 0 when it was not
    uint64_t deadAt = 0;                     ///< when it was known to be gone
    uint64_t electedFrom = 0, electedAt = 0; ///< when the try that made it the cleaner began, and had ended
    std::vector<std::pair<uint64_t, uint64_t>> refused; ///< tries that failed: began, ended
    uint64_t storedKb = 0, removedKb = 0;
    /// Kilobytes that were stored or removed and are not counted yet. 0 kilobytes can be, too.
    std::optional<uint64_t> pendingStore, pendingRemoval;
    uint64_t calls = 0; ///< that an operation took, or a pass
    // Of a worker that measures a pass: when it ended, its memory, and lookups.
    uint64_t passedAt = 0;
    uint64_t memoryKb = 0;
    bool hasMeasured = false;
    Latency during, idle;
    std::string logPath;
    Figures figures;
    std::unique_ptr<OperationLogReader> log;
    std::unique_ptr<kprtest::ChildProcess> process;
};

/// The counters' values, in kilobytes.
struct Counters {
    uint64_t inserted = 0;
    uint64_t cleaned = 0;
};

class StressEnvironment {
public:
    /// A new directory, with a scaled time that runs so many times as fast as real time from now on.
    explicit StressEnvironment(uint32_t pSpeed);

    const std::filesystem::path& userDir() const { return mUserDir; }
    std::filesystem::path objectsDir() const { return mUserDir / "cache" / "objects"; }
    uint32_t speed() const { return mSpeed; }
    /// Milliseconds of scaled time in real microseconds.
    uint64_t realMicroseconds(uint64_t pScaledMilliseconds) const
    {
        return pScaledMilliseconds * 1000 / mSpeed;
    }

    /// Makes the directory as a cache would, with counters that say how much has grown. Growth past the
    /// threshold has every pass of the cleaner remove something.
    void prepare(const Counters& pCounters);
    /// Stores an object file, this old, without counting it.
    void makeObject(const std::string& pUri, uint32_t pLimit, unsigned pSeed, int64_t pAgeSeconds);
    /// Makes every file in the objects' directory this old.
    void makeAllOld(int64_t pAgeSeconds);

    Worker& start(const std::string& pMode, WorkerOptions pOptions);
    /// Starts it, and waits for its end.
    Worker& run(const std::string& pMode, const WorkerOptions& pOptions);
    /// Kills a worker wherever it is, and waits until it is gone.
    void kill(Worker& pWorker);
    /// Tells all to end and waits until they have.
    void stopAll();
    std::list<Worker>& workers() { return mWorkers; }

    /// Reads what the logs say. Then, and in wait, a worker that ended by itself is noticed.
    void look();
    /// Looks until pCondition holds; false after so many seconds.
    bool wait(const std::function<bool()>& pCondition, unsigned pSeconds = 60);
    bool waitReady(Worker& pWorker);

    /// Reads every object, under the shared insert lock as any outside reader, and checks it; and that both
    /// counters are there, whole. Adds to the figures; returns the kilobytes of the objects.
    uint64_t checkDirectory();
    /// Reads the counters, also while they are locked.
    Counters readCounters();
    /// Names in the objects' directory that are no object's.
    std::vector<std::string> strays() const;

    /// That the counters differ from what the logs say by no more than one store and one removal for each
    /// kill. With all workers gone.
    void checkAccounts(const Counters& pStart);

    void fail(const std::string& pWhat) { mFigures.failures.push_back(pWhat); }
    /// Everything so far, workers included.
    Figures figures();

private:
    void setAge(const std::filesystem::path& pPath, int64_t pAgeSeconds);
    void take(Worker& pWorker, const OperationLogLine& pLine);
    void noteEnd(Worker& pWorker, int pStatus);

    test::TestDirectory mDir;
    const std::filesystem::path mUserDir = mDir.path() / "user";
    const uint32_t mSpeed;
    int64_t mEpoch = 0;
    std::list<Worker> mWorkers;
    Figures mFigures;
};

} // namespace vel::kos::storm
