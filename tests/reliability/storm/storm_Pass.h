// One pass of the cleaner over a large directory.
#pragma once

#include "tests/reliability/storm/storm_Reader.h"
#include "tests/reliability/storm/storm_StressEnvironment.h"

namespace vel::kos::storm {

struct PassFigures {
    uint64_t files = 0;
    uint64_t removed = 0;
    uint64_t passUs = 0;   ///< microseconds, with nobody else at work
    uint64_t calls = 0;    ///< of the platform
    uint64_t memoryKb = 0; ///< that the pass added to the process's peak
    /// A lookup in a thread of the cleaner's process, and in a process of its own: during the pass, and
    /// after.
    Latency threadDuring, threadIdle, processDuring, processIdle;
    std::vector<std::string> failures;

    Rows rows() const;
};

/// A directory with pFiles old objects (and a few young ones, which are the ones looked up) is cleaned three
/// times: by a process alone, by one that also reads, and while another process reads. Lookups go on for
/// pIdleMs milliseconds after the pass.
PassFigures measurePass(unsigned pFiles, unsigned pIdleMs);

} // namespace vel::kos::storm
