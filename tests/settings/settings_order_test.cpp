// In which order the settings objects write, and in which order they let go of their application.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "kfw/settings/kfw_RegDbSendMailConfig.h"
#include "kfw/settings/kfw_RegDbUserData.h"
#include "tests/support/TestSettings.h"
#include "tests/support/UserFields.h"

namespace {

std::vector<std::string> gPuts;

} // namespace

// RegNode::put of a string and of a truth value.
#define K_PUT_STRING _ZN3vel3kos4util7RegNode3putEPKcRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
#define K_PUT_BOOL _ZN3vel3kos4util7RegNode3putEPKcb
#define K_JOIN2(pA, pB) pA##pB
#define K_JOIN(pA, pB) K_JOIN2(pA, pB)

extern "C" uint32_t K_JOIN(__real_, K_PUT_STRING)(vel::kos::util::RegNode*, const char*, const std::string*);
extern "C" uint32_t K_JOIN(__real_, K_PUT_BOOL)(vel::kos::util::RegNode*, const char*, bool);

extern "C" uint32_t K_JOIN(__wrap_, K_PUT_STRING)(vel::kos::util::RegNode* pNode, const char* pName,
                                                  const std::string* pValue)
{
    gPuts.emplace_back(pName);
    return K_JOIN(__real_, K_PUT_STRING)(pNode, pName, pValue);
}

extern "C" uint32_t K_JOIN(__wrap_, K_PUT_BOOL)(vel::kos::util::RegNode* pNode, const char* pName,
                                                bool pValue)
{
    gPuts.emplace_back(pName);
    return K_JOIN(__real_, K_PUT_BOOL)(pNode, pName, pValue);
}

namespace vel::kos::kfw {

namespace {

using test::TestApplication;
using test::TestSettings;

/// The names of what an object writes when its application closes.
template <class TClass>
std::vector<std::string> writes()
{
    const TestSettings tSettings;
    tSettings.makeModuleNode();
    const auto tApp = tSettings.application();
    const auto tObject = kom::retain(new TClass);
    EXPECT_EQ(tObject->init(tApp.get()), 0u);
    gPuts.clear();
    tApp->close();
    return gPuts;
}

TEST(SettingsOrderTest, theMailSettingsAreWrittenInRecordOrder)
{
    EXPECT_THAT(writes<RegDbSendMailConfig>(),
                testing::ElementsAre("MailSubject", "SenderAddress", "DefRecipAddress", "SendCC", "SendBCC"));
}

TEST(SettingsOrderTest, theUsersDataAreWrittenInRecordOrder)
{
    std::vector<std::string> tNames;
    for (const auto& tField : test::USER_FIELDS)
        tNames.emplace_back(tField.name);
    EXPECT_EQ(writes<RegDbUserData>(), tNames);
}

TestApplication* gApp = nullptr;
std::vector<uint32_t> gResults;

/// An application that closes at the very moment in which a hook is removed.
void closeAtRemoval(const char* pOperation)
{
    if (pOperation != std::string("removeCloseHook")) return;
    for (const auto& tHook : gApp->hooks())
        gResults.push_back(tHook->onAppClose());
}

template <class TClass>
void expectTargetIsForgottenFirst()
{
    const TestSettings tSettings;
    tSettings.makeModuleNode();
    const auto tApp = tSettings.application();
    auto tObject = kom::retain(new TClass);
    EXPECT_EQ(tObject->init(tApp.get()), 0u);
    gApp = tApp.get();
    gResults.clear();
    gPuts.clear();
    tApp->setObserver(closeAtRemoval);
    tObject.reset();
    EXPECT_EQ(gResults, std::vector<uint32_t>{E_WRONG_STATE});
    EXPECT_TRUE(gPuts.empty()) << "an object that is being destroyed saves nothing";
    EXPECT_EQ(tApp->hookCount(), 0u);
}

TEST(SettingsOrderTest, aHookForgetsTheMailSettingsBeforeItIsRemoved)
{
    expectTargetIsForgottenFirst<RegDbSendMailConfig>();
}

TEST(SettingsOrderTest, aHookForgetsTheUsersDataBeforeItIsRemoved)
{
    expectTargetIsForgottenFirst<RegDbUserData>();
}

} // namespace

} // namespace vel::kos::kfw
