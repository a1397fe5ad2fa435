// The short form of the storms, for tests.
#pragma once

#include <cstdio>

#include <gtest/gtest.h>

#include "tests/reliability/storm/storm_Storms.h"

namespace vel::kos::storm {

/// Processes start slowly under an emulator, and everything is slow under a sanitizer.
#if defined(_WIN32) || defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool SLOW = true;
#else
inline constexpr bool SLOW = false;
#endif

inline StressOptions shortOptions()
{
    StressOptions tOptions;
    tOptions.processes = SLOW ? 3 : 4;
    tOptions.speed = SLOW ? 400 : 600;
    return tOptions;
}

template <class TFigures>
void print(const TFigures& pFigures)
{
    for (const auto& [tName, tValue] : pFigures.rows())
        if (tValue != 0) std::printf("    %-40s %12s\n", tName.c_str(), std::to_string(tValue).c_str());
}

/// That nothing was wrong.
inline void expectClean(const Figures& pFigures)
{
    print(pFigures);
    for (const std::string& tFailure : pFigures.failures)
        ADD_FAILURE() << tFailure;
    EXPECT_EQ(pFigures.wrong, 0u);
    EXPECT_EQ(pFigures.lostPins, 0u);
}

} // namespace vel::kos::storm
