// The cache when the platform's calls fail: what it answers, what it says, and what it leaves.
#include "kfw_FSCache_TestFixture.h"

#include <functional>
#include <thread>

namespace {

uint32_t gConversionAnswer = 0;

} // namespace

extern "C" {
uint32_t __real_kfwFormatCacheId(const vel::kos::fw::CacheId*, char*, uint32_t);
uint32_t __wrap_kfwFormatCacheId(const vel::kos::fw::CacheId*, char*, uint32_t);
uint32_t __wrap_kfwFormatCacheId(const vel::kos::fw::CacheId* pId, char* pBuffer, uint32_t pSize)
{
    return gConversionAnswer ? gConversionAnswer : __real_kfwFormatCacheId(pId, pBuffer, pSize);
}
}

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr char URI[] = "http://example.com/";
constexpr uint32_t CODE = KPR_E_STALE;
/// The codes that every call is failed with once; one of them where each file operation takes long (Wine).
#if defined(_WIN32)
constexpr uint32_t SWEPT_CODES[] = {KPR_E_IO};
#else
constexpr uint32_t SWEPT_CODES[] = {KPR_E_IO, KPR_E_NOT_FOUND, KPR_E_EXISTS, E_NOT_SUPPORTED};
#endif

class FSCacheFaultTest : public FSCacheFixture {
protected:
    FSCacheFaultTest()
    {
        FaultTable::onTempFile([this](const char* pPath) { mTempFiles.emplace_back(pPath); });
    }
    ~FSCacheFaultTest() override { gConversionAnswer = 0; }

    std::string path(const char* pName) const { return (cacheDir() / pName).string(); }
    std::string object() { return mObject.empty() ? mObject = fileOf(URI).string() : mObject; }
    std::string inserted() const { return path("inserted"); }
    static std::string text(uint32_t pCode = CODE) { return komStrError(pCode); }
    uint32_t get()
    {
        const uint32_t tRes = mCache->getObject(URI, &mList, &mBytes);
        if (KFAILED(tRes)) {
            EXPECT_EQ(mList.mCount, 0u);
            EXPECT_EQ(mBytes.mData, nullptr);
        }
        return tRes;
    }
    /// A cache with one object whose attributes and data lie beyond what the first read brings.
    void initWithLargeObject()
    {
        init();
        ASSERT_EQ(put(URI, {{"key", std::string(10000, 'v')}}, std::string(20000, 'd')), 0u);
        static_cast<void>(object());
    }
    void initWithSmallObject()
    {
        init();
        ASSERT_EQ(put(URI, {{"key", "value"}}, "data"), 0u);
        static_cast<void>(object());
    }

    std::vector<std::string> mTempFiles;
    std::string mObject;
    fw::CacheAttrList mList;
    fw::CacheBytes mBytes;
};

// Setting up.

TEST_F(FSCacheFaultTest, setUpReportsACounterThatCannotBeMade)
{
    for (const uint32_t tCounter : {1u, 2u}) {
        mCache = kom::retain(new FSCache);
        mApp->clearRecords();
        mTempFiles.clear();
        std::filesystem::remove_all(cacheDir());
        FaultTable::fail("kprMoveFile", CODE, tCounter);
        EXPECT_EQ(mCache->init(mApp.get()), CODE);
        const std::string tPath = path(tCounter == 1 ? "inserted" : "cleaned");
        EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR),
                  std::vector<std::string>{"Can't create " + tPath + ": " + text() + "."});
        EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG),
                  std::vector<std::string>{"FS cache: failed to rename " + mTempFiles.back() + " to " +
                                           tPath + ": " + text()});
        EXPECT_EQ(mCache->init(mApp.get()), E_WRONG_STATE);
    }
}

TEST_F(FSCacheFaultTest, setUpTakesACounterThatAnotherProcessMadeMeanwhile)
{
    for (const uint32_t tCounter : {1u, 2u})
        FaultTable::before(
            "kprMoveFile",
            [this, tCounter] {
                test::writeFile(path(tCounter == 1 ? "inserted" : "cleaned"), std::string(7, '\0') + "x");
            },
            tCounter);
    init();
    EXPECT_EQ(counter("inserted"), uint64_t('x'));
    EXPECT_EQ(counter("cleaned"), uint64_t('x'));
}

TEST_F(FSCacheFaultTest, setUpReportsACounterThatCannotBeOpened)
{
    init();
    for (const uint32_t tCounter : {1u, 2u}) {
        mCache = kom::retain(new FSCache);
        mApp->clearRecords();
        FaultTable::fail("kprOpenFile", CODE, tCounter);
        EXPECT_EQ(mCache->init(mApp.get()), CODE);
        expectLogged("FS cache: failed to open " + path(tCounter == 1 ? "inserted" : "cleaned") +
                     " for reading/writing: " + text());
    }
}

TEST_F(FSCacheFaultTest, aHalfSetUpCacheGoesOnWithoutTheLock)
{
    init();
    mCache = kom::retain(new FSCache);
    FaultTable::fail("kprOpenFile", CODE, 1);
    EXPECT_EQ(mCache->init(mApp.get()), CODE);
    mApp->clearRecords();
    uint32_t tExists = 7;
    EXPECT_EQ(mCache->hasObject(URI, &tExists), 0u);
    EXPECT_EQ(tExists, 0u);
    expectLogged("FS cache: can't get lock of " + inserted() + ": " + text(KPR_E_BAD_HANDLE));
}

TEST_F(FSCacheFaultTest, timeOffsetFailuresAreOnlyLogged)
{
    struct Case {
        std::function<void()> arrange;
        std::function<std::string()> message;
        bool leavesFile;
    };
    const std::vector<Case> tCases = {
        {[] { FaultTable::fail("kprGetTempFileName", CODE, 1); },
         [] {
             return "FS cache: failed to create temporary file used for file system time offset "
                    "computation: " +
                    text();
         },
         false},
        {[] { FaultTable::before("kprGetTempFileName", [] { FaultTable::fail("kprGetFileInfo", CODE); }); },
         [this] {
             return "FS cache: failed to get modification time of " + mTempFiles.back() +
                    " (used for file system time offset computation): " + text();
         },
         false},
        {[] { FaultTable::fail("kprRemoveFile", CODE); },
         [this] {
             return "FS cache: failed to remove " + mTempFiles.back() +
                    " (used for file system time offset computation): " + text();
         },
         true},
        {[] { FaultTable::fail("kprGetCurrentTime", CODE); },
         [] { return "FS cache: failed to get current time: " + text(); }, false},
    };
    init();
    FaultTable::setServerClockOffset(3600 * int64_t(1000000));
    for (const Case& tCase : tCases) {
        mCache = kom::retain(new FSCache);
        mApp->clearRecords();
        tCase.arrange();
        EXPECT_EQ(mCache->init(mApp.get()), 0u);
        expectLogged(tCase.message());
        const std::filesystem::directory_iterator tFiles(cacheDir());
        EXPECT_EQ(std::distance(begin(tFiles), end(tFiles)), tCase.leavesFile ? 4 : 3);
        if (tCase.leavesFile) std::filesystem::remove(mTempFiles.back());
        // Touching shows the offset: 0, unless only the removal failed.
        ASSERT_EQ(put(URI, {}, ""), 0u);
        ASSERT_EQ(mCache->pinObject(URI), 0u);
        KprTime tNow;
        ASSERT_EQ(kprGetCurrentTime(&tNow), 0u);
        EXPECT_NEAR(static_cast<double>(modifiedSeconds(URI) - tNow.seconds), tCase.leavesFile ? 3600 : 0, 2);
        std::filesystem::remove(fileOf(URI));
        mTempFiles.clear();
    }
}

// Names and paths.

TEST_F(FSCacheFaultTest, reportsAnIdentityThatCannotBeConverted)
{
    init();
    const fw::CacheId tId = idOf(URI);
    const fw::CacheBytes tBytes;
    uint32_t tExists = 7;
    gConversionAnswer = 0x9623000Fu;
    for (const auto& tOperation : std::vector<std::function<uint32_t()>>{
             [&] { return put(URI, {}, ""); }, [&] { return mCache->putObjectFile(&tId, &tBytes); },
             [&] { return get(); }, [&] { return mCache->getObjectFile(&tId, &mBytes); },
             [&] { return mCache->getAttributes(URI, &mList); },
             [&] { return mCache->hasObject(URI, &tExists); }, [&] { return mCache->pinObjectById(&tId); },
             [&] { return mCache->unpinObjectById(&tId); }}) {
        mApp->clearRecords();
        EXPECT_EQ(tOperation(), 0x9623000Fu);
        expectLogged("FS cache: failed to convert cache ID to string: " + text(0x9623000Fu));
    }
    EXPECT_EQ(tExists, 0u);
}

TEST_F(FSCacheFaultTest, assertsThatPathsCanBeComposed)
{
    init();
    const fw::CacheId tId = idOf(URI);
    const fw::CacheBytes tBytes;
    uint32_t tExists = 7;
    for (const auto& tOperation : std::vector<std::function<uint32_t()>>{
             [&] { return put(URI, {}, ""); }, [&] { return mCache->putObjectFile(&tId, &tBytes); },
             [&] { return get(); }, [&] { return mCache->getObjectFile(&tId, &mBytes); },
             [&] { return mCache->getAttributes(URI, &mList); },
             [&] { return mCache->hasObject(URI, &tExists); }, [&] { return mCache->pinObjectById(&tId); }}) {
        mApp->clearRecords();
        FaultTable::fail("kprAppendToPath", CODE);
        EXPECT_EQ(tOperation(), CODE);
        expectAssertion("!KFAILED(tRes)");
    }
    EXPECT_EQ(fileCount(), 0u);
}

TEST_F(FSCacheFaultTest, digestFailuresAreAnswered)
{
    init();
    for (const char* tFunction : {"kprMD5Init", "kprMD5Update", "kprMD5Final"}) {
        FaultTable::fail(tFunction, CODE);
        fw::CacheId tId = {{1}};
        EXPECT_EQ(mCache->computeCacheId(URI, &tId), CODE) << tFunction;
        EXPECT_EQ(tId.mBytes[0], 1) << "untouched";
    }
    EXPECT_EQ(FaultTable::calls("kprMD5Final"), FaultTable::calls("kprMD5Init") - 1) << "a state is ended";
}

// Writing a file.

TEST_F(FSCacheFaultTest, assertsThatATemporaryNameCanBeMade)
{
    init();
    for (const char* tFunction : {"kprGetDirname", "kprGetBasename", "kprGetTempFileName"}) {
        mApp->clearRecords();
        FaultTable::fail(tFunction, CODE);
        EXPECT_EQ(put(URI, {}, ""), CODE) << tFunction;
        expectAssertion("!KFAILED(tRes)");
    }
    EXPECT_EQ(fileCount(), 0u);
    EXPECT_EQ(counter("inserted"), 0u);
}

TEST_F(FSCacheFaultTest, temporaryFilesAreNamedAfterTheirObject)
{
    initWithSmallObject();
    EXPECT_EQ(mTempFiles.back().rfind(object() + ".", 0), 0u) << mTempFiles.back();
}

TEST_F(FSCacheFaultTest, reportsATemporaryFileThatCannotBeOpened)
{
    init();
    FaultTable::fail("kprOpenFile", CODE);
    EXPECT_EQ(put(URI, {}, ""), CODE);
    expectLogged("FS cache: failed to create " + mTempFiles.back() + ": " + text());
    EXPECT_EQ(counter("inserted"), 0u);
}

TEST_F(FSCacheFaultTest, aFailedWriteLeavesItsTemporaryFile)
{
    init();
    FaultTable::fail("kprWrite", CODE);
    const uint32_t tClosed = FaultTable::calls("kprCloseFile");
    EXPECT_EQ(put(URI, {}, "data"), CODE);
    expectLogged("FS cache: failed to write to " + mTempFiles.back() + ": " + text());
    EXPECT_TRUE(std::filesystem::exists(mTempFiles.back()));
    EXPECT_EQ(FaultTable::calls("kprCloseFile"), tClosed);
    EXPECT_EQ(FaultTable::closeLeftOpen(mTempFiles.back()), 1u) << "it is not closed";
    EXPECT_EQ(counter("inserted"), 0u);
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
}

TEST_F(FSCacheFaultTest, aShortWriteAnswersSuccess)
{
    init();
    FaultTable::cutShort("kprWrite", 11);
    const uint32_t tClosed = FaultTable::calls("kprCloseFile");
    EXPECT_EQ(put(URI, {}, "data"), 0u);
    expectLogged("FS cache: short write on " + mTempFiles.back() + " (requested 32, wrote 11 bytes).");
    EXPECT_EQ(std::filesystem::file_size(mTempFiles.back()), 11u);
    EXPECT_EQ(FaultTable::calls("kprCloseFile"), tClosed);
    EXPECT_EQ(FaultTable::closeLeftOpen(mTempFiles.back()), 1u) << "it is not closed";
    EXPECT_EQ(counter("inserted"), 1u);
    EXPECT_EQ(get(), KPR_E_NOT_FOUND);
}

TEST_F(FSCacheFaultTest, reportsAFailedClose)
{
    init();
    FaultTable::fail("kprCloseFile", CODE);
    EXPECT_EQ(put(URI, {}, "data"), CODE);
    expectLogged("FS cache: failed to close " + mTempFiles.back() + " after write: " + text());
    EXPECT_TRUE(std::filesystem::exists(mTempFiles.back()));
    EXPECT_EQ(counter("inserted"), 0u);
}

TEST_F(FSCacheFaultTest, reportsAFailedRename)
{
    init();
    static_cast<void>(object());
    FaultTable::fail("kprMoveFile", CODE);
    EXPECT_EQ(put(URI, {}, "data"), CODE);
    const std::string tMessage =
        "FS cache: failed to rename " + mTempFiles.back() + " to " + object() + ": " + text();
    expectLogged(tMessage);
    EXPECT_EQ(fileCount(), 0u) << "the temporary file is removed";
    EXPECT_EQ(counter("inserted"), 0u);

    mApp->clearRecords();
    FaultTable::fail("kprMoveFile", CODE);
    FaultTable::fail("kprRemoveFile", KPR_E_IN_USE);
    EXPECT_EQ(put(URI, {}, "data"), CODE) << "the rename's code";
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG),
              (std::vector<std::string>{
                  "FS cache: failed to rename " + mTempFiles.back() + " to " + object() + ": " + text(),
                  "FS cache: failed to remove " + mTempFiles.back() + ": " + text(KPR_E_IN_USE)}));
}

TEST_F(FSCacheFaultTest, aLostRaceIsNotReported)
{
    initWithSmallObject();
    EXPECT_EQ(put(URI, {}, "other"), 0u);
    EXPECT_TRUE(mApp->logLines().empty());
    FaultTable::fail("kprRemoveFile", CODE);
    EXPECT_EQ(put(URI, {}, "other"), 0u);
    expectLogged("FS cache: failed to remove " + mTempFiles.back() + ": " + text());

    mApp->clearRecords();
    FaultTable::fail("kprSetFileTime", CODE);
    EXPECT_EQ(put(URI, {}, "other"), CODE) << "the touch's code";
    expectLogged("FS cache: failed to touch " + object() + ": " + text());
    EXPECT_EQ(counter("inserted"), 1u);
}

// The lock.

TEST_F(FSCacheFaultTest, goesOnWithoutTheLock)
{
    init();
    static_cast<void>(object());
    FaultTable::fail("kprLockFile", CODE);
    EXPECT_EQ(put(URI, {}, "data"), 0u);
    expectLogged("FS cache: can't get exclusive lock of " + inserted() + ": " + text());
    EXPECT_EQ(counter("inserted"), 1u);

    uint32_t tExists = 0;
    const fw::CacheId tId = idOf(URI);
    const uint32_t tUnlocked = FaultTable::calls("kprUnlockFile");
    for (const auto& tOperation : std::vector<std::function<uint32_t()>>{
             [&] { return get(); }, [&] { return mCache->getAttributes(URI, &mList); },
             [&] { return mCache->hasObject(URI, &tExists); },
             [&] { return mCache->getObjectFile(&tId, &mBytes); }}) {
        mApp->clearRecords();
        FaultTable::fail("kprLockFile", CODE);
        EXPECT_EQ(tOperation(), 0u);
        expectLogged("FS cache: can't get lock of " + inserted() + ": " + text());
    }
    EXPECT_EQ(FaultTable::calls("kprUnlockFile"), tUnlocked) << "what was not locked is not unlocked";
}

TEST_F(FSCacheFaultTest, reportsAFailedUnlock)
{
    initWithSmallObject();
    FaultTable::fail("kprUnlockFile", CODE);
    EXPECT_EQ(get(), 0u);
    expectLogged("FS cache: can't unlock " + inserted() + ": " + text());
    mApp->clearRecords();
    EXPECT_EQ(get(), 0u) << "the mutex is free again";
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FSCacheFaultTest, assertsThatAThreadTakesTheLockOnce)
{
    init();
    uint32_t tExists = 7, tRes = 7, tLockedAfter = 7, tLocks = 0, tUnlocks = 7;
    FaultTable::before("kprMoveFile", [&] {
        mApp->clearRecords();
        const uint32_t tLocksBefore = FaultTable::calls("kprLockFile");
        const uint32_t tUnlocksBefore = FaultTable::calls("kprUnlockFile");
        tRes = mCache->hasObject(URI, &tExists);
        tLocks = FaultTable::calls("kprLockFile") - tLocksBefore;
        tUnlocks = FaultTable::calls("kprUnlockFile") - tUnlocksBefore;
        EXPECT_EQ(kprIsFileLocked(inserted().c_str(), &tLockedAfter), 0u);
    });
    EXPECT_EQ(put(URI, {}, "data"), 0u);
    EXPECT_EQ(tRes, 0u) << "readers do not check the guard";
    EXPECT_EQ(tExists, 0u);
    expectAssertion("!pCache->mInserterLocked");
    EXPECT_EQ(tLocks, 0u) << "the inner guard makes no file call";
    EXPECT_EQ(tUnlocks, 0u);
    EXPECT_EQ(tLockedAfter, 1u) << "the outer lock is as it was";

    mApp->clearRecords();
    std::thread([this] { EXPECT_EQ(get(), 0u); }).join();
    EXPECT_TRUE(mApp->assertions().empty()) << "the outer guard gave everything back";
    EXPECT_EQ(kprIsFileLocked(inserted().c_str(), &tLockedAfter), 0u);
    EXPECT_EQ(tLockedAfter, 0u);
}

TEST_F(FSCacheFaultTest, writersLockExclusivelyAndReadersShare)
{
    initWithSmallObject();
    const fw::CacheId tId = idOf(URI);
    const fw::CacheBytes tNone;
    uint32_t tExists = 0;
    struct Case {
        const char* function; ///< called under the lock
        bool exclusive;
        std::function<uint32_t()> operation;
    };
    for (const Case& tCase :
         std::vector<Case>{{"kprMoveFile", true, [&] { return put("http://example.com/2", {}, ""); }},
                           {"kprMoveFile", true, [&] { return mCache->putObjectFile(&tId, &tNone); }},
                           {"kprSetFileTime", true, [&] { return put(URI, {}, ""); }},
                           {"kprSeekAndWrite", true, [&] { return put("http://example.com/3", {}, ""); }},
                           {"kprOpenFile", false, [&] { return get(); }},
                           {"kprCloseFile", false, [&] { return get(); }},
                           {"kprOpenFile", false, [&] { return mCache->getAttributes(URI, &mList); }},
                           {"kprGetFileInfo", false, [&] { return mCache->getObjectFile(&tId, &mBytes); }},
                           {"kprGetFileInfo", false, [&] { return mCache->hasObject(URI, &tExists); }}}) {
        bool tRan = false;
        FaultTable::before(tCase.function, [&] {
            tRan = true;
            KprFile tFile = KPR_NO_FILE;
            ASSERT_EQ(kprOpenFile(inserted().c_str(), KPR_OPEN_READ_WRITE, &tFile), 0u);
            EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_SHARED | KPR_LOCK_NO_WAIT, 0, 0),
                      tCase.exclusive ? KPR_E_LOCKED : 0u)
                << tCase.function;
            if (!tCase.exclusive) {
                EXPECT_EQ(kprUnlockFile(tFile, 0, 0), 0u);
            }
            EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0), KPR_E_LOCKED);
            kprCloseFile(tFile);
        });
        EXPECT_EQ(tCase.operation(), 0u);
        EXPECT_TRUE(tRan) << tCase.function;
    }
}

TEST_F(FSCacheFaultTest, twoCachesOfOneProcessExcludeEachOther)
{
    init();
    const auto tSecond = kom::retain(new FSCache);
    ASSERT_EQ(tSecond->init(mApp.get()), 0u);
    std::atomic<bool> tWriterDone = false;
    bool tWaited = false;
    uint32_t tExists = 0;
    std::thread tReader;
    FaultTable::before("kprMoveFile", [&] {
        std::atomic<bool> tStarted = false;
        tReader = std::thread([&] {
            tStarted = true;
            EXPECT_EQ(tSecond->hasObject(URI, &tExists), 0u);
            tWaited = tWriterDone;
        });
        while (!tStarted)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    });
    FaultTable::before("kprUnlockFile", [&] { tWriterDone = true; });
    EXPECT_EQ(put(URI, {}, "data"), 0u);
    ASSERT_TRUE(tReader.joinable());
    tReader.join();
    EXPECT_TRUE(tWaited) << "the reader came in while the writer was at work";
    EXPECT_EQ(tExists, 1u);
}

// The counter.

TEST_F(FSCacheFaultTest, reportsACounterThatCannotBeReadOrWritten)
{
    init();
    struct Case {
        std::function<void()> arrange;
        uint32_t code;
        std::string message;
    };
    unsigned tNumber = 0;
    for (const Case& tCase :
         std::vector<Case>{{[] { FaultTable::fail("kprSeekAndRead", CODE); }, CODE,
                            "FS cache: failed to read " + inserted() + ": " + text()},
                           {[] { FaultTable::cutShort("kprSeekAndRead", 7); }, 0x80004005u,
                            "FS cache: short read on " + inserted() + " (7 bytes)."},
                           {[] { FaultTable::fail("kprSeekAndWrite", CODE); }, CODE,
                            "FS cache: failed to write " + inserted() + ": " + text()},
                           {[] { FaultTable::cutShort("kprSeekAndWrite", 0); }, 0x80004005u,
                            "FS cache: short write on " + inserted() + " (0 bytes)."}}) {
        mApp->clearRecords();
        tCase.arrange();
        const std::string tUri = URI + std::to_string(++tNumber);
        EXPECT_EQ(put(tUri, {}, ""), tCase.code);
        expectLogged(tCase.message);
        EXPECT_TRUE(std::filesystem::exists(fileOf(tUri))) << "the object is there all the same";
        EXPECT_EQ(counter("inserted"), 0u);
    }
}

// Positioned reads and writes without the platform's help.

TEST_F(FSCacheFaultTest, movesThePositionWhereThePlatformHasNoPositionedReads)
{
    init();
    FaultTable::fail("kprSeekAndRead", E_NOT_SUPPORTED, 1, 1000);
    FaultTable::fail("kprSeekAndWrite", E_NOT_SUPPORTED, 1, 1000);
    const Attributes tAttributes = {{"key", std::string(10000, 'v')}};
    ASSERT_EQ(put(URI, tAttributes, std::string(20000, 'd')), 0u);
    ASSERT_EQ(put("http://example.com/2", {}, std::string(5000, 'd')), 0u);
    EXPECT_EQ(counter("inserted"), 30u + 5u);
    EXPECT_EQ(FaultTable::calls("kprSeek"), 4u);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(toVector(mList), tAttributes);
    EXPECT_EQ(toString(mBytes), std::string(20000, 'd'));
    EXPECT_EQ(FaultTable::calls("kprSeek"), 6u);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FSCacheFaultTest, checksThePositionThatItMovedTo)
{
    initWithLargeObject();
    FaultTable::fail("kprSeekAndRead", E_NOT_SUPPORTED, 1, 1000);
    FaultTable::fail("kprSeekAndWrite", E_NOT_SUPPORTED, 1, 1000);
    const auto tExpectBoth = [this](const std::string& pMessage) {
        expectAssertion("pOffs == tNewOffs");
        EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG), std::vector<std::string>{pMessage});
        mApp->clearRecords();
    };
    FaultTable::misplaceSeek(4);
    EXPECT_EQ(get(), 0x80070057u);
    tExpectBoth("FS cache: error reading attributes from " + object() + ": " + text(0x80070057u));
    FaultTable::misplaceSeek(-4, 2);
    EXPECT_EQ(get(), 0x80070057u);
    tExpectBoth("FS cache: error reading data from " + object() + ": " + text(0x80070057u));
    FaultTable::misplaceSeek(4);
    EXPECT_EQ(put("http://example.com/2", {}, ""), 0x80070057u);
    tExpectBoth("FS cache: failed to read " + inserted() + ": " + text(0x80070057u));
    FaultTable::misplaceSeek(4, 2);
    EXPECT_EQ(put("http://example.com/3", {}, ""), 0x80070057u);
    tExpectBoth("FS cache: failed to write " + inserted() + ": " + text(0x80070057u));

    FaultTable::fail("kprSeek", CODE);
    EXPECT_EQ(get(), CODE);
    expectLogged("FS cache: error reading attributes from " + object() + ": " + text());
}

// Reading objects.

TEST_F(FSCacheFaultTest, reportsReadsThatFail)
{
    initWithLargeObject();
    struct Case {
        std::function<void()> arrange;
        uint32_t code;
        std::string message;
        bool attributesToo; ///< getAttributes answers the same
    };
    for (const Case& tCase : std::vector<Case>{
             {[] { FaultTable::fail("kprOpenFile", CODE); }, CODE,
              "FS cache: can't open " + object() + " for reading: " + text(), true},
             {[] { FaultTable::fail("kprGetOpenFileInfo", CODE); }, CODE,
              "FS cache: failed to get size of " + object() + ": " + text(), true},
             {[] { FaultTable::fail("kprRead", CODE); }, CODE,
              "FS cache: error reading object header from " + object() + ": " + text(), true},
             {[] { FaultTable::cutShort("kprRead", 27); }, 0x80004005u,
              "FS cache: incomplete read of object header of " + object() + " (got only 27 bytes).", true},
             {[] { FaultTable::fail("kprSeekAndRead", CODE); }, CODE,
              "FS cache: error reading attributes from " + object() + ": " + text(), true},
             {[] {
                  FaultTable::cutShort("kprRead", 100);
                  FaultTable::cutShort("kprSeekAndRead", 28);
              },
              0x80004005u,
              "FS cache: incomplete read of attributes from " + object() + " (got only 100 bytes).", true},
             {[] { FaultTable::fail("kprSeekAndRead", CODE, 2); }, CODE,
              "FS cache: error reading data from " + object() + ": " + text(), false},
             {[] { FaultTable::cutShort("kprSeekAndRead", 19999, 2); }, 0x80004005u,
              "FS cache: incomplete read of data from " + object() + " (got only 19999 bytes).", false}}) {
        mApp->clearRecords();
        const uint32_t tOpened = FaultTable::calls("kprOpenFile"),
                       tClosed = FaultTable::calls("kprCloseFile");
        tCase.arrange();
        EXPECT_EQ(get(), tCase.code) << tCase.message;
        expectLogged(tCase.message);
        if (tOpened + 1 == FaultTable::calls("kprOpenFile") &&
            tCase.message.find("can't open") == std::string::npos) {
            EXPECT_EQ(FaultTable::calls("kprCloseFile"), tClosed + 1) << "the file is closed";
        }
        if (!tCase.attributesToo) continue;
        mApp->clearRecords();
        tCase.arrange();
        mList = makeList({{"left", "over"}});
        EXPECT_EQ(mCache->getAttributes(URI, &mList), tCase.code) << tCase.message;
        EXPECT_EQ(mList.mCount, 0u);
        expectLogged(tCase.message);
    }
}

TEST_F(FSCacheFaultTest, aFailedCloseAfterAReadIsOnlyLogged)
{
    initWithSmallObject();
    const fw::CacheId tId = idOf(URI);
    FaultTable::fail("kprCloseFile", CODE);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(toString(mBytes), "data");
    expectLogged("FS cache: failed to close " + object() + " after read: " + text());

    mApp->clearRecords();
    FaultTable::fail("kprCloseFile", CODE);
    EXPECT_EQ(mCache->getAttributes(URI, &mList), 0u);
    EXPECT_EQ(mList.mCount, 1u);
    expectLogged("FS cache: failed to close " + object() + " after read: " + text());

    mApp->clearRecords();
    FaultTable::fail("kprCloseFile", CODE);
    EXPECT_EQ(mCache->getObjectFile(&tId, &mBytes), 0u);
    expectLogged("FS cache: failed to close " + object() + ": " + text());
}

TEST_F(FSCacheFaultTest, takesSmallObjectsInOneRead)
{
    initWithSmallObject();
    FaultTable::recordTrace();
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(FaultTable::trace(),
              (std::vector<std::string>{"kprMD5Init", "kprMD5Update", "kprMD5Final", "kprAppendToPath",
                                        "kprLockFile", "kprOpenFile", "kprGetOpenFileInfo", "kprRead",
                                        "kprCloseFile", "kprUnlockFile"}));
}

TEST_F(FSCacheFaultTest, reportsObjectFilesThatCannotBeRead)
{
    initWithSmallObject();
    const fw::CacheId tId = idOf(URI);
    const std::string tSize = std::to_string(std::filesystem::file_size(object()));
    struct Case {
        std::function<void()> arrange;
        uint32_t code;
        std::string message;
    };
    for (const Case& tCase : std::vector<Case>{
             {[] { FaultTable::fail("kprGetFileInfo", CODE); }, CODE,
              "FS cache: can't get size of " + object() + ": " + text()},
             {[] { FaultTable::fail("kprOpenFile", CODE); }, CODE,
              "FS cache: can't open " + object() + " for reading: " + text()},
             {[] { FaultTable::fail("kprRead", CODE); }, CODE,
              "FS cache: failed to read " + object() + ": " + text()},
             {[] { FaultTable::cutShort("kprRead", 5); }, 0x80004005u,
              "FS cache: incomplete read of " + object() + " (expected " + tSize + ", got 5)"}}) {
        mApp->clearRecords();
        mBytes = makeBytes("as it was");
        tCase.arrange();
        EXPECT_EQ(mCache->getObjectFile(&tId, &mBytes), tCase.code);
        EXPECT_EQ(toString(mBytes), "as it was");
        expectLogged(tCase.message);
    }
}

// Times.

TEST_F(FSCacheFaultTest, hasObjectReportsItsFailures)
{
    initWithSmallObject();
    makeOld(URI, 5000);
    uint32_t tExists = 7;
    FaultTable::fail("kprGetFileInfo", CODE);
    EXPECT_EQ(mCache->hasObject(URI, &tExists), CODE);
    EXPECT_EQ(tExists, 0u);
    EXPECT_TRUE(mApp->logLines().empty());

    FaultTable::fail("kprGetFileInfo", 0x96230003u);
    EXPECT_EQ(mCache->hasObject(URI, &tExists), 0u);
    EXPECT_EQ(tExists, 0u);

    for (const uint32_t tCall : {1u, 2u}) { // the comparison's, the touch's
        tExists = 7;
        FaultTable::fail("kprGetCurrentTime", CODE, tCall);
        EXPECT_EQ(mCache->hasObject(URI, &tExists), CODE);
        EXPECT_EQ(tExists, 0u);
        expectLogged("FS cache: failed to get current time: " + text());
        mApp->clearRecords();
    }
    tExists = 7;
    FaultTable::fail("kprSetFileTime", CODE);
    EXPECT_EQ(mCache->hasObject(URI, &tExists), CODE);
    EXPECT_EQ(tExists, 0u);
    expectLogged("FS cache: failed to touch " + object() + ": " + text());
}

TEST_F(FSCacheFaultTest, aPinThatCannotTouchIsNotRecorded)
{
    initWithSmallObject();
    for (const char* tFunction : {"kprSetFileTime", "kprGetCurrentTime"}) {
        FaultTable::fail(tFunction, CODE);
        EXPECT_EQ(mCache->pinObject(URI), CODE);
        EXPECT_EQ(mCache->unpinObject(URI), 0x80070057u) << tFunction;
    }
    EXPECT_EQ(mCache->pinObject(URI), 0u);
    EXPECT_EQ(mCache->unpinObject(URI), 0u);
}

// Everything.

TEST_F(FSCacheFaultTest, anyFaultLeavesTheCacheUsable)
{
    init();
    const fw::CacheId tId = idOf(URI);
    uint32_t tExists = 0;
    const std::vector<std::function<uint32_t()>> tOperations = {
        [&] {
            return put(URI, {{"k", std::string(5000, 'v')}}, std::string(5000, 'd'));
        },
        [&] { return get(); },
        [&] { return mCache->getAttributes(URI, &mList); },
        [&] { return mCache->getObjectFile(&tId, &mBytes); },
        [&] { return mCache->hasObject(URI, &tExists); },
        [&] { return mCache->pinObject(URI); },
        [&] { return put(URI, {}, "again"); },
        [&] { return mCache->unpinObject(URI); },
    };
    const char* const tFunctions[] = {"kprOpenFile",    "kprCloseFile",       "kprRead",
                                      "kprWrite",       "kprSeekAndRead",     "kprSeekAndWrite",
                                      "kprGetFileInfo", "kprGetOpenFileInfo", "kprSetFileTime",
                                      "kprMoveFile",    "kprRemoveFile",      "kprGetTempFileName",
                                      "kprLockFile",    "kprUnlockFile",      "kprGetDirname",
                                      "kprGetBasename", "kprAppendToPath",    "kprGetCurrentTime",
                                      "kprMD5Init",     "kprMD5Update",       "kprMD5Final"};
    std::size_t tFaults = 0;
    for (const char* tFunction : tFunctions) {
        for (const uint32_t tCode : SWEPT_CODES) {
            for (uint32_t tNth = 1;; ++tNth) {
                const uint32_t tBefore = FaultTable::calls(tFunction);
                FaultTable::fail(tFunction, tCode, tNth);
                for (const auto& tOperation : tOperations) {
                    mList.clear();
                    mBytes.clear();
                    const uint32_t tRes = tOperation();
                    EXPECT_TRUE(tRes == 0 || KFAILED(tRes));
                }
                const bool tHappened = FaultTable::calls(tFunction) - tBefore >= tNth;
                FaultTable::closeLeftOpen("objects");
                // What did not happen must not happen to the next round.
                FaultTable::reset();
                FaultTable::captureThreads();
                while (mCache->unpinObject(URI) == 0) {
                }
                uint32_t tLocked = 7;
                EXPECT_EQ(kprIsFileLocked(inserted().c_str(), &tLocked), 0u);
                EXPECT_EQ(tLocked, 0u) << tFunction << ' ' << tNth;
                for (const auto& tFile : std::filesystem::directory_iterator(objectsDir()))
                    std::filesystem::remove(tFile);
                for (const auto& tOperation : tOperations)
                    ASSERT_EQ(tOperation(), 0u) << tFunction << ' ' << tNth << ' ' << text(tCode);
                std::filesystem::remove(fileOf(URI));
                if (!tHappened) break;
                ++tFaults;
            }
        }
    }
    EXPECT_GT(tFaults, 30 * std::size(SWEPT_CODES));
}

} // namespace

} // namespace vel::kos::kfw
