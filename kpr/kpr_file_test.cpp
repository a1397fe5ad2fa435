#include "kpr/file.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/testing/kpr_volume_facts.h"

namespace {

#if defined(_WIN32)
constexpr bool WINDOWS = true;
#else
constexpr bool WINDOWS = false;
#endif

class KprFileTest : public testing::Test {
protected:
    uint32_t open(const std::string& pPath, uint32_t pMode)
    {
        close();
        return kprOpenFile(pPath.c_str(), pMode, &mFile);
    }

    void close()
    {
        if (mFile != KPR_NO_FILE) {
            EXPECT_EQ(kprCloseFile(mFile), 0u);
        }
        mFile = KPR_NO_FILE;
    }

    uint32_t write(const std::string& pBytes)
    {
        uint32_t tWritten = 0;
        const uint32_t tRes = kprWrite(mFile, pBytes.data(), static_cast<uint32_t>(pBytes.size()), &tWritten);
        if (!KFAILED(tRes)) {
            EXPECT_EQ(tWritten, pBytes.size());
        }
        return tRes;
    }

    std::string read(uint32_t pLength)
    {
        std::string tBytes(pLength, '\0');
        uint32_t tRead = 0;
        EXPECT_EQ(kprRead(mFile, tBytes.data(), pLength, &tRead), 0u);
        tBytes.resize(tRead);
        return tBytes;
    }

    void TearDown() override { close(); }

    kprtest::TemporaryDirectory mDir;
    const std::string mFat = kprtest::fatName(mDir.path());
    std::string mPath = mDir / "file";
    KprFile mFile = KPR_NO_FILE;
};

constexpr uint32_t NEW_FILE = KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE;

} // namespace

TEST_F(KprFileTest, RefusesModesThatMakeNoSense)
{
    kprtest::writeFile(mPath, "keep");
    for (uint32_t tMode :
         {0u, uint32_t{KPR_OPEN_CREATE}, uint32_t{KPR_OPEN_ANY}, KPR_OPEN_READ | 0x1000u,
          KPR_OPEN_READ | 0x4u, KPR_OPEN_READ | KPR_OPEN_CREATE, KPR_OPEN_READ | KPR_OPEN_TRUNCATE,
          KPR_OPEN_READ | KPR_OPEN_APPEND, KPR_OPEN_WRITE | KPR_OPEN_EXCLUSIVE,
          KPR_OPEN_WRITE | KPR_OPEN_TRUNCATE | KPR_OPEN_APPEND}) {
        KprFile tFile = 7;
        EXPECT_EQ(kprOpenFile(mPath.c_str(), tMode, &tFile), E_INVALIDARG) << tMode;
        EXPECT_EQ(tFile, KPR_NO_FILE) << tMode;
    }
    EXPECT_EQ(kprtest::readFile(mPath), "keep");
}

TEST_F(KprFileTest, RefusesNullPointers)
{
    char tByte = 0;
    uint32_t tCount;
    KprFileInfo tInfo;
    KprTime tTime{};
    uint32_t tLocked;
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    KprFile tFile = 7;
    EXPECT_EQ(kprOpenFile(nullptr, KPR_OPEN_READ, &tFile), E_INVALIDARG);
    EXPECT_EQ(tFile, KPR_NO_FILE);
    EXPECT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprRead(mFile, nullptr, 1, &tCount), E_INVALIDARG);
    EXPECT_EQ(kprRead(mFile, &tByte, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprWrite(mFile, nullptr, 1, &tCount), E_INVALIDARG);
    EXPECT_EQ(kprWrite(mFile, &tByte, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprSeekAndRead(mFile, 0, nullptr, 1, &tCount), E_INVALIDARG);
    EXPECT_EQ(kprSeekAndRead(mFile, 0, &tByte, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprSeekAndWrite(mFile, 0, nullptr, 1, &tCount), E_INVALIDARG);
    EXPECT_EQ(kprSeekAndWrite(mFile, 0, &tByte, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetFileInfo(nullptr, KPR_INFO_ALL, &tInfo), E_INVALIDARG);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetOpenFileInfo(mFile, KPR_INFO_ALL, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprSetFileTime(nullptr, &tTime, &tTime), E_INVALIDARG);
    EXPECT_EQ(kprMoveFile(nullptr, mPath.c_str()), E_INVALIDARG);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), nullptr), E_INVALIDARG);
    EXPECT_EQ(kprReplaceFile(nullptr, mPath.c_str()), E_INVALIDARG);
    EXPECT_EQ(kprReplaceFile(mPath.c_str(), nullptr), E_INVALIDARG);
    EXPECT_EQ(kprRemoveFile(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprIsFileLocked(nullptr, KPR_LOCK_EXCLUSIVE, &tLocked), E_INVALIDARG);
    EXPECT_EQ(kprIsFileLocked(mPath.c_str(), KPR_LOCK_EXCLUSIVE, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetTempFileName(nullptr, "", 0, &tByte, 1), E_INVALIDARG);
    EXPECT_EQ(kprGetTempFileName(".", "", 0, nullptr, 1), E_INVALIDARG);
}

TEST_F(KprFileTest, RefusesHandlesThatAreNone)
{
    char tByte = 0;
    uint32_t tCount;
    KprFileInfo tInfo;
    for (KprFile tFile : {KPR_NO_FILE, KprFile{0x123454}}) {
        EXPECT_EQ(kprCloseFile(tFile), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprRead(tFile, &tByte, 1, &tCount), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprWrite(tFile, &tByte, 1, &tCount), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprSeek(tFile, 0, KPR_SEEK_START, nullptr), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprSeekAndRead(tFile, 0, &tByte, 1, &tCount), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprSeekAndWrite(tFile, 0, &tByte, 1, &tCount), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprSyncFile(tFile), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprGetOpenFileInfo(tFile, KPR_INFO_ALL, &tInfo), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_SHARED, 0, 0), KPR_E_BAD_HANDLE);
        EXPECT_EQ(kprUnlockFile(tFile, 0, 0), KPR_E_BAD_HANDLE);
    }
}

TEST_F(KprFileTest, ReadsNothingThatIsMissing)
{
    EXPECT_EQ(open(mPath, KPR_OPEN_READ), KPR_E_NOT_FOUND);
    EXPECT_EQ(open(mPath, KPR_OPEN_WRITE), KPR_E_NOT_FOUND);
    EXPECT_EQ(open(mDir / "missing/file", NEW_FILE), KPR_E_NOT_FOUND);
    EXPECT_EQ(open("", NEW_FILE), KPR_E_NOT_FOUND);
    EXPECT_FALSE(kprtest::exists(mPath));
}

TEST_F(KprFileTest, CreatesWhatIsMissingAndKeepsWhatIsThere)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(write("content"), 0u);
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(read(100), "content");
}

TEST_F(KprFileTest, CreatesExclusivelyOnce)
{
    ASSERT_EQ(open(mPath, NEW_FILE | KPR_OPEN_EXCLUSIVE), 0u);
    EXPECT_EQ(open(mPath, NEW_FILE | KPR_OPEN_EXCLUSIVE), KPR_E_EXISTS);
}

TEST_F(KprFileTest, Truncates)
{
    kprtest::writeFile(mPath, "a long content");
    ASSERT_EQ(open(mPath, KPR_OPEN_WRITE | KPR_OPEN_TRUNCATE), 0u);
    EXPECT_EQ(write("short"), 0u);
    close();
    EXPECT_EQ(kprtest::readFile(mPath), "short");
}

TEST_F(KprFileTest, AppendsWhereverThePositionIs)
{
    kprtest::writeFile(mPath, "one ");
    ASSERT_EQ(open(mPath, KPR_OPEN_READ_WRITE | KPR_OPEN_APPEND), 0u);
    EXPECT_EQ(kprSeek(mFile, 0, KPR_SEEK_START, nullptr), 0u);
    EXPECT_EQ(write("two "), 0u);
    KprFile tOther;
    ASSERT_EQ(kprOpenFile(mPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_APPEND, &tOther), 0u);
    uint32_t tWritten;
    EXPECT_EQ(kprWrite(tOther, "three ", 6, &tWritten), 0u);
    EXPECT_EQ(kprCloseFile(tOther), 0u);
    EXPECT_EQ(write("four"), 0u);
    close();
    EXPECT_EQ(kprtest::readFile(mPath), "one two three four");
}

TEST_F(KprFileTest, HandlesDoOnlyWhatTheyWereOpenedFor)
{
    kprtest::writeFile(mPath, "x");
    char tByte = 0;
    uint32_t tCount = 9;
    ASSERT_EQ(open(mPath, KPR_OPEN_READ), 0u);
    EXPECT_TRUE(KFAILED(kprWrite(mFile, "y", 1, &tCount)));
    EXPECT_EQ(tCount, 0u);
    ASSERT_EQ(open(mPath, KPR_OPEN_WRITE), 0u);
    tCount = 9;
    EXPECT_TRUE(KFAILED(kprRead(mFile, &tByte, 1, &tCount)));
    EXPECT_EQ(tCount, 0u);
    close();
    EXPECT_EQ(kprtest::readFile(mPath), "x");
}

TEST_F(KprFileTest, ADirectoryIsNoFile)
{
    for (const uint32_t tAccess : {KPR_OPEN_READ, KPR_OPEN_WRITE}) {
        EXPECT_EQ(open(mDir.path(), tAccess), KPR_E_NOT_REGULAR);
        EXPECT_EQ(open(mDir.path(), tAccess | KPR_OPEN_FOLLOW), KPR_E_NOT_REGULAR);
        EXPECT_EQ(open(mDir.path(), tAccess | KPR_OPEN_ANY), KPR_E_IS_DIRECTORY);
    }
}

TEST_F(KprFileTest, OpensRegularFilesAsSuch)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(write("0123"), 0u);
    ASSERT_EQ(open(mPath, KPR_OPEN_READ_WRITE | KPR_OPEN_TRUNCATE), 0u);
    EXPECT_EQ(read(10), "");
}

TEST_F(KprFileTest, SeeksFromEverywhere)
{
    kprtest::writeFile(mPath, "0123456789");
    ASSERT_EQ(open(mPath, KPR_OPEN_READ), 0u);
    uint64_t tOffset = 99;
    EXPECT_EQ(kprSeek(mFile, 4, KPR_SEEK_START, &tOffset), 0u);
    EXPECT_EQ(tOffset, 4u);
    EXPECT_EQ(read(2), "45");
    EXPECT_EQ(kprSeek(mFile, -3, KPR_SEEK_CURRENT, &tOffset), 0u);
    EXPECT_EQ(tOffset, 3u);
    EXPECT_EQ(kprSeek(mFile, -1, KPR_SEEK_END, &tOffset), 0u);
    EXPECT_EQ(tOffset, 9u);
    EXPECT_EQ(read(5), "9");
    EXPECT_EQ(read(5), "");
    EXPECT_EQ(kprSeek(mFile, 20, KPR_SEEK_START, nullptr), 0u);
    EXPECT_EQ(read(5), "");
    EXPECT_EQ(kprSeek(mFile, -1, KPR_SEEK_START, &tOffset), E_INVALIDARG);
    EXPECT_EQ(kprSeek(mFile, 0, 3, &tOffset), E_INVALIDARG);
}

TEST_F(KprFileTest, ReadsAndWritesAtOffsets)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    char tBytes[8];
    uint32_t tCount = 9;
    EXPECT_EQ(kprSeekAndRead(mFile, 0, tBytes, 8, &tCount), 0u);
    EXPECT_EQ(tCount, 0u);
    EXPECT_EQ(kprSeekAndWrite(mFile, 2, "abcdef", 6, &tCount), 0u);
    EXPECT_EQ(tCount, 6u);
    EXPECT_EQ(kprSeekAndWrite(mFile, 0, "01", 2, &tCount), 0u);
    EXPECT_EQ(kprSeekAndRead(mFile, 1, tBytes, 3, &tCount), 0u);
    EXPECT_EQ(std::string(tBytes, tCount), "1ab");
    EXPECT_EQ(kprSeekAndRead(mFile, 6, tBytes, 8, &tCount), 0u);
    EXPECT_EQ(std::string(tBytes, tCount), "ef");
    EXPECT_EQ(kprSeekAndRead(mFile, 8, tBytes, 8, &tCount), 0u);
    EXPECT_EQ(tCount, 0u);
    EXPECT_EQ(kprSeekAndRead(mFile, 1000, tBytes, 8, &tCount), 0u);
    EXPECT_EQ(tCount, 0u);
    EXPECT_EQ(kprSeekAndRead(mFile, 0, tBytes, 0, &tCount), 0u);
    EXPECT_EQ(kprSeekAndRead(mFile, uint64_t{1} << 63, tBytes, 1, &tCount), E_INVALIDARG);
    EXPECT_EQ(kprSeekAndWrite(mFile, INT64_MAX, tBytes, 1, &tCount), E_INVALIDARG);
    close();
    EXPECT_EQ(kprtest::readFile(mPath), "01abcdef");
}

TEST_F(KprFileTest, OffsetsAndSizesOver4GiBAreExact)
{
    if (!mFat.empty()) GTEST_SKIP() << mFat << " takes no such files, or has to fill them";
    constexpr uint64_t tFar = (uint64_t{5} << 30) + 12345;
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    kprtest::makeSparse(mFile);
    uint32_t tCount;
    ASSERT_EQ(kprSeekAndWrite(mFile, tFar, "far", 3, &tCount), 0u);
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetOpenFileInfo(mFile, KPR_INFO_SIZE, &tInfo), 0u);
    EXPECT_EQ(tInfo.size, tFar + 3);
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_SIZE, &tInfo), 0u);
    EXPECT_EQ(tInfo.size, tFar + 3);
    char tBytes[5];
    EXPECT_EQ(kprSeekAndRead(mFile, tFar, tBytes, 5, &tCount), 0u);
    EXPECT_EQ(std::string(tBytes, tCount), "far");
    uint64_t tOffset;
    EXPECT_EQ(kprSeek(mFile, static_cast<int64_t>(tFar) + 1, KPR_SEEK_START, &tOffset), 0u);
    EXPECT_EQ(tOffset, tFar + 1);
    EXPECT_EQ(read(5), "ar");
}

TEST_F(KprFileTest, TellsKindAndSize)
{
    kprtest::writeFile(mPath, "12345");
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_FILE);
    EXPECT_EQ(tInfo.size, 5u);
    EXPECT_EQ(kprGetFileInfo(mDir.path().c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_DIRECTORY);
    EXPECT_EQ(kprGetFileInfo((mDir / "missing").c_str(), KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
    EXPECT_EQ(kprGetFileInfo("", KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
    ASSERT_EQ(open(mPath, KPR_OPEN_READ), 0u);
    EXPECT_EQ(kprGetOpenFileInfo(mFile, KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_FILE);
    EXPECT_EQ(tInfo.size, 5u);
}

TEST_F(KprFileTest, SetsTimesToTheMicrosecond)
{
    if (!mFat.empty()) GTEST_SKIP() << mFat << " keeps no such times";
    kprtest::writeFile(mPath, "");
    // Before 1970, at its edges, and past what 32 bits hold.
    for (const KprTime& tTime : {KprTime{1700000000, 123456, 0}, KprTime{0, 1, 0}, KprTime{-1, 999999, 0},
                                 KprTime{-86400 * 365, 250000, 0}, KprTime{4200000000, 7, 0}}) {
        const KprTime tAccessed{tTime.seconds + 5, 42, 0};
        ASSERT_EQ(kprSetFileTime(mPath.c_str(), &tAccessed, &tTime), 0u) << tTime.seconds;
        KprFileInfo tInfo;
        ASSERT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
        EXPECT_EQ(tInfo.modified.seconds, tTime.seconds);
        EXPECT_EQ(tInfo.modified.microseconds, tTime.microseconds) << tTime.seconds;
        EXPECT_EQ(tInfo.accessed.seconds, tAccessed.seconds);
        EXPECT_EQ(tInfo.accessed.microseconds, 42u);
        ASSERT_EQ(open(mPath, KPR_OPEN_READ), 0u);
        ASSERT_EQ(kprGetOpenFileInfo(mFile, KPR_INFO_MTIME, &tInfo), 0u);
        EXPECT_EQ(tInfo.modified.seconds, tTime.seconds);
        EXPECT_EQ(tInfo.modified.microseconds, tTime.microseconds);
        close();
    }
}

TEST_F(KprFileTest, LeavesATimeThatIsNotGiven)
{
    if (!mFat.empty()) GTEST_SKIP() << mFat << " keeps the day of an access only";
    kprtest::writeFile(mPath, "");
    const KprTime tOne{1000000000, 5, 0}, tTwo{1100000000, 6, 0};
    KprFileInfo tInfo;
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), &tOne, &tOne), 0u);
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, &tTwo), 0u);
    ASSERT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.accessed.seconds, tOne.seconds);
    EXPECT_EQ(tInfo.modified.seconds, tTwo.seconds);
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), &tTwo, nullptr), 0u);
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, nullptr), 0u);
    ASSERT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.accessed.seconds, tTwo.seconds);
    EXPECT_EQ(tInfo.modified.seconds, tTwo.seconds);
}

TEST_F(KprFileTest, RefusesTimesThatCannotBe)
{
    kprtest::writeFile(mPath, "");
    const KprTime tGood{1000000000, 5, 0}, tBad{1000000000, 1000000, 0}, tMedieval{-20000000000, 0, 0};
    EXPECT_EQ(kprSetFileTime(mPath.c_str(), &tBad, &tGood), E_INVALIDARG);
    EXPECT_EQ(kprSetFileTime(mPath.c_str(), &tGood, &tBad), E_INVALIDARG);
    EXPECT_EQ(kprSetFileTime((mDir / "missing").c_str(), &tGood, &tGood), KPR_E_NOT_FOUND);
    if (WINDOWS) {
        EXPECT_EQ(kprSetFileTime(mPath.c_str(), &tMedieval, &tMedieval), E_INVALIDARG);
    }
}

TEST_F(KprFileTest, SetsTimesOfAFileThatIsOpenAndLocked)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    ASSERT_EQ(kprLockFile(mFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    const KprTime tTime{1000000000, 0, 0}; // which FAT has, too
    EXPECT_EQ(kprSetFileTime(mPath.c_str(), &tTime, &tTime), 0u);
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_MTIME, &tInfo), 0u);
    EXPECT_EQ(tInfo.modified.seconds, tTime.seconds);
}

TEST_F(KprFileTest, NamesMayBeInAnyScript)
{
    // German, Russian, Japanese, and one outside the basic plane.
    const std::string tPath = mDir / "Gr\xC3\xB6\xC3\x9F"
                                     "e \xD0\xB6 \xE6\x97\xA5 \xF0\x9F\x97\x82.txt";
    kprtest::writeFile(tPath, "text");
    EXPECT_EQ(kprtest::readFile(tPath), "text");
    EXPECT_TRUE(kprtest::exists(tPath));
    EXPECT_EQ(kprMoveFile(tPath.c_str(), (tPath + "2").c_str()), 0u);
    EXPECT_EQ(kprRemoveFile((tPath + "2").c_str()), 0u);
}

TEST_F(KprFileTest, BytesThatAreNoTextAreNoNameOnWindows)
{
    if (!WINDOWS) GTEST_SKIP() << "on Linux every byte string without a separator is a name";
    // A lone continuation, an overlong form, and surrogates encoded one by one.
    for (const char* tName : {"\x80", "\xC0\xAF", "\xED\xA0\xBD\xED\xB7\x82", "a\xFF"}) {
        EXPECT_EQ(open(mDir / tName, NEW_FILE), KPR_E_BAD_NAME);
        EXPECT_EQ(kprMakeDir((mDir / tName).c_str()), KPR_E_BAD_NAME);
        EXPECT_EQ(kprRemoveFile((mDir / tName).c_str()), KPR_E_BAD_NAME);
        EXPECT_EQ(kprMoveFile((mDir / tName).c_str(), mPath.c_str()), KPR_E_BAD_NAME);
    }
}

TEST_F(KprFileTest, BothSeparatorsWorkOnWindows)
{
    if (!WINDOWS) GTEST_SKIP() << "on Linux a backslash is part of the name";
    ASSERT_EQ(kprMakeDir((mDir.path() + "/sub").c_str()), 0u);
    kprtest::writeFile(mDir.path() + "/sub/file", "x");
    EXPECT_EQ(kprtest::readFile(mDir.path() + "\\sub\\file"), "x");
}

TEST_F(KprFileTest, PathsOfMoreThan260CharactersWork)
{
    std::string tPath = mDir.path();
    for (int i = 0; i < 12; ++i) {
        tPath += kprGetPathSeparator() + std::string(49, static_cast<char>('a' + i));
        ASSERT_EQ(kprMakeDir(tPath.c_str()), 0u) << tPath.size();
    }
    ASSERT_GT(tPath.size(), 600u);
    const std::string tFile = tPath + "/the file", tOther = tPath + "/other";
    kprtest::writeFile(tFile, "deep");
    EXPECT_EQ(kprtest::readFile(tFile), "deep");
    const KprTime tTime{1000000000, 0, 0};
    EXPECT_EQ(kprSetFileTime(tFile.c_str(), &tTime, &tTime), 0u);
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetFileInfo(tFile.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.size, 4u);
    EXPECT_EQ(tInfo.modified.seconds, tTime.seconds);
    char tTemp[2048], tReal[2048];
    EXPECT_EQ(kprGetTempFileName(tPath.c_str(), "t.", 0, tTemp, sizeof tTemp), 0u);
    EXPECT_EQ(kprMoveFile(tTemp, tFile.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprMoveFile(tTemp, tOther.c_str()), 0u);
    EXPECT_EQ(kprReplaceFile(tOther.c_str(), tFile.c_str()), 0u);
    EXPECT_EQ(kprtest::readFile(tFile), "");
    EXPECT_EQ(kprGetRealPath(tFile.c_str(), tReal, sizeof tReal), 0u);
    EXPECT_EQ(std::string(tReal).substr(std::string(tReal).size() - 8), "the file");
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(tPath.c_str(), &tDir), 0u);
    char tName[100];
    EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, nullptr), 0u);
    EXPECT_STREQ(tName, "the file");
    EXPECT_EQ(kprCloseDir(tDir), 0u);
    EXPECT_EQ(kprRemoveFile(tFile.c_str()), 0u);
    EXPECT_EQ(kprRemoveDir(tPath.c_str()), 0u);
}

TEST_F(KprFileTest, AComponentThatIsTooLongIsRefused)
{
    const uint32_t tRes = open(mDir / std::string(300, 'x'), NEW_FILE);
    EXPECT_TRUE(tRes == KPR_E_NAME_TOO_LONG || (WINDOWS && KFAILED(tRes))) << std::hex << tRes;
}

TEST_F(KprFileTest, OpenFilesMayBeRenamedAndRemoved)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(write("still here"), 0u);
    EXPECT_EQ(kprMoveFile(mPath.c_str(), (mDir / "renamed").c_str()), 0u);
    EXPECT_EQ(kprRemoveFile((mDir / "renamed").c_str()), 0u);
    EXPECT_EQ(kprSeek(mFile, 0, KPR_SEEK_START, nullptr), 0u);
    EXPECT_EQ(read(100), "still here");
}

TEST_F(KprFileTest, RemovesFilesOnly)
{
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), KPR_E_NOT_FOUND);
    kprtest::writeFile(mPath, "x");
    EXPECT_EQ(kprRemoveFile(mPath.c_str()), 0u);
    EXPECT_FALSE(kprtest::exists(mPath));
    EXPECT_EQ(kprRemoveFile(mDir.path().c_str()), KPR_E_IS_DIRECTORY);
}

TEST_F(KprFileTest, SyncsWhatWasWritten)
{
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(write("x"), 0u);
    EXPECT_EQ(kprSyncFile(mFile), 0u);
}

TEST_F(KprFileTest, WritesMegabytesInOneCall)
{
    std::string tBytes(9 * 1024 * 1024 + 1, '\0');
    for (size_t i = 0; i < tBytes.size(); ++i)
        tBytes[i] = static_cast<char>(i * 31 >> 3);
    ASSERT_EQ(open(mPath, NEW_FILE), 0u);
    EXPECT_EQ(write(tBytes), 0u);
    EXPECT_EQ(kprSeek(mFile, 0, KPR_SEEK_START, nullptr), 0u);
    EXPECT_TRUE(read(static_cast<uint32_t>(tBytes.size()) + 10) == tBytes);
}
