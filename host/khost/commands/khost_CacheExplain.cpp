// cache explain, show.
#include <initializer_list>
#include <limits>
#include <optional>

#include "host/khost/commands/khost_Cache.h"
#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Format.h"
#include "host/khost/khost_Session.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kpr/time.h"

namespace vel::kos::host {

namespace {

/// The name of the object that 32 hexadecimal digits or a URI stand for.
uint32_t objectName(const std::string& pText, std::string* pName)
{
    fw::CacheId tId;
    if (!kfw::parseCacheId(pText, &tId))
        if (auto tRes = computeCacheId(pText, &tId); KFAILED(tRes)) return tRes;
    *pName = cacheIdText(tId);
    return 0;
}

/// An object's part in the pass that a cleaner would make now.
struct RemovalFacts {
    uint64_t candidates = 0; ///< files that are old enough
    uint64_t place = 0;      ///< of the object among them, the first to go being 1; 0: it is not among them
    bool isRemoved = false;
};

RemovalFacts findRemoval(const kfw::Candidates& pCandidates, const std::string& pName)
{
    RemovalFacts tFacts;
    kfw::RemovalTarget tTarget(pCandidates.totalKilobytes());
    bool tGoesOn = true;
    pCandidates.visit([&](const kfw::Candidate& pCandidate) {
        ++tFacts.candidates;
        if (pCandidate.name == pName) {
            tFacts.place = tFacts.candidates;
            tFacts.isRemoved = tGoesOn;
        }
        tGoesOn = tGoesOn && tTarget.count(pCandidate.kilobytes);
        return true;
    });
    return tFacts;
}

/// Everything that `explain` tells, in the order in which it does; a value that there is not is null.
class Explanation {
public:
    explicit Explanation(Session& pSession) : mSession(pSession) {}

    void add(const char* pName, const Json& pValue, const std::string& pText)
    {
        constexpr std::size_t WIDTH = 19;
        mJson.set(pName, pValue);
        std::string tName = pName;
        for (char& tChar : tName)
            if (tChar == '_') tChar = ' ';
        if (!pText.empty())
            mText += tName + std::string(WIDTH - tName.size(), ' ') + mSession.shown(pText) + "\n";
    }
    void addNothing(std::initializer_list<const char*> pNames)
    {
        for (const char* tName : pNames)
            add(tName, Json(), "");
    }
    void print()
    {
        if (mSession.json())
            mSession.printJson(mJson);
        else
            mSession.print(mText);
    }

private:
    Session& mSession;
    Json mJson = Json::object();
    std::string mText;
};

/// What is told of an object that is there.
void explainFile(Explanation& pOut, const CacheFiles& pCache, const CacheFile& pFile, int64_t pNow)
{
    const CacheFileFacts tFacts = pCache.examine(pFile);
    const bool tValid = tFacts.problem.empty();
    pOut.add("state", tValid ? "stored" : "refused", tValid ? "stored" : "refused");
    pOut.add("reason", tValid ? Json() : Json(tFacts.problem), tFacts.problem);
    pOut.add("bytes", pFile.bytes, std::to_string(pFile.bytes) + " (" + readableSize(pFile.bytes) + ")");
    if (tValid) {
        pOut.add("attributes", tFacts.attributes, std::to_string(tFacts.attributes));
        pOut.add("data_bytes", tFacts.dataBytes, std::to_string(tFacts.dataBytes));
    } else {
        pOut.addNothing({"attributes", "data_bytes"});
    }
    pOut.add("modified", utcTime(pFile.modified), utcTime(pFile.modified));
    // A file may bear any time.
    constexpr int64_t LONGEST = std::numeric_limits<int64_t>::max();
    const bool tLonger = pFile.modified < 0 && pNow > LONGEST + pFile.modified;
    const int64_t tAge = tLonger ? LONGEST : pNow - pFile.modified;
    pOut.add("age_seconds", tAge, std::to_string(tAge) + " (" + readableSpan(tAge) + ")");
}

/// When an object would be removed, and in which place.
uint32_t explainRemoval(Explanation& pOut, CacheFiles& pCache, const CacheFile& pFile, int64_t pNow)
{
    kfw::Candidates tCandidates(pNow, 0);
    if (auto tRes = pCache.listCandidates(&tCandidates); KFAILED(tRes)) return tRes;
    const RemovalFacts tFacts = findRemoval(tCandidates, pFile.name);
    const uint32_t tScore = kfw::evictionScore(pFile.modified, kfw::kilobytes(pFile.bytes));
    const std::string tFrom =
        utcTime(kfw::toLocalTime(pFile.modified, -static_cast<int32_t>(kfw::MINIMUM_AGE + 1)));
    pOut.add("score", tScore, std::to_string(tScore));
    if (pFile.kind == KPR_KIND_FILE)
        pOut.add("removable_from", tFrom, tFrom + (tFacts.place ? " (now)" : ""));
    else
        pOut.add("removable_from", Json(), "never: it is no file");
    pOut.add("place", tFacts.place ? Json(tFacts.place) : Json(),
             tFacts.place ? std::to_string(tFacts.place) + " of " + std::to_string(tFacts.candidates) : "");
    pOut.add("candidates", tFacts.candidates, tFacts.place ? "" : std::to_string(tFacts.candidates));
    pOut.add("next_pass_removes", tFacts.isRemoved, tFacts.isRemoved ? "yes" : "no");
    return 0;
}

/// How far the cache is from its next pass.
uint32_t explainCounters(Explanation& pOut, CacheFiles& pCache)
{
    CacheCounters tCounters;
    bool tCleaner = false;
    if (auto tRes = pCache.readCounters(&tCounters); KFAILED(tRes)) return tRes;
    if (auto tRes = pCache.isCleanerAtWork(&tCleaner); KFAILED(tRes)) return tRes;
    pOut.add("cleaned_kb", tCounters.cleanedKb, std::to_string(tCounters.cleanedKb));
    pOut.add("growth_kb", tCounters.growthKb(),
             std::to_string(tCounters.growthKb()) + " (a pass begins at " +
                 std::to_string(CLEANING_THRESHOLD_KB) + ")");
    pOut.add("threshold_kb", CLEANING_THRESHOLD_KB, "");
    const char* tCleanerText = tCleaner ? "active" : "none";
    pOut.add("cleaner", tCleanerText, tCleanerText);
    return 0;
}

/// A file of the objects folder, or nothing where it is not.
uint32_t findFile(const CacheFiles& pCache, const std::string& pName, std::optional<CacheFile>* pFile)
{
    KprFileInfo tInfo = {};
    const uint32_t tRes = kprGetFileInfo(pCache.objectPath(pName).c_str(), KPR_INFO_ALL, &tInfo);
    if (tRes == KPR_E_NOT_FOUND) return 0;
    if (!KFAILED(tRes)) *pFile = CacheFile{pName, tInfo.size, tInfo.modified.seconds, tInfo.kind};
    return tRes;
}

int explain(Session& pSession, const Arguments& pArguments)
{
    const std::string& tText = pArguments.text("OBJECT");
    std::string tName, tAppDir;
    KprTime tNow;
    if (auto tRes = objectName(tText, &tName); KFAILED(tRes)) return pSession.fail(tRes, tText);
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    if (auto tRes = kprGetCurrentTime(&tNow); KFAILED(tRes)) return pSession.fail(tRes);
    CacheFiles tCache(tAppDir);
    const std::string tPath = tCache.objectPath(tName);
    std::optional<CacheFile> tFile;
    if (auto tRes = findFile(tCache, tName, &tFile); KFAILED(tRes)) return pSession.fail(tRes, tPath);

    Explanation tOut(pSession);
    tOut.add("id", tName, tName);
    tOut.add("file", tPath, tPath);
    if (tFile) {
        explainFile(tOut, tCache, *tFile, tNow.seconds);
    } else {
        tOut.add("state", "not stored", "not stored");
        tOut.addNothing({"reason", "bytes", "attributes", "data_bytes", "modified", "age_seconds"});
    }
    const auto tPin = pSession.pins().find(tName);
    const uint32_t tPins = tPin == pSession.pins().end() ? 0 : tPin->second;
    tOut.add("pins", tPins, tFile ? std::to_string(tPins) + " by this process" : "");
    if (tFile) {
        if (auto tRes = explainRemoval(tOut, tCache, *tFile, tNow.seconds); KFAILED(tRes))
            return pSession.fail(tRes, tCache.failedPath());
    } else {
        tOut.addNothing({"score", "removable_from", "place", "candidates", "next_pass_removes"});
    }
    if (tCache.hasCounters()) {
        if (auto tRes = explainCounters(tOut, tCache); KFAILED(tRes))
            return pSession.fail(tRes, tCache.failedPath());
    } else {
        tOut.addNothing({"cleaned_kb", "growth_kb", "threshold_kb", "cleaner"});
    }
    tOut.print();
    return tFile ? STATUS_DONE : STATUS_NO;
}

int show(Session& pSession, const Arguments& pArguments)
{
    const std::string& tText = pArguments.text("OBJECT");
    std::string tName, tAppDir, tProblem;
    if (auto tRes = objectName(tText, &tName); KFAILED(tRes)) return pSession.fail(tRes, tText);
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    fw::CacheAttrList tList;
    fw::CacheBytes tData;
    const uint32_t tRes = CacheFiles(tAppDir).read(tName, &tList, &tData, &tProblem);
    if (KFAILED(tRes)) return pSession.fail(tRes, tRes == E_FAIL ? tProblem : tText);
    if (const std::string& tOutput = pArguments.text("--output"); !tOutput.empty())
        if (auto tWritten = writeWholeFile(tOutput, view(tData)); KFAILED(tWritten))
            return pSession.fail(tWritten, tOutput);
    auto tPairs = Json::array();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = tList.mAttrs[i];
        if (pSession.json())
            tPairs.add(std::vector<std::string>{tAttr.mKey, tAttr.mValue});
        else
            pSession.print(pSession.shown(tAttr.mKey) + "=" + pSession.shown(tAttr.mValue) + "\n");
    }
    if (pSession.json())
        pSession.printJson(
            Json::object({{"id", tName}, {"attributes", tPairs}, {"data_bytes", tData.mSize}}));
    return STATUS_DONE;
}

} // namespace

void addCacheExplainCommands(std::vector<Command>& pTable)
{
    const Positional tObject = {.name = "OBJECT",
                                .help = "The object's URI, or its identity, 32 hexadecimal digits"};
    pTable.insert(
        pTable.end(),
        {{.name = "cache explain",
          .summary =
              "Tell what is known of an object, and when it may be removed: status 1 when it is not there.",
          .run = explain,
          .positionals = {tObject},
          .details =
              "Made by looking only. A file's time is that of the last store, or of a later question or pin "
              "that has refreshed it. Ages count by this machine's clock; a cache on a file server takes off "
              "the difference of the clocks, which only taking part in the cache can measure.",
          .json =
              {.shape = "an object; what there is not is null",
               .fields = {{"id", "string", "the object's identity, 32 hexadecimal digits"},
                          {"file", "string", "where its file is, or would be"},
                          {"state", "string", "stored, refused (the cache would not read it) or not stored"},
                          {"reason", "string", "why the cache would not read it"},
                          {"bytes", "number", "size of the object file"},
                          {"attributes", "number", "how many it has"},
                          {"data_bytes", "number", "size of the data"},
                          {"modified", "string", "time of the last store or refreshment, UTC"},
                          {"age_seconds", "number", "how long ago that was"},
                          {"pins", "number", "how often this process has pinned it"},
                          {"score", "number", "the higher, the earlier it is removed"},
                          {"removable_from", "string", "when it is old enough to be removed, UTC"},
                          {"place", "number", "in the order of removal, if a pass began now; 1 goes first"},
                          {"candidates", "number", "files that are old enough to be removed"},
                          {"next_pass_removes", "boolean", "whether a pass that began now would remove it"},
                          {"cleaned_kb", "number", "kilobytes ever removed by cleaners"},
                          {"growth_kb", "number", "kilobytes inserted less those cleaned"},
                          {"threshold_kb", "number", "the growth from which on a cleaner removes something"},
                          {"cleaner", "string", "active when a process has the cleaner's lock, else none"}}},
          .examples = {{"khost cache explain http://example.com/a",
                        "find out why a page is gone, or still there"}},
          .effect = Command::LOOKS},
         {.name = "cache show",
          .summary = "Show an object's attributes, by URI or identity, and write its data to a file.",
          .run = show,
          .positionals = {tObject},
          .options = {{.names = "--output,-o",
                       .value = "FILE",
                       .help = "Write the data here",
                       .completes = Completes::FILES}},
          .details = "Made by looking only: the object does not become younger.",
          .json = {.shape = "an object",
                   .fields = {{"id", "string", "the object's identity, 32 hexadecimal digits"},
                              {"attributes", "array", "pairs (arrays of two strings): key and value"},
                              {"data_bytes", "number", "size of the data"}}},
          .effect = Command::LOOKS}});
}

} // namespace vel::kos::host
