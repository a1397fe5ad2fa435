// Unloading modules in tests.
#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include "kom/runtime.h"

namespace kom::test {

/// Unloads what can be unloaded, which must not fail; returns the number of modules that went.
inline uint32_t unload()
{
    uint32_t tCount = 99;
    EXPECT_EQ(komUnloadModules(&tCount), 0u);
    return tCount;
}

} // namespace kom::test
