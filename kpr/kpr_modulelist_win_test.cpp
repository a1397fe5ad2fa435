// Listing and describing the loaded modules while the system's calls fail or what they tell changes: these
// are wrapped.
#include <windows.h>
// after windows.h
#include <psapi.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dso.h"

namespace {

int gCalls = 0;
/// What becomes of a successful call's list: gets the number of the call and the bytes needed, which it may
/// lower. False makes the call fail with ERROR_PARTIAL_COPY.
std::function<bool(int, DWORD&)> gLens;
/// Whether the system does not tell where a module's image lies.
bool gHidesImages = false;

class ModuleList : public testing::Test {
protected:
    ModuleList() { gCalls = 0; }
    ~ModuleList() override { gLens = nullptr; }

    /// How many modules are listed; the calls stand in gCalls.
    uint32_t count()
    {
        KprModuleList* tList = nullptr;
        mResult = kprListLoadedModules(&tList);
        EXPECT_EQ(KFAILED(mResult), tList == nullptr);
        const uint32_t tCount = tList ? tList->count : 0;
        kprFree(tList);
        return tCount;
    }

    const uint32_t mAll = count();
    uint32_t mResult = 0;
};

} // namespace

extern "C" {

BOOL WINAPI __real_K32EnumProcessModules(HANDLE, HMODULE*, DWORD, DWORD*);
BOOL WINAPI __wrap_K32EnumProcessModules(HANDLE pProcess, HMODULE* pModules, DWORD pRoom, DWORD* pNeeded)
{
    if (!__real_K32EnumProcessModules(pProcess, pModules, pRoom, pNeeded)) return FALSE;
    if (!gLens || gLens(gCalls++, *pNeeded)) return TRUE;
    SetLastError(ERROR_PARTIAL_COPY);
    return FALSE;
}

BOOL WINAPI __real_K32GetModuleInformation(HANDLE, HMODULE, MODULEINFO*, DWORD);
BOOL WINAPI __wrap_K32GetModuleInformation(HANDLE pProcess, HMODULE pModule, MODULEINFO* pInfo, DWORD pSize)
{
    if (!gHidesImages) return __real_K32GetModuleInformation(pProcess, pModule, pInfo, pSize);
    SetLastError(ERROR_PARTIAL_COPY);
    return FALSE;
}

} // extern "C"

TEST_F(ModuleList, IsReadAgainUntilTwoAgree)
{
    gLens = [](int, DWORD&) { return true; };
    EXPECT_EQ(count(), mAll);
    EXPECT_EQ(gCalls, 2);

    gCalls = 0;
    gLens = [](int pCall, DWORD& pNeeded) {
        if (pCall < 3) pNeeded -= static_cast<DWORD>(sizeof(HMODULE)) * static_cast<DWORD>(pCall % 2 + 1);
        return true;
    };
    EXPECT_EQ(count(), mAll) << "the list was short at first";
    EXPECT_EQ(gCalls, 5);
}

TEST_F(ModuleList, IsReadAgainWhileThatFails)
{
    gLens = [](int pCall, DWORD&) { return pCall >= 40; };
    EXPECT_EQ(count(), mAll);
    EXPECT_EQ(mResult, 0u);
    EXPECT_EQ(gCalls, 42);

    gCalls = 0;
    gLens = [](int pCall, DWORD&) { return pCall != 1; };
    EXPECT_EQ(count(), mAll);
    EXPECT_EQ(gCalls, 3) << "a failure between two that agree is no change";
}

TEST_F(ModuleList, FailsWhenItFailsForEver)
{
    gLens = [](int, DWORD&) { return false; };
    EXPECT_EQ(count(), 0u);
    EXPECT_EQ(mResult, KPR_E_SYSTEM);
    EXPECT_EQ(gCalls, 50);
}

TEST_F(ModuleList, IsTheLatestWhenNoTwoAgree)
{
    gLens = [](int pCall, DWORD& pNeeded) {
        if (pCall % 2 == 0) pNeeded -= DWORD{sizeof(HMODULE)};
        return true;
    };
    EXPECT_EQ(count(), mAll) << "the fiftieth";
    EXPECT_EQ(mResult, 0u);
    EXPECT_EQ(gCalls, 50);
}

TEST(ModuleAttributes, AModuleWhoseImageCannotBeReadHasTheOthers)
{
    const auto tRead = [](std::string* pLast) {
        KprAttributeList* tList = nullptr;
        EXPECT_EQ(kprGetDSOAttributes(reinterpret_cast<KprDSO>(GetModuleHandleW(L"kernel32.dll")), &tList),
                  0u);
        const uint32_t tCount = tList ? tList->count : 0;
        if (tCount) *pLast = tList->pairs[tCount - 1].key;
        kprFree(tList);
        return tCount;
    };
    std::string tLast;
    const uint32_t tAll = tRead(&tLast);
    ASSERT_GT(tAll, 1u);
    ASSERT_EQ(tLast, "DebugId");
    gHidesImages = true;
    EXPECT_EQ(tRead(&tLast), tAll - 1);
    gHidesImages = false;
    EXPECT_NE(tLast, "DebugId");
}

TEST(ModuleAttributes, AnAddressThatIsNoModulesHandleIsRefused)
{
    KprAttributeList* tList = nullptr;
    for (const void* tAddress : {static_cast<const void*>(&tList), static_cast<const void*>(&gCalls)})
        EXPECT_EQ(kprGetDSOAttributes(reinterpret_cast<KprDSO>(tAddress), &tList), KPR_E_BAD_HANDLE);
    EXPECT_EQ(tList, nullptr);
}
