// How a cache is set up, and what it refuses.
#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"
#include "kutil/catalogue.h"
#include "kutil/testing/kutil_MoBuilder.h"

namespace vel::kos::kfw {

namespace {

using test::readFile;
using test::writeFile;

class FSCacheSetUpTest : public FSCacheFixture {};

TEST_F(FSCacheSetUpTest, initTakesAnApplicationOnce)
{
    EXPECT_EQ(mCache->init(nullptr), 0x80070057u);
    const uint32_t tReferences = mApp->references();
    init();
    EXPECT_GT(mApp->references(), tReferences);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80000100u);
    EXPECT_EQ(mCache->init(nullptr), 0x80000100u) << "the state comes first";
    EXPECT_EQ(mCache->release(), 0u);
    EXPECT_EQ(mApp->references(), tReferences) << "the application is given back";
    static_cast<void>(mCache.detach());
}

TEST_F(FSCacheSetUpTest, initMakesTheDirectoriesAndCounters)
{
    init();
    EXPECT_TRUE(std::filesystem::is_directory(objectsDir()));
    EXPECT_EQ(readFile(cacheDir() / "inserted"), std::string(8, '\0'));
    EXPECT_EQ(readFile(cacheDir() / "cleaned"), std::string(8, '\0'));
    const std::filesystem::directory_iterator tFiles(cacheDir());
    EXPECT_EQ(std::distance(begin(tFiles), end(tFiles)), 3) << "nothing temporary is left";
}

TEST_F(FSCacheSetUpTest, initKeepsWhatIsThere)
{
    init();
    ASSERT_EQ(put("http://example.com/", {}, "data"), 0u);
    mCache = kom::retain(new FSCache);
    writeFile(cacheDir() / "cleaned", std::string("\0\0\0\0\0\0\1\2", 8));
    init();
    EXPECT_EQ(counter("inserted"), 1u);
    EXPECT_EQ(counter("cleaned"), 0x102u);
    uint32_t tExists = 0;
    EXPECT_EQ(mCache->hasObject("http://example.com/", &tExists), 0u);
    EXPECT_EQ(tExists, 1u);
}

TEST_F(FSCacheSetUpTest, initRefusesAMissingUserDirectory)
{
    const std::string tMissing = (mDir.path() / "missing").string();
    mApp->setUserAppDir(tMissing);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_ERROR, "The directory " + tMissing + " doesn't exist."), 1u);
    EXPECT_EQ(mApp->logLines().size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(tMissing));
    EXPECT_EQ(mCache->init(mApp.get()), 0x80000100u) << "a failed set-up is not repeated";
    for (const auto& [tOperation, tAnswer] : callEverything(*mCache))
        EXPECT_EQ(tAnswer, 0x80000100u) << tOperation;
}

TEST_F(FSCacheSetUpTest, initReportsDirectoriesThatCannotBeMade)
{
    writeFile(cacheDir(), "in the way");
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_ERROR, "Can't create directory " + cacheDir().string() + "."),
              1u);

    std::filesystem::remove(cacheDir());
    std::filesystem::create_directory(cacheDir());
    writeFile(objectsDir(), "in the way");
    mApp->clearRecords();
    mCache = kom::retain(new FSCache);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_ERROR, "Can't create directory " + objectsDir().string() + "."),
              1u);
    EXPECT_EQ(mApp->logLines().size(), 1u);
    for (const auto& [tOperation, tAnswer] : callEverything(*mCache))
        EXPECT_EQ(tAnswer, 0x80000100u) << tOperation;
}

TEST_F(FSCacheSetUpTest, initSpeaksTheUsersLanguage)
{
    const auto tTexts = mDir.path() / "po" / "xx" / "LC_MESSAGES";
    std::filesystem::create_directories(tTexts);
    writeFile(tTexts / "kfw.mo", kutil_test::buildMo({{"The directory %1 doesn't exist.", "nodir %1"},
                                                      {"Can't create directory %1.", "nomkdir %1"},
                                                      {"Can't create %1: %2.", "nofile %1"}}));
    util::kSetCatalogues((mDir.path() / "po").string().c_str(), "xx");
    const std::string tMissing = (mDir.path() / "missing").string();
    mApp->setUserAppDir(tMissing);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    mApp->setUserAppDir(mDir.text());
    writeFile(cacheDir(), "in the way");
    mCache = kom::retain(new FSCache);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    std::filesystem::remove(cacheDir());
    mCache = kom::retain(new FSCache);
    test::FaultTable::fail("kprMoveFile", KPR_E_IO);
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_IO);
    util::kSetCatalogues(nullptr, nullptr);
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR),
              (std::vector<std::string>{"nodir " + tMissing, "nomkdir " + cacheDir().string(),
                                        "nofile " + (cacheDir() / "inserted").string()}));
}

TEST_F(FSCacheSetUpTest, initNeedsTheApplicationsSecondRevision)
{
    mApp->refuseInterface(fw::IApplication2::IID, KPR_E_BUSY);
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_BUSY);
    expectAssertion("!KFAILED(tRes) && tApp2 != 0");
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR).size(), 2u) << "the failed query, and the assertion";

    mApp->clearRecords();
    mApp->refuseInterface(fw::IApplication2::IID, 0);
    mCache = kom::retain(new FSCache);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    expectAssertion("!KFAILED(tRes) && tApp2 != 0");
}

TEST_F(FSCacheSetUpTest, initNeedsAUserDirectory)
{
    mApp->failOperation("getUserAppDir", KPR_E_BUSY);
    EXPECT_EQ(mCache->init(mApp.get()), KPR_E_BUSY);
    expectAssertion("!KFAILED(tRes) && *KOMCSTR(tUsrAppDirPath) != '\\0'");

    mApp->failOperation("getUserAppDir", 0);
    mApp->setUserAppDir("");
    mApp->clearRecords();
    mCache = kom::retain(new FSCache);
    EXPECT_EQ(mCache->init(mApp.get()), 0x80004005u);
    expectAssertion("!KFAILED(tRes) && *KOMCSTR(tUsrAppDirPath) != '\\0'");
}

TEST_F(FSCacheSetUpTest, refusesACounterThatIsNoFile)
{
    std::filesystem::create_directories(cacheDir() / "inserted");
    const uint32_t tRes = mCache->init(mApp.get());
    EXPECT_TRUE(KFAILED(tRes));
    const std::string tMessage = "FS cache: failed to open " + (cacheDir() / "inserted").string() +
                                 " for reading/writing: " + komStrError(tRes);
    expectLogged(tMessage);
}

} // namespace

} // namespace vel::kos::kfw
