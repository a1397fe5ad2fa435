// Temporary files whose names somebody else knows: the numbers that make them come from the test.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"

namespace fs = std::filesystem;

namespace {

int64_t gCalls = 0;       // of the clock: one for each number
int64_t gFirst = 0;       // the call that gives the first number of the test
bool gAlwaysSame = false; // one number over and over
bool gIsFixed = false;    // otherwise the clock's own
std::map<std::string, int> gOpened;

} // namespace

extern "C" {

uint32_t __real_kprGetCurrentTime(KprTime* pTime);

/// kpr adds its count of numbers times 2^20 to the microseconds: this takes it away.
uint32_t __wrap_kprGetCurrentTime(KprTime* pTime)
{
    const int64_t tCall = gCalls++;
    if (!gIsFixed) return __real_kprGetCurrentTime(pTime);
    const int64_t tNumber = (int64_t{1} << 50) + (gAlwaysSame ? 0 : tCall - gFirst) - (tCall << 20);
    *pTime = {tNumber / 1000000, static_cast<uint32_t>(tNumber % 1000000), 0};
    return K_SUCCESS;
}

uint32_t __real_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);

uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (gIsFixed) ++gOpened[pPath];
    return __real_kprOpenFile(pPath, pMode, pFile);
}

} // extern "C"

namespace {

/// A file in the folder, made as its user makes it.
using Make = uint32_t (*)(const std::string& pFolder, std::string& pPath);

uint32_t makeTemporary(const std::string& pFolder, std::string& pPath)
{
    char tPath[1024] = "";
    const uint32_t tRes = kprGetTempFileName(pFolder.c_str(), "t-", 0, tPath, sizeof tPath);
    pPath = tPath;
    return tRes;
}

uint32_t makeNew(const std::string& pFolder, std::string& pPath)
{
    char tPath[1024] = "";
    KprFile tFile = 1;
    const uint32_t tRes = kprBeginFile((pFolder + "/target").c_str(), tPath, sizeof tPath, &tFile);
    pPath = tPath;
    if (!KFAILED(tRes)) return kprCloseFile(tFile);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    return tRes;
}

class KprTemp : public testing::TestWithParam<Make> {
protected:
    ~KprTemp() override { gIsFixed = gAlwaysSame = false; }

    uint32_t make()
    {
        gIsFixed = true;
        gFirst = gCalls;
        gOpened.clear();
        const uint32_t tRes = GetParam()(mDir.path(), mPath);
        gIsFixed = false;
        return tRes;
    }

    /// The names that come, in order, as somebody knows them who knows the numbers.
    std::vector<fs::path> names(size_t pCount)
    {
        std::vector<fs::path> tNames;
        while (tNames.size() < pCount) {
            EXPECT_EQ(make(), 0u);
            tNames.emplace_back(mPath);
        }
        for (const fs::path& tName : tNames)
            fs::remove(tName);
        return tNames;
    }

    kprtest::TemporaryDirectory mDir, mOther;
    std::string mPath; ///< of the file that was made last
};

} // namespace

TEST_P(KprTemp, TheTestKnowsTheNames)
{
    const auto tNames = names(3);
    EXPECT_NE(tNames[0], tNames[1]);
    EXPECT_NE(tNames[1], tNames[2]);
    EXPECT_EQ(names(3), tNames);
}

TEST_P(KprTemp, WhatStandsUnderAKnownNameIsLeftAndTheNextNameTaken)
{
    const auto tNames = names(5);
    kprtest::writeFile(tNames[0].string(), "somebody else's");
    fs::create_directory(tNames[1]);
    const fs::path tVictim = mOther / "victim", tFresh = mOther / "fresh";
    kprtest::writeFile(tVictim.string(), "precious");
#if defined(_WIN32)
    // Wine makes no links; what is there is there, whatever it is.
    fs::create_directory(tNames[2]);
    kprtest::writeFile(tNames[3].string(), "somebody else's");
#else
    fs::create_symlink(tVictim, tNames[2]);
    fs::create_symlink(tFresh, tNames[3]);
#endif
    EXPECT_EQ(make(), 0u);
    EXPECT_EQ(mPath, tNames[4].string());
    EXPECT_EQ(kprtest::readFile(mPath), "");
    EXPECT_EQ(kprtest::readFile(tNames[0].string()), "somebody else's");
    EXPECT_TRUE(fs::is_directory(tNames[1]));
    EXPECT_EQ(kprtest::readFile(tVictim.string()), "precious");
    EXPECT_FALSE(fs::exists(tFresh));
    EXPECT_EQ(gOpened.size(), 5u);
    for (const auto& [tName, tTimes] : gOpened)
        EXPECT_EQ(tTimes, 1) << tName;
}

TEST_P(KprTemp, NamesThatAreAlwaysTakenAreAFailure)
{
    gAlwaysSame = true;
    const auto tName = names(1)[0];
    kprtest::writeFile(tName.string(), "somebody else's");
    EXPECT_EQ(make(), KPR_E_EXISTS);
    EXPECT_EQ(kprtest::readFile(tName.string()), "somebody else's");
    EXPECT_EQ(gOpened, (std::map<std::string, int>{{tName.string(), 1000}})) << "it ends";
}

INSTANTIATE_TEST_SUITE_P(Every, KprTemp, testing::Values(makeTemporary, makeNew),
                         [](const auto& pInfo) { return pInfo.param == makeNew ? "Begun" : "Temporary"; });
