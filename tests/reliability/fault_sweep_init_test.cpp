// Setting up a cache with every platform call of it failing.
#include "kfw/cache/testing/kfw_Counter.h"
#include "tests/reliability/FaultSweep.h"

namespace vel::kos::kfw {

namespace {

using test::FaultTable;

constexpr char URI[] = "http://example.com/";
constexpr uint64_t INSERTED = 1000;

class InitSweepTest : public FaultSweep {
protected:
    static void TearDownTestSuite() { printTotal(); }

    /// Ends the cache and its thread, and checks that nothing else of it was left open.
    void endCache(uint32_t pMayBeOpen)
    {
        mCache.reset();
        FaultTable::fail("kprLockFile", KPR_E_IO, 1, UINT32_MAX); // the thread's first step
        while (mThreadsRun < FaultTable::capturedThreads().size())
            runThread();
        EXPECT_LE(FaultTable::openHandles(), pMayBeOpen);
        FaultTable::closeLeftOpen("cache");
        startAnew();
    }
    std::size_t strayFiles() const
    {
        std::error_code tMissing;
        std::size_t tCount = 0;
        for (const auto& tEntry : std::filesystem::directory_iterator(cacheDir(), tMissing)) {
            const std::string tName = tEntry.path().filename().string();
            tCount += tName != "objects" && tName != "inserted" && tName != "cleaned";
        }
        return tCount;
    }
    void expectStored()
    {
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        EXPECT_EQ(mCache->getObject(URI, &tList, &tBytes), 0u);
        EXPECT_EQ(toVector(tList), (Attributes{{"key", "value"}}));
        EXPECT_EQ(toString(tBytes), "data");
    }
    void checkOutcome(uint32_t pResult, const FaultPoint* pPoint, bool pExists)
    {
        EXPECT_EQ(FaultTable::capturedThreads().size(), pResult == 0 ? 1u : 0u);
        EXPECT_EQ(mCache->init(mApp.get()), E_WRONG_STATE) << "once is once";
        uint32_t tAtMost = 0;
        if (!pPoint) {
            tAtMost = 2;
        } else if (pPoint->isIn({"kprOpenFile#1", "kprOpenFile#3", "kprWrite", "kprCloseFile",
                                 "kprRemoveFile", "kprGetFileInfo"})) {
            tAtMost = 1;
        }
        EXPECT_LE(strayFiles(), tAtMost);
        if (pResult == 0) {
            EXPECT_EQ(put(URI, {{"key", "value"}}, "data"), 0u);
            expectStored();
        }
        endCache(!pPoint || pPoint->function == "kprWrite" ? 1 : 0);
        EXPECT_EQ(mCache->init(mApp.get()), 0u) << "the next one";
        EXPECT_EQ(put(URI, {{"key", "value"}}, "data"), 0u);
        expectStored();
        EXPECT_EQ(counter("inserted"), pExists ? INSERTED : 1u);
        EXPECT_EQ(counter("cleaned"), 0u);
        endCache(0);
        mApp->clearRecords();
    }
    SweptOperation operation(const std::string& pName, bool pExists)
    {
        SweptOperation tOperation;
        tOperation.name = pName;
        tOperation.prepare = [this, pExists] {
            startAnew();
            if (!pExists) {
                std::filesystem::remove_all(cacheDir());
                return;
            }
            for (const auto& tEntry : std::filesystem::directory_iterator(cacheDir()))
                if (tEntry.path().extension() != "" || tEntry.path().filename().string().size() > 8)
                    std::filesystem::remove(tEntry.path());
            setCounter(cacheDir() / "inserted", INSERTED);
        };
        tOperation.run = [this] { return mCache->init(mApp.get()); };
        tOperation.check = [this, pExists](uint32_t pResult, const FaultPoint* pPoint) {
            checkOutcome(pResult, pPoint, pExists);
        };
        return tOperation;
    }
};

/// The clock of the file system is only looked at; what fails there leaves the offset at 0.
TEST_F(InitSweepTest, makesEverything)
{
    SweptOperation tOperation = operation("init, nothing there", false);
    tOperation.tolerated = {
        "kprGetFileInfo#2",     "kprGetFileInfo#3", // whether the counters are there
        "kprGetTempFileName#3", "kprGetFileInfo#4", "kprRemoveFile",
        "kprGetCurrentTime",    "kprSyncFile"}; // what cannot be made durable is made all the same
    tOperation.otherResult = [](const FaultPoint& pPoint) -> std::optional<uint32_t> {
        // A directory is missing, or cannot be used.
        if (pPoint.isIn({"kprGetFileInfo#1", "kprMakeDir", "kprCheckLink"})) return E_FAIL;
        // A short write is only reported; then the counter is missing.
        if (pPoint.function == "kprWrite" && pPoint.fault.code == 0) return KPR_E_NOT_FOUND;
        return {};
    };
    sweep(tOperation);
}

TEST_F(InitSweepTest, findsEverythingThere)
{
    init();
    ASSERT_EQ(put(URI, {{"key", "value"}}, "data"), 0u);
    SweptOperation tOperation = operation("init, everything there", true);
    tOperation.tolerated = {"kprMakeDir",         "kprGetFileInfo#4", "kprGetFileInfo#5", "kprGetFileInfo#6",
                            "kprGetTempFileName", "kprRemoveFile",    "kprGetCurrentTime"};
    tOperation.otherResult = [](const FaultPoint& pPoint) -> std::optional<uint32_t> {
        if (pPoint.function == "kprGetFileInfo" && pPoint.occurrence <= 3) return E_FAIL; // the directories
        if (pPoint.function == "kprCheckLink") return E_FAIL;
        return {};
    };
    sweep(tOperation);
}

} // namespace

} // namespace vel::kos::kfw
