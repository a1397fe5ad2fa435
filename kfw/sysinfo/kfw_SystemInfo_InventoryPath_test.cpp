// The inventory is asked for modules by their paths.
#include <filesystem>
#include <fstream>

#include "kfw/sysinfo/testing/kfw_SystemInfo_InventoryTest.h"
#include "tests/support/TestDirectory.h"

namespace vel::kos::kfw::test {

namespace {

class InventoryPathTest : public InventoryTest {
protected:
    InventoryPathTest() : mDir(std::filesystem::canonical(mFolder.path()))
    {
        std::filesystem::create_directories(mDir / "sub");
        for (const char* tName : {"real.bin", "sub/real.bin", "other.bin"})
            std::ofstream(mDir / tName) << "x";
    }
    std::string path(const char* pName) const { return mDir.generic_string() + "/" + pName; }

    const vel::kos::test::TestDirectory mFolder;
    const std::filesystem::path mDir;
};

TEST_F(InventoryPathTest, findsByPath)
{
    load(path("sub/real.bin"), {{"InternalName", "a"}});
    load(path("real.bin"), {{"InternalName", "b"}});
    list();
    const int tListings = gLoader.listings;
    EXPECT_EQ(find(path("real.bin").c_str()), path("real.bin"));
    EXPECT_EQ(find(path("sub/real.bin").c_str()), path("sub/real.bin"));
    EXPECT_EQ(find(path("sub/../real.bin").c_str()), path("real.bin"));
    EXPECT_EQ(gLoader.listings, tListings);
}

TEST_F(InventoryPathTest, knowsNoModuleWhereNoFileIs)
{
    load(path("missing.bin"));
    list();
    EXPECT_EQ(find(path("missing.bin").c_str()), "(none)") << "listed, but there is no such file";
    EXPECT_EQ(find(path("sub").c_str()), "(none)") << "a folder is no file";
    EXPECT_EQ(find("/"), "(none)");
}

TEST_F(InventoryPathTest, goesByTheFileNameOtherwise)
{
    load("/elsewhere/Other.bin");
    EXPECT_EQ(find(path("other.bin").c_str()), "/elsewhere/Other.bin");
    EXPECT_EQ(find(path("real.bin").c_str()), "(none)");
}

TEST_F(InventoryPathTest, takesAListedPathAsItStands)
{
    load(path("real.bin"), {{"InternalName", "namesake"}});
    load(path("sub/./real.bin"), {{"InternalName", "asked"}});
    EXPECT_EQ(find(path("sub/./real.bin").c_str()), path("sub/./real.bin")) << "among the loaded ones";
    EXPECT_EQ(gLoader.reads, 1) << "the namesake is not looked into";
    list();
    const int tListings = gLoader.listings;
    EXPECT_EQ(find(path("sub/./real.bin").c_str()), path("sub/./real.bin")) << "in the inventory";
    EXPECT_EQ(gLoader.listings, tListings);
    EXPECT_EQ(debugMessages(), Messages());
}

TEST_F(InventoryPathTest, prefersTheListedPathToAnotherOneOfTheSameFile)
{
    load(path("./real.bin"), {{"InternalName", "a"}});
    load(path("real.bin"), {{"InternalName", "b"}});
    load(path("sub/../real.bin"), {{"InternalName", "c"}});
    EXPECT_EQ(find(path("real.bin").c_str()), path("real.bin")) << "among the loaded ones";
    mInfo.reset();
    start();
    list();
    for (const char* tName : {"sub/../real.bin", "real.bin", "./real.bin"})
        EXPECT_EQ(find(path(tName).c_str()), path(tName)) << "in the inventory";
    EXPECT_EQ(find(path("sub/.././real.bin").c_str()), path("./real.bin")) << "by internal name, the first";
}

TEST_F(InventoryPathTest, knowsTheFileWhateverItsListedPath)
{
    load("/elsewhere/real.bin", {{"InternalName", "namesake"}});
    load(path("./sub/../sub/real.bin"), {{"InternalName", "asked"}});
    EXPECT_EQ(find(path("sub/real.bin").c_str()), path("./sub/../sub/real.bin")) << "among the loaded ones";
    list();
    const int tListings = gLoader.listings;
    EXPECT_EQ(find(path("sub/./real.bin").c_str()), path("./sub/../sub/real.bin")) << "in the inventory";
    EXPECT_EQ(gLoader.listings, tListings);
    EXPECT_EQ(find(path("real.bin").c_str()), "/elsewhere/real.bin") << "the file name comes last";
}

TEST_F(InventoryPathTest, countsAConflictAsNotFound)
{
    load(path("other.bin"), {{"InternalName", "same"}});
    list();
    load(path("sub/real.bin"), {{"InternalName", "same"}});
    load("/elsewhere/real.bin", {{"InternalName", "namesake"}});
    EXPECT_EQ(find(path("sub/real.bin").c_str()), "(none)") << "no namesake stands in";
}

#if defined(_WIN32)
TEST_F(InventoryPathTest, knowsTheFileBehindOtherNames)
{
    std::string tUpper = path("SUB/REAL.BIN");
    load("/elsewhere/real.bin", {{"InternalName", "namesake"}});
    load(tUpper, {{"InternalName", "asked"}});
    list();
    EXPECT_EQ(find(path("sub/real.bin").c_str()), tUpper) << "letter case";
    std::error_code tError;
    std::filesystem::create_hard_link(mDir / "sub/real.bin", mDir / "second.bin", tError);
    ASSERT_FALSE(tError) << tError.message();
    EXPECT_EQ(find(path("second.bin").c_str()), tUpper) << "a second name of the file";
}
#endif

TEST_F(InventoryPathTest, followsALinkOnTheListedSide)
{
    std::error_code tError;
    std::filesystem::create_directory_symlink(mDir / "sub", mDir / "current", tError);
    if (tError) GTEST_SKIP() << "no symbolic links here: " << tError.message();
    load(path("real.bin"), {{"InternalName", "namesake"}});
    load(path("current/real.bin"), {{"InternalName", "asked"}});
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(find(path("sub/real.bin").c_str()), path("current/real.bin"));
        EXPECT_EQ(find(path("current/real.bin").c_str()), path("current/real.bin"));
        list();
    }
}

TEST_F(InventoryPathTest, followsALink)
{
    std::error_code tError;
    std::filesystem::create_symlink(mDir / "real.bin", mDir / "link.bin", tError);
    if (tError) GTEST_SKIP() << "no symbolic links here: " << tError.message();
    load(path("real.bin"));
    list();
    EXPECT_EQ(find(path("link.bin").c_str()), path("real.bin"));
}

} // namespace

} // namespace vel::kos::kfw::test
