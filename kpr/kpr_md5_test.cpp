#include "kpr/md5.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kpr/codes.h"

namespace {

std::string hex(const uint8_t (&pDigest)[16])
{
    std::string tText;
    for (uint8_t tByte : pDigest) {
        tText += "0123456789abcdef"[tByte >> 4];
        tText += "0123456789abcdef"[tByte & 15];
    }
    return tText;
}

std::string digest(const std::string& pBytes, size_t pPiece = SIZE_MAX)
{
    KprMD5 tState;
    uint8_t tDigest[16] = {};
    EXPECT_EQ(kprMD5Init(&tState), 0u);
    for (size_t tPos = 0; tPos < pBytes.size(); tPos += std::min(pPiece, pBytes.size() - tPos)) {
        const size_t tLength = std::min(pPiece, pBytes.size() - tPos);
        EXPECT_EQ(kprMD5Update(&tState, pBytes.data() + tPos, static_cast<uint32_t>(tLength)), 0u);
    }
    EXPECT_EQ(kprMD5Final(&tState, tDigest), 0u);
    return hex(tDigest);
}

} // namespace

TEST(KprMD5, DigestsTheStandardsExamples)
{
    EXPECT_EQ(digest(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(digest("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(digest("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(digest("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(digest("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(KprMD5, PiecesMakeNoDifference)
{
    std::string tBytes(1000, '\0');
    for (size_t i = 0; i < tBytes.size(); ++i)
        tBytes[i] = static_cast<char>(i * 7);
    const std::string tWhole = digest(tBytes);
    for (size_t tPiece : std::initializer_list<size_t>{1, 2, 55, 56, 63, 64, 65, 128, 999})
        EXPECT_EQ(digest(tBytes, tPiece), tWhole) << tPiece;
}

TEST(KprMD5, RefusesNullPointersAndTakesEmptyPieces)
{
    KprMD5 tState;
    uint8_t tDigest[16];
    EXPECT_EQ(kprMD5Init(nullptr), E_INVALIDARG);
    ASSERT_EQ(kprMD5Init(&tState), 0u);
    EXPECT_EQ(kprMD5Update(nullptr, "a", 1), E_INVALIDARG);
    EXPECT_EQ(kprMD5Update(&tState, nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(kprMD5Update(&tState, nullptr, 0), 0u);
    EXPECT_EQ(kprMD5Final(nullptr, tDigest), E_INVALIDARG);
    EXPECT_EQ(kprMD5Final(&tState, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprMD5Final(&tState, tDigest), 0u);
    EXPECT_EQ(hex(tDigest), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(KprMD5, ThreadsDigestAtTheSameTime)
{
    std::vector<std::thread> tThreads;
    for (int i = 0; i < 4; ++i)
        tThreads.emplace_back([] {
            for (int j = 0; j < 200; ++j)
                EXPECT_EQ(digest("abc"), "900150983cd24fb0d6963f7d28e17f72");
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
}
