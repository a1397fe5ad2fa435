// The work that a worker's threads do on a cache, with every result checked.
#pragma once

#include <atomic>
#include <map>
#include <string>

#include "kfw/IFileSystemCache.h"
#include "tests/reliability/storm/storm_OperationLog.h"
#include "tests/reliability/storm/storm_Values.h"
#include "tests/reliability/storm/storm_WorkerOptions.h"

namespace vel::kos::storm {

/// What the threads of a worker have done so far.
struct Tally {
    std::atomic<uint64_t> operations{0};
    std::atomic<uint64_t> checked{0};   ///< values read and compared
    std::atomic<uint64_t> pinChecks{0}; ///< of those, reads of objects that this process has pinned
};

/// One thread's work: stores, reads, questions and pins at random over the addresses that all workers share,
/// and stores of its own. What is wrong goes to the log at once: "wrong" (a wrong byte), "lost" (an object
/// that is pinned is gone), "late" (the same, but this process was held up for so long that pins cannot hold)
/// or "failed" (a result that should not be).
///
/// WorkerOptions: seed; objects: how many addresses are shared; limit: bytes of data at most; hold: pins that
/// the thread holds at most; keep: microseconds that it keeps a pin at least; pause: microseconds between two
/// operations.
class Work {
public:
    Work(fw::IFileSystemCache& pCache, OperationLogWriter& pLog, Tally& pTally, const WorkerOptions& pOptions,
         unsigned pThread);

    /// Works until pStop is set, then reads what it holds once more.
    void run(const std::atomic<bool>& pStop);

private:
    void step();
    /// One of the shared addresses of so many windows ago.
    std::string uri(int64_t pWindowsAgo);
    std::string anyUri();
    void put(const std::string& pUri);
    /// Reads an object and checks it; whether it is there.
    bool get(const std::string& pUri);
    void getFile(const std::string& pUri);
    void getAttributes(const std::string& pUri);
    void has(const std::string& pUri);
    void pin(const std::string& pUri);
    void unpinOldest();
    void checkPinned();
    void readPinned(const std::string& pUri, const char* pWhen);

    void report(const char* pKind, const std::string& pUri, const std::string& pWhat);
    /// Reports a result that is not success; whether it is.
    bool succeeded(uint32_t pResult, const char* pWhat, const std::string& pUri);

    fw::IFileSystemCache& mCache;
    OperationLogWriter& mLog;
    Tally& mTally;
    std::mt19937 mRandom;
    std::string mOwn;
    unsigned mOwnCount = 0;
    const unsigned mObjects;
    const uint32_t mLimit;
    const std::size_t mHold;
    const uint64_t mKeep;
    const int64_t mPause;
    std::map<std::string, uint64_t> mHeld; ///< pinned addresses, and since when
};

} // namespace vel::kos::storm
