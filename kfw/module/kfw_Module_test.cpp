// The entry points, with the component runtime's registration calls in the test's hands.
#include "kfw/module/kfw_Module.h"

#include <cstring>
#include <map>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/module/kfw_ClassTable.h"
#include "kom/heap.h"
#include "kom/ref.h"

namespace {

struct Call {
    std::string operation;
    std::string classId;
    unsigned int arg1;
    void* arg2;
};

std::vector<Call> gCalls;
std::map<std::string, uint32_t> gAnswers;

uint32_t record(const char* pOperation, const char* pClassId, unsigned int pArg1, void* pArg2)
{
    gCalls.push_back({pOperation, pClassId, pArg1, pArg2});
    const auto tAnswer = gAnswers.find(pClassId);
    return tAnswer == gAnswers.end() ? 0 : tAnswer->second;
}

} // namespace

extern "C" uint32_t __wrap_komRegisterDSO(const char* pClassId, unsigned int pArg1, void* pArg2)
{
    return record("register", pClassId, pArg1, pArg2);
}

extern "C" uint32_t __wrap_komUnregisterDSO(const char* pClassId, unsigned int pArg1, void* pArg2)
{
    return record("unregister", pClassId, pArg1, pArg2);
}

namespace vel::kos::kfw {

namespace {

class ModuleTest : public testing::Test {
protected:
    void SetUp() override
    {
        gCalls.clear();
        gAnswers.clear();
    }
};

std::string classAt(size_t pRow) { return classTable()[pRow].classId; }

TEST_F(ModuleTest, describesItselfInNinePairs)
{
    ModuleAttributes tAttributes{};
    EXPECT_EQ(dsoGetAttributes(&tAttributes), 0u);
    ASSERT_EQ(tAttributes.count, 9u);
    const std::pair<const char*, const char*> tExpected[] = {{"Product", "KOS"},
                                                             {"ProductName", "VEL KOS"},
                                                             {"FileVersion", KFW_PROJECT_VERSION},
                                                             {"ProductVersion", KFW_PROJECT_VERSION},
                                                             {"FileVersionStr", "1.29.0"},
                                                             {"ProductVersionStr", "1.29.0"},
                                                             {"FileDescription", "KOS Framework"},
                                                             {"InternalName", "kfw"}};
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_STREQ(tAttributes.pairs[i].key, tExpected[i].first);
        EXPECT_STREQ(tAttributes.pairs[i].value, tExpected[i].second);
    }
    EXPECT_STREQ(tAttributes.pairs[8].key, "BuildDate");
    EXPECT_TRUE(std::regex_match(tAttributes.pairs[8].value,
                                 std::regex(R"(20\d\d-[01]\d-[0-3]\d [0-2]\d:[0-5]\d UTC)")))
        << tAttributes.pairs[8].value;
}

TEST_F(ModuleTest, refusesAnUnknownClass)
{
    for (const char* tClassId :
         {"00000000-0000-0000-0000-000000000000", "", "A20D8CF0-C2F2-11D5-BFD3-0000E2430653"}) {
        auto* tOut = reinterpret_cast<kom::IUnknown*>(&tClassId);
        EXPECT_EQ(dsoGetObjectFactory(tClassId, kom::IUnknown::IID, &tOut), 0x96240012u);
        EXPECT_EQ(tOut, nullptr);
    }
    auto* tOut = reinterpret_cast<kom::IUnknown*>(&gCalls);
    EXPECT_EQ(dsoGetObjectFactory(nullptr, kom::IUnknown::IID, &tOut), 0x96240012u);
    EXPECT_EQ(tOut, nullptr);
}

TEST_F(ModuleTest, handsOutANewFactoryEachTime)
{
    for (const auto& tRow : classTable()) {
        kom::IUnknown* tFirst = nullptr;
        ASSERT_EQ(dsoGetObjectFactory(tRow.classId, "IDL:kom/IUnknown:1.0", &tFirst), 0u);
        kom::IUnknown* tSecond = nullptr;
        ASSERT_EQ(dsoGetObjectFactory(tRow.classId, "IDL:kom/IObjectFactory:1.0", &tSecond), 0u);
        EXPECT_NE(tFirst, tSecond);
        EXPECT_STREQ(tFirst->getInterfaceId(), "IDL:kom/IObjectFactory:1.0");
        EXPECT_EQ(tFirst->addRef(), 2u) << "a factory is handed out with one reference";
        EXPECT_EQ(tFirst->release(), 1u);
        EXPECT_EQ(tFirst->release(), 0u);
        EXPECT_EQ(tSecond->release(), 0u);
    }
}

TEST_F(ModuleTest, freesAFactoryThatLacksTheInterface)
{
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    for (const auto& tRow : classTable()) {
        auto* tOut = reinterpret_cast<kom::IUnknown*>(&gCalls);
        EXPECT_EQ(dsoGetObjectFactory(tRow.classId, "IDL:kom/IObjectFactory:1.1", &tOut), E_NOINTERFACE);
        EXPECT_EQ(tOut, nullptr);
    }
    komGetHeapStats(&tAfter);
    EXPECT_EQ(tBefore.liveObjects, tAfter.liveObjects);
}

TEST_F(ModuleTest, registersEveryClassInTableOrder)
{
    int tContext = 0;
    EXPECT_EQ(dsoRegisterServer(0xC0FFEEu, &tContext), 0u);
    ASSERT_EQ(gCalls.size(), classTable().size());
    for (size_t i = 0; i < gCalls.size(); ++i) {
        EXPECT_EQ(gCalls[i].operation, "register");
        EXPECT_EQ(gCalls[i].classId, classAt(i));
        EXPECT_EQ(gCalls[i].arg1, 0xC0FFEEu);
        EXPECT_EQ(gCalls[i].arg2, &tContext);
    }
}

TEST_F(ModuleTest, stopsRegisteringAtTheFirstFailure)
{
    for (size_t tFailing = 0; tFailing < classTable().size(); ++tFailing) {
        gCalls.clear();
        gAnswers = {{classAt(tFailing), KPR_E_ACCESS_DENIED}};
        EXPECT_EQ(dsoRegisterServer(1, nullptr), KPR_E_ACCESS_DENIED);
        EXPECT_EQ(gCalls.size(), tFailing + 1);
    }
}

TEST_F(ModuleTest, unregistersEveryClassAndReturnsTheFirstFailure)
{
    int tContext = 0;
    EXPECT_EQ(dsoUnregisterServer(7, &tContext), 0u);
    ASSERT_EQ(gCalls.size(), classTable().size());
    for (size_t i = 0; i < gCalls.size(); ++i) {
        EXPECT_EQ(gCalls[i].operation, "unregister");
        EXPECT_EQ(gCalls[i].classId, classAt(i));
        EXPECT_EQ(gCalls[i].arg1, 7u);
        EXPECT_EQ(gCalls[i].arg2, &tContext);
    }
    for (size_t tFirst = 0; tFirst < classTable().size(); ++tFirst) {
        for (size_t tSecond = tFirst + 1; tSecond < classTable().size(); ++tSecond) {
            gCalls.clear();
            gAnswers = {{classAt(tFirst), KPR_E_IO}, {classAt(tSecond), KPR_E_NO_SPACE}};
            EXPECT_EQ(dsoUnregisterServer(7, nullptr), KPR_E_IO);
            EXPECT_EQ(gCalls.size(), classTable().size());
        }
    }
}

TEST_F(ModuleTest, registersUpToTheSecondAndUnregistersPastIt)
{
    gAnswers = {{classAt(1), KPR_E_LOCKED}, {classAt(4), KPR_E_NO_SPACE}};
    EXPECT_EQ(dsoRegisterServer(0, nullptr), KPR_E_LOCKED);
    ASSERT_EQ(gCalls.size(), 2u);
    EXPECT_EQ(gCalls[0].classId, "a20d8cf0-c2f2-11d5-bfd3-0000e2430653");
    EXPECT_EQ(gCalls[1].classId, "e3b9f51c-9ce5-11d6-9c21-00e029099a4b");
    for (const auto& tCall : gCalls)
        EXPECT_EQ(tCall.operation, "register") << "what was registered stays";

    gCalls.clear();
    EXPECT_EQ(dsoUnregisterServer(0, nullptr), KPR_E_LOCKED);
    ASSERT_EQ(gCalls.size(), classTable().size());
    for (size_t i = 0; i < gCalls.size(); ++i)
        EXPECT_EQ(gCalls[i].classId, classAt(i));

    // The fifth alone, so that it is its code that is returned.
    gAnswers.erase(classAt(1));
    gCalls.clear();
    EXPECT_EQ(dsoRegisterServer(0, nullptr), KPR_E_NO_SPACE);
    EXPECT_EQ(gCalls.size(), 5u);
    gCalls.clear();
    EXPECT_EQ(dsoUnregisterServer(0, nullptr), KPR_E_NO_SPACE);
    EXPECT_EQ(gCalls.size(), classTable().size());
}

TEST_F(ModuleTest, takesACodeThatIsNoFailureForSuccess)
{
    gAnswers = {{classAt(1), 1}, {classAt(4), 0x7FFFFFFFu}};
    EXPECT_EQ(dsoRegisterServer(0, nullptr), 0u);
    EXPECT_EQ(gCalls.size(), classTable().size());
    EXPECT_EQ(dsoUnregisterServer(0, nullptr), 0u);
    EXPECT_EQ(gCalls.size(), 2 * classTable().size());
}

} // namespace

} // namespace vel::kos::kfw
