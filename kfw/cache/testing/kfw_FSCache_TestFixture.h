// What the tests of the cache share.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/kfw_FSCache.h"
#include "tests/support/FaultTable.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestApplication.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::kfw {

using Attributes = std::vector<std::pair<std::string, std::string>>;

inline fw::CacheAttrList makeList(const Attributes& pAttributes)
{
    fw::CacheAttrList tList;
    for (const auto& [tKey, tValue] : pAttributes)
        tList.add(tKey.c_str(), tValue.c_str());
    return tList;
}

inline fw::CacheBytes makeBytes(const std::string& pBytes)
{
    fw::CacheBytes tBytes;
    tBytes.mSize = static_cast<uint32_t>(pBytes.size());
    if (tBytes.mSize == 0) return tBytes;
    tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tBytes.mSize));
    std::copy(pBytes.begin(), pBytes.end(), tBytes.mData);
    return tBytes;
}

inline Attributes toVector(const fw::CacheAttrList& pList)
{
    Attributes tAttributes;
    for (uint32_t i = 0; i < pList.mCount; ++i)
        tAttributes.emplace_back(pList.mAttrs[i].mKey, pList.mAttrs[i].mValue);
    return tAttributes;
}

inline std::string toString(const fw::CacheBytes& pBytes)
{
    if (pBytes.mSize == 0) return {};
    return {reinterpret_cast<const char*>(pBytes.mData), pBytes.mSize};
}

/// An application with a directory of its own, and a cache that is not initialised yet. Threads that the
/// cache asks for are captured.
class FSCacheFixture : public testing::Test {
protected:
    FSCacheFixture()
    {
        test::FaultTable::reset();
        test::FaultTable::captureThreads();
        mApp->setUserAppDir(mDir.text());
    }
    ~FSCacheFixture() override { drop(); }

    /// Lets go of the cache and of everything it has open, and forgets every rule of the fault table.
    void drop()
    {
        mCache.reset();
        // Threads that no test has run end at once, and give back what they hold.
        test::FaultTable::fail("kprLockFile", KPR_E_IO, 1, UINT32_MAX);
        while (mThreadsRun < test::FaultTable::capturedThreads().size())
            runThread();
        test::FaultTable::reset();
        mThreadsRun = 0;
    }
    /// A new cache that is not initialised yet, in place of the one that is there.
    void startAnew()
    {
        drop();
        test::FaultTable::captureThreads();
        mCache = kom::retain(new FSCache);
    }

    /// Runs the body of the next captured thread to its end.
    void runThread()
    {
        const auto tThread = test::FaultTable::capturedThreads().at(mThreadsRun++);
        EXPECT_EQ(tThread.main(tThread.argument), 1u);
    }

    /// Initialises the cache and forgets what that logged.
    void init()
    {
        ASSERT_EQ(mCache->init(mApp.get()), 0u);
        EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG), std::vector<std::string>());
        mApp->clearRecords();
    }
    uint32_t put(const std::string& pUri, const Attributes& pAttributes, const std::string& pData)
    {
        const fw::CacheAttrList tList = makeList(pAttributes);
        const fw::CacheBytes tBytes = makeBytes(pData);
        return mCache->putObject(pUri.c_str(), &tList, &tBytes);
    }
    fw::CacheId idOf(const std::string& pUri)
    {
        fw::CacheId tId{};
        EXPECT_EQ(mCache->computeCacheId(pUri.c_str(), &tId), 0u);
        return tId;
    }
    std::string nameOf(const std::string& pUri)
    {
        const fw::CacheId tId = idOf(pUri);
        char tName[OBJECT_NAME_LENGTH + 1] = "";
        EXPECT_EQ(kfwFormatCacheId(&tId, tName, sizeof tName), 0u);
        return tName;
    }
    std::filesystem::path cacheDir() const { return mDir.path() / "cache"; }
    std::filesystem::path objectsDir() const { return cacheDir() / "objects"; }
    std::filesystem::path fileOf(const std::string& pUri) { return objectsDir() / nameOf(pUri); }
    /// A counter's value.
    uint64_t counter(const std::string& pName) const
    {
        const std::string tBytes = test::readFile(cacheDir() / pName);
        EXPECT_EQ(tBytes.size(), 8u);
        uint64_t tValue = 0;
        for (const char tByte : tBytes)
            tValue = tValue << 8 | static_cast<uint8_t>(tByte);
        return tValue;
    }
    std::size_t fileCount() const
    {
        const std::filesystem::directory_iterator tFiles(objectsDir());
        return static_cast<std::size_t>(std::distance(begin(tFiles), end(tFiles)));
    }
    /// Sets an object's file times to so many seconds ago.
    void makeOld(const std::string& pUri, int64_t pSeconds)
    {
        KprTime tTime;
        ASSERT_EQ(kprGetCurrentTime(&tTime), 0u);
        tTime.seconds -= pSeconds;
        ASSERT_EQ(kprSetFileTime(fileOf(pUri).string().c_str(), &tTime, &tTime), 0u);
    }
    int64_t modifiedSeconds(const std::string& pUri)
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(kprGetFileInfo(fileOf(pUri).string().c_str(), KPR_INFO_MTIME, &tInfo), 0u);
        return tInfo.modified.seconds;
    }
    /// That the only log line since the records were cleared is this one, at debug level.
    void expectLogged(const std::string& pMessage)
    {
        EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG), std::vector<std::string>{pMessage});
        EXPECT_EQ(mApp->logLines().size(), 1u);
        EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, pMessage), 1u);
        EXPECT_TRUE(mApp->assertions().empty());
    }
    /// That one assertion of the cache was reported since the records were cleared.
    void expectAssertion(const std::string& pExpression)
    {
        const auto tAssertions = mApp->assertions();
        ASSERT_EQ(tAssertions.size(), 1u);
        EXPECT_EQ(tAssertions[0].expression, pExpression);
        EXPECT_EQ(tAssertions[0].domain, "kos:kfw");
        EXPECT_EQ(tAssertions[0].sourceFile, "kfw_FSCache");
        EXPECT_GT(tAssertions[0].line, 0);
    }

    test::LeakCheck mLeaks;
    std::size_t mThreadsRun = 0;
    test::TestDirectory mDir;
    kom::Ref<test::TestApplication> mApp = test::TestApplication::make();
    kom::Ref<FSCache> mCache = kom::retain(new FSCache);
};

/// Every operation, with good arguments, and what it returns.
inline std::vector<std::pair<std::string, uint32_t>> callEverything(FSCache& pCache)
{
    fw::CacheId tId{};
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    uint32_t tExists = 7;
    const char* tUri = "http://example.com/";
    std::vector<std::pair<std::string, uint32_t>> tResults;
    tResults.emplace_back("putObject", pCache.putObject(tUri, &tList, &tBytes));
    tResults.emplace_back("putObjectFile", pCache.putObjectFile(&tId, &tBytes));
    tResults.emplace_back("getObject", pCache.getObject(tUri, &tList, &tBytes));
    tResults.emplace_back("getObjectFile", pCache.getObjectFile(&tId, &tBytes));
    tResults.emplace_back("getAttributes", pCache.getAttributes(tUri, &tList));
    tResults.emplace_back("hasObject", pCache.hasObject(tUri, &tExists));
    EXPECT_EQ(tExists, 0u);
    tResults.emplace_back("pinObject", pCache.pinObject(tUri));
    tResults.emplace_back("pinObjectById", pCache.pinObjectById(&tId));
    tResults.emplace_back("unpinObject", pCache.unpinObject(tUri));
    tResults.emplace_back("unpinObjectById", pCache.unpinObjectById(&tId));
    return tResults;
}

} // namespace vel::kos::kfw
