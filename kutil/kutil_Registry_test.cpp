// Nodes and values in the platform's real store.
#include "kutil/Registry.h"

#include <utility>

#include <gtest/gtest.h>

#include "tests/support/TestSettings.h"

namespace vel::kos::util {

namespace {

class RegistryTest : public testing::Test {
protected:
    RegNode openModule(bool pCreate)
    {
        return Registry::openCurrentUserKOSModule(mApp.get(), "KFW", pCreate);
    }

    test::TestSettings mSettings;
    kom::Ref<test::TestApplication> mApp = mSettings.application();
};

TEST_F(RegistryTest, opensNothingUntilTheNodeIsMade)
{
    EXPECT_FALSE(openModule(false).isOpen());
    EXPECT_FALSE(openModule(false).isOpen()) << "looking has made nothing";
    EXPECT_TRUE(openModule(true).isOpen());
    EXPECT_TRUE(openModule(false).isOpen());
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(mApp.get(), "Other", false).isOpen());
    EXPECT_TRUE(mApp->logLines().empty()) << "a missing node is nothing to report";
}

TEST_F(RegistryTest, keepsWhatIsPut)
{
    RegNode tNode = openModule(true);
    EXPECT_EQ(tNode.put("Text", "some text"), 0u);
    EXPECT_EQ(tNode.put("Empty", ""), 0u);
    EXPECT_EQ(tNode.put("Yes", true), 0u);
    EXPECT_EQ(tNode.put("No", false), 0u);
    tNode.close();

    tNode = openModule(false);
    std::string tText = "before";
    EXPECT_EQ(tNode.get("Text", &tText), 0u);
    EXPECT_EQ(tText, "some text");
    EXPECT_EQ(tNode.get("Empty", &tText), 0u);
    EXPECT_EQ(tText, "");
    bool tYes = false, tNo = true;
    EXPECT_EQ(tNode.get("Yes", &tYes), 0u);
    EXPECT_TRUE(tYes);
    EXPECT_EQ(tNode.get("No", &tNo), 0u);
    EXPECT_FALSE(tNo);

    const auto tSeen = mSettings.seenFromOutside("");
    EXPECT_EQ(tSeen,
              (std::map<std::string, std::string>{
                  {"Text", "string:some text"}, {"Empty", "string:"}, {"Yes", "bool:1"}, {"No", "bool:0"}}));
}

TEST_F(RegistryTest, givesEveryTextBackByteForByte)
{
    RegNode tNode = openModule(true);
    std::string tAll;
    for (int i = 1; i < 256; ++i)
        tAll += static_cast<char>(i);
    for (const std::string& tText :
         {tAll, std::string("\xFF\xFE"), std::string("\xED\xA0\x80"), std::string("x\xC3"),
          std::string("\xF0\x9F\x98\x80"), std::string("1"), std::string("tab\tnewline\r\n"),
          std::string("nul\0inside", 10), std::string(1 << 20, 'm'), std::string((1 << 20) + 1, '\xE9')}) {
        std::string tBack = "before";
        EXPECT_EQ(tNode.put("Text", tText), 0u);
        EXPECT_EQ(tNode.get("Text", &tBack), 0u);
        EXPECT_TRUE(tBack == tText) << tText.substr(0, 40);
    }
}

TEST_F(RegistryTest, refusesWhatIsMissingOrOfAnotherKind)
{
    RegNode tNode = openModule(true);
    std::string tText = "before";
    bool tBool = true;
    EXPECT_EQ(tNode.get("Missing", &tText), KPR_E_NOT_FOUND);
    EXPECT_EQ(tNode.get("Missing", &tBool), KPR_E_NOT_FOUND);
    tNode.put("Text", "text");
    tNode.put("LongText", "longer than a number");
    tNode.put("Bool", false);
    EXPECT_EQ(tNode.get("Text", &tBool), E_FAIL);
    EXPECT_EQ(tNode.get("LongText", &tBool), E_FAIL);
    EXPECT_EQ(tNode.get("Bool", &tText), E_FAIL);
    EXPECT_EQ(tText, "before");
    EXPECT_TRUE(tBool);
    EXPECT_EQ(tNode.put("Text", true), 0u) << "a value may change its kind";
    EXPECT_EQ(tNode.get("Text", &tBool), 0u);
}

TEST_F(RegistryTest, refusesBadNames)
{
    RegNode tNode = openModule(true);
    std::string tText;
    bool tReadOnly = false;
    for (const char* tName : {static_cast<const char*>(nullptr), "", "a/b", "a\\b", "a\nb"}) {
        EXPECT_EQ(tNode.put(tName, "text"), E_INVALIDARG);
        EXPECT_EQ(tNode.put(tName, true), E_INVALIDARG);
        EXPECT_EQ(tNode.get(tName, &tText), E_INVALIDARG);
        EXPECT_FALSE(tNode.create(tName, &tReadOnly, false).isOpen());
        EXPECT_TRUE(std::exchange(tReadOnly, false));
        EXPECT_FALSE(Registry::openCurrentUserKOSModule(mApp.get(), tName, true).isOpen());
    }
    EXPECT_EQ(tNode.get("Text", static_cast<std::string*>(nullptr)), E_INVALIDARG);
    EXPECT_EQ(tNode.get("Text", static_cast<bool*>(nullptr)), E_INVALIDARG);
}

TEST_F(RegistryTest, takesNamesWithBlanks)
{
    RegNode tNode = openModule(true);
    EXPECT_EQ(tNode.put("a name", "text"), 0u);
    std::string tText;
    EXPECT_EQ(tNode.get("a name", &tText), 0u);
    EXPECT_EQ(tText, "text");
    EXPECT_EQ(tNode.get("aname", &tText), KPR_E_NOT_FOUND);
}

TEST_F(RegistryTest, makesChildren)
{
    RegNode tModule = openModule(true);
    bool tReadOnly = false;
    EXPECT_FALSE(tModule.create("Child", &tReadOnly, true).isOpen())
        << "for reading only, a child is not made";
    EXPECT_TRUE(tReadOnly);
    RegNode tChild = tModule.create("Child", &tReadOnly, false);
    ASSERT_TRUE(tChild.isOpen());
    EXPECT_FALSE(tReadOnly);
    EXPECT_EQ(tChild.put("Name", "the child's"), 0u);
    EXPECT_EQ(tModule.put("Name", "the module's"), 0u);
    EXPECT_EQ(tModule.create("Other", nullptr, false).put("Name", "the other's"), 0u);

    RegNode tReader = openModule(false).create("Child", &tReadOnly, true);
    ASSERT_TRUE(tReader.isOpen()) << "it outlives the node that it came from";
    EXPECT_TRUE(tReadOnly);
    std::string tText;
    EXPECT_EQ(tReader.get("Name", &tText), 0u);
    EXPECT_EQ(tText, "the child's");
    EXPECT_EQ(tReader.put("Name", "x"), E_READ_ONLY);
    EXPECT_EQ(tReader.put("Name", true), E_READ_ONLY);
    EXPECT_FALSE(tReader.create("Grandchild", &tReadOnly, false).isOpen());
    EXPECT_EQ(mSettings.seenFromOutside("Child").at("Name"), "string:the child's");
}

TEST_F(RegistryTest, refusesEverythingWhenClosed)
{
    RegNode tNode;
    std::string tText;
    bool tBool = false;
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(tNode.isOpen());
        EXPECT_EQ(tNode.get("Name", &tText), E_WRONG_STATE);
        EXPECT_EQ(tNode.get("Name", &tBool), E_WRONG_STATE);
        EXPECT_EQ(tNode.put("Name", "x"), E_WRONG_STATE);
        EXPECT_EQ(tNode.put("Name", true), E_WRONG_STATE);
        EXPECT_FALSE(tNode.create("Child", &tBool, false).isOpen());
        EXPECT_TRUE(std::exchange(tBool, false));
        RegBatch tBatch(tNode, RegBatch::Kind::WRITE);
        EXPECT_EQ(tBatch.commit(), E_WRONG_STATE);
        tNode = openModule(true);
        EXPECT_TRUE(tNode.isOpen());
        const RegNode tTaken = std::move(tNode);
        EXPECT_TRUE(tTaken.isOpen());
    }
    tNode.close();
    tNode.close();
}

TEST_F(RegistryTest, keepsTheValuesOfACommittedBatch)
{
    RegNode tNode = openModule(true);
    RegNode tChild = tNode.create("Child", nullptr, false);
    {
        RegBatch tBatch(tNode, RegBatch::Kind::WRITE);
        EXPECT_EQ(tNode.put("A", "1"), 0u);
        EXPECT_EQ(tChild.put("B", true), 0u);
        std::string tText;
        EXPECT_EQ(tNode.get("A", &tText), 0u) << "a batch sees its own writes";
        EXPECT_EQ(tBatch.commit(), 0u);
        EXPECT_EQ(tBatch.commit(), E_WRONG_STATE);
    }
    {
        RegBatch tBatch(tNode, RegBatch::Kind::READ);
        std::string tText;
        EXPECT_EQ(tNode.get("A", &tText), 0u);
    }
    EXPECT_EQ(mSettings.seenFromOutside("").at("A"), "string:1");
    EXPECT_EQ(mSettings.seenFromOutside("Child").at("B"), "bool:1");
    EXPECT_EQ(tNode.put("C", "outside"), 0u);
    EXPECT_EQ(mSettings.seenFromOutside("").at("C"), "string:outside");
}

TEST_F(RegistryTest, saysWhatCanOnlyBeRead)
{
    openModule(true).create("Child", nullptr, false).put("Name", "value");
    mSettings.whileReadOnly("Child", [this] {
        bool tReadOnly = false;
        RegNode tChild = openModule(false).create("Child", &tReadOnly, false);
        ASSERT_TRUE(tChild.isOpen());
        EXPECT_TRUE(tReadOnly);
        std::string tText;
        EXPECT_EQ(tChild.get("Name", &tText), 0u);
        EXPECT_EQ(tText, "value");
        EXPECT_EQ(tChild.put("Name", "other"), E_READ_ONLY);
    });
    mSettings.whileReadOnly("", [this] {
        bool tReadOnly = false;
        EXPECT_TRUE(openModule(false).isOpen());
        EXPECT_TRUE(openModule(true).isOpen()) << "it is there already";
        EXPECT_FALSE(openModule(false).create("New", &tReadOnly, false).isOpen());
        EXPECT_TRUE(tReadOnly);
    });
    EXPECT_EQ(mSettings.seenFromOutside("Child").at("Name"), "string:value");
    bool tReadOnly = true;
    EXPECT_TRUE(openModule(false).create("Child", &tReadOnly, false).isOpen());
    EXPECT_FALSE(tReadOnly) << "and writable again";
}

TEST_F(RegistryTest, needsAnApplicationThatTellsItsSettings)
{
    EXPECT_FALSE(Registry::openCurrentUserKOSModule(nullptr, "KFW", true).isOpen());
    for (const char* tOperation : {"getSettingsName", "getSettingsFile"}) {
        mApp->failOperation(tOperation, E_FAIL);
        EXPECT_FALSE(openModule(true).isOpen()) << tOperation;
        mApp->failOperation(tOperation, 0);
    }
    mApp->refuseInterface("IDL:vel/kos/fw/IApplication4:1.0", E_NOINTERFACE);
    EXPECT_FALSE(openModule(true).isOpen());
    EXPECT_EQ(mApp->messages(fw::LOG_LEVEL_ERROR).size(), 1u) << "the refused interface is reported";
}

TEST_F(RegistryTest, seesTheWritesOfOthers)
{
    RegNode tOne = openModule(true), tOther = openModule(false);
    std::string tText;
    tOne.put("Name", "one");
    EXPECT_EQ(tOther.get("Name", &tText), 0u);
    EXPECT_EQ(tText, "one");
    tOther.put("Name", "other");
    EXPECT_EQ(tOne.get("Name", &tText), 0u);
    EXPECT_EQ(tText, "other");
}

} // namespace

} // namespace vel::kos::util
