// A cache's counter file, written by a test.
#pragma once

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "kpr/byteorder.h"

namespace vel::kos::kfw {

/// Writes the counter in place: some file systems take long over a file that is truncated and written anew.
inline void setCounter(const std::filesystem::path& pPath, uint64_t pValue)
{
    const uint64_t tBytes = kprHost2BE64(pValue);
    std::fstream tFile(pPath, std::ios::binary | std::ios::in | std::ios::out);
    tFile.write(reinterpret_cast<const char*>(&tBytes), sizeof tBytes);
    EXPECT_TRUE(tFile.flush().good()) << pPath;
}

} // namespace vel::kos::kfw
