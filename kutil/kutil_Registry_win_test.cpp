// What stands in the Windows registry, and what other programs may have put there.
#include <windows.h>

#include "kutil/Registry.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/TestSettings.h"

namespace vel::kos::util {

namespace {

class RegistryWindowsTest : public testing::Test {
protected:
    RegistryWindowsTest()
    {
        mNode = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", true);
        const std::string tPath = "Software\\" + mSettings.name() + "\\KOS\\KFW";
        RegOpenKeyExA(HKEY_CURRENT_USER, tPath.c_str(), 0, KEY_READ | KEY_WRITE, &mKey);
    }
    ~RegistryWindowsTest() override { RegCloseKey(mKey); }

    void plant(DWORD pType, const std::wstring& pText)
    {
        ASSERT_EQ(RegSetValueExW(mKey, L"Name", 0, pType, reinterpret_cast<const BYTE*>(pText.data()),
                                 static_cast<DWORD>(pText.size() * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    std::string read()
    {
        std::string tText = "before";
        EXPECT_EQ(mNode.get("Name", &tText), 0u);
        return tText;
    }

    test::TestSettings mSettings;
    RegNode mNode;
    HKEY mKey = nullptr;
};

TEST_F(RegistryWindowsTest, holdsUtf16WithLoneSurrogatesForOtherBytes)
{
    EXPECT_EQ(mNode.put("Name", "\xC3\xB6 \xF0\x9F\x98\x80 \xFF\x80"), 0u);
    wchar_t tText[32] = {};
    DWORD tType = 0, tBytes = sizeof tText;
    ASSERT_EQ(RegQueryValueExW(mKey, L"Name", nullptr, &tType, reinterpret_cast<BYTE*>(tText), &tBytes),
              ERROR_SUCCESS);
    EXPECT_EQ(tType, DWORD{REG_SZ});
    const wchar_t tExpected[] = {0xF6, ' ', 0xD83D, 0xDE00, ' ', 0xDCFF, 0xDC80, 0};
    EXPECT_EQ(tBytes, sizeof tExpected);
    EXPECT_EQ(std::wstring(tText), tExpected);
}

TEST_F(RegistryWindowsTest, readsTextsThatOthersWrote)
{
    plant(REG_SZ, L"without an end mark");
    EXPECT_EQ(read(), "without an end mark");
    plant(REG_SZ, std::wstring(L"with one\0", 9));
    EXPECT_EQ(read(), "with one");
    plant(REG_SZ, L"");
    EXPECT_EQ(read(), "");
    plant(REG_EXPAND_SZ, std::wstring(L"%TEMP%\0", 7));
    EXPECT_EQ(read(), "%TEMP%") << "not expanded";
    plant(REG_SZ, std::wstring(1, static_cast<wchar_t>(0xD800)));
    EXPECT_EQ(read(), "\xED\xA0\x80");
}

TEST_F(RegistryWindowsTest, takesOtherTypesForNoText)
{
    std::string tText;
    bool tBool = false;
    for (DWORD tType : {DWORD{REG_BINARY}, DWORD{REG_MULTI_SZ}}) {
        plant(tType, L"ab");
        EXPECT_EQ(mNode.get("Name", &tText), E_FAIL);
        EXPECT_EQ(mNode.get("Name", &tBool), E_FAIL);
    }
}

TEST_F(RegistryWindowsTest, reportsWhatItCannotDo)
{
    ASSERT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, ("Software\\" + mSettings.name()).c_str()), ERROR_SUCCESS);
    const auto tApp = mSettings.application();
    EXPECT_TRUE(KFAILED(mNode.put("Name", "x"))) << "the key has been deleted";
    RegBatch tBatch(mNode, RegBatch::Kind::WRITE);
    EXPECT_TRUE(KFAILED(mNode.put("Name", "x")));
    EXPECT_TRUE(KFAILED(tBatch.commit())) << "a failure of the scope comes out at its end";
}

TEST_F(RegistryWindowsTest, nestsSettingsNames)
{
    const auto tApp = test::TestApplication::make();
    tApp->setSettings(mSettings.name() + "/Inner", "");
    EXPECT_EQ(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).put("Name", "inner"), 0u);
    HKEY tKey = nullptr;
    const std::string tPath = "Software\\" + mSettings.name() + "\\Inner\\KOS\\KFW";
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, tPath.c_str(), 0, KEY_READ, &tKey), ERROR_SUCCESS);
    RegCloseKey(tKey);
}

} // namespace

} // namespace vel::kos::util
