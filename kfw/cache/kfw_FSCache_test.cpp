// The cache through its interface: identities, states, store, lookup, pins.
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

#include <cstring>

#include "kfw/classes.h"
#include "kfw/module/kfw_ClassTable.h"
#include "kpr/testing/kpr_volume_facts.h"

namespace vel::kos::kfw {

namespace {

using test::readFile;
using test::writeFile;

class FSCacheTest : public FSCacheFixture {};

const char* const NEXT_VERSION_IID = "IDL:vel/kos/fw/IFileSystemCache:1.1";

TEST_F(FSCacheTest, returnsItsIdentities)
{
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IFileSystemCache:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(mCache->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, mCache->unknown());
        EXPECT_EQ(mCache->release(), 1u);
    }
    kom::IUnknown* tInterface = mCache->unknown();
    EXPECT_EQ(mCache->queryInterface(NEXT_VERSION_IID, &tInterface), 0x80004002u);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_STREQ(mCache->getInterfaceId(), "IDL:vel/kos/fw/IFileSystemCache:1.0");
}

TEST_F(FSCacheTest, hasARowInTheClassTable)
{
    kom::Ref<kom::IObjectFactory> tFactory;
    for (const ClassRow& tRow : classTable())
        if (std::strcmp(tRow.classId, "67421a6c-857f-11d8-b9d6-00e081513ada") == 0)
            tFactory = kom::retain(tRow.makeFactory());
    ASSERT_TRUE(tFactory);
    kom::IUnknown *tFirst = nullptr, *tSecond = nullptr;
    EXPECT_EQ(tFactory->createInstance(nullptr, fw::IFileSystemCache::IID, &tFirst), 0u);
    EXPECT_EQ(tFactory->createInstance(nullptr, fw::IFileSystemCache::IID, &tSecond), 0u);
    EXPECT_NE(tFirst, tSecond);
    EXPECT_EQ(tFirst->release(), 0u);
    EXPECT_EQ(tSecond->release(), 0u);
}

TEST_F(FSCacheTest, returnsWrongStateBeforeInit)
{
    for (const auto& [tOperation, tAnswer] : callEverything(*mCache))
        EXPECT_EQ(tAnswer, 0x80000100u) << tOperation;
    fw::CacheId tId{};
    EXPECT_EQ(mCache->computeCacheId("http://example.com/", &tId), 0x80000100u);
    EXPECT_EQ(mCache->computeCacheId("", &tId), 0x80000100u) << "the state comes before the URI";
}

TEST_F(FSCacheTest, returnsInvalidArgumentForNullPointersBeforeAnythingElse)
{
    const fw::CacheId tId{};
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    for (const bool tInitialised : {false, true}) {
        if (tInitialised) init();
        const char* tUri = "http://example.com/";
        EXPECT_EQ(mCache->computeCacheId(tUri, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->putObject(tUri, nullptr, &tBytes), 0x80070057u);
        EXPECT_EQ(mCache->putObject(tUri, &tList, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->putObjectFile(nullptr, &tBytes), 0x80070057u);
        EXPECT_EQ(mCache->putObjectFile(&tId, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->getObject(tUri, nullptr, &tBytes), 0x80070057u);
        EXPECT_EQ(mCache->getObject(tUri, &tList, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->getObjectFile(nullptr, &tBytes), 0x80070057u);
        EXPECT_EQ(mCache->getObjectFile(&tId, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->getAttributes(tUri, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->hasObject(tUri, nullptr), 0x80070057u);
        EXPECT_EQ(mCache->pinObjectById(nullptr), 0x80070057u);
        EXPECT_EQ(mCache->unpinObjectById(nullptr), 0x80070057u);
        tBytes.mSize = 1; // a size without a buffer
        EXPECT_EQ(mCache->putObject(tUri, &tList, &tBytes), 0x80070057u);
        EXPECT_EQ(mCache->putObjectFile(&tId, &tBytes), 0x80070057u);
        tBytes.mSize = 0;
        tList.mCount = 1;
        EXPECT_EQ(mCache->putObject(tUri, &tList, &tBytes), 0x80070057u);
        tList.mCount = 0;
    }
}

TEST_F(FSCacheTest, namesObjectsByTheDigestOfTheirUri)
{
    init();
    EXPECT_EQ(nameOf("http://example.com/"), "A6BF1757FFF057F266B697DF9CF176FD");
    EXPECT_EQ(nameOf("HTTP://EXAMPLE.com:80"), "A6BF1757FFF057F266B697DF9CF176FD") << "normalised";
    EXPECT_EQ(nameOf("http://example.com/?a=1?b"), "A6BF1757FFF057F266B697DF9CF176FD") << "up to the query";
    EXPECT_EQ(nameOf("http://example.com/?a=2"), nameOf("http://example.com/?a=3"));
    EXPECT_NE(nameOf("http://example.com/a"), nameOf("http://example.com/b"));
    fw::CacheId tId{};
    for (const char* tUri : {static_cast<const char*>(nullptr), "", "no scheme", "//host/path"})
        EXPECT_EQ(mCache->computeCacheId(tUri, &tId), 0x80070057u);
}

TEST_F(FSCacheTest, keepsWhatWasPut)
{
    init();
    const Attributes tAttributes = {{"Content-Type", "text/html"}, {"a", ""}, {"", "b"}, {"a", "again"}};
    for (const std::size_t tSize : {0u, 1u, 4095u, 4096u, 4097u, 100000u}) {
        const std::string tUri = "http://example.com/" + std::to_string(tSize);
        std::string tData(tSize, '\0');
        for (std::size_t i = 0; i < tSize; ++i)
            tData[i] = static_cast<char>(i * 31 + tSize);
        ASSERT_EQ(put(tUri, tAttributes, tData), 0u);
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        EXPECT_EQ(mCache->getObject(tUri.c_str(), &tList, &tBytes), 0u);
        EXPECT_EQ(toVector(tList), tAttributes);
        EXPECT_EQ(toString(tBytes), tData);
        EXPECT_EQ(tBytes.mData == nullptr, tSize == 0);
        fw::CacheAttrList tOnly;
        EXPECT_EQ(mCache->getAttributes(tUri.c_str(), &tOnly), 0u);
        EXPECT_EQ(toVector(tOnly), tAttributes);
    }
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FSCacheTest, keepsAttributesOfEverySize)
{
    init();
    Attributes tAttributes;
    for (std::size_t i = 0; i < 40; ++i)
        tAttributes.emplace_back(std::string(i, 'k'), std::string(i * i * 3, 'v'));
    ASSERT_EQ(put("http://example.com/", tAttributes, "x"), 0u);
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    EXPECT_EQ(mCache->getObject("http://example.com/", &tList, &tBytes), 0u);
    EXPECT_EQ(toVector(tList), tAttributes);
    EXPECT_EQ(toString(tBytes), "x");
}

TEST_F(FSCacheTest, writesNullStringsAsEmptyOnes)
{
    init();
    fw::CacheAttrList tList;
    tList.add("", "");
    komFree(std::exchange(tList.mAttrs[0].mKey, nullptr));
    komFree(std::exchange(tList.mAttrs[0].mValue, nullptr));
    const fw::CacheBytes tBytes;
    ASSERT_EQ(mCache->putObject("http://example.com/", &tList, &tBytes), 0u);
    EXPECT_EQ(mCache->getAttributes("http://example.com/", &tList), 0u);
    EXPECT_EQ(toVector(tList), (Attributes{{"", ""}}));
}

TEST_F(FSCacheTest, writesTheSmallestObjectIn28Bytes)
{
    init();
    ASSERT_EQ(put("http://example.com/", {}, ""), 0u);
    EXPECT_EQ(readFile(fileOf("http://example.com/")),
              std::string("\x0E\x9A\x5B\x42\0\0\0\1\0\0\0\x1C\0\0\0\0\0\0\0\0\0\0\0\x1C\0\0\0\0", 28));
    EXPECT_EQ(fileCount(), 1u);
}

TEST_F(FSCacheTest, keepsTheFirstOfTwoAndRefreshesItsTime)
{
    init();
    const char* tUri = "http://example.com/?first";
    ASSERT_EQ(put(tUri, {{"k", "1"}}, "first"), 0u);
    EXPECT_EQ(counter("inserted"), 1u);
    makeOld(tUri, 5000);
    KprTime tNow;
    ASSERT_EQ(kprGetCurrentTime(&tNow), 0u);
    ASSERT_EQ(put("http://example.com/?second", {}, std::string(5000, 's')), 0u);
    EXPECT_EQ(counter("inserted"), 1u);
    EXPECT_GE(modifiedSeconds(tUri), tNow.seconds - 1);
    EXPECT_EQ(fileCount(), 1u) << "nothing temporary is left";
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    EXPECT_EQ(mCache->getObject(tUri, &tList, &tBytes), 0u);
    EXPECT_EQ(toString(tBytes), "first");
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FSCacheTest, countsStartedKilobytes)
{
    init();
    uint64_t tExpected = 0;
    for (const auto& [tData, tKilobytes] :
         {std::pair(0u, 1u), std::pair(1024u - 28, 1u), std::pair(1025u - 28, 2u), std::pair(70000u, 69u)}) {
        ASSERT_EQ(put("http://example.com/" + std::to_string(tData), {}, std::string(tData, 'x')), 0u);
        EXPECT_EQ(counter("inserted"), tExpected += tKilobytes);
    }
    const fw::CacheId tId{};
    const fw::CacheBytes tNothing;
    ASSERT_EQ(mCache->putObjectFile(&tId, &tNothing), 0u);
    EXPECT_EQ(counter("inserted"), tExpected) << "an empty file has none";
}

TEST_F(FSCacheTest, theInsertedCounterHas64Bits)
{
    writeFile(mDir.path() / "x", "");
    std::filesystem::create_directory(cacheDir());
    writeFile(cacheDir() / "inserted", std::string("\0\0\0\0\xFF\xFF\xFF\xFF", 8));
    init();
    ASSERT_EQ(put("http://example.com/", {}, ""), 0u);
    EXPECT_EQ(counter("inserted"), 0x100000000u);
}

TEST_F(FSCacheTest, returnsAMissingObjectWithItsCode)
{
    init();
    fw::CacheAttrList tList = makeList({{"left", "over"}});
    fw::CacheBytes tBytes = makeBytes("left over");
    const std::string tMessage = "FS cache: can't open " + fileOf("http://example.com/").string() +
                                 " for reading: " + komStrError(0x96230003u);
    EXPECT_EQ(mCache->getObject("http://example.com/", &tList, &tBytes), 0x96230003u);
    EXPECT_EQ(tList.mCount, 0u);
    EXPECT_EQ(tList.mAttrs, nullptr);
    EXPECT_EQ(tBytes.mSize, 0u);
    EXPECT_EQ(tBytes.mData, nullptr);
    expectLogged(tMessage);

    mApp->clearRecords();
    tList = makeList({{"left", "over"}});
    EXPECT_EQ(mCache->getAttributes("http://example.com/", &tList), 0x96230003u);
    EXPECT_EQ(tList.mCount, 0u);
    expectLogged(tMessage);
    EXPECT_EQ(mCache->getAttributes("", &tList), 0x80070057u);
}

TEST_F(FSCacheTest, clearsTheOutputsOfABadUriToo)
{
    init();
    fw::CacheAttrList tList = makeList({{"left", "over"}});
    fw::CacheBytes tBytes = makeBytes("left over");
    EXPECT_EQ(mCache->getObject("", &tList, &tBytes), 0x80070057u);
    EXPECT_EQ(tList.mCount, 0u);
    EXPECT_EQ(tBytes.mSize, 0u);
}

TEST_F(FSCacheTest, handsObjectFilesOverWhole)
{
    init();
    ASSERT_EQ(put("http://example.com/a", {{"key", "value"}}, "data"), 0u);
    const fw::CacheId tFrom = idOf("http://example.com/a"), tTo = idOf("http://example.com/b");
    fw::CacheBytes tFile = makeBytes("owned before");
    ASSERT_EQ(mCache->getObjectFile(&tFrom, &tFile), 0u);
    EXPECT_EQ(toString(tFile), readFile(fileOf("http://example.com/a")));
    ASSERT_EQ(mCache->putObjectFile(&tTo, &tFile), 0u);
    EXPECT_EQ(counter("inserted"), 2u);
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    EXPECT_EQ(mCache->getObject("http://example.com/b", &tList, &tBytes), 0u);
    EXPECT_EQ(toVector(tList), (Attributes{{"key", "value"}}));
    EXPECT_EQ(toString(tBytes), "data");
}

TEST_F(FSCacheTest, doesNotLookIntoObjectFiles)
{
    init();
    const fw::CacheId tId = idOf("http://example.com/");
    for (const std::string& tContent : {std::string(), std::string("anything")}) {
        std::filesystem::remove(fileOf("http://example.com/"));
        const fw::CacheBytes tBytes = makeBytes(tContent);
        ASSERT_EQ(mCache->putObjectFile(&tId, &tBytes), 0u);
        EXPECT_EQ(readFile(fileOf("http://example.com/")), tContent);
        fw::CacheBytes tBack;
        EXPECT_EQ(mCache->getObjectFile(&tId, &tBack), 0u);
        EXPECT_EQ(toString(tBack), tContent);
    }
    const fw::CacheBytes tOther = makeBytes("other");
    EXPECT_EQ(mCache->putObjectFile(&tId, &tOther), 0u);
    EXPECT_EQ(readFile(fileOf("http://example.com/")), "anything") << "the first is kept";
    EXPECT_EQ(counter("inserted"), 1u);
}

TEST_F(FSCacheTest, aMissingObjectFileLeavesTheBufferAsItWas)
{
    init();
    const fw::CacheId tId = idOf("http://example.com/");
    fw::CacheBytes tBytes = makeBytes("as it was");
    EXPECT_EQ(mCache->getObjectFile(&tId, &tBytes), 0x96230003u);
    EXPECT_EQ(toString(tBytes), "as it was");
    expectLogged("FS cache: can't get size of " + fileOf("http://example.com/").string() + ": " +
                 komStrError(0x96230003u));
}

TEST_F(FSCacheTest, hasObjectTellsWhetherTheObjectIsThere)
{
    init();
    uint32_t tExists = 7;
    EXPECT_EQ(mCache->hasObject("http://example.com/", &tExists), 0u);
    EXPECT_EQ(tExists, 0u);
    ASSERT_EQ(put("http://example.com/", {}, ""), 0u);
    EXPECT_EQ(mCache->hasObject("http://example.com/?query", &tExists), 0u);
    EXPECT_EQ(tExists, 1u);
    EXPECT_EQ(mCache->hasObject("", &tExists), 0x80070057u);
    EXPECT_EQ(tExists, 0u);
    EXPECT_TRUE(mApp->logLines().empty()) << "a missing object is an answer";
}

TEST_F(FSCacheTest, hasObjectRefreshesOldTimesOnly)
{
    if (const std::string tFat = kprtest::fatName(mDir.path()); !tFat.empty())
        GTEST_SKIP() << tFat << " keeps times in steps";
    init();
    const char* tUri = "http://example.com/";
    ASSERT_EQ(put(tUri, {}, ""), 0u);
    KprTime tNow;
    ASSERT_EQ(kprGetCurrentTime(&tNow), 0u);
    test::FaultTable::setClock(tNow);
    uint32_t tExists = 0;
    for (const auto& [tAge, tTouched] : {std::pair(899, false), std::pair(900, false), std::pair(901, true),
                                         std::pair(1200, true), std::pair(-5000, false)}) {
        makeOld(tUri, tAge);
        EXPECT_EQ(mCache->hasObject(tUri, &tExists), 0u);
        EXPECT_EQ(tExists, 1u);
        EXPECT_EQ(modifiedSeconds(tUri), tTouched ? tNow.seconds : tNow.seconds - tAge) << tAge;
    }
}

TEST_F(FSCacheTest, followsTheClockOfTheFileSystem)
{
    if (const std::string tFat = kprtest::fatName(mDir.path()); !tFat.empty())
        GTEST_SKIP() << tFat << " keeps times in steps";
    constexpr int64_t tHour = 3600;
    for (const int64_t tOffset : {tHour, -tHour}) {
        test::FaultTable::setServerClockOffset(tOffset * 1000000);
        mCache = kom::retain(new FSCache);
        init();
        const std::string tUri = "http://example.com/" + std::to_string(tOffset);
        ASSERT_EQ(put(tUri, {}, ""), 0u);
        const int64_t tBefore = modifiedSeconds(tUri);
        uint32_t tExists = 0;
        EXPECT_EQ(mCache->hasObject(tUri.c_str(), &tExists), 0u);
        EXPECT_EQ(modifiedSeconds(tUri), tBefore) << "a new object is not old";
        KprTime tServer;
        ASSERT_EQ(kprGetCurrentTime(&tServer), 0u);
        const int64_t tLocal = tServer.seconds;
        tServer.seconds += tOffset - 1000;
        ASSERT_EQ(kprSetFileTime(fileOf(tUri).string().c_str(), &tServer, &tServer), 0u);
        EXPECT_EQ(mCache->hasObject(tUri.c_str(), &tExists), 0u);
        EXPECT_NEAR(static_cast<double>(modifiedSeconds(tUri) - tOffset), static_cast<double>(tLocal), 2)
            << "refreshed to now, by the server's clock";
    }
}

TEST_F(FSCacheTest, roundsBothClocksToSeconds)
{
    if (const std::string tFat = kprtest::fatName(mDir.path()); !tFat.empty())
        GTEST_SKIP() << tFat << " keeps times in steps";
    // Real file times against a clock of the test's: the offset moves what touching writes.
    struct Case {
        int64_t fileMicroseconds, clockMicroseconds;
        int64_t expected;
    };
    for (const Case& tCase : {Case{500000, 500000, 100}, Case{500001, 500000, 101}, Case{500000, 500001, 99},
                              Case{999999, 999999, 100}, Case{0, 999999, 99}}) {
        startAnew();
        std::filesystem::remove_all(cacheDir());
        const KprTime tClock = {1700000000, static_cast<uint32_t>(tCase.clockMicroseconds), 0};
        const KprTime tFileTime = {1700000100, static_cast<uint32_t>(tCase.fileMicroseconds), 0};
        test::FaultTable::setClock(tClock);
        // Every temporary file gets the file time, also the one that the offset is measured with.
        test::FaultTable::onTempFile(
            [&](const char* pPath) { ASSERT_EQ(kprSetFileTime(pPath, &tFileTime, &tFileTime), 0u); });
        init();
        ASSERT_EQ(put("http://example.com/", {}, ""), 0u);
        ASSERT_EQ(put("http://example.com/", {}, ""), 0u) << "touches";
        EXPECT_EQ(modifiedSeconds("http://example.com/"), tClock.seconds + tCase.expected)
            << tCase.fileMicroseconds << ' ' << tCase.clockMicroseconds;
    }
}

TEST_F(FSCacheTest, countsPins)
{
    init();
    const char* tUri = "http://example.com/";
    ASSERT_EQ(put(tUri, {}, ""), 0u);
    const fw::CacheId tId = idOf(tUri);
    EXPECT_EQ(mCache->unpinObject(tUri), 0x80070057u);
    makeOld(tUri, 5000);
    EXPECT_EQ(mCache->pinObject(tUri), 0u);
    KprTime tNow;
    ASSERT_EQ(kprGetCurrentTime(&tNow), 0u);
    EXPECT_GE(modifiedSeconds(tUri), tNow.seconds - 1) << "the first pin refreshes the time";
    makeOld(tUri, 5000);
    EXPECT_EQ(mCache->pinObjectById(&tId), 0u);
    EXPECT_LT(modifiedSeconds(tUri), tNow.seconds - 4000) << "the second does not";
    EXPECT_EQ(mCache->unpinObjectById(&tId), 0u);
    EXPECT_EQ(mCache->unpinObject(tUri), 0u);
    EXPECT_EQ(mCache->unpinObject(tUri), 0x80070057u);
    EXPECT_EQ(mCache->pinObject(""), 0x80070057u);
    EXPECT_EQ(mCache->unpinObject(""), 0x80070057u);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FSCacheTest, doesNotPinWhatIsNotThere)
{
    init();
    EXPECT_EQ(mCache->pinObject("http://example.com/"), 0x96230003u);
    expectLogged("FS cache: failed to touch " + fileOf("http://example.com/").string() + ": " +
                 komStrError(0x96230003u));
    EXPECT_EQ(mCache->unpinObject("http://example.com/"), 0x80070057u) << "nothing was recorded";
}

/// Turns every URI into one identity and records the calls.
class DerivedCache : public FSCache {
public:
    uint32_t computeCacheId(const char* pUri, fw::CacheId* pId) override
    {
        mCalls.push_back(std::string("compute ") + pUri);
        if (mAnswer) return mAnswer;
        std::fill(std::begin(pId->mBytes), std::end(pId->mBytes), uint8_t(0xAB));
        return 0;
    }
    uint32_t pinObjectById(const fw::CacheId* pId) override
    {
        mCalls.push_back("pin " + std::to_string(pId->mBytes[15]));
        return 21;
    }
    uint32_t unpinObjectById(const fw::CacheId* pId) override
    {
        mCalls.push_back("unpin " + std::to_string(pId->mBytes[15]));
        return 22;
    }

    std::vector<std::string> mCalls;
    uint32_t mAnswer = 0;
};

TEST_F(FSCacheTest, uriFormsGoThroughTheVirtualTable)
{
    const auto tCache = kom::retain(new DerivedCache);
    mCache = tCache;
    init();
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    uint32_t tExists = 0;
    EXPECT_EQ(put("one", {}, "data"), 0u);
    EXPECT_EQ(mCache->getObject("two", &tList, &tBytes), 0u);
    EXPECT_EQ(mCache->getAttributes("three", &tList), 0u);
    EXPECT_EQ(mCache->hasObject("four", &tExists), 0u);
    EXPECT_EQ(mCache->pinObject("five"), 21u);
    EXPECT_EQ(mCache->unpinObject("six"), 22u);
    EXPECT_EQ(tCache->mCalls,
              (std::vector<std::string>{"compute one", "compute two", "compute three", "compute four",
                                        "compute five", "pin 171", "compute six", "unpin 171"}));
    EXPECT_TRUE(std::filesystem::exists(objectsDir() / "ABABABABABABABABABABABABABABABAB"));

    tCache->mCalls.clear();
    tCache->mAnswer = KPR_E_BUSY;
    EXPECT_EQ(put("one", {}, "data"), KPR_E_BUSY);
    EXPECT_EQ(mCache->getObject("two", &tList, &tBytes), KPR_E_BUSY);
    EXPECT_EQ(mCache->getAttributes("three", &tList), KPR_E_BUSY);
    EXPECT_EQ(mCache->hasObject("four", &tExists), KPR_E_BUSY);
    EXPECT_EQ(mCache->pinObject("five"), KPR_E_BUSY);
    EXPECT_EQ(mCache->unpinObject("six"), KPR_E_BUSY);
    EXPECT_EQ(tCache->mCalls.size(), 6u) << "and no further";
}

TEST_F(FSCacheTest, refusesObjectsBeyond32Bits)
{
    init();
    fw::CacheAttrList tList;
    uint8_t tByte = 0;
    for (const uint32_t tSize : {0xFFFFFFFFu, 0xFFFFFFFFu - 27}) {
        fw::CacheBytes tBytes;
        tBytes.mSize = tSize; // never looked at
        tBytes.mData = &tByte;
        EXPECT_EQ(mCache->putObject("http://example.com/", &tList, &tBytes), 0x80004005u);
        tBytes.mData = nullptr;
        expectLogged("FS cache: object " + fileOf("http://example.com/").string() + " too large.");
        mApp->clearRecords();
    }
    EXPECT_EQ(fileCount(), 0u);
}

TEST_F(FSCacheTest, outlivesItsApplicationsUsers)
{
    init();
    ASSERT_EQ(put("http://example.com/", {}, ""), 0u);
    ASSERT_EQ(mCache->pinObject("http://example.com/"), 0u);
    EXPECT_GT(mApp->references(), 1u);
    mCache.reset();
    EXPECT_EQ(mApp->references(), 1u);
    EXPECT_TRUE(mApp->logLines().empty());
}

} // namespace

} // namespace vel::kos::kfw
