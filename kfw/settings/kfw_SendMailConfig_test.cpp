// The settings for sending mail, through their interfaces, against the platform's real settings store.
#include "kfw/settings/kfw_RegDbSendMailConfig.h"

#include <gtest/gtest.h>

#include "tests/support/LeakCheck.h"
#include "tests/support/TestSettings.h"
#include "tests/support/callSlot.h"

namespace vel::kos::kfw {

namespace {

using test::callSlot;

constexpr char OPEN_FAILED[] = "Failed to open user registry node for KOS/KFW";

struct TextAccessors {
    const char* field;
    uint32_t order;
    uint32_t (fw::ISendMailConfig::*set)(const char*);
    uint32_t (fw::ISendMailConfig::*get)(char**);
};
constexpr TextAccessors TEXTS[] = {
    {"MailSubject", 2, &fw::ISendMailConfig::setMailSubject, &fw::ISendMailConfig::getMailSubject},
    {"SenderAddress", 4, &fw::ISendMailConfig::setSenderAddress, &fw::ISendMailConfig::getSenderAddress},
    {"DefRecipAddress", 6, &fw::ISendMailConfig::setDefRecipAddress,
     &fw::ISendMailConfig::getDefRecipAddress},
};

struct BoolAccessors {
    const char* field;
    uint32_t order;
    uint32_t initially;
    uint32_t (fw::ISendMailConfig::*set)(uint32_t);
    uint32_t (fw::ISendMailConfig::*get)(uint32_t*);
};
constexpr BoolAccessors BOOLS[] = {
    {"SendCC", 8, 0, &fw::ISendMailConfig::setSendCC, &fw::ISendMailConfig::getSendCC},
    {"SendBCC", 10, 1, &fw::ISendMailConfig::setSendBCC, &fw::ISendMailConfig::getSendBCC},
};

class SendMailConfigTest : public testing::Test {
protected:
    SendMailConfigTest()
    {
        mSettings.makeModuleNode();
        fresh();
    }
    ~SendMailConfigTest() override
    {
        mConfig.reset();
        EXPECT_EQ(mApp->references(), 1u) << "the application has been given back";
        mApp.reset();
    }

    void fresh()
    {
        mConfig.reset();
        mApp = mSettings.application();
        mConfig = kom::retain(new RegDbSendMailConfig);
    }
    void start()
    {
        fresh();
        ASSERT_EQ(mConfig->init(mApp.get()), 0u);
    }
    fw::ISendMailConfig* config() { return mConfig.get(); }
    std::string value(const TextAccessors& pField)
    {
        kom::HeapString tText;
        EXPECT_EQ((config()->*pField.get)(tText.out()), 0u) << pField.field;
        EXPECT_FALSE(tText.isNull());
        return tText.c_str();
    }
    uint32_t value(const BoolAccessors& pField)
    {
        uint32_t tValue = 7;
        EXPECT_EQ((config()->*pField.get)(&tValue), 0u) << pField.field;
        return tValue;
    }
    bool isModifiable()
    {
        uint32_t tModifiable = 7;
        EXPECT_EQ(mConfig->isModifiable(&tModifiable), 0u);
        return tModifiable == 1;
    }
    void expectDefaults()
    {
        for (const auto& tField : TEXTS)
            EXPECT_EQ(value(tField), "") << tField.field;
        for (const auto& tField : BOOLS)
            EXPECT_EQ(value(tField), tField.initially) << tField.field;
    }
    /// Every setter returns E_WRONG_STATE.
    void expectRefused()
    {
        EXPECT_FALSE(isModifiable());
        for (const auto& tField : TEXTS)
            EXPECT_EQ((config()->*tField.set)("x"), 0x80000100u) << tField.field;
        for (const auto& tField : BOOLS)
            EXPECT_EQ((config()->*tField.set)(1), 0x80000100u) << tField.field;
    }

    test::LeakCheck mLeaks;
    test::TestSettings mSettings;
    kom::Ref<test::TestApplication> mApp;
    kom::Ref<RegDbSendMailConfig> mConfig;
};

TEST_F(SendMailConfigTest, returnsItsIdentities)
{
    const struct {
        const char* asked;
        const char* identity;
    } tInterfaces[] = {
        {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/ISendMailConfig:1.0"},
        {"IDL:vel/kos/fw/ISendMailConfig:1.0", "IDL:vel/kos/fw/ISendMailConfig:1.0"},
        {"IDL:vel/kos/fw/IRegDbSendMailConfig:1.0", "IDL:vel/kos/fw/IRegDbSendMailConfig:1.0"},
    };
    for (const auto& tFirst : tInterfaces) {
        kom::Ref<kom::IUnknown> tInterface;
        ASSERT_EQ(mConfig->queryInterface(tFirst.asked, tInterface.out()), 0u);
        EXPECT_STREQ(tInterface->getInterfaceId(), tFirst.identity);
        for (const auto& tSecond : tInterfaces) {
            kom::Ref<kom::IUnknown> tOther;
            EXPECT_EQ(tInterface->queryInterface(tSecond.asked, tOther.out()), 0u);
            EXPECT_STREQ(tOther->getInterfaceId(), tSecond.identity);
        }
        for (const char* tIid : {"IDL:vel/kos/fw/ISendMailConfig:1.1", "IDL:vel/kos/fw/IUserData:1.0"}) {
            kom::IUnknown* tNone = tInterface.get();
            EXPECT_EQ(tInterface->queryInterface(tIid, &tNone), E_NOINTERFACE);
            EXPECT_EQ(tNone, nullptr);
        }
    }
}

TEST_F(SendMailConfigTest, returnsNothingBeforeInit)
{
    expectRefused();
    for (const auto& tField : TEXTS) {
        auto* tText = reinterpret_cast<char*>(this);
        EXPECT_EQ((config()->*tField.get)(&tText), 0x80000100u);
        EXPECT_EQ(tText, nullptr);
    }
    for (const auto& tField : BOOLS) {
        uint32_t tValue = 7;
        EXPECT_EQ((config()->*tField.get)(&tValue), 0x80000100u);
        EXPECT_EQ(tValue, 0u) << tField.field;
    }
}

TEST_F(SendMailConfigTest, isBoundOnce)
{
    uint32_t tInitialized = 7;
    EXPECT_EQ(mConfig->init(nullptr), 0x80070057u);
    EXPECT_EQ(mConfig->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 0u);
    EXPECT_EQ(mConfig->init(mApp.get()), 0u);
    EXPECT_EQ(mConfig->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 1u);
    EXPECT_EQ(mConfig->init(mApp.get()), 0x80000100u);
    EXPECT_EQ(mConfig->init(nullptr), 0x80000100u) << "state comes before arguments here";
    EXPECT_EQ(mApp->hookCount(), 1u);
    EXPECT_TRUE(isModifiable());
}

TEST_F(SendMailConfigTest, refusesNullOutputs)
{
    EXPECT_EQ(mConfig->isModifiable(nullptr), E_INVALIDARG);
    EXPECT_EQ(mConfig->isInitialized(nullptr), E_INVALIDARG);
    for (const auto& tField : TEXTS)
        EXPECT_EQ((config()->*tField.get)(nullptr), E_INVALIDARG);
    for (const auto& tField : BOOLS)
        EXPECT_EQ((config()->*tField.get)(nullptr), E_INVALIDARG);
}

TEST_F(SendMailConfigTest, startsWithItsDefaultsAndWritesEveryValueWhenTheApplicationCloses)
{
    start();
    expectDefaults();
    EXPECT_TRUE(mSettings.seenFromOutside("SendMailConfig").empty());
    mApp->close();
    EXPECT_EQ(mSettings.seenFromOutside("SendMailConfig"),
              (std::map<std::string, std::string>{{"MailSubject", "string:"},
                                                  {"SenderAddress", "string:"},
                                                  {"DefRecipAddress", "string:"},
                                                  {"SendCC", "bool:0"},
                                                  {"SendBCC", "bool:1"}}));
}

TEST_F(SendMailConfigTest, keepsEveryValueUnderItsName)
{
    start();
    for (const auto& tField : TEXTS)
        EXPECT_EQ((config()->*tField.set)(tField.field), 0u);
    for (const auto& tField : BOOLS)
        EXPECT_EQ((config()->*tField.set)(!tField.initially), 0u);
    mApp->close();
    EXPECT_EQ(mSettings.seenFromOutside("SendMailConfig"),
              (std::map<std::string, std::string>{{"MailSubject", "string:MailSubject"},
                                                  {"SenderAddress", "string:SenderAddress"},
                                                  {"DefRecipAddress", "string:DefRecipAddress"},
                                                  {"SendCC", "bool:1"},
                                                  {"SendBCC", "bool:0"}}));
    start();
    for (const auto& tField : TEXTS)
        EXPECT_EQ(value(tField), tField.field);
    for (const auto& tField : BOOLS)
        EXPECT_EQ(value(tField), tField.initially ? 0u : 1u) << tField.field;
}

TEST_F(SendMailConfigTest, hasItsOperationsInTheirSlots)
{
    start();
    uint32_t tValue = 7;
    EXPECT_EQ(callSlot(config(), 1, &tValue), 0u);
    EXPECT_EQ(tValue, 1u);
    for (const auto& tField : TEXTS)
        EXPECT_EQ(callSlot(config(), tField.order, tField.field), 0u);
    for (const auto& tField : BOOLS)
        EXPECT_EQ(callSlot(config(), tField.order, 1u - tField.initially), 0u);
    for (const auto& tField : TEXTS) {
        kom::HeapString tText;
        EXPECT_EQ(callSlot(config(), tField.order + 1, tText.out()), 0u);
        EXPECT_STREQ(tText.c_str(), tField.field);
    }
    for (const auto& tField : BOOLS) {
        EXPECT_EQ(callSlot(config(), tField.order + 1, &tValue), 0u);
        EXPECT_EQ(tValue, 1u - tField.initially);
    }
    kom::Ref<kom::IUnknown> tRegDb;
    ASSERT_EQ(mConfig->queryInterface(fw::IRegDbSendMailConfig::IID, tRegDb.out()), 0u);
    EXPECT_EQ(callSlot(tRegDb.get(), 1, static_cast<fw::IApplication*>(mApp.get())), 0x80000100u);
    EXPECT_EQ(callSlot(tRegDb.get(), 2, &(tValue = 7)), 0u);
    EXPECT_EQ(tValue, 1u);
}

TEST_F(SendMailConfigTest, takesEveryNonZeroForTrueAndNullForEmpty)
{
    start();
    for (const auto& tField : BOOLS) {
        for (uint32_t tTrue : {2u, 1u, 0x100u, 0x80000000u}) {
            EXPECT_EQ((config()->*tField.set)(0), 0u);
            EXPECT_EQ(value(tField), 0u);
            EXPECT_EQ((config()->*tField.set)(tTrue), 0u);
            EXPECT_EQ(value(tField), 1u) << tTrue;
        }
    }
    for (const auto& tField : TEXTS) {
        EXPECT_EQ((config()->*tField.set)("\xFF text"), 0u);
        EXPECT_EQ(value(tField), "\xFF text");
        EXPECT_EQ((config()->*tField.set)(nullptr), 0u);
        EXPECT_EQ(value(tField), "");
    }
}

TEST_F(SendMailConfigTest, takesTheDefaultForAValueOfAnotherKind)
{
    {
        auto tModule = util::Registry::openCurrentUserKOSModule(mApp.get(), "KFW", false);
        auto tNode = tModule.create("SendMailConfig", nullptr, false);
        for (const auto& tField : TEXTS)
            tNode.put(tField.field, true);
        for (const auto& tField : BOOLS)
            tNode.put(tField.field, "yes");
    }
    start();
    expectDefaults();
}

TEST_F(SendMailConfigTest, isReadOnlyWithItsDefaultsWithoutTheModuleNode)
{
    test::TestSettings tNone;
    mApp = tNone.application();
    EXPECT_EQ(mConfig->init(mApp.get()), 0u);
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, OPEN_FAILED), 1u);
    expectDefaults();
    expectRefused();
}

TEST_F(SendMailConfigTest, isReadOnlyWhenItsNodeCannotBeMade)
{
    mSettings.whileReadOnly("", [this] {
        start();
        EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, OPEN_FAILED), 0u);
        expectDefaults();
        expectRefused();
        mApp->close();
    });
}

TEST_F(SendMailConfigTest, isReadOnlyWhenItsNodeIs)
{
    start();
    mConfig->setMailSubject("Hello");
    mConfig->setSendBCC(0);
    mApp->close();
    mSettings.whileReadOnly("SendMailConfig", [this] {
        start();
        expectRefused();
        EXPECT_EQ(value(TEXTS[0]), "Hello");
        EXPECT_EQ(value(BOOLS[1]), 0u);
        mApp->close();
        EXPECT_TRUE(mApp->messages(fw::LOG_LEVEL_WARNING).empty()) << "saving was not even tried";
    });
    EXPECT_EQ(mSettings.seenFromOutside("SendMailConfig").at("MailSubject"), "string:Hello");
}

TEST_F(SendMailConfigTest, doesNotSaveWhenDestroyed)
{
    start();
    mConfig->setMailSubject("lost");
    mApp->failOperation("removeCloseHook", E_FAIL);
    mConfig.reset();
    EXPECT_EQ(mApp->hookCount(), 1u) << "this application keeps the hook";
    mApp->close();
    EXPECT_TRUE(mSettings.seenFromOutside("SendMailConfig").empty());
}

} // namespace

} // namespace vel::kos::kfw
