#include "kpr/map.h"

#include <cstring>
#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "tests/support/TestDirectory.h"

using namespace vel::kos::test;

namespace {

class Map : public testing::Test {
protected:
    KprFile open(const std::string& pBytes, uint32_t pMode = KPR_OPEN_READ)
    {
        writeFile(mDir.path() / "file", pBytes);
        KprFile tFile = KPR_NO_FILE;
        EXPECT_EQ(kprOpenFile((mDir.path() / "file").string().c_str(), pMode, &tFile), 0u);
        return tFile;
    }

    TestDirectory mDir;
};

TEST_F(Map, ShowsTheBytesAndOutlivesTheHandle)
{
    const std::string tBytes(100000, 'x');
    const KprFile tFile = open(tBytes);
    KprMapping tMapping;
    ASSERT_EQ(kprMapFile(tFile, &tMapping), 0u);
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    ASSERT_EQ(tMapping.size, tBytes.size());
    EXPECT_EQ(std::memcmp(tMapping.data, tBytes.data(), tBytes.size()), 0);
    EXPECT_EQ(kprUnmapFile(&tMapping), 0u);
    EXPECT_EQ(tMapping.data, nullptr);
    EXPECT_EQ(tMapping.size, 0u);
    EXPECT_EQ(kprUnmapFile(&tMapping), 0u);
}

TEST_F(Map, AnEmptyFileIsAnEmptyMapping)
{
    const KprFile tFile = open("");
    KprMapping tMapping = {reinterpret_cast<const uint8_t*>(""), 1};
    EXPECT_EQ(kprMapFile(tFile, &tMapping), 0u);
    EXPECT_EQ(tMapping.data, nullptr);
    EXPECT_EQ(tMapping.size, 0u);
    kprCloseFile(tFile);
}

TEST_F(Map, ShowsWhatIsLockedAndWhatIsWrittenLater)
{
    const KprFile tOwner = open("12345678", KPR_OPEN_READ_WRITE);
    ASSERT_EQ(kprLockFile(tOwner, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    KprFile tLooker = KPR_NO_FILE;
    ASSERT_EQ(kprOpenFile((mDir.path() / "file").string().c_str(), KPR_OPEN_READ, &tLooker), 0u);
    KprMapping tMapping;
    ASSERT_EQ(kprMapFile(tLooker, &tMapping), 0u);
    EXPECT_EQ(std::memcmp(tMapping.data, "12345678", 8), 0);
    uint32_t tWritten = 0;
    ASSERT_EQ(kprSeekAndWrite(tOwner, 0, "abc", 3, &tWritten), 0u);
    EXPECT_EQ(std::memcmp(tMapping.data, "abc45678", 8), 0);
    kprUnmapFile(&tMapping);
    kprCloseFile(tLooker);
    kprCloseFile(tOwner);
}

TEST_F(Map, RefusesWhatIsNoFileOpenForReading)
{
    KprMapping tMapping = {reinterpret_cast<const uint8_t*>(""), 1};
    EXPECT_EQ(kprMapFile(KPR_NO_FILE, &tMapping), KPR_E_BAD_HANDLE);
    EXPECT_EQ(tMapping.size, 0u);
    const KprFile tFile = open("x", KPR_OPEN_WRITE);
    EXPECT_EQ(kprMapFile(tFile, &tMapping), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(kprMapFile(tFile, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprUnmapFile(nullptr), E_INVALIDARG);
    kprCloseFile(tFile);
}

} // namespace
