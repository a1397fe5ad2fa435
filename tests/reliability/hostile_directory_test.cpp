// A cache directory that somebody has filled with directories, strange counters, huge and read-only files:
// nothing but what the names say is touched, the results are failures or harmless, and other objects go on
// working.
#include "tests/reliability/HostileDirectory.h"

namespace vel::kos::kfw {

namespace {

namespace fs = std::filesystem;

class HostileDirectoryTest : public HostileDirectory {
protected:
    /// A cache that cannot be set up, and that takes calls all the same.
    void expectNoSetUp(uint32_t pCode)
    {
        EXPECT_EQ(mCache->init(mApp.get()), pCode);
        uint32_t tExists = 7;
        static_cast<void>(mCache->hasObject(GOOD, &tExists));
        EXPECT_EQ(tExists, 0u);
        EXPECT_EQ(test::FaultTable::capturedThreads().size(), 0u);
    }
};

TEST_F(HostileDirectoryTest, aDirectoryNamedLikeAnObject)
{
    begin();
    fs::create_directory(mBad);
    test::writeFile(mBad / "inside", "stays");
    setOld(mBad / "inside");
    expectInTheWay();
    setOld(mBad);
    cleanOnce();
    EXPECT_EQ(mRounds, 1u);
    EXPECT_EQ(test::readFile(mBad / "inside"), "stays");
    EXPECT_EQ(counter("cleaned"), 0u);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(HostileDirectoryTest, directoriesNamedLikeCounters)
{
    for (const char* tName : {"inserted", "cleaned"}) {
        startAnew();
        fs::remove_all(cacheDir());
        fs::create_directories(cacheDir() / tName / "inside");
        expectNoSetUp(KPR_E_NOT_REGULAR);
        // Without its counter a store is not counted, and says so; without the cleaner's it works.
        EXPECT_EQ(put(GOOD, {}, "data"), tName == std::string("inserted") ? KPR_E_BAD_HANDLE : 0u);
        EXPECT_TRUE(fs::is_directory(cacheDir() / tName / "inside"));
    }
}

TEST_F(HostileDirectoryTest, filesNamedLikeDirectories)
{
    test::writeFile(cacheDir(), "cache");
    expectNoSetUp(E_FAIL);
    EXPECT_EQ(put(GOOD, {}, "data"), E_WRONG_STATE);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR),
              std::vector<std::string>{"Can't create directory " + cacheDir().string() + "."});
    EXPECT_EQ(test::readFile(cacheDir()), "cache");

    startAnew();
    mApp->clearRecords();
    fs::remove(cacheDir());
    fs::create_directory(cacheDir());
    test::writeFile(objectsDir(), "objects");
    expectNoSetUp(E_FAIL);
    EXPECT_EQ(put(GOOD, {}, "data"), E_WRONG_STATE);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR),
              std::vector<std::string>{"Can't create directory " + objectsDir().string() + "."});
    EXPECT_EQ(test::readFile(objectsDir()), "objects");
}

TEST_F(HostileDirectoryTest, countersThatAreTooShort)
{
    for (const char* tName : {"inserted", "cleaned"})
        for (const std::size_t tSize : {0u, 7u}) {
            SCOPED_TRACE(tName + std::to_string(tSize));
            begin();
            const fs::path tPath = cacheDir() / tName;
            fs::resize_file(tPath, tSize);
            const std::string tShort = tPath.string() + " (" + std::to_string(tSize) + " bytes).";
            if (tName == std::string("inserted")) {
                EXPECT_EQ(put(BAD, {}, "data"), E_FAIL);
                expectLogged("FS cache: short read on " + tShort);
                EXPECT_EQ(getBad(), 0u) << "it is stored, and not counted";
            }
            expectGoodObject();
            mApp->clearRecords();
            runCleanerOnce();
            EXPECT_EQ(mRounds, 0u) << "the cleaner ends";
            expectLogged("FS cache cleaner: short read on " + tShort);
            EXPECT_EQ(fs::file_size(tPath), tSize) << "nobody mends it";
            drop();
            fs::remove_all(cacheDir());
        }
}

TEST_F(HostileDirectoryTest, countersThatAreTooLong)
{
    begin();
    for (const char* tName : {"inserted", "cleaned"})
        fs::resize_file(cacheDir() / tName, 9);
    EXPECT_EQ(put(BAD, {}, "data"), 0u);
    runCleanerOnce();
    EXPECT_EQ(mRounds, 1u);
    EXPECT_TRUE(mApp->logLines().empty());
    EXPECT_EQ(test::readFile(cacheDir() / "inserted"), std::string("\0\0\0\0\0\0\0\2\0", 9));
}

TEST_F(HostileDirectoryTest, aCounterOfAllOnesWraps)
{
    begin();
    setCounter(cacheDir() / "inserted", UINT64_MAX);
    EXPECT_EQ(put(BAD, {}, "data"), 0u);
    EXPECT_EQ(counter("inserted"), 0u);
}

TEST_F(HostileDirectoryTest, aHugeSparseFile)
{
    begin();
    test::writeFile(mBad, "");
    fs::resize_file(mBad, uint64_t(5) << 30);
    EXPECT_EQ(getBad(), E_FAIL);
    EXPECT_EQ(getBadFile(), E_FAIL);
    EXPECT_TRUE(hasBad());
    EXPECT_EQ(put(BAD, {}, "data"), 0u) << "it is there";
    expectGoodObject();
    setOld(mBad);
    cleanOnce();
    EXPECT_FALSE(fs::exists(mBad)) << "it is a file like any other";
    EXPECT_EQ(counter("cleaned"), uint64_t(5) << 20);
    EXPECT_EQ(put(BAD, {}, "data"), 0u);
    EXPECT_EQ(getBad(), 0u);
}

TEST_F(HostileDirectoryTest, aSparseFileIsNotReadToItsEnd)
{
    begin();
    test::writeFile(mBad, "");
    fs::resize_file(mBad, uint64_t(4095) << 20);
    EXPECT_EQ(getBad(), E_FAIL);
    EXPECT_EQ(
        mApp->countLogged(fw::LOG_LEVEL_DEBUG, "FS cache: " + mBad.string() +
                                                   " is not a valid cache object (invalid magic number)."),
        2u);
    expectGoodObject();
}

TEST_F(HostileDirectoryTest, aReadOnlyFile)
{
    begin();
    ASSERT_EQ(put(BAD, {}, "data"), 0u);
    fs::permissions(mBad, fs::perms::owner_read);
    EXPECT_EQ(getBad(), 0u);
    EXPECT_EQ(put(BAD, {}, "data"), 0u);
    setOld(mBad);
    EXPECT_TRUE(hasBad());
    setOld(mBad);
    cleanOnce();
    EXPECT_EQ(mRounds, 1u);
    // Some systems do not remove what is read-only: then it is not counted either.
    EXPECT_EQ(counter("cleaned"), fs::exists(mBad) ? 0u : 1u);
    expectGoodObject();
    std::error_code tGone;
    fs::permissions(mBad, fs::perms::owner_all, tGone);
}

TEST_F(HostileDirectoryTest, foreignFilesAreCandidatesLikeAnyOther)
{
    begin();
    const std::vector<std::string> tNames = {"a file with blanks", "readme.txt", std::string(200, 'n'),
                                             fileOf(BAD).filename().string() + ".0123456789"};
    for (const std::string& tName : tNames) {
        test::writeFile(objectsDir() / tName, std::string(3000, 'x'));
        setOld(objectsDir() / tName);
    }
    test::writeFile(objectsDir() / "young", "x");
    for (std::size_t i = 0; i < tNames.size(); ++i) {
        cleanOnce();
        EXPECT_TRUE(mApp->logLines().empty());
        startAnew();
        init();
    }
    EXPECT_EQ(fileCount(), 2u) << "the good object and the young file";
    expectGoodObject();
}

} // namespace

} // namespace vel::kos::kfw
