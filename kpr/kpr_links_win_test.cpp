// Links of somebody else on Windows. Calls of the system are wrapped: Wine can make neither a junction nor
// another user.
#include <windows.h>
// after windows.h
#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"

namespace {

constexpr wchar_t SOMEBODY[] = L"S-1-5-21-1-2-3-1001";
constexpr wchar_t ADMINISTRATORS[] = L"S-1-5-32-544";

DWORD gTag = 0;                  ///< the reparse tag that everything has; 0 for what it really has
const wchar_t* gOwner = nullptr; ///< whose everything is; null for whose it really is
DWORD gFlags = 0;                ///< what the last open was made with

} // namespace

// What is imported from a library of the system is called through a pointer; these take its place.
extern "C" {

extern decltype(&GetFileInformationByHandleEx) __real___imp_GetFileInformationByHandleEx;
extern decltype(&GetFileInformationByHandle) __real___imp_GetFileInformationByHandle;
extern decltype(&CreateFileW) __real___imp_CreateFileW;
extern decltype(&GetSecurityInfo) __real___imp_GetSecurityInfo;
extern decltype(&GetFileAttributesW) __real___imp_GetFileAttributesW;
extern decltype(&FindFirstFileW) __real___imp_FindFirstFileW;

decltype(&GetFileInformationByHandleEx) __wrap___imp_GetFileInformationByHandleEx =
    [](HANDLE pFile, FILE_INFO_BY_HANDLE_CLASS pClass, LPVOID pInfo, DWORD pSize) {
        const BOOL tDone = __real___imp_GetFileInformationByHandleEx(pFile, pClass, pInfo, pSize);
        if (tDone && gTag && pClass == FileAttributeTagInfo) {
            auto* tInfo = static_cast<FILE_ATTRIBUTE_TAG_INFO*>(pInfo);
            tInfo->FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
            tInfo->ReparseTag = gTag;
        }
        return tDone;
    };

decltype(&GetFileInformationByHandle) __wrap___imp_GetFileInformationByHandle =
    [](HANDLE pFile, LPBY_HANDLE_FILE_INFORMATION pInfo) {
        const BOOL tDone = __real___imp_GetFileInformationByHandle(pFile, pInfo);
        if (tDone && gTag) pInfo->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        return tDone;
    };

decltype(&CreateFileW) __wrap___imp_CreateFileW = [](LPCWSTR pName, DWORD pAccess, DWORD pShare,
                                                     LPSECURITY_ATTRIBUTES pRights, DWORD pDisposition,
                                                     DWORD pFlags, HANDLE pTemplate) {
    gFlags = pFlags;
    return __real___imp_CreateFileW(pName, pAccess, pShare, pRights, pDisposition, pFlags, pTemplate);
};

decltype(&GetFileAttributesW) __wrap___imp_GetFileAttributesW = [](LPCWSTR pName) -> DWORD {
    const DWORD tAttributes = __real___imp_GetFileAttributesW(pName);
    return gTag && tAttributes != INVALID_FILE_ATTRIBUTES ? tAttributes | FILE_ATTRIBUTE_REPARSE_POINT
                                                          : tAttributes;
};

decltype(&FindFirstFileW) __wrap___imp_FindFirstFileW = [](LPCWSTR pName, LPWIN32_FIND_DATAW pFound) {
    const HANDLE tFind = __real___imp_FindFirstFileW(pName, pFound);
    if (tFind != INVALID_HANDLE_VALUE && gTag) {
        pFound->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        pFound->dwReserved0 = gTag;
    }
    return tFind;
};

decltype(&GetSecurityInfo) __wrap___imp_GetSecurityInfo =
    [](HANDLE pHandle, SE_OBJECT_TYPE pType, SECURITY_INFORMATION pWhat, PSID* pOwner, PSID* pGroup,
       PACL* pRights, PACL* pAudit, PSECURITY_DESCRIPTOR* pDescriptor) {
        static PSID sOwner = nullptr;
        LocalFree(sOwner);
        sOwner = nullptr;
        const DWORD tError =
            __real___imp_GetSecurityInfo(pHandle, pType, pWhat, pOwner, pGroup, pRights, pAudit, pDescriptor);
        if (tError == ERROR_SUCCESS && gOwner && ConvertStringSidToSidW(gOwner, &sOwner)) *pOwner = sOwner;
        return tError;
    };

} // extern "C"

namespace {

struct KprLinksWindows : testing::Test {
    ~KprLinksWindows() override
    {
        gTag = 0;
        gOwner = nullptr;
    }
    uint32_t open(const std::string& pPath)
    {
        KprFile tFile;
        const uint32_t tRes = kprOpenFile(pPath.c_str(), KPR_OPEN_READ, &tFile);
        if (!KFAILED(tRes)) kprCloseFile(tFile);
        return tRes;
    }
    const kprtest::TemporaryDirectory mDir;
    const std::string mFile = mDir / "file";
};

TEST_F(KprLinksWindows, AreFollowedWhenTheyAreOnesOwn)
{
    EXPECT_EQ(kprCheckLink(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCheckLink(mFile.c_str()), KPR_E_NOT_FOUND);
    for (const DWORD tTag : {IO_REPARSE_TAG_MOUNT_POINT, IO_REPARSE_TAG_SYMLINK}) {
        gTag = tTag;
        gOwner = nullptr;
        EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u);
        EXPECT_TRUE(gFlags & FILE_FLAG_OPEN_REPARSE_POINT) << "the link itself is looked at";
        gOwner = ADMINISTRATORS;
        EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u);
        gOwner = SOMEBODY;
        EXPECT_EQ(kprCheckLink(mDir.path().c_str()), KPR_E_NOT_TRUSTED) << tTag;
    }
}

TEST_F(KprLinksWindows, WhatIsNoLinkIsNotLookedAt)
{
    gOwner = SOMEBODY;
    EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u);
    gTag = IO_REPARSE_TAG_DEDUP; // a file system's own affair
    EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u);
}

TEST_F(KprLinksWindows, FilesAreNotOpenedThroughThem)
{
    kprtest::writeFile(mFile, "content");
    EXPECT_EQ(open(mFile), 0u);
    EXPECT_TRUE(gFlags & FILE_FLAG_OPEN_REPARSE_POINT);
    for (const DWORD tTag : {IO_REPARSE_TAG_MOUNT_POINT, IO_REPARSE_TAG_SYMLINK}) {
        gTag = tTag;
        EXPECT_EQ(open(mFile), KPR_E_NOT_REGULAR) << tTag;
    }
    gTag = IO_REPARSE_TAG_DEDUP;
    EXPECT_EQ(open(mFile), 0u) << "read through its reparse point";
    EXPECT_FALSE(gFlags & FILE_FLAG_OPEN_REPARSE_POINT);
}

TEST_F(KprLinksWindows, ToFoldersAreNoFilesAndGoAsLinks)
{
    const std::string tFolder = mDir / "folder";
    for (const DWORD tTag : {DWORD{0}, DWORD{IO_REPARSE_TAG_CLOUD}}) {
        ASSERT_EQ(kprMakeDir(tFolder.c_str()), 0u);
        gTag = tTag;
        EXPECT_EQ(open(tFolder), KPR_E_NOT_REGULAR) << tTag;
        EXPECT_EQ(kprRemoveFile(tFolder.c_str()), KPR_E_IS_DIRECTORY) << tTag;
        gTag = 0;
        ASSERT_EQ(kprRemoveDir(tFolder.c_str()), 0u) << "it is still there";
    }
    for (const DWORD tTag : {IO_REPARSE_TAG_MOUNT_POINT, IO_REPARSE_TAG_SYMLINK}) {
        ASSERT_EQ(kprMakeDir(tFolder.c_str()), 0u);
        gTag = tTag;
        EXPECT_EQ(open(tFolder), KPR_E_NOT_REGULAR) << tTag;
        EXPECT_EQ(kprRemoveFile(tFolder.c_str()), 0u) << tTag;
        gTag = 0;
        EXPECT_EQ(kprRemoveDir(tFolder.c_str()), KPR_E_NOT_FOUND) << tTag;
    }
}

TEST_F(KprLinksWindows, FilesOfSomebodyElseAreKnown)
{
    EXPECT_EQ(kprCheckFile(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCheckFile(mFile.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprCheckFile(mDir.path().c_str()), KPR_E_NOT_REGULAR);
    EXPECT_EQ(kprCheckFile("NUL"), KPR_E_NOT_REGULAR);
    kprtest::writeFile(mFile, "content");
    EXPECT_EQ(kprCheckFile(mFile.c_str()), 0u);
    EXPECT_TRUE(gFlags & FILE_FLAG_OPEN_REPARSE_POINT) << "nothing is followed";
    gOwner = ADMINISTRATORS;
    EXPECT_EQ(kprCheckFile(mFile.c_str()), 0u);
    gOwner = SOMEBODY;
    EXPECT_EQ(kprCheckFile(mFile.c_str()), KPR_E_NOT_TRUSTED);
    gTag = IO_REPARSE_TAG_SYMLINK;
    EXPECT_EQ(kprCheckFile(mFile.c_str()), KPR_E_NOT_REGULAR);
}

// What is looked at may be a named pipe.
TEST_F(KprLinksWindows, NobodyActsInOurName)
{
    static constexpr DWORD tAnonymous = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;
    kprtest::writeFile(mFile, "content");
    const std::string tOther = mDir / "other";
    char tText[1024];
    const KprTime tTime = {1000, 0, 0};
    const auto expectAnonymous = [](uint32_t pRes, const char* pWhat) {
        EXPECT_EQ(pRes, 0u) << pWhat;
        EXPECT_EQ(gFlags & tAnonymous, tAnonymous) << pWhat;
        gFlags = 0;
    };
    gFlags = 0;
    expectAnonymous(open(mFile), "open");
    expectAnonymous(kprCheckFile(mFile.c_str()), "check a file");
    expectAnonymous(kprCheckLink(mFile.c_str()), "check a link");
    expectAnonymous(kprCheckDir(mDir.path().c_str()), "check a directory");
    expectAnonymous(kprGetRealPath(mFile.c_str(), tText, sizeof tText), "real path");
    expectAnonymous(kprSetFileTime(mFile.c_str(), nullptr, &tTime), "set a time");
    expectAnonymous(kprReplaceFile(mFile.c_str(), tOther.c_str()), "replace");
    expectAnonymous(kprRemoveFile(tOther.c_str()), "remove");
}

TEST_F(KprLinksWindows, DirectoriesOfSomebodyElseAreKnown)
{
    EXPECT_EQ(kprCheckDir(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprCheckDir(mFile.c_str()), KPR_E_NOT_FOUND);
    kprtest::writeFile(mFile, "content");
    EXPECT_EQ(kprCheckDir(mFile.c_str()), KPR_E_NOT_DIRECTORY);
    const std::string tSub = mDir / "sub";
    ASSERT_EQ(kprMakeDir(tSub.c_str()), 0u);
    const auto tSetRights = [&tSub](const wchar_t* pRights) {
        PSECURITY_DESCRIPTOR tDescriptor = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(pRights, SDDL_REVISION_1,
                                                                         &tDescriptor, nullptr));
        EXPECT_TRUE(SetFileSecurityW(std::wstring(tSub.begin(), tSub.end()).c_str(),
                                     DACL_SECURITY_INFORMATION, tDescriptor));
        LocalFree(tDescriptor);
    };
    tSetRights(L"D:P(A;;FA;;;OW)(A;;FA;;;BA)(A;;FA;;;SY)(A;;FRFX;;;WD)");
    EXPECT_EQ(kprCheckDir(tSub.c_str()), 0u) << "who may read it does not matter";
    EXPECT_FALSE(gFlags & FILE_FLAG_OPEN_REPARSE_POINT) << "links are followed";
    gOwner = SOMEBODY;
    EXPECT_EQ(kprCheckDir(tSub.c_str()), KPR_E_NOT_TRUSTED);
    gOwner = nullptr;
    tSetRights(L"D:P(A;;FA;;;WD)");
    EXPECT_EQ(kprCheckDir(tSub.c_str()), KPR_E_NOT_TRUSTED);
}

} // namespace
