#include "tests/reliability/storm/storm_Reader.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

#include "kom/identity.h"
#include "tests/reliability/storm/storm_Values.h"

namespace vel::kos::storm {

namespace {

constexpr std::chrono::microseconds PAUSE(100);
/// Room for the samples of minutes, taken before anything is measured.
constexpr std::size_t SAMPLES = 2000000;

} // namespace

Reader::Reader(fw::IFileSystemCache& pCache, OperationLogWriter& pLog, std::string pPrefix, unsigned pCount)
    : mCache(pCache), mLog(pLog), mPrefix(std::move(pPrefix)), mCount(pCount)
{
    mSamples.reserve(SAMPLES);
}

void Reader::run(const std::atomic<bool>& pStop)
{
    std::mt19937 tRandom(1);
    while (!pStop && mSamples.size() < SAMPLES) {
        const std::string tUri = mPrefix + std::to_string(tRandom() % mCount);
        Value tValue;
        const uint64_t tBegin = monotonicNow();
        const uint32_t tRes = mCache.getObject(tUri.c_str(), &tValue.attributes, &tValue.data);
        mSamples.push_back({tBegin, monotonicNow() - tBegin});
        if (tRes != 0)
            mLog.write("failed", tUri + " getObject: " + komStrError(tRes));
        else if (const auto tProblem = checkValue(tUri, tValue.attributes, &tValue.data); !tProblem.empty())
            mLog.write("wrong", tUri + " " + tProblem);
        std::this_thread::sleep_for(PAUSE);
    }
}

Latency Reader::latency(uint64_t pFrom, uint64_t pTo) const
{
    std::vector<uint64_t> tTimes;
    for (const Sample& tSample : mSamples)
        if (tSample.begin >= pFrom && tSample.begin < pTo) tTimes.push_back(tSample.took);
    if (tTimes.empty()) return {};
    std::sort(tTimes.begin(), tTimes.end());
    return {tTimes.size(), tTimes[tTimes.size() / 2], tTimes[tTimes.size() * 99 / 100], tTimes.back()};
}

} // namespace vel::kos::storm
