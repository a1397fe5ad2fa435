// Whose file may be trusted on Windows, by the rights that it carries.
#include <windows.h>
// after windows.h
#include <sddl.h>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/testing/kpr_volume_facts.h"

namespace {

/// Gives a file the rights of a descriptor's text.
void setRights(const std::string& pPath, const wchar_t* pRights)
{
    PSECURITY_DESCRIPTOR tDescriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(pRights, SDDL_REVISION_1, &tDescriptor,
                                                                     nullptr));
    const std::wstring tPath(pPath.begin(), pPath.end()); // ASCII in a test's folder
    EXPECT_TRUE(SetFileSecurityW(tPath.c_str(), DACL_SECURITY_INFORMATION, tDescriptor));
    LocalFree(tDescriptor);
}

uint32_t openTrusted(const std::string& pPath, uint32_t pFlags = KPR_OPEN_TRUSTED)
{
    KprFile tFile;
    const uint32_t tRes = kprOpenFile(pPath.c_str(), KPR_OPEN_READ | pFlags, &tFile);
    if (!KFAILED(tRes)) kprCloseFile(tFile);
    return tRes;
}

TEST(KprTrustWindows, RefusesAFileThatAnybodyMayChange)
{
    const kprtest::TemporaryDirectory tDir;
    const std::string tPath = tDir / "file";
    kprtest::writeFile(tPath, "content");
    EXPECT_EQ(openTrusted(tPath), 0u);
    setRights(tPath, L"D:P(A;;FA;;;OW)(A;;FA;;;BA)(A;;FA;;;SY)(A;;FR;;;WD)");
    EXPECT_EQ(openTrusted(tPath), 0u) << "who may read it does not matter";
    if (const std::string tFat = kprtest::fatName(tDir.path()); !tFat.empty())
        GTEST_SKIP() << tFat << " knows no rights";
    setRights(tPath, L"D:P(A;;FA;;;WD)");
    EXPECT_EQ(openTrusted(tPath), KPR_E_NOT_TRUSTED);
    EXPECT_EQ(openTrusted(tPath, KPR_OPEN_OWN), 0u) << "it is the user's own";
}

} // namespace
