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

/// Maps a whole file that is open for reading, at the size it has now. It shows the bytes also where another
/// handle has them locked (on Windows a read would fail). The mapping outlives the handle and is given back
/// with kprUnmapFile. Reading what somebody has cut off the file meanwhile ends the process: map only files
/// that keep their size. On failure the mapping is empty.
KPR_API uint32_t kprMapFile(KprFile pFile, KprMapping* pMapping);
/// Gives a mapping back and empties it; an empty one is nothing.
KPR_API uint32_t kprUnmapFile(KprMapping* pMapping);

} // extern "C"
