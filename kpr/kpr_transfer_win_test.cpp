// Reads and writes that the system does in pieces, and that fail in the middle: its calls are wrapped and
// move a few bytes at a time, as pipes, servers and file systems of other makers may.
#include <windows.h>

#include <algorithm>
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace {

DWORD gMost = MAXDWORD;  ///< bytes that a call moves
int gWorking = INT_MAX;  ///< calls that work before one fails, or moves nothing
DWORD gError = NO_ERROR; ///< what it fails with; 0: it moves nothing
int gTransfers = 0;

template <typename TTransfer>
BOOL transfer(DWORD pLength, LPDWORD pMoved, TTransfer pTransfer)
{
    ++gTransfers;
    if (gWorking-- > 0) return pTransfer(std::min(pLength, gMost));
    *pMoved = 0;
    SetLastError(gError);
    return gError == NO_ERROR;
}

} // namespace

extern "C" {

extern decltype(&ReadFile) __real___imp_ReadFile;
extern decltype(&WriteFile) __real___imp_WriteFile;

decltype(&ReadFile) __wrap___imp_ReadFile = [](HANDLE pFile, LPVOID pBytes, DWORD pLength, LPDWORD pMoved,
                                               LPOVERLAPPED pWhere) -> BOOL {
    return transfer(pLength, pMoved,
                    [=](DWORD pMost) { return __real___imp_ReadFile(pFile, pBytes, pMost, pMoved, pWhere); });
};
decltype(&WriteFile) __wrap___imp_WriteFile = [](HANDLE pFile, LPCVOID pBytes, DWORD pLength, LPDWORD pMoved,
                                                 LPOVERLAPPED pWhere) -> BOOL {
    return transfer(pLength, pMoved, [=](DWORD pMost) {
        return __real___imp_WriteFile(pFile, pBytes, pMost, pMoved, pWhere);
    });
};

} // extern "C"

namespace {

const std::string CONTENT = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr uint32_t LENGTH = 36;

class KprTransferWindows : public testing::Test {
protected:
    KprTransferWindows()
    {
        EXPECT_EQ(kprOpenFile((mDir / "file").c_str(), KPR_OPEN_READ_WRITE | KPR_OPEN_CREATE, &mFile), 0u);
    }
    ~KprTransferWindows() override
    {
        kprCloseFile(mFile);
        inPieces(MAXDWORD);
    }

    void inPieces(DWORD pMost, int pWorking = INT_MAX, DWORD pError = NO_ERROR)
    {
        gMost = pMost;
        gWorking = pWorking;
        gError = pError;
        gTransfers = 0;
    }
    std::string content()
    {
        std::string tBytes(200, '?');
        uint32_t tRead = 0;
        EXPECT_EQ(kprSeekAndRead(mFile, 0, tBytes.data(), 200, &tRead), 0u);
        return tBytes.substr(0, tRead);
    }
    uint32_t seek(int64_t pOffset) { return kprSeek(mFile, pOffset, KPR_SEEK_START, nullptr); }

    kprtest::TemporaryDirectory mDir;
    KprFile mFile = KPR_NO_FILE;
    std::string mBytes = std::string(LENGTH + 10, '?');
    uint32_t mMoved = 77;
};

TEST_F(KprTransferWindows, TransfersOfAnyPieceAreWhole)
{
    for (DWORD tMost = 1; tMost <= LENGTH; ++tMost) {
        SCOPED_TRACE(tMost);
        inPieces(tMost);
        EXPECT_EQ(seek(0), 0u);
        EXPECT_EQ(kprWrite(mFile, CONTENT.data(), LENGTH, &mMoved), 0u);
        EXPECT_EQ(mMoved, LENGTH);
        EXPECT_EQ(kprSeekAndWrite(mFile, LENGTH, CONTENT.data(), LENGTH, &mMoved), 0u);
        EXPECT_EQ(mMoved, LENGTH);
        EXPECT_EQ(kprSeekAndRead(mFile, LENGTH, mBytes.data(), LENGTH + 10, &mMoved), 0u);
        EXPECT_EQ(mBytes.substr(0, mMoved), CONTENT) << "as far as the file goes";
        EXPECT_EQ(seek(LENGTH), 0u);
        EXPECT_EQ(kprRead(mFile, mBytes.data(), LENGTH + 10, &mMoved), 0u);
        EXPECT_EQ(mBytes.substr(0, mMoved), CONTENT);
        inPieces(MAXDWORD);
        EXPECT_EQ(content(), CONTENT + CONTENT);
    }
}

TEST_F(KprTransferWindows, AFailureInTheMiddleTellsHowFarItGot)
{
    EXPECT_EQ(kprWrite(mFile, CONTENT.data(), LENGTH, &mMoved), 0u);
    EXPECT_EQ(seek(0), 0u);
    inPieces(10, 2, ERROR_IO_DEVICE);
    EXPECT_EQ(kprRead(mFile, mBytes.data(), LENGTH, &mMoved), KPR_E_IO);
    EXPECT_EQ(mMoved, 20u);
    inPieces(10, 2, ERROR_IO_DEVICE);
    EXPECT_EQ(kprSeekAndRead(mFile, 0, mBytes.data(), LENGTH, &mMoved), KPR_E_IO);
    EXPECT_EQ(mMoved, 20u);
    EXPECT_EQ(mBytes.substr(0, 20), CONTENT.substr(0, 20));
    inPieces(10, 2, ERROR_DISK_FULL);
    EXPECT_EQ(kprSeekAndWrite(mFile, LENGTH, CONTENT.data(), LENGTH, &mMoved), KPR_E_NO_SPACE);
    EXPECT_EQ(mMoved, 20u);
    EXPECT_EQ(seek(LENGTH + 20), 0u);
    inPieces(10, 1, ERROR_DISK_FULL);
    EXPECT_EQ(kprWrite(mFile, CONTENT.data() + 20, LENGTH - 20, &mMoved), KPR_E_NO_SPACE);
    EXPECT_EQ(mMoved, 10u);
    inPieces(MAXDWORD);
    EXPECT_EQ(content(), CONTENT + CONTENT.substr(0, 30));
}

TEST_F(KprTransferWindows, WhatMovesNothingEnds)
{
    inPieces(10, 2);
    EXPECT_EQ(kprWrite(mFile, CONTENT.data(), LENGTH, &mMoved), 0u) << "a short write";
    EXPECT_EQ(mMoved, 20u);
    EXPECT_EQ(gTransfers, 3);
    inPieces(10, 1);
    EXPECT_EQ(kprSeekAndWrite(mFile, 20, CONTENT.data(), LENGTH, &mMoved), 0u);
    EXPECT_EQ(mMoved, 10u);
    for (const DWORD tEnd : {DWORD{ERROR_HANDLE_EOF}, DWORD{ERROR_BROKEN_PIPE}, DWORD{NO_ERROR}}) {
        inPieces(10, 2, tEnd);
        EXPECT_EQ(kprSeekAndRead(mFile, 0, mBytes.data(), LENGTH, &mMoved), 0u) << tEnd;
        EXPECT_EQ(mMoved, 20u);
        EXPECT_EQ(seek(0), 0u);
        inPieces(10, 2, tEnd);
        EXPECT_EQ(kprRead(mFile, mBytes.data(), LENGTH, &mMoved), 0u) << tEnd;
        EXPECT_EQ(mMoved, 20u);
    }
}

TEST_F(KprTransferWindows, NothingIsMovedForNoBytes)
{
    inPieces(MAXDWORD, 0, ERROR_IO_DEVICE);
    char tByte = '?';
    EXPECT_EQ(kprRead(mFile, &tByte, 0, &mMoved), 0u);
    EXPECT_EQ(kprWrite(mFile, &tByte, 0, &mMoved), 0u);
    EXPECT_EQ(kprSeekAndRead(mFile, 0, &tByte, 0, &mMoved), 0u);
    EXPECT_EQ(kprSeekAndWrite(mFile, 0, &tByte, 0, &mMoved), 0u);
    EXPECT_EQ(mMoved, 0u);
    EXPECT_EQ(gTransfers, 0);
}

} // namespace
