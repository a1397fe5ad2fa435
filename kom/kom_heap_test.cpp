#include "kom/heap.h"

#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

uint64_t liveBlocks()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveBlocks;
}

class HeapTest : public testing::Test {
protected:
    ~HeapTest() override { EXPECT_EQ(liveBlocks(), mBefore); }

    uint64_t mBefore = liveBlocks();
};

TEST_F(HeapTest, copiesTexts)
{
    const char tText[] = "a text";
    char* tCopy = komStrDup(tText);
    EXPECT_STREQ(tCopy, "a text");
    EXPECT_NE(tCopy, tText);
    EXPECT_EQ(liveBlocks(), mBefore + 1);
    komFree(tCopy);
    for (const char* tEmpty : {"", static_cast<const char*>(nullptr)}) {
        tCopy = komStrDup(tEmpty);
        ASSERT_NE(tCopy, nullptr);
        EXPECT_STREQ(tCopy, "");
        komFree(tCopy);
    }
}

TEST_F(HeapTest, copiesAsManyBytesAsTold)
{
    char* tCopy = komStrNDup("ab\0cd", 5);
    EXPECT_EQ(std::string(tCopy, 6), std::string("ab\0cd\0", 6)) << "bytes past a NUL, and a NUL after them";
    komFree(tCopy);
    tCopy = komStrNDup("abcd", 2);
    EXPECT_STREQ(tCopy, "ab");
    komFree(tCopy);
    tCopy = komStrNDup("abcd", 0);
    EXPECT_STREQ(tCopy, "");
    komFree(tCopy);
    tCopy = komStrNDup(nullptr, 7);
    EXPECT_STREQ(tCopy, "");
    komFree(tCopy);
}

TEST_F(HeapTest, refusesALengthThatWraps)
{
    EXPECT_THROW(static_cast<void>(komStrNDup("x", SIZE_MAX)), std::bad_alloc);
}

TEST_F(HeapTest, clearsArrays)
{
    auto* tArray = static_cast<unsigned char*>(komCalloc(7, 3));
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(tArray[i], 0);
    EXPECT_EQ(liveBlocks(), mBefore + 1);
    komFree(tArray);
    EXPECT_EQ(komCalloc(0, 8), nullptr);
    EXPECT_EQ(komCalloc(8, 0), nullptr);
    EXPECT_EQ(liveBlocks(), mBefore);
}

TEST_F(HeapTest, raisesWhatDoesNotFit)
{
    EXPECT_THROW(static_cast<void>(komCalloc(SIZE_MAX / 2, 3)), std::bad_alloc) << "the product wraps";
    EXPECT_THROW(static_cast<void>(komCalloc(SIZE_MAX, SIZE_MAX)), std::bad_alloc);
    EXPECT_EQ(liveBlocks(), mBefore);
}

TEST_F(HeapTest, growsAndShrinks)
{
    auto* tBlock = static_cast<char*>(komRealloc(nullptr, 4));
    std::memcpy(tBlock, "abc", 4);
    EXPECT_EQ(liveBlocks(), mBefore + 1);
    tBlock = static_cast<char*>(komRealloc(tBlock, 100000));
    EXPECT_STREQ(tBlock, "abc");
    EXPECT_EQ(liveBlocks(), mBefore + 1) << "still one block";
    tBlock = static_cast<char*>(komRealloc(tBlock, 2));
    EXPECT_EQ(std::string(tBlock, 2), "ab");
    EXPECT_EQ(komRealloc(tBlock, 0), nullptr) << "size 0 frees";
    EXPECT_EQ(liveBlocks(), mBefore);
    EXPECT_EQ(komRealloc(nullptr, 0), nullptr);
}

TEST_F(HeapTest, keepsTheBlockWhenItCannotGrow)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer's allocator stops the process at such a size";
#endif
    auto* tBlock = static_cast<char*>(komRealloc(nullptr, 4));
    std::memcpy(tBlock, "abc", 4);
    volatile size_t tTooLarge = SIZE_MAX / 2 - 100;
    EXPECT_THROW(static_cast<void>(komRealloc(tBlock, tTooLarge)), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(komRealloc(nullptr, tTooLarge)), std::bad_alloc);
    EXPECT_STREQ(tBlock, "abc");
    EXPECT_EQ(liveBlocks(), mBefore + 1);
    komFree(tBlock);
}

TEST_F(HeapTest, freesNothing)
{
    komFree(nullptr);
    EXPECT_EQ(liveBlocks(), mBefore);
}

TEST_F(HeapTest, countsExactlyAmongThreads)
{
    std::vector<void*> tKept(8);
    std::vector<std::thread> tThreads;
    for (auto& tBlock : tKept)
        tThreads.emplace_back([&tBlock] {
            for (int i = 0; i < 10000; ++i) {
                void* tOne = komStrDup("one");
                tOne = komRealloc(tOne, 64);
                void* tTwo = komCalloc(2, 2);
                komFree(tOne);
                komFree(tTwo);
            }
            tBlock = komStrDup("kept");
        });
    for (auto& tThread : tThreads)
        tThread.join();
    EXPECT_EQ(liveBlocks(), mBefore + 8);
    for (void* tBlock : tKept)
        komFree(tBlock);
}

} // namespace
