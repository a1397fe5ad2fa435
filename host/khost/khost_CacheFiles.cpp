#include "host/khost/khost_CacheFiles.h"

#include <algorithm>
#include <set>

#include "host/khost/khost_Paths.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/format/kfw_CounterFile.h"
#include "kfw/cache/format/kfw_ObjectReader.h"
#include "kom/identity.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/text.h"
#include "kpr/time.h"

namespace vel::kos::host {

namespace {

bool isMissing(const std::string& pPath)
{
    KprFileInfo tInfo;
    return kprGetFileInfo(pPath.c_str(), KPR_INFO_KIND, &tInfo) == KPR_E_NOT_FOUND;
}

} // namespace

CacheFiles::CacheFiles(const std::string& pUserAppDir)
    : mUserAppDir(pUserAppDir),
      mDir(joinPath(pUserAppDir, kfw::CACHE_FOLDER)),
      mObjectsDir(joinPath(mDir, kfw::OBJECTS_FOLDER))
{
}

std::string CacheFiles::objectPath(const std::string& pName) const { return joinPath(mObjectsDir, pName); }

bool CacheFiles::hasCounters() const
{
    return !isMissing(joinPath(mDir, kfw::INSERTED_COUNTER)) ||
           !isMissing(joinPath(mDir, kfw::CLEANED_COUNTER));
}

uint32_t CacheFiles::checkWritable() const
{
    bool tLacksFile = isMissing(mObjectsDir);
    for (const char* tName : {kfw::INSERTED_COUNTER, kfw::CLEANED_COUNTER}) {
        kfw::OpenFile tFile;
        const uint32_t tRes = tFile.open(joinPath(mDir, tName), KPR_OPEN_READ_WRITE);
        tLacksFile |= tRes == KPR_E_NOT_FOUND;
        if (isForbidden(tRes)) return tRes;
    }
    if (!tLacksFile) return 0;
    std::string tMade;
    const std::string& tFolder = isMissing(mDir) ? mUserAppDir : mDir;
    const uint32_t tRes = kpr::readText(tMade, kprGetTempFileName, tFolder.c_str(), "khost.", 0u);
    if (!KFAILED(tRes)) kprRemoveFile(tMade.c_str());
    return tRes;
}

bool CacheFiles::isForbidden(uint32_t pCode) noexcept
{
    return pCode == KPR_E_ACCESS_DENIED || pCode == KPR_E_READ_ONLY_VOLUME;
}

uint32_t CacheFiles::hasObject(const std::string& pName, bool* pExists) const
{
    KprFileInfo tInfo;
    const uint32_t tRes = kprGetFileInfo(objectPath(pName).c_str(), KPR_INFO_KIND, &tInfo);
    *pExists = !KFAILED(tRes);
    return tRes == KPR_E_NOT_FOUND ? uint32_t{K_SUCCESS} : tRes;
}

bool CacheFiles::hasOther(const std::string& pName, const fw::CacheAttrList& pAttributes,
                          const fw::CacheBytes& pData) const
{
    fw::CacheAttrList tAttributes;
    fw::CacheBytes tData;
    std::string tProblem;
    if (auto tRes = read(pName, &tAttributes, &tData, &tProblem); KFAILED(tRes))
        return tRes != KPR_E_NOT_FOUND;
    const auto tText = [](const fw::CacheBytes& pBytes) {
        return std::string_view(reinterpret_cast<const char*>(pBytes.mData), pBytes.mSize);
    };
    const auto tIsSame = [](const fw::KFSCacheAttr& pA, const fw::KFSCacheAttr& pB) {
        return std::string_view(pA.mKey) == pB.mKey && std::string_view(pA.mValue) == pB.mValue;
    };
    return tText(tData) != tText(pData) ||
           !std::equal(tAttributes.mAttrs, tAttributes.mAttrs + tAttributes.mCount, pAttributes.mAttrs,
                       pAttributes.mAttrs + pAttributes.mCount, tIsSame);
}

uint32_t
CacheFiles::visitEntries(const std::function<void(const char*, uint32_t, const KprFileInfo&)>& pVisit)
{
    constexpr uint32_t NAME_SIZE = 4096;
    mFailedPath = mObjectsDir;
    KprDir tDir = KPR_NO_DIR;
    if (auto tRes = kprOpenDir(mObjectsDir.c_str(), &tDir); KFAILED(tRes)) return tRes;
    std::string tName(NAME_SIZE, '\0');
    uint32_t tRes;
    while ((tRes = kprReadDir(tDir, tName.data(), NAME_SIZE, nullptr)) != KPR_E_END) {
        if (KFAILED(tRes) && tRes != KPR_E_BUFFER_TOO_SMALL) break;
        KprFileInfo tInfo = {};
        if (KFAILED(tRes))
            pVisit("", tRes, tInfo);
        else
            pVisit(tName.c_str(), kprGetFileInfo(objectPath(tName.c_str()).c_str(), KPR_INFO_ALL, &tInfo),
                   tInfo);
    }
    kprCloseDir(tDir);
    return tRes == KPR_E_END ? uint32_t{K_SUCCESS} : tRes;
}

uint32_t CacheFiles::listCandidates(kfw::Candidates* pCandidates)
{
    std::set<std::string> tSeen; // a listing may show an entry twice that changes meanwhile
    return visitEntries([&](const char* pName, uint32_t pFound, const KprFileInfo& pInfo) {
        if (*pName && !KFAILED(pFound) && tSeen.insert(pName).second) pCandidates->add(pName, pInfo);
    });
}

uint32_t CacheFiles::list(std::vector<CacheFile>& pFiles, uint64_t* pOthers)
{
    pFiles.clear();
    *pOthers = 0;
    uint32_t tFailed = K_SUCCESS;
    const uint32_t tRes = visitEntries([&](const char* pName, uint32_t pFound, const KprFileInfo& pInfo) {
        if (!kfw::isObjectName(pName))
            ++*pOthers;
        else if (!KFAILED(pFound))
            pFiles.push_back({pName, pInfo.size, pInfo.modified.seconds, pInfo.kind});
        else if (pFound != KPR_E_NOT_FOUND) { // what is cleaned while we look is no longer there to be listed
            tFailed = pFound;
            mFailedPath = objectPath(pName);
        }
    });
    if (KFAILED(tRes)) return tRes;
    if (KFAILED(tFailed)) return tFailed;
    std::sort(pFiles.begin(), pFiles.end(), [](const auto& pA, const auto& pB) { return pA.name < pB.name; });
    // A listing may show an entry twice that changes meanwhile.
    pFiles.erase(std::unique(pFiles.begin(), pFiles.end(),
                             [](const auto& pA, const auto& pB) { return pA.name == pB.name; }),
                 pFiles.end());
    return 0;
}

CacheFileFacts CacheFiles::examine(const CacheFile& pFile) const
{
    CacheFileFacts tFacts;
    const std::string tPath = objectPath(pFile.name);
    kfw::FirstProblem tLog;
    kfw::OpenFile tFile;
    uint32_t tRes = kfw::openObject(tPath, &tFile, tLog);
    kfw::FileBytes tBytes(tFile.get(), tLog);
    kfw::ObjectReader tReader(tBytes, tPath, tLog);
    if (!KFAILED(tRes)) tRes = tReader.readObjectHeader();
    if (!KFAILED(tRes)) tRes = tReader.checkAttributes();
    if (KFAILED(tRes)) {
        tFacts.problem = tLog.text().empty() ? komStrError(tRes) : tLog.text();
        // What the system refuses has a code of its own.
        tFacts.isRefused = tRes == E_FAIL;
        return tFacts;
    }
    tFacts.attributes = tReader.header().attrCount;
    tFacts.attributeBytes = tReader.header().attrSize;
    tFacts.dataBytes = tReader.header().dataSize;
    return tFacts;
}

uint32_t CacheFiles::removeRefused(const CacheFile& pFile, const std::function<bool(uint32_t)>& pWaiting,
                                   bool* pRemoved)
{
    constexpr uint32_t PAUSE_MS = 20;
    *pRemoved = false;
    // A link of somebody else's leads to what is no cache's.
    for (const std::string& tDir : {mDir, mObjectsDir}) {
        mFailedPath = tDir;
        if (auto tRes = kprCheckLink(tDir.c_str()); KFAILED(tRes)) return tRes;
    }
    mFailedPath = joinPath(mDir, kfw::INSERTED_COUNTER);
    kfw::OpenFile tInserted;
    if (auto tRes = tInserted.open(mFailedPath, KPR_OPEN_READ_WRITE); KFAILED(tRes)) return tRes;
    uint32_t tWaited = 0;
    for (;;) {
        // Given back when the file is closed.
        const uint32_t tRes = kprLockFile(tInserted.get(), KPR_LOCK_EXCLUSIVE | KPR_LOCK_NO_WAIT, 0, 0);
        if (!KFAILED(tRes)) break;
        if (tRes != KPR_E_LOCKED || !pWaiting(tWaited)) return tRes;
        kprSleep(PAUSE_MS);
        tWaited += PAUSE_MS;
    }
    const std::string tCounterPath = joinPath(mDir, kfw::CLEANED_COUNTER);
    mFailedPath = tCounterPath;
    kfw::OpenFile tCleaned;
    if (auto tRes = tCleaned.open(tCounterPath, KPR_OPEN_READ_WRITE); KFAILED(tRes)) return tRes;
    // Somebody may have removed it, and stored a good one.
    KprFileInfo tInfo = {};
    mFailedPath = objectPath(pFile.name);
    const uint32_t tFound = kprGetFileInfo(mFailedPath.c_str(), KPR_INFO_KIND | KPR_INFO_SIZE, &tInfo);
    if (tFound == KPR_E_NOT_FOUND) return 0;
    if (KFAILED(tFound)) return tFound;
    if (tInfo.kind != KPR_KIND_FILE || !examine(pFile).isRefused) return 0;
    if (auto tRes = kprRemoveFile(mFailedPath.c_str()); KFAILED(tRes)) return tRes;
    *pRemoved = true;
    mFailedPath = tCounterPath;
    kfw::FirstProblem tLog; // the code says enough
    kfw::FileBytes tBytes(tCleaned.get(), tLog);
    return kfw::CounterFile("khost", mFailedPath, tLog).add(tBytes, kfw::kilobytes(tInfo.size));
}

uint32_t CacheFiles::read(const std::string& pName, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData,
                          std::string* pProblem) const
{
    const std::string tPath = objectPath(pName);
    kfw::FirstProblem tLog;
    kfw::OpenFile tFile;
    uint32_t tRes = kfw::openObject(tPath, &tFile, tLog);
    kfw::FileBytes tBytes(tFile.get(), tLog);
    kfw::ObjectReader tReader(tBytes, tPath, tLog);
    if (!KFAILED(tRes)) tRes = tReader.readObjectHeader();
    fw::CacheAttrList tAttributes;
    if (!KFAILED(tRes)) tRes = tReader.readAttributes(&tAttributes);
    if (!KFAILED(tRes) && pData) tRes = tReader.readData(pData);
    if (!KFAILED(tRes)) *pAttributes = std::move(tAttributes);
    *pProblem = tLog.text();
    return tRes;
}

uint32_t CacheFiles::readCounters(CacheCounters* pCounters)
{
    if (auto tRes = readCounter(kfw::INSERTED_COUNTER, &pCounters->insertedKb); KFAILED(tRes)) return tRes;
    return readCounter(kfw::CLEANED_COUNTER, &pCounters->cleanedKb);
}

// Without a lock: those who hold one let others read.
uint32_t CacheFiles::readCounter(const char* pName, uint64_t* pValue)
{
    mFailedPath = joinPath(mDir, pName);
    kfw::OpenFile tFile;
    if (auto tRes = tFile.open(mFailedPath, KPR_OPEN_READ); KFAILED(tRes)) return tRes;
    kfw::FirstProblem tLog; // the code says enough
    kfw::FileBytes tBytes(tFile.get(), tLog);
    return kfw::CounterFile("khost", mFailedPath, tLog).read(tBytes, pValue);
}

uint32_t CacheFiles::isCleanerAtWork(bool* pAtWork)
{
    mFailedPath = joinPath(mDir, kfw::CLEANED_COUNTER);
    uint32_t tLocked = 0;
    // A shared lock is refused only while somebody has the exclusive one, as cleaners do: whoever else asks
    // at the same time is not in the way.
    const uint32_t tRes = kprIsFileLocked(mFailedPath.c_str(), KPR_LOCK_SHARED, &tLocked);
    *pAtWork = tLocked != 0;
    return tRes;
}

} // namespace vel::kos::host
