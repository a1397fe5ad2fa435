// One of several processes that use a cache at once: eight threads over two caches on one directory.
//
//     kfw_FSCache_Worker USER-DIR SEED ROUNDS
//
// Status 0 when every result was as it must be: an object is missing or whole, and says of itself what it is.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kfw/cache/kfw_FSCache.h"
#include "kom/identity.h"
#include "kpr/md5.h"
#include "tests/support/TestApplication.h"

using namespace vel::kos;

namespace {

constexpr unsigned THREADS = 8;
constexpr unsigned SHARED_OBJECTS = 40;

std::atomic<unsigned> gFailures;

void fail(const std::string& pUri, const char* pWhat, uint32_t pCode)
{
    ++gFailures;
    std::fprintf(stderr, "%s: %s: 0x%08X\n", pUri.c_str(), pWhat, pCode);
}

std::string digestOf(const std::string& pBytes)
{
    KprMD5 tState;
    uint8_t tDigest[16];
    kprMD5Init(&tState);
    kprMD5Update(&tState, pBytes.data(), static_cast<uint32_t>(pBytes.size()));
    kprMD5Final(&tState, tDigest);
    std::string tText;
    for (const uint8_t tByte : tDigest)
        tText += std::to_string(tByte) + ".";
    return tText;
}

/// Stores an object that says what it is: its URI, length and digest.
uint32_t put(fw::IFileSystemCache& pCache, const std::string& pUri, std::mt19937& pRandom)
{
    const std::size_t tLength = pRandom() % 3 == 0 ? pRandom() % 60000 : pRandom() % 3000;
    std::string tData(tLength, '\0');
    const std::size_t tSalt = pRandom();
    for (std::size_t i = 0; i < tLength; ++i)
        tData[i] = static_cast<char>(tSalt + i * 7 + i / 251);
    fw::CacheAttrList tList;
    tList.add("uri", pUri.c_str());
    tList.add("length", std::to_string(tLength).c_str());
    tList.add("digest", digestOf(tData).c_str());
    tList.add("filler", std::string(pRandom() % 9000, 'f').c_str());
    fw::CacheBytes tBytes;
    tBytes.mSize = static_cast<uint32_t>(tLength);
    tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tLength));
    std::copy(tData.begin(), tData.end(), tBytes.mData);
    return pCache.putObject(pUri.c_str(), &tList, &tBytes);
}

void checkAttributes(const std::string& pUri, const fw::CacheAttrList& pList, const std::string* pData)
{
    if (pList.mCount != 4 || pUri != pList.mAttrs[0].mValue)
        return fail(pUri, "foreign attributes", pList.mCount);
    if (!pData) return;
    if (std::to_string(pData->size()) != pList.mAttrs[1].mValue) return fail(pUri, "wrong length", 0);
    if (digestOf(*pData) != pList.mAttrs[2].mValue) fail(pUri, "wrong digest", 0);
}

void get(fw::IFileSystemCache& pCache, const std::string& pUri)
{
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    const uint32_t tRes = pCache.getObject(pUri.c_str(), &tList, &tBytes);
    if (tRes == KPR_E_NOT_FOUND) return;
    if (tRes != 0) return fail(pUri, "getObject", tRes);
    const std::string tData(reinterpret_cast<const char*>(tBytes.mData), tBytes.mSize);
    checkAttributes(pUri, tList, &tData);
}

void getAttributes(fw::IFileSystemCache& pCache, const std::string& pUri)
{
    fw::CacheAttrList tList;
    const uint32_t tRes = pCache.getAttributes(pUri.c_str(), &tList);
    if (tRes == KPR_E_NOT_FOUND) return;
    if (tRes != 0) return fail(pUri, "getAttributes", tRes);
    checkAttributes(pUri, tList, nullptr);
}

void pinAndUnpin(fw::IFileSystemCache& pCache, const std::string& pUri)
{
    const uint32_t tRes = pCache.pinObject(pUri.c_str());
    if (tRes == KPR_E_NOT_FOUND) return;
    if (tRes != 0) return fail(pUri, "pinObject", tRes);
    if (const uint32_t tUnpinned = pCache.unpinObject(pUri.c_str()); tUnpinned != 0)
        fail(pUri, "unpinObject", tUnpinned);
}

void work(fw::IFileSystemCache& pCache, unsigned pSeed, unsigned pThread, unsigned pRounds)
{
    std::mt19937 tRandom(pSeed * THREADS + pThread);
    const std::string tOwn = "http://own/" + std::to_string(pSeed) + "/" + std::to_string(pThread) + "/";
    unsigned tOwnCount = 0;
    for (unsigned i = 0; i < pRounds; ++i) {
        const std::string tUri = "http://shared/" + std::to_string(tRandom() % SHARED_OBJECTS);
        switch (tRandom() % 8) {
        case 0:
        case 1:
            if (const uint32_t tRes = put(pCache, tUri, tRandom); tRes != 0) fail(tUri, "putObject", tRes);
            break;
        case 2: {
            const std::string tNew = tOwn + std::to_string(tOwnCount++);
            if (const uint32_t tRes = put(pCache, tNew, tRandom); tRes != 0) fail(tNew, "putObject", tRes);
            uint32_t tExists = 0;
            if (const uint32_t tRes = pCache.hasObject(tNew.c_str(), &tExists); tRes != 0 || tExists != 1)
                fail(tNew, "hasObject", tRes);
            break;
        }
        case 3:
            pinAndUnpin(pCache, tUri);
            break;
        case 4:
            getAttributes(pCache, tUri);
            break;
        default:
            get(pCache, tUri);
        }
    }
    for (unsigned i = 0; i < tOwnCount; ++i)
        get(pCache, tOwn + std::to_string(i));
}

} // namespace

int main(int pCount, char** pArguments)
{
    if (pCount != 4) return 2;
    const unsigned tSeed = static_cast<unsigned>(std::atoi(pArguments[2]));
    const unsigned tRounds = static_cast<unsigned>(std::atoi(pArguments[3]));
    const auto tApp = test::TestApplication::make();
    tApp->setUserAppDir(pArguments[1]);
    const kom::Ref<fw::IFileSystemCache> tCaches[] = {kom::retain(new kfw::FSCache),
                                                      kom::retain(new kfw::FSCache)};
    for (const auto& tCache : tCaches)
        if (const uint32_t tRes = tCache->init(tApp.get()); tRes != 0) fail(pArguments[1], "init", tRes);
    std::vector<std::thread> tThreads;
    for (unsigned i = 0; i < THREADS; ++i)
        tThreads.emplace_back([&, i] { work(*tCaches[i % 2], tSeed, i, tRounds); });
    for (std::thread& tThread : tThreads)
        tThread.join();
    for (const auto& tLine : tApp->logLines())
        if (tLine.message.find(komStrError(KPR_E_NOT_FOUND)) == std::string::npos)
            fail(tLine.message, "logged", tLine.level);
    for (const auto& tAssertion : tApp->assertions())
        fail(tAssertion.expression, "assertion", 0);
    return gFailures == 0 ? 0 : 1;
}
