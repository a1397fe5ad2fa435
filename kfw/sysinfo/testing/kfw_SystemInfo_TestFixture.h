// What the tests of system information share.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/sysinfo/kfw_SystemInfo.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw::test {

using Pairs = std::vector<std::pair<std::string, std::string>>;

inline Pairs toPairs(const fw::AttributeList& pList)
{
    Pairs tPairs;
    for (uint32_t i = 0; i < pList.mCount; ++i)
        tPairs.emplace_back(pList.mAttrs[i].mKey, pList.mAttrs[i].mValue);
    return tPairs;
}

/// The value of a key, or "(none)".
inline std::string valueOf(const Pairs& pPairs, const std::string& pKey)
{
    for (const auto& [tKey, tValue] : pPairs)
        if (tKey == pKey) return tValue;
    return "(none)";
}

/// An application and the checks that nothing outlives a test.
class SystemInfoFixture : public testing::Test {
protected:
    void TearDown() override
    {
        mInfo.reset();
        EXPECT_EQ(mApp->references(), 1u) << "the application is given back";
    }

    /// Makes and initialises an object over a source of facts.
    void start(std::unique_ptr<FactSource> pSource)
    {
        mInfo = kom::retain(new SystemInfo(std::move(pSource)));
        ASSERT_EQ(mInfo->init(mApp.get()), 0u);
    }
    Pairs attributes(uint32_t pGroups)
    {
        fw::AttributeList tList;
        EXPECT_EQ(mInfo->getAttributes(pGroups, &tList), 0u);
        EXPECT_EQ(tList.mCount == 0, tList.mAttrs == nullptr);
        const Pairs tPairs = toPairs(tList);
        fw::freeAttributes(&tList);
        return tPairs;
    }
    std::vector<std::string> debugMessages() const { return mApp->messages(fw::LOG_LEVEL_DEBUG); }

    const vel::kos::test::LeakCheck mLeaks;
    kom::Ref<vel::kos::test::TestApplication> mApp = vel::kos::test::TestApplication::make();
    kom::Ref<SystemInfo> mInfo;
};

} // namespace vel::kos::kfw::test
