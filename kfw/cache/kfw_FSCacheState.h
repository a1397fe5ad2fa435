// What a cache and its cleaner thread share.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "kfw/cache/kfw_CacheLog.h"
#include "kpr/file.h"
#include "kpr/thread.h"
#include "kutil/Mutex.h"

namespace vel::kos::kfw {

/// Every member of an FSCache but its reference count, in a counted object of its own (std::shared_ptr): the
/// cleaner thread runs until the process ends, and so outlives the FSCache that started it. Each of the two
/// holds one reference. When the FSCache goes it calls detach(), and the thread goes on with what is left.
///
/// The members are set up by FSCache::init before the thread starts, and only read afterwards, except where a
/// member says what guards it.
struct FSCacheState {
    FSCacheState() = default;
    FSCacheState(const FSCacheState&) = delete;
    FSCacheState& operator=(const FSCacheState&) = delete;
    /// Closes the files and gives the thread's handle back: nobody is left who could use them.
    ~FSCacheState();

    /// The FSCache goes: gives the application back and forgets the pins. Messages go to the log without an
    /// application from then on.
    void detach();

    /// The path of an object's file. Its failure is reported.
    uint32_t composeObjectPath(const char* pName, std::string* pPath);
    /// Sets an object file's times to now, by the file system's clock. Its failure is reported.
    uint32_t touchObject(const std::string& pPath);

    /// Locks the mutex of the insert lock and then the file. After a failure the mutex is still the caller's
    /// to unlock; *pDoubled is true when it is that the thread holds the lock already. Nothing is reported.
    uint32_t lockInserter(bool pExclusive, bool* pDoubled) K_ACQUIRE(*mInserterMutex);
    /// Gives both back, and returns the failure to unlock the file.
    uint32_t unlockInserter() K_RELEASE(*mInserterMutex);

    /// The log, with the application: none before init and once the FSCache is gone.
    CacheLog mLog;

    /// Native paths; empty until the directory stands.
    std::string mCacheDir;
    std::string mObjectsDir;

    /// The half of the insert lock that works between the threads of this cache.
    std::optional<util::Mutex> mInserterMutex;
    /// Whether an InserterLock of this cache holds the lock.
    bool mInserterLocked K_GUARDED_BY(*mInserterMutex) = false;

    /// The kilobytes ever inserted: 8 bytes, big-endian. Locking the file is the half of the insert lock that
    /// works between processes, and between caches of one process.
    std::string mInsertedPath;
    KprFile mInsertedFile = KPR_NO_FILE;

    /// The kilobytes ever removed, in the same form; its lock elects the cleaner. Once the thread runs, the
    /// handle is the thread's.
    std::string mCleanedPath;
    KprFile mCleanedFile = KPR_NO_FILE;
    KprThread mCleanerThread = 0;

    /// Never held together with mInserterMutex.
    std::optional<util::Mutex> mPinMutex;
    /// Object file names and how often each is pinned.
    std::map<std::string, uint32_t> mPinned K_GUARDED_BY(*mPinMutex);

    /// The file system's clock minus the local one, in seconds. A time written to a file is local time plus
    /// this; a time read from a file is compared with local time after this is taken off.
    int32_t mTimeOffset = 0;
};

/// Holds the insert lock for as long as it lives: shared for who reads objects, exclusive for who adds or
/// removes them. Between the threads of one cache the holders run one at a time, shared or not. The
/// holder's log lines are written when the lock was given back.
///
/// The guard is empty when the file lock cannot be had, which is reported; who only reads or adds objects
/// goes on without it. It is also empty, and another lock is untouched, when the thread holds the lock
/// already, which is an error of the program.
class InserterLock {
public:
    InserterLock(FSCacheState& pCache, bool pExclusive);
    ~InserterLock();
    InserterLock(const InserterLock&) = delete;
    InserterLock& operator=(const InserterLock&) = delete;

    explicit operator bool() const noexcept { return mCache != nullptr; }

private:
    CacheLog::Hold mHold; ///< first, so that it goes last
    FSCacheState* mCache = nullptr;
};

} // namespace vel::kos::kfw
