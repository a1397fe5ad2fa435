// cache put, get, attrs, has, id, put-file, get-file, pin, unpin.
#include "host/khost/commands/khost_Cache.h"

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Session.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kpr/file.h"

namespace vel::kos::host {

namespace {

std::string_view view(const fw::CacheBytes& pBytes)
{
    return {reinterpret_cast<const char*>(pBytes.mData), pBytes.mSize};
}

/// Reads FILE, "-" being standard input; STATUS_DONE, or the exit status after what has been told.
int readArgument(Session& pSession, const std::string& pFile, fw::CacheBytes* pBytes)
{
    if (pFile == "-" && pSession.inShell())
        return pSession.usage("standard input holds the shell's commands: give a file");
    const uint32_t tRes = pFile == "-" ? readWholeInput(pBytes) : readWholeFile(pFile, pBytes);
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
    const std::string tPath = objectPath(pSession.application()->userAppDir(), tName);
    if (auto tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_SIZE, &tInfo); KFAILED(tRes))
        return pSession.fail(tRes, tPath);
    pSession.printJson(Json::object({{"id", tName}, {"bytes", tInfo.size}}));
    return STATUS_DONE;
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
    uint32_t tRes = tCache->computeCacheId(pArguments.text("URI").c_str(), &tId);
    if (!KFAILED(tRes)) tRes = tCache->putObject(pArguments.text("URI").c_str(), &tAttributes, &tData);
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.text("URI")) : printStored(pSession, tId);
}

int get(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheAttrList tAttributes;
    fw::CacheBytes tData;
    if (auto tRes = tCache->getObject(pArguments.text("URI").c_str(), &tAttributes, &tData); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("URI"));
    return writeResult(pSession, pArguments.text("--output"), tData);
}

int attrs(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheAttrList tList;
    if (auto tRes = tCache->getAttributes(pArguments.text("URI").c_str(), &tList); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("URI"));
    auto tJson = Json::array();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = tList.mAttrs[i];
        if (pSession.json())
            tJson.add(std::vector<std::string>{tAttr.mKey, tAttr.mValue});
        else
            pSession.print(std::string(tAttr.mKey) + "=" + tAttr.mValue + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int has(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    uint32_t tExists = 0;
    if (auto tRes = tCache->hasObject(pArguments.text("URI").c_str(), &tExists); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("URI"));
    if (pSession.json())
        pSession.printJson(tExists != 0);
    else
        pSession.print(tExists ? "yes\n" : "no\n");
    return tExists ? STATUS_DONE : STATUS_NO;
}

int id(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheId tId;
    if (auto tRes = tCache->computeCacheId(pArguments.text("URI").c_str(), &tId); KFAILED(tRes))
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
    const uint32_t tRes = tCache->putObjectFile(&tId, &tFile);
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.text("ID")) : printStored(pSession, tId);
}

int getFile(Session& pSession, const Arguments& pArguments)
{
    fw::CacheId tId;
    if (!kfw::parseCacheId(pArguments.text("ID"), &tId)) return badId(pSession, pArguments.text("ID"));
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheBytes tFile;
    if (auto tRes = tCache->getObjectFile(&tId, &tFile); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.text("ID"));
    return writeResult(pSession, pArguments.text("--output"), tFile);
}

int changePin(Session& pSession, const Arguments& pArguments,
              uint32_t (fw::IFileSystemCache::*pOperation)(const char*))
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    const uint32_t tRes = (tCache->*pOperation)(pArguments.text("URI").c_str());
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.text("URI")) : STATUS_DONE;
}

int pin(Session& pSession, const Arguments& pArguments)
{
    return changePin(pSession, pArguments, &fw::IFileSystemCache::pinObject);
}

int unpin(Session& pSession, const Arguments& pArguments)
{
    return changePin(pSession, pArguments, &fw::IFileSystemCache::unpinObject);
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
          .json = tStored,
          .examples = {{"khost cache put http://example.com/a a.html --attr type=text/html",
                        "store a page"}}},
         {.name = "cache get",
          .summary = "Read an object's data.",
          .run = get,
          .positionals = {tUri},
          .options = {tOutput},
          .examples = {{"khost cache get http://example.com/a -o a.html", "write the data into a file"}}},
         {.name = "cache attrs",
          .summary = "Show an object's attributes.",
          .run = attrs,
          .positionals = {tUri},
          .json = {.shape =
                       "an array of pairs (arrays of two strings): key and value, in the object's order"}},
         {.name = "cache has",
          .summary = "Tell whether there is an object: status 0 for yes, 1 for no.",
          .run = has,
          .positionals = {tUri},
          .json = {.shape = "true or false"}},
         {.name = "cache id",
          .summary = "Show the identity of the object that a URI names.",
          .run = id,
          .positionals = {tUri},
          .json = {.shape = "a string"},
          .looks = true},
         {.name = "cache put-file",
          .summary = "Store an object file as it is.",
          .run = putFile,
          .positionals = {tId, tFile},
          .json = tStored},
         {.name = "cache get-file",
          .summary = "Read an object file as it is.",
          .run = getFile,
          .positionals = {tId},
          .options = {tOutput}},
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
    addCacheImportCommands(pTable);
}

std::string cacheIdText(const fw::CacheId& pId)
{
    char tName[kfw::OBJECT_NAME_LENGTH + 1] = "";
    kfwFormatCacheId(&pId, tName, sizeof tName);
    return tName;
}

std::string objectPath(const std::string& pUserAppDir, const std::string& pName)
{
    return joinPath(joinPath(joinPath(pUserAppDir, "cache"), "objects"), pName);
}

} // namespace vel::kos::host
