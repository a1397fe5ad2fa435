// What the commands for single objects and the import share.
#include "host/khost/commands/khost_Cache.h"
#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Session.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kgen/uri.h"
#include "kpr/md5.h"

namespace vel::kos::host {

uint32_t computeCacheId(const std::string& pUri, fw::CacheId* pId)
{
    std::string tUri = kgen::normaliseUri(pUri);
    if (tUri.empty()) return E_INVALIDARG;
    if (const std::size_t tQuery = tUri.find('?'); tQuery != std::string::npos) tUri.resize(tQuery);
    KprMD5 tState;
    if (auto tRes = kprMD5Init(&tState); KFAILED(tRes)) return tRes;
    const uint32_t tUpdated = kprMD5Update(&tState, tUri.data(), static_cast<uint32_t>(tUri.size()));
    const uint32_t tFinished = kprMD5Final(&tState, pId->mBytes);
    return KFAILED(tUpdated) ? tUpdated : tFinished;
}

uint32_t storeObject(Session& pSession, fw::IFileSystemCache* pCache, const std::string& pUri,
                     const fw::CacheAttrList& pAttributes, const fw::CacheBytes& pData, fw::CacheId* pId)
{
    if (auto tRes = pCache->computeCacheId(pUri.c_str(), pId); KFAILED(tRes)) return tRes;
    bool tWasThere = false;
    const CacheFiles tFiles(pSession.application()->userAppDir());
    tFiles.hasObject(cacheIdText(*pId), &tWasThere);
    if (auto tRes = pCache->putObject(pUri.c_str(), &pAttributes, &pData); KFAILED(tRes)) return tRes;
    if (tWasThere && tFiles.hasOther(cacheIdText(*pId), pAttributes, pData))
        pSession.note("the cache has another object of that URI, which is kept: " + pUri);
    return 0;
}

std::string cacheIdText(const fw::CacheId& pId)
{
    char tName[kfw::OBJECT_NAME_LENGTH + 1] = "";
    kfwFormatCacheId(&pId, tName, sizeof tName);
    return tName;
}

} // namespace vel::kos::host
