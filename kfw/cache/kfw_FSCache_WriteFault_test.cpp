// Calls of the platform that fail while an object is stored: files, lock, counter.
#include "kfw/cache/testing/kfw_FSCache_FaultFixture.h"

#include <cstdlib>
#include <future>
#include <thread>

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

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

TEST_F(FSCacheFaultTest, aShortWriteReturnsSuccess)
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

    // Another thread gets in; it would wait for ever.
    std::promise<uint32_t> tDone;
    std::thread tOther([&] { tDone.set_value(get()); });
    auto tResult = tDone.get_future();
    const bool tInTime = tResult.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    if (!tInTime) std::abort(); // nobody can end the thread
    EXPECT_EQ(tResult.get(), 0u);
    tOther.join();
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
        EXPECT_EQ(kprIsFileLocked(inserted().c_str(), KPR_LOCK_EXCLUSIVE, &tLockedAfter), 0u);
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
    EXPECT_EQ(kprIsFileLocked(inserted().c_str(), KPR_LOCK_EXCLUSIVE, &tLockedAfter), 0u);
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
                           {"kprOpenFile", false, [&] { return mCache->getObjectFile(&tId, &mBytes); }},
                           {"kprRead", false, [&] { return mCache->getObjectFile(&tId, &mBytes); }},
                           {"kprCloseFile", false, [&] { return mCache->getObjectFile(&tId, &mBytes); }},
                           {"kprGetFileInfo", false, [&] { return mCache->hasObject(URI, &tExists); }},
                           {"kprSetFileTime", false, [&] { return mCache->hasObject(URI, &tExists); }}}) {
        bool tRan = false;
        makeOld(URI, 5000);
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

} // namespace

} // namespace vel::kos::kfw
