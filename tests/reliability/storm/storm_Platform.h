// The platform as a worker sees it: its own calls of kpr are wrapped at link time, so that
//
// - time passes faster. Scaled time starts at an epoch and runs so many times as fast as real time;
//   file times are read and set in scaled time as well, and sleeping takes as much less. Nothing else of the
//   cache knows. Processes with the same epoch and speed share one scaled time.
// - the process ends itself, without a word to anybody, at the Nth call of a thread.
// - the log gets what a cleaner thread does, and which objects were stored, counted and removed.
#pragma once

#include <cstdint>

#include "tests/reliability/storm/storm_OperationLog.h"
#include "tests/reliability/storm/storm_TimeScale.h"

namespace vel::kos::storm {

/// One for the process. Set up before any cache is; then any thread.
class Platform {
public:
    static void setTimeScale(const TimeScale& pLens);
    /// Where stores, removals and elections are written; null for nowhere.
    static void setLog(OperationLogWriter* pLog);

    /// Counts the wrapped calls of the calling thread from now on.
    static void startCounting();
    static void stopCounting();
    /// Counts the calls of every cleaner thread from its start to its first sleep, and tells the log of
    /// the end of that round: "passed", with the calls and the kilobytes by which the process's peak grew.
    static void countCleaners();
    /// Ends the process before the pNth call that is counted (1 is the first); with pTorn, if that call is
    /// kprWrite, after half of its bytes are written.
    static void endAtCall(uint32_t pNth, bool pTorn);
    /// The calls counted so far.
    static uint32_t counted();
    /// How many rounds the cleaner thread has ended. A process has one such thread.
    static uint32_t cleanerRounds();
    /// The longest round of the cleaner thread so far, the present one included, in milliseconds of
    /// scaled time: from sleep to sleep, so that it is at least the poll interval.
    static uint64_t longestCleanerRound();
};

} // namespace vel::kos::storm
