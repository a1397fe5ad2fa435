// Setting an application up, its close hooks, properties and log.
#include "host/testing/host_ApplicationTest.h"

#include <cstdlib>
#include <thread>

#include <gmock/gmock.h>

#include "kpr/thread.h"
#include "kpr/time.h"
#include "kutil/Registry.h"
#include "kutil/log.h"

using namespace vel::kos;
using namespace vel::kos::host;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

TEST_F(ApplicationTest, ReturnsEveryRevision)
{
    start();
    for (const char* tIid : {fw::IApplication::IID, fw::IApplication2::IID, fw::IApplication3::IID,
                             fw::IApplication4::IID, fw::IApplication5::IID, kom::IUnknown::IID}) {
        kom::IUnknown* tInterface = nullptr;
        ASSERT_EQ(mApp->queryInterface(tIid, &tInterface), 0u) << tIid;
        tInterface->release();
    }
    EXPECT_STREQ(mApp->getInterfaceId(), "IDL:vel/kos/fw/IApplication5:1.0");
}

TEST_F(ApplicationTest, TellsWhatItWasGiven)
{
    start();
    EXPECT_EQ(text(&fw::IApplication5::getName), "unithost");
    EXPECT_EQ(text(&fw::IApplication5::getDisplayName), "unithost");
    EXPECT_EQ(text(&fw::IApplication5::getVersion), "1.2.3");
    EXPECT_EQ(text(&fw::IApplication5::getVendor), "Somebody");
    EXPECT_EQ(text(&fw::IApplication5::getLanguage), "de_AT");
    EXPECT_EQ(text(&fw::IApplication5::getCatalogueDir), "");
    EXPECT_EQ(text(&fw::IApplication5::getUserAppDir), mOptions.userAppDir);
    EXPECT_EQ(text(&fw::IApplication5::getSettingsName), "unithost");
    EXPECT_NE(text(&fw::IApplication5::getProgramDir), "");
    EXPECT_NE(text(&fw::IApplication5::getTempDir), "");

    uint32_t tCount = 0;
    EXPECT_EQ(mApp->getArgumentCount(&tCount), 0u);
    EXPECT_EQ(tCount, 2u);
    kom::HeapString tArgument;
    EXPECT_EQ(mApp->getArgument(1, tArgument.out()), 0u);
    EXPECT_STREQ(tArgument.c_str(), "two");
    EXPECT_EQ(mApp->getArgument(2, tArgument.out()), E_INVALIDARG);
    EXPECT_TRUE(tArgument.isNull());
}

TEST_F(ApplicationTest, MakesTheUserApplicationDirectoryWithItsParents)
{
    mOptions.userAppDir = mDir.file(u8"a/b/c");
    start();
    EXPECT_TRUE(mDir.has(u8"a/b/c"));
}

TEST_F(ApplicationTest, MakesTheSettingsNodesOfItsModules)
{
    // Names of the test's own: on Windows the settings outlive it.
    const std::string tOwn = std::to_string(kprGetProcessId());
    mOptions.settingsModules = {"One" + tOwn, "Two" + tOwn};
    start();
    const auto tHasNode = [&](const std::string& pModule) {
        return util::Registry::openCurrentUserKOSModule(mApp.get(), pModule.c_str(), false).isOpen();
    };
    EXPECT_TRUE(tHasNode("One" + tOwn));
    EXPECT_TRUE(tHasNode("Two" + tOwn));
    EXPECT_FALSE(tHasNode("Three" + tOwn));
}

TEST_F(ApplicationTest, LeavesTheUserApplicationDirectoryAloneWhenToldSo)
{
    mOptions.createUserAppDir = false;
    start();
    EXPECT_FALSE(mDir.has(u8"app"));
}

TEST_F(ApplicationTest, FailsWhereAFileStandsInTheWay)
{
    mDir.write(u8"app", "");
    std::string tProblem;
    EXPECT_TRUE(KFAILED(Application::create(mOptions, mApp, &tProblem)));
    EXPECT_FALSE(mApp);
    EXPECT_EQ(tProblem, mOptions.userAppDir);
}

TEST_F(ApplicationTest, FailsWithoutTheLogFileAskedFor)
{
    mOptions.log.file = mDir.file(u8"host.log/below");
    mDir.write(u8"host.log", "");
    std::string tProblem;
    EXPECT_TRUE(KFAILED(Application::create(mOptions, mApp, &tProblem)));
    EXPECT_FALSE(mApp);
    EXPECT_EQ(tProblem, mOptions.log.file);
}

TEST_F(ApplicationTest, CallsCloseHooksInTheOrderOfTheirNumbers)
{
    start();
    std::vector<std::string> tCalls;
    std::vector<kom::Ref<Hook>> tHooks;
    for (const auto& [tName, tOrder] : std::vector<std::pair<std::string, int>>{
             {"b1", 8500}, {"c", 9000}, {"b2", 8500}, {"a", -1}, {"b3", 8500}}) {
        tHooks.push_back(makeHook([&tCalls, tCall = tName] {
            tCalls.push_back(tCall);
            return tCall == "a" ? E_FAIL : 0u;
        }));
        EXPECT_EQ(mApp->addCloseHook(tHooks.back().get(), tOrder), 0u);
    }
    EXPECT_EQ(mApp->close(), 0);
    EXPECT_THAT(tCalls, ElementsAre("a", "b1", "b2", "b3", "c"));
    EXPECT_THAT(log(), HasSubstr("WARNING unithost: close hook -1 failed: operation failed"));
    mApp->close();
    EXPECT_EQ(tCalls.size(), 5u);
    for (auto& tHook : tHooks) {
        EXPECT_EQ(tHook->addRef(), 2u);
        tHook->release();
    }
}

TEST_F(ApplicationTest, DropsARemovedHookAlsoWhileClosing)
{
    start();
    std::vector<std::string> tCalls;
    auto tRemoved = makeHook([&] {
        tCalls.push_back("removed");
        return 0u;
    });
    auto tLater = makeHook([&] {
        tCalls.push_back("later");
        return 0u;
    });
    auto tFirst = makeHook([&] {
        tCalls.push_back("first");
        EXPECT_EQ(mApp->removeCloseHook(tLater.get()), 0u);
        EXPECT_EQ(mApp->addCloseHook(tRemoved.get(), 9), E_WRONG_STATE);
        EXPECT_EQ(mApp->addIdleCallout(makeCallout(once([] {})).get()), E_WRONG_STATE);
        uint32_t tClosing = 0;
        EXPECT_EQ(mApp->isClosing(&tClosing), 0u);
        EXPECT_EQ(tClosing, 1u);
        return 0u;
    });
    mApp->addCloseHook(tRemoved.get(), 1);
    mApp->addCloseHook(tFirst.get(), 2);
    mApp->addCloseHook(tLater.get(), 3);
    EXPECT_EQ(mApp->removeCloseHook(tRemoved.get()), 0u);
    EXPECT_EQ(mApp->removeCloseHook(tRemoved.get()), 0u);
    EXPECT_EQ(mApp->removeCloseHook(nullptr), E_INVALIDARG);
    EXPECT_EQ(mApp->addCloseHook(nullptr, 0), E_INVALIDARG);
    mApp->close();
    EXPECT_THAT(tCalls, ElementsAre("first"));
}

TEST_F(ApplicationTest, LetsGoOfEverythingWhenItCloses)
{
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    start();
    bool tCalled = false;
    mApp->addIdleCallout(makeCallout(once([&] { tCalled = true; })).get());
    // What it keeps may keep it: closing breaks the ring.
    mApp->addCloseHook(makeHook([tApp = mApp] { return 0u; }).get(), 1);
    mApp->close();
    EXPECT_EQ(mApp->release(), 0u);
    static_cast<void>(mApp.detach());
    EXPECT_FALSE(tCalled);
    komGetHeapStats(&tAfter);
    EXPECT_EQ(tAfter.liveObjects, tBefore.liveObjects);
    EXPECT_EQ(tAfter.liveBlocks, tBefore.liveBlocks);
}

TEST_F(ApplicationTest, TakesPropertiesInRisingPrecedence)
{
    std::filesystem::create_directories(std::filesystem::path(mOptions.userAppDir));
    mDir.write(u8"app/properties.ini", "a = file\nb = file\nc = file\nbroken\nd = file\n");
#if defined(_WIN32)
    _putenv("UNITHOST_PROP_b=environment");
    _putenv("UNITHOST_PROP_c=environment");
#else
    setenv("UNITHOST_PROP_b", "environment", 1);
    setenv("UNITHOST_PROP_c", "environment", 1);
#endif
    mOptions.properties = {{"c", "option"}};
    start();
    const auto tValue = [&](const char* pName) {
        kom::HeapString tText;
        EXPECT_EQ(mApp->getProperty(pName, tText.out()), 0u);
        return std::string(tText.isNull() ? "(unset)" : tText.c_str());
    };
    EXPECT_EQ(tValue("a"), "file");
    EXPECT_EQ(tValue("b"), "environment");
    EXPECT_EQ(tValue("c"), "option");
    EXPECT_EQ(tValue("d"), "file");
    EXPECT_EQ(tValue("e"), "(unset)");
    EXPECT_EQ(tValue(nullptr), "(unset)");
    EXPECT_EQ(mApp->getProperty("a", nullptr), E_INVALIDARG);
    EXPECT_THAT(log(), HasSubstr("properties.ini, line 4: the line is not \"name = value\""));
}

TEST_F(ApplicationTest, AnUnsetOrOtherPropertyIsNeitherTrueNorFalse)
{
    mOptions.properties = {{"yes", "Yes"}, {"no", "OFF"}, {"other", "maybe"}, {"empty", ""}};
    start();
    const auto tAsk = [&](const char* pName) {
        bool tTrue = true, tFalse = true;
        EXPECT_EQ(mApp->isPropertyTrue(pName, &tTrue), 0u);
        EXPECT_EQ(mApp->isPropertyFalse(pName, &tFalse), 0u);
        return std::pair(tTrue, tFalse);
    };
    EXPECT_EQ(tAsk("yes"), std::pair(true, false));
    EXPECT_EQ(tAsk("no"), std::pair(false, true));
    for (const char* tName : {"other", "empty", "unset"})
        EXPECT_EQ(tAsk(tName), std::pair(false, false)) << tName;
    EXPECT_EQ(mApp->isPropertyTrue("yes", nullptr), E_INVALIDARG);
    EXPECT_EQ(mApp->isPropertyFalse("yes", nullptr), E_INVALIDARG);
}

TEST_F(ApplicationTest, WarnsOfAPropertiesFileThatCannotBeRead)
{
    std::filesystem::create_directories(std::filesystem::path(mOptions.userAppDir) / "properties.ini");
    start();
    EXPECT_THAT(log(), HasSubstr("WARNING unithost: " + mOptions.userAppDir));
}

TEST_F(ApplicationTest, LogsAndKeepsItsLevel)
{
    start();
    uint32_t tLevel = 99;
    EXPECT_EQ(mApp->getLogLevel(&tLevel), 0u);
    EXPECT_EQ(tLevel, uint32_t(fw::LOG_LEVEL_WARNING));
    EXPECT_EQ(mApp->setLogLevel(fw::LOG_LEVEL_INFO), 0u);
    EXPECT_EQ(mApp->setLogLevel(4), E_INVALIDARG);
    EXPECT_EQ(mApp->getLogLevel(&tLevel), 0u);
    EXPECT_EQ(tLevel, uint32_t(fw::LOG_LEVEL_INFO));
    util::kInfo(mApp.get(), "kos:kfw", "here");
    EXPECT_THAT(log(), HasSubstr("INFO kos:kfw: here"));
}

TEST_F(ApplicationTest, PassesAssertionsAndStatusTextsOn)
{
    std::vector<std::string> tTold;
    mOptions.onAssertion = [&](const char* pDomain, const char* pExpression, const char* pSource,
                               int32_t pLine) {
        tTold.push_back(std::string(pDomain) + "|" + pExpression + "|" + pSource + "|" +
                        std::to_string(pLine));
    };
    mOptions.onStatusText = [&](const char* pText) { tTold.push_back(pText); };
    start();
    util::_kAssert(mApp.get(), "kos:kfw", "a != 0", "kfw_Thing", 12);
    mApp->setStatusText("busy");
    mApp->setStatusText(nullptr);
    EXPECT_THAT(tTold, ElementsAre("kos:kfw|a != 0|kfw_Thing|12", "busy", ""));
    EXPECT_THAT(log(), HasSubstr("ERROR kos:kfw: "));
}

} // namespace
