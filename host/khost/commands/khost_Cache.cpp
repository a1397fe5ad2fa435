// cache put, get, attrs, has, id, put-file, get-file, pin, unpin.
#include "host/khost/commands/khost_Cache.h"

#include <memory>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Files.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kpr/file.h"

namespace vel::kos::host {

namespace {

/// What the commands of this source are given.
struct Arguments {
    std::string uri;
    std::string id;
    std::string file;
    std::string output;
    std::vector<std::string> attributes;
};

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
    pSession.printJson({{"id", tName}, {"bytes", tInfo.size}});
    return STATUS_DONE;
}

int put(Session& pSession, const Arguments& pArguments)
{
    fw::CacheAttrList tAttributes;
    for (const std::string& tText : pArguments.attributes) {
        const auto tPair = splitAssignment(tText);
        if (!tPair) return pSession.usage("--attr " + tText + ": not KEY=VALUE");
        tAttributes.add(tPair->first.c_str(), tPair->second.c_str());
    }
    fw::CacheBytes tData;
    if (const int tStatus = readArgument(pSession, pArguments.file, &tData); tStatus != STATUS_DONE)
        return tStatus;
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheId tId;
    uint32_t tRes = tCache->computeCacheId(pArguments.uri.c_str(), &tId);
    if (!KFAILED(tRes)) tRes = tCache->putObject(pArguments.uri.c_str(), &tAttributes, &tData);
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.uri) : printStored(pSession, tId);
}

int get(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheAttrList tAttributes;
    fw::CacheBytes tData;
    if (auto tRes = tCache->getObject(pArguments.uri.c_str(), &tAttributes, &tData); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.uri);
    return writeResult(pSession, pArguments.output, tData);
}

int attrs(Session& pSession, const Arguments& pArguments)
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheAttrList tList;
    if (auto tRes = tCache->getAttributes(pArguments.uri.c_str(), &tList); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.uri);
    auto tJson = nlohmann::ordered_json::array();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::KFSCacheAttr& tAttr = tList.mAttrs[i];
        if (pSession.json())
            tJson.push_back(nlohmann::ordered_json::array({tAttr.mKey, tAttr.mValue}));
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
    if (auto tRes = tCache->hasObject(pArguments.uri.c_str(), &tExists); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.uri);
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
    if (auto tRes = tCache->computeCacheId(pArguments.uri.c_str(), &tId); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.uri);
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
    if (!kfw::parseCacheId(pArguments.id, &tId)) return badId(pSession, pArguments.id);
    fw::CacheBytes tFile;
    if (const int tStatus = readArgument(pSession, pArguments.file, &tFile); tStatus != STATUS_DONE)
        return tStatus;
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    const uint32_t tRes = tCache->putObjectFile(&tId, &tFile);
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.id) : printStored(pSession, tId);
}

int getFile(Session& pSession, const Arguments& pArguments)
{
    fw::CacheId tId;
    if (!kfw::parseCacheId(pArguments.id, &tId)) return badId(pSession, pArguments.id);
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    fw::CacheBytes tFile;
    if (auto tRes = tCache->getObjectFile(&tId, &tFile); KFAILED(tRes))
        return pSession.fail(tRes, pArguments.id);
    return writeResult(pSession, pArguments.output, tFile);
}

int changePin(Session& pSession, const Arguments& pArguments,
              uint32_t (fw::IFileSystemCache::*pOperation)(const char*))
{
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    const uint32_t tRes = (tCache->*pOperation)(pArguments.uri.c_str());
    return KFAILED(tRes) ? pSession.fail(tRes, pArguments.uri) : STATUS_DONE;
}

/// One command with the arguments that its letters name: u(RI), i(D), f(ILE), o(utput), a(ttributes).
void addCommand(CLI::App& pCache, Session& pSession, const char* pName, const char* pText,
                std::string_view pLetters, std::function<int(Session&, const Arguments&)> pAction)
{
    CLI::App* tCommand = pCache.add_subcommand(pName, pText);
    auto tArguments = std::make_shared<Arguments>();
    const auto tPositional = [&](const char* pWhat, std::string& pTarget, const char* pHelp) {
        tCommand->add_option(pWhat, pTarget, pHelp)->required()->type_name("");
    };
    for (const char tLetter : pLetters) {
        if (tLetter == 'u') tPositional("URI", tArguments->uri, "The object's URI; a query does not count");
        if (tLetter == 'i') tPositional("ID", tArguments->id, "The object's identity, 32 hexadecimal digits");
        if (tLetter == 'f') tPositional("FILE", tArguments->file, "What to store; - is standard input");
        if (tLetter == 'o')
            tCommand->add_option("--output,-o", tArguments->output, "Write here instead of standard output")
                ->type_name("FILE");
        if (tLetter == 'a')
            tCommand->add_option("--attr", tArguments->attributes, "An attribute; may be given several times")
                ->allow_extra_args(false)
                ->type_name("KEY=VALUE");
    }
    pSession.onRun(tCommand, [&pSession, tArguments, tAction = std::move(pAction)] {
        return tAction(pSession, *tArguments);
    });
}

} // namespace

void addCacheObjectCommands(CLI::App& pCache, Session& pSession)
{
    const auto tAdd = [&](const char* pName, const char* pText, std::string_view pLetters, auto pAction) {
        addCommand(pCache, pSession, pName, pText, pLetters, pAction);
    };
    tAdd("put", "Store a file as an object.", "ufa", put);
    tAdd("get", "Read an object's data.", "uo", get);
    tAdd("attrs", "Show an object's attributes.", "u", attrs);
    tAdd("has", "Tell whether there is an object: status 0 for yes, 1 for no.", "u", has);
    tAdd("id", "Show the identity of the object that a URI names.", "u", id);
    tAdd("put-file", "Store an object file as it is.", "if", putFile);
    tAdd("get-file", "Read an object file as it is.", "io", getFile);
    tAdd("pin", "Keep an object from being cleaned while this process lives.", "u",
         [](Session& pOwner, const Arguments& pArguments) {
             return changePin(pOwner, pArguments, &fw::IFileSystemCache::pinObject);
         });
    tAdd("unpin", "Take a pin back.", "u", [](Session& pOwner, const Arguments& pArguments) {
        return changePin(pOwner, pArguments, &fw::IFileSystemCache::unpinObject);
    });
}

void addCacheCommands(CLI::App& pRoot, Session& pSession)
{
    CLI::App* tCache = pRoot.add_subcommand("cache", "Store, read and examine cached objects.");
    tCache->require_subcommand(1);
    addCacheObjectCommands(*tCache, pSession);
    addCacheLookCommands(*tCache, pSession);
    addCacheImportCommands(*tCache, pSession);
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
