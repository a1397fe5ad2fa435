// How long lookups take, while something else goes on and while nothing does.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "kfw/IFileSystemCache.h"
#include "tests/reliability/storm/storm_OperationLog.h"

namespace vel::kos::storm {

/// How long the lookups of a span of time took, in microseconds.
struct Latency {
    uint64_t count = 0;
    uint64_t median = 0;
    uint64_t p99 = 0;
    uint64_t longest = 0;
};

/// Reads the same objects over and over, a little apart, and remembers how long each took. One thread runs
/// it.
class Reader {
public:
    /// The addresses are "<pPrefix>0" to "<pPrefix><pCount - 1>"; each has to be there.
    Reader(fw::IFileSystemCache& pCache, OperationLogWriter& pLog, std::string pPrefix, unsigned pCount);

    void run(const std::atomic<bool>& pStop);
    /// The lookups that began in a span of the monotonic clock. After run.
    Latency latency(uint64_t pFrom, uint64_t pTo) const;

private:
    struct Sample {
        uint64_t begin;
        uint64_t took;
    };

    fw::IFileSystemCache& mCache;
    OperationLogWriter& mLog;
    const std::string mPrefix;
    const unsigned mCount;
    std::vector<Sample> mSamples;
};

} // namespace vel::kos::storm
