// cache put, get, attrs, has, id, put-file, get-file, pin, unpin.
#include "host/khost/commands/khost_Cache.h"

#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Session.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kpr/file.h"

namespace vel::kos::host {

namespace {

/// Reads FILE, "-" being standard input; STATUS_DONE, or the exit status after a failure, which has been
/// reported.
int readArgument(Session& pSession, const std::string& pFile, fw::CacheBytes* pBytes)
{
    if (pFile == "-" && pSession.inShell())
        return pSession.usage("standard input holds the shell's commands: give a file");
    const uint32_t tRes = pFile == "-" ? readWholeInput(pBytes) : readWholeFile(pFile, pBytes, KPR_OPEN_ANY);
    return KFAILED(tRes) ? pSession.fail(tRes, pFile == "-" ? "standard input" : pFile) : STATUS_DONE;
}

int writeResult(Session& pSession, const std::string& pOutput, const fw::CacheBytes& pBytes)
{
    if (pOutput.empty() || pOutput == "-") {
        pSession.print(view(pBytes));
        return STATUS_DONE;
    }
    const uint32_t tRes = writeWholeFile(pOutput, view(pBytes));
    return KFAILED(tRes) ? pSession.fail(tRes, pOutput) : STATUS_DONE;
}

/// Prints the identity of an object that has been stored.
int printStored(Session& pSession, const fw::CacheId& pId)
{
    const std::string tName = cacheIdText(pId);
    if (!pSession.json()) {
        pSession.print(tName + "\n");
        return STATUS_DONE;
    }
    KprFileInfo tInfo = {};
    const std::string tPath = CacheFiles(pSession.application()->userAppDir()).objectPath(tName);
    if (auto tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_SIZE, &tInfo); KFAILED(tRes))
        return pSession.fail(tRes, tPath);
    pSession.printJson(Json::object({{"id", tName}, {"bytes", tInfo.size}}));
    return STATUS_DONE;
}

/// Reads an object without the cache, its data only where pData is given. Returns STATUS_DONE, or the exit
/// status after a failure, which has been reported.
int readObject(Session& pSession, const std::string& pUri, fw::CacheAttrList* pAttributes,
               fw::CacheBytes* pData)
{
    fw::CacheId tId;
    std::string tAppDir, tProblem;
    if (auto tRes = computeCacheId(pUri, &tId); KFAILED(tRes)) return pSession.fail(tRes, pUri);
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    const uint32_t tRes = CacheFiles(tAppDir).read(cacheIdText(tId), pAttributes, pData, &tProblem);
    // Of a file that breaks a rule the code says nothing.
    if (KFAILED(tRes)) return pSession.fail(tRes, tRes == E_FAIL ? tProblem : pUri);
    return STATUS_DONE;
}

/// Whether an object is there, without the cache; a result code.
uint32_t lookForObject(Session& pSession, const std::string& pUri, bool* pExists)
{
    fw::CacheId tId;
    std::string tAppDir;
    if (auto tRes = computeCacheId(pUri, &tId); KFAILED(tRes)) return tRes;
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return tRes;
    return CacheFiles(tAppDir).hasObject(cacheIdText(tId), pExists);
}

/// Reads an object's file without the cache; otherwise as readObject.
int readObjectFile(Session& pSession, const std::string& pName, std::string_view pAbout,
                   fw::CacheBytes* pFile)
{
    std::string tAppDir;
    if (auto tRes = pSession.userAppDir(tAppDir); KFAILED(tRes)) return pSession.fail(tRes);
    const uint32_t tRes = readWholeFile(CacheFiles(tAppDir).objectPath(pName), pFile);
    return KFAILED(tRes) ? pSession.fail(tRes, pAbout) : STATUS_DONE;
}

int put(Session& pSession, const Arguments& pArguments)
{
    fw::CacheAttrList tAttributes;
    for (const std::string& tText : pArguments.list("--attr")) {
        const auto tPair = splitAssignment(tText);
        if (!tPair) return pSession.usage("--attr " + tText + ": not KEY=VALUE");
        tAttributes.add(tPair->first.c_str(), tPair->second.c_str());
    }
    fw::CacheBytes tData;
    if (const int tStatus = readArgument(pSession, pArguments.text("FILE"), &tData); tStatus != STATUS_DONE)
        return tStatus;
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheId tId;
    const uint32_t tRes = storeObject(pSession, tCache, pArguments.text("URI"), tAttributes, tData, &tId);
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.text("URI")) : printStored(pSession, tId);
}

int get(Session& pSession, const Arguments& pArguments)
{
    const std::string& tUri = pArguments.text("URI");
    bool tReadOnly = false;
    fw::IFileSystemCache* tCache = pSession.cache(&tReadOnly);
    if (!tCache && !tReadOnly) return STATUS_FAILED;
    fw::CacheAttrList tAttributes;
    fw::CacheBytes tData;
    if (tCache) {
        if (auto tRes = tCache->getObject(tUri.c_str(), &tAttributes, &tData); KFAILED(tRes))
            return pSession.fail(tRes, tUri);
    } else if (const int tStatus = readObject(pSession, tUri, &tAttributes, &tData); tStatus != STATUS_DONE) {
        return tStatus;
    }
    return writeResult(pSession, pArguments.text("--output"), tData);
}

int attrs(Session& pSession, const Arguments& pArguments)
{
    const std::string& tUri = pArguments.text("URI");
    bool tReadOnly = false;
    fw::IFileSystemCache* tCache = pSession.cache(&tReadOnly);
    if (!tCache && !tReadOnly) return STATUS_FAILED;
    fw::CacheAttrList tList;
    if (tCache) {
        if (auto tRes = tCache->getAttributes(tUri.c_str(), &tList); KFAILED(tRes))
            return pSession.fail(tRes, tUri);
    } else if (const int tStatus = readObject(pSession, tUri, &tList, nullptr); tStatus != STATUS_DONE) {
        return tStatus;
    }
    auto tJson = Json::array();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = tList.mAttrs[i];
        if (pSession.json())
            tJson.add(std::vector<std::string>{tAttr.mKey, tAttr.mValue});
        else
            pSession.print(pSession.shown(tAttr.mKey) + "=" + pSession.shown(tAttr.mValue) + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int has(Session& pSession, const Arguments& pArguments)
{
    const std::string& tUri = pArguments.text("URI");
    bool tReadOnly = false;
    fw::IFileSystemCache* tCache = pSession.cache(&tReadOnly);
    if (!tCache && !tReadOnly) return STATUS_FAILED;
    bool tExists = false;
    uint32_t tRes = K_SUCCESS;
    if (tCache) {
        uint32_t tFound = 0;
        tRes = tCache->hasObject(tUri.c_str(), &tFound);
        tExists = tFound != 0;
    }
    if (!tCache || CacheFiles::isForbidden(tRes)) {
        const uint32_t tAsked = tRes;
        tRes = lookForObject(pSession, tUri, &tExists);
        if (KFAILED(tAsked) && !KFAILED(tRes) && tExists)
            pSession.note(std::string("the object cannot be kept young (") + komStrError(tAsked) +
                          "): it is there all the same: " + tUri);
    }
    if (KFAILED(tRes)) return pSession.fail(tRes, tUri);
    if (pSession.json())
        pSession.printJson(tExists);
    else
        pSession.print(tExists ? "yes\n" : "no\n");
    return tExists ? STATUS_DONE : STATUS_NO;
}

int id(Session& pSession, const Arguments& pArguments)
{
    fw::CacheId tId;
    if (auto tRes = computeCacheId(pArguments.text("URI"), &tId); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("URI"));
    if (pSession.json())
        pSession.printJson(cacheIdText(tId));
    else
        pSession.print(cacheIdText(tId) + "\n");
    return STATUS_DONE;
}

int badId(Session& pSession, const std::string& pText)
{
    return pSession.usage("\"" + pText + "\" is not an object's identity (32 hexadecimal digits)");
}

int putFile(Session& pSession, const Arguments& pArguments)
{
    fw::CacheId tId;
    if (!kfw::parseCacheId(pArguments.text("ID"), &tId)) return badId(pSession, pArguments.text("ID"));
    fw::CacheBytes tFile;
    if (const int tStatus = readArgument(pSession, pArguments.text("FILE"), &tFile); tStatus != STATUS_DONE)
        return tStatus;
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    bool tWasThere = false;
    CacheFiles(pSession.application()->userAppDir()).hasObject(cacheIdText(tId), &tWasThere);
    if (auto tRes = tCache->putObjectFile(&tId, &tFile); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("ID"));
    if (tWasThere) {
        fw::CacheBytes tKept;
        if (!KFAILED(tCache->getObjectFile(&tId, &tKept)) && view(tKept) != view(tFile))
            pSession.note("the cache has another object of that identity, which is kept: " +
                          pArguments.text("ID"));
    }
    return printStored(pSession, tId);
}

int getFile(Session& pSession, const Arguments& pArguments)
{
    fw::CacheId tId;
    if (!kfw::parseCacheId(pArguments.text("ID"), &tId)) return badId(pSession, pArguments.text("ID"));
    bool tReadOnly = false;
    fw::IFileSystemCache* tCache = pSession.cache(&tReadOnly);
    if (!tCache && !tReadOnly) return STATUS_FAILED;
    fw::CacheBytes tFile;
    if (tCache) {
        if (auto tRes = tCache->getObjectFile(&tId, &tFile); KFAILED(tRes))
            return pSession.fail(tRes, pArguments.text("ID"));
    } else if (const int tStatus = readObjectFile(pSession, cacheIdText(tId), pArguments.text("ID"), &tFile);
               tStatus != STATUS_DONE) {
        return tStatus;
    }
    return writeResult(pSession, pArguments.text("--output"), tFile);
}

int pin(Session& pSession, const Arguments& pArguments)
{
    const std::string& tUri = pArguments.text("URI");
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    if (auto tRes = tCache->pinObject(tUri.c_str()); KFAILED(tRes)) return pSession.fail(tRes, tUri);
    fw::CacheId tId;
    if (!KFAILED(computeCacheId(tUri, &tId))) ++pSession.pins()[cacheIdText(tId)];
    return STATUS_DONE;
}

int unpin(Session& pSession, const Arguments& pArguments)
{
    const std::string& tUri = pArguments.text("URI");
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    if (auto tRes = tCache->unpinObject(tUri.c_str()); KFAILED(tRes)) return pSession.fail(tRes, tUri);
    fw::CacheId tId;
    if (KFAILED(computeCacheId(tUri, &tId))) return STATUS_DONE;
    const auto tPin = pSession.pins().find(cacheIdText(tId));
    if (tPin != pSession.pins().end() && --tPin->second == 0) pSession.pins().erase(tPin);
    return STATUS_DONE;
}

void addCacheObjectCommands(std::vector<Command>& pTable)
{
    const Positional tUri = {.name = "URI", .help = "The object's URI; a query does not count"};
    const Positional tId = {.name = "ID", .help = "The object's identity, 32 hexadecimal digits"};
    const Positional tFile = {
        .name = "FILE", .help = "What to store; - is standard input", .completes = Completes::FILES};
    const Option tOutput = {.names = "--output,-o",
                            .value = "FILE",
                            .help = "Write here instead of standard output",
                            .completes = Completes::FILES};
    const Option tAttribute = {.names = "--attr",
                               .value = "KEY=VALUE",
                               .help = "An attribute; may be given several times",
                               .repeatable = true};
    const JsonResult tStored = {.shape = "an object",
                                .fields = {{"id", "string", "the object's identity, 32 hexadecimal digits"},
                                           {"bytes", "number", "size of the object file"}}};
    pTable.insert(
        pTable.end(),
        {{.name = "cache put",
          .summary = "Store a file as an object.",
          .run = put,
          .positionals = {tUri, tFile},
          .options = {tAttribute},
          .details =
              "An object that is there already is kept. When it is another one, a line on standard error "
              "says so.",
          .json = tStored,
          .examples = {{"khost cache put http://example.com/a a.html --attr type=text/html",
                        "store a page"}}},
         {.name = "cache get",
          .summary = "Read an object's data.",
          .run = get,
          .positionals = {tUri},
          .options = {tOutput},
          .examples = {{"khost cache get http://example.com/a -o a.html", "write the data into a file"}},
          .effect = Command::READS},
         {.name = "cache attrs",
          .summary = "Show an object's attributes.",
          .run = attrs,
          .positionals = {tUri},
          .json = {.shape =
                       "an array of pairs (arrays of two strings): key and value, in the object's order"},
          .effect = Command::READS},
         {.name = "cache has",
          .summary = "Tell whether there is an object: status 0 for yes, 1 for no.",
          .run = has,
          .positionals = {tUri},
          .json = {.shape = "true or false"},
          .effect = Command::READS},
         {.name = "cache id",
          .summary = "Show the identity of the object that a URI names.",
          .run = id,
          .positionals = {tUri},
          .details = "It is worked out from the URI: no cache is needed.",
          .json = {.shape = "a string"},
          .effect = Command::LOOKS},
         {.name = "cache put-file",
          .summary = "Store an object file as it is.",
          .run = putFile,
          .positionals = {tId, tFile},
          .details =
              "An object that is there already is kept. When it is another one, a line on standard error "
              "says so.",
          .json = tStored},
         {.name = "cache get-file",
          .summary = "Read an object file as it is.",
          .run = getFile,
          .positionals = {tId},
          .options = {tOutput},
          .effect = Command::READS},
         {.name = "cache pin",
          .summary = "Keep an object from being cleaned while this process lives.",
          .run = pin,
          .positionals = {tUri}},
         {.name = "cache unpin", .summary = "Take a pin back.", .run = unpin, .positionals = {tUri}}});
}

} // namespace

void addCacheCommands(std::vector<Command>& pTable)
{
    pTable.push_back({.name = "cache", .summary = "Store, read and examine cached objects."});
    addCacheObjectCommands(pTable);
    addCacheLookCommands(pTable);
    addCacheExplainCommands(pTable);
    addCacheImportCommands(pTable);
}

} // namespace vel::kos::host
