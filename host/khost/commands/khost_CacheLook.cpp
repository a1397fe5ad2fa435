// cache ls, stat, verify.
#include <algorithm>
#include <array>
#include <cstdio>

#include "host/khost/commands/khost_Cache.h"
#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Progress.h"
#include "host/khost/khost_Session.h"

namespace vel::kos::host {

namespace {

/// "2026-11-20T19:08:00Z".
std::string utcTime(int64_t pSeconds)
{
    constexpr int64_t DAY = 86400;
    const bool tBeforeMidnight = pSeconds % DAY < 0;
    const int64_t tDays = pSeconds / DAY - (tBeforeMidnight ? 1 : 0);
    const int64_t tRest = pSeconds % DAY + (tBeforeMidnight ? DAY : 0);
    // The civil date of a count of days: years begin in March, so that the leap day is the last.
    const int64_t tShifted = tDays + 719468;
    const int64_t tEra = (tShifted >= 0 ? tShifted : tShifted - 146096) / 146097;
    const int64_t tDayOfEra = tShifted - tEra * 146097;
    const int64_t tYearOfEra = (tDayOfEra - tDayOfEra / 1460 + tDayOfEra / 36524 - tDayOfEra / 146096) / 365;
    const int64_t tDayOfYear = tDayOfEra - (365 * tYearOfEra + tYearOfEra / 4 - tYearOfEra / 100);
    const int64_t tMonth = (5 * tDayOfYear + 2) / 153;
    const int tDay = static_cast<int>(tDayOfYear - (153 * tMonth + 2) / 5 + 1);
    const int tCivilMonth = static_cast<int>(tMonth < 10 ? tMonth + 3 : tMonth - 9);
    const long long tYear = tYearOfEra + tEra * 400 + (tCivilMonth <= 2 ? 1 : 0);
    std::array<char, 48> tText;
    std::snprintf(tText.data(), tText.size(), "%04lld-%02d-%02dT%02d:%02d:%02dZ", tYear, tCivilMonth, tDay,
                  static_cast<int>(tRest / 3600), static_cast<int>(tRest / 60 % 60),
                  static_cast<int>(tRest % 60));
    return tText.data();
}

/// A size in bytes for people: "17.0 MiB".
std::string readableSize(uint64_t pBytes)
{
    constexpr std::array<const char*, 5> UNITS = {"B", "KiB", "MiB", "GiB", "TiB"};
    double tAmount = static_cast<double>(pBytes);
    std::size_t tUnit = 0;
    for (; tAmount >= 1024 && tUnit + 1 < UNITS.size(); ++tUnit)
        tAmount /= 1024;
    std::array<char, 32> tText;
    std::snprintf(tText.data(), tText.size(), tUnit == 0 ? "%.0f %s" : "%.1f %s", tAmount, UNITS[tUnit]);
    return tText.data();
}

std::string padded(const std::string& pText, std::size_t pWidth)
{
    return pText.size() < pWidth ? std::string(pWidth - pText.size(), ' ') + pText : pText;
}

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

int ls(Session& pSession, CacheFiles& pCache)
{
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    auto tJson = Json::array();
    if (!pSession.json() && !tFiles.empty())
        pSession.print("ID                                    BYTES  ATTRIBUTES       DATA  MODIFIED         "
                       "     VALID\n");
    for (const CacheFile& tFile : tFiles) {
        const CacheFileFacts tFacts = pCache.examine(tFile);
        const bool tValid = tFacts.problem.empty();
        if (!tValid && isGone(pCache, tFile)) continue;
        const std::string tModified = utcTime(tFile.modified);
        if (pSession.json()) {
            tJson.add(Json::object({{"id", tFile.name},
                                    {"bytes", tFile.bytes},
                                    {"attributes", tValid ? Json(tFacts.attributes) : Json()},
                                    {"data_bytes", tValid ? Json(tFacts.dataBytes) : Json()},
                                    {"modified", tModified},
                                    {"valid", tValid}}));
        } else {
            pSession.print(tFile.name + " " + padded(std::to_string(tFile.bytes), 10) + "  " +
                           padded(tValid ? std::to_string(tFacts.attributes) : "-", 10) + " " +
                           padded(tValid ? std::to_string(tFacts.dataBytes) : "-", 10) + "  " + tModified +
                           "  " + (tValid ? "yes" : "no") + "\n");
        }
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int stat(Session& pSession, CacheFiles& pCache)
{
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    CacheCounters tCounters;
    bool tCleaner = false;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    if (auto tRes = pCache.readCounters(&tCounters); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    if (auto tRes = pCache.isCleanerAtWork(&tCleaner); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    uint64_t tBytes = 0;
    for (const CacheFile& tFile : tFiles)
        tBytes += tFile.bytes;
    const char* tCleanerText = tCleaner ? "active" : "none";
    if (pSession.json()) {
        pSession.printJson(Json::object({{"dir", pCache.dir()},
                                         {"objects", tFiles.size()},
                                         {"bytes", tBytes},
                                         {"inserted_kb", tCounters.insertedKb},
                                         {"cleaned_kb", tCounters.cleanedKb},
                                         {"growth_kb", tCounters.growthKb()},
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
    tLine("inserted", std::to_string(tCounters.insertedKb) + " KB");
    tLine("cleaned", std::to_string(tCounters.cleanedKb) + " KB");
    tLine("growth", std::to_string(tCounters.growthKb()) + " KB");
    tLine("threshold", std::to_string(CLEANING_THRESHOLD_KB) + " KB");
    tLine("cleaner", tCleanerText);
    if (tOthers > 0) tLine("other files", std::to_string(tOthers));
    return STATUS_DONE;
}

int verify(Session& pSession, CacheFiles& pCache)
{
    std::vector<CacheFile> tFiles;
    uint64_t tOthers = 0;
    if (auto tRes = pCache.list(tFiles, &tOthers); KFAILED(tRes)) return failLook(pSession, tRes, pCache);
    auto tBad = Json::array();
    Progress tProgress("verify", tFiles.size());
    uint64_t tDone = 0, tGone = 0;
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
        }
        tProgress.show(++tDone);
    }
    tProgress.wipe();
    if (pSession.json())
        pSession.printJson(Json::object({{"checked", tFiles.size() - tGone}, {"bad", tBad}}));
    else
        pSession.print(std::to_string(tFiles.size() - tGone) + " checked, " + std::to_string(tBad.size()) +
                       " bad\n");
    return tBad.size() == 0 ? STATUS_DONE : STATUS_FAILED;
}

/// Opens the cache's files for one of the functions above.
template <int (*TAction)(Session&, CacheFiles&)>
int look(Session& pSession, const Arguments&)
{
    std::string tAppDir;
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    CacheFiles tCache(tAppDir);
    return TAction(pSession, tCache);
}

} // namespace

void addCacheLookCommands(std::vector<Command>& pTable)
{
    pTable.insert(
        pTable.end(),
        {{.name = "cache ls",
          .summary = "List the objects.",
          .run = look<ls>,
          .json = {.shape = "an array of objects, in the order of the identities",
                   .fields = {{"id", "string", "the object's identity, 32 hexadecimal digits"},
                              {"bytes", "number", "size of the object file"},
                              {"attributes", "number", "how many it has; null when the file is bad"},
                              {"data_bytes", "number", "size of the data; null when the file is bad"},
                              {"modified", "string", "time of the last store or refreshment, UTC"},
                              {"valid", "boolean", "whether the cache would read it"}}},
          .effect = Command::LOOKS},
         {.name = "cache stat",
          .summary = "Show the cache's size, its counters and whether a cleaner is at work.",
          .run = look<stat>,
          .details =
              "Nothing is created or cleaned. On Linux no lock is taken; Windows can tell a lock only by "
              "trying it, for a moment, on a byte past all content.",
          .json =
              {.shape = "an object",
               .fields = {{"dir", "string", "the cache directory"},
                          {"objects", "number", "object files"},
                          {"bytes", "number", "their size together"},
                          {"inserted_kb", "number", "kilobytes ever inserted"},
                          {"cleaned_kb", "number", "kilobytes ever removed by cleaners"},
                          {"growth_kb", "number", "the difference; negative when more was cleaned"},
                          {"threshold_kb", "number", "the growth from which on a cleaner removes something"},
                          {"cleaner", "string", "active when a process has the cleaner's lock, else none"}}},
          .effect = Command::LOOKS},
         {.name = "cache verify",
          .summary = "Check every object file: status 1 when one is bad.",
          .run = look<verify>,
          .json = {.shape = "an object",
                   .fields = {{"checked", "number", "object files examined"},
                              {"bad", "array", "objects with the bad ones' file and reason, both strings"}}},
          .effect = Command::LOOKS}});
}

} // namespace vel::kos::host
