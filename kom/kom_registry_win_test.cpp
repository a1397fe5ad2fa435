// Which class registries are taken on Windows: they decide which code runs.
#include <filesystem>
#include <string>

#include <windows.h>
// after windows.h
#include <sddl.h>

#include <gtest/gtest.h>

#include "kom/runtime.h"
#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

const std::string FIRST = "00000000-0000-4000-8000-000000000001";
const std::string SECOND = "00000000-0000-4000-8000-000000000002";

uint32_t registerClass(const std::string& pClassId, const std::string& pModule)
{
    KomRegistration tRegistration = {nullptr, pModule.c_str()};
    return komRegisterDSO(pClassId.c_str(), 0, &tRegistration);
}

class RegistryTrustWindows : public testing::Test {
protected:
    RegistryTrustWindows()
    {
        komSetClassRegistry(mPath.c_str());
        EXPECT_EQ(registerClass(FIRST, "/one"), 0u);
    }
    ~RegistryTrustWindows() override { komSetClassRegistry(nullptr); }

    /// Gives the registry the rights of a descriptor's text.
    void setRights(const wchar_t* pRights)
    {
        PSECURITY_DESCRIPTOR tDescriptor = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(pRights, SDDL_REVISION_1,
                                                                         &tDescriptor, nullptr));
        const std::wstring tPath(mPath.begin(), mPath.end()); // ASCII in a test's folder
        EXPECT_TRUE(SetFileSecurityW(tPath.c_str(), DACL_SECURITY_INFORMATION, tDescriptor));
        LocalFree(tDescriptor);
    }

    const kprtest::TemporaryDirectory mFolder;
    const std::string mPath = mFolder / "classes";
};

TEST_F(RegistryTrustWindows, RefusesAFileThatAnybodyMayChange)
{
    setRights(L"D:P(A;;FA;;;WD)");
    std::filesystem::remove(mPath + ".lock");
    const std::string tBefore = kprtest::readFile(mPath);
    KomClassList* tList = nullptr;
    kom::IUnknown* tFactory = nullptr;
    EXPECT_EQ(komListClasses(&tList), KPR_E_NOT_TRUSTED);
    EXPECT_EQ(komGetObjectFactory(FIRST.c_str(), kom::IObjectFactory::IID, &tFactory), KPR_E_NOT_TRUSTED);
    EXPECT_EQ(registerClass(SECOND, "/two"), KPR_E_NOT_TRUSTED);
    EXPECT_EQ(kprtest::readFile(mPath), tBefore);
    EXPECT_FALSE(std::filesystem::exists(mPath + ".lock")) << "nothing is made beside it";
    setRights(L"D:P(A;;FA;;;OW)(A;;FA;;;BA)(A;;FA;;;SY)(A;;FR;;;WD)");
    EXPECT_EQ(registerClass(SECOND, "/two"), 0u) << "who may read it does not matter";
}

TEST_F(RegistryTrustWindows, DoesNotWaitForALockWithoutEnd)
{
    KprFile tFile = KPR_NO_FILE;
    ASSERT_EQ(kprOpenFile((mPath + ".lock").c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
    ASSERT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    EXPECT_EQ(registerClass(SECOND, "/two"), KPR_E_LOCKED);
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    EXPECT_EQ(registerClass(SECOND, "/two"), 0u);
}

} // namespace
