#include "tests/reliability/storm/storm_Work.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>

#include "kom/identity.h"
#include "kpr/codes.h"
#include "kpr/time.h"
#include "tests/reliability/storm/storm_Platform.h"

namespace vel::kos::storm {

namespace {

/// The addresses that all share are new every quarter of an hour of scaled time. Only those of the moment are
/// stored, which keeps them young; those of the last hour are read while cleaners remove them.
constexpr int64_t WINDOW_SECONDS = 900;
constexpr uint32_t WINDOWS = 4;

/// A cleaner that takes longer for a round refreshes its pins too late: they may be 15 minutes old already,
/// and must not reach 30. With a fast clock, a machine with much else to do can hold a thread up that
/// long.
constexpr uint64_t LONGEST_ROUND_MS = 850000;

} // namespace

Work::Work(fw::IFileSystemCache& pCache, OperationLogWriter& pLog, Tally& pTally,
           const WorkerOptions& pOptions, unsigned pThread)
    : mCache(pCache),
      mLog(pLog),
      mTally(pTally),
      mRandom(static_cast<unsigned>(pOptions.number("seed")) * 97 + pThread),
      mOwn("http://own/" + pOptions.text("seed") + "/" + std::to_string(pThread) + "/"),
      mObjects(static_cast<unsigned>(pOptions.number("objects"))),
      mLimit(static_cast<uint32_t>(pOptions.number("limit"))),
      mHold(static_cast<std::size_t>(pOptions.number("hold"))),
      mKeep(static_cast<uint64_t>(pOptions.number("keep"))),
      mPause(pOptions.number("pause"))
{
}

void Work::run(const std::atomic<bool>& pStop)
{
    while (!pStop) {
        step();
        ++mTally.operations;
        if (mPause > 0) std::this_thread::sleep_for(std::chrono::microseconds(mPause));
    }
    for (const auto& [tUri, tSince] : mHeld)
        readPinned(tUri, "at the end");
}

void Work::step()
{
    switch (mRandom() % 16) {
    case 0:
    case 1:
    case 2:
    case 3:
        return put(uri(0));
    case 4:
        return put(mOwn + std::to_string(mOwnCount++));
    case 5:
    case 6:
        return getAttributes(anyUri());
    case 7:
        return getFile(anyUri());
    case 8:
        // Asking refreshes what is old: seldom, or nothing would ever grow old.
        return has(mRandom() % 8 == 0 ? anyUri() : uri(0));
    case 9:
        return mHeld.size() < mHold ? pin(anyUri()) : unpinOldest();
    case 10:
    case 11:
        return checkPinned();
    default:
        get(anyUri());
    }
}

std::string Work::uri(int64_t pWindowsAgo)
{
    KprTime tNow{};
    kprGetCurrentTime(&tNow);
    return "http://shared/" + std::to_string(tNow.seconds / WINDOW_SECONDS - pWindowsAgo) + "/" +
           std::to_string(mRandom() % mObjects);
}

std::string Work::anyUri() { return uri(mRandom() % WINDOWS); }

void Work::put(const std::string& pUri)
{
    const Value tValue = makeValue(pUri, mLimit, mRandom);
    succeeded(mCache.putObject(pUri.c_str(), &tValue.attributes, &tValue.data), "putObject", pUri);
}

bool Work::get(const std::string& pUri)
{
    Value tValue;
    const uint32_t tRes = mCache.getObject(pUri.c_str(), &tValue.attributes, &tValue.data);
    if (tRes == KPR_E_NOT_FOUND) return false;
    if (!succeeded(tRes, "getObject", pUri)) return true;
    ++mTally.checked;
    if (const std::string tProblem = checkValue(pUri, tValue.attributes, &tValue.data); !tProblem.empty())
        report("wrong", pUri, "getObject: " + tProblem);
    return true;
}

void Work::getFile(const std::string& pUri)
{
    fw::CacheId tId;
    if (!succeeded(mCache.computeCacheId(pUri.c_str(), &tId), "computeCacheId", pUri)) return;
    fw::CacheBytes tFile;
    const uint32_t tRes = mCache.getObjectFile(&tId, &tFile);
    if (tRes == KPR_E_NOT_FOUND || !succeeded(tRes, "getObjectFile", pUri)) return;
    ++mTally.checked;
    if (const std::string tProblem = checkObjectFile(objectName(pUri), tFile.mData, tFile.mSize);
        !tProblem.empty())
        report("wrong", pUri, "getObjectFile: " + tProblem);
}

void Work::getAttributes(const std::string& pUri)
{
    fw::CacheAttrList tList;
    const uint32_t tRes = mCache.getAttributes(pUri.c_str(), &tList);
    if (tRes == KPR_E_NOT_FOUND || !succeeded(tRes, "getAttributes", pUri)) return;
    ++mTally.checked;
    if (const std::string tProblem = checkValue(pUri, tList, nullptr); !tProblem.empty())
        report("wrong", pUri, "getAttributes: " + tProblem);
}

void Work::has(const std::string& pUri)
{
    uint32_t tExists = 0;
    succeeded(mCache.hasObject(pUri.c_str(), &tExists), "hasObject", pUri);
}

void Work::pin(const std::string& pUri)
{
    if (mHeld.count(pUri) != 0) return;
    const uint32_t tRes = mCache.pinObject(pUri.c_str());
    if (tRes == KPR_E_NOT_FOUND || !succeeded(tRes, "pinObject", pUri)) return;
    // An object that was too old already may have been removed in the very moment of the pin. Whoever wants
    // to be sure asks afterwards: from a yes on the pin holds.
    uint32_t tExists = 0;
    if (!succeeded(mCache.hasObject(pUri.c_str(), &tExists), "hasObject", pUri)) return;
    if (tExists)
        mHeld.emplace(pUri, monotonicNow());
    else
        succeeded(mCache.unpinObject(pUri.c_str()), "unpinObject", pUri);
}

void Work::unpinOldest()
{
    if (mHeld.empty()) return;
    const auto tPin =
        std::min_element(mHeld.begin(), mHeld.end(), [](const auto& pFirst, const auto& pSecond) {
            return pFirst.second < pSecond.second;
        });
    if (monotonicNow() - tPin->second < mKeep) return;
    readPinned(tPin->first, "before it is unpinned");
    succeeded(mCache.unpinObject(tPin->first.c_str()), "unpinObject", tPin->first);
    mHeld.erase(tPin);
}

void Work::checkPinned()
{
    if (mHeld.empty()) return;
    const auto tPin = std::next(mHeld.begin(), static_cast<std::ptrdiff_t>(mRandom() % mHeld.size()));
    readPinned(tPin->first, "while it is pinned");
}

void Work::readPinned(const std::string& pUri, const char* pWhen)
{
    ++mTally.pinChecks;
    if (get(pUri)) return;
    const uint64_t tAge = monotonicNow() - mHeld[pUri];
    const bool tHeldUp = Platform::longestCleanerRound() > LONGEST_ROUND_MS;
    report(tHeldUp ? "late" : "lost", pUri,
           std::string(pWhen) + ", " + std::to_string(tAge / 1000) + " ms after the pin");
}

void Work::report(const char* pKind, const std::string& pUri, const std::string& pWhat)
{
    mLog.write(pKind, pUri + " " + pWhat);
}

bool Work::succeeded(uint32_t pResult, const char* pWhat, const std::string& pUri)
{
    if (pResult == 0) return true;
    report("failed", pUri, std::string(pWhat) + ": " + komStrError(pResult));
    return false;
}

} // namespace vel::kos::storm
