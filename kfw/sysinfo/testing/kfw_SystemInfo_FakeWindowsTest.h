// Tests over a made-up Windows machine (gMachine).
#pragma once

#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindows.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_TestFixture.h"

namespace vel::kos::kfw::test {

using Messages = std::vector<std::string>;
inline constexpr uint32_t MEM = 1, HW = 2, OS = 4, ALL = 7;

class FakeWindowsTest : public SystemInfoFixture {
protected:
    FakeWindowsTest() { gMachine = {}; }
    void TearDown() override
    {
        SystemInfoFixture::TearDown();
        for (const auto& [tName, tCount] : gMachine.loaded)
            EXPECT_EQ(tCount, 0) << tName << " is given back with the object";
    }
    void start() { SystemInfoFixture::start(std::make_unique<WindowsFacts>(FAKE_CALLS)); }
    Pairs attributesOf(uint32_t pGroups)
    {
        if (!mInfo) start();
        return attributes(pGroups);
    }
    std::string valueIn(uint32_t pGroups, const std::string& pKey)
    {
        return valueOf(attributesOf(pGroups), pKey);
    }
    /// The same on an object of its own, which sees the machine as it is now.
    std::string freshValueIn(uint32_t pGroups, const std::string& pKey)
    {
        mInfo.reset();
        return valueIn(pGroups, pKey);
    }
};

} // namespace vel::kos::kfw::test
