#include "kpr/kpr_debug_id.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

// An image of 64 bits whose debug directory names one record.
class Image {
public:
    static constexpr size_t HEAD = 0x80, OPTIONAL = HEAD + 24, DIRECTORIES = OPTIONAL + 112,
                            DIRECTORY = 0x180, ENTRY = 28, RECORD = 0x1C0;

    explicit Image(bool pWide = true) : mBytes(0x200), mWide(pWide)
    {
        put(0x3C, HEAD);
        put(HEAD, 0x4550);
        put(HEAD + 8, 0x0A1B2C3D);
        put(OPTIONAL, pWide ? 0x20Bu : 0x10Bu);
        put(OPTIONAL + 56, 0xC4000);
        put(directories() - 4, 16);
        put(directories() + 48, DIRECTORY);
        put(directories() + 52, 2 * ENTRY);
        put(DIRECTORY + 12, 16); // another kind
        put(DIRECTORY + ENTRY + 12, 2);
        put(DIRECTORY + ENTRY + 16, 30);
        put(DIRECTORY + ENTRY + 20, RECORD);
        put(RECORD, 0x53445352);
        for (size_t i = 0; i < 16; ++i)
            mBytes[RECORD + 4 + i] = static_cast<uint8_t>(0xA0 + i);
        put(RECORD + 20, 0x1F);
    }

    size_t directories() const { return OPTIONAL + (mWide ? 112 : 96); }
    void put(size_t pPos, uint32_t pValue)
    {
        for (size_t i = 0; i < 4; ++i)
            mBytes[pPos + i] = static_cast<uint8_t>(pValue >> (8 * i));
    }
    const std::vector<uint8_t>& bytes() const { return mBytes; }
    std::string id() const { return kpr::readDebugId(mBytes); }

private:
    std::vector<uint8_t> mBytes;
    bool mWide;
};

constexpr char ID[] = "A3A2A1A0A5A4A7A6A8A9AAABACADAEAF1F", IMAGE_ID[] = "0A1B2C3Dc4000";

} // namespace

TEST(KprDebugId, IsTheGuidAndAgeOfTheDebugInformation)
{
    EXPECT_EQ(Image().id(), ID);
    EXPECT_EQ(Image(false).id(), ID) << "of 32 bits";
    Image tLow;
    tLow.put(Image::RECORD + 20, 0);
    EXPECT_EQ(tLow.id(), std::string(ID, 32) + "0");
}

TEST(KprDebugId, IsTimeAndSizeOfAnImageWithoutDebugInformation)
{
    Image tImage;
    tImage.put(tImage.directories() + 52, 0);
    EXPECT_EQ(tImage.id(), IMAGE_ID) << "an empty directory";
    Image tFew;
    tFew.put(tFew.directories() - 4, 6);
    EXPECT_EQ(tFew.id(), IMAGE_ID) << "too few directories";
    Image tOther;
    tOther.put(Image::DIRECTORY + Image::ENTRY + 12, 4);
    EXPECT_EQ(tOther.id(), IMAGE_ID) << "another kind of debug information";
    Image tOld;
    tOld.put(Image::RECORD, 0x3031424E);
    EXPECT_EQ(tOld.id(), IMAGE_ID) << "another kind of record";
    Image tZero;
    tZero.put(tZero.directories() + 52, Image::ENTRY - 1);
    tZero.put(Image::HEAD + 8, 0);
    EXPECT_EQ(tZero.id(), "00000000c4000") << "half an entry, no time";
}

TEST(KprDebugId, IsReadFromNothingOutsideTheImage)
{
    for (const uint32_t tAddress : {0x1FEu, 0x200u, 0x201u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        Image tRecord, tSize, tDirectory, tDirectorySize;
        tRecord.put(Image::DIRECTORY + Image::ENTRY + 20, tAddress);
        EXPECT_EQ(tRecord.id(), IMAGE_ID) << tAddress;
        tSize.put(Image::DIRECTORY + Image::ENTRY + 16, tAddress);
        EXPECT_EQ(tSize.id(), IMAGE_ID) << tAddress;
        tDirectory.put(tDirectory.directories() + 48, tAddress);
        EXPECT_EQ(tDirectory.id(), IMAGE_ID) << tAddress;
        tDirectorySize.put(tDirectorySize.directories() + 52, tAddress);
        EXPECT_EQ(tDirectorySize.id(), IMAGE_ID) << tAddress;
        Image tHead;
        tHead.put(0x3C, tAddress);
        EXPECT_EQ(tHead.id(), "") << tAddress;
    }
    Image tShort;
    tShort.put(Image::DIRECTORY + Image::ENTRY + 16, 23);
    EXPECT_EQ(tShort.id(), IMAGE_ID) << "a record of less than its fixed part";
}

TEST(KprDebugId, IsEmptyWhereNoImageIs)
{
    EXPECT_EQ(kpr::readDebugId({}), "");
    Image tMark, tMagic;
    tMark.put(Image::HEAD, 0x4551);
    EXPECT_EQ(tMark.id(), "");
    tMagic.put(Image::OPTIONAL, 0x107);
    EXPECT_EQ(tMagic.id(), "");
}

TEST(KprDebugId, IsReadAsFarAsACutImageGoes)
{
    const Image tWhole;
    for (size_t tSize = 0; tSize <= tWhole.bytes().size(); ++tSize) {
        const std::vector tCut(tWhole.bytes().begin(), tWhole.bytes().begin() + static_cast<long>(tSize));
        const char* tExpected = tSize < Image::OPTIONAL + 2    ? "" // its magic number
                                : tSize < Image::OPTIONAL + 60 ? "0A1B2C3D0"
                                : tSize < Image::RECORD + 30   ? IMAGE_ID
                                                               : ID;
        EXPECT_EQ(kpr::readDebugId(tCut), tExpected) << tSize;
    }
}
