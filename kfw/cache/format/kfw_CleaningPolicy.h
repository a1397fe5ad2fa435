// What the cache's cleaner removes, and in which order: arithmetic on facts, without any file.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kpr/file.h"

namespace vel::kos::kfw {

/// A file younger than this, in seconds, is never removed.
constexpr int64_t MINIMUM_AGE = 1800;

/// Whether a file of this modification time may be removed. Both times are seconds of the local clock.
constexpr bool isOldEnough(int64_t pModified, int64_t pNow) { return pModified < pNow - MINIMUM_AGE; }

/// How early a file is removed: a higher score first. The size counts with the square of its 32-KB steps, the
/// time with its hour, so that of files of like size the one modified last is removed first.
constexpr uint32_t evictionScore(int64_t pModified, uint32_t pKilobytes)
{
    const uint32_t tSteps = pKilobytes >> 5;
    return static_cast<uint32_t>(pModified / 3600) + ((tSteps * tSteps) >> 1);
}

/// A file that may be removed.
struct Candidate {
    uint32_t kilobytes;
    std::string name;
};

/// The candidates of one pass, gathered from a listing of the objects' directory.
class Candidates {
public:
    /// pNow: the local clock in seconds, pTimeOffset: the file system's clock minus it.
    Candidates(int64_t pNow, int32_t pTimeOffset) : mNow(pNow), mTimeOffset(pTimeOffset) {}

    /// Looks at a file; what is not a regular file, or too young, is passed over.
    void add(const std::string& pName, const KprFileInfo& pInfo);

    /// The kilobytes of all candidates.
    uint64_t totalKilobytes() const { return mTotal; }
    /// Calls pVisit with one candidate after the other, in the order of removal (the highest score first, of
    /// equal ones the one added last), until it returns false.
    template <class TVisit>
    void visit(TVisit pVisit) const
    {
        for (auto tEntry = mByScore.rbegin(); tEntry != mByScore.rend(); ++tEntry)
            if (!pVisit(tEntry->second)) return;
    }

private:
    int64_t mNow;
    int32_t mTimeOffset;
    uint64_t mTotal = 0;
    std::multimap<uint32_t, Candidate> mByScore;
};

/// How much of a pass is left to do.
class RemovalTarget {
public:
    /// A quarter of the candidates' kilobytes.
    explicit RemovalTarget(uint64_t pTotalKilobytes) : mLeft(pTotalKilobytes >> 2) {}

    /// Counts a removed file; false when the pass ends with it. The file that crosses the target was removed
    /// as well.
    bool count(uint32_t pKilobytes)
    {
        if (mLeft < pKilobytes) return false;
        mLeft -= pKilobytes;
        return true;
    }

private:
    uint64_t mLeft;
};

} // namespace vel::kos::kfw
