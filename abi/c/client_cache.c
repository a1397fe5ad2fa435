// The file-system cache.
#include <stdio.h>
#include <string.h>

#include "client.h"
#include "client_host.h"

static const char URI[] = "http://example.org/a%20page?query";
static const char DATA[] = "what the page says";

#define CACHE(pOperation) SLOT(IFileSystemCache, tCache, pOperation)

static void freeAttributeList(CacheAttrList* pList)
{
    for (uint32_t i = 0; i < pList->mCount; ++i) {
        komFree(pList->mAttrs[i].mKey);
        komFree(pList->mAttrs[i].mValue);
    }
    komFree(pList->mAttrs);
    pList->mAttrs = NULL;
    pList->mCount = 0;
}

static void freeBytes(CacheBytes* pBytes)
{
    komFree(pBytes->mData);
    pBytes->mData = NULL;
    pBytes->mSize = 0;
}

static void checkAttributes(CacheAttrList* pList)
{
    if (CHECK(pList->mCount == 2)) {
        CHECK(strcmp(pList->mAttrs[0].mKey, "type") == 0 && strcmp(pList->mAttrs[0].mValue, "text") == 0);
        CHECK(strcmp(pList->mAttrs[1].mKey, "language") == 0 && strcmp(pList->mAttrs[1].mValue, "en") == 0);
    }
    freeAttributeList(pList);
}

/// Compares an object file with the file that lies in the cache's folder under the object's name.
static void checkFile(const CacheId* pId, const CacheBytes* pFile)
{
    char tPath[1024];
    int tLength = snprintf(tPath, sizeof tPath, "%s/app/cache/objects/", gFolder);
    for (int i = 0; i < 16; ++i)
        tLength += snprintf(tPath + tLength, sizeof tPath - (size_t)tLength, "%02X", pId->mBytes[i]);
    FILE* tFile = fopen(tPath, "rb");
    if (!CHECK(tFile != NULL)) return;
    char tBytes[4096];
    const size_t tSize = fread(tBytes, 1, sizeof tBytes, tFile);
    fclose(tFile);
    CHECK(tSize == pFile->mSize && memcmp(tBytes, pFile->mData, tSize) == 0);
}

void driveFileSystemCache(void)
{
    IFileSystemCache* tCache = makeObject("FSCache", CLASS_FILE_SYSTEM_CACHE, IID_IFileSystemCache, false);
    UNKNOWN(IFileSystemCache, tCache);
    CacheId tId, tOtherId = {{1, 2, 3}};
    uint32_t tExists = 9;
    CODE(CACHE(hasObject)(tCache, URI, &tExists), E_WRONG_STATE);
    const uint32_t tHostBefore = hostReferences();
    CODE(CACHE(init)(tCache, host()), 0);
    CHECK(hostReferences() > tHostBefore);
    CODE(CACHE(computeCacheId)(tCache, URI, &tId), 0);
    CODE(CACHE(hasObject)(tCache, URI, &tExists), 0);
    CHECK(tExists == 0);

    KFSCacheAttr tPairs[] = {{"type", "text"}, {"language", "en"}};
    const CacheAttrList tAttributes = {2, tPairs};
    CacheBytes tData = {sizeof DATA - 1, (uint8_t*)komStrDup(DATA)};
    CODE(CACHE(putObject)(tCache, URI, &tAttributes, &tData), 0);
    CODE(CACHE(putObject)(tCache, URI, NULL, &tData), E_INVALIDARG);
    CODE(CACHE(hasObject)(tCache, URI, &tExists), 0);
    CHECK(tExists == 1);

    CacheAttrList tRead = {0, NULL};
    CODE(CACHE(getAttributes)(tCache, URI, &tRead), 0);
    checkAttributes(&tRead);
    CacheBytes tBack = {0, NULL};
    CODE(CACHE(getObject)(tCache, "http://example.org/a%20page", &tRead, &tBack), 0);
    CHECK(tBack.mSize == tData.mSize && memcmp(tBack.mData, tData.mData, tData.mSize) == 0);
    checkAttributes(&tRead);
    freeBytes(&tBack);
    freeBytes(&tData);
    CODE(CACHE(getObject)(tCache, "http://example.org/none", &tRead, &tBack), KPR_E_NOT_FOUND);
    CHECK(tRead.mCount == 0 && tBack.mSize == 0 && !tBack.mData);

    CODE(CACHE(getObjectFile)(tCache, &tId, &tBack), 0);
    checkFile(&tId, &tBack);
    CODE(CACHE(putObjectFile)(tCache, &tOtherId, &tBack), 0);
    checkFile(&tOtherId, &tBack);
    freeBytes(&tBack);

    CODE(CACHE(pinObject)(tCache, URI), 0);
    CODE(CACHE(pinObjectById)(tCache, &tId), 0);
    CODE(CACHE(unpinObject)(tCache, URI), 0);
    CODE(CACHE(unpinObjectById)(tCache, &tId), 0);
    CODE(CACHE(unpinObjectById)(tCache, &tId), E_INVALIDARG);

    CHECK(release(tCache) == 0);
    CHECK(hostReferences() == tHostBefore);
    DEMAND(IFileSystemCache);
}
