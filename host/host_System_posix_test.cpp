// What the Application takes from the environment, and that a program with more rights takes nothing.
#include "host/host_System.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/auxv.h>

using namespace vel::kos::host;

namespace {
bool gSecure = false; ///< as in a program with rights that its caller does not have
} // namespace

extern "C" {
char* __real_secure_getenv(const char* pName);
char* __wrap_secure_getenv(const char* pName) { return gSecure ? nullptr : __real_secure_getenv(pName); }
unsigned long __real_getauxval(unsigned long pType);
unsigned long __wrap_getauxval(unsigned long pType)
{
    return pType == AT_SECURE ? gSecure : __real_getauxval(pType);
}
}

namespace {

bool hasVariable(const std::string& pName, const std::string& pValue)
{
    const auto tVariables = environmentVariables();
    return std::find(tVariables.begin(), tVariables.end(), std::pair(pName, pValue)) != tVariables.end();
}

struct HostSystemTest : testing::Test {
    ~HostSystemTest() override { gSecure = false; }
};

TEST_F(HostSystemTest, TheEnvironmentGivesVariablesAndLanguage)
{
    setenv("UNITHOST_PROP_a", "some=value", 1);
    EXPECT_TRUE(hasVariable("UNITHOST_PROP_a", "some=value"));
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    EXPECT_EQ(userLanguage(), "de_AT");
    setenv("LC_ALL", "", 1);
    setenv("LC_MESSAGES", "it_IT@euro", 1);
    EXPECT_EQ(userLanguage(), "it_IT");
    setenv("LC_MESSAGES", "C.UTF-8", 1);
    EXPECT_EQ(userLanguage(), "");
}

TEST_F(HostSystemTest, AProgramWithMoreRightsTakesNothingFromTheEnvironment)
{
    setenv("UNITHOST_PROP_a", "callers choice", 1);
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    gSecure = true;
    EXPECT_TRUE(environmentVariables().empty());
    EXPECT_EQ(userLanguage(), "");
}

} // namespace
