// Volumes that a test machine does not have: FAT, file servers, folders that are kept elsewhere. The calls of
// the system are wrapped and say what such a volume says; underneath are ordinary files.
//
// For test programs with kpr's own sources in them.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

namespace kprtest {

/// What a volume can do, and what it says.
struct Volume {
    const char* name = "NTFS";
    uint32_t posixError = 0;   ///< what removing and replacing by POSIX rules fail with; 0: they work
    int64_t timeStep = 0;      ///< seconds, to whose multiples times of modification are rounded up
    bool fat = false;          ///< a day as the step of access times, none before 1980, no file of 4 GiB
    int64_t clock = 0;         ///< seconds that its clock is ahead of this machine's
    bool rights = true;        ///< it knows owners and access rights
    bool ids = true;           ///< its files have numbers
    uint32_t lockError = 0;    ///< what locking fails with
    uint32_t pathError = 0;    ///< what asking an open file for its path fails with
    uint32_t tag = 0;          ///< reparse tag of every file and folder that is there
    uint32_t contentError = 0; ///< what reading through such a point fails with
};

inline std::ostream& operator<<(std::ostream& pStream, const Volume& pVolume)
{
    return pStream << pVolume.name;
}

inline constexpr uint32_t CLOUD_TAG = 0x9000601A; ///< one of the sixteen that providers use

/// The volume that every file of this process lies on.
extern Volume gVolume;
/// Reads of content through a reparse point: each would fetch the whole file.
extern unsigned gFetched;
/// How often somebody asked who owns a file.
extern unsigned gAskedForOwner;

/// The kinds of volume that users have.
std::vector<Volume> volumes();

} // namespace kprtest
