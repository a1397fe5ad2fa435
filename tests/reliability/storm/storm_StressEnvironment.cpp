#include "tests/reliability/storm/storm_StressEnvironment.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/format/kfw_ObjectFile.h"
#include "kpr/byteorder.h"
#include "kpr/codes.h"
#include "kpr/dso.h"
#include "tests/reliability/storm/storm_Values.h"

namespace vel::kos::storm {

namespace {

/// The longest life of a worker whose driver is gone.
constexpr int64_t LIFE_SECONDS = 3600;

void require(uint32_t pResult, const std::string& pWhat)
{
    if (KFAILED(pResult)) throw std::runtime_error(pWhat + " failed with " + std::to_string(pResult));
}

std::string workerProgram()
{
    std::filesystem::path tPath = std::filesystem::path(kprGetProgramPath()).parent_path() / "storm_Worker";
#if defined(_WIN32)
    tPath += ".exe";
#endif
    return tPath.string();
}

/// An open file that is closed with its lock.
class File {
public:
    File(const std::filesystem::path& pPath, uint32_t pMode) : mPath(pPath.string())
    {
        require(kprOpenFile(mPath.c_str(), pMode, &mFile), mPath);
    }
    ~File() { kprCloseFile(mFile); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    KprFile get() const { return mFile; }

private:
    std::string mPath;
    KprFile mFile = KPR_NO_FILE;
};

/// A counter's bytes; nothing when there are not 8.
std::optional<uint64_t> readCounter(const std::filesystem::path& pPath)
{
    const File tFile(pPath, KPR_OPEN_READ);
    uint64_t tBytes[2] = {};
    uint32_t tRead = 0;
    require(kprRead(tFile.get(), tBytes, sizeof tBytes, &tRead), pPath.string());
    if (tRead != 8) return std::nullopt;
    return kprBE2Host64(tBytes[0]);
}

std::string bigEndian(uint64_t pValue)
{
    const uint64_t tBytes = kprHost2BE64(pValue);
    return {reinterpret_cast<const char*>(&tBytes), sizeof tBytes};
}

} // namespace

void Figures::add(const Figures& pOther)
{
    rounds += pOther.rounds;
    processes += pOther.processes;
    kills += pOther.kills;
    operations += pOther.operations;
    checked += pOther.checked;
    pinChecks += pOther.pinChecks;
    stored += pOther.stored;
    removed += pOther.removed;
    wrong += pOther.wrong;
    lostPins += pOther.lostPins;
    latePins += pOther.latePins;
    interrupted += pOther.interrupted;
    driftKb += pOther.driftKb;
    strays += pOther.strays;
    elections += pOther.elections;
    worstTakeOverMs = std::max(worstTakeOverMs, pOther.worstTakeOverMs);
    longestRoundMs = std::max(longestRoundMs, pOther.longestRoundMs);
    failures.insert(failures.end(), pOther.failures.begin(), pOther.failures.end());
}

Rows Figures::rows() const
{
    return {{"rounds", rounds},
            {"processes", processes},
            {"kills", kills},
            {"operations", operations},
            {"values checked", checked},
            {"of pinned objects", pinChecks},
            {"wrong values", wrong},
            {"lost pins", lostPins},
            {"pins of processes held up", latePins},
            {"objects stored", stored},
            {"files removed", removed},
            {"interrupted stores and removals", interrupted},
            {"counter drift (KB)", driftKb},
            {"temporary files left", strays},
            {"elections", elections},
            {"worst take-over (scaled ms)", worstTakeOverMs},
            {"longest cleaner round (scaled ms)", longestRoundMs},
            {"failures", failures.size()}};
}

StressEnvironment::StressEnvironment(uint32_t pSpeed) : mSpeed(pSpeed)
{
    KprTime tNow;
    require(kprGetCurrentTime(&tNow), "kprGetCurrentTime");
    mEpoch = tNow.seconds * 1000000 + tNow.microseconds;
    std::filesystem::create_directories(mUserDir);
}

void StressEnvironment::prepare(const Counters& pCounters)
{
    std::filesystem::create_directories(objectsDir());
    test::writeFile(mUserDir / "cache" / "inserted", bigEndian(pCounters.inserted));
    test::writeFile(mUserDir / "cache" / "cleaned", bigEndian(pCounters.cleaned));
}

void StressEnvironment::makeObject(const std::string& pUri, uint32_t pLimit, unsigned pSeed,
                                   int64_t pAgeSeconds)
{
    std::mt19937 tRandom(pSeed);
    const Value tValue = makeValue(pUri, pLimit, tRandom);
    kfw::ObjectImage tImage;
    if (!kfw::composeObject(pUri, tValue.attributes, tValue.data, &tImage).empty())
        throw std::runtime_error("cannot compose " + pUri);
    const std::filesystem::path tPath = objectsDir() / objectName(pUri);
    // Under another name first: workers may be looking.
    const std::filesystem::path tTemp = mDir.path() / "new";
    test::writeFile(tTemp, {reinterpret_cast<const char*>(tImage.bytes.get()), tImage.size});
    setAge(tTemp, pAgeSeconds);
    kprMoveFile(tTemp.string().c_str(), tPath.string().c_str());
    kprRemoveFile(tTemp.string().c_str());
}

void StressEnvironment::setAge(const std::filesystem::path& pPath, int64_t pAgeSeconds)
{
    KprTime tNow;
    require(kprGetCurrentTime(&tNow), "kprGetCurrentTime");
    const TimeScale tScale{mEpoch, mSpeed};
    KprTime tThen = tScale.toScaled(tNow);
    tThen.seconds -= pAgeSeconds;
    tThen = tScale.toReal(tThen);
    require(kprSetFileTime(pPath.string().c_str(), &tThen, &tThen), pPath.string());
}

void StressEnvironment::makeAllOld(int64_t pAgeSeconds)
{
    for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
        setAge(tEntry.path(), pAgeSeconds);
}

Worker& StressEnvironment::start(const std::string& pMode, WorkerOptions pOptions)
{
    Worker& tWorker = mWorkers.emplace_back();
    tWorker.number = static_cast<unsigned>(mWorkers.size());
    const std::string tLog = (mDir.path() / ("log-" + std::to_string(tWorker.number))).string();
    pOptions.set("mode", pMode).set("epoch", mEpoch).set("speed", mSpeed).set("seconds", LIFE_SECONDS);
    pOptions.set("stop", (mDir.path() / "stop").string());
    if (pOptions.text("seed").empty()) pOptions.set("seed", tWorker.number);
    std::vector<std::string> tWords = pOptions.words();
    tWords.insert(tWords.begin(), {tLog, mUserDir.string()});
    tWorker.logPath = tLog;
    tWorker.log = std::make_unique<OperationLogReader>(tLog);
    tWorker.process = std::make_unique<kprtest::ChildProcess>(tWords, workerProgram());
    ++mFigures.processes;
    return tWorker;
}

Worker& StressEnvironment::run(const std::string& pMode, const WorkerOptions& pOptions)
{
    Worker& tWorker = start(pMode, pOptions);
    noteEnd(tWorker, tWorker.process->wait());
    return tWorker;
}

void StressEnvironment::kill(Worker& pWorker)
{
    pWorker.killedAt = monotonicNow();
    pWorker.process->kill();
    noteEnd(pWorker, pWorker.process->wait());
}

void StressEnvironment::stopAll()
{
    test::writeFile(mDir.path() / "stop", "");
    for (Worker& tWorker : mWorkers)
        if (!tWorker.hasEnded) noteEnd(tWorker, tWorker.process->wait());
    std::filesystem::remove(mDir.path() / "stop");
}

void StressEnvironment::noteEnd(Worker& pWorker, int pStatus)
{
    pWorker.deadAt = monotonicNow();
    pWorker.hasEnded = true;
    pWorker.wasKilled = pStatus == -1;
    if (pWorker.wasKilled) ++mFigures.kills;
    if (pStatus != 0 && !pWorker.wasKilled)
        fail("worker " + std::to_string(pWorker.number) + " ended with " + std::to_string(pStatus));
    pWorker.process.reset();
    for (const OperationLogLine& tLine : pWorker.log->read())
        take(pWorker, tLine);
}

void StressEnvironment::look()
{
    for (Worker& tWorker : mWorkers)
        if (!tWorker.hasEnded)
            for (const OperationLogLine& tLine : tWorker.log->read())
                take(tWorker, tLine);
}

bool StressEnvironment::wait(const std::function<bool()>& pCondition, unsigned pSeconds)
{
    const uint64_t tEnd = monotonicNow() + pSeconds * uint64_t(1000000);
    for (;;) {
        look();
        if (pCondition()) return true;
        if (monotonicNow() > tEnd) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

bool StressEnvironment::waitReady(Worker& pWorker)
{
    if (wait([&] { return pWorker.isReady; })) return true;
    fail("worker " + std::to_string(pWorker.number) + " did not begin its work");
    return false;
}

void StressEnvironment::take(Worker& pWorker, const OperationLogLine& pLine)
{
    Figures& tFigures = pWorker.figures;
    const std::string& tKind = pLine.kind;
    if (tKind == "ready") {
        pWorker.isReady = true;
    } else if (tKind == "sum") {
        tFigures.operations = pLine.number(0);
        tFigures.checked = pLine.number(1);
        tFigures.pinChecks = pLine.number(2);
        tFigures.longestRoundMs = pLine.number(3);
    } else if (tKind == "stored") {
        ++tFigures.stored;
        pWorker.storedKb += pLine.number(1);
        pWorker.pendingStore = pLine.number(1);
    } else if (tKind == "counted") {
        pWorker.pendingStore.reset();
    } else if (tKind == "removed") {
        ++tFigures.removed;
        pWorker.removedKb += pLine.number(1);
        pWorker.pendingRemoval = pLine.number(1);
        if (pWorker.electedAt == 0) fail("removed " + pLine.text() + " without being the cleaner");
    } else if (tKind == "cleaned") {
        pWorker.pendingRemoval.reset();
    } else if (tKind == "elected") {
        ++tFigures.elections;
        pWorker.electedFrom = pLine.number(0);
        pWorker.electedAt = pLine.time;
    } else if (tKind == "refused") {
        pWorker.refused.emplace_back(pLine.number(0), pLine.time);
    } else if (tKind == "passed") {
        pWorker.passedAt = pLine.time;
        pWorker.calls = pLine.number(0);
        pWorker.memoryKb = pLine.number(1);
    } else if (tKind == "during" || tKind == "idle") {
        Latency& tLatency = tKind == "idle" ? pWorker.idle : pWorker.during;
        tLatency = {pLine.number(0), pLine.number(1), pLine.number(2), pLine.number(3)};
    } else if (tKind == "measured") {
        pWorker.hasMeasured = true;
    } else if (tKind == "calls") {
        pWorker.calls = pLine.number(0);
    } else if (tKind == "late") {
        ++tFigures.latePins;
    } else if (tKind == "wrong" || tKind == "lost" || tKind == "failed") {
        if (tKind == "wrong") ++tFigures.wrong;
        if (tKind == "lost") ++tFigures.lostPins;
        fail("worker " + std::to_string(pWorker.number) + ": " + tKind + ": " + pLine.text());
    }
}

uint64_t StressEnvironment::checkDirectory()
{
    const File tInserted(mUserDir / "cache" / "inserted", KPR_OPEN_READ);
    require(kprLockFile(tInserted.get(), KPR_LOCK_SHARED, 0, 0), "the insert lock");
    uint64_t tKilobytes = 0;
    for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir())) {
        const std::string tName = tEntry.path().filename().string();
        if (tName.size() != kfw::OBJECT_NAME_LENGTH) continue;
        const std::string tBytes = test::readFile(tEntry.path());
        const std::string tProblem =
            checkObjectFile(tName, reinterpret_cast<const uint8_t*>(tBytes.data()), tBytes.size());
        tKilobytes += (tBytes.size() + 1023) >> 10;
        ++mFigures.checked;
        if (tProblem.empty()) continue;
        ++mFigures.wrong;
        fail("wrong: " + tName + ": " + tProblem);
    }
    kprUnlockFile(tInserted.get(), 0, 0);
    readCounters();
    return tKilobytes;
}

Counters StressEnvironment::readCounters()
{
    const auto tInserted = readCounter(mUserDir / "cache" / "inserted");
    const auto tCleaned = readCounter(mUserDir / "cache" / "cleaned");
    if (!tInserted || !tCleaned) fail("a counter is not 8 bytes");
    return {tInserted.value_or(0), tCleaned.value_or(0)};
}

std::vector<std::string> StressEnvironment::strays() const
{
    std::vector<std::string> tNames;
    for (const auto& tEntry : std::filesystem::directory_iterator(objectsDir()))
        if (const std::string tName = tEntry.path().filename().string();
            tName.size() != kfw::OBJECT_NAME_LENGTH)
            tNames.push_back(tName);
    return tNames;
}

void StressEnvironment::checkAccounts(const Counters& pStart)
{
    // What was stored but not counted is only what killed processes were about to count. The same order holds
    // for removals: the file goes, the log knows, the counter knows, the log knows that. A cleaner is a
    // thread that ends with its process, wherever it is.
    Counters tTruth = pStart, tSlack;
    for (const Worker& tWorker : mWorkers) {
        tTruth.inserted += tWorker.storedKb;
        tTruth.cleaned += tWorker.removedKb;
        for (const auto& tPending : {tWorker.pendingStore, tWorker.pendingRemoval})
            if (tPending) ++mFigures.interrupted;
        if (tWorker.pendingStore && !tWorker.wasKilled)
            fail("worker " + std::to_string(tWorker.number) + " was not killed and did not count");
        tSlack.inserted += tWorker.pendingStore.value_or(0);
        tSlack.cleaned += tWorker.pendingRemoval.value_or(0);
    }
    const Counters tFound = readCounters();
    const auto tCheck = [&](const char* pName, uint64_t pTrue, uint64_t pFound, uint64_t pSlack) {
        if (pFound > pTrue || pTrue - pFound > pSlack)
            fail(std::string(pName) + " is " + std::to_string(pFound) + " and should be " +
                 std::to_string(pTrue) + ", or at most " + std::to_string(pSlack) + " less");
        mFigures.driftKb += pTrue - pFound;
    };
    tCheck("inserted", tTruth.inserted, tFound.inserted, tSlack.inserted);
    tCheck("cleaned", tTruth.cleaned, tFound.cleaned, tSlack.cleaned);
}

Figures StressEnvironment::figures()
{
    look();
    Figures tFigures = mFigures;
    for (const Worker& tWorker : mWorkers)
        tFigures.add(tWorker.figures);
    return tFigures;
}

} // namespace vel::kos::storm
