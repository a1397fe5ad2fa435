// The one allocator for everything that crosses an interface, and the counts of what lives.
//
// Whoever receives a block frees it with komFree, whichever module made it. Out of memory is raised as
// std::bad_alloc, the only exception that leaves an operation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kom/api.h"

extern "C" {

/// A copy of a NUL-terminated text; null is copied as "".
KOM_API char* komStrDup(const char* pText);
/// A NUL-terminated copy of pLength bytes; null is copied as "".
KOM_API char* komStrNDup(const char* pText, size_t pLength);
/// pCount elements of pSize bytes, zeroed; null when either is 0. std::bad_alloc when the product does not
/// fit.
KOM_API void* komCalloc(size_t pCount, size_t pSize);
/// Grows or shrinks a block (null: a new one); size 0 frees it and returns null.
KOM_API void* komRealloc(void* pBlock, size_t pSize);
/// Gives a block back; null is nothing.
KOM_API void komFree(void* pBlock);

struct KomHeapStats {
    uint64_t liveBlocks;  ///< blocks handed out and not yet given back
    uint64_t liveObjects; ///< objects constructed and not yet destroyed, in all modules
};

/// The counts at this moment. Any thread; exact when no other thread is at work.
KOM_API void komGetHeapStats(KomHeapStats* pStats);

} // extern "C"
