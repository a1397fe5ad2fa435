// Listings of Linux: every kind of entry, and those that break.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/testing/kpr_faults_posix.h"
#include "kpr/testing/kpr_testing.h"

namespace kprtest {

TEST_F(KprPosixTest, ListingsTellEveryKind)
{
    ASSERT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink("nowhere", mLink.c_str()), 0);
    writeFile(mPath, "");
    ASSERT_EQ(kprMakeDir((mDir / "folder").c_str()), 0u);
    const std::map<std::string, uint32_t> tExpected = {{"fifo", KPR_KIND_OTHER},
                                                       {"link", KPR_KIND_LINK},
                                                       {"file", KPR_KIND_FILE},
                                                       {"folder", KPR_KIND_DIRECTORY}};
    for (const bool tHides : {false, true}) {
        gHidesKinds = tHides;
        KprDir tDir;
        ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
        std::map<std::string, uint32_t> tFound;
        char tName[100];
        uint32_t tKind;
        while (kprReadDir(tDir, tName, sizeof tName, &tKind) == 0)
            tFound[tName] = tKind;
        EXPECT_EQ(tFound, tExpected) << (tHides ? "the file system does not tell" : "");
        EXPECT_EQ(kprCloseDir(tDir), 0u);
    }
}

TEST_F(KprPosixTest, WhatGoesWhileItIsListedIsOfNoKnownKind)
{
    writeFile(mPath, "");
    gHidesKinds = true;
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    uint32_t tKind = KPR_KIND_LINK, tEntries = 0;
    char tName[100];
    gListed = [this] { ASSERT_EQ(kprRemoveFile(mPath.c_str()), 0u); };
    while (kprReadDir(tDir, tName, sizeof tName, &tKind) == 0)
        ++tEntries;
    gListed = nullptr;
    EXPECT_EQ(tEntries, 1u);
    EXPECT_EQ(tKind, KPR_KIND_OTHER);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
}

TEST_F(KprPosixTest, AListingThatBreaksEnds)
{
    writeFile(mPath, "");
    KprDir tDir;
    ASSERT_EQ(kprOpenDir(mDir.path().c_str(), &tDir), 0u);
    char tName[100];
    gReaddir.set(EIO, -1);
    EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, nullptr), KPR_E_IO);
    EXPECT_EQ(kprReadDir(tDir, tName, sizeof tName, nullptr), KPR_E_END);
    EXPECT_EQ(kprCloseDir(tDir), 0u);
}

} // namespace kprtest
