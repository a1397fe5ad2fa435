// One process of a storm.
//
//     storm_Worker LEDGER USER-DIRECTORY NAME=VALUE...
//
// mode=mix    several threads of random work, until the file of stop= appears
// mode=idle   a cache that nobody uses: for its cleaner
// mode=pass   the first round of this worker's cleaner (cleans=1), or of another's whose log is watch=;
//             with reads=1 lookups of count= objects called prefix= meanwhile, and for idle= milliseconds
//             more
// mode=once   one operation: op=put, get, has or pin of uri=; op=clean, init; op=work, a store and a lookup.
//             The process ends itself at its call end= when that is not 0 (torn=1: in the middle of a write),
//             or says in the log how many calls it took
//
// epoch= and speed= make the scaled time; seconds= is the longest life, should the driver be gone. Status 0:
// it ended when it was told to; whatever was wrong stands in the log.
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "kfw/cache/kfw_FSCache.h"
#include "kom/identity.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/reliability/storm/storm_Platform.h"
#include "tests/reliability/storm/storm_Reader.h"
#include "tests/reliability/storm/storm_Work.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::storm {

namespace {

constexpr auto TICK = std::chrono::milliseconds(20);

class Worker {
public:
    Worker(const std::string& pLog, const std::string& pUserDir, const WorkerOptions& pOptions)
        : mOptions(pOptions), mLogPath(pLog), mLog(pLog)
    {
        Platform::setTimeScale({mOptions.number("epoch"), static_cast<uint32_t>(mOptions.number("speed"))});
        Platform::setLog(&mLog);
        mApp->setUserAppDir(pUserDir);
    }

    int run()
    {
        const std::string tMode = mOptions.text("mode");
        if (tMode == "once") return runOnce();
        if (tMode == "pass") return runPass();
        open();
        std::vector<std::unique_ptr<Work>> tWorks;
        std::vector<std::thread> tThreads;
        if (tMode == "mix") {
            proveThatItWorks();
            const auto tCount = static_cast<unsigned>(mOptions.number("threads"));
            for (unsigned i = 0; i < tCount; ++i)
                tWorks.push_back(std::make_unique<Work>(*mCache, mLog, mTally, mOptions, i));
        }
        mLog.write("ready");
        std::atomic<bool> tStop{false};
        for (const auto& tWork : tWorks)
            tThreads.emplace_back([&] { tWork->run(tStop); });
        while (!isToStop()) {
            std::this_thread::sleep_for(TICK);
            checkLog();
            sum();
        }
        tStop = true;
        for (std::thread& tThread : tThreads)
            tThread.join();
        checkLog();
        sum();
        mLog.write("ended");
        return 0;
    }

private:
    void open()
    {
        if (const uint32_t tRes = mCache->init(mApp.get()); tRes != 0)
            mLog.write("failed", std::string("init: ") + komStrError(tRes));
    }

    /// A store and a lookup, whatever state others have left the directory in.
    void proveThatItWorks()
    {
        std::mt19937 tRandom(static_cast<unsigned>(mOptions.number("seed")));
        const std::string tUri = "http://first/object-" + mOptions.text("seed");
        const Value tValue = makeValue(tUri, 1000, tRandom);
        Value tBack;
        uint32_t tRes = mCache->putObject(tUri.c_str(), &tValue.attributes, &tValue.data);
        if (tRes == 0) tRes = mCache->getObject(tUri.c_str(), &tBack.attributes, &tBack.data);
        if (tRes != 0) return mLog.write("failed", tUri + " a new process: " + komStrError(tRes));
        ++mTally.checked;
        if (const auto tProblem = checkValue(tUri, tBack.attributes, &tBack.data); !tProblem.empty())
            mLog.write("wrong", tUri + " a new process: " + tProblem);
    }

    int runPass()
    {
        Reader tReader(*mCache, mLog, mOptions.text("prefix"),
                       static_cast<unsigned>(mOptions.number("count")));
        if (mOptions.number("cleans") != 0) Platform::countCleaners();
        open();
        std::atomic<bool> tStop{false};
        std::thread tThread;
        if (mOptions.number("reads") != 0) tThread = std::thread([&] { tReader.run(tStop); });
        const std::string tWatched = mOptions.text("watch");
        OperationLogReader tLog(tWatched.empty() ? mLogPath : tWatched);
        uint64_t tBegin = 0, tEnd = 0;
        while (tEnd == 0 && !isToStop()) {
            for (const OperationLogLine& tLine : tLog.read()) {
                if (tLine.kind == "elected") tBegin = tLine.time;
                if (tLine.kind == "passed") tEnd = tLine.time;
            }
            std::this_thread::sleep_for(TICK);
        }
        if (tThread.joinable()) {
            const auto tIdle = std::chrono::milliseconds(mOptions.number("idle"));
            std::this_thread::sleep_for(tIdle);
            tStop = true;
            tThread.join();
            tell("during", tReader.latency(tBegin, tEnd));
            // A moment later, when what the pass has left behind is written.
            tell("idle",
                 tReader.latency(tEnd + uint64_t(std::chrono::microseconds(tIdle).count()) / 4, UINT64_MAX));
        }
        mLog.write("measured");
        checkLog();
        while (!isToStop())
            std::this_thread::sleep_for(TICK);
        return 0;
    }

    void tell(const char* pKind, const Latency& pLatency)
    {
        mLog.write(pKind, std::to_string(pLatency.count) + ' ' + std::to_string(pLatency.median) + ' ' +
                              std::to_string(pLatency.p99) + ' ' + std::to_string(pLatency.longest));
    }

    int runOnce()
    {
        const std::string tOperation = mOptions.text("op");
        Platform::endAtCall(static_cast<uint32_t>(mOptions.number("end")), mOptions.number("torn") != 0);
        if (tOperation == "clean") Platform::countCleaners();
        if (tOperation == "init") Platform::startCounting();
        open();
        uint32_t tRes = 0;
        if (tOperation == "clean") {
            while (Platform::cleanerRounds() == 0 && !isToStop())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } else if (tOperation == "work") {
            proveThatItWorks();
        } else if (tOperation != "init") {
            tRes = operate(tOperation, mOptions.text("uri"));
        }
        if (tRes != 0) mLog.write("failed", tOperation + ": " + komStrError(tRes));
        mLog.write("calls", std::to_string(Platform::counted()));
        checkLog();
        return 0;
    }

    uint32_t operate(const std::string& pOperation, const std::string& pUri)
    {
        const char* tUri = pUri.c_str();
        std::mt19937 tRandom(static_cast<unsigned>(mOptions.number("seed")));
        Value tValue;
        uint32_t tExists = 0;
        uint32_t tRes = 0;
        if (pOperation == "put")
            tValue = makeValue(pUri, static_cast<uint32_t>(mOptions.number("limit")), tRandom);
        Platform::startCounting();
        if (pOperation == "put")
            tRes = mCache->putObject(tUri, &tValue.attributes, &tValue.data);
        else if (pOperation == "get")
            tRes = mCache->getObject(tUri, &tValue.attributes, &tValue.data);
        else if (pOperation == "has")
            tRes = mCache->hasObject(tUri, &tExists);
        else if (pOperation == "pin")
            tRes = mCache->pinObject(tUri);
        else
            tRes = E_INVALIDARG;
        Platform::stopCounting();
        if (tRes != 0 || pOperation == "has" || pOperation == "pin") return tRes;
        if (const auto tProblem = checkValue(pUri, tValue.attributes, &tValue.data); !tProblem.empty())
            mLog.write("wrong", pUri + " " + tProblem);
        return 0;
    }

    bool isToStop() const
    {
        const auto tLife = std::chrono::seconds(mOptions.number("seconds"));
        return std::filesystem::exists(mOptions.text("stop")) ||
               std::chrono::steady_clock::now() - mStart > tLife;
    }

    /// Nothing may be logged but that something is not there (any more).
    void checkLog()
    {
        const auto tLines = mApp->logLines();
        const auto tAssertions = mApp->assertions();
        if (tLines.empty() && tAssertions.empty()) return;
        mApp->clearRecords();
        for (const auto& tLine : tLines)
            if (tLine.message.find(komStrError(KPR_E_NOT_FOUND)) == std::string::npos)
                mLog.write("failed", "logged: " + tLine.message);
        for (const auto& tAssertion : tAssertions)
            mLog.write("failed", "assertion: " + tAssertion.expression);
    }

    void sum()
    {
        mLog.write("sum", std::to_string(mTally.operations) + ' ' + std::to_string(mTally.checked) + ' ' +
                              std::to_string(mTally.pinChecks) + ' ' +
                              std::to_string(Platform::longestCleanerRound()));
    }

    const WorkerOptions mOptions;
    const std::string mLogPath;
    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    OperationLogWriter mLog;
    Tally mTally;
    const kom::Ref<test::TestApplication> mApp = test::TestApplication::make();
    const kom::Ref<fw::IFileSystemCache> mCache = kom::retain(new kfw::FSCache);
};

} // namespace

} // namespace vel::kos::storm

int main()
{
    const std::vector<std::string> tArguments = kprtest::arguments();
    if (tArguments.size() < 2) return 2;
    using namespace vel::kos::storm;
    // Never destroyed: its cleaner's thread runs until the process ends, and writes to the log.
    static auto* tWorker = new Worker(tArguments[0], tArguments[1], WorkerOptions(tArguments));
    return tWorker->run();
}
