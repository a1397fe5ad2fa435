#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"

namespace {

constexpr int THREADS = 8;

template <typename TBody>
void inThreads(TBody pBody)
{
    std::atomic<int> tReady{0};
    std::vector<std::thread> tThreads;
    for (int i = 0; i < THREADS; ++i)
        tThreads.emplace_back([&, i] {
            for (++tReady; tReady < THREADS;) // all at once
                std::this_thread::yield();
            pBody(i);
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
}

class KprRenameTest : public testing::Test {
protected:
    kprtest::TemporaryDirectory mDir;
    std::string mFrom = mDir / "from", mTo = mDir / "to";
};

} // namespace

TEST_F(KprRenameTest, MovesUnlessSomethingIsThere)
{
    kprtest::writeFile(mFrom, "first");
    EXPECT_EQ(kprMoveFile(mFrom.c_str(), mTo.c_str()), 0u);
    EXPECT_FALSE(kprtest::exists(mFrom));
    kprtest::writeFile(mFrom, "second");
    EXPECT_EQ(kprMoveFile(mFrom.c_str(), mTo.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprtest::readFile(mFrom), "second");
    EXPECT_EQ(kprtest::readFile(mTo), "first");
    EXPECT_EQ(kprMoveFile(mFrom.c_str(), mDir.path().c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprMoveFile((mDir / "missing").c_str(), (mDir / "new").c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprMoveFile(mFrom.c_str(), (mDir / "missing/new").c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprtest::readFile(mFrom), "second");
}

TEST_F(KprRenameTest, ReplacesFiles)
{
    kprtest::writeFile(mFrom, "first");
    EXPECT_EQ(kprReplaceFile(mFrom.c_str(), mTo.c_str()), 0u);
    kprtest::writeFile(mFrom, "second");
    EXPECT_EQ(kprReplaceFile(mFrom.c_str(), mTo.c_str()), 0u);
    EXPECT_EQ(kprtest::readFile(mTo), "second");
    EXPECT_FALSE(kprtest::exists(mFrom));
    EXPECT_EQ(kprReplaceFile(mFrom.c_str(), mTo.c_str()), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprtest::readFile(mTo), "second");
    ASSERT_EQ(kprMakeDir((mDir / "folder").c_str()), 0u);
    EXPECT_EQ(kprReplaceFile(mTo.c_str(), (mDir / "folder").c_str()), KPR_E_IS_DIRECTORY);
}

TEST_F(KprRenameTest, OneOfManyMoversWins)
{
    for (int tRound = 0; tRound < 20; ++tRound) {
        const std::string tTarget = mDir / ("target" + std::to_string(tRound));
        const auto tSource = [&](int i) { return tTarget + ".from" + std::to_string(i); };
        for (int i = 0; i < THREADS; ++i)
            kprtest::writeFile(tSource(i), std::to_string(i));
        std::atomic<int> tWinners{0}, tWinner{-1}, tLosers{0};
        inThreads([&](int i) {
            const uint32_t tRes = kprMoveFile(tSource(i).c_str(), tTarget.c_str());
            if (tRes == 0) {
                ++tWinners;
                tWinner = i;
            }
            tLosers += tRes == KPR_E_EXISTS;
        });
        ASSERT_EQ(tWinners, 1);
        ASSERT_EQ(tLosers, THREADS - 1);
        ASSERT_EQ(kprtest::readFile(tTarget), std::to_string(tWinner));
        for (int i = 0; i < THREADS; ++i)
            EXPECT_EQ(kprtest::exists(tSource(i)), i != tWinner);
    }
}

TEST_F(KprRenameTest, ExclusiveCreationHasOneWinner)
{
    std::atomic<int> tWinners{0}, tLosers{0};
    inThreads([&](int) {
        KprFile tFile;
        const uint32_t tRes =
            kprOpenFile(mTo.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE, &tFile);
        tWinners += tRes == 0;
        tLosers += tRes == KPR_E_EXISTS;
        if (tRes == 0) kprCloseFile(tFile);
    });
    EXPECT_EQ(tWinners, 1);
    EXPECT_EQ(tLosers, THREADS - 1);
}

TEST_F(KprRenameTest, TemporaryNamesAreUniqueOverThreads)
{
    constexpr int tEach = 50;
    std::vector<std::set<std::string>> tNames(THREADS);
    inThreads([&](int i) {
        for (int j = 0; j < tEach; ++j) {
            char tName[1024];
            if (!KFAILED(kprGetTempFileName(mDir.path().c_str(), "same.", 0, tName, sizeof tName)))
                tNames[static_cast<size_t>(i)].insert(tName);
        }
    });
    std::set<std::string> tAll;
    for (const auto& tSet : tNames) {
        EXPECT_EQ(tSet.size(), static_cast<size_t>(tEach));
        tAll.insert(tSet.begin(), tSet.end());
    }
    EXPECT_EQ(tAll.size(), static_cast<size_t>(THREADS * tEach));
}

TEST_F(KprRenameTest, TemporaryFilesAreNewEmptyAndNamedAsAsked)
{
    char tPath[1024], tDir[1024], tName[256];
    ASSERT_EQ(kprGetTempFileName(mDir.path().c_str(), "prefix.", 0, tPath, sizeof tPath), 0u);
    EXPECT_EQ(kprtest::readFile(tPath), "");
    EXPECT_EQ(kprGetDirname(tPath, tDir, sizeof tDir), 0u);
    EXPECT_EQ(tDir, mDir.path());
    EXPECT_EQ(kprGetBasename(tPath, tName, sizeof tName), 0u);
    EXPECT_EQ(std::string(tName).substr(0, 7), "prefix.");
    EXPECT_GT(std::string(tName).size(), 7u);
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), nullptr, 0, tPath, sizeof tPath), 0u);
}

TEST_F(KprRenameTest, ATemporaryFileThatCannotBeLeavesNothing)
{
    char tPath[1024];
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "p", 0, tPath, 5), KPR_E_BUFFER_TOO_SMALL);
    // The terminator has to fit as well.
    const auto tExact = static_cast<uint32_t>(mDir.path().size() + 1 + 1 + 10);
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "p", 0, tPath, tExact), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "a/b", 0, tPath, sizeof tPath), E_INVALIDARG);
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "p", 1, tPath, sizeof tPath), E_INVALIDARG);
    EXPECT_EQ(kprGetTempFileName((mDir / "missing").c_str(), "p", 0, tPath, sizeof tPath), KPR_E_NOT_FOUND);
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    EXPECT_EQ(kprReadDir(tDir, tPath, sizeof tPath, nullptr), KPR_E_END);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
    EXPECT_EQ(kprGetTempFileName(mDir.path().c_str(), "p", 0, tPath, tExact + 1), 0u);
}

TEST_F(KprRenameTest, AFileIsBegunAsideAndPutInPlaceWhole)
{
    kprtest::writeFile(mTo, "before");
    for (const uint32_t tFlags :
         {uint32_t{KPR_PUT_KEEP}, KPR_PUT_REPLACE | KPR_PUT_SYNC, uint32_t{KPR_PUT_SYNC}}) {
        char tPath[1024];
        KprFile tFile = KPR_NO_FILE;
        ASSERT_EQ(kprBeginFile(mTo.c_str(), tPath, sizeof tPath, &tFile), 0u);
        EXPECT_TRUE(std::string(tPath).starts_with(mTo + ".new-")) << tPath;
        uint32_t tWritten = 0;
        EXPECT_EQ(kprWrite(tFile, "after", 5, &tWritten), 0u);
        const bool tReplaces = tFlags & KPR_PUT_REPLACE;
        EXPECT_EQ(kprtest::readFile(mTo), tFlags == KPR_PUT_SYNC ? "after" : "before");
        EXPECT_EQ(kprPutInPlace(tFile, tPath, mTo.c_str(), tFlags), tReplaces ? 0u : KPR_E_EXISTS);
        EXPECT_FALSE(kprtest::exists(tPath)) << "removed where it could not take the place";
        EXPECT_EQ(kprCloseFile(tFile), KPR_E_BAD_HANDLE) << "closed";
    }
    EXPECT_EQ(kprtest::readFile(mTo), "after");
}

TEST_F(KprRenameTest, AFileThatIsBegunHasANameOfItsOwn)
{
    char tPath[1024], tOther[1024], tShort[8];
    KprFile tFile = KPR_NO_FILE, tSecond = KPR_NO_FILE;
    ASSERT_EQ(kprBeginFile(mTo.c_str(), tPath, sizeof tPath, &tFile), 0u);
    ASSERT_EQ(kprBeginFile(mTo.c_str(), tOther, sizeof tOther, &tSecond), 0u);
    EXPECT_STRNE(tPath, tOther);
    EXPECT_EQ(kprPutInPlace(tFile, tPath, mTo.c_str(), KPR_PUT_KEEP), 0u);
    EXPECT_EQ(kprPutInPlace(tSecond, tOther, (mDir / "missing/to").c_str(), KPR_PUT_REPLACE),
              KPR_E_NOT_FOUND);
    EXPECT_FALSE(kprtest::exists(tOther));
    EXPECT_EQ(kprBeginFile(mTo.c_str(), tShort, sizeof tShort, &tFile), KPR_E_BUFFER_TOO_SMALL);
    EXPECT_EQ(kprBeginFile((mDir / "missing/to").c_str(), tPath, sizeof tPath, &tFile), KPR_E_NOT_FOUND);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    EXPECT_EQ(kprBeginFile(nullptr, tPath, sizeof tPath, &tFile), E_INVALIDARG);
    tFile = 5;
    EXPECT_EQ(kprBeginFile("", tPath, sizeof tPath, &tFile), E_INVALIDARG);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    EXPECT_EQ(kprBeginFile(mTo.c_str(), nullptr, 0, &tFile), E_INVALIDARG);
    EXPECT_EQ(kprBeginFile(mTo.c_str(), tPath, sizeof tPath, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprPutInPlace(KPR_NO_FILE, mFrom.c_str(), mTo.c_str(), 4), E_INVALIDARG);
    EXPECT_EQ(kprPutInPlace(KPR_NO_FILE, nullptr, mTo.c_str(), 0), E_INVALIDARG);
    EXPECT_EQ(kprPutInPlace(KPR_NO_FILE, mFrom.c_str(), nullptr, 0), E_INVALIDARG);
}
