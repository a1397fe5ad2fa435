// Whatever a call allocates fails once.
#pragma once

#include <new>

#include <gtest/gtest.h>

#include "tests/support/Allocations.h"

namespace vel::kos::drivers {

/// Calls a function with the first allocation failing, then the second, and so on, until it needs no more.
template <class TCall>
void withoutMemory(TCall pCall)
{
    for (uint64_t i = 1;; ++i) {
        ASSERT_LT(i, 1000u);
        test::Allocations::failNth(i);
        try {
            pCall();
        } catch (const std::bad_alloc&) {
            // as told
        }
        if (test::Allocations::failNth(0) != 0) return; // that allocation was not made any more
    }
}

} // namespace vel::kos::drivers
