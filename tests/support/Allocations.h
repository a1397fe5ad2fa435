// The C++ allocations of a test program's own code, counted and made to fail. A program that links
// kfw_allocations has its operator new replaced; what the platform libraries allocate on Windows is not seen.
#pragma once

#include <cstdint>

namespace vel::kos::test {

/// Of the calling thread alone.
class Allocations {
public:
    /// How many the thread has made.
    static uint64_t count();
    /// The pNth allocation from now (1 is the next) throws std::bad_alloc; 0: none does. Returns what is left
    /// of an earlier order: 0 when that allocation was made, and when there was none.
    static uint64_t failNth(uint64_t pNth);
};

} // namespace vel::kos::test
