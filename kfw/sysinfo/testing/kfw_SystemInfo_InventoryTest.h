// What the tests of the inventory share: a SystemInfo over a loader that the test makes up.
#pragma once

#include <string>

#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeLoader.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindowsTest.h"

namespace vel::kos::kfw::test {

inline constexpr uint32_t NO_MODULE = 0x96260402, NO_PRODUCT = 0x96260403;

class InventoryTest : public FakeWindowsTest {
protected:
    InventoryTest() { gLoader = {}; }
    void SetUp() override { start(); }
    void TearDown() override
    {
        FakeWindowsTest::TearDown();
        EXPECT_TRUE(gLoader.blocks.empty()) << "every list is given back";
        EXPECT_EQ(gLoader.opened, gLoader.closed) << "what was opened is closed";
    }

    /// "internal name|path|file name", a line each.
    Messages list()
    {
        fw::ModuleList tList{};
        EXPECT_EQ(mInfo->getModules(&tList), 0u);
        EXPECT_EQ(tList.mCount == 0, tList.mModules == nullptr);
        Messages tLines;
        for (uint32_t i = 0; i < tList.mCount; ++i) {
            const fw::SysInfoModule& tModule = tList.mModules[i];
            tLines.push_back(std::string(tModule.mInternalName) + "|" + tModule.mPathName + "|" +
                             tModule.mFileName);
        }
        fw::freeModules(&tList);
        return tLines;
    }
    /// The path of the module that a name finds; "(none)" when there is none.
    std::string find(const char* pName)
    {
        fw::SysInfoModule tModule{};
        const uint32_t tRes = mInfo->getModule(pName, &tModule);
        EXPECT_EQ(tRes, tModule.mPathName ? 0u : NO_MODULE);
        const std::string tPath = tModule.mPathName ? tModule.mPathName : "(none)";
        fw::freeModule(&tModule);
        return tPath;
    }
    Pairs attributesOfModule(const char* pName)
    {
        fw::SysInfoModule tModule{};
        EXPECT_EQ(mInfo->getModule(pName, &tModule), 0u);
        const Pairs tPairs = toPairs(tModule.mAttrs);
        fw::freeModule(&tModule);
        return tPairs;
    }
    /// "MIN MAX", or the code.
    std::string range(const char* pProduct)
    {
        kom::HeapString tMin, tMax;
        const uint32_t tRes = mInfo->getProductVersionRange(pProduct, tMin.out(), tMax.out());
        EXPECT_EQ(tRes != 0, tMin.isNull());
        EXPECT_EQ(tRes != 0, tMax.isNull());
        return tRes ? std::to_string(tRes) : std::string(tMin.c_str()) + " " + tMax.c_str();
    }
    static void load(const std::string& pPath, Pairs pAttrs = {}) { gLoader.load(pPath, std::move(pAttrs)); }
    static std::string fileName(const std::string& pName)
    {
        return kprGetDSOPrefix() + pName + kprGetDSOSuffix();
    }
};

} // namespace vel::kos::kfw::test
