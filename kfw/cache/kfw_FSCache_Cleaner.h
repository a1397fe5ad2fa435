// The cache's cleaner thread.
#pragma once

#include <memory>

#include "kfw/cache/format/kfw_CleaningPolicy.h"
#include "kfw/cache/kfw_FSCacheState.h"

namespace vel::kos::kfw {

/// Keeps a cache within bounds. Of all cleaners that share a directory, in this process and others, one works
/// at a time: the one that holds an exclusive lock on "cleaned". It refreshes pinned objects, watches the
/// counters, and when the cache has grown removes a quarter of what is old enough. The others wait, and keep
/// their own caches' pins fresh meanwhile, so that a pin holds wherever the cleaner works.
///
/// The thread runs until the process ends, a step fails or memory runs out. It holds the cache's state,
/// outlives the cache, and keeps the module's code loaded.
class Cleaner {
public:
    /// Seconds between two refreshments of the pinned objects.
    static constexpr int64_t PIN_INTERVAL = 900;
    /// Milliseconds between two looks at the counters, and between two tries to become the cleaner.
    static constexpr uint32_t POLL_INTERVAL = 30000;
    static constexpr uint32_t STACK_SIZE = 262144;

    /// Starts the thread; its handle goes into the state. Its failure is for the caller to report.
    static uint32_t start(const std::shared_ptr<FSCacheState>& pState);

private:
    explicit Cleaner(FSCacheState& pState) : mState(pState) {}

    static uint32_t cleanerMain(void* pCache);
    void run();
    uint32_t work();
    void reportException(const char* pWhat);

    uint32_t acquireCleanerLock();
    void releaseCleanerLock();
    void closeCleanedFile();
    /// Refreshes the times of the pinned objects. Fails when the clock does; an object that cannot be touched
    /// is reported and passed over.
    uint32_t refreshPinned();
    /// The same for a cleaner that waits: the first call starts the interval, a later one refreshes when it
    /// is over.
    uint32_t refreshPinnedWhenDue();
    uint32_t isCleaningNeeded(bool* pNeeded);
    uint32_t collectCandidates(Candidates* pCandidates);
    uint32_t removeCandidates(const Candidates& pCandidates);
    /// Removes one file, under the caller's exclusive insert lock (not checked: the guard may be empty);
    /// false when it stays, which is reported.
    bool removeCandidate(const Candidate& pCandidate, int64_t pNow);
    uint32_t addToCleaned(uint32_t pKilobytes);

    FSCacheState& mState;
    /// When pinned objects are refreshed next, by the local clock in seconds; 0 before the first interval.
    int64_t mNextRefresh = 0;
};

} // namespace vel::kos::kfw
