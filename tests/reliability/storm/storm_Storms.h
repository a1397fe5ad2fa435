// The storms. Each makes an environment of its own, lets processes loose in it, and returns what it found;
// whatever should not have been stands in Figures::failures.
#pragma once

#include "tests/reliability/storm/storm_StressEnvironment.h"

namespace vel::kos::storm {

/// How large a storm is.
struct StressOptions {
    unsigned processes = 4;
    unsigned threads = 2;   ///< of each process
    unsigned rounds = 10;   ///< kills, or sweeps
    unsigned seconds = 5;   ///< of storms that are not counted in rounds
    unsigned objects = 40;  ///< addresses that all share at a time
    uint32_t limit = 40000; ///< bytes of a value's data at most
    unsigned hold = 8;      ///< pins of a thread at most
    unsigned pause = 1000;  ///< microseconds between two operations of a thread
    uint32_t speed = 600;   ///< scaled seconds in a real one
    unsigned stride = 1;    ///< of the calls at which processes end themselves, every one of this many
};

/// Writers, readers and cleaners that are killed at random moments. After each kill every object reads back,
/// the counters parse, and a new process takes the dead one's place and works at once. In the end the
/// counters know all but at most one store and one removal for each kill, and what temporary files were left
/// behind is removed by later passes.
Figures killStorm(const StressOptions& pOptions);

/// Processes that end themselves at their Nth call of the platform, for every N of setting up, storing (also
/// in the middle of a write), reading, asking, pinning and a pass of the cleaner.
Figures injectedEnds(const StressOptions& pOptions);

/// Mixed work by many processes with several threads; nobody is killed, so the counters have to be exact.
Figures manyProcesses(const StressOptions& pOptions);

/// Pins against cleaners that remove whatever they may, and that are killed now and then. Every pin is held
/// for longer than the minimum age.
Figures pinStorm(const StressOptions& pOptions);

/// Idle processes of which the working cleaner is killed again and again: never two at work, and whoever
/// tries first after the death is the successor.
Figures election(const StressOptions& pOptions);

} // namespace vel::kos::storm
