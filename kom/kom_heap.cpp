#include "kom/heap.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kom/kom_module.h"

namespace {

std::atomic<uint64_t> gLiveBlocks{0};

void* counted(void* pBlock)
{
    if (!pBlock) throw std::bad_alloc();
    gLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    return pBlock;
}

} // namespace

char* komStrDup(const char* pText) { return komStrNDup(pText, pText ? std::strlen(pText) : 0); }

char* komStrNDup(const char* pText, size_t pLength)
{
    if (!pText) pLength = 0;
    if (pLength == SIZE_MAX) throw std::bad_alloc();
    char* tCopy = static_cast<char*>(counted(std::malloc(pLength + 1)));
    if (pLength) std::memcpy(tCopy, pText, pLength);
    tCopy[pLength] = '\0';
    return tCopy;
}

void* komCalloc(size_t pCount, size_t pSize)
{
    if (pCount == 0 || pSize == 0) return nullptr;
    if (pCount > SIZE_MAX / pSize) throw std::bad_alloc();
    return counted(std::calloc(pCount, pSize));
}

void* komRealloc(void* pBlock, size_t pSize)
{
    if (pSize == 0) {
        komFree(pBlock);
        return nullptr;
    }
    if (!pBlock) return counted(std::malloc(pSize));
    void* tBlock = std::realloc(pBlock, pSize);
    if (!tBlock) throw std::bad_alloc();
    return tBlock;
}

void komFree(void* pBlock)
{
    if (!pBlock) return;
    std::free(pBlock);
    gLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
}

void komGetHeapStats(KomHeapStats* pStats)
{
    *pStats = {gLiveBlocks.load(std::memory_order_relaxed), kom::countLiveObjects()};
}
