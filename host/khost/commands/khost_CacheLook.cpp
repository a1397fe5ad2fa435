// cache ls, stat, verify.
#include <algorithm>
#include <cstdint>

#include "host/khost/commands/khost_Cache.h"
#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Format.h"
#include "host/khost/khost_Progress.h"
#include "host/khost/khost_Session.h"

namespace vel::kos::host {

namespace {

int failLook(Session& pSession, uint32_t pCode, const CacheFiles& pCache)
{
    return pSession.fail(pCode, pCache.failedPath());
}

/// Whether a file that was listed and could not be examined has gone meanwhile: a cleaner took it.
bool isGone(const CacheFiles& pCache, const CacheFile& pFile)
{
    bool tExists = false;
    return !KFAILED(pCache.hasObject(pFile.name, &tExists)) && !tExists;
}

uint32_t scoreOf(const CacheFile& pFile)
{
    return kfw::evictionScore(pFile.modified, kfw::kilobytes(pFile.bytes));
}

/// Puts what comes first in the order asked for first; files that are equal in it stay in that of their
/// names.
void sortFiles(std::vector<CacheFile>& pFiles, const std::string& pOrder)
{
    const auto tSort = [&pFiles](auto pComesFirst) {
        std::stable_sort(pFiles.begin(), pFiles.end(), pComesFirst);
    };
    if (pOrder == "size") tSort([](const auto& pA, const auto& pB) { return pA.bytes > pB.bytes; });
    if (pOrder == "age") tSort([](const auto& pA, const auto& pB) { return pA.modified < pB.modified; });
    if (pOrder == "score") tSort([](const auto& pA, const auto& pB) { return scoreOf(pA) > scoreOf(pB); });
}

/// An object's attributes: pairs in JSON, lines for people. Nothing where they cannot be read, or where they
/// would take so much memory that one object could hide all others.
void addAttributes(Session& pSession, const CacheFiles& pCache, const CacheFile& pFile,
                   const CacheFileFacts& pFacts, Json* pJson, std::string* pLines)
{
    constexpr uint32_t MOST_BYTES = 1u << 20;
    if (!pFacts.problem.empty()) return;
    if (pFacts.attributeBytes > MOST_BYTES) {
        *pLines = "    (" + readableSize(pFacts.attributeBytes) + " of attributes)\n";
        return;
    }
    fw::CacheAttrList tList;
    std::string tProblem;
    if (KFAILED(pCache.read(pFile.name, &tList, nullptr, &tProblem))) return;
    auto tPairs = Json::array();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = tList.mAttrs[i];
        tPairs.add(std::vector<std::string>{tAttr.mKey, tAttr.mValue});
        *pLines += "    " + pSession.shown(tAttr.mKey) + "=" + pSession.shown(tAttr.mValue) + "\n";
    }
    *pJson = tPairs;
}

/// The number of --limit; without it everything.
std::size_t limitOf(const Arguments& pArguments)
{
    return pArguments.has("--limit") ? std::stoull(pArguments.text("--limit")) : SIZE_MAX;
}

std::string checkLimit(const std::string& pValue)
{
    constexpr std::size_t MOST_DIGITS = 18;
    const bool tNumber = !pValue.empty() && pValue.size() <= MOST_DIGITS &&
                         pValue.find_first_not_of("0123456789") == std::string::npos;
    return tNumber ? "" : "not a number of objects";
}

int ls(Session& pSession, CacheFiles& pCache, const Arguments& pArguments)
{
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    sortFiles(tFiles, pArguments.text("--sort"));
    if (tFiles.size() > limitOf(pArguments)) tFiles.resize(limitOf(pArguments));
    auto tJson = Json::array();
    if (!pSession.json() && !tFiles.empty())
        pSession.print("ID                                    BYTES  ATTRIBUTES       DATA  MODIFIED         "
                       "     VALID\n");
    for (const CacheFile& tFile : tFiles) {
        const CacheFileFacts tFacts = pCache.examine(tFile);
        const bool tValid = tFacts.problem.empty();
        if (!tValid && isGone(pCache, tFile)) continue;
        const std::string tModified = utcTime(tFile.modified);
        Json tPairs;
        std::string tLines;
        if (pArguments.has("--attrs")) addAttributes(pSession, pCache, tFile, tFacts, &tPairs, &tLines);
        if (pSession.json()) {
            Json tObject = Json::object({{"id", tFile.name},
                                         {"bytes", tFile.bytes},
                                         {"attributes", tValid ? Json(tFacts.attributes) : Json()},
                                         {"data_bytes", tValid ? Json(tFacts.dataBytes) : Json()},
                                         {"modified", tModified},
                                         {"valid", tValid},
                                         {"score", scoreOf(tFile)}});
            if (pArguments.has("--attrs")) tObject.set("attribute_list", tPairs);
            tJson.add(tObject);
        } else {
            pSession.print(tFile.name + " " + padded(std::to_string(tFile.bytes), 10) + "  " +
                           padded(tValid ? std::to_string(tFacts.attributes) : "-", 10) + " " +
                           padded(tValid ? std::to_string(tFacts.dataBytes) : "-", 10) + "  " + tModified +
                           "  " + (tValid ? "yes" : "no") + "\n" + tLines);
        }
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int stat(Session& pSession, CacheFiles& pCache, const Arguments&)
{
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    CacheCounters tCounters;
    bool tCleaner = false;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    const bool tCounted = pCache.hasCounters();
    uint32_t tRes = tCounted ? pCache.readCounters(&tCounters) : 0;
    if (!KFAILED(tRes) && tCounted) tRes = pCache.isCleanerAtWork(&tCleaner);
    if (KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    if (!tCounted) pSession.note("the cache has no counters: it is a copy, or was never used");
    uint64_t tBytes = 0;
    for (const CacheFile& tFile : tFiles)
        tBytes += tFile.bytes;
    const char* tCleanerText = tCleaner ? "active" : "none";
    if (pSession.json()) {
        const auto tCounter = [&](auto pValue) { return tCounted ? Json(pValue) : Json(); };
        pSession.printJson(Json::object({{"dir", pCache.dir()},
                                         {"objects", tFiles.size()},
                                         {"bytes", tBytes},
                                         {"inserted_kb", tCounter(tCounters.insertedKb)},
                                         {"cleaned_kb", tCounter(tCounters.cleanedKb)},
                                         {"growth_kb", tCounter(tCounters.growthKb())},
                                         {"threshold_kb", CLEANING_THRESHOLD_KB},
                                         {"cleaner", tCleanerText}}));
        return STATUS_DONE;
    }
    const auto tLine = [&](const char* pName, const std::string& pValue) {
        pSession.print(std::string(pName) + std::string(12 - std::string_view(pName).size(), ' ') + pValue +
                       "\n");
    };
    tLine("directory", pSession.shown(pCache.dir()));
    tLine("objects", std::to_string(tFiles.size()));
    tLine("bytes", std::to_string(tBytes) + " (" + readableSize(tBytes) + ")");
    const auto tKilobytes = [&](auto pValue) { return tCounted ? std::to_string(pValue) + " KB" : "-"; };
    tLine("inserted", tKilobytes(tCounters.insertedKb));
    tLine("cleaned", tKilobytes(tCounters.cleanedKb));
    tLine("growth", tKilobytes(tCounters.growthKb()));
    tLine("threshold", std::to_string(CLEANING_THRESHOLD_KB) + " KB");
    tLine("cleaner", tCleanerText);
    if (tOthers > 0) tLine("other files", std::to_string(tOthers));
    return STATUS_DONE;
}

/// Removes a bad file; *pRemoved tells whether it is gone. False after a failure, which has been reported.
bool repair(Session& pSession, CacheFiles& pCache, const CacheFile& pFile, bool* pRemoved)
{
    constexpr uint32_t PATIENCE_MS = 2000;
    bool tTold = false;
    const auto tWaiting = [&](uint32_t pMilliseconds) {
        if (pMilliseconds >= PATIENCE_MS && !tTold) {
            tTold = true;
            pSession.note("waiting for the insert lock, which another process has had for two seconds: " +
                          pCache.dir());
        }
        return !pSession.isCloseRequested();
    };
    const uint32_t tRes = pCache.removeRefused(pFile, tWaiting, pRemoved);
    if (KFAILED(tRes)) failLook(pSession, tRes, pCache);
    return !KFAILED(tRes);
}

int verify(Session& pSession, CacheFiles& pCache, const Arguments& pArguments)
{
    const bool tRepair = pArguments.has("--repair");
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    auto tBad = Json::array();
    Progress tProgress("verify", tFiles.size());
    uint64_t tDone = 0, tGone = 0, tRemoved = 0;
    bool tFailed = false;
    for (const CacheFile& tFile : tFiles) {
        const CacheFileFacts tFacts = pCache.examine(tFile);
        if (!tFacts.problem.empty() && isGone(pCache, tFile)) {
            ++tGone;
        } else if (!tFacts.problem.empty()) {
            tBad.add(Json::object({{"file", tFile.name}, {"reason", tFacts.problem}}));
            if (!pSession.json()) {
                tProgress.wipe();
                pSession.print(tFile.name + ": " + pSession.shown(tFacts.problem) + "\n");
                pSession.flush();
            }
            bool tIsRemoved = false;
            if (tRepair && tFacts.isRefused && !repair(pSession, pCache, tFile, &tIsRemoved)) tFailed = true;
            if (tIsRemoved) ++tRemoved;
            if (tFailed && pSession.isCloseRequested()) break;
        }
        tProgress.show(++tDone);
    }
    tProgress.wipe();
    if (pSession.json()) {
        auto tJson = Json::object({{"checked", tFiles.size() - tGone}, {"bad", tBad}});
        if (tRepair) tJson.set("removed", tRemoved);
        pSession.printJson(tJson);
    } else {
        pSession.print(std::to_string(tFiles.size() - tGone) + " checked, " + std::to_string(tBad.size()) +
                       " bad" + (tRepair ? ", " + std::to_string(tRemoved) + " removed" : "") + "\n");
    }
    return tBad.size() == tRemoved && !tFailed ? STATUS_DONE : STATUS_FAILED;
}

/// Opens the cache's files for one of the functions above.
template <int (*TAction)(Session&, CacheFiles&, const Arguments&)>
int look(Session& pSession, const Arguments& pArguments)
{
    std::string tAppDir;
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    CacheFiles tCache(tAppDir);
    return TAction(pSession, tCache, pArguments);
}

} // namespace

void addCacheLookCommands(std::vector<Command>& pTable)
{
    pTable.insert(
        pTable.end(),
        {{.name = "cache ls",
          .summary = "List the objects.",
          .run = look<ls>,
          .options =
              {{.names = "--attrs", .help = "Show the attributes as well"},
               {.names = "--sort",
                .value = "ORDER",
                .help = "id (the default), size, age (the largest first), or score (what is removed "
                        "first)",
                .words = {"id", "size", "age", "score"},
                .onlyWords = true},
               {.names = "--limit", .value = "N", .help = "Show the first N only", .check = checkLimit}},
          .json = {.shape = "an array of objects",
                   .fields = {{"id", "string", "the object's identity, 32 hexadecimal digits"},
                              {"bytes", "number", "size of the object file"},
                              {"attributes", "number", "how many it has; null when the file is bad"},
                              {"data_bytes", "number", "size of the data; null when the file is bad"},
                              {"modified", "string", "time of the last store or refreshment, UTC"},
                              {"valid", "boolean", "whether the cache would read it"},
                              {"score", "number", "the higher, the earlier it is removed"},
                              {"attribute_list", "array",
                               "with --attrs: pairs (arrays of two strings); null when the file is bad, or "
                               "they take more than 1 MB"}}},
          .examples = {{"khost cache ls --sort score --limit 20", "see what the next pass removes first"}},
          .effect = Command::LOOKS},
         {.name = "cache stat",
          .summary = "Show the cache's size, its counters and whether a cleaner is at work.",
          .run = look<stat>,
          .details =
              "Nothing is created or cleaned. On Linux no lock is taken; Windows can tell a lock only by "
              "trying it, for a moment, on a byte past all content.",
          .json = {.shape = "an object",
                   .fields =
                       {{"dir", "string", "the cache directory"},
                        {"objects", "number", "object files"},
                        {"bytes", "number", "their size together"},
                        {"inserted_kb", "number", "kilobytes ever inserted; null in a copy without counters"},
                        {"cleaned_kb", "number", "kilobytes ever removed by cleaners; null as above"},
                        {"growth_kb", "number",
                         "the difference, negative when more was cleaned; null as above"},
                        {"threshold_kb", "number", "the growth from which on a cleaner removes something"},
                        {"cleaner", "string", "active when a process has the cleaner's lock, else none"}}},
          .effect = Command::LOOKS},
         {.name = "cache verify",
          .summary = "Check every object file: status 1 when one is bad.",
          .run = look<verify>,
          .options = {{.names = "--repair", .help = "Remove the files whose content the cache refuses"}},
          .details =
              "A file that is removed counts as cleaned, and its object can be stored anew. Files that "
              "cannot be "
              "opened or read stay, and so does what is no regular file. Status 1 when a bad one is left.",
          .json = {.shape = "an object",
                   .fields = {{"checked", "number", "object files examined"},
                              {"bad", "array", "objects with the bad ones' file and reason, both strings"},
                              {"removed", "number", "files removed; only with --repair"}}},
          .effect = Command::LOOKS}});
}

} // namespace vel::kos::host
