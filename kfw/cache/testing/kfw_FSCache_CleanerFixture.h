// The cleaner's body in virtual time: the test is the clock and the sleep, and runs the thread itself.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "kfw/cache/kfw_FSCache_Cleaner.h"
#include "kfw/cache/testing/kfw_Counter.h"
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"
#include "kom/identity.h"

namespace vel::kos::kfw {

using Names = std::set<std::string>;

inline constexpr int64_t START = 1700000000;
inline constexpr int64_t HOUR = 3600;

class CleanerTest : public FSCacheFixture {
protected:
    CleanerTest() { test::FaultTable::setClock({START, 0, 0}); }

    /// Initialises the cache, and finds out by how much its file times are ahead of the test's clock.
    void init()
    {
        FSCacheFixture::init();
        ASSERT_EQ(put("http://a/probe", {}, ""), 0u);
        ASSERT_EQ(mCache->pinObject("http://a/probe"), 0u); // touches it
        mOffset = modifiedSeconds("http://a/probe") - START;
        ASSERT_EQ(mCache->unpinObject("http://a/probe"), 0u);
        std::filesystem::remove(fileOf("http://a/probe"));
        setCounter("inserted", 0);
    }

    /// A file in the objects' directory, so many seconds old by the test's clock.
    void makeFile(const std::string& pName, uint64_t pKilobytes, int64_t pAge)
    {
        const auto tPath = objectsDir() / pName;
        test::writeFile(tPath, "");
        std::filesystem::resize_file(tPath, pKilobytes << 10);
        setModified(pName, START - pAge);
    }
    /// Sets a file's times to a moment of the test's clock.
    void setModified(const std::string& pName, int64_t pTime)
    {
        const KprTime tTime{pTime + mOffset, 0, 0};
        ASSERT_EQ(kprSetFileTime((objectsDir() / pName).string().c_str(), &tTime, &tTime), 0u);
    }
    int64_t modified(const std::string& pName) const
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(kprGetFileInfo((objectsDir() / pName).string().c_str(), KPR_INFO_MTIME, &tInfo), 0u);
        return tInfo.modified.seconds - mOffset;
    }
    void setCounter(const std::string& pName, uint64_t pValue)
    {
        kfw::setCounter(cacheDir() / pName, pValue);
    }
    Names files() const
    {
        Names tNames;
        for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
            tNames.insert(tEntry.path().filename().string());
        return tNames;
    }
    /// Runs the cleaner for so many rounds; its last sleep fails, which ends it.
    void clean(unsigned pRounds = 1)
    {
        test::FaultTable::setSleeper([this, pRounds](uint32_t pMilliseconds) {
            if (mOnRest && pMilliseconds != 30000) return mOnRest(pMilliseconds);
            EXPECT_EQ(pMilliseconds, 30000u);
            test::FaultTable::advanceClock(30);
            ++mSleeps;
            if (mOnSleep) mOnSleep();
            return mSleeps < pRounds ? 0 : KPR_E_SYSTEM;
        });
        runThread();
    }
    std::string path(const std::string& pName) const { return (objectsDir() / pName).string(); }
    std::string cleanedPath() const { return (cacheDir() / "cleaned").string(); }
    std::string insertedPath() const { return (cacheDir() / "inserted").string(); }
    std::string text(uint32_t pCode) const { return komStrError(pCode); }
    std::vector<std::string> logged() const { return mApp->messages(fw::LOG_LEVEL_DEBUG); }
    /// Whether somebody could become the cleaner now.
    bool isLockFree() const
    {
        KprFile tFile;
        EXPECT_EQ(kprOpenFile(cleanedPath().c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
        const uint32_t tRes = kprLockFile(tFile, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0);
        kprCloseFile(tFile);
        return !KFAILED(tRes);
    }

    int64_t mOffset = 0;
    unsigned mSleeps = 0;
    std::function<void()> mOnSleep;
    /// Stands in for the rests between removals, which take time only where a test lets it pass.
    std::function<uint32_t(uint32_t pMilliseconds)> mOnRest;
};

} // namespace vel::kos::kfw
