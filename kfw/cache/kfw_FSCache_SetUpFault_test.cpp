// Calls of the platform that fail while a cache is set up and while it names its objects.
#include "kfw/cache/testing/kfw_FSCache_FaultFixture.h"

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

TEST_F(FSCacheFaultTest, onlyNewCountersAreMadeDurable)
{
    for (const uint32_t tExpected : {2u, 0u}) { // then they are there
        FaultTable::reset();
        FaultTable::fail("kprSyncFile", CODE);
        mCache = kom::retain(new FSCache);
        init();
        ASSERT_EQ(put(URI, {}, "data"), 0u);
        EXPECT_EQ(FaultTable::calls("kprSyncFile"), tExpected);
    }
    EXPECT_EQ(counter("inserted"), 1u);
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
    gConversionAnswer = 0;
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
             [&] { return mCache->hasObject(URI, &tExists); }, [&] { return mCache->pinObjectById(&tId); },
             [&] { return mCache->unpinObjectById(&tId); }}) {
        mApp->clearRecords();
        FaultTable::fail("kprAppendToPath", CODE);
        EXPECT_EQ(tOperation(), CODE);
        expectAssertion("!KFAILED(tRes)");
    }
    EXPECT_EQ(fileCount(), 0u);
}

TEST_F(FSCacheFaultTest, laterPinsComposeThePathAsWell)
{
    initWithSmallObject();
    const fw::CacheId tId = idOf(URI);
    ASSERT_EQ(mCache->pinObjectById(&tId), 0u);
    FaultTable::fail("kprAppendToPath", CODE);
    EXPECT_EQ(mCache->pinObjectById(&tId), CODE);
    expectAssertion("!KFAILED(tRes)");
    FaultTable::fail("kprAppendToPath", CODE);
    EXPECT_EQ(mCache->unpinObjectById(&tId), CODE);
    EXPECT_EQ(mCache->unpinObjectById(&tId), 0u) << "neither failure changed the count";
    EXPECT_EQ(mCache->unpinObjectById(&tId), 0x80070057u);
}

TEST_F(FSCacheFaultTest, digestFailuresAreReturned)
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

} // namespace

} // namespace vel::kos::kfw
