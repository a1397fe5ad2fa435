// Calls of Linux that fail on purpose: kpr_faults_posix.cpp wraps them, a test says how.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_testing.h"

namespace kprtest {

/// The wrapped calls fail with the given error as often as asked (-1: for ever), then do their work.
class Fault {
public:
    void set(int pError, int pTimes)
    {
        mError = pError;
        mTimes = pTimes;
    }
    int error() const { return mError; }
    bool strikes()
    {
        if (mTimes == 0) return false;
        if (mTimes > 0) --mTimes;
        errno = mError;
        return true;
    }

private:
    std::atomic<int> mError{0};
    std::atomic<int> mTimes{0};
};

extern Fault gRename, gLink, gUnlink, gRead, gWrite, gReaddir, gCalloc;
extern std::function<void()> gListed;   ///< called when the entry "file" has been read
extern bool gHidesKinds;                ///< listings tell no kinds, as on some file systems
extern bool gSecure;                    ///< as in a program with rights that its caller does not have
extern std::size_t gMostPerWrite;       ///< bytes
extern std::size_t gMostTaken;          ///< how often exclusive creation finds the name taken
extern std::size_t gMostModules;        ///< how often the loader still tells of a module what it knows
extern std::vector<std::string> gTaken; ///< the paths that it found taken

class KprPosixTest : public testing::Test {
protected:
    void TearDown() override
    {
        for (Fault* tFault : {&gRename, &gLink, &gUnlink, &gRead, &gWrite, &gReaddir, &gCalloc})
            tFault->set(0, 0);
        gHidesKinds = false;
        gTaken.clear();
        gMostPerWrite = SIZE_MAX;
        gMostTaken = 0;
        gMostModules = SIZE_MAX;
    }

    uint32_t open(const std::string& pPath, uint32_t pMode)
    {
        KprFile tFile;
        const uint32_t tRes = kprOpenFile(pPath.c_str(), pMode, &tFile);
        if (!KFAILED(tRes)) kprCloseFile(tFile);
        return tRes;
    }

    mode_t permissions(const std::string& pPath)
    {
        struct stat tStat {};
        EXPECT_EQ(lstat(pPath.c_str(), &tStat), 0);
        return tStat.st_mode & 07777;
    }

    TemporaryDirectory mDir;
    std::string mPath = mDir / "file", mLink = mDir / "link", mFifo = mDir / "fifo";
};

} // namespace kprtest
