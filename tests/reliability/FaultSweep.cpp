#include "tests/reliability/FaultSweep.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "kom/identity.h"

namespace vel::kos::kfw {

using test::FaultTable;

namespace {

// What the errors of the two systems become: no space, i/o error, no permission, stale handle of a file
// server and interruption; no permission, sharing violation, lock violation and full disk. One of them is
// enough to look for races.
#if defined(_WIN32)
constexpr uint32_t CODES[] = {KPR_E_ACCESS_DENIED, KPR_E_IN_USE, KPR_E_LOCKED, KPR_E_NO_SPACE};
constexpr bool PAIRS = false; // the code is the same, and under Wine file operations take long
#elif defined(__SANITIZE_THREAD__)
constexpr uint32_t CODES[] = {KPR_E_IO};
constexpr bool PAIRS = false;
#else
constexpr uint32_t CODES[] = {KPR_E_NO_SPACE, KPR_E_IO, KPR_E_ACCESS_DENIED, KPR_E_STALE, KPR_E_INTERRUPTED};
constexpr bool PAIRS = true;
#endif

/// Short of everything that the cache reads or writes in one call.
constexpr uint32_t LIMITS[] = {0, 5};

struct Total {
    uint32_t operations = 0, calls = 0, points = 0, reached = 0, pairs = 0;
} gTotal;

/// The functions that the swept operations called.
std::set<std::string> gCalled;

/// The calls that the cache's sources make. Not among them: kprThreadDetach, when a cache's last file is
/// closed after its thread ended, and kprGetRealPath, where a directory is reached through a link; nobody
/// looks at their codes.
const std::set<std::string> CALLS = {"kprAppendToPath",
                                     "kprCheckLink",
                                     "kprCloseDir",
                                     "kprCloseFile",
                                     "kprGetBasename",
                                     "kprGetCurrentTime",
                                     "kprGetDirname",
                                     "kprGetFileInfo",
                                     "kprGetMonotonicTime",
                                     "kprGetOpenFileInfo",
                                     "kprGetTempFileName",
                                     "kprLockFile",
                                     "kprMD5Final",
                                     "kprMD5Init",
                                     "kprMD5Update",
                                     "kprMakeDir",
                                     "kprMoveFile",
                                     "kprOpenDir",
                                     "kprOpenFile",
                                     "kprPinModule",
                                     "kprRead",
                                     "kprReadDir",
                                     "kprRemoveFile",
                                     "kprSeek",
                                     "kprSeekAndRead",
                                     "kprSeekAndWrite",
                                     "kprSetFileTime",
                                     "kprSleep",
                                     "kprSyncFile",
                                     "kprThreadCreate",
                                     "kprUnlockFile",
                                     "kprWrite"};

/// At the end of a whole run: each of them was made to fail, and none that is not known.
class CoverageCheck : public testing::Environment {
    void TearDown() override
    {
        const auto* tRun = testing::UnitTest::GetInstance();
        if (tRun->test_to_run_count() == tRun->total_test_count()) {
            EXPECT_EQ(gCalled, CALLS);
        }
    }
};
[[maybe_unused]] const testing::Environment* const gCoverageCheck =
    testing::AddGlobalTestEnvironment(new CoverageCheck);

bool isTransfer(const std::string& pFunction)
{
    static const std::set<std::string> tTransfers = {"kprRead", "kprWrite", "kprSeekAndRead",
                                                     "kprSeekAndWrite"};
    return tTransfers.contains(pFunction);
}

std::vector<Fault> faultsOf(const std::string& pFunction)
{
    std::vector<Fault> tFaults;
    for (const uint32_t tCode : CODES)
        tFaults.push_back({tCode, 0});
    if (isTransfer(pFunction))
        for (const uint32_t tLimit : LIMITS)
            tFaults.push_back({0, tLimit});
    return tFaults;
}

void arm(const FaultPoint& pPoint)
{
    if (pPoint.fault.code)
        FaultTable::fail(FaultTable::ANY, pPoint.fault.code, pPoint.call);
    else
        FaultTable::cutShort(FaultTable::ANY, pPoint.fault.limit, pPoint.call);
}

KomHeapStats heapStats()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats;
}

} // namespace

std::string toText(const Fault& pFault)
{
    return pFault.code ? komStrError(pFault.code) : "at most " + std::to_string(pFault.limit) + " bytes";
}

bool isFirstFault(const Fault& pFault) { return pFault.code == CODES[0]; }

bool FaultPoint::isIn(const std::set<std::string>& pCalls) const
{
    return pCalls.contains(function) || pCalls.contains(function + "#" + std::to_string(occurrence));
}

std::vector<std::string> FaultSweep::traceOf(const SweptOperation& pOperation)
{
    pOperation.prepare();
    const std::size_t tBefore = FaultTable::trace().size();
    FaultTable::recordTrace();
    EXPECT_EQ(pOperation.run(), pOperation.result) << pOperation.name;
    auto tTrace = FaultTable::trace();
    tTrace.erase(tTrace.begin(), tTrace.begin() + static_cast<std::ptrdiff_t>(tBefore));
    pOperation.check(pOperation.result, nullptr);
    return tTrace;
}

uint32_t FaultSweep::runWith(const SweptOperation& pOperation, const std::vector<FaultPoint>& pPoints,
                             bool* pReached)
{
    const uint32_t tStanding = FaultTable::pending();
    for (const FaultPoint& tPoint : pPoints)
        arm(tPoint);
    const uint32_t tResult = pOperation.run();
    *pReached = FaultTable::pending() == tStanding;
    FaultTable::forgetRules();
    return tResult;
}

void FaultSweep::expectResult(const SweptOperation& pOperation, const FaultPoint& pPoint, uint32_t pResult)
{
    uint32_t tExpected = pPoint.fault.code ? pPoint.fault.code : E_FAIL;
    if (pPoint.isIn(pOperation.tolerated)) tExpected = pOperation.result;
    if (pOperation.otherResult) tExpected = pOperation.otherResult(pPoint).value_or(tExpected);
    EXPECT_EQ(pResult, tExpected);
}

void FaultSweep::sweepPoint(const SweptOperation& pOperation, const FaultPoint& pPoint)
{
    SCOPED_TRACE(pOperation.name + ": call " + std::to_string(pPoint.call) + ", " + pPoint.function + "#" +
                 std::to_string(pPoint.occurrence) + ": " + toText(pPoint.fault));
    pOperation.prepare();
    const KomHeapStats tBefore = heapStats();
    bool tReached = false;
    const uint32_t tResult = runWith(pOperation, {pPoint}, &tReached);
    ++gTotal.points;
    gTotal.reached += tReached;
    EXPECT_TRUE(tReached);
    expectResult(pOperation, pPoint, tResult);
    pOperation.check(tResult, &pPoint);
    EXPECT_EQ(heapStats().liveBlocks, tBefore.liveBlocks);
    EXPECT_EQ(heapStats().liveObjects, tBefore.liveObjects);
}

void FaultSweep::sweepPairs(const SweptOperation& pOperation, const FaultPoint& pFirst, uint32_t* pPoints)
{
    for (FaultPoint tSecond = pFirst; tSecond.call - pFirst.call < pOperation.pairSpan;) {
        ++tSecond.call;
        tSecond.fault = {KPR_E_IO, 0};
        SCOPED_TRACE(pOperation.name + ": call " + std::to_string(pFirst.call) + ", " + pFirst.function +
                     ": " + toText(pFirst.fault) + ", then call " + std::to_string(tSecond.call));
        pOperation.prepare();
        const KomHeapStats tBefore = heapStats();
        bool tReached = false;
        const uint32_t tResult = runWith(pOperation, {pFirst, tSecond}, &tReached);
        EXPECT_TRUE(tResult == pOperation.result || KFAILED(tResult)) << tResult;
        pOperation.check(tResult, nullptr);
        EXPECT_EQ(heapStats().liveBlocks, tBefore.liveBlocks);
        EXPECT_EQ(heapStats().liveObjects, tBefore.liveObjects);
        if (!tReached) return; // the operation had ended
        ++*pPoints;
    }
}

void FaultSweep::sweep(const SweptOperation& pOperation)
{
    const std::vector<std::string> tTrace = traceOf(pOperation);
    const Total tBefore = gTotal;
    std::map<std::string, uint32_t> tOccurrences;
    for (uint32_t i = 0; i < tTrace.size(); ++i) {
        gCalled.insert(tTrace[i]);
        FaultPoint tPoint{i + 1, tTrace[i], ++tOccurrences[tTrace[i]], {}};
        for (const Fault& tFault : faultsOf(tTrace[i])) {
            tPoint.fault = tFault;
            if (tFault.code == 0 && tPoint.isIn(pOperation.refused)) continue;
            sweepPoint(pOperation, tPoint);
        }
        if (!PAIRS) continue;
        tPoint.fault = {KPR_E_STALE, 0};
        sweepPairs(pOperation, tPoint, &gTotal.pairs);
    }
    ++gTotal.operations;
    gTotal.calls += static_cast<uint32_t>(tTrace.size());
    const uint32_t tPoints = gTotal.points - tBefore.points, tReached = gTotal.reached - tBefore.reached;
    std::printf("[ SWEEP    ] %s: %zu calls, %u of %u fault points reached, %u pairs\n",
                pOperation.name.c_str(), tTrace.size(), tReached, tPoints, gTotal.pairs - tBefore.pairs);
    RecordProperty("calls", static_cast<int>(tTrace.size()));
    RecordProperty("fault_points", static_cast<int>(tPoints));
    RecordProperty("fault_points_reached", static_cast<int>(tReached));
}

void FaultSweep::printTotal()
{
    std::printf("[ SWEEP    ] so far: %u operations, %u calls, %u of %u fault points reached, %u pairs\n",
                gTotal.operations, gTotal.calls, gTotal.reached, gTotal.points, gTotal.pairs);
}

} // namespace vel::kos::kfw
