// Every operation of the cache with every platform call of it failing: nothing leaks, no wrong byte is
// returned, what was stored stays, and the next call works.
#include <algorithm>

#include "kfw/cache/testing/kfw_Counter.h"
#include "tests/reliability/FaultSweep.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr char TARGET[] = "http://example.com/target";
constexpr char SMALL[] = "http://example.com/small", LARGE[] = "http://example.com/large";
constexpr uint64_t INSERTED = 1000;

/// Whether a fault is in the writing of an object's file, and not in that of a counter.
bool isObjectWrite(const FaultPoint& pPoint)
{
    return pPoint.function == "kprWrite" && pPoint.occurrence == 1;
}

/// An object that says of every byte where it belongs. Attributes and data of the large ones lie beyond what
/// the first read of a file brings.
struct Stored {
    Attributes attributes;
    std::string data;
};

Stored describe(const std::string& pUri, std::size_t pSize)
{
    std::string tData;
    while (tData.size() < pSize)
        tData += pUri + ' ' + std::to_string(tData.size()) + '\n';
    return {{{"uri", pUri}, {"filler", tData.substr(0, pSize / 2)}}, tData};
}

class StoreSweepTest : public FaultSweep {
protected:
    void SetUp() override
    {
        init();
        for (const auto& [tUri, tSize] :
             {std::pair(SMALL, 20), std::pair(LARGE, 20000), std::pair(TARGET, 20000)}) {
            const Stored tObject = describe(tUri, static_cast<std::size_t>(tSize));
            ASSERT_EQ(put(tUri, tObject.attributes, tObject.data), 0u);
            mObjects[nameOf(tUri)] = {tUri, tObject};
        }
        mTargetId = idOf(TARGET);
        mTarget = describe(TARGET, 20000);
        mTargetFile = test::readFile(fileOf(TARGET));
        mKilobytes = (mTargetFile.size() + 1023) >> 10;
        mHandles = FaultTable::openHandles();
    }
    static void TearDownTestSuite() { printTotal(); }

    /// The directory as it was, with the object or without; everything older than pAge seconds.
    void arrange(bool pPresent, int64_t pAge = 0)
    {
        removeFiles(
            [this](const std::string& pName) { return pName != nameOf(SMALL) && pName != nameOf(LARGE); });
        if (pPresent) {
            test::writeFile(fileOf(TARGET), mTargetFile);
            makeOld(TARGET, pAge);
        }
        setCounter(cacheDir() / "inserted", INSERTED);
        while (mCache->unpinObjectById(&mTargetId) == 0) {
        }
    }
    void removeFiles(const std::function<bool(const std::string&)>& pWhich)
    {
        std::vector<std::filesystem::path> tPaths;
        for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
            if (pWhich(tEntry.path().filename().string())) tPaths.push_back(tEntry.path());
        for (const auto& tPath : tPaths)
            std::filesystem::remove(tPath);
    }
    /// The operation's own outputs, and what they are when it fails.
    void clearOutputs()
    {
        mList.clear();
        mBytes.clear();
    }

    uint32_t read(const std::string& pUri, Stored* pObject)
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        const uint32_t tResult = mCache->getObject(pUri.c_str(), &tList, &tBytes);
        *pObject = {toVector(tList), toString(tBytes)};
        return tResult;
    }
    void expectSame(const Stored& pObject, const Stored& pExpected)
    {
        EXPECT_EQ(pObject.attributes, pExpected.attributes);
        EXPECT_TRUE(pObject.data == pExpected.data) << pObject.data.size() << " bytes";
    }
    /// Whether the object is there; when it is, it is right.
    bool expectRightOrMissing()
    {
        Stored tObject;
        const uint32_t tResult = read(TARGET, &tObject);
        if (tResult == KPR_E_NOT_FOUND) return false;
        EXPECT_EQ(tResult, 0u);
        expectSame(tObject, mTarget);
        return true;
    }
    /// What holds after any fault in any operation.
    void expectIntact(const FaultPoint* pPoint)
    {
        const uint32_t tLeftOpen = FaultTable::openHandles() - mHandles;
        const uint32_t tLeaked = pPoint && isObjectWrite(*pPoint) ? 1u : 0u; // its file stays open
        if (pPoint)
            EXPECT_EQ(tLeftOpen, tLeaked);
        else
            EXPECT_LE(tLeftOpen, 1u);
        FaultTable::closeLeftOpen("objects");
        uint32_t tLocked = 7;
        EXPECT_EQ(kprIsFileLocked((cacheDir() / "inserted").string().c_str(), KPR_LOCK_EXCLUSIVE, &tLocked),
                  0u);
        EXPECT_EQ(tLocked, 0u);
        for (const auto& [tUri, tSize] : {std::pair(SMALL, 20), std::pair(LARGE, 20000)}) {
            Stored tObject;
            EXPECT_EQ(read(tUri, &tObject), 0u);
            expectSame(tObject, describe(tUri, static_cast<std::size_t>(tSize)));
        }
    }
    /// The files beside the three objects: temporary ones.
    std::size_t strayFiles()
    {
        std::size_t tCount = 0;
        for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
            tCount += !mObjects.contains(tEntry.path().filename().string());
        return tCount;
    }

    /// Sweeps an operation, with the checks that hold for all; afterwards it works once more.
    void sweepOne(const SweptOperation& pOperation)
    {
        SweptOperation tOperation = pOperation;
        tOperation.prepare = [&] {
            clearOutputs();
            pOperation.prepare();
        };
        tOperation.check = [&](uint32_t pResult, const FaultPoint* pPoint) {
            pOperation.check(pResult, pPoint);
            expectIntact(pPoint);
            // What is left is the same for every code.
            if (!pPoint || pPoint->fault.code == 0 || isFirstFault(pPoint->fault)) {
                tOperation.prepare();
                EXPECT_EQ(pOperation.run(), pOperation.result) << "the next time";
            }
            FaultTable::forgetRules();
            clearOutputs();
            mApp->clearRecords();
        };
        sweep(tOperation);
    }
    /// The same for an operation that stores the object, into a directory that has it or not.
    void sweepStore(const std::string& pName, bool pPresent, const std::function<uint32_t()>& pRun,
                    bool pPositioned = true, bool pReadsAhead = false)
    {
        SweptOperation tOperation;
        tOperation.name = pName;
        // Where the first read, which takes more than it has to, fails, exact ones follow.
        if (pReadsAhead)
            tOperation.otherResult = [](const FaultPoint& pPoint) {
                const bool tAhead = pPoint.isIn({"kprRead#1"}) && pPoint.fault.code != 0;
                return tAhead ? std::optional<uint32_t>(0) : std::nullopt;
            };
        tOperation.prepare = [this, pPresent, pPositioned] {
            arrange(pPresent, 5000);
            if (!pPositioned) refusePositionedTransfers();
        };
        tOperation.run = pRun;
        tOperation.tolerated = {"kprLockFile", "kprUnlockFile"};
        tOperation.otherResult = [](const FaultPoint& pPoint) -> std::optional<uint32_t> {
            if (isObjectWrite(pPoint) && pPoint.fault.code == 0) return 0; // it is only reported
            return {};
        };
        if (!pPositioned) tOperation.refused = {"kprSeekAndRead", "kprSeekAndWrite"};
        if (pPresent) tOperation.tolerated.insert("kprRemoveFile");
        tOperation.check = [this, pPresent](uint32_t pResult, const FaultPoint* pPoint) {
            const bool tThere = expectRightOrMissing();
            const uint64_t tCounted = counter("inserted") - INSERTED;
            EXPECT_TRUE(tCounted == 0 || tCounted == mKilobytes) << tCounted;
            EXPECT_LE(strayFiles(), 1u);
            if (pPresent) {
                EXPECT_TRUE(tThere);
            }
            if (!pPoint) return;
            const bool tShort = isObjectWrite(*pPoint) && pPoint->fault.code == 0;
            if (pResult == 0) {
                EXPECT_EQ(tThere, pPresent || !tShort);
                EXPECT_EQ(tCounted, pPresent && !tShort ? 0u : mKilobytes);
            } else {
                EXPECT_EQ(tCounted, 0u);
            }
            const std::set<std::string> tLeaves = {"kprOpenFile", "kprWrite#1", "kprCloseFile",
                                                   "kprRemoveFile"};
            EXPECT_EQ(strayFiles(), pPoint->isIn(tLeaves) ? 1u : 0u);
        };
        sweepOne(tOperation);
    }
    /// The same for an operation that reads the object, or finds that it is missing.
    void sweepRead(const std::string& pName, bool pPresent, const std::function<uint32_t()>& pRun,
                   const std::function<void(bool pRead)>& pCheckOutput,
                   const std::set<std::string>& pTolerated = {"kprLockFile", "kprUnlockFile", "kprCloseFile"},
                   bool pPositioned = true, bool pReadsAhead = false)
    {
        SweptOperation tOperation;
        tOperation.name = pName;
        // Where the first read, which takes more than it has to, fails, exact ones follow.
        if (pReadsAhead)
            tOperation.otherResult = [](const FaultPoint& pPoint) {
                const bool tAhead = pPoint.isIn({"kprRead#1"}) && pPoint.fault.code != 0;
                return tAhead ? std::optional<uint32_t>(0) : std::nullopt;
            };
        tOperation.prepare = [this, pPresent, pPositioned] {
            arrange(pPresent);
            if (!pPositioned) refusePositionedTransfers();
        };
        tOperation.run = pRun;
        tOperation.tolerated = pTolerated;
        if (!pPositioned) tOperation.refused = {"kprSeekAndRead", "kprSeekAndWrite"};
        tOperation.result = pPresent ? 0 : KPR_E_NOT_FOUND;
        tOperation.check = [this, pPresent, pCheckOutput](uint32_t pResult, const FaultPoint*) {
            pCheckOutput(pResult == 0);
            EXPECT_EQ(expectRightOrMissing(), pPresent);
            EXPECT_EQ(counter("inserted"), INSERTED);
            EXPECT_EQ(strayFiles(), 0u);
        };
        sweepOne(tOperation);
    }
    void refusePositionedTransfers()
    {
        FaultTable::fail("kprSeekAndRead", E_NOT_SUPPORTED, 1, UINT32_MAX);
        FaultTable::fail("kprSeekAndWrite", E_NOT_SUPPORTED, 1, UINT32_MAX);
    }
    /// A pin, or its end; the object is there with an old time, or is not there.
    void sweepPin(const std::string& pName, bool pPresent, bool pPinned,
                  const std::function<uint32_t()>& pRun)
    {
        SweptOperation tOperation;
        tOperation.name = pName;
        tOperation.prepare = [this, pPresent, pPinned] {
            arrange(pPresent, 5000);
            if (!pPinned) return;
            EXPECT_EQ(mCache->pinObjectById(&mTargetId), 0u);
            makeOld(TARGET, 5000);
        };
        tOperation.run = pRun;
        tOperation.result = pPresent ? 0 : KPR_E_NOT_FOUND;
        tOperation.check = [this, pPresent, pPinned](uint32_t pResult, const FaultPoint*) {
            EXPECT_EQ(expectRightOrMissing(), pPresent);
            const bool tPinned = mCache->unpinObjectById(&mTargetId) == 0;
            EXPECT_EQ(tPinned, pPinned != (pResult == 0)) << "what fails changes nothing";
            if (!pPinned && pResult == 0) {
                KprTime tNow;
                EXPECT_EQ(kprGetCurrentTime(&tNow), 0u);
                EXPECT_GE(modifiedSeconds(TARGET), tNow.seconds - 60);
            }
        };
        sweepOne(tOperation);
    }

    struct Named {
        std::string uri;
        Stored object;
    };
    std::map<std::string, Named> mObjects; ///< by file name
    Stored mTarget;
    fw::CacheId mTargetId{};
    std::string mTargetFile;
    uint64_t mKilobytes = 0;
    uint32_t mHandles = 0;
    fw::CacheAttrList mList;
    fw::CacheBytes mBytes;
    fw::CacheId mId{};
    uint32_t mExists = 0;

    const std::function<uint32_t()> mPut = [this] { return put(TARGET, mTarget.attributes, mTarget.data); };
    const std::function<uint32_t()> mPutFile = [this] {
        const fw::CacheBytes tBytes = makeBytes(mTargetFile);
        return mCache->putObjectFile(&mTargetId, &tBytes);
    };
    const std::function<uint32_t()> mGet = [this] {
        mList = makeList({{"left", "over"}});
        mBytes = makeBytes("left over");
        return mCache->getObject(TARGET, &mList, &mBytes);
    };
    const std::function<void(bool)> mCheckGot = [this](bool pRead) {
        expectSame({toVector(mList), toString(mBytes)}, pRead ? mTarget : Stored{});
        clearOutputs();
    };
};

TEST_F(StoreSweepTest, putObject) { sweepStore("putObject, new", false, mPut); }
TEST_F(StoreSweepTest, putObjectThatIsThere) { sweepStore("putObject, there already", true, mPut); }
TEST_F(StoreSweepTest, putObjectFile) { sweepStore("putObjectFile, new", false, mPutFile); }
TEST_F(StoreSweepTest, putObjectFileThatIsThere)
{
    sweepStore("putObjectFile, there already", true, mPutFile);
}
TEST_F(StoreSweepTest, putObjectWithoutPositionedTransfers)
{
    sweepStore("putObject, without positioned transfers", false, mPut, false);
}

TEST_F(StoreSweepTest, getObject)
{
    sweepRead("getObject", true, mGet, mCheckGot, {"kprLockFile", "kprUnlockFile", "kprCloseFile"}, true,
              true);
}
TEST_F(StoreSweepTest, getObjectThatIsMissing) { sweepRead("getObject, missing", false, mGet, mCheckGot); }
TEST_F(StoreSweepTest, getObjectWithoutPositionedTransfers)
{
    sweepRead("getObject, without positioned transfers", true, mGet, mCheckGot,
              {"kprLockFile", "kprUnlockFile", "kprCloseFile"}, false, true);
}

TEST_F(StoreSweepTest, getAttributes)
{
    for (const bool tPresent : {true, false})
        sweepRead(
            tPresent ? "getAttributes" : "getAttributes, missing", tPresent,
            [this] {
                mList = makeList({{"left", "over"}});
                return mCache->getAttributes(TARGET, &mList);
            },
            [this](bool pRead) {
                EXPECT_EQ(toVector(mList), pRead ? mTarget.attributes : Attributes());
                clearOutputs();
            },
            {"kprLockFile", "kprUnlockFile", "kprCloseFile"}, true, tPresent);
}

TEST_F(StoreSweepTest, getObjectFile)
{
    for (const bool tPresent : {true, false})
        sweepRead(
            tPresent ? "getObjectFile" : "getObjectFile, missing", tPresent,
            [this] {
                mBytes = makeBytes("as it was");
                return mCache->getObjectFile(&mTargetId, &mBytes);
            },
            [this](bool pRead) {
                EXPECT_TRUE(toString(mBytes) == (pRead ? mTargetFile : "as it was"));
                clearOutputs();
            });
}

TEST_F(StoreSweepTest, computeCacheId)
{
    sweepRead(
        "computeCacheId", true,
        [this] {
            mId = {};
            return mCache->computeCacheId(TARGET, &mId);
        },
        [this](bool pRead) {
            const fw::CacheId tExpected = pRead ? mTargetId : fw::CacheId{};
            EXPECT_TRUE(
                std::equal(std::begin(mId.mBytes), std::end(mId.mBytes), std::begin(tExpected.mBytes)));
        },
        {});
}

TEST_F(StoreSweepTest, hasObject)
{
    struct Case {
        const char* name;
        bool present;
        int64_t age;
    };
    for (const Case& tCase : {Case{"hasObject, missing", false, 0}, Case{"hasObject, fresh", true, 800},
                              Case{"hasObject, old", true, 1200}}) {
        SweptOperation tOperation;
        tOperation.name = tCase.name;
        tOperation.prepare = [&] { arrange(tCase.present, tCase.age); };
        tOperation.run = [this] {
            mExists = 7;
            return mCache->hasObject(TARGET, &mExists);
        };
        tOperation.tolerated = {"kprLockFile", "kprUnlockFile"};
        tOperation.check = [&](uint32_t pResult, const FaultPoint*) {
            EXPECT_EQ(mExists, pResult == 0 && tCase.present ? 1u : 0u);
            KprTime tNow;
            EXPECT_EQ(kprGetCurrentTime(&tNow), 0u);
            if (tCase.present) {
                const bool tTouched = modifiedSeconds(TARGET) >= tNow.seconds - 60;
                EXPECT_EQ(tTouched, pResult == 0 && tCase.age > 900);
            }
            EXPECT_EQ(expectRightOrMissing(), tCase.present);
        };
        sweepOne(tOperation);
    }
}

TEST_F(StoreSweepTest, pinObject)
{
    const auto tPin = [this] { return mCache->pinObject(TARGET); };
    sweepPin("pinObject", true, false, tPin);
    sweepPin("pinObject, missing", false, false, tPin);
    sweepPin("pinObjectById", true, false, [this] { return mCache->pinObjectById(&mTargetId); });
}

TEST_F(StoreSweepTest, unpinObject)
{
    sweepPin("unpinObject", true, true, [this] { return mCache->unpinObject(TARGET); });
    sweepPin("unpinObjectById", true, true, [this] { return mCache->unpinObjectById(&mTargetId); });
}

} // namespace

} // namespace vel::kos::kfw
