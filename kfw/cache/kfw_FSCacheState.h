// What a cache and its cleaner thread share.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kfw/IApplication.h"
#include "kom/ref.h"
#include "kpr/file.h"
#include "kpr/thread.h"
#include "kpr/time.h"
#include "kutil/Mutex.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

/// Every member of an FSCache but its reference count, in a counted object of its own (std::shared_ptr): the
/// cleaner thread runs until the process ends, and so outlives the FSCache that started it. Each of the two
/// holds one reference. When the FSCache goes it calls abandon(), and the thread goes on with what is left.
///
/// The members are set up by FSCache::init before the thread starts, and only read afterwards, except where a
/// member says what guards it.
struct FSCacheState {
    FSCacheState() = default;
    FSCacheState(const FSCacheState&) = delete;
    FSCacheState& operator=(const FSCacheState&) = delete;
    /// Closes the files and lets go of the thread's handle: nobody is left who could use them.
    ~FSCacheState();

    /// The FSCache goes: gives the application back and forgets the pins. Afterwards the application is not
    /// called again, and messages go to the log without one.
    void abandon();

    /// Writes a line to the debug log: a format and its arguments, as util::message takes them. Any thread.
    template <class... TArgs>
    void debug(std::string_view pFormat, const TArgs&... pArguments)
    {
        writeDebug(util::message(pFormat, pArguments...));
    }
    /// Writes a line to the error log. Any thread.
    void error(const std::string& pMessage);
    /// Reports a failed internal check, at a line of the calling source. Any thread.
    void assertion(const char* pExpression, int pLine);

    /// The path of an object's file. Its failure is reported.
    uint32_t composeObjectPath(const std::string& pName, std::string* pPath);
    /// Sets an object file's times to now, by the file system's clock. Its failure is reported.
    uint32_t touchObject(const std::string& pPath);
    /// Reads the local clock. Its failure is reported.
    uint32_t readClock(KprTime* pNow);

    /// Reads at an offset: in one call where the platform can, else by moving the position.
    uint32_t readAt(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead);
    /// Writes at an offset, in the same way.
    uint32_t writeAt(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                     uint32_t* pWritten);
    /// Writes a whole file under a temporary name beside it and renames it, so that no reader ever sees it
    /// half-written. KPR_E_EXISTS when the file is there already; it is kept. Other failures are reported.
    ///
    /// A failed or short write leaves the temporary file behind, open: the cleaner removes it when it is old.
    /// A short write is reported, but answers success.
    uint32_t writeFileAtomically(const std::string& pPath, const void* pBytes, uint32_t pLength);

    /// The application; null before init and once the FSCache is gone. Guarded by mAppMutex, which is held
    /// for as long as a log line takes: abandon() waits for the line, and never for the thread.
    kom::Ref<fw::IApplication> mApp;
    std::mutex mAppMutex;

    /// Native paths; empty until the directory stands.
    std::string mCacheDir;
    std::string mObjectsDir;

    /// The half of the insert lock that works within the process. It guards mInserterLocked, which is true
    /// while an InserterLock of this cache holds the lock.
    std::optional<util::Mutex> mInserterMutex;
    bool mInserterLocked = false;

    /// The kilobytes ever inserted: 8 bytes, big-endian. Locking the file is the half of the insert lock that
    /// works between processes, and between caches of one process. Only this handle may be used to read or
    /// write it: where locks are mandatory, others are refused while this one holds the lock.
    std::string mInsertedPath;
    KprFile mInsertedFile = KPR_NO_FILE;

    /// The kilobytes ever removed, in the same form; its lock elects the cleaner, and only its handle may be
    /// used as well. Once the thread runs, the handle is the thread's.
    std::string mCleanedPath;
    KprFile mCleanedFile = KPR_NO_FILE;
    KprThread mCleanerThread = 0;

    /// Object file names and how often each is pinned. Guarded by mPinMutex, which is never held together
    /// with mInserterMutex.
    std::optional<util::Mutex> mPinMutex;
    std::map<std::string, uint32_t> mPinned;

    /// The file system's clock minus the local one, in seconds. A time written to a file is local time plus
    /// this; a time read from a file is compared with local time after this is taken off.
    int32_t mTimeOffset = 0;

private:
    void writeDebug(const std::string& pMessage);
};

/// Holds the insert lock for as long as it lives: shared for who reads objects, exclusive for who adds or
/// removes them. Within the process the holders run one at a time, shared or not.
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
    FSCacheState* mCache = nullptr;
};

/// An open file that is closed when it goes out of scope, unless it was closed before or is to stay open.
class OpenFile {
public:
    OpenFile() = default;
    ~OpenFile() { static_cast<void>(close()); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Opens a regular file, not through a link.
    uint32_t open(const std::string& pPath, uint32_t pMode)
    {
        return kprOpenFile(pPath.c_str(), pMode, &mFile);
    }
    uint32_t close()
    {
        const KprFile tFile = detach();
        return tFile == KPR_NO_FILE ? 0 : kprCloseFile(tFile);
    }
    KprFile detach() { return std::exchange(mFile, KPR_NO_FILE); }
    KprFile get() const { return mFile; }

private:
    KprFile mFile = KPR_NO_FILE;
};

/// The kilobytes that a file of a size counts for.
constexpr uint32_t kilobytes(uint64_t pBytes) { return static_cast<uint32_t>((pBytes + 1023) >> 10); }

} // namespace vel::kos::kfw
