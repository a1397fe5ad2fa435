#include "host/khost/khost_CacheFiles.h"

#include <algorithm>
#include <cstring>

#include "host/khost/khost_Paths.h"
#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/format/kfw_ObjectFile.h"
#include "kom/identity.h"
#include "kpr/byteorder.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/map.h"

namespace vel::kos::host {

namespace {

/// Whether a name is one that the cache gives to object files: 32 hexadecimal digits, letters in upper case.
bool isObjectName(std::string_view pName)
{
    return pName.size() == kfw::OBJECT_NAME_LENGTH &&
           pName.find_first_not_of("0123456789ABCDEF") == pName.npos;
}

} // namespace

CacheFiles::CacheFiles(const std::string& pUserAppDir)
    : mDir(joinPath(pUserAppDir, "cache")), mObjectsDir(joinPath(mDir, "objects"))
{
}

uint32_t CacheFiles::list(std::vector<CacheFile>& pFiles, uint64_t* pOthers)
{
    constexpr uint32_t NAME_SIZE = 4096;
    pFiles.clear();
    *pOthers = 0;
    mCulprit = mObjectsDir;
    KprDir tDir = KPR_NO_DIR;
    if (auto tRes = kprOpenDir(mObjectsDir.c_str(), &tDir); KFAILED(tRes)) return tRes;
    std::string tName(NAME_SIZE, '\0');
    uint32_t tRes;
    while ((tRes = kprReadDir(tDir, tName.data(), NAME_SIZE, nullptr)) != KPR_E_END) {
        if (KFAILED(tRes) && tRes != KPR_E_BUFFER_TOO_SMALL) break;
        CacheFile tFile;
        tFile.name = KFAILED(tRes) ? "" : tName.c_str();
        if (!isObjectName(tFile.name)) {
            ++*pOthers;
            continue;
        }
        KprFileInfo tInfo = {};
        // What is cleaned while we look is no longer there to be listed.
        const uint32_t tFound =
            kprGetFileInfo(joinPath(mObjectsDir, tFile.name).c_str(), KPR_INFO_ALL, &tInfo);
        if (tFound == KPR_E_NOT_FOUND) continue;
        tFile.bytes = tInfo.size;
        tFile.modified = tInfo.modified.seconds;
        tFile.kind = tInfo.kind;
        pFiles.push_back(std::move(tFile));
    }
    kprCloseDir(tDir);
    if (tRes != KPR_E_END) return tRes;
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
    const std::string tPath = joinPath(mObjectsDir, pFile.name);
    KprFile tFile = KPR_NO_FILE;
    KprFileInfo tInfo = {};
    uint32_t tRes = kprOpenFile(tPath.c_str(), KPR_OPEN_READ, &tFile);
    if (!KFAILED(tRes)) tRes = kprGetOpenFileInfo(tFile, KPR_INFO_SIZE, &tInfo);
    uint8_t tHead[kfw::OBJECT_HEADER_SIZE] = {};
    uint32_t tRead = 0;
    if (!KFAILED(tRes)) tRes = kprRead(tFile, tHead, sizeof tHead, &tRead);

    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tList;
    if (!KFAILED(tRes)) {
        tFacts.problem = kfw::checkObjectSize(tPath, tInfo.size);
        if (tFacts.problem.empty())
            tFacts.problem =
                kfw::parseObjectHeader(tPath, static_cast<uint32_t>(tInfo.size), tHead, tRead, &tHeader);
        // The data itself is any bytes: that its space lies in the file is all that can be told.
        if (tFacts.problem.empty()) {
            std::vector<uint8_t> tSpace(tHeader.attrSize);
            if (!tSpace.empty())
                tRes = kprSeekAndRead(tFile, tHeader.attrOffset, tSpace.data(), tHeader.attrSize, &tRead);
            if (!KFAILED(tRes) && !tSpace.empty() && tRead < tHeader.attrSize) tRes = KPR_E_IO;
            if (!KFAILED(tRes))
                tFacts.problem =
                    kfw::parseAttributes(tSpace.data(), tHeader.attrSize, tHeader.attrCount, &tList);
        }
    }
    if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
    if (KFAILED(tRes)) tFacts.problem = komStrError(tRes);
    if (tFacts.problem.empty()) {
        tFacts.attributes = tList.mCount;
        tFacts.dataBytes = tHeader.dataSize;
    }
    return tFacts;
}

uint32_t CacheFiles::readCounters(CacheCounters* pCounters)
{
    if (auto tRes = readCounter("inserted", &pCounters->insertedKb); KFAILED(tRes)) return tRes;
    return readCounter("cleaned", &pCounters->cleanedKb);
}

// A mapping shows a file's bytes also where another process has them locked.
uint32_t CacheFiles::readCounter(const char* pName, uint64_t* pValue)
{
    mCulprit = joinPath(mDir, pName);
    KprFile tFile = KPR_NO_FILE;
    if (auto tRes = kprOpenFile(mCulprit.c_str(), KPR_OPEN_READ, &tFile); KFAILED(tRes)) return tRes;
    KprMapping tMapping;
    const uint32_t tMapped = kprMapFile(tFile, &tMapping);
    kprCloseFile(tFile);
    if (KFAILED(tMapped)) return tMapped;
    uint64_t tValue = 0;
    const bool tWhole = tMapping.size >= sizeof tValue;
    if (tWhole) std::memcpy(&tValue, tMapping.data, sizeof tValue);
    kprUnmapFile(&tMapping);
    if (!tWhole) return E_FAIL;
    *pValue = kprBE2Host64(tValue);
    return 0;
}

uint32_t CacheFiles::isCleanerAtWork(bool* pAtWork)
{
    mCulprit = joinPath(mDir, "cleaned");
    uint32_t tLocked = 0;
    const uint32_t tRes = kprIsFileLocked(mCulprit.c_str(), &tLocked);
    *pAtWork = tLocked != 0;
    return tRes;
}

} // namespace vel::kos::host
