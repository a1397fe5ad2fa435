// A cache directory in which others have put things.
#pragma once

#include "kfw/cache/testing/kfw_Counter.h"
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

namespace vel::kos::kfw {

/// A cache over real files, with one good object; the test puts something in another object's place, makes
/// every operation meet it, and lets the cleaner pass over it.
class HostileDirectory : public FSCacheFixture {
protected:
    static constexpr char GOOD[] = "http://example.com/good", BAD[] = "http://example.com/bad";

    void begin()
    {
        startAnew();
        mApp->clearRecords();
        init();
        ASSERT_EQ(put(GOOD, {{"key", "value"}}, "good data"), 0u);
        mBad = fileOf(BAD);
        mBadId = idOf(BAD);
    }
    void expectGoodObject()
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        EXPECT_EQ(mCache->getObject(GOOD, &tList, &tBytes), 0u);
        EXPECT_EQ(toVector(tList), (Attributes{{"key", "value"}}));
        EXPECT_EQ(toString(tBytes), "good data");
        EXPECT_EQ(put(GOOD, {}, "other"), 0u);
    }
    uint32_t getBad()
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        const uint32_t tAnswer = mCache->getObject(BAD, &tList, &tBytes);
        EXPECT_EQ(mCache->getAttributes(BAD, &tList), tAnswer);
        if (KFAILED(tAnswer)) {
            EXPECT_EQ(tList.mCount + tBytes.mSize, 0u);
        }
        return tAnswer;
    }
    uint32_t getBadFile(std::string* pBytes = nullptr)
    {
        fw::CacheBytes tBytes = makeBytes("as it was");
        const uint32_t tAnswer = mCache->getObjectFile(&mBadId, &tBytes);
        if (KFAILED(tAnswer)) {
            EXPECT_EQ(toString(tBytes), "as it was");
        }
        if (pBytes) *pBytes = toString(tBytes);
        return tAnswer;
    }
    bool hasBad()
    {
        uint32_t tExists = 7;
        EXPECT_EQ(mCache->hasObject(BAD, &tExists), 0u);
        return tExists == 1;
    }
    /// All operations with something that is there but is no regular file: it cannot be read, and it is taken
    /// for an object that is stored already. Nobody replaces or removes it.
    void expectInTheWay()
    {
        EXPECT_EQ(getBad(), KPR_E_NOT_REGULAR);
        EXPECT_EQ(getBadFile(), KPR_E_NOT_REGULAR);
        EXPECT_TRUE(hasBad());
        EXPECT_EQ(put(BAD, {}, "data"), 0u);
        EXPECT_EQ(mCache->pinObject(BAD), 0u);
        EXPECT_EQ(mCache->unpinObject(BAD), 0u);
        EXPECT_EQ(getBad(), KPR_E_NOT_REGULAR);
        EXPECT_EQ(counter("inserted"), 1u) << "nothing was stored";
        expectGoodObject();
    }
    /// Makes something old by the path itself, links not followed.
    void setOld(const std::filesystem::path& pPath, int64_t pSeconds = 7200)
    {
        KprTime tTime{};
        ASSERT_EQ(kprGetCurrentTime(&tTime), 0u);
        tTime.seconds -= pSeconds;
        ASSERT_EQ(kprSetFileTime(pPath.string().c_str(), &tTime, &tTime), 0u);
    }
    /// One pass of the cleaner, which finds that the cache has grown enough.
    void cleanOnce()
    {
        mApp->clearRecords();
        setCounter(cacheDir() / "inserted", 1 << 30);
        runCleanerOnce();
    }
    void runCleanerOnce()
    {
        mRounds = 0;
        test::FaultTable::setSleeper([this](uint32_t) {
            ++mRounds;
            return uint32_t{KPR_E_SYSTEM};
        });
        runThread();
    }

    std::filesystem::path mBad;
    fw::CacheId mBadId{};
    unsigned mRounds = 0; ///< rounds of the cleaner that went to their end
};

} // namespace vel::kos::kfw
