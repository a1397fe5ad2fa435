// What the tests share that let the platform's calls fail under the cache.
#pragma once

#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

namespace vel::kos::kfw {

inline constexpr char URI[] = "http://example.com/";
inline constexpr uint32_t CODE = KPR_E_STALE;

class FSCacheFaultTest : public FSCacheFixture {
protected:
    FSCacheFaultTest()
    {
        test::FaultTable::onTempFile([this](const char* pPath) { mTempFiles.emplace_back(pPath); });
    }

    std::string path(const char* pName) const { return (cacheDir() / pName).string(); }
    std::string object() { return mObject.empty() ? mObject = fileOf(URI).string() : mObject; }
    std::string inserted() const { return path("inserted"); }
    static std::string text(uint32_t pCode = CODE) { return komStrError(pCode); }
    uint32_t get()
    {
        const uint32_t tRes = mCache->getObject(URI, &mList, &mBytes);
        if (KFAILED(tRes)) {
            EXPECT_EQ(mList.mCount, 0u);
            EXPECT_EQ(mBytes.mData, nullptr);
        }
        return tRes;
    }
    /// A cache with one object whose attributes and data lie beyond what the first read brings.
    void initWithLargeObject()
    {
        init();
        ASSERT_EQ(put(URI, {{"key", std::string(10000, 'v')}}, std::string(20000, 'd')), 0u);
        static_cast<void>(object());
    }
    void initWithSmallObject()
    {
        init();
        ASSERT_EQ(put(URI, {{"key", "value"}}, "data"), 0u);
        static_cast<void>(object());
    }

    std::vector<std::string> mTempFiles;
    std::string mObject;
    fw::CacheAttrList mList;
    fw::CacheBytes mBytes;
};

} // namespace vel::kos::kfw
