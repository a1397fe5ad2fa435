// Store, lookup and pins.
#include "kfw/cache/kfw_FSCache.h"

#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/format/kfw_CacheLayout.h"
#include "kfw/cache/format/kfw_CounterFile.h"
#include "kfw/cache/format/kfw_ObjectReader.h"
#include "kfw/cache/kfw_FSCache_Files.h"
#include "kgen/uri.h"
#include "kpr/md5.h"

namespace vel::kos::kfw {

namespace {

/// How long an object that is asked about goes without having its time refreshed, in seconds.
constexpr int64_t TOUCH_INTERVAL = 900;

/// Whether a block of bytes is one: it has a buffer, or no size.
bool isValid(const fw::CacheBytes* pBytes) { return pBytes && (pBytes->mData || pBytes->mSize == 0); }

/// The buffer of a block of bytes, for functions that want one for no bytes as well.
void* bufferOf(const fw::CacheBytes& pBytes)
{
    static uint8_t sNothing;
    return pBytes.mData ? pBytes.mData : &sNothing;
}

} // namespace

FSCache::FSCache() = default;

FSCache::~FSCache() { mState->detach(); }

uint32_t FSCache::computeCacheId(const char* pUri, fw::CacheId* pId)
{
    if (!pId) return E_INVALIDARG;
    if (!mState->mLog.application()) return E_WRONG_STATE;
    std::string tUri = kgen::normaliseUri(pUri ? pUri : "");
    if (tUri.empty()) return E_INVALIDARG;
    if (const std::size_t tQuery = tUri.find('?'); tQuery != std::string::npos) tUri.resize(tQuery);

    KprMD5 tState;
    if (const uint32_t tRes = kprMD5Init(&tState); KFAILED(tRes)) return tRes;
    const uint32_t tUpdated = kprMD5Update(&tState, tUri.data(), static_cast<uint32_t>(tUri.size()));
    fw::CacheId tId;
    const uint32_t tFinished = kprMD5Final(&tState, tId.mBytes);
    if (KFAILED(tUpdated)) return tUpdated;
    if (KFAILED(tFinished)) return tFinished;
    *pId = tId;
    return 0;
}

uint32_t FSCache::checkReady() const { return mState->mObjectsDir.empty() ? E_WRONG_STATE : 0; }

uint32_t FSCache::locateObject(const fw::CacheId& pId, std::string* pPath, std::string* pName)
{
    if (const uint32_t tRes = checkReady(); KFAILED(tRes)) return tRes;
    char tName[OBJECT_NAME_LENGTH + 1];
    if (const uint32_t tRes = kfwFormatCacheId(&pId, tName, sizeof tName); KFAILED(tRes)) {
        mState->mLog.debug("FS cache: failed to convert cache ID to string: %1", komStrError(tRes));
        return tRes;
    }
    if (pName) *pName = tName;
    return mState->composeObjectPath(tName, pPath);
}

uint32_t FSCache::putObject(const char* pUri, const fw::CacheAttrList* pAttributes,
                            const fw::CacheBytes* pData)
{
    if (!pAttributes || (pAttributes->mCount > 0 && !pAttributes->mAttrs) || !isValid(pData))
        return E_INVALIDARG;
    fw::CacheId tId;
    if (const uint32_t tRes = computeCacheId(pUri, &tId); KFAILED(tRes)) return tRes;
    std::string tPath;
    if (const uint32_t tRes = locateObject(tId, &tPath); KFAILED(tRes)) return tRes;
    ObjectImage tImage;
    if (const std::string tProblem = composeObject(tPath, *pAttributes, *pData, &tImage); !tProblem.empty()) {
        mState->mLog.debug("%1", tProblem);
        return E_FAIL;
    }
    return storeObject(tPath, tImage.bytes.get(), tImage.size);
}

uint32_t FSCache::putObjectFile(const fw::CacheId* pId, const fw::CacheBytes* pFile)
{
    if (!pId || !isValid(pFile)) return E_INVALIDARG;
    std::string tPath;
    if (const uint32_t tRes = locateObject(*pId, &tPath); KFAILED(tRes)) return tRes;
    return storeObject(tPath, bufferOf(*pFile), pFile->mSize);
}

uint32_t FSCache::storeObject(const std::string& pPath, const void* pBytes, uint32_t pLength)
{
    InserterLock tLock(*mState, true);
    const uint32_t tRes = writeFileAtomically(mState->mLog, pPath, pBytes, pLength);
    // Another writer was first: its file is as good.
    if (tRes == KPR_E_EXISTS) return mState->touchObject(pPath);
    return KFAILED(tRes) ? tRes : addToInserted(kilobytes(pLength));
}

uint32_t FSCache::addToInserted(uint32_t pKilobytes)
{
    FileBytes tFile(mState->mInsertedFile, mState->mLog);
    return CounterFile("FS cache", mState->mInsertedPath, mState->mLog).add(tFile, pKilobytes);
}

uint32_t FSCache::getObject(const char* pUri, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData)
{
    if (!pAttributes || !pData) return E_INVALIDARG;
    pData->clear();
    return readObject(pUri, pAttributes, pData);
}

uint32_t FSCache::getAttributes(const char* pUri, fw::CacheAttrList* pAttributes)
{
    if (!pAttributes) return E_INVALIDARG;
    return readObject(pUri, pAttributes, nullptr);
}

uint32_t FSCache::readObject(const char* pUri, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData)
{
    pAttributes->clear();
    fw::CacheId tId;
    if (const uint32_t tRes = computeCacheId(pUri, &tId); KFAILED(tRes)) return tRes;
    std::string tPath;
    if (const uint32_t tRes = locateObject(tId, &tPath); KFAILED(tRes)) return tRes;

    InserterLock tLock(*mState, false);
    OpenFile tFile;
    uint32_t tRes = openObject(tPath, &tFile, mState->mLog);
    FileBytes tSource(tFile.get(), mState->mLog);
    ObjectReader tReader(tSource, tPath, mState->mLog);
    fw::CacheAttrList tAttributes;
    fw::CacheBytes tData;
    if (!KFAILED(tRes)) tRes = tReader.readObjectHeader();
    if (!KFAILED(tRes)) tRes = tReader.readAttributes(&tAttributes);
    if (!KFAILED(tRes) && pData) tRes = tReader.readData(&tData);
    if (KFAILED(tRes)) return tRes;
    if (const uint32_t tClosed = tFile.close(); KFAILED(tClosed))
        mState->mLog.debug("FS cache: failed to close %1 after read: %2", tPath, komStrError(tClosed));
    pAttributes->swap(tAttributes);
    if (pData) pData->swap(tData);
    return 0;
}

uint32_t FSCache::getObjectFile(const fw::CacheId* pId, fw::CacheBytes* pFile)
{
    if (!pId || !pFile) return E_INVALIDARG;
    std::string tPath;
    if (const uint32_t tRes = locateObject(*pId, &tPath); KFAILED(tRes)) return tRes;

    InserterLock tLock(*mState, false);
    KprFileInfo tFInfo;
    uint32_t tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_SIZE, &tFInfo);
    if (KFAILED(tRes)) {
        mState->mLog.debug("FS cache: can't get size of %1: %2", tPath, komStrError(tRes));
        return tRes;
    }
    const uint32_t tFLen = static_cast<uint32_t>(tFInfo.size);
    if (tFLen != tFInfo.size) {
        mState->mLog.assertion("tFLen == tFInfo.size", __LINE__);
        return E_FAIL;
    }
    fw::CacheBytes tBytes;
    tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tFLen));
    tBytes.mSize = tFLen;
    OpenFile tFile;
    if (tRes = openObject(tPath, &tFile, mState->mLog); KFAILED(tRes)) return tRes;
    uint32_t tRead = 0;
    tRes = kprRead(tFile.get(), bufferOf(tBytes), tFLen, &tRead);
    if (KFAILED(tRes)) {
        mState->mLog.debug("FS cache: failed to read %1: %2", tPath, komStrError(tRes));
        return tRes;
    }
    if (tRead < tFLen) {
        mState->mLog.debug("FS cache: incomplete read of %1 (expected %2, got %3)", tPath, tFLen, tRead);
        return E_FAIL;
    }
    tRes = tFile.close();
    if (KFAILED(tRes)) mState->mLog.debug("FS cache: failed to close %1: %2", tPath, komStrError(tRes));
    pFile->swap(tBytes);
    return 0;
}

uint32_t FSCache::hasObject(const char* pUri, uint32_t* pExists)
{
    if (!pExists) return E_INVALIDARG;
    *pExists = 0;
    fw::CacheId tId;
    if (const uint32_t tRes = computeCacheId(pUri, &tId); KFAILED(tRes)) return tRes;
    std::string tPath;
    if (const uint32_t tRes = locateObject(tId, &tPath); KFAILED(tRes)) return tRes;

    InserterLock tLock(*mState, false);
    KprFileInfo tInfo;
    uint32_t tRes = kprGetFileInfo(tPath.c_str(), KPR_INFO_MTIME, &tInfo);
    if (tRes == KPR_E_NOT_FOUND) return 0;
    if (KFAILED(tRes)) return tRes;
    KprTime tNow;
    if (tRes = readClock(mState->mLog, &tNow); KFAILED(tRes)) return tRes;
    if (toLocalTime(tInfo.modified.seconds, mState->mTimeOffset) < tNow.seconds - TOUCH_INTERVAL)
        if (tRes = mState->touchObject(tPath); KFAILED(tRes)) return tRes;
    *pExists = 1;
    return 0;
}

uint32_t FSCache::pinObject(const char* pUri)
{
    fw::CacheId tId;
    const uint32_t tRes = computeCacheId(pUri, &tId);
    return KFAILED(tRes) ? tRes : pinObjectById(&tId);
}

uint32_t FSCache::pinObjectById(const fw::CacheId* pId)
{
    if (!pId) return E_INVALIDARG;
    std::string tName, tPath;
    if (const uint32_t tRes = locateObject(*pId, &tPath, &tName); KFAILED(tRes)) return tRes;

    CacheLog::Hold tHold(mState->mLog);
    util::MutexLocker tLock(&*mState->mPinMutex);
    if (const auto tPin = mState->mPinned.find(tName); tPin != mState->mPinned.end()) {
        ++tPin->second;
        return 0;
    }
    if (const uint32_t tRes = mState->touchObject(tPath); KFAILED(tRes)) return tRes;
    mState->mPinned.emplace(std::move(tName), 1);
    return 0;
}

uint32_t FSCache::unpinObject(const char* pUri)
{
    fw::CacheId tId;
    const uint32_t tRes = computeCacheId(pUri, &tId);
    return KFAILED(tRes) ? tRes : unpinObjectById(&tId);
}

uint32_t FSCache::unpinObjectById(const fw::CacheId* pId)
{
    if (!pId) return E_INVALIDARG;
    std::string tName, tPath;
    if (const uint32_t tRes = locateObject(*pId, &tPath, &tName); KFAILED(tRes)) return tRes;

    util::MutexLocker tLock(&*mState->mPinMutex);
    const auto tPin = mState->mPinned.find(tName);
    if (tPin == mState->mPinned.end()) return E_INVALIDARG;
    if (--tPin->second == 0) mState->mPinned.erase(tPin);
    return 0;
}

} // namespace vel::kos::kfw
