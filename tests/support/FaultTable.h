// The platform functions that a class calls, under a test's control: the Nth call fails with a code, a read
// or write is cut short, calls are counted, the clock and the file times are the test's.
//
// Link kfw_fault_table and the class's objects into the test program; FaultTable::reset() in the fixture.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kpr/file.h"
#include "kpr/thread.h"
#include "kpr/time.h"

namespace vel::kos::test {

/// One table for the program. Rules are set and read from any thread; a rule counts calls from the moment it
/// is set. Functions are named as in C ("kprWrite"); ANY stands for each of them.
class FaultTable {
public:
    static constexpr char ANY[] = "*";

    /// Forgets every rule, count and clock.
    static void reset();

    /// The pNth call from now (1 is the next), and pTimes - 1 more after it, return pCode. Closing and
    /// unlocking are done all the same, so that nothing is left behind; nothing else is.
    static void fail(const std::string& pFunction, uint32_t pCode, uint32_t pNth = 1, uint32_t pTimes = 1);
    /// The pNth call of a read or write succeeds with at most pBytes bytes.
    static void cutShort(const std::string& pFunction, uint32_t pBytes, uint32_t pNth = 1);
    /// The pNth call of kprSeek goes pBytes too far, and says so.
    static void misplaceSeek(int64_t pBytes, uint32_t pNth = 1);
    /// The pNth call of kprReadDir gives the entry of the call before it again.
    static void repeatEntry(uint32_t pNth);
    /// Runs pAction before the pNth call, on the calling thread.
    static void before(const std::string& pFunction, std::function<void()> pAction, uint32_t pNth = 1);

    /// Runs pAction with the path of every file that kprGetTempFileName makes.
    static void onTempFile(std::function<void(const char* pPath)> pAction);

    /// Forgets the rules that have not been used up, and nothing else.
    static void forgetRules();
    /// How many rules have not been used up: a fault that is left was never reached.
    static uint32_t pending();

    /// The files and listings that were opened and not closed since reset().
    static uint32_t openHandles();
    /// Closes the files with pPathPart in their path that were opened and not closed since reset(); returns
    /// how many there were.
    static uint32_t closeLeftOpen(const std::string& pPathPart);

    /// The calls of a function since reset().
    static uint32_t calls(const std::string& pFunction);
    /// The names of all wrapped functions called since reset(), in order; only after recordTrace().
    static std::vector<std::string> trace();
    static void recordTrace();

    /// A thread that kprThreadCreate was asked for.
    struct Thread {
        KprThreadMain main;
        void* argument;
        uint32_t stackSize;
    };
    /// From now on kprThreadCreate starts nothing and returns success; the test may run the bodies itself.
    static void captureThreads();
    static std::vector<Thread> capturedThreads();

    /// kprGetCurrentTime gives this time from now on, and kprGetMonotonicTime stands still.
    static void setClock(KprTime pNow);
    /// Moves a monotonic clock that stands still.
    static void advanceMonotonicClock(uint64_t pMicroseconds);
    /// Moves the clock, and the files' clock with it.
    static void advanceClock(int64_t pSeconds);
    /// The clock of the file system: files that are made or renamed bear this time from now on. Setting the
    /// clock alone is then a jump of the local clock.
    static void setFileClock(KprTime pNow);
    /// The times that are read from files are rounded down to a multiple of so many seconds.
    static void setFileTimeStep(int64_t pSeconds);
    /// kprSleep calls this instead of sleeping. Null: it sleeps.
    static void setSleeper(std::function<uint32_t(uint32_t pMilliseconds)> pSleeper);
    /// The file times that kprGetFileInfo and kprGetOpenFileInfo give are this much later than the real
    /// ones, and kprSetFileTime takes it off again: a file server whose clock differs.
    static void setServerClockOffset(int64_t pMicroseconds);
};

} // namespace vel::kos::test
