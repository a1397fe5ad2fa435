// Calls of the platform that fail while objects are read, asked about and pinned.
#include "kfw/cache/testing/kfw_FSCache_FaultFixture.h"

#include <atomic>
#include <thread>

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

// Reading objects.

TEST_F(FSCacheFaultTest, reportsReadsThatFail)
{
    initWithLargeObject();
    struct Case {
        std::function<void()> arrange;
        uint32_t code;
        std::string message;
        bool attributesToo; ///< getAttributes returns the same
    };
    for (const Case& tCase : std::vector<Case>{
             {[] { FaultTable::fail("kprOpenFile", CODE); }, CODE,
              "FS cache: can't open " + object() + " for reading: " + text(), true},
             {[] { FaultTable::fail("kprGetOpenFileInfo", CODE); }, CODE,
              "FS cache: failed to get size of " + object() + ": " + text(), true},
             {[] {
                  FaultTable::fail("kprRead", KPR_E_IO);
                  FaultTable::fail("kprSeekAndRead", CODE);
              },
              CODE, "FS cache: error reading object header from " + object() + ": " + text(), true},
             {[] {
                  FaultTable::fail("kprRead", KPR_E_IO);
                  FaultTable::cutShort("kprSeekAndRead", 27);
              },
              0x80004005u,
              "FS cache: incomplete read of object header of " + object() + " (got only 27 bytes).", true},
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

TEST_F(FSCacheFaultTest, takesObjectsOf4096BytesInOneRead)
{
    init();
    for (const uint32_t tMore : {0u, 1u}) {
        // The header and the attribute take 48 bytes.
        ASSERT_EQ(put(URI, {{"key", "value"}}, std::string(4048 + tMore, 'd')), 0u);
        ASSERT_EQ(std::filesystem::file_size(object()), 4096 + tMore);
        const uint32_t tReads = FaultTable::calls("kprRead"),
                       tMoreReads = FaultTable::calls("kprSeekAndRead");
        EXPECT_EQ(get(), 0u);
        EXPECT_EQ(FaultTable::calls("kprRead"), tReads + 1);
        EXPECT_EQ(FaultTable::calls("kprSeekAndRead"), tMoreReads + tMore);
        std::filesystem::remove(object());
    }
}

TEST_F(FSCacheFaultTest, readsNoDataForAttributesAlone)
{
    initWithLargeObject();
    const uint32_t tReads = FaultTable::calls("kprSeekAndRead");
    EXPECT_EQ(mCache->getAttributes(URI, &mList), 0u);
    EXPECT_EQ(FaultTable::calls("kprSeekAndRead"), tReads + 1);
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(FaultTable::calls("kprSeekAndRead"), tReads + 3);
}

TEST_F(FSCacheFaultTest, readsExactlyWhereTheLargeReadFails)
{
    initWithSmallObject();
    const auto tFailFirst = [this] {
        mApp->clearRecords();
        FaultTable::fail("kprRead", KPR_E_IO);
    };
    tFailFirst();
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(toVector(mList), (Attributes{{"key", "value"}}));
    EXPECT_EQ(toString(mBytes), "data");
    EXPECT_TRUE(mApp->logLines().empty());

    // A file whose header and attributes can be read, and whose data cannot.
    tFailFirst();
    FaultTable::fail("kprSeekAndRead", CODE, 3);
    EXPECT_EQ(get(), CODE);
    expectLogged("FS cache: error reading data from " + object() + ": " + text());
    tFailFirst();
    EXPECT_EQ(mCache->getAttributes(URI, &mList), 0u);
    EXPECT_EQ(mList.mCount, 1u);
    tFailFirst();
    FaultTable::fail("kprSeekAndRead", CODE, 2);
    EXPECT_EQ(mCache->getAttributes(URI, &mList), CODE);
    expectLogged("FS cache: error reading attributes from " + object() + ": " + text());
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

TEST_F(FSCacheFaultTest, aTouchSetsBothTimes)
{
    initWithSmallObject();
    const KprTime tOld{1000000000, 0, 0};
    ASSERT_EQ(kprSetFileTime(object().c_str(), &tOld, &tOld), 0u);
    EXPECT_EQ(mCache->pinObject(URI), 0u);
    KprFileInfo tInfo{};
    ASSERT_EQ(kprGetFileInfo(object().c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_GT(tInfo.modified.seconds, tOld.seconds);
    EXPECT_GT(tInfo.accessed.seconds, tOld.seconds);
}

TEST_F(FSCacheFaultTest, aPinIsOneStepForOtherThreads)
{
    initWithSmallObject();
    const fw::CacheId tId = idOf(URI);
    struct Case {
        std::function<uint32_t()> operation;
        uint32_t answer;
    };
    for (const Case& tCase : {Case{[&] { return mCache->pinObjectById(&tId); }, 0u},
                              Case{[&] { return mCache->unpinObjectById(&tId); }, 0u}}) {
        std::atomic<bool> tDone = false;
        bool tCameIn = true;
        std::thread tOther;
        FaultTable::before("kprSetFileTime", [&] { // the pin is entered, and may yet be taken back
            tOther = std::thread([&] {
                EXPECT_EQ(tCase.operation(), tCase.answer);
                tDone = true;
            });
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            tCameIn = tDone;
        });
        EXPECT_EQ(mCache->pinObjectById(&tId), 0u);
        ASSERT_TRUE(tOther.joinable());
        tOther.join();
        EXPECT_FALSE(tCameIn);
        while (mCache->unpinObjectById(&tId) == 0) {
        }
    }
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

} // namespace

} // namespace vel::kos::kfw
