// A cache's files as they lie in the user application directory, read without taking part in the cache:
// nothing is created, locked, touched or cleaned, and no lock of another process stands in the way. Only the
// removal of a bad file takes the insert lock, as a cleaner does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kfw/IFileSystemCache.h"
#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kfw/cache/format/kfw_CleaningPolicy.h"
#include "kpr/file.h"

namespace vel::kos::host {

/// The two counters, and what they say together.
struct CacheCounters {
    uint64_t insertedKb = 0;
    uint64_t cleanedKb = 0;
    /// Negative when more was cleaned than inserted.
    int64_t growthKb() const noexcept { return static_cast<int64_t>(insertedKb - cleanedKb); }
};

using kfw::CLEANING_THRESHOLD_KB;

/// One entry of the objects directory whose name is an object's.
struct CacheFile {
    std::string name;
    uint64_t bytes = 0;
    int64_t modified = 0; ///< seconds since 1970-01-01 00:00:00 UTC
    uint32_t kind = 0;    ///< KprFileKind
};

/// An object file examined.
struct CacheFileFacts {
    std::string problem;    ///< "" for a file that the cache would read, else its message about it
    bool isRefused = false; ///< it could be read, and its bytes break the format's rules
    uint32_t attributes = 0;
    uint32_t attributeBytes = 0; ///< what they take in the file
    uint32_t dataBytes = 0;
};

/// The cache of one user application directory. Operations that return a number return a result code.
class CacheFiles {
public:
    explicit CacheFiles(const std::string& pUserAppDir);

    /// The cache's folder, which need not be there.
    const std::string& dir() const noexcept { return mDir; }
    /// The path of the file or folder that the last failure was about.
    const std::string& failedPath() const noexcept { return mFailedPath; }

    /// The path of an object's file.
    std::string objectPath(const std::string& pName) const;
    /// Whether the cache was ever set up: one of its counters is there, or may be.
    bool hasCounters() const;
    /// Whether a cache may be set up here: a failure, which isForbidden, when a counter may not be written,
    /// or something is missing and cannot be made. Makes and removes a file where something is missing.
    uint32_t checkWritable() const;
    /// Whether a result code says that one may not write.
    static bool isForbidden(uint32_t pCode) noexcept;
    /// Whether an object's file is there, whatever it holds.
    uint32_t hasObject(const std::string& pName, bool* pExists) const;
    /// Whether an object's file is there and holds another object than this one, or none.
    bool hasOther(const std::string& pName, const fw::CacheAttrList& pAttributes,
                  const fw::CacheBytes& pData) const;
    /// The object files in the order of their names. Temporary files of unfinished writes and other
    /// unrecognised files are counted apart. Fails on a file that cannot be looked at.
    uint32_t list(std::vector<CacheFile>& pFiles, uint64_t* pOthers);
    /// What a cleaner would find to remove if it looked now. It passes over what cannot be asked for its
    /// time, as this does.
    uint32_t listCandidates(kfw::Candidates* pCandidates);
    /// Reads one object file's header and attributes as the cache would. The data itself may be any bytes:
    /// that its space lies in the file is all that can be told. However large the file, little memory is
    /// taken.
    CacheFileFacts examine(const CacheFile& pFile) const;
    /// Removes an object file whose bytes break the format's rules, under the exclusive insert lock, and
    /// counts it as cleaned. *pRemoved is false when it has gone or is a good one by the time the lock is
    /// there. While somebody else has the lock, pWaiting is called again and again with the milliseconds that
    /// this has waited; false ends it with KPR_E_LOCKED. KPR_E_NOT_TRUSTED where somebody else's link leads
    /// to the folder. A removed file that could not be counted is a failure; without a counter that can be
    /// opened nothing is removed.
    uint32_t removeRefused(const CacheFile& pFile, const std::function<bool(uint32_t)>& pWaiting,
                           bool* pRemoved);
    /// Reads one object as the cache would; its data only where pData is given. A failure leaves the outputs
    /// as they were, and *pProblem is the cache's message about it.
    uint32_t read(const std::string& pName, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData,
                  std::string* pProblem) const;
    /// Reads both; KPR_E_NOT_FOUND where there is no cache.
    uint32_t readCounters(CacheCounters* pCounters);
    /// Whether a process holds the cleaner's lock.
    uint32_t isCleanerAtWork(bool* pAtWork);

private:
    uint32_t readCounter(const char* pName, uint64_t* pValue);
    /// Calls pVisit(name, result of looking at it, information) for each entry of the objects directory; one
    /// whose name is too long has the name "".
    uint32_t visitEntries(const std::function<void(const char*, uint32_t, const KprFileInfo&)>& pVisit);

    std::string mUserAppDir;
    std::string mDir;
    std::string mObjectsDir;
    std::string mFailedPath;
};

} // namespace vel::kos::host
