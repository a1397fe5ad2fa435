#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include "tests/support/TestSettings.h"

#include <atomic>
#include <sstream>

#include <gtest/gtest.h>

#include "kpr/testing/kpr_testing.h"
#include "kutil/Registry.h"

namespace vel::kos::test {

namespace {

std::string makeName()
{
    static std::atomic<int> sCounter;
    std::ostringstream tName;
    tName << "kfw-test-" << GetCurrentProcessId() << "-" << ++sCounter;
    return tName.str();
}

std::string keyOf(const std::string& pSettings, const std::string& pNode)
{
    return "Software\\" + pSettings + "\\KOS\\KFW" + (pNode.empty() ? "" : "\\" + pNode);
}

/// Gives a key a discretionary access list, in the security descriptor definition language.
void protect(const std::string& pKey, const wchar_t* pAccess)
{
    PSECURITY_DESCRIPTOR tDescriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(pAccess, SDDL_REVISION_1, &tDescriptor,
                                                                     nullptr));
    HKEY tKey = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, pKey.c_str(), 0, WRITE_DAC, &tKey), ERROR_SUCCESS);
    EXPECT_EQ(RegSetKeySecurity(tKey, DACL_SECURITY_INFORMATION, tDescriptor), ERROR_SUCCESS);
    RegCloseKey(tKey);
    LocalFree(tDescriptor);
}

} // namespace

TestSettings::TestSettings() : mName(makeName()), mOwner(true) {}

TestSettings::TestSettings(const std::string& pName) : mName(pName), mOwner(false) {}

TestSettings::~TestSettings()
{
    if (mOwner) RegDeleteTreeA(HKEY_CURRENT_USER, ("Software\\" + mName).c_str());
}

kom::Ref<TestApplication> TestSettings::application() const
{
    auto tApp = TestApplication::make();
    tApp->setSettings(mName, "");
    return tApp;
}

void TestSettings::makeModuleNode() const
{
    ASSERT_TRUE(util::Registry::openCurrentUserKOSModule(application().get(), "KFW", true).isOpen());
}

std::map<std::string, std::string> TestSettings::seenFromOutside(const std::string& pNode) const
{
    const std::string tKey = "HKEY_CURRENT_USER\\" + keyOf(mName, pNode);
    char tSystem[MAX_PATH];
    EXPECT_NE(GetSystemDirectoryA(tSystem, sizeof tSystem), 0u);
    int tStatus = -1;
    std::istringstream tOutput(
        kprtest::outputOf(std::string(tSystem) + "\\reg.exe", {"query", tKey}, &tStatus));
    EXPECT_EQ(tStatus, 0) << tKey << "\n" << tOutput.str();
    std::map<std::string, std::string> tValues;
    // "    Name    REG_SZ    text"
    for (std::string tText; std::getline(tOutput, tText);) {
        const auto tType = tText.find("    REG_");
        if (tText.compare(0, 4, "    ") != 0 || tType == std::string::npos) continue;
        std::string tValue = tText.substr(tText.find(' ', tType + 4) + 4);
        if (tValue.ends_with('\r')) tValue.pop_back();
        const bool tBool = tText.compare(tType + 4, 9, "REG_DWORD") == 0;
        if (tBool) tValue = std::to_string(std::stoul(tValue, nullptr, 0));
        tValues[tText.substr(4, tType - 4)] = (tBool ? "bool:" : "string:") + tValue;
    }
    return tValues;
}

void TestSettings::whileReadOnly(const std::string& pNode, const std::function<void()>& pBody) const
{
    // Everybody reads, and the owner may change that again.
    protect(keyOf(mName, pNode), L"D:P(A;;KR;;;WD)(A;;WDRC;;;OW)");
    pBody();
    protect(keyOf(mName, pNode), L"D:P(A;OICI;KA;;;WD)");
}

} // namespace vel::kos::test
