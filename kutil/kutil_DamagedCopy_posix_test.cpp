#include "kutil/kutil_DamagedCopy_posix.h"

#include <limits>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "tests/support/TestDirectory.h"

namespace {

/// What stands where the copy belongs by the time it is put there; empty: nothing.
std::string gIntruder;
uint32_t gPutFlags;

} // namespace

extern "C" {

uint32_t __real_kprPutInPlace(KprFile, const char*, const char*, uint32_t);
uint32_t __wrap_kprPutInPlace(KprFile, const char*, const char*, uint32_t);
uint32_t __wrap_kprPutInPlace(KprFile pFile, const char* pPath, const char* pTarget, uint32_t pFlags)
{
    gPutFlags = pFlags;
    if (!gIntruder.empty()) vel::kos::test::writeFile(pTarget, gIntruder);
    return __real_kprPutInPlace(pFile, pPath, pTarget, pFlags);
}

} // extern "C"

namespace vel::kos::util {

namespace {

TEST(DamagedCopyTest, isNamedByAnyTime)
{
    EXPECT_EQ(damagedName("store", {1767225600, 5, 0}), "store.damaged-20260101T000000Z");
    EXPECT_EQ(damagedName("store", {-1, 0, 0}), "store.damaged-19691231T235959Z");
    // File systems keep times that no calendar has.
    for (const int64_t tSeconds : {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()})
        EXPECT_EQ(damagedName("store", {tSeconds, 0, 0}), "store.damaged-" + std::to_string(tSeconds));
}

TEST(DamagedCopyTest, hasReachedTheVolumeBeforeItGetsItsName)
{
    const test::TestDirectory tFolder;
    const std::string tStore = tFolder.text() + "/store", tBytes(40000, 'd');
    test::writeFile(tStore, tBytes);
    gIntruder.clear();
    std::string tCopy;
    EXPECT_EQ(keepDamaged(tStore, tCopy), 0u);
    EXPECT_TRUE(test::readFile(tCopy) == tBytes);
    EXPECT_TRUE(gPutFlags & KPR_PUT_SYNC) << "else a power cut leaves an empty file that passes for the copy";
}

TEST(DamagedCopyTest, isTheOneOfWhoeverWasFaster)
{
    const test::TestDirectory tFolder;
    const std::string tStore = tFolder.text() + "/store";
    test::writeFile(tStore, "mine");
    gIntruder = "theirs";
    std::string tCopy;
    EXPECT_EQ(keepDamaged(tStore, tCopy), 0u);
    EXPECT_EQ(test::readFile(tCopy), "theirs");
    size_t tFiles = 0;
    for ([[maybe_unused]] const auto& tEntry : std::filesystem::directory_iterator(tFolder.path()))
        ++tFiles;
    EXPECT_EQ(tFiles, 2u) << "the store and one copy";
}

} // namespace

} // namespace vel::kos::util
