// What becomes of the settings objects, which live in the module, when the module is unloaded and when the
// process ends.
//
// The program starts itself as the process that ends:
//     --end <settings> <registry> open|closed|unloaded   exits with the user's data and the mail settings in
//     use, after the application has closed, or after the module was unloaded as well; status 3 when the
//     application hears of it
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "kfw/ISendMailConfig.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"
#include "kom/runtime.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"
#include "kutil/log.h"
#include "tests/support/TestDirectory.h"
#include "tests/support/TestSettings.h"

using vel::kos::test::TestDirectory;
using vel::kos::test::TestSettings;
namespace fw = vel::kos::fw;

namespace {

bool gEnding = false;
bool gHeard = false;

void listen(const char*)
{
    if (gEnding) std::_Exit(3);
    gHeard = true;
}

void listenToLog(uint32_t, const char*, const char*) { listen("log"); }

/// The module lies beside the program.
std::string module()
{
    const auto tFolder = std::filesystem::path(kprGetProgramPath()).parent_path();
    return (tFolder / (kprGetDSOPrefix() + std::string("kfw") + kprGetDSOSuffix())).string();
}

template <class TInterface>
kom::Ref<TInterface> make(const char* pClassId)
{
    kom::Ref<kom::IUnknown> tInterface;
    if (KFAILED(komCreateInstance(pClassId, TInterface::IID, tInterface.out()))) std::_Exit(4);
    return kom::adopt(static_cast<TInterface*>(tInterface.detach()));
}

void end(const TestSettings& pSettings, const std::string& pState)
{
    auto& tApp = *new auto(pSettings.application()); // for as long as the process lives
    auto tUser = make<fw::IRegDbUserData>(fw::CLASS_USER_DATA);
    auto tMail = make<fw::IRegDbSendMailConfig>(fw::CLASS_SEND_MAIL_CONFIG);
    if (tUser->init(tApp.get()) != 0 || tMail->init(tApp.get()) != 0) std::_Exit(5);
    tUser.reset();
    tMail.reset();
    if (pState != "open") tApp->close();
    tApp->setObserver(listen);
    vel::kos::util::kSetFallbackLog(listenToLog);
    if (pState == "unloaded") {
        uint32_t tUnloaded = 0;
        if (komUnloadModules(&tUnloaded) != 0 || tUnloaded != 1) std::_Exit(6);
        if (!gHeard) std::_Exit(7); // so that hearing nothing means something
    }
    gEnding = true;
    std::exit(0);
}

/// The exit status of a process that ends in this state.
int statusAfter(const std::string& pState)
{
    const TestSettings tSettings;
    tSettings.makeModuleNode();
    const TestDirectory tDirectory;
    return kprtest::ChildProcess({"--end", tSettings.name(), tDirectory.text() + "/classes", pState}).wait();
}

TEST(SettingsExitTest, areLeftAloneWhenTheProcessEndsWithoutClosing) { EXPECT_EQ(statusAfter("open"), 0); }

TEST(SettingsExitTest, areLeftAloneWhenTheProcessEndsAfterTheClose) { EXPECT_EQ(statusAfter("closed"), 0); }

TEST(SettingsExitTest, goWithTheModule) { EXPECT_EQ(statusAfter("unloaded"), 0); }

} // namespace

int main(int pCount, char** pArguments)
{
    if (pCount == 5 && std::string(pArguments[1]) == "--end") {
        if (KFAILED(komSetClassRegistry(pArguments[3])) || KFAILED(komRegisterModule(module().c_str())))
            return 2;
        end(TestSettings(pArguments[2]), pArguments[4]);
    }
    testing::InitGoogleTest(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
