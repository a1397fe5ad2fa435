// How a thread that takes a lock again and again leaves it to others.
#pragma once

#include <cstdint>

namespace vel::kos::kfw {

/// Leaves the insert lock to others for most of a pass. Locks are not given in turn: whoever takes one again
/// at once is quicker than those who wait for it and have to be woken first, so that without rests a lookup
/// would wait for many removals in a row.
///
/// For the time that the lock was held, SHARE times as much is owed in rests. Sleeps are made of whole
/// milliseconds, so short turns are added up. What is owed is bounded both ways:
/// - No rest is longer than LONGEST, so that a pass comes to its end. Where one removal takes more than
///   LONGEST / SHARE (11 ms), as on a slow file server, the others get less than their share. With removals
///   of one second each the lock is free for a tenth of a second in between: long enough for whoever waits
///   to wake up and take it.
/// - A sleep that took longer than it should counts for later rests, but for CREDIT at most: what a coarse
///   timer adds makes up for the next turns, a machine that stood still does not.
///
/// One thread uses it.
class LockThrottle {
public:
    /// The lock stays free for this many times as long as it was held.
    static constexpr int64_t SHARE = 9;
    /// The bounds of what is owed, in microseconds.
    static constexpr int64_t LONGEST = 100000, CREDIT = 20000;

    LockThrottle();

    /// Called when the lock was taken.
    void lockTaken();
    /// Called after the lock was given back: sleeps when enough is owed. Without a clock, or a sleep, there
    /// is no rest.
    void rest();

private:
    /// The time since mSince, in microseconds, which becomes now; 0 when the clock cannot be read.
    int64_t lap();

    uint64_t mSince = 0;
    int64_t mOwed = 0; ///< microseconds
};

} // namespace vel::kos::kfw
