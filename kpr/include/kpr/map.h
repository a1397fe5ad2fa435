// Files as memory, for reading.
#pragma once

#include <cstdint>

#include "kpr/api.h"
#include "kpr/file.h"

extern "C" {

/// A file's bytes in memory; data is null when size is 0.
struct KprMapping {
    const uint8_t* data;
    uint64_t size;
};

/// Maps a whole file that is open for reading, at the size it has now. The mapping outlives the handle and is
/// given back with kprUnmapFile. Reading what somebody has cut off the file meanwhile ends the process, and
/// so may, on a Windows file server, reading a range that another handle has locked: map only files that keep
/// their size and that nobody locks in parts. On failure the mapping is empty.
KPR_API uint32_t kprMapFile(KprFile pFile, KprMapping* pMapping);
/// Gives a mapping back and empties it; an empty one is nothing.
KPR_API uint32_t kprUnmapFile(KprMapping* pMapping);

} // extern "C"
