#include "tests/support/TestSettings.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kpr/testing/kpr_testing.h"
#include "kutil/Registry.h"

namespace vel::kos::test {

namespace {

constexpr uid_t NOBODY = 65534;
constexpr char SETTINGS_NAME[] = "VEL";

std::string makeFolder()
{
    std::string tFolder = std::filesystem::temp_directory_path() / "kfw-settings-XXXXXX";
    if (!::mkdtemp(tFolder.data())) std::abort();
    return tFolder;
}

} // namespace

TestSettings::TestSettings() : mName(makeFolder()), mFolder(mName), mOwner(true) {}

TestSettings::TestSettings(const std::string& pName) : mName(pName), mFolder(pName), mOwner(false) {}

TestSettings::~TestSettings()
{
    if (mOwner) std::filesystem::remove_all(mFolder);
}

kom::Ref<TestApplication> TestSettings::application() const
{
    auto tApp = TestApplication::make();
    tApp->setSettings(SETTINGS_NAME, file());
    return tApp;
}

void TestSettings::makeModuleNode() const
{
    ASSERT_TRUE(util::Registry::openCurrentUserKOSModule(application().get(), "KFW", true).isOpen());
}

std::map<std::string, std::string> TestSettings::seenFromOutside(const std::string& pNode) const
{
    const std::string tNode = std::string(SETTINGS_NAME) + "/KOS/KFW" + (pNode.empty() ? "" : "/" + pNode);
    const std::string tQuery = "SELECT name, CASE typeof(value) WHEN 'text' THEN 'string' "
                               "WHEN 'integer' THEN 'bool' ELSE typeof(value) END, value FROM setting "
                               "WHERE node = '" +
                               tNode + "' AND name <> ''";
    int tStatus = -1;
    std::istringstream tOutput(kprtest::outputOf(
        "/usr/bin/env", {"sqlite3", "-readonly", "-separator", ":", file(), tQuery}, &tStatus));
    EXPECT_EQ(tStatus, 0) << tOutput.str();
    std::map<std::string, std::string> tValues;
    for (std::string tLine; std::getline(tOutput, tLine);) {
        const auto tColon = tLine.find(':');
        tValues[tLine.substr(0, tColon)] = tLine.substr(tColon + 1);
    }
    return tValues;
}

void TestSettings::whileReadOnly(const std::string&, const std::function<void()>& pBody) const
{
    ASSERT_EQ(::chmod(file().c_str(), 0444), 0);
    ASSERT_EQ(::chmod(mFolder.c_str(), 0555), 0);
    if (::geteuid() != 0) {
        pBody();
    } else {
        // Modes do not count for root.
        const pid_t tChild = ::fork();
        if (tChild == 0) {
            if (::setgroups(0, nullptr) != 0 || ::setgid(NOBODY) != 0 || ::setuid(NOBODY) != 0) ::_exit(99);
            pBody();
            std::fflush(nullptr);
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        }
        int tStatus = -1;
        EXPECT_EQ(::waitpid(tChild, &tStatus, 0), tChild);
        EXPECT_EQ(tStatus, 0) << "failed as an unprivileged user, see above";
    }
    EXPECT_EQ(::chmod(mFolder.c_str(), 0700), 0);
    EXPECT_EQ(::chmod(file().c_str(), 0600), 0);
}

} // namespace vel::kos::test
