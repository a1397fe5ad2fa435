// cache import.
#include <algorithm>
#include <map>

#include "host/khost/commands/khost_Cache.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Progress.h"
#include "host/khost/khost_Session.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace vel::kos::host {

namespace {

/// A path with every byte percent-encoded that may not stand in the path of a URI.
std::string encodePath(std::string_view pPath)
{
    constexpr std::string_view KEPT =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/!$&'()*+,;=:@";
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string tText;
    for (const char tChar : pPath) {
        if (KEPT.find(tChar) != std::string_view::npos) {
            tText += tChar;
            continue;
        }
        const auto tByte = static_cast<unsigned char>(tChar);
        tText += {'%', DIGITS[tByte >> 4], DIGITS[tByte & 15]};
    }
    return tText;
}

/// The URI of a folder: "file:///home/me/folder/", "file:///C:/folder/", "file://server/share/folder/".
std::string folderUri(std::string pFolder)
{
    std::replace(pFolder.begin(), pFolder.end(), kprGetPathSeparator(), '/');
    if (pFolder.empty() || pFolder.back() != '/') pFolder += '/';
    const bool tShare = pFolder.starts_with("//");
    return (tShare ? "file:" : pFolder.front() == '/' ? "file://" : "file:///") + encodePath(pFolder);
}

/// Imports one folder.
class Import {
public:
    Import(Session& pSession, fw::IFileSystemCache& pCache, std::string pFolder, std::string pBase)
        : mSession(pSession), mCache(pCache), mFolder(std::move(pFolder)), mBase(std::move(pBase))
    {
    }

    int run()
    {
        collect("");
        Progress tProgress("import", mNames.size());
        uint64_t tDone = 0;
        for (const std::string& tName : mNames) {
            if (mSession.application()->isCloseRequested()) {
                tProgress.wipe();
                return mSession.fail(KPR_E_INTERRUPTED, mFolder);
            }
            store(tName, tProgress);
            tProgress.show(++tDone);
        }
        tProgress.wipe();
        if (mSession.json()) mSession.printJson(mStored);
        return mStatus;
    }

private:
    /// Adds the names of the regular files in a folder and below; names have "/" on every platform. Links are
    /// not followed, so that nothing is imported twice or from elsewhere.
    void collect(const std::string& pRelative)
    {
        constexpr uint32_t NAME_SIZE = 4096;
        const std::string tFolder = pRelative.empty() ? mFolder : joinPath(mFolder, pRelative);
        KprDir tDir = KPR_NO_DIR;
        if (auto tRes = kprOpenDir(tFolder.c_str(), &tDir); KFAILED(tRes)) {
            mStatus = mSession.fail(tRes, tFolder);
            return;
        }
        std::vector<std::string> tFiles, tFolders;
        std::string tName(NAME_SIZE, '\0');
        uint32_t tRes;
        while (!KFAILED(tRes = kprReadDir(tDir, tName.data(), NAME_SIZE, nullptr))) {
            const char* const tText = tName.c_str(); // it ends before the buffer does
            const std::string tEntry = (pRelative.empty() ? "" : pRelative + "/") + tText;
            KprFileInfo tInfo = {};
            const std::string tPath = joinPath(mFolder, tEntry);
            const uint32_t tFound = kprGetFileInfo(tPath.c_str(), KPR_INFO_KIND, &tInfo);
            if (KFAILED(tFound)) {
                // What has gone meanwhile is no longer there to be stored.
                if (tFound != KPR_E_NOT_FOUND) mStatus = mSession.fail(tFound, tPath);
                continue;
            }
            if (tInfo.kind == KPR_KIND_FILE) tFiles.push_back(tEntry);
            if (tInfo.kind == KPR_KIND_DIRECTORY) tFolders.push_back(tEntry);
        }
        kprCloseDir(tDir);
        if (tRes != KPR_E_END) mStatus = mSession.fail(tRes, tFolder);
        std::sort(tFiles.begin(), tFiles.end());
        std::sort(tFolders.begin(), tFolders.end());
        mNames.insert(mNames.end(), tFiles.begin(), tFiles.end());
        for (const std::string& tBelow : tFolders)
            collect(tBelow);
    }

    void store(const std::string& pName, Progress& pProgress)
    {
        const std::string tPath = joinPath(mFolder, pName);
        const std::string tUri = mBase + (mBase.ends_with('/') ? "" : "/") + encodePath(pName);
        fw::CacheBytes tData;
        if (auto tRes = readWholeFile(tPath, &tData); KFAILED(tRes)) {
            pProgress.wipe();
            mStatus = mSession.fail(tRes, tPath);
            return;
        }
        const fw::CacheAttrList tNone;
        fw::CacheId tId;
        uint32_t tRes = mCache.computeCacheId(tUri.c_str(), &tId);
        std::string tAbout = tUri;
        if (!KFAILED(tRes)) {
            const auto [tFirst, tIsNew] = mNamesById.try_emplace(cacheIdText(tId), pName);
            if (!tIsNew) {
                tRes = KPR_E_EXISTS;
                tAbout += ": the same object as " + tFirst->second;
            }
        }
        if (!KFAILED(tRes)) {
            tRes = storeObject(mSession, &mCache, tUri, tNone, tData, &tId);
        }
        if (KFAILED(tRes)) {
            pProgress.wipe();
            mStatus = mSession.fail(tRes, tAbout);
            return;
        }
        if (mSession.json())
            mStored.add(Json::object({{"id", cacheIdText(tId)}, {"name", pName}}));
        else
            mSession.print(cacheIdText(tId) + " " + mSession.shown(pName) + "\n");
    }

    Session& mSession;
    fw::IFileSystemCache& mCache;
    const std::string mFolder;
    const std::string mBase;
    std::vector<std::string> mNames;
    std::map<std::string, std::string> mNamesById; ///< of what has been stored
    Json mStored = Json::array();
    int mStatus = STATUS_DONE;
};

int import(Session& pSession, const Arguments& pArguments)
{
    const std::string& tGiven = pArguments.text("DIR");
    const std::string& tBase = pArguments.text("--base");
    std::string tFolder;
    if (auto tRes = kpr::readText(tFolder, kprGetRealPath, tGiven.c_str()); KFAILED(tRes))
        return pSession.fail(tRes, tGiven);
    KprFileInfo tInfo = {};
    if (auto tRes = kprGetFileInfo(tFolder.c_str(), KPR_INFO_KIND, &tInfo); KFAILED(tRes))
        return pSession.fail(tRes, tFolder);
    if (tInfo.kind != KPR_KIND_DIRECTORY) return pSession.fail(KPR_E_NOT_DIRECTORY, tFolder);
    fw::IFileSystemCache* tCache = pSession.cache();
    if (!tCache) return STATUS_FAILED;
    return Import(pSession, *tCache, tFolder, tBase.empty() ? folderUri(tFolder) : tBase).run();
}

} // namespace

void addCacheImportCommands(std::vector<Command>& pTable)
{
    pTable.push_back({
        .name = "cache import",
        .summary = "Store the files of a folder and its subfolders.",
        .run = import,
        .positionals = {{.name = "DIR",
                         .help = "The folder; links in it are not followed",
                         .completes = Completes::FOLDERS}},
        .options = {{.names = "--base",
                     .value = "URI",
                     .help = "What comes before / and each relative path (default: the folder's file URI)"}},
        .json = {.shape = "an array of objects, one for each file that was stored",
                 .fields = {{"id", "string", "the object's identity"},
                            {"name", "string", "the file's path in the folder, with /"}}},
        .examples = {{"khost cache import docs --base http://example.com/docs",
                      "a folder under URIs of its own"}},
    });
}

} // namespace vel::kos::host
