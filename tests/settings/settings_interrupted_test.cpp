// The user's record while processes that save it are stopped, or meet.
//
// The program starts itself as those processes:
//     --save <settings> <text> <n>     saves a record of that text, and ends without any ado before its write
//     n
//     --save-often <settings> <count>  saves records of the texts 1, 2, ... count, one after the other
#include <atomic>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/settings/kfw_RegDbUserData.h"
#include "kpr/testing/kpr_testing.h"
#include "kpr/time.h"
#include "tests/support/TestSettings.h"
#include "tests/support/UserFields.h"

using kprtest::ChildProcess;
using vel::kos::kfw::RegDbUserData;
using vel::kos::test::TestSettings;
using vel::kos::test::USER_FIELDS;

namespace {

constexpr int FIELD_COUNT = 28;
/// 0: never.
int gEndBefore = 0;

} // namespace

// RegNode::put of a string.
#define K_PUT _ZN3vel3kos4util7RegNode3putEPKcRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
#define K_JOIN2(pA, pB) pA##pB
#define K_JOIN(pA, pB) K_JOIN2(pA, pB)

extern "C" uint32_t K_JOIN(__real_, K_PUT)(vel::kos::util::RegNode*, const char*, const std::string*);

extern "C" uint32_t K_JOIN(__wrap_, K_PUT)(vel::kos::util::RegNode* pNode, const char* pName,
                                           const std::string* pValue)
{
    if (gEndBefore > 0 && --gEndBefore == 0) std::_Exit(9);
    return K_JOIN(__real_, K_PUT)(pNode, pName, pValue);
}

namespace {

/// An application's life: it starts, the user changes every field to the text, it closes.
void save(const TestSettings& pSettings, const std::string& pText)
{
    const auto tApp = pSettings.application();
    const auto tData = kom::retain(new RegDbUserData);
    tData->init(tApp.get());
    for (const auto& tField : USER_FIELDS)
        (tData.get()->*tField.set)(pText.c_str());
    tApp->close();
}

/// The values in record order, as the next application finds them.
std::vector<std::string> load(const TestSettings& pSettings)
{
    const auto tApp = pSettings.application();
    const auto tData = kom::retain(new RegDbUserData);
    EXPECT_EQ(tData->init(tApp.get()), 0u);
    EXPECT_TRUE(tApp->messages(vel::kos::fw::LOG_LEVEL_ERROR).empty());
    EXPECT_TRUE(tApp->messages(vel::kos::fw::LOG_LEVEL_WARNING).empty());
    std::vector<std::string> tValues;
    for (const auto& tField : USER_FIELDS) {
        kom::HeapString tText;
        EXPECT_EQ((tData.get()->*tField.get)(tText.out()), 0u);
        tValues.emplace_back(tText.c_str());
    }
    return tValues;
}

/// Whether the store makes a save one change.
bool hasTransactions(const TestSettings& pSettings) { return !pSettings.file().empty(); }

/// Saves in another process, which is this program; returns whether that ended in good order.
bool runSave(const TestSettings& pSettings, const std::string& pText, int pEndBefore)
{
    return ChildProcess({"--save", pSettings.name(), pText, std::to_string(pEndBefore)}).wait() == 0;
}

TEST(SettingsInterruptedTest, findsTheOldRecordOrTheNewOne)
{
    TestSettings tSettings;
    tSettings.makeModuleNode();
    save(tSettings, "0");
    std::string tOld = "0";
    for (int i = 1; i <= FIELD_COUNT + 1; ++i) {
        const std::string tNew = std::to_string(i);
        EXPECT_EQ(runSave(tSettings, tNew, i), i > FIELD_COUNT) << "ended before write " << i;
        const auto tValues = load(tSettings);
        for (int j = 0; j < FIELD_COUNT; ++j) {
            const bool tWritten = i > FIELD_COUNT || (!hasTransactions(tSettings) && j < i - 1);
            EXPECT_EQ(tValues[static_cast<size_t>(j)], tWritten ? tNew : tOld)
                << USER_FIELDS[j].name << " after an end before write " << i;
        }
        save(tSettings, tNew);
        tOld = tNew;
    }
}

TEST(SettingsInterruptedTest, theLastOfTwoThatCloseAtOnceStays)
{
    TestSettings tSettings;
    tSettings.makeModuleNode();
    for (int i = 0; i < 5; ++i) {
        const std::string tOne = "one-" + std::to_string(i), tOther = "other-" + std::to_string(i);
        ChildProcess tFirst({"--save", tSettings.name(), tOne, "0"});
        ChildProcess tSecond({"--save", tSettings.name(), tOther, "0"});
        EXPECT_EQ(tFirst.wait(), 0);
        EXPECT_EQ(tSecond.wait(), 0);
        const auto tValues = load(tSettings);
        const std::set<std::string> tTexts(tValues.begin(), tValues.end());
        for (const auto& tText : tTexts)
            EXPECT_TRUE(tText == tOne || tText == tOther) << tText;
        EXPECT_TRUE(tTexts.size() == 1 || !hasTransactions(tSettings)) << "a mixture";
    }
}

TEST(SettingsInterruptedTest, oneThatStartsWhileAnotherSavesFindsARecord)
{
    constexpr int SAVES = 40;
    TestSettings tSettings;
    tSettings.makeModuleNode();
    save(tSettings, "0");
    std::atomic<bool> tDone = false;
    std::thread tThread([&] {
        ChildProcess tSaver({"--save-often", tSettings.name(), std::to_string(SAVES)});
        EXPECT_EQ(tSaver.wait(), 0);
        tDone = true;
    });
    std::set<std::string> tSeen;
    while (!tDone) {
        const auto tValues = load(tSettings);
        for (const auto& tText : tValues) {
            EXPECT_TRUE(!tText.empty() && std::stoi(tText) <= SAVES);
            EXPECT_TRUE(tText == tValues[0] || !hasTransactions(tSettings)) << "a mixture";
        }
        tSeen.insert(tValues.begin(), tValues.end());
    }
    tThread.join();
    EXPECT_EQ(load(tSettings)[0], std::to_string(SAVES));
    EXPECT_GT(tSeen.size(), 2u) << "the loads were made between the saves";
}

} // namespace

int main(int pCount, char** pArguments)
{
    const std::string tMode = pCount > 1 ? pArguments[1] : "";
    if (tMode == "--save") {
        gEndBefore = std::atoi(pArguments[4]);
        save(TestSettings(pArguments[2]), pArguments[3]);
        return 0;
    }
    if (tMode == "--save-often") {
        for (int i = 1; i <= std::atoi(pArguments[3]); ++i) {
            save(TestSettings(pArguments[2]), std::to_string(i));
            kprSleep(10); // for those who wait
        }
        return 0;
    }
    testing::InitGoogleTest(&pCount, pArguments);
    return RUN_ALL_TESTS();
}
