// The settings store as a file: its modes, and files that are damaged or something else.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kfw/settings/kfw_RegDbUserData.h"
#include "kutil/Registry.h"
#include "tests/support/TestSettings.h"

namespace fs = std::filesystem;
using vel::kos::fw::LOG_LEVEL_DEBUG;
using vel::kos::fw::LOG_LEVEL_ERROR;
using vel::kos::fw::LOG_LEVEL_WARNING;
using vel::kos::kfw::RegDbUserData;
using vel::kos::test::TestApplication;
using vel::kos::test::TestSettings;
using vel::kos::util::RegBatch;
using vel::kos::util::Registry;
using vel::kos::util::RegNode;

namespace {

std::string contentOf(const fs::path& pPath)
{
    std::ostringstream tContent;
    tContent << std::ifstream(pPath, std::ios::binary).rdbuf();
    return tContent.str();
}

class SettingsStoreTest : public testing::Test {
protected:
    SettingsStoreTest() { save("kept"); }

    /// A user's life: the record gets a salutation and long notes.
    void save(const std::string& pText)
    {
        mSettings.makeModuleNode();
        const auto tData = kom::retain(new RegDbUserData);
        const auto tApp = mSettings.application();
        ASSERT_EQ(tData->init(tApp.get()), 0u);
        EXPECT_EQ(tData->setSalutation(pText.c_str()), 0u);
        EXPECT_EQ(tData->setNotes(std::string(20000, 'n').c_str()), 0u);
        tApp->close();
    }
    std::string salutation()
    {
        const auto tData = kom::retain(new RegDbUserData);
        const auto tApp = mSettings.application();
        EXPECT_EQ(tData->init(tApp.get()), 0u);
        kom::HeapString tText;
        EXPECT_EQ(tData->getSalutation(tText.out()), 0u);
        return tText.c_str();
    }
    void overwrite(std::streamoff pOffset, const std::string& pBytes)
    {
        std::fstream tFile(mSettings.file(), std::ios::in | std::ios::out | std::ios::binary);
        tFile.seekp(pOffset);
        tFile << pBytes;
    }
    void execute(const std::string& pSql)
    {
        sqlite3* tDatabase = nullptr;
        ASSERT_EQ(sqlite3_open(mSettings.file().c_str(), &tDatabase), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(tDatabase, pSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(tDatabase);
        sqlite3_close(tDatabase);
    }
    /// The copies kept beside the store.
    std::vector<fs::path> copies()
    {
        std::vector<fs::path> tCopies;
        for (const auto& tEntry : fs::directory_iterator(mSettings.folder()))
            if (tEntry.path().filename() != "settings") tCopies.push_back(tEntry.path());
        return tCopies;
    }
    /// The store cannot be used, is left exactly as it is, and the record can only be read.
    void expectLeftAlone(bool pDamaged)
    {
        const std::string tBefore = contentOf(mSettings.file());
        const auto tLongAgo = fs::file_time_type::clock::now() - std::chrono::hours(48);
        for (int i = 0; i < 2; ++i) {
            const auto tApp = mSettings.application();
            EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
            const auto tReports = tApp->messages(pDamaged ? LOG_LEVEL_ERROR : LOG_LEVEL_WARNING);
            ASSERT_EQ(tReports.size(), 1u);
            EXPECT_NE(tReports[0].find(mSettings.file()), std::string::npos) << tReports[0];

            const auto tData = kom::retain(new RegDbUserData);
            EXPECT_EQ(tData->init(tApp.get()), 0u);
            EXPECT_EQ(tApp->countLogged(LOG_LEVEL_DEBUG, "Failed to open user registry node for KOS/KFW"),
                      1u);
            EXPECT_EQ(tData->setSalutation("new"), 0x80000102u);
            tApp->close();
            EXPECT_TRUE(contentOf(mSettings.file()) == tBefore);

            ASSERT_EQ(copies().size(), pDamaged ? 1u : 0u) << "one copy, whoever comes";
            if (!pDamaged) continue;
            EXPECT_TRUE(contentOf(copies()[0]) == tBefore);
            EXPECT_EQ(copies()[0].filename().string().find("settings.damaged-2"), 0u) << copies()[0];
            EXPECT_NE(tReports[0].find(copies()[0].string()), std::string::npos) << tReports[0];
            struct stat tStat {};
            EXPECT_EQ(::stat(copies()[0].c_str(), &tStat), 0);
            EXPECT_EQ(tStat.st_mode & 07777, 0600u);
            if (i == 0) fs::last_write_time(copies()[0], tLongAgo);
            EXPECT_EQ(fs::last_write_time(copies()[0]), tLongAgo) << "copied again";
        }
    }

    TestSettings mSettings;
};

TEST_F(SettingsStoreTest, isForTheUserAlone)
{
    const std::string tFile = mSettings.folder() + "/new/folder/store";
    const auto tApp = TestApplication::make();
    tApp->setSettings("VEL", tFile);
    const mode_t tMask = ::umask(0);
    EXPECT_TRUE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).put("Name", "value") == 0);
    ::umask(tMask);
    struct stat tStat {};
    for (const auto& [tPath, tMode] : {std::pair<std::string, mode_t>{tFile, 0600},
                                       {mSettings.folder() + "/new/folder", 0700},
                                       {mSettings.folder() + "/new", 0700}}) {
        EXPECT_EQ(::stat(tPath.c_str(), &tStat), 0);
        EXPECT_EQ(tStat.st_mode & 07777, tMode) << tPath;
    }
}

TEST_F(SettingsStoreTest, makesNothingUnlessAsked)
{
    fs::remove(mSettings.file());
    const auto tApp = mSettings.application();
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", false).isOpen());
    EXPECT_TRUE(fs::is_empty(mSettings.folder()));
    EXPECT_TRUE(tApp->logLines().empty());
}

TEST_F(SettingsStoreTest, takesAnEmptyFileForANewStore)
{
    std::ofstream(mSettings.file(), std::ios::trunc);
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false).isOpen());
    save("again");
    EXPECT_EQ(salutation(), "again");
}

TEST_F(SettingsStoreTest, keepsAFileThatIsNoStore)
{
    std::ofstream(mSettings.file(), std::ios::trunc) << std::string(5000, 'x');
    expectLeftAlone(true);
}

TEST_F(SettingsStoreTest, keepsACutStore)
{
    fs::resize_file(mSettings.file(), fs::file_size(mSettings.file()) - 4096);
    expectLeftAlone(true);
}

TEST_F(SettingsStoreTest, keepsAStoreWithADamagedHeader)
{
    overwrite(0, "Not a store");
    expectLeftAlone(true);
}

TEST_F(SettingsStoreTest, keepsAStoreWithADamagedPage)
{
    // The table's root page: any later page may hold nothing but text.
    overwrite(4096, std::string(200, '\xA5'));
    expectLeftAlone(true);
}

TEST_F(SettingsStoreTest, keepsAStoreWithDamageThatOpeningDoesNotMeet)
{
    // The chain of pages that hold the notes.
    overwrite(8192, "\xA5\xA5\xA5\xA5");
    expectLeftAlone(true);
}

TEST_F(SettingsStoreTest, worksAgainOnceADamagedStoreIsGone)
{
    overwrite(0, "Not a store");
    expectLeftAlone(true);
    fs::remove(mSettings.file());
    save("new");
    EXPECT_EQ(salutation(), "new");
    EXPECT_EQ(copies().size(), 1u) << "the copy of the damaged one stays";
}

TEST_F(SettingsStoreTest, keepsEveryDamagedStateOnce)
{
    overwrite(0, "Not a store");
    expectLeftAlone(true);
    fs::last_write_time(mSettings.file(), fs::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", true).isOpen());
    EXPECT_EQ(copies().size(), 2u);
}

TEST_F(SettingsStoreTest, noticesDamageWhileItIsOpen)
{
    const auto tApp = mSettings.application();
    auto tModule = Registry::openCurrentUserKOSModule(tApp.get(), "KFW", false);
    auto tNode = tModule.create("UserData", nullptr, false);
    overwrite(0, std::string(8192, '\xA5'));
    const std::string tBefore = contentOf(mSettings.file());
    std::string tText;
    EXPECT_TRUE(KFAILED(tNode.get("Salutation", &tText)));
    EXPECT_EQ(tNode.put("Salutation", "x"), E_READ_ONLY);
    EXPECT_TRUE(KFAILED(tNode.get("Salutation", &tText)));
    EXPECT_EQ(tApp->messages(LOG_LEVEL_ERROR).size(), 1u) << "reported once";
    EXPECT_TRUE(contentOf(mSettings.file()) == tBefore);
    EXPECT_EQ(copies().size(), 1u);
}

TEST_F(SettingsStoreTest, holdsNoLockOnceABatchHasMetDamage)
{
    auto tModule = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false);
    overwrite(24, "\x7F\x7F\x7F\x7F"); // the count of changes: what was read before counts no more
    overwrite(4096, std::string(200, '\xA5'));
    RegBatch tBatch(tModule, RegBatch::Kind::WRITE);
    std::string tText;
    EXPECT_TRUE(KFAILED(tModule.get("Name", &tText)));
    EXPECT_EQ(copies().size(), 1u);
    execute("BEGIN IMMEDIATE; ROLLBACK");
}

TEST_F(SettingsStoreTest, leavesStoresOfOtherLayoutsAlone)
{
    execute("PRAGMA user_version = 2");
    expectLeftAlone(false);
}

TEST_F(SettingsStoreTest, leavesOtherDatabasesAlone)
{
    execute("PRAGMA user_version = 0; DROP TABLE setting; CREATE TABLE birds(name)");
    expectLeftAlone(false);
}

TEST_F(SettingsStoreTest, leavesOtherDatabasesOfTheSameVersionAlone)
{
    execute("DROP TABLE setting; CREATE TABLE birds(name)");
    expectLeftAlone(false);
}

TEST_F(SettingsStoreTest, doesNotBlockOnWhatIsNoFile)
{
    fs::remove(mSettings.file());
    ASSERT_EQ(::mkfifo(mSettings.file().c_str(), 0600), 0);
    const auto tApp = mSettings.application();
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    EXPECT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 1u);
    fs::remove(mSettings.file());
    fs::create_directory(mSettings.file());
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    EXPECT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 2u);
}

TEST_F(SettingsStoreTest, followsNoLink)
{
    fs::rename(mSettings.file(), mSettings.folder() + "/elsewhere");
    fs::create_symlink("elsewhere", mSettings.file());
    const auto tApp = mSettings.application();
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    ASSERT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 1u);
    EXPECT_NE(tApp->messages(LOG_LEVEL_WARNING)[0].find("not a regular file"), std::string::npos);
    EXPECT_TRUE(fs::is_symlink(mSettings.file()));
}

TEST_F(SettingsStoreTest, isFoundThroughALinkToItsFolder)
{
    const fs::path tLink = mSettings.folder() + "/link";
    fs::create_directory_symlink(mSettings.folder(), tLink);
    const auto tApp = TestApplication::make();
    tApp->setSettings("VEL", tLink / "settings");
    EXPECT_TRUE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
}

/// Somebody who may write the folder knows what the copy will be called, and waits for a superuser to look.
TEST_F(SettingsStoreTest, copiesADamagedStoreThroughNoLink)
{
    overwrite(0, "Not a store");
    const timespec tTimes[] = {{1767225600, 0}, {1767225600, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, mSettings.file().c_str(), tTimes, 0), 0);
    const std::string tName = mSettings.file() + ".damaged-20260101T000000Z",
                      tOther = mSettings.folder() + "/other";
    const std::string tVictim = tOther + "/victim", tFresh = tOther + "/fresh";
    fs::create_directory(tOther);
    std::ofstream(tVictim) << "precious";
    fs::create_symlink(tVictim, tName + ".part");
    fs::create_symlink(tFresh, tName);
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", true).isOpen());
    EXPECT_EQ(contentOf(tVictim), "precious");
    EXPECT_FALSE(fs::exists(tFresh));
    fs::remove(tName);
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", true).isOpen());
    EXPECT_TRUE(contentOf(tName) == contentOf(mSettings.file()));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(tName)));
    EXPECT_EQ(contentOf(tVictim), "precious");
}

/// What a store made by somebody else may hold in the place of the table, or beside it.
class HostileStoreTest : public SettingsStoreTest, public testing::WithParamInterface<const char*> {};

TEST_P(HostileStoreTest, isLeftAlone)
{
    execute(GetParam());
    expectLeftAlone(false);
}

INSTANTIATE_TEST_SUITE_P(
    every, HostileStoreTest,
    testing::Values("ALTER TABLE setting RENAME TO hidden; CREATE VIEW setting(node, name, value) AS SELECT "
                    "* FROM hidden",
                    "ALTER TABLE setting RENAME TO hidden; CREATE VIEW setting(node, name, value) AS SELECT "
                    "* FROM hidden;"
                    "CREATE TRIGGER t INSTEAD OF INSERT ON setting BEGIN SELECT randomblob(1000); END",
                    "CREATE TRIGGER t BEFORE INSERT ON setting BEGIN DELETE FROM setting; END",
                    "ALTER TABLE setting ADD COLUMN more AS (length(value))",
                    "DROP TABLE setting; CREATE TABLE setting(node TEXT NOT NULL, name TEXT NOT NULL, value "
                    "CHECK(length(zeroblob(1000)) > 0), PRIMARY KEY(node, name)) WITHOUT ROWID;"
                    "INSERT INTO setting VALUES('VEL/KOS/KFW', '', NULL)",
                    "CREATE INDEX i ON setting(length(value))", "CREATE VIEW birds AS SELECT 1",
                    "CREATE VIRTUAL TABLE birds USING fts5(name)"));

// SQLite takes seconds to understand so many, and minutes for those that the largest file has room for.
TEST_F(SettingsStoreTest, isNotReadWhenItsSchemaIsLong)
{
    execute(
        "PRAGMA writable_schema = 1; WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n "
        "< 50000) INSERT INTO sqlite_schema SELECT 'view', 'v' || n, 'v' || n, 0, 'CREATE VIEW v' || n || "
        "' AS SELECT 1' FROM c");
    expectLeftAlone(false);
    const auto tApp = mSettings.application();
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    ASSERT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 1u);
    EXPECT_NE(tApp->messages(LOG_LEVEL_WARNING)[0].find("more than settings need"), std::string::npos)
        << "understood, for " << tApp->messages(LOG_LEVEL_WARNING)[0];
}

TEST_F(SettingsStoreTest, isNotReadWhenItIsTooLarge)
{
    fs::resize_file(mSettings.file(), (uintmax_t{64} << 20) + 1);
    const auto tApp = mSettings.application();
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    ASSERT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 1u);
    EXPECT_NE(tApp->messages(LOG_LEVEL_WARNING)[0].find("too large"), std::string::npos);
    EXPECT_TRUE(copies().empty());
}

TEST_F(SettingsStoreTest, refusesAValueThatIsTooLarge)
{
    execute("INSERT INTO setting VALUES('VEL/KOS/KFW', 'Long', hex(zeroblob(9000000)))");
    auto tNode = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", true);
    std::string tText = "before";
    EXPECT_EQ(tNode.get("Long", &tText), KPR_E_TOO_LARGE);
    EXPECT_EQ(tText, "before");
    EXPECT_EQ(tNode.put("Longer", std::string(size_t{17} << 20, 'x')), KPR_E_TOO_LARGE);
    EXPECT_EQ(tNode.put("Name", std::string(1u << 20, 'x')), 0u);
}

TEST_F(SettingsStoreTest, makesNoStoreOfAnotherEmptyDatabase)
{
    fs::remove(mSettings.file());
    execute("PRAGMA application_id = 7; CREATE TABLE birds(name); DROP TABLE birds");
    expectLeftAlone(false);
}

// What one of them has half made must not look like somebody else's store to the next.
TEST_F(SettingsStoreTest, isMadeByAnyNumberAtOnce)
{
    for (int tRound = 0; tRound < 40; ++tRound) {
        fs::remove(mSettings.file());
        std::vector<std::thread> tThreads;
        for (int i = 0; i < 6; ++i)
            tThreads.emplace_back([this] {
                const auto tApp = mSettings.application();
                EXPECT_TRUE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
                EXPECT_TRUE(tApp->messages(LOG_LEVEL_WARNING).empty())
                    << tApp->messages(LOG_LEVEL_WARNING)[0];
            });
        for (std::thread& tThread : tThreads)
            tThread.join();
    }
}

TEST_F(SettingsStoreTest, undoesABatchThatIsNotCommitted)
{
    auto tNode = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false);
    {
        RegBatch tBatch(tNode, RegBatch::Kind::WRITE);
        EXPECT_EQ(tNode.put("Name", "value"), 0u);
    }
    std::string tText;
    EXPECT_EQ(tNode.get("Name", &tText), KPR_E_NOT_FOUND);
    EXPECT_EQ(tNode.put("Name", "value"), 0u) << "and later writes are their own";
}

TEST_F(SettingsStoreTest, keepsNothingOfABatchThatFailed)
{
    auto tNode = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false);
    for (const bool tCommits : {true, false}) {
        {
            RegBatch tBatch(tNode, RegBatch::Kind::WRITE);
            EXPECT_EQ(tNode.put("Before", "in the batch"), 0u);
            EXPECT_EQ(tNode.put("Longer", std::string(size_t{17} << 20, 'x')), KPR_E_TOO_LARGE);
            EXPECT_EQ(tNode.put("Name", "in the batch"), KPR_E_TOO_LARGE);
            if (tCommits) {
                EXPECT_EQ(tBatch.commit(), KPR_E_TOO_LARGE);
            }
        }
        std::string tText;
        EXPECT_EQ(tNode.get("Before", &tText), KPR_E_NOT_FOUND);
        EXPECT_EQ(tNode.get("Name", &tText), KPR_E_NOT_FOUND);
        EXPECT_EQ(tNode.put("After", tCommits), 0u) << "the failure is forgotten";
        bool tAfter = !tCommits;
        EXPECT_EQ(tNode.get("After", &tAfter), 0u);
        EXPECT_EQ(tAfter, tCommits);
    }
}

TEST_F(SettingsStoreTest, showsAReaderOneMoment)
{
    auto tReader = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false);
    auto tWriter = Registry::openCurrentUserKOSModule(mSettings.application().get(), "KFW", false);
    tWriter.put("Name", "old");
    std::string tText;
    std::thread tThread;
    {
        RegBatch tBatch(tReader, RegBatch::Kind::READ);
        tReader.get("Name", &tText);
        tThread = std::thread([&] { EXPECT_EQ(tWriter.put("Name", "new"), 0u); });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(tReader.get("Name", &tText), 0u);
        EXPECT_EQ(tText, "old");
    }
    tThread.join();
    EXPECT_EQ(tReader.get("Name", &tText), 0u);
    EXPECT_EQ(tText, "new");
}

TEST_F(SettingsStoreTest, cannotBeMadeWhereNothingCanBe)
{
    const auto tApp = TestApplication::make();
    tApp->setSettings("VEL", mSettings.file() + "/below/a/file");
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    EXPECT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 1u);
    tApp->setSettings("VEL", "");
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    EXPECT_EQ(tApp->messages(LOG_LEVEL_WARNING).size(), 2u);
}

} // namespace
