// The inventory over a loader that the test makes up.
#include "kfw/sysinfo/testing/kfw_SystemInfo_InventoryTest.h"

#include <functional>
#include <string>
#include <utility>

namespace vel::kos::kfw::test {

namespace {

// Adding.

TEST_F(InventoryTest, isEmptyBeforeAnybodyAsks)
{
    load("/m/a.bin");
    EXPECT_EQ(gLoader.listings, 0);
    EXPECT_EQ(gLoader.reads, 0);
}

TEST_F(InventoryTest, listsByInternalName)
{
    load("/m/Zebra.bin", {{"InternalName", "beta"}});
    load("/m/sub/Alpha.BIN");
    load("/m/x.bin", {{"InternalName", "CAFE"}});
    EXPECT_EQ(list(), (Messages{"alpha.bin|/m/sub/Alpha.BIN|Alpha.BIN", "beta|/m/Zebra.bin|Zebra.bin",
                                "cafe|/m/x.bin|x.bin"}));
    EXPECT_EQ(gLoader.opened, 0) << "the list has handles";
}

TEST_F(InventoryTest, listsNothingOfNothing) { EXPECT_EQ(list(), Messages()); }

TEST_F(InventoryTest, keepsAttributesAndAddsTheInternalName)
{
    load("/m/One.bin", {{"B", "2"}, {"A", "1"}, {"A", ""}, {"internalname", "no"}});
    EXPECT_EQ(
        attributesOfModule("one.bin"),
        (Pairs{{"B", "2"}, {"A", "1"}, {"A", ""}, {"internalname", "no"}, {"InternalName", "one.bin"}}));
    load("/m/Two.bin", {{"InternalName", ""}, {"A", "1"}});
    EXPECT_EQ(attributesOfModule("two.bin"), (Pairs{{"InternalName", "two.bin"}, {"A", "1"}}));
    load("/m/Three.bin", {{"InternalName", "Drei"}});
    load("/m/Four.bin", {{"InternalName", "Vier"}, {"InternalName", "Quatre"}});
    EXPECT_EQ(list().size(), 4u);
    EXPECT_EQ(attributesOfModule("drei"), (Pairs{{"InternalName", "Drei"}})) << "as declared";
    EXPECT_EQ(find("quatre"), "/m/Four.bin") << "the last one counts";
}

TEST_F(InventoryTest, opensWhatHasNoHandle)
{
    load("/m/a.bin");
    gLoader.modules.back().handle = 0;
    EXPECT_EQ(list(), Messages{"a.bin|/m/a.bin|a.bin"});
    EXPECT_EQ(gLoader.opened, 1);
    EXPECT_EQ(gLoader.closed, 1);
    list();
    EXPECT_EQ(gLoader.opened, 1) << "once";
    EXPECT_EQ(debugMessages(), Messages());
}

TEST_F(InventoryTest, skipsWhatIsNoPath)
{
    load("virtual.bin");
    gLoader.modules.back().handle = 0;
    EXPECT_EQ(list(), Messages());
    EXPECT_EQ(debugMessages(), Messages{"Skipping 'virtual.bin' in SystemInfo::addModule()."});
    EXPECT_EQ(gLoader.opened, 0);
    EXPECT_EQ(find("virtual.bin"), "(none)");
}

TEST_F(InventoryTest, leavesOutWhatCannotBeOpened)
{
    load("/m/%1.bin");
    gLoader.modules.back().handle = 0;
    gLoader.modules.back().openFails = true;
    EXPECT_EQ(list(), Messages());
    EXPECT_EQ(debugMessages(),
              Messages{"DSO '" + kgen::toNativePath("/m/%1.bin") +
                       "' has been returned from kprListLoadedModules() but can't be opened."});
    EXPECT_EQ(find("%1.bin"), "(none)");
}

TEST_F(InventoryTest, leavesOutWhatCannotBeDescribed)
{
    load("/m/a.bin");
    gLoader.modules.back().readFails = true;
    load("/m/b.bin");
    gLoader.modules.back().readFails = true;
    gLoader.modules.back().handle = 0;
    EXPECT_EQ(list(), Messages());
    EXPECT_EQ(debugMessages(),
              (Messages{"Failed to get attributes from DSO '" + kgen::toNativePath("/m/a.bin") + "'.",
                        "Failed to get attributes from DSO '" + kgen::toNativePath("/m/b.bin") + "'."}));
    EXPECT_EQ(gLoader.closed, 1) << "what was opened here";
    EXPECT_EQ(find("a.bin"), "(none)");
}

// Conflicts.

TEST_F(InventoryTest, keepsTheFirstOfOneNameAndReportsOnce)
{
    load("/conflict/one.bin", {{"InternalName", "Foo"}});
    load("/conflict/two.bin", {{"InternalName", "foo"}});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list(), Messages{"foo|/conflict/one.bin|one.bin"});
    EXPECT_EQ(gLoader.reads, 1 + 3) << "the dropped one is tried again each time";
    const Messages tReport = {
        "Conflicting modules with internal name 'foo':\n    /conflict/one.bin\n    /conflict/two.bin"};
    EXPECT_EQ(debugMessages(), tReport);

    mInfo.reset();
    start();
    list();
    EXPECT_EQ(debugMessages(), tReport) << "once per process, not per object";

    std::swap(gLoader.modules[0], gLoader.modules[1]);
    mInfo.reset();
    start();
    EXPECT_EQ(list(), Messages{"foo|/conflict/two.bin|two.bin"});
    EXPECT_EQ(debugMessages().size(), 2u) << "the pair the other way round is another one";
}

TEST_F(InventoryTest, takesTheSecondOnceTheFirstIsGone)
{
    load("/gone/one.bin", {{"InternalName", "x"}});
    load("/gone/two.bin", {{"InternalName", "X"}});
    EXPECT_EQ(list(), Messages{"x|/gone/one.bin|one.bin"});
    gLoader.unload("/gone/one.bin");
    EXPECT_EQ(list(), Messages{"x|/gone/two.bin|two.bin"});
}

TEST_F(InventoryTest, countsAConflictAsNotFound)
{
    load("/nf/one.bin", {{"InternalName", "same"}});
    load("/nf/two.bin", {{"InternalName", "same"}});
    list();
    EXPECT_EQ(find("two.bin"), "(none)");
    EXPECT_EQ(find("one.bin"), "/nf/one.bin");
}

// Refreshing.

TEST_F(InventoryTest, looksIntoNewModulesOnly)
{
    load("/m/a.bin");
    load("/m/b.bin");
    list();
    EXPECT_EQ(gLoader.reads, 2);
    list();
    range("P");
    EXPECT_EQ(gLoader.reads, 2);
    EXPECT_EQ(gLoader.opened, 0);
    load("/m/c.bin");
    EXPECT_EQ(list().size(), 3u);
    EXPECT_EQ(gLoader.reads, 3);
}

TEST_F(InventoryTest, followsLoadingAndUnloading)
{
    load("/m/a.bin");
    load("/m/b.bin");
    EXPECT_EQ(list().size(), 2u);
    gLoader.unload("/m/a.bin");
    EXPECT_EQ(list(), Messages{"b.bin|/m/b.bin|b.bin"});
    gLoader.unload("/m/b.bin");
    load("/m/c.bin"); // as many as before
    EXPECT_EQ(list(), Messages{"c.bin|/m/c.bin|c.bin"});
    load("/other/c.bin");
    gLoader.unload("/m/c.bin");
    EXPECT_EQ(list(), Messages{"c.bin|/other/c.bin|c.bin"}) << "the same name from elsewhere";
    gLoader.modules.clear();
    EXPECT_EQ(list(), Messages());
}

TEST_F(InventoryTest, keepsAnUnloadedModuleUntilTheNextRefresh)
{
    load("/m/a.bin");
    list();
    gLoader.modules.clear();
    EXPECT_EQ(find("a.bin"), "/m/a.bin");
    list();
    EXPECT_EQ(find("a.bin"), "(none)");
}

TEST_F(InventoryTest, passesTheLoadersFailureOn)
{
    load("/m/a.bin");
    list();
    gLoader.listingFails = 0x96230018;
    fw::ModuleList tList{9, nullptr};
    EXPECT_EQ(mInfo->getModules(&tList), 0x96230018u);
    EXPECT_EQ(tList.mCount, 0u);
    EXPECT_EQ(range("P"), std::to_string(0x96230018u));
    EXPECT_EQ(range(nullptr), std::to_string(0x96230018u)) << "the refresh comes first";
    EXPECT_EQ(find("a.bin"), "/m/a.bin") << "what is known needs no listing";
    fw::SysInfoModule tModule;
    EXPECT_EQ(mInfo->getModule("b.bin", &tModule), 0x96230018u) << "nobody knows whether it is loaded";
    EXPECT_EQ(tModule.mPathName, nullptr);
    kom::HeapString tVersion;
    EXPECT_EQ(mInfo->getModuleFileVersion("b.bin", tVersion.out()), 0x96230018u);
    EXPECT_TRUE(tVersion.isNull());
}

// Finding.

TEST_F(InventoryTest, findsByInternalName)
{
    load("/m/libone.so.1", {{"InternalName", "One"}});
    list();
    EXPECT_EQ(find("one"), "/m/libone.so.1");
    EXPECT_EQ(find("ONE"), "/m/libone.so.1");
    const int tListings = gLoader.listings;
    EXPECT_EQ(find("oNe"), "/m/libone.so.1");
    EXPECT_EQ(gLoader.listings, tListings) << "the inventory is enough";
}

TEST_F(InventoryTest, completesANameWithoutAPoint)
{
    load("/m/" + fileName("Core"));
    EXPECT_EQ(find("core"), "/m/" + fileName("Core")) << "among the loaded ones";
    const int tListings = gLoader.listings;
    EXPECT_EQ(find("CORE"), "/m/" + fileName("Core")) << "by its internal name, the completed file name";
    EXPECT_EQ(gLoader.listings, tListings);
    EXPECT_EQ(find("core."), "(none)") << "a name with a point is taken as it is";
}

TEST_F(InventoryTest, prefersTheNameItselfToTheCompletedOne)
{
    load("/m/" + fileName("tool"));
    load("/m/other.bin", {{"InternalName", "tool"}});
    list();
    EXPECT_EQ(find("tool"), "/m/other.bin");
    EXPECT_EQ(find(fileName("tool").c_str()), "/m/" + fileName("tool"));
}

TEST_F(InventoryTest, findsByFileName)
{
    load("/m/Odd.bin", {{"InternalName", "even"}});
    load("/m/" + fileName("Deep"), {{"InternalName", "shallow"}});
    list();
    const int tListings = gLoader.listings;
    EXPECT_EQ(find("odd.BIN"), "/m/Odd.bin");
    EXPECT_EQ(find("deep"), "/m/" + fileName("Deep"));
    EXPECT_EQ(gLoader.listings, tListings);
}

TEST_F(InventoryTest, asksTheLoaderWhichOfSeveralIsFirst)
{
    load("/b/same.bin", {{"InternalName", "two"}});
    load("/a/same.bin", {{"InternalName", "one"}});
    list();
    EXPECT_EQ(find("same.bin"), "/b/same.bin") << "the loader's first";
    EXPECT_EQ(debugMessages(), Messages()) << "a module is in no conflict with itself";
    gLoader.unload("/b/same.bin");
    EXPECT_EQ(find("same.bin"), "/a/same.bin");
}

TEST_F(InventoryTest, findsAmongTheLoadedAndAddsOnlyThat)
{
    load("/m/a.bin");
    load("/m/B.bin");
    EXPECT_EQ(find("b.BIN"), "/m/B.bin");
    EXPECT_EQ(gLoader.reads, 1);
    EXPECT_EQ(find("c.bin"), "(none)");
    EXPECT_EQ(gLoader.reads, 1);
    EXPECT_EQ(list().size(), 2u);
    EXPECT_EQ(gLoader.reads, 2) << "the other one";
}

TEST_F(InventoryTest, findsTheProgram)
{
    gLoader.programName = "My.Program.exe";
    load("/p/My.Program.exe");
    load("/p/Tool.exe");
    EXPECT_EQ(find("my.program"), "(none)") << "with a point it is a file name";
    EXPECT_EQ(find("MY.program.EXE"), "/p/My.Program.exe");
    mInfo.reset();
    start();
    gLoader.programName = "Tool.exe";
    EXPECT_EQ(find("tOOl"), "/p/Tool.exe");
    gLoader.programName = "plain";
    load("/p/plain");
    EXPECT_EQ(find("PLAIN"), "/p/plain") << "a program without an extension";
    EXPECT_EQ(find("prog"), "(none)");
}

/// Beyond ASCII the system's own rule decides, where there is one.
TEST_F(InventoryTest, comparesFileNamesAsTheSystemDoes)
{
#if defined(_WIN32)
    const std::string tLower = "/m/\xC3\xA4pfel.bin", tProgram = "/m/\xC3\x96l.exe";
#else
    const std::string tLower = "(none)", tProgram = "(none)";
#endif
    load("/m/\xC3\xA4pfel.bin", {{"InternalName", "fruit"}});
    gLoader.programName = "\xC3\x96l.exe";
    load("/m/\xC3\x96l.exe");
    EXPECT_EQ(find("\xC3\x84PFEL.bin"), tLower) << "among the loaded ones";
    EXPECT_EQ(find("\xC3\xB6L"), tProgram);
    list();
    const int tListings = gLoader.listings;
    EXPECT_EQ(find("\xC3\x84PFEL.bin"), tLower);
    EXPECT_EQ(find("\xC3\xA4PFEL.bin"), "/m/\xC3\xA4pfel.bin") << "ASCII letters anywhere";
#if defined(_WIN32)
    EXPECT_EQ(gLoader.listings, tListings) << "in the inventory";
#else
    EXPECT_EQ(gLoader.listings, tListings + 1) << "only once: the other one is in the inventory";
#endif
}

TEST_F(InventoryTest, readsNoNameAsTheEmptyOne)
{
    load("/m/a.bin");
    EXPECT_EQ(find(nullptr), "(none)");
    EXPECT_EQ(find(""), "(none)");
}

// Versions.

TEST_F(InventoryTest, tellsTheFileVersion)
{
    load("/m/a.bin", {{"fileversion", "no"}, {"FileVersion", "1.2"}, {"FileVersion", "3.4"}});
    load("/m/b.bin");
    kom::HeapString tVersion;
    EXPECT_EQ(mInfo->getModuleFileVersion("a.bin", tVersion.out()), 0u);
    EXPECT_STREQ(tVersion.c_str(), "1.2");
    EXPECT_EQ(mInfo->getModuleFileVersion("b.bin", tVersion.out()), 0u);
    EXPECT_TRUE(tVersion.isNull());
    char* tOld = tVersion.detach();
    tOld = reinterpret_cast<char*>(this);
    EXPECT_EQ(mInfo->getModuleFileVersion("c.bin", &tOld), NO_MODULE);
    EXPECT_EQ(tOld, nullptr);
}

TEST_F(InventoryTest, tellsTheRangeOfAProduct)
{
    load("/p/c.bin", {{"Product", "P"}, {"ProductVersion", "1.2.3.4"}});
    load("/p/a.bin", {{"Product", "P"}, {"ProductVersion", "1.10.0.0"}});
    load("/p/b.bin", {{"Product", "P"}, {"ProductVersion", "x"}});
    load("/p/d.bin", {{"Product", "p"}, {"ProductVersion", "0.0.0.1"}});
    EXPECT_EQ(range("P"), "1.2.3.4 1.10.0.0");
    EXPECT_EQ(debugMessages(), Messages{"Invalid product version 'x' in '/p/b.bin'"});
    EXPECT_EQ(range("p"), "0.0.0.1 0.0.0.1") << "case matters";
    EXPECT_EQ(range("Q"), std::to_string(NO_PRODUCT));
}

TEST_F(InventoryTest, countsAModuleOfSeveralProducts)
{
    load("/p/a.bin", {{"Product", "Q"}, {"Product", "P"}, {"ProductVersion", "1.2.3.4"}});
    load("/p/b.bin", {{"product", "P"}, {"ProductVersion", "9.9.9.9"}});
    EXPECT_EQ(range("P"), "1.2.3.4 1.2.3.4");
    EXPECT_EQ(range("Q"), "1.2.3.4 1.2.3.4");
}

TEST_F(InventoryTest, comparesVersionsFromTheLeft)
{
    const char* tVersions[] = {"2.0.0.0", "1.65535.65535.65535", "1.9.9.9", "1.9.10.0", "1.9.9.10",
                               "2.0.0.0"};
    for (std::size_t i = 0; i < std::size(tVersions); ++i)
        load("/v/" + std::to_string(i), {{"Product", "P"}, {"ProductVersion", tVersions[i]}});
    EXPECT_EQ(range("P"), "1.9.9.9 2.0.0.0");
}

TEST_F(InventoryTest, takesFourNumbersOnly)
{
    for (const char* tText : {"", "1", "1.2.3", "1.2.3.", "1,2,3,4", "v1.2.3.4"})
        load(std::string("/n/") + tText, {{"Product", "P"}, {"ProductVersion", tText}});
    load("/n/none", {{"Product", "P"}});
    EXPECT_EQ(range("P"), std::to_string(NO_PRODUCT));
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, "Invalid product version '1.2.3' in '/n/1.2.3'"), 1u);
    EXPECT_EQ(debugMessages().size(), 6u) << "a module without a version has no invalid one";
    load("/n/last", {{"Product", "P"}, {"ProductVersion", "1.2.3.4-beta"}, {"ProductVersion", "9.9.9.9"}});
    EXPECT_EQ(range("P"), "1.2.3.4 1.2.3.4") << "the first version, as far as it is numbers";
}

TEST_F(InventoryTest, refusesAnEmptyProduct)
{
    load("/m/a.bin", {{"Product", ""}, {"ProductVersion", "1.2.3.4"}});
    EXPECT_EQ(range(nullptr), std::to_string(0x80070057u));
    EXPECT_EQ(range(""), std::to_string(0x80070057u));
    gLoader.modules.clear();
    EXPECT_EQ(range("P"), std::to_string(NO_PRODUCT)) << "nothing is loaded";
}

TEST_F(InventoryTest, copiesOverWhatTheRecordHeld)
{
    load("/m/a.bin");
    fw::SysInfoModule tModule;
    std::memset(&tModule, 0xAA, sizeof tModule);
    EXPECT_EQ(mInfo->getModule("nothing", &tModule), NO_MODULE);
    EXPECT_TRUE(!tModule.mPathName && !tModule.mFileName && !tModule.mInternalName && !tModule.mAttrs.mAttrs);
    EXPECT_EQ(tModule.mAttrs.mCount, 0u);
    std::memset(&tModule, 0xAA, sizeof tModule);
    EXPECT_EQ(mInfo->getModule("a.bin", &tModule), 0u);
    EXPECT_STREQ(tModule.mFileName, "a.bin");
    fw::freeModule(&tModule);
}

// Log sinks that come back: the application does something at the next line that is logged.

class ReentryTest : public InventoryTest {
protected:
    ReentryTest() { mApp->setObserver(onOperation); }
    ~ReentryTest() override { sOnLog = nullptr; }

    inline static std::function<void()> sOnLog;

private:
    static void onOperation(const char* pOperation)
    {
        if (pOperation != std::string("logMessage")) return;
        if (const auto tOnLog = std::exchange(sOnLog, nullptr)) tOnLog();
    }
};

TEST_F(ReentryTest, tellsTheRangeWhileAModuleGoes)
{
    load("/r/a.bin", {{"Product", "P"}, {"ProductVersion", "1.0.0.0"}});
    load("/r/b.bin", {{"Product", "P"}, {"ProductVersion", "bad"}});
    load("/r/c.bin", {{"Product", "P"}, {"ProductVersion", "2.0.0.0"}});
    sOnLog = [&] {
        gLoader.unload("/r/b.bin");
        EXPECT_EQ(list(), (Messages{"a.bin|/r/a.bin|a.bin", "c.bin|/r/c.bin|c.bin"}));
    };
    EXPECT_EQ(range("P"), "1.0.0.0 2.0.0.0");
    EXPECT_EQ(debugMessages(), Messages{"Invalid product version 'bad' in '/r/b.bin'"});
}

TEST_F(ReentryTest, refreshesWhileItRefreshes)
{
    load("/x/a.bin");
    load("/x/b.bin");
    load("/x/c.bin");
    gLoader.modules[0].readFails = true;
    const Messages tExpected = {"b.bin|/x/b.bin|b.bin", "c.bin|/x/c.bin|c.bin"};
    sOnLog = [&] { EXPECT_EQ(list(), tExpected); };
    EXPECT_EQ(list(), tExpected);
    const std::string tFailed = "Failed to get attributes from DSO '" + kgen::toNativePath("/x/a.bin") + "'.";
    EXPECT_EQ(debugMessages(), (Messages{tFailed, tFailed})) << "once by each, and nothing is in conflict";
    EXPECT_EQ(gLoader.reads, 2 + 2);
}

TEST_F(ReentryTest, findsWhileItRefreshes)
{
    load("/y/a.bin");
    load("/y/b.bin");
    load("/y/c.bin");
    gLoader.modules[0].readFails = true;
    sOnLog = [&] { EXPECT_EQ(find("c.bin"), "/y/c.bin"); };
    EXPECT_EQ(list(), (Messages{"b.bin|/y/b.bin|b.bin", "c.bin|/y/c.bin|c.bin"}));
    EXPECT_EQ(debugMessages().size(), 1u) << "nothing is in conflict";
}

TEST_F(ReentryTest, looksIntoNothingThatWentWhileItRefreshes)
{
    load("/z/a.bin");
    load("/z/b.bin");
    gLoader.modules[0].readFails = true;
    sOnLog = [&] {
        gLoader.unload("/z/b.bin");
        EXPECT_EQ(list(), Messages());
    };
    EXPECT_EQ(list(), Messages());
    EXPECT_EQ(gLoader.reads, 2) << "b's handle is no longer one";
}

} // namespace

} // namespace vel::kos::kfw::test
