// A settings store may be somebody else's file: with what switches and limits SQLite opens it, before it
// reads anything. These functions stand before SQLite's own.
#include <dlfcn.h>
#include <sqlite3.h>

#include <cstdarg>
#include <gtest/gtest.h>
#include <map>

#include "kutil/Registry.h"
#include "tests/support/TestSettings.h"

namespace {

std::map<int, int> gSwitches, gLimits;
int gSteps = 0;
bool gStops = false; ///< whether a statement ends after so many steps
int gBefore = 0;     ///< statements before that was set

template <class TFunction>
TFunction* original(const char* pName)
{
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, pName));
}

} // namespace

extern "C" {

int sqlite3_db_config(sqlite3* pDatabase, int pSwitch, ...)
{
    va_list tList;
    va_start(tList, pSwitch);
    const int tOn = va_arg(tList, int);
    int* tNow = va_arg(tList, int*);
    va_end(tList);
    const int tCode = original<int(sqlite3*, int, ...)>("sqlite3_db_config")(pDatabase, pSwitch, tOn, tNow);
    if (tCode == SQLITE_OK) gSwitches[pSwitch] = tOn;
    return tCode;
}

int sqlite3_limit(sqlite3* pDatabase, int pLimit, int pValue)
{
    gLimits[pLimit] = pValue;
    return original<int(sqlite3*, int, int)>("sqlite3_limit")(pDatabase, pLimit, pValue);
}

void sqlite3_progress_handler(sqlite3* pDatabase, int pSteps, int (*pHandler)(void*), void* pArgument)
{
    gSteps = pSteps;
    gStops = pHandler && pHandler(pArgument) != 0;
    original<void(sqlite3*, int, int (*)(void*), void*)>("sqlite3_progress_handler")(pDatabase, pSteps,
                                                                                     pHandler, pArgument);
}

int sqlite3_prepare_v3(sqlite3* pDatabase, const char* pSql, int pSize, unsigned pFlags,
                       sqlite3_stmt** pStatement, const char** pRest)
{
    if (!gStops) ++gBefore;
    return original<int(sqlite3*, const char*, int, unsigned, sqlite3_stmt**, const char**)>(
        "sqlite3_prepare_v3")(pDatabase, pSql, pSize, pFlags, pStatement, pRest);
}

int sqlite3_exec(sqlite3* pDatabase, const char* pSql, int (*pRow)(void*, int, char**, char**),
                 void* pArgument, char** pError)
{
    if (!gStops) ++gBefore;
    return original<int(sqlite3*, const char*, int (*)(void*, int, char**, char**), void*, char**)>(
        "sqlite3_exec")(pDatabase, pSql, pRow, pArgument, pError);
}

} // extern "C"

namespace vel::kos {

TEST(SettingsHardening, nothingInTheFileIsTrusted)
{
    test::TestSettings tSettings;
    const auto tApp = tSettings.application();
    ASSERT_TRUE(util::Registry::openCurrentUserKOSModule(tApp.get(), "KFW", true).isOpen());
    const std::map<int, int> tExpected = {{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                          {SQLITE_DBCONFIG_DEFENSIVE, 1},
                                          {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
                                          {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}};
    EXPECT_EQ(gSwitches, tExpected);
    EXPECT_EQ(gLimits.count(SQLITE_LIMIT_LENGTH), 1u);
    EXPECT_LE(gLimits[SQLITE_LIMIT_LENGTH], 17 << 20) << "of one value";
    EXPECT_GT(gSteps, 0);
    EXPECT_LE(gSteps, 200000000);
    EXPECT_TRUE(gStops);
    EXPECT_EQ(gBefore, 0);
}

} // namespace vel::kos
