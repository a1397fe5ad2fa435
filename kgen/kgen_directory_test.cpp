#include "kgen/directory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "kgen/path.h"
#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/thread.h"

namespace {

namespace fs = std::filesystem;
using namespace kgen;

class Directory : public testing::Test {
protected:
    Directory()
    {
        mDir = (fs::temp_directory_path() / ("kgen-directory-" + std::to_string(kprGetProcessId())))
                   .generic_string();
        fs::remove_all(mDir);
        fs::create_directory(mDir);
    }
    ~Directory() override { fs::remove_all(mDir); }

    std::string in(const std::string& pName) const { return mDir + "/" + pName; }
    void makeFile(const std::string& pName) { std::ofstream(in(pName)) << "content"; }

    std::string mDir;
};

std::string gMounted; ///< the name of a folder that is a link, as the root of a mounted volume

} // namespace

extern "C" {
uint32_t __real_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo);
uint32_t __wrap_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo);
uint32_t __wrap_kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo)
{
    const uint32_t tRes = __real_kprGetFileInfo(pPath, pMask, pInfo);
    if (!KFAILED(tRes) && !gMounted.empty() && std::string(pPath).ends_with(gMounted))
        pInfo->kind = KPR_KIND_LINK;
    return tRes;
}
}

namespace {

TEST_F(Directory, MayBeTheRootOfAMountedVolume)
{
    fs::create_directory(in("volume"));
    makeFile("file");
    gMounted = "volume"; // its real path is its own
    EXPECT_TRUE(directoryExists(in("volume")));
    EXPECT_EQ(createDirectories(in("volume")), 0u);
    EXPECT_EQ(createDirectories(in("volume/cache")), 0u);
    gMounted = "file";
    EXPECT_FALSE(directoryExists(in("file")));
    EXPECT_FALSE(fileExists(in("file"))) << "a link to nobody knows what";
    gMounted.clear();
}

TEST_F(Directory, IsCreatedWithItsParents)
{
    EXPECT_EQ(createDirectories(in("a/b/c")), 0u);
    EXPECT_TRUE(fs::is_directory(in("a/b/c")));
    EXPECT_EQ(createDirectories(in("a/b/c")), 0u);
    EXPECT_EQ(createDirectories(in("a/b/d")), 0u);
    EXPECT_TRUE(fs::is_directory(in("a/b/d")));
    EXPECT_EQ(createDirectories(mDir), 0u);
    EXPECT_EQ(createDirectories(toNativePath(in("n/m"))), 0u);
    EXPECT_TRUE(fs::is_directory(in("n/m")));
    EXPECT_EQ(createDirectories(in("t/u/")), 0u);
    EXPECT_TRUE(fs::is_directory(in("t/u")));
    EXPECT_EQ(createDirectories(in("\xC3\xA4 b/\xE2\x82\xAC")), 0u);
    EXPECT_TRUE(directoryExists(in("\xC3\xA4 b/\xE2\x82\xAC")));
}

TEST_F(Directory, IsTheUsersAlone)
{
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no such modes: a folder takes over the permissions of the one it is made in";
#else
    ASSERT_EQ(createDirectories(in("a/b")), 0u);
    EXPECT_EQ(fs::status(in("a")).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(in("a/b")).permissions(), fs::perms::owner_all);
#endif
}

TEST_F(Directory, KnowsRootsAndTheCurrentDirectory)
{
    for (const fs::path& tPath : {fs::temp_directory_path(), fs::current_path()}) {
        EXPECT_EQ(createDirectories(tPath.root_path().string()), 0u) << tPath;
        EXPECT_TRUE(directoryExists(tPath.root_path().string())) << tPath;
    }
    EXPECT_EQ(createDirectories("."), 0u);
    EXPECT_EQ(createDirectories(".."), 0u);
    EXPECT_TRUE(KFAILED(createDirectories("")));
}

TEST_F(Directory, IsCreatedBelowTheCurrentOne)
{
    const fs::path tBefore = fs::current_path();
    fs::current_path(mDir);
    EXPECT_EQ(createDirectories("a/b"), 0u);
    EXPECT_EQ(createDirectories("c"), 0u);
    fs::current_path(tBefore);
    EXPECT_TRUE(fs::is_directory(in("a/b")));
    EXPECT_TRUE(fs::is_directory(in("c")));
}

TEST_F(Directory, IsNotCreatedWhereAFileStands)
{
    makeFile("file");
    EXPECT_EQ(createDirectories(in("file")), KPR_E_EXISTS);
    EXPECT_EQ(createDirectories(in("file/a")), KPR_E_EXISTS);
    EXPECT_EQ(createDirectories(in("file/a/b/c")), KPR_E_EXISTS);
    EXPECT_TRUE(fs::is_regular_file(in("file")));
}

TEST_F(Directory, MayBeCreatedByManyAtOnce)
{
    for (int tRound = 0; tRound < 20; ++tRound) {
        const std::string tPath = in(std::to_string(tRound) + "/a/b/c/d");
        std::vector<std::thread> tThreads;
        std::atomic<int> tDone{0};
        tThreads.reserve(4);
        for (int tThread = 0; tThread < 4; ++tThread)
            tThreads.emplace_back([&] { tDone += createDirectories(tPath) == 0; });
        for (std::thread& tThread : tThreads)
            tThread.join();
        EXPECT_EQ(tDone, 4);
        EXPECT_TRUE(fs::is_directory(tPath));
    }
}

TEST_F(Directory, IsToldFromAFile)
{
    makeFile("file");
    EXPECT_TRUE(directoryExists(mDir));
    EXPECT_TRUE(directoryExists(toNativePath(mDir)));
    EXPECT_FALSE(directoryExists(in("file")));
    EXPECT_FALSE(directoryExists(in("missing")));
    EXPECT_FALSE(directoryExists(in("file/below")));
    EXPECT_FALSE(directoryExists(""));
    EXPECT_TRUE(fileExists(in("file")));
    EXPECT_FALSE(fileExists(mDir));
    EXPECT_FALSE(fileExists(in("missing")));
    EXPECT_FALSE(fileExists(in("file/below")));
    EXPECT_FALSE(fileExists(""));
}

TEST_F(Directory, IsFoundThroughLinks)
{
    makeFile("file");
    std::error_code tError;
    fs::create_directory_symlink(mDir, in("to-directory"), tError);
    if (tError) GTEST_SKIP() << "no symbolic links can be made here: " << tError.message();
    fs::create_symlink("file", in("to-file"));
    fs::create_symlink("missing", in("to-nothing"));
    fs::create_symlink("loop", in("loop"));
    EXPECT_TRUE(directoryExists(in("to-directory")));
    EXPECT_FALSE(fileExists(in("to-directory")));
    EXPECT_TRUE(fileExists(in("to-file")));
    EXPECT_FALSE(directoryExists(in("to-file")));
    for (const char* tName : {"to-nothing", "loop"}) {
        EXPECT_FALSE(directoryExists(in(tName)));
        EXPECT_FALSE(fileExists(in(tName)));
        EXPECT_EQ(realPath(in(tName)), "");
        EXPECT_EQ(createDirectories(in(tName)), KPR_E_EXISTS);
    }
    EXPECT_EQ(createDirectories(in("to-directory")), 0u);
    EXPECT_EQ(createDirectories(in("to-directory/a/b")), 0u);
    EXPECT_TRUE(fs::is_directory(in("a/b")));
    EXPECT_EQ(createDirectories(in("to-file")), KPR_E_EXISTS);
    EXPECT_EQ(realPath(in("to-directory/to-file")), realPath(in("file")));
}

TEST_F(Directory, HasARealPath)
{
    fs::create_directories(in("a/b"));
    const std::string tReal = realPath(mDir);
    EXPECT_TRUE(fs::path(tReal).is_absolute());
    EXPECT_TRUE(fs::equivalent(tReal, mDir));
    EXPECT_EQ(realPath(in("a/../a/./b")), toNativePath(fromNativePath(tReal) + "/a/b"));
    EXPECT_EQ(realPath(in("missing")), "");
    EXPECT_EQ(realPath(""), "");
    EXPECT_EQ(fileIdentity(in("a/../a/./b")), fileIdentity(in("a/b")));
    EXPECT_NE(fileIdentity(in("a/b")), fileIdentity(in("a")));
    EXPECT_EQ(fileIdentity(in("missing")), "");
}

/// A path of well over 1024 bytes, whose directories are removed again: the standard library cannot on
/// Windows.
class LongPath : public Directory {
protected:
    LongPath()
    {
        while (mPath.size() < 1200)
            mPath += "/a-folder-of-thirty-characters-";
        mResult = createDirectories(mPath);
    }
    ~LongPath() override
    {
        for (std::string tPath = mPath; tPath != mDir; tPath.resize(tPath.rfind('/')))
            kprRemoveDir(tPath.c_str());
    }

    std::string mPath = mDir;
    uint32_t mResult;
};

TEST_F(LongPath, IsCreated)
{
    EXPECT_EQ(mResult, 0u);
    EXPECT_TRUE(directoryExists(mPath));
    EXPECT_EQ(createDirectories(mPath), 0u);
}

TEST_F(LongPath, HasARealPath)
{
#if defined(_WIN32)
    std::string tBuffer(8192, '\0');
    if (kprGetRealPath(mPath.c_str(), tBuffer.data(), 8192) == KPR_E_BUFFER_TOO_SMALL)
        GTEST_SKIP() << "Wine cannot tell the final path of a handle beyond some 260 characters";
#endif
    EXPECT_EQ(realPath(mPath), toNativePath(fromNativePath(realPath(mDir)) + mPath.substr(mDir.size())));
}

} // namespace
