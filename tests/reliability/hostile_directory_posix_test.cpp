// Links, pipes and sockets in a cache directory: they are not followed, nobody waits for them, and what they
// point to is not touched.
#include "tests/reliability/HostileDirectory.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace vel::kos::kfw {

namespace {

namespace fs = std::filesystem;

/// A socket's name; the socket itself is closed.
void makeSocket(const fs::path& pPath)
{
    // The path may be longer than a socket's address can hold; a name in the current directory is not.
    const fs::path tBefore = fs::current_path();
    fs::current_path(pPath.parent_path());
    sockaddr_un tAddress{};
    tAddress.sun_family = AF_UNIX;
    const std::string tName = pPath.filename().string();
    tName.copy(tAddress.sun_path, sizeof tAddress.sun_path - 1);
    const int tSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(tSocket, reinterpret_cast<sockaddr*>(&tAddress), sizeof tAddress), 0);
    close(tSocket);
    fs::current_path(tBefore);
}

class HostilePosixTest : public HostileDirectory {
protected:
    /// What lies outside, and has to stay as it is.
    struct Outside {
        std::string content;
        int64_t modified;
        int64_t accessed;

        bool operator==(const Outside&) const = default;
    };
    Outside outside() const
    {
        KprFileInfo tInfo{};
        EXPECT_EQ(kprGetFileInfo(mOutside.string().c_str(), KPR_INFO_ALL, &tInfo), 0u);
        const Outside tState{test::readFile(mOutside), tInfo.modified.seconds, tInfo.accessed.seconds};
        // Reading it here has changed the second one.
        static_cast<void>(kprSetFileTime(mOutside.string().c_str(), &tInfo.accessed, nullptr));
        return tState;
    }
    /// A whole object file outside, old, which a link could stand for.
    void makeOutside()
    {
        ASSERT_EQ(put("http://example.com/outside", {}, "outside"), 0u);
        fs::rename(fileOf("http://example.com/outside"), mOutside);
        setCounter(cacheDir() / "inserted", 1);
        setOld(mOutside);
    }
    void expectPassedOver()
    {
        EXPECT_EQ(lchown(mBad.c_str(), getuid(), getgid()), 0) << "it is still there";
        setOld(mBad);
        cleanOnce();
        EXPECT_EQ(mRounds, 1u);
        EXPECT_EQ(counter("cleaned"), 0u);
        EXPECT_TRUE(mApp->logLines().empty());
        EXPECT_TRUE(fs::exists(fs::symlink_status(mBad)));
    }

    const fs::path mOutside = mDir.path() / "outside";
};

TEST_F(HostilePosixTest, aLinkToAFileOutside)
{
    begin();
    makeOutside();
    const Outside tBefore = outside();
    fs::create_symlink(mOutside, mBad);
    expectInTheWay();
    expectPassedOver();
    EXPECT_EQ(outside(), tBefore);
}

TEST_F(HostilePosixTest, aLinkToADirectoryOutside)
{
    begin();
    fs::create_directory(mOutside);
    test::writeFile(mOutside / "old", "stays");
    setOld(mOutside / "old");
    fs::create_symlink(mOutside, mBad);
    expectInTheWay();
    expectPassedOver();
    EXPECT_EQ(test::readFile(mOutside / "old"), "stays");
}

TEST_F(HostilePosixTest, linksToNowhereAndToThemselves)
{
    for (const bool tLoop : {false, true}) {
        begin();
        fs::create_symlink(tLoop ? mBad : mOutside, mBad);
        expectInTheWay();
        expectPassedOver();
        EXPECT_FALSE(fs::exists(fs::symlink_status(mOutside)));
        drop();
        fs::remove_all(cacheDir());
    }
}

TEST_F(HostilePosixTest, aPipeAndASocket)
{
    for (const bool tPipe : {true, false}) {
        begin();
        if (tPipe) {
            ASSERT_EQ(mkfifo(mBad.c_str(), 0600), 0);
        } else {
            makeSocket(mBad);
        }
        expectInTheWay();
        expectPassedOver();
        drop();
        fs::remove_all(cacheDir());
    }
}

TEST_F(HostilePosixTest, countersThatAreNoFiles)
{
    using Maker = std::function<void(const fs::path&)>;
    test::writeFile(mOutside, "precious");
    setOld(mOutside);
    const Outside tBefore = outside();
    const std::vector<Maker> tMakers = {
        [this](const fs::path& pPath) { fs::create_symlink(mOutside, pPath); },
        [this](const fs::path& pPath) { fs::create_symlink(mDir.path() / "nowhere", pPath); },
        [](const fs::path& pPath) { EXPECT_EQ(mkfifo(pPath.c_str(), 0600), 0); },
        makeSocket,
    };
    for (const char* tName : {"inserted", "cleaned"})
        for (const Maker& tMake : tMakers) {
            startAnew();
            fs::remove_all(cacheDir());
            fs::create_directories(objectsDir());
            tMake(cacheDir() / tName);
            EXPECT_EQ(mCache->init(mApp.get()), KPR_E_NOT_REGULAR);
            EXPECT_TRUE(fs::exists(fs::symlink_status(cacheDir() / tName)));
            EXPECT_FALSE(fs::exists(mDir.path() / "nowhere"));
        }
    EXPECT_EQ(outside(), tBefore);
}

/// Who moves the cache to another volume leaves a link behind: a directory is followed where a file is not.
TEST_F(HostilePosixTest, directoriesMayBeLinks)
{
    fs::create_directory(mOutside);
    fs::create_directory_symlink(mOutside, cacheDir());
    begin();
    expectGoodObject();
    EXPECT_TRUE(fs::exists(mOutside / "objects" / nameOf(GOOD)));
}

TEST_F(HostilePosixTest, aDirectoryLinkToNowhere)
{
    fs::create_directory_symlink(mDir.path() / "nowhere", cacheDir());
    EXPECT_EQ(mCache->init(mApp.get()), E_FAIL);
    EXPECT_FALSE(fs::exists(mDir.path() / "nowhere"));
}

/// Whose cleaner would remove what lies where the link leads, with the rights of who sets the cache up.
TEST_F(HostilePosixTest, aDirectoryLinkOfSomebodyElse)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
    fs::create_directory(mOutside);
    test::writeFile(mOutside / "old", "stays");
    for (const bool tObjects : {false, true}) {
        startAnew();
        fs::remove_all(cacheDir());
        if (tObjects) fs::create_directory(cacheDir());
        const fs::path tLink = tObjects ? objectsDir() : cacheDir();
        fs::create_directory_symlink(mOutside, tLink);
        EXPECT_EQ(lchown(tLink.c_str(), 65534, 65534), 0);
        EXPECT_EQ(mCache->init(mApp.get()), E_FAIL);
        EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_ERROR, "Can't create directory " + tLink.string() + "."),
                  1u);
        EXPECT_EQ(std::distance(fs::directory_iterator(mOutside), {}), 1);
        EXPECT_EQ(test::readFile(mOutside / "old"), "stays");
    }
}

TEST_F(HostilePosixTest, anObjectThatIsReplacedWhileItIsListed)
{
    begin();
    makeOutside();
    const Outside tBefore = outside();
    ASSERT_EQ(put(BAD, {}, "data"), 0u);
    setOld(mBad);
    test::FaultTable::before("kprCloseDir", [this] {
        fs::remove(mBad);
        fs::create_symlink(mOutside, mBad);
        setOld(mBad);
    });
    cleanOnce();
    EXPECT_EQ(outside(), tBefore) << "at the most the link goes";
}

} // namespace

} // namespace vel::kos::kfw
