// The layout of object files and their names, in memory.
#include "kfw/cache/format/kfw_ObjectFile.h"

#include <gtest/gtest.h>

#include "kfw/cache/format/kfw_CacheId.h"
#include "kfw/cache/testing/kfw_ParseObject.h"
#include "kom/identity.h"
#include "tests/support/LeakCheck.h"

namespace vel::kos::kfw {

namespace {

class ObjectFileTest : public testing::Test {
protected:
    std::string compose(const fw::CacheAttrList& pList, const std::string& pData)
    {
        fw::CacheBytes tBytes;
        tBytes.mSize = static_cast<uint32_t>(pData.size());
        tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tBytes.mSize));
        std::copy(pData.begin(), pData.end(), tBytes.mData);
        ObjectImage tImage;
        EXPECT_EQ(composeObject("p", pList, tBytes, &tImage), "");
        return {reinterpret_cast<const char*>(tImage.bytes.get()), tImage.size};
    }
    std::string parse(const std::string& pFile)
    {
        return parseObject("p", reinterpret_cast<const uint8_t*>(pFile.data()), pFile.size(), &mHeader,
                           &mList);
    }

    test::LeakCheck mLeaks;
    ObjectFileHeader mHeader;
    fw::CacheAttrList mList;
};

TEST_F(ObjectFileTest, composesTheSmallestObject)
{
    EXPECT_EQ(compose({}, ""),
              std::string("\x0E\x9A\x5B\x42\0\0\0\1\0\0\0\x1C\0\0\0\0\0\0\0\0\0\0\0\x1C\0\0\0\0", 28));
}

TEST_F(ObjectFileTest, composesAttributesWithTheirPadding)
{
    fw::CacheAttrList tList;
    tList.add("a", "");
    const std::string tFile = compose(tList, "");
    EXPECT_EQ(tFile.substr(12, 4), std::string("\0\0\0\x10", 4)) << "the attribute size";
    EXPECT_EQ(tFile.substr(28), std::string("\0\0\0\2a\0\0\0\0\0\0\1\0\0\0\0", 16));

    tList.clear();
    tList.add("abc", "abcd"); // no padding, and three bytes of it
    EXPECT_EQ(compose(tList, "!").substr(28), std::string("\0\0\0\4abc\0\0\0\0\5abcd\0\0\0\0!", 21));
}

TEST_F(ObjectFileTest, attributesTakeWhatTheLayoutSays)
{
    for (std::size_t k = 0; k < 9; ++k) {
        for (std::size_t v = 0; v < 9; ++v) {
            fw::CacheAttrList tList;
            tList.add(std::string(k, 'k').c_str(), std::string(v, 'v').c_str());
            EXPECT_EQ(compose(tList, "").size(), 28 + 8 + (k + 4) / 4 * 4 + (v + 4) / 4 * 4);
        }
    }
}

TEST_F(ObjectFileTest, parsesWhatItComposed)
{
    fw::CacheAttrList tList;
    for (std::size_t i = 0; i < 50; ++i)
        tList.add(std::string(i % 7, 'k').c_str(), std::string(i, '\xE9').c_str());
    const std::string tFile = compose(tList, "data");
    EXPECT_EQ(parse(tFile), "");
    ASSERT_EQ(mList.mCount, 50u);
    for (uint32_t i = 0; i < 50; ++i) {
        EXPECT_STREQ(mList.mAttrs[i].mKey, tList.mAttrs[i].mKey);
        EXPECT_STREQ(mList.mAttrs[i].mValue, tList.mAttrs[i].mValue);
    }
    EXPECT_EQ(mHeader.attrOffset, 28u);
    EXPECT_EQ(mHeader.attrCount, 50u);
    EXPECT_EQ(tFile.substr(mHeader.dataOffset, mHeader.dataSize), "data");
    EXPECT_EQ(mHeader.dataOffset + mHeader.dataSize, tFile.size());
}

TEST_F(ObjectFileTest, refusesEveryTruncation)
{
    fw::CacheAttrList tList;
    tList.add("key", "value");
    const std::string tFile = compose(tList, "data");
    for (std::size_t tLength = 0; tLength < tFile.size(); ++tLength) {
        EXPECT_NE(parse(tFile.substr(0, tLength)), "") << tLength;
        EXPECT_EQ(mList.mCount, 0u);
        EXPECT_EQ(mHeader.magic, 0u) << "the outputs are as they were";
    }
}

TEST_F(ObjectFileTest, anAttributesStringEndsAtItsFirstNul)
{
    const std::string tSpace("\0\0\0\4k\0x\0\0\0\0\1\0\0\0\0", 16);
    EXPECT_EQ(parseAttributes(reinterpret_cast<const uint8_t*>(tSpace.data()), 16, 1, &mList), "");
    EXPECT_STREQ(mList.mAttrs[0].mKey, "k");
}

TEST_F(ObjectFileTest, knowsTheLargestSize)
{
    EXPECT_EQ(checkObjectSize("the path", 0xFFFFFFFFu), "");
    EXPECT_EQ(checkObjectSize("the path", 0x100000000u), "FS cache: object the path too large.");
    EXPECT_EQ(parseObject("the path", nullptr, 0x100000000u, &mHeader, &mList),
              "FS cache: object the path too large.");
}

TEST_F(ObjectFileTest, composesNothingBeyondTheLargestSize)
{
    fw::CacheBytes tBytes;
    uint8_t tByte = 0;
    tBytes.mData = &tByte;
    ObjectImage tImage;
    for (const uint32_t tSize : {0xFFFFFFFFu, 0xFFFFFFE4u}) {
        tBytes.mSize = tSize;
        EXPECT_EQ(composeObject("the path", mList, tBytes, &tImage), "FS cache: object the path too large.");
        EXPECT_EQ(tImage.bytes, nullptr);
    }
    tBytes.mData = nullptr;
}

/// The one message of a read that failed.
class OneProblem final : public ProblemLog {
public:
    void assertion(const char*, int) override {}
    std::string text;

private:
    void writeDebug(const std::string& pMessage) override { text += pMessage; }
};

/// Bytes in memory that say how much was asked for at once, and cannot be read beyond a place.
class WatchedBytes final : public ByteSource {
public:
    explicit WatchedBytes(const std::string& pBytes)
        : mBytes(reinterpret_cast<const uint8_t*>(pBytes.data()), pBytes.size())
    {
    }
    uint32_t getSize(uint64_t* pSize) override { return mBytes.getSize(pSize); }
    uint32_t read(void* pBuffer, uint32_t pLength, uint32_t* pRead) override
    {
        first = pLength;
        return mBytes.read(pBuffer, pLength, pRead);
    }
    uint32_t readAt(uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead) override
    {
        largest = std::max(largest, pLength);
        const uint32_t tRes = mBytes.readAt(pOffset, pBuffer, pLength, pRead);
        return pOffset + pLength > readable ? uint32_t{KPR_E_IO} : tRes;
    }

    uint32_t first = 0;
    uint32_t largest = 0;
    uint64_t readable = UINT64_MAX;

private:
    MemoryBytes mBytes;
};

class CheckedAttributesTest : public ObjectFileTest {
protected:
    /// What the reader says of a file, keeping its attributes or only checking them: its report or "".
    std::string read(ByteSource& pBytes, bool pKeeps)
    {
        OneProblem tLog;
        const std::string tPath = "p";
        ObjectReader tReader(pBytes, tPath, tLog);
        uint32_t tRes = tReader.readObjectHeader();
        fw::CacheAttrList tList;
        if (!KFAILED(tRes)) tRes = pKeeps ? tReader.readAttributes(&tList) : tReader.checkAttributes();
        EXPECT_EQ(KFAILED(tRes), !tLog.text.empty());
        return tLog.text;
    }
};

TEST_F(CheckedAttributesTest, saysWhatTheReaderSaysOfEveryFile)
{
    fw::CacheAttrList tList;
    tList.add("key", "value");
    tList.add("", "");
    tList.add(std::string(70000, 'k').c_str(), std::string(3, 'v').c_str()); // more than one piece
    tList.add("last", "one");
    const std::string tWhole = compose(tList, "data");
    const auto tCompare = [&](const std::string& pFile, std::size_t pWhere) {
        WatchedBytes tBytes(pFile), tAgain(pFile);
        EXPECT_EQ(read(tBytes, false), read(tAgain, true)) << pWhere;
    };
    tCompare(tWhole, 0);
    EXPECT_EQ(read(*std::make_unique<WatchedBytes>(tWhole), false), "");
    // Every byte of the small attributes, some of the long one.
    std::size_t tStep = 1;
    for (std::size_t i = 0; i < tWhole.size(); i += tStep) {
        tStep = i < 100 || tWhole.size() - i <= 100 ? 1 : 997;
        for (const char tByte : {'\0', '\1', '\5', '\x7F', '\xFF'}) {
            std::string tFile = tWhole;
            tFile[i] = tByte;
            tCompare(tFile, i);
        }
    }
}

TEST_F(CheckedAttributesTest, asksForNothingBeyondTheEnd)
{
    fw::CacheAttrList tList;
    tList.add("key", "value");
    for (const std::size_t tSize : {0u, 1u, 4048u, 4049u, 10000u}) {
        const std::string tFile = compose(tList, std::string(tSize, 'd'));
        WatchedBytes tBytes(tFile);
        EXPECT_EQ(read(tBytes, true), "");
        EXPECT_EQ(tBytes.first, std::min<std::size_t>(tFile.size(), 4096));
    }
}

TEST_F(CheckedAttributesTest, readsPieceByPiece)
{
    fw::CacheAttrList tList;
    tList.add("key", std::string(1000000, 'v').c_str());
    const std::string tFile = compose(tList, "");
    WatchedBytes tBytes(tFile);
    EXPECT_EQ(read(tBytes, false), "");
    EXPECT_LE(tBytes.largest, 65536u);
    EXPECT_GT(tBytes.largest, 0u);
}

TEST_F(CheckedAttributesTest, keepsOfALargeSpaceWhatItHolds)
{
    fw::CacheAttrList tList;
    tList.add("key", "value");
    std::string tFile = compose(tList, "");
    constexpr uint32_t tSize = 3u << 20;
    tFile.resize(tSize, 'x');
    for (const std::size_t tAt : {std::size_t{12}, std::size_t{20}})
        for (std::size_t i = 0; i < 4; ++i)
            tFile[tAt + i] = static_cast<char>((tSize - (tAt == 12 ? 28 : 0)) >> (24 - 8 * i));
    WatchedBytes tBytes(tFile);
    EXPECT_EQ(read(tBytes, true), "");
    EXPECT_LE(tBytes.largest, 65536u) << "read for what lies behind the attributes";
    tFile[28 + 3] = '\x8'; // the key does not end there
    WatchedBytes tWrong(tFile), tUnreadable(tFile);
    EXPECT_EQ(read(tWrong, true), "FS cache: object file corrupted (key not null-terminated).");
    tUnreadable.readable = tSize - 1;
    EXPECT_EQ(read(tUnreadable, true),
              std::string("FS cache: error reading attributes from p: ") + komStrError(KPR_E_IO));
}

TEST_F(CheckedAttributesTest, reportsWhatCannotBeRead)
{
    fw::CacheAttrList tList;
    tList.add("key", "value");
    std::string tFile = compose(tList, "");
    // A space that goes on behind its last attribute is read to its end.
    tFile.resize(200000, 'x');
    const auto tPut = [&tFile](std::size_t pAt, uint32_t pNumber) {
        for (int i = 3; i >= 0; --i, pNumber >>= 8)
            tFile[pAt + static_cast<std::size_t>(i)] = static_cast<char>(pNumber);
    };
    tPut(12, 200000 - 28);
    tPut(20, 200000);
    WatchedBytes tBytes(tFile);
    EXPECT_EQ(read(tBytes, false), "");
    WatchedBytes tUnreadable(tFile);
    tUnreadable.readable = 150000;
    EXPECT_EQ(read(tUnreadable, false),
              std::string("FS cache: error reading attributes from p: ") + komStrError(KPR_E_IO));

    // A space of one byte without any attribute, beyond what the first read brings.
    tFile.resize(5001);
    tPut(8, 5000);
    tPut(12, 1);
    tPut(16, 0);
    tPut(20, 5001);
    WatchedBytes tOne(tFile), tUnreadableOne(tFile);
    EXPECT_EQ(read(tOne, false), "");
    tUnreadableOne.readable = 5000;
    EXPECT_EQ(read(tUnreadableOne, false),
              std::string("FS cache: error reading attributes from p: ") + komStrError(KPR_E_IO));
}

TEST(CacheIdTest, namesAreUpperCaseDigits)
{
    const fw::CacheId tId = {
        {0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xFF, 0x10, 0x9A, 0xA9, 0, 0x0F, 0xF0}};
    char tName[OBJECT_NAME_LENGTH + 1];
    EXPECT_EQ(kfwFormatCacheId(&tId, tName, sizeof tName), 0u);
    EXPECT_STREQ(tName, "000123456789ABCDEFFF109AA9000FF0");
    tName[0] = '?';
    EXPECT_EQ(kfwFormatCacheId(&tId, tName, OBJECT_NAME_LENGTH), 0x9623000Fu);
    EXPECT_EQ(tName[0], '?');
}

TEST(CacheIdTest, parsesItsNamesAndNothingElse)
{
    fw::CacheId tId{};
    EXPECT_TRUE(parseCacheId("000123456789abcdefFF109AA9000FF0", &tId));
    EXPECT_EQ(tId.mBytes[1], 0x01);
    EXPECT_EQ(tId.mBytes[7], 0xCD);
    EXPECT_EQ(tId.mBytes[8], 0xEF);
    EXPECT_EQ(tId.mBytes[9], 0xFF);
    EXPECT_EQ(tId.mBytes[15], 0xF0);
    for (const char* tText : {"", "0", "000123456789ABCDEFFF109AA9000FF", "000123456789ABCDEFFF109AA9000FF00",
                              "000123456789ABCDEFFF109AA9000FFG", "x00123456789ABCDEFFF109AA9000FF0",
                              "000123456789ABCDEFFF109AA9000F/0", "000123456789ABCDEFFF109AA9000F:0",
                              "000123456789ABCDEFFF109AA9000F@0", "000123456789ABCDEFFF109AA9000F`0",
                              "000123456789ABCDEFFF109AA9000Fg0"})
        EXPECT_FALSE(parseCacheId(tText, &tId)) << tText;
    EXPECT_EQ(tId.mBytes[15], 0xF0) << "untouched";
}

} // namespace

} // namespace vel::kos::kfw
