// The feature set through its interface, with every call of the host counted.
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/IFeatureSet.h"
#include "kfw/classes.h"
#include "kfw/module/testing/kfw_TestObject.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestApplication.h"

namespace vel::kos::kfw {

namespace {

using namespace fw;
using test::TestApplication;

constexpr uint32_t UNTOUCHED = 4711;

class FeatureSetTest : public testing::Test {
protected:
    FeatureSetTest()
    {
        mApp = TestApplication::make();
        mSet = test::makeObject<IFeatureSet>(CLASS_FEATURE_SET);
    }
    void SetUp() override { ASSERT_TRUE(mSet); }
    void TearDown() override
    {
        mSet.reset();
        EXPECT_EQ(mApp->references(), 1u) << "everything held is given back";
        mApp.reset();
    }

    void init(uint32_t pFlags = 0) { ASSERT_EQ(mSet->init(mApp.get(), pFlags), 0u); }
    /// 0 or 1, or the code of a failure that left the output alone.
    uint32_t ask(const char* pName)
    {
        uint32_t tEnabled = UNTOUCHED;
        const uint32_t tRes = mSet->isEnabled(pName, &tEnabled);
        if (KFAILED(tRes)) {
            EXPECT_EQ(tEnabled, UNTOUCHED);
            return tRes;
        }
        EXPECT_EQ(tRes, 0u);
        EXPECT_LE(tEnabled, 1u);
        return tEnabled;
    }
    uint32_t hostCalls() const
    {
        return mApp->calls("getProperty") + mApp->calls("isPropertyTrue") + mApp->calls("isPropertyFalse");
    }
    void expectAssertion(const std::string& pExpression)
    {
        const auto tAssertions = mApp->assertions();
        ASSERT_EQ(tAssertions.size(), 1u);
        EXPECT_EQ(tAssertions[0].domain, "kos:kfw");
        EXPECT_EQ(tAssertions[0].expression, pExpression);
        EXPECT_EQ(tAssertions[0].sourceFile, "kfw_FeatureSet");
        EXPECT_GT(tAssertions[0].line, 0);
        mApp->clearRecords();
    }

    test::LeakCheck mLeaks;
    kom::Ref<TestApplication> mApp;
    kom::Ref<IFeatureSet> mSet;
};

TEST_F(FeatureSetTest, returnsItsIdentities)
{
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IFeatureSet:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(mSet->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, mSet.get());
        EXPECT_EQ(mSet->release(), 1u);
    }
    kom::IUnknown* tInterface = mApp.get();
    EXPECT_EQ(mSet->queryInterface("IDL:vel/kos/fw/IFeatureSet:1.1", &tInterface), 0x80004002u);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_STREQ(mSet->getInterfaceId(), "IDL:vel/kos/fw/IFeatureSet:1.0");
    EXPECT_NE(test::makeObject<IFeatureSet>(CLASS_FEATURE_SET), mSet);
}

TEST_F(FeatureSetTest, refusesEverythingBeforeInit)
{
    EXPECT_EQ(ask("name"), 0x80000100u);
    EXPECT_EQ(ask(nullptr), 0x80000100u) << "the state comes before the name";
    EXPECT_EQ(mSet->addFeature("name", nullptr, nullptr, 0), 0x80000100u);
    EXPECT_EQ(mSet->addFeature("", nullptr, nullptr, 0), 0x80000100u);
    EXPECT_EQ(mSet->isEnabled("name", nullptr), 0x80070057u) << "a null output comes before the state";
}

TEST_F(FeatureSetTest, takesOneApplication)
{
    EXPECT_EQ(mSet->init(nullptr, 0), 0x80070057u);
    init();
    EXPECT_EQ(mApp->references(), 3u) << "as the application and as its IApplication5";
    const auto tOther = TestApplication::make();
    EXPECT_EQ(mSet->init(tOther.get(), FEATURE_NOT_ASKED), 0x80000100u);
    EXPECT_EQ(mSet->init(nullptr, 0), 0x80070057u) << "null comes before the state";
    EXPECT_EQ(tOther->references(), 1u);
    EXPECT_EQ(mApp->references(), 3u);
    mApp->setProperty("name", "true");
    EXPECT_EQ(ask("name"), 1u) << "the first application stays, and so do its flags";
    EXPECT_TRUE(mApp->assertions().empty());
}

TEST_F(FeatureSetTest, doesNotAskForIApplication5WithSetFlag2)
{
    init(FEATURE_NOT_ASKED);
    EXPECT_TRUE(mApp->queries().empty());
    EXPECT_EQ(mApp->references(), 2u);
}

TEST_F(FeatureSetTest, reportsAnApplicationThatRefusesIApplication5)
{
    mApp->refuseInterface(IApplication5::IID, E_NOT_SUPPORTED);
    EXPECT_EQ(mSet->init(mApp.get(), 0), 0x80000101u);
    const auto tErrors = mApp->messages(LOG_LEVEL_ERROR);
    ASSERT_FALSE(tErrors.empty());
    EXPECT_NE(tErrors[0].find("IDL:vel/kos/fw/IApplication5:1.0"), std::string::npos) << tErrors[0];
    EXPECT_EQ(mApp->references(), 1u);
    EXPECT_EQ(ask("name"), 0x80000100u) << "still not initialised";
    expectAssertion("!KFAILED(tRes) && tApp5 != 0");
}

TEST_F(FeatureSetTest, reportsAnApplicationThatReturnsANullIApplication5)
{
    mApp->refuseInterface(IApplication5::IID, 0);
    EXPECT_EQ(mSet->init(mApp.get(), 0), 0x80000103u);
    ASSERT_FALSE(mApp->messages(LOG_LEVEL_ERROR).empty());
    EXPECT_NE(mApp->messages(LOG_LEVEL_ERROR)[0].find("IApplication5"), std::string::npos);
    expectAssertion("!KFAILED(tRes) && tApp5 != 0");
    EXPECT_EQ(mSet->init(mApp.get(), FEATURE_NOT_ASKED), 0u) << "a failed init may be tried again";
}

TEST_F(FeatureSetTest, reportsAnEmptyName)
{
    init();
    for (const char* tName : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(mSet->addFeature(tName, "key", "option", 0), 0x80070057u);
        expectAssertion("!tName.empty()");
        EXPECT_EQ(ask(tName), 0x80070057u);
        expectAssertion("!tName.empty()");
    }
    EXPECT_EQ(hostCalls(), 0u);
}

TEST_F(FeatureSetTest, refusesANullOutputWithoutAReport)
{
    init();
    EXPECT_EQ(mSet->isEnabled("name", nullptr), 0x80070057u);
    EXPECT_EQ(mSet->isEnabled("", nullptr), 0x80070057u);
    EXPECT_TRUE(mApp->assertions().empty());
    EXPECT_EQ(hostCalls(), 0u);
}

TEST_F(FeatureSetTest, keepsTheFirstOfTwoDeclarations)
{
    init();
    EXPECT_EQ(mSet->addFeature("name", "", "first", FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(mSet->addFeature("name", "", "second", 0), 0x80000100u);
    expectAssertion("tIter == mFeatures.end()");
    mApp->setProperty("first", "1");
    mApp->setProperty("second", "0");
    EXPECT_EQ(ask("name"), 1u);
    EXPECT_EQ(mApp->calls("isPropertyTrue"), 1u);
    EXPECT_EQ(mApp->calls("isPropertyFalse"), 0u);
}

TEST_F(FeatureSetTest, refusesToDeclareWhatItHasLearnt)
{
    init();
    mApp->setProperty("name", "false");
    EXPECT_EQ(ask("name"), 0u);
    EXPECT_EQ(mSet->addFeature("name", "", "", FEATURE_NOT_ASKED), 0x80000100u);
    expectAssertion("tIter == mFeatures.end()");
    EXPECT_EQ(ask("name"), 0u);
}

TEST_F(FeatureSetTest, declaresAnUnknownNameLater)
{
    init();
    EXPECT_EQ(ask("name"), 0u);
    EXPECT_EQ(mSet->addFeature("name", "", "", FEATURE_NOT_ASKED), 0u);
    EXPECT_EQ(ask("name"), 1u);
}

TEST_F(FeatureSetTest, asksUnderTheOptionNameOrTheFeaturesOwn)
{
    init();
    mApp->setProperty("option", "yes");
    mApp->setProperty("unnamed", "yes");
    mApp->setProperty("null", "yes");
    EXPECT_EQ(mSet->addFeature("named", "unnamed", "option", FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(mSet->addFeature("unnamed", "k", "", FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(mSet->addFeature("null", nullptr, nullptr, FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(mSet->addFeature("other", "option", "", FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(ask("named"), 1u);
    EXPECT_EQ(ask("unnamed"), 1u);
    EXPECT_EQ(ask("null"), 1u);
    EXPECT_EQ(ask("other"), 0u) << "the key is never asked for";
}

TEST_F(FeatureSetTest, asksOnceForADeclaredFeature)
{
    init();
    mSet->addFeature("enabled", "", "", FEATURE_ASK_TRUE);
    mSet->addFeature("disabled", "", "", 0);
    mApp->setProperty("enabled", "true");
    mApp->setProperty("disabled", "false");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ask("enabled"), 1u);
        EXPECT_EQ(ask("disabled"), 0u);
        mApp->setProperty("enabled", "false"); // later changes are not seen
        mApp->setProperty("disabled", "true");
    }
    EXPECT_EQ(mApp->calls("isPropertyTrue"), 1u);
    EXPECT_EQ(mApp->calls("isPropertyFalse"), 1u);
    EXPECT_EQ(mApp->calls("getProperty"), 0u);
}

TEST_F(FeatureSetTest, asksAgainAfterAFailure)
{
    init();
    mSet->addFeature("true", "", "", FEATURE_ASK_TRUE);
    mSet->addFeature("false", "", "", 0);
    for (const char* tOperation : {"isPropertyTrue", "isPropertyFalse"})
        mApp->failOperation(tOperation, KPR_E_IO);
    EXPECT_EQ(ask("true"), KPR_E_IO);
    EXPECT_EQ(ask("true"), KPR_E_IO);
    EXPECT_EQ(ask("false"), KPR_E_IO);
    for (const char* tOperation : {"isPropertyTrue", "isPropertyFalse"})
        mApp->failOperation(tOperation, 0);
    EXPECT_EQ(ask("true"), 0u);
    EXPECT_EQ(ask("true"), 0u);
    EXPECT_EQ(ask("false"), 1u);
    EXPECT_EQ(mApp->calls("isPropertyTrue"), 3u);
    EXPECT_EQ(mApp->calls("isPropertyFalse"), 2u);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FeatureSetTest, doesNotAskForAFeatureWithFlag2)
{
    init();
    mApp->setProperty("name", "false");
    EXPECT_EQ(mSet->addFeature("name", "", "", FEATURE_NOT_ASKED | FEATURE_ASK_TRUE), 0u);
    EXPECT_EQ(ask("name"), 1u);
    EXPECT_EQ(ask("name"), 1u);
    EXPECT_EQ(hostCalls(), 0u);
}

TEST_F(FeatureSetTest, enablesWhatIsDeclaredAndRefusesTheRestWithSetFlag2)
{
    init(FEATURE_NOT_ASKED);
    mSet->addFeature("declared", "", "", FEATURE_ASK_TRUE);
    EXPECT_EQ(ask("declared"), 1u);
    EXPECT_EQ(ask("unknown"), 0x80000103u);
    expectAssertion("mApp5 != 0");
    EXPECT_EQ(ask("unknown"), 0x80000103u);
    expectAssertion("mApp5 != 0");
    EXPECT_EQ(hostCalls(), 0u);
    EXPECT_TRUE(mApp->messages(LOG_LEVEL_DEBUG).empty());
}

TEST_F(FeatureSetTest, learnsFromAPropertyOnce)
{
    init();
    const std::map<std::string, uint32_t> tValues = {
        {"true", 1}, {"True", 1},   {"TRUE", 1},   {"1", 1},  {"false", 0}, {"False", 1},    {"FALSE", 1},
        {"0", 1},    {" false", 1}, {"false ", 1}, {"no", 1}, {" ", 1},     {"truefalse", 1}};
    uint32_t tCalls = 0;
    for (const auto& [tValue, tExpected] : tValues) {
        const std::string tName = "feature " + tValue;
        mApp->setProperty(tName, tValue);
        EXPECT_EQ(ask(tName.c_str()), tExpected) << tValue;
        mApp->setProperty(tName, tExpected ? "false" : "true");
        EXPECT_EQ(ask(tName.c_str()), tExpected) << tValue;
        EXPECT_EQ(mApp->calls("getProperty"), ++tCalls) << "asked twice, called once";
    }
    EXPECT_EQ(hostCalls(), tCalls);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(FeatureSetTest, considersUnknownFeaturesDisabled)
{
    init();
    mApp->setProperty("empty", "");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ask("unset %1"), 0u);
        EXPECT_EQ(ask("empty"), 0u);
    }
    EXPECT_EQ(mApp->calls("getProperty"), 6u) << "asked each time";
    EXPECT_EQ(mApp->messages(LOG_LEVEL_DEBUG),
              (std::vector<std::string>{"Unknown feature 'unset %1' considered disabled.",
                                        "Unknown feature 'empty' considered disabled."}));
    EXPECT_EQ(mApp->logLines().size(), 2u) << "once per name";
    EXPECT_EQ(mApp->logLines()[0].domain, "kos:kfw");
    mApp->setProperty("empty", "true");
    EXPECT_EQ(ask("empty"), 1u) << "an unknown feature may become known";
}

TEST_F(FeatureSetTest, neitherLogsNorCachesWhenThePropertyCannotBeRead)
{
    init();
    mApp->setProperty("name", "true");
    mApp->failOperation("getProperty", KPR_E_ACCESS_DENIED);
    EXPECT_EQ(ask("name"), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(ask("name"), KPR_E_ACCESS_DENIED);
    EXPECT_TRUE(mApp->logLines().empty());
    mApp->failOperation("getProperty", 0);
    EXPECT_EQ(ask("name"), 1u);
    EXPECT_EQ(mApp->calls("getProperty"), 3u);
}

TEST_F(FeatureSetTest, tellsNamesApartByteByByte)
{
    init();
    uint32_t tFlags = 0;
    for (const char* tName : {"a", "A", "aa", "a ", "\xC3\xA4", "\xFF"}) {
        EXPECT_EQ(mSet->addFeature(tName, "", "on", tFlags), 0u);
        tFlags ^= FEATURE_ASK_TRUE;
    }
    for (const char* tName : {"a", "aa", "\xC3\xA4"})
        EXPECT_EQ(ask(tName), 1u);
    for (const char* tName : {"A", "a ", "\xFF"})
        EXPECT_EQ(ask(tName), 0u);
}

// Every combination of a feature's and a set's flags, with every kind of property and with a failing host.

struct OracleCase {
    uint32_t set;
    uint32_t feature;
    const char* property; ///< null: not set
    bool failing;
};

/// How a declared feature has to come out, in the words of the contract.
uint32_t declaredAnswer(const OracleCase& pCase)
{
    const uint32_t tFlags = pCase.set | pCase.feature;
    if (tFlags & 2) return 1;
    if (pCase.failing) return E_FAIL;
    const std::string tValue = pCase.property ? pCase.property : "";
    // Of these values the test application takes "true" and "1" for true and "false" for false.
    if (tFlags & 4) return tValue == "true" || tValue == "1" ? 1 : 0;
    return tValue == "false" ? 0 : 1;
}

/// The same for a feature that was not declared.
uint32_t unknownAnswer(const OracleCase& pCase)
{
    if (pCase.set & 2) return E_INTERNAL;
    if (pCase.failing) return E_FAIL;
    const std::string tValue = pCase.property ? pCase.property : "";
    return tValue.empty() || tValue == "false" ? 0 : 1;
}

TEST_F(FeatureSetTest, agreesWithTheOracle)
{
    const char* const tValues[] = {nullptr, "", "true", "True", "false", "False", "1"};
    uint32_t tCases = 0;
    for (uint32_t tSet = 0; tSet < 16; ++tSet) {
        for (uint32_t tFeature = 0; tFeature < 16; ++tFeature) {
            for (const char* tValue : tValues) {
                for (const bool tFailing : {false, true}) {
                    const OracleCase tCase{tSet, tFeature, tValue, tFailing};
                    SCOPED_TRACE(testing::Message()
                                 << "set " << tSet << ", feature " << tFeature << ", "
                                 << (tValue ? tValue : "unset") << ", failing " << tFailing);
                    const auto tApp = TestApplication::make();
                    if (tValue) {
                        tApp->setProperty("option", tValue);
                        tApp->setProperty("unknown", tValue);
                    }
                    if (tFailing)
                        for (const char* tName : {"getProperty", "isPropertyTrue", "isPropertyFalse"})
                            tApp->failOperation(tName, E_FAIL);
                    mSet = test::makeObject<IFeatureSet>(CLASS_FEATURE_SET);
                    ASSERT_EQ(mSet->init(tApp.get(), tSet), 0u);
                    ASSERT_EQ(mSet->addFeature("declared", "key", "option", tFeature), 0u);

                    EXPECT_EQ(ask("declared"), declaredAnswer(tCase));
                    EXPECT_EQ(ask("declared"), declaredAnswer(tCase));
                    const bool tAsked = !((tSet | tFeature) & 2), tTrue = (tSet | tFeature) & 4;
                    const uint32_t tCount = !tAsked ? 0 : tFailing ? 2 : 1;
                    EXPECT_EQ(tApp->calls("isPropertyTrue"), tTrue ? tCount : 0);
                    EXPECT_EQ(tApp->calls("isPropertyFalse"), tTrue ? 0 : tCount);
                    EXPECT_EQ(tApp->calls("getProperty"), 0u);
                    EXPECT_TRUE(tApp->assertions().empty());

                    EXPECT_EQ(ask("unknown"), unknownAnswer(tCase));
                    EXPECT_EQ(ask("unknown"), unknownAnswer(tCase));
                    const bool tLearnt = !tFailing && tValue && *tValue;
                    EXPECT_EQ(tApp->calls("getProperty"), tSet & 2 ? 0u : tLearnt ? 1u : 2u);
                    EXPECT_EQ(
                        tApp->countLogged(LOG_LEVEL_DEBUG, "Unknown feature 'unknown' considered disabled."),
                        !(tSet & 2) && !tFailing && !tLearnt ? 1u : 0u);
                    EXPECT_EQ(tApp->assertions().size(), tSet & 2 ? 2u : 0u);
                    mSet.reset();
                    EXPECT_EQ(tApp->references(), 1u);
                    ++tCases;
                }
            }
        }
    }
    EXPECT_EQ(tCases, 16u * 16u * 7u * 2u);
}

} // namespace

} // namespace vel::kos::kfw
