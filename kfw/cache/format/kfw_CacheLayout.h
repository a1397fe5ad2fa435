// What a cache's folder holds, and how its volume is counted: the names and numbers that every user of the
// folder has to agree on.
#pragma once

#include <cstdint>
#include <limits>

namespace vel::kos::kfw {

/// The cache's folder, in the user application directory.
inline constexpr char CACHE_FOLDER[] = "cache";
/// The object files' folder, in the cache's.
inline constexpr char OBJECTS_FOLDER[] = "objects";
/// The counter of the kilobytes ever inserted, in the cache's folder; its lock is the insert lock.
inline constexpr char INSERTED_COUNTER[] = "inserted";
/// The counter of the kilobytes ever removed by cleaners; its lock elects the cleaner.
inline constexpr char CLEANED_COUNTER[] = "cleaned";

/// A counter file's size in bytes: one number, big-endian.
inline constexpr uint32_t COUNTER_SIZE = 8;

/// The kilobytes that a file of a size in bytes counts for.
constexpr uint32_t kilobytes(uint64_t pBytes) { return static_cast<uint32_t>((pBytes + 1023) >> 10); }

/// A file's time in seconds of the local clock. pTimeOffset is the file system's clock minus the local one. A
/// time at the end of the range, which a file may bear, stays there.
constexpr int64_t toLocalTime(int64_t pFileTime, int32_t pTimeOffset)
{
    constexpr int64_t FIRST = std::numeric_limits<int64_t>::min(), LAST = std::numeric_limits<int64_t>::max();
    if (pTimeOffset > 0 && pFileTime < FIRST + pTimeOffset) return FIRST;
    if (pTimeOffset < 0 && pFileTime > LAST + pTimeOffset) return LAST;
    return pFileTime - pTimeOffset;
}

/// The net growth in whole megabytes that is not cleaned yet.
inline constexpr uint32_t TOLERATED_GROWTH_MB = 16;
/// The net growth, in kilobytes, from which on a cleaner removes something.
inline constexpr int64_t CLEANING_THRESHOLD_KB = (int64_t(TOLERATED_GROWTH_MB) + 1) << 10;

/// Whether the cache has grown enough for a cleaning pass. Both counters are kilobytes; their difference is
/// taken as it comes, also where more was cleaned than inserted.
constexpr bool isCleaningNeeded(uint64_t pInserted, uint64_t pCleaned)
{
    return static_cast<uint32_t>((pInserted - pCleaned) >> 10) > TOLERATED_GROWTH_MB;
}

} // namespace vel::kos::kfw
