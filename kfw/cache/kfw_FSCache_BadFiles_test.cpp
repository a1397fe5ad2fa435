// Object files that the cache refuses, each with the reason that it logs.
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

namespace vel::kos::kfw {

namespace {

constexpr char URI[] = "http://example.com/";

std::string number(uint32_t pNumber)
{
    std::string tBytes;
    for (int tShift = 24; tShift >= 0; tShift -= 8)
        tBytes += static_cast<char>(pNumber >> tShift);
    return tBytes;
}

std::string header(uint32_t pAttrOffset, uint32_t pAttrSize, uint32_t pAttrCount, uint32_t pDataOffset,
                   uint32_t pDataSize)
{
    return number(0x0E9A5B42) + number(1) + number(pAttrOffset) + number(pAttrSize) + number(pAttrCount) +
           number(pDataOffset) + number(pDataSize);
}

/// A file with this attribute space and no data.
std::string fileWith(const std::string& pSpace, uint32_t pCount)
{
    const auto tSize = static_cast<uint32_t>(pSpace.size());
    return header(28, tSize, pCount, 28 + tSize, 0) + pSpace;
}

class FSCacheBadFilesTest : public FSCacheFixture {
protected:
    /// Both reading operations refuse the file, in these words.
    void expectRefused(const std::string& pFile, const std::string& pMessage)
    {
        SCOPED_TRACE(pMessage);
        if (!mInitialised) init();
        mInitialised = true;
        test::writeFile(fileOf(URI), pFile);
        for (const bool tWithData : {true, false}) {
            fw::CacheAttrList tList = makeList({{"left", "over"}});
            fw::CacheBytes tBytes = makeBytes("left over");
            mApp->clearRecords();
            EXPECT_EQ(tWithData ? mCache->getObject(URI, &tList, &tBytes)
                                : mCache->getAttributes(URI, &tList),
                      0x80004005u);
            EXPECT_EQ(tList.mCount, 0u);
            EXPECT_EQ(tList.mAttrs, nullptr);
            if (tWithData) {
                EXPECT_EQ(tBytes.mSize, 0u);
            }
            expectLogged(pMessage);
        }
        EXPECT_EQ(test::readFile(fileOf(URI)), pFile) << "a bad file is left as it is";
    }
    void expectAccepted(const std::string& pFile, const Attributes& pAttributes, const std::string& pData)
    {
        if (!mInitialised) init();
        mInitialised = true;
        mApp->clearRecords();
        test::writeFile(fileOf(URI), pFile);
        fw::CacheAttrList tList;
        fw::CacheBytes tBytes;
        EXPECT_EQ(mCache->getObject(URI, &tList, &tBytes), 0u);
        EXPECT_EQ(toVector(tList), pAttributes);
        EXPECT_EQ(toString(tBytes), pData);
        EXPECT_TRUE(mApp->logLines().empty());
    }
    std::string path() { return fileOf(URI).string(); }

    bool mInitialised = false;
};

class FSCacheBadHeaderTest : public FSCacheBadFilesTest {
protected:
    void SetUp() override
    {
        init();
        mInitialised = true;
    }
};

TEST_F(FSCacheBadHeaderTest, refusesAnIncompleteHeader)
{
    const std::string tWhole = header(28, 0, 0, 28, 0);
    for (const std::size_t tLength : {0u, 1u, 27u})
        expectRefused(tWhole.substr(0, tLength), "FS cache: incomplete read of object header of " + path() +
                                                     " (got only " + std::to_string(tLength) + " bytes).");
    expectAccepted(tWhole, {}, "");
}

TEST_F(FSCacheBadHeaderTest, refusesAnotherMagicNumber)
{
    for (const std::size_t tByte : {0u, 1u, 2u, 3u}) {
        std::string tFile = header(28, 0, 0, 28, 0);
        tFile[tByte] = static_cast<char>(tFile[tByte] ^ 1);
        expectRefused(tFile, "FS cache: " + path() + " is not a valid cache object (invalid magic number).");
    }
    expectRefused(std::string(28, '\0'),
                  "FS cache: " + path() + " is not a valid cache object (invalid magic number).");
}

TEST_F(FSCacheBadHeaderTest, refusesAnotherVersion)
{
    for (const uint32_t tVersion : {0u, 2u, 0x01000000u, 0xFFFFFFFFu})
        expectRefused(number(0x0E9A5B42) + number(tVersion) + std::string(20, '\0'),
                      "FS cache: " + path() + " has wrong version number (expected 1, got " +
                          std::to_string(tVersion) + ").");
}

TEST_F(FSCacheBadHeaderTest, refusesAttributesBeyondTheDataOffset)
{
    struct Case {
        uint32_t attrOffset, attrSize, dataOffset;
    };
    for (const Case& tCase :
         {Case{29, 0, 28}, Case{28, 1, 28}, Case{28, 0xFFFFFFFFu, 28}, Case{0xFFFFFFFFu, 1, 28},
          Case{0xFFFFFFF0u, 0x20, 0xFFFFFFFFu}, Case{0xFFFFFFFFu, 0, 0xFFFFFFFEu}})
        expectRefused(header(tCase.attrOffset, tCase.attrSize, 0, tCase.dataOffset, 0),
                      "FS cache: attribute offs (" + std::to_string(tCase.attrOffset) +
                          ") plus attribute size (" + std::to_string(tCase.attrSize) + ") of " + path() +
                          " beyond data offset (" + std::to_string(tCase.dataOffset) + ").");
}

TEST_F(FSCacheBadHeaderTest, refusesDataBeyondTheEnd)
{
    struct Case {
        uint32_t dataOffset, dataSize;
    };
    for (const Case& tCase : {Case{29, 0}, Case{28, 1}, Case{28, 0xFFFFFFFFu}, Case{0xFFFFFFFFu, 1},
                              Case{0xFFFFFFFFu, 0xFFFFFFFFu}, Case{0xFFFFFFF0u, 0x20}})
        expectRefused(header(28, 0, 0, tCase.dataOffset, tCase.dataSize),
                      "FS cache: data offset (" + std::to_string(tCase.dataOffset) + ") plus data size (" +
                          std::to_string(tCase.dataSize) + ") of " + path() + " beyond object size (28).");
    expectAccepted(header(28, 0, 0, 28, 5) + "data!", {}, "data!");
    expectRefused(header(28, 0, 0, 28, 6) + "data!",
                  "FS cache: data offset (28) plus data size (6) of " + path() + " beyond object size (33).");
}

TEST_F(FSCacheBadHeaderTest, refusesAFileBeyond32Bits)
{
    test::writeFile(fileOf(URI), header(28, 0, 0, 28, 0));
    std::filesystem::resize_file(fileOf(URI), 0x100000000u);
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    EXPECT_EQ(mCache->getObject(URI, &tList, &tBytes), 0x80004005u);
    expectLogged("FS cache: object " + path() + " too large.");

    mApp->clearRecords();
    const fw::CacheId tId = idOf(URI);
    tBytes = makeBytes("as it was");
    EXPECT_EQ(mCache->getObjectFile(&tId, &tBytes), 0x80004005u);
    EXPECT_EQ(toString(tBytes), "as it was");
    expectAssertion("tFLen == tFInfo.size");

    std::filesystem::resize_file(fileOf(URI), 0xFFFFFFFFu);
    mApp->clearRecords();
    EXPECT_EQ(mCache->getObject(URI, &tList, &tBytes), 0u) << "the largest";
}

TEST_F(FSCacheBadHeaderTest, refusesWhatIsNoRegularFile)
{
    std::filesystem::create_directory(fileOf(URI));
    fw::CacheAttrList tList;
    fw::CacheBytes tBytes;
    EXPECT_TRUE(KFAILED(mCache->getObject(URI, &tList, &tBytes)));
    ASSERT_EQ(mApp->messages(fw::LOG_LEVEL_DEBUG).size(), 1u);
    EXPECT_EQ(
        mApp->messages(fw::LOG_LEVEL_DEBUG)[0].rfind("FS cache: can't open " + path() + " for reading: ", 0),
        0u);
}

TEST_F(FSCacheBadHeaderTest, acceptsGapsAndForeignOffsets)
{
    const std::string tSpace = number(2) + std::string("k\0??", 4) + number(1) + std::string("\0???", 4);
    expectAccepted(header(30, 16, 1, 50, 4) + "??" + tSpace + "gap!" + "data" + "after", {{"k", ""}}, "data");
    // The attributes may even lie over the header, as long as it checks.
    expectAccepted(header(0, 28, 0, 28, 1) + "d", {}, "d");
}

TEST_F(FSCacheBadHeaderTest, readsSpacesOnBothSidesOfTheFirstRead)
{
    // Around the 4096 bytes that the first read brings.
    for (const uint32_t tGap : {4030u, 4050u, 4060u, 4064u, 4067u, 4068u, 4069u, 5000u}) {
        const std::string tSpace = number(2) + std::string("k\0??", 4) + number(2) + std::string("v\0", 2);
        const uint32_t tOffset = 28 + tGap;
        expectAccepted(header(tOffset, 14, 1, tOffset + 14, 10) + std::string(tGap, 'g') + tSpace +
                           "0123456789",
                       {{"k", "v"}}, "0123456789");
    }
}

TEST_F(FSCacheBadFilesTest, refusesASpaceThatEndsBeforeAKeyLength)
{
    const std::string tMessage =
        "FS cache: object file corrupted (offset of attribute key length beyond end of attribut space).";
    expectRefused(fileWith("", 1), tMessage);
    expectRefused(fileWith("123", 1), tMessage);
    const std::string tOne = number(1) + std::string(4, '\0') + number(1) + std::string(4, '\0');
    expectAccepted(fileWith(tOne, 1), {{"", ""}}, "");
    expectRefused(fileWith(tOne, 2), tMessage);
    expectRefused(fileWith(tOne + "123", 2), tMessage);
    // The last value's padding may be missing, then the position lies past the end.
    expectAccepted(fileWith(tOne.substr(0, 13), 1), {{"", ""}}, "");
    expectRefused(fileWith(tOne.substr(0, 13), 2), tMessage);
    // A count that memory could never hold.
    expectRefused(fileWith(tOne, 0xFFFFFFFFu), tMessage);
}

TEST_F(FSCacheBadFilesTest, refusesBadKeyLengths)
{
    const std::string tMessage = "FS cache: object file corrupted (invalid key length).";
    expectRefused(fileWith(number(0), 1), tMessage);
    expectRefused(fileWith(number(1), 1), tMessage);
    expectRefused(fileWith(number(4) + std::string(3, '\0'), 1), tMessage);
    expectRefused(fileWith(number(0xFFFFFFFFu) + std::string(100, '\0'), 1), tMessage);
    expectRefused(fileWith(number(0) + std::string(100, '\0'), 0xFFFFFFFFu), tMessage);
}

TEST_F(FSCacheBadFilesTest, refusesKeysWithoutEnd)
{
    const std::string tMessage = "FS cache: object file corrupted (key not null-terminated).";
    expectRefused(fileWith(number(1) + "k", 1), tMessage);
    expectRefused(fileWith(number(4) + std::string("\0\0\0k", 4), 1), tMessage);
}

TEST_F(FSCacheBadFilesTest, refusesASpaceThatEndsBeforeAValueLength)
{
    const std::string tMessage =
        "FS cache: object file corrupted (offset of attribute value length beyound end of attribute space).";
    expectRefused(fileWith(number(1) + std::string(1, '\0'), 1), tMessage);
    expectRefused(fileWith(number(4) + std::string(4, '\0'), 1), tMessage);
    expectRefused(fileWith(number(4) + std::string(7, '\0'), 1), tMessage);
}

TEST_F(FSCacheBadFilesTest, refusesBadValueLengths)
{
    const std::string tMessage = "FS cache: object file corrupted (invalid value length).";
    const std::string tKey = number(1) + std::string(4, '\0');
    expectRefused(fileWith(tKey + number(0), 1), tMessage);
    expectRefused(fileWith(tKey + number(1), 1), tMessage);
    expectRefused(fileWith(tKey + number(5) + std::string(4, '\0'), 1), tMessage);
    expectRefused(fileWith(tKey + number(0xFFFFFFFFu) + std::string(100, '\0'), 1), tMessage);
}

TEST_F(FSCacheBadFilesTest, refusesValuesWithoutEnd)
{
    const std::string tKey = number(1) + std::string(4, '\0');
    expectRefused(fileWith(tKey + number(2) + std::string("\0v", 2), 1),
                  "FS cache: object file corrupted (value not null-terminated).");
}

TEST_F(FSCacheBadFilesTest, discardsWhatWasReadBeforeTheCorruption)
{
    const std::string tGood = number(2) + std::string("k\0\0\0", 4) + number(2) + std::string("v\0\0\0", 4);
    expectAccepted(fileWith(tGood + tGood + "ignored", 2), {{"k", "v"}, {"k", "v"}}, "");
    expectAccepted(fileWith("ignored as a whole", 0), {}, "");
    expectRefused(fileWith(tGood + tGood + number(0), 3),
                  "FS cache: object file corrupted (invalid key length).");
}

} // namespace

} // namespace vel::kos::kfw
