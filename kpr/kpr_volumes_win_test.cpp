// What kpr does on volumes that are not like the one that the test runs on.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/testing/kpr_volume_win.h"
#include "kpr/text.h"

namespace {

using kprtest::gVolume;
using kprtest::Volume;

class KprVolumes : public testing::TestWithParam<Volume> {
protected:
    KprVolumes()
    {
        kprtest::writeFile(mFile, "content");
        kprtest::writeFile(mOther, "other");
        gVolume = GetParam();
        kprtest::gFetched = kprtest::gAskedForOwner = 0;
    }
    ~KprVolumes() override { gVolume = {}; }

    /// A file's content by kpr's own calls.
    uint32_t read(const std::string& pPath, std::string* pContent)
    {
        KprFile tFile;
        if (auto tRes = kprOpenFile(pPath.c_str(), KPR_OPEN_READ, &tFile); KFAILED(tRes)) return tRes;
        char tBytes[100];
        uint32_t tRead = 0;
        const uint32_t tRes = kprRead(tFile, tBytes, sizeof tBytes, &tRead);
        kprCloseFile(tFile);
        pContent->assign(tBytes, tRead);
        return tRes;
    }
    std::string contentOf(const std::string& pPath)
    {
        std::string tContent;
        EXPECT_EQ(read(pPath, &tContent), 0u) << pPath;
        return tContent;
    }
    uint32_t kindOf(const std::string& pPath)
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(kprGetFileInfo(pPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
        return tInfo.kind;
    }
    std::map<std::string, uint32_t> listing()
    {
        std::map<std::string, uint32_t> tKinds;
        KprDir tDir = KPR_NO_DIR;
        EXPECT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
        char tName[300];
        for (uint32_t tKind = 0; !KFAILED(kprReadDir(tDir, tName, sizeof tName, &tKind));)
            tKinds[tName] = tKind;
        kprCloseDir(tDir);
        return tKinds;
    }
    std::string identityOf(const std::string& pPath)
    {
        std::string tText;
        EXPECT_EQ(kpr::readText(tText, kprGetFileIdentity, pPath.c_str()), 0u);
        return tText;
    }

    kprtest::TemporaryDirectory mDir;
    const std::string mFile = mDir / "file", mOther = mDir / "other", mNew = mDir / "new";
};

/// As a store and its cleaner do.
TEST_P(KprVolumes, FilesAppearWholeAndGo)
{
    std::string tTemp;
    ASSERT_EQ(kpr::readText(tTemp, kprGetTempFileName, mDir.path().c_str(), "new.", 0u), 0u);
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(tTemp.c_str(), KPR_OPEN_WRITE, &tFile), 0u);
    uint32_t tWritten = 0;
    EXPECT_EQ(kprWrite(tFile, "stored", 6, &tWritten), 0u);
    EXPECT_EQ(kprSyncFile(tFile), 0u);
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    EXPECT_EQ(kprMoveFile(tTemp.c_str(), mNew.c_str()), 0u);
    EXPECT_EQ(contentOf(mNew), "stored");
    EXPECT_EQ(kprMoveFile(mOther.c_str(), mNew.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(contentOf(mNew), "stored");
    EXPECT_EQ(kprReplaceFile(mFile.c_str(), mNew.c_str()), 0u);
    EXPECT_EQ(contentOf(mNew), "content");
    EXPECT_EQ(listing().size(), 2u) << "nothing is left of the name for a moment";
    EXPECT_EQ(kprRemoveFile(mNew.c_str()), 0u);
    EXPECT_EQ(kprRemoveFile(mNew.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprRemoveFile(mOther.c_str()), 0u);
    EXPECT_EQ(kprRemoveDir((mDir / "").c_str()), 0u) << "the folder is empty";
    EXPECT_EQ(kprMakeDir(mDir.path().c_str()), 0u);
}

TEST_P(KprVolumes, TimesAreThoseThatWereSetButForTheStep)
{
    for (const int64_t tSeconds : {1'000'000'000, 1'000'000'001}) {
        const KprTime tTime{tSeconds, 250'000, 0};
        ASSERT_EQ(kprSetFileTime(mFile.c_str(), &tTime, &tTime), 0u);
        KprFileInfo tByName{}, tByHandle{};
        EXPECT_EQ(kprGetFileInfo(mFile.c_str(), KPR_INFO_ALL, &tByName), 0u);
        KprFile tFile;
        ASSERT_EQ(kprOpenFile(mFile.c_str(), KPR_OPEN_READ, &tFile), 0u);
        EXPECT_EQ(kprGetOpenFileInfo(tFile, KPR_INFO_ALL, &tByHandle), 0u);
        kprCloseFile(tFile);
        EXPECT_GE(tByName.modified.seconds, tSeconds);
        EXPECT_LE(tByName.modified.seconds, tSeconds + gVolume.timeStep);
        EXPECT_EQ(tByName.modified.microseconds, gVolume.timeStep ? 0u : 250'000u);
        EXPECT_EQ(tByHandle.modified.seconds, tByName.modified.seconds);
        EXPECT_EQ(tByHandle.size, 7u);
    }
}

TEST_P(KprVolumes, LocksExcludeOrAreNotToBeHad)
{
    KprFile tOne, tOther;
    ASSERT_EQ(kprOpenFile(mFile.c_str(), KPR_OPEN_READ_WRITE, &tOne), 0u);
    ASSERT_EQ(kprOpenFile(mFile.c_str(), KPR_OPEN_READ_WRITE, &tOther), 0u);
    constexpr uint32_t EXCLUSIVE = KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT;
    const bool tHas = !gVolume.lockError;
    EXPECT_EQ(kprLockFile(tOne, EXCLUSIVE, 0, 0), tHas ? 0u : E_NOT_SUPPORTED);
    EXPECT_EQ(kprLockFile(tOther, EXCLUSIVE, 0, 0), tHas ? KPR_E_LOCKED : E_NOT_SUPPORTED);
    uint32_t tLocked = 7;
    EXPECT_EQ(kprIsFileLocked(mFile.c_str(), KPR_LOCK_EXCLUSIVE, &tLocked), tHas ? 0u : E_NOT_SUPPORTED);
    EXPECT_EQ(tLocked, tHas ? 1u : 0u);
    EXPECT_EQ(kprUnlockFile(tOne, 0, 0), 0u);
    kprCloseFile(tOther);
    kprCloseFile(tOne);
}

TEST_P(KprVolumes, OwnersAreAskedForWhereThereAreAny)
{
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(mFile.c_str(), KPR_OPEN_READ | KPR_OPEN_OWN, &tFile), 0u);
    kprCloseFile(tFile);
    EXPECT_EQ(kprtest::gAskedForOwner, gVolume.rights ? 1u : 0u);
    EXPECT_EQ(kprCheckLink(mDir.path().c_str()), 0u);
}

TEST_P(KprVolumes, AFileIsKnownByWhateverTheVolumeCanTell)
{
    EXPECT_EQ(identityOf(mFile), identityOf(mDir / "./file"));
    EXPECT_NE(identityOf(mFile), identityOf(mOther)) << "two files are two, also without numbers";
    std::string tReal;
    EXPECT_EQ(kpr::readText(tReal, kprGetRealPath, (mDir / "x/../file").c_str()), 0u);
    EXPECT_EQ(tReal.substr(tReal.find_last_of('\\')), "\\file");
    EXPECT_EQ(tReal.find(".."), std::string::npos);
    EXPECT_EQ(contentOf(tReal), "content");
}

TEST_P(KprVolumes, LookingFetchesNothing)
{
    ASSERT_EQ(kprMakeDir(mNew.c_str()), 0u);
    const std::map<std::string, uint32_t> tExpected = {
        {"file", KPR_KIND_FILE}, {"other", KPR_KIND_FILE}, {"new", KPR_KIND_DIRECTORY}};
    EXPECT_EQ(listing(), tExpected);
    EXPECT_EQ(kindOf(mFile), uint32_t{KPR_KIND_FILE});
    EXPECT_EQ(kindOf(mNew), uint32_t{KPR_KIND_DIRECTORY});
    const KprTime tTime{1'500'000'000, 0, 0};
    EXPECT_EQ(kprSetFileTime(mFile.c_str(), &tTime, &tTime), 0u);
    EXPECT_EQ(kprCheckLink(mNew.c_str()), 0u);
    EXPECT_EQ(kprReplaceFile(mFile.c_str(), mOther.c_str()), 0u);
    EXPECT_EQ(kprMoveFile(mOther.c_str(), mFile.c_str()), 0u);
    EXPECT_EQ(kprRemoveFile(mFile.c_str()), 0u);
    EXPECT_EQ(kprtest::gFetched, 0u);
}

INSTANTIATE_TEST_SUITE_P(Every, KprVolumes, testing::ValuesIn(kprtest::volumes()),
                         [](const auto& pInfo) { return pInfo.param.name; });

class KprPlaceholders : public KprVolumes {};

TEST_P(KprPlaceholders, AreReadAsTheFilesThatTheyStandFor)
{
    for (uint32_t tProvider = 0; tProvider < 16; ++tProvider) {
        gVolume.tag = 0x9000001A | tProvider << 12;
        EXPECT_EQ(contentOf(mFile), "content") << tProvider;
    }
    for (const uint32_t tTag :
         {0x80000021u, 0x80000013u, 0x9000001Cu}) { // old OneDrive, deduplicated, projected
        gVolume.tag = tTag;
        EXPECT_EQ(contentOf(mFile), "content") << tTag;
    }
    EXPECT_GT(kprtest::gFetched, 0u);
}

TEST_P(KprPlaceholders, AreNotTakenForLinksNorLinksForThem)
{
    // Symbolic link, junction, link of Linux programs, link of the object manager, removed file of a
    // container.
    for (const uint32_t tTag : {0xA000000Cu, 0xA0000003u, 0xA000001Du, 0xA0000019u, 0xA000001Fu}) {
        gVolume.tag = tTag;
        std::string tContent;
        EXPECT_EQ(read(mFile, &tContent), KPR_E_NOT_REGULAR) << tTag;
        EXPECT_EQ(kindOf(mFile), uint32_t{KPR_KIND_LINK});
        EXPECT_EQ(listing()["file"], uint32_t{KPR_KIND_LINK});
    }
    EXPECT_EQ(kprtest::gFetched, 0u);
}

TEST_P(KprPlaceholders, SayWhyTheirContentCannotBeHad)
{
    const std::pair<uint32_t, uint32_t> tCases[] = {{362, KPR_E_IO},
                                                    {388, KPR_E_IO},
                                                    {395, KPR_E_ACCESS_DENIED},
                                                    {391, KPR_E_IN_USE},
                                                    {398, KPR_E_INTERRUPTED}};
    for (const auto& [tError, tCode] : tCases) {
        gVolume.contentError = tError;
        std::string tContent;
        EXPECT_EQ(read(mFile, &tContent), tCode) << tError;
        EXPECT_EQ(tContent, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Of, KprPlaceholders,
                         testing::Values(Volume{.name = "OneDrive", .tag = kprtest::CLOUD_TAG}),
                         [](const auto& pInfo) { return pInfo.param.name; });

} // namespace
