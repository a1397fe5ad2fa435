#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local uint64_t tlCount = 0;
thread_local uint64_t tlFailAt = 0; // counted down

void* allocate(std::size_t pSize)
{
    ++tlCount;
    if (tlFailAt > 0 && --tlFailAt == 0) throw std::bad_alloc();
    if (void* tBlock = std::malloc(pSize)) return tBlock;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t pSize) { return allocate(pSize); }
void* operator new[](std::size_t pSize) { return allocate(pSize); }
// The library sorts with a buffer of this kind. A sanitizer has its own otherwise, and misses its match.
void* operator new(std::size_t pSize, const std::nothrow_t&) noexcept
{
    try {
        return allocate(pSize);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* pBlock) noexcept { std::free(pBlock); }
void operator delete[](void* pBlock) noexcept { std::free(pBlock); }
void operator delete(void* pBlock, std::size_t) noexcept { std::free(pBlock); }
void operator delete[](void* pBlock, std::size_t) noexcept { std::free(pBlock); }

namespace vel::kos::test {

uint64_t Allocations::count() { return tlCount; }

uint64_t Allocations::failNth(uint64_t pNth) { return std::exchange(tlFailAt, pNth); }

} // namespace vel::kos::test
