// The user's record, through its interfaces, against the platform's real settings store.
#include "kfw/settings/testing/kfw_UserDataTest.h"

#include <iterator>

#include "tests/support/callSlot.h"

namespace vel::kos::kfw {

namespace {

using test::callSlot;

constexpr char OPEN_FAILED[] = "Failed to open user registry node for KOS/KFW";

TEST_F(UserDataTest, returnsItsIdentities)
{
    const struct {
        const char* asked;
        const char* identity;
    } tInterfaces[] = {
        {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IUserData:1.0"},
        {"IDL:vel/kos/fw/IUserData:1.0", "IDL:vel/kos/fw/IUserData:1.0"},
        {"IDL:vel/kos/fw/IAddressData:1.0", "IDL:vel/kos/fw/IAddressData2:1.0"},
        {"IDL:vel/kos/fw/IAddressData2:1.0", "IDL:vel/kos/fw/IAddressData2:1.0"},
        {"IDL:vel/kos/fw/IRegDbUserData:1.0", "IDL:vel/kos/fw/IRegDbUserData:1.0"},
    };
    kom::Ref<kom::IUnknown> tUnknown;
    ASSERT_EQ(mAddress->queryInterface(kom::IUnknown::IID, tUnknown.out()), 0u);
    for (const auto& tFirst : tInterfaces) {
        kom::Ref<kom::IUnknown> tInterface;
        ASSERT_EQ(tUnknown->queryInterface(tFirst.asked, tInterface.out()), 0u) << tFirst.asked;
        EXPECT_STREQ(tInterface->getInterfaceId(), tFirst.identity);
        EXPECT_EQ(tInterface->addRef(), 5u);
        EXPECT_EQ(tInterface->release(), 4u) << "one reference for the caller";
        EXPECT_EQ(komSameObject(tInterface.get(), tUnknown.get()), 0u);
        void* tCom = &tInterface;
        EXPECT_EQ(tInterface->QueryInterface(tFirst.asked, &tCom), E_NOINTERFACE);
        EXPECT_EQ(tCom, nullptr);
        for (const auto& tSecond : tInterfaces) {
            kom::Ref<kom::IUnknown> tOther;
            EXPECT_EQ(tInterface->queryInterface(tSecond.asked, tOther.out()), 0u)
                << "from every interface to every other";
            EXPECT_STREQ(tOther->getInterfaceId(), tSecond.identity);
        }
        for (const char* tIid : {"IDL:vel/kos/fw/IUserData:1.1", "IDL:vel/kos/fw/iuserdata:1.0", "",
                                 static_cast<const char*>(nullptr)}) {
            kom::IUnknown* tNone = tInterface.get();
            EXPECT_EQ(tInterface->queryInterface(tIid, &tNone), E_NOINTERFACE);
            EXPECT_EQ(tNone, nullptr);
        }
    }
}

TEST_F(UserDataTest, returnsNothingBeforeInit)
{
    EXPECT_FALSE(isModifiable());
    uint32_t tInitialized = 7;
    EXPECT_EQ(mData->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 0u);
    for (const UserField& tField : FIELDS) {
        auto* tText = reinterpret_cast<char*>(&tInitialized);
        EXPECT_EQ((mAddress.get()->*tField.get)(&tText), 0x80000100u) << tField.name;
        EXPECT_EQ(tText, nullptr) << tField.name;
        EXPECT_EQ((mAddress.get()->*tField.set)("x"), 0x80000100u) << tField.name;
    }
    for (auto tGet : {&fw::IAddressData::getName, &fw::IAddressData::getPostalCodes,
                      &fw::IAddressData::getPhoneNumbers}) {
        auto* tFirst = reinterpret_cast<char*>(&tInitialized);
        auto* tSecond = tFirst;
        EXPECT_EQ((mAddress.get()->*tGet)(&tFirst, &tSecond), 0x80000100u);
        EXPECT_EQ(tFirst, nullptr);
        EXPECT_EQ(tSecond, nullptr);
    }
    for (auto tSet :
         {&fw::IAddressData::setName, &fw::IAddressData::setPostalCodes, &fw::IAddressData::setPhoneNumbers})
        EXPECT_EQ((mAddress.get()->*tSet)("x", "y"), 0x80000100u);
}

TEST_F(UserDataTest, isBoundOnce)
{
    EXPECT_EQ(mData->init(nullptr), 0x80070057u);
    uint32_t tInitialized = 7;
    EXPECT_EQ(mData->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 0u) << "a refused init binds nothing";
    EXPECT_EQ(mData->init(mApp.get()), 0u);
    EXPECT_EQ(mData->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 1u);
    EXPECT_TRUE(isModifiable());
    const auto tOther = mSettings.application();
    EXPECT_EQ(mData->init(tOther.get()), 0x80000100u);
    EXPECT_EQ(mData->init(nullptr), 0x80000100u) << "state comes before arguments here";
    EXPECT_EQ(tOther->references(), 1u);
    EXPECT_EQ(tOther->hookCount(), 0u);
    EXPECT_EQ(mApp->hookCount(), 1u);
}

TEST_F(UserDataTest, refusesNullOutputs)
{
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(mAddress->isModifiable(nullptr), E_INVALIDARG);
        EXPECT_EQ(mData->isInitialized(nullptr), E_INVALIDARG);
        for (const UserField& tField : FIELDS)
            EXPECT_EQ((mAddress.get()->*tField.get)(nullptr), E_INVALIDARG) << tField.name;
        char* tText = nullptr;
        EXPECT_EQ(mAddress->getName(&tText, nullptr), E_INVALIDARG);
        EXPECT_EQ(mAddress->getName(nullptr, &tText), E_INVALIDARG);
        EXPECT_EQ(mAddress->getPostalCodes(&tText, nullptr), E_INVALIDARG);
        EXPECT_EQ(mAddress->getPhoneNumbers(nullptr, &tText), E_INVALIDARG);
        EXPECT_EQ(tText, nullptr);
        start();
    }
}

TEST_F(UserDataTest, startsEmptyAndWritesEveryFieldWhenTheApplicationCloses)
{
    start();
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(value(tField), "") << tField.name;
    EXPECT_TRUE(mSettings.seenFromOutside("UserData").empty()) << "the node is there, without values";
    mApp->close();
    const auto tSeen = mSettings.seenFromOutside("UserData");
    EXPECT_EQ(tSeen.size(), 28u);
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(tSeen.count(tField.name) ? tSeen.at(tField.name) : "missing", "string:") << tField.name;
}

TEST_F(UserDataTest, keepsEveryFieldUnderItsName)
{
    start();
    for (const UserField& tField : FIELDS)
        EXPECT_EQ((mAddress.get()->*tField.set)((std::string("the ") + tField.name).c_str()), 0u);
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(value(tField), std::string("the ") + tField.name);
    EXPECT_TRUE(mSettings.seenFromOutside("UserData").empty()) << "nothing is written before the close";
    mApp->close();
    const auto tSeen = mSettings.seenFromOutside("UserData");
    EXPECT_EQ(tSeen.size(), 28u);
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(tSeen.at(tField.name), std::string("string:the ") + tField.name);
    start();
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(value(tField), std::string("the ") + tField.name);
}

TEST_F(UserDataTest, hasItsOperationsInTheirSlots)
{
    start();
    kom::IUnknown* tInterface = mAddress.get();
    uint32_t tModifiable = 7;
    EXPECT_EQ(callSlot(tInterface, 1, &tModifiable), 0u);
    EXPECT_EQ(tModifiable, 1u);
    EXPECT_EQ(callSlot(tInterface, 2), 0x80000101u);
    EXPECT_EQ(callSlot(tInterface, 3), 0x80000101u);
    for (const UserField& tField : FIELDS)
        EXPECT_EQ(callSlot(tInterface, tField.order, tField.name), 0u);
    for (const UserField& tField : FIELDS) {
        kom::HeapString tText;
        EXPECT_EQ(callSlot(tInterface, tField.order + 1, tText.out()), 0u);
        EXPECT_STREQ(tText.c_str(), tField.name);
    }
    const struct {
        uint32_t order;
        const char* fields[2];
    } tPairs[] = {{6, {"FirstName", "LastName"}},
                  {26, {"PostalCode", "POBoxPostalCode"}},
                  {32, {"PrivatePhone", "BusinessPhone"}}};
    for (const auto& tPair : tPairs) {
        kom::HeapString tFirst, tSecond;
        EXPECT_EQ(callSlot(tInterface, tPair.order + 1, tFirst.out(), tSecond.out()), 0u);
        EXPECT_STREQ(tFirst.c_str(), tPair.fields[0]);
        EXPECT_STREQ(tSecond.c_str(), tPair.fields[1]);
        EXPECT_EQ(callSlot(tInterface, tPair.order, "one", "two"), 0u);
        for (const UserField& tField : FIELDS) {
            const std::string_view tName = tField.name;
            if (tName == tPair.fields[0] || tName == tPair.fields[1]) {
                EXPECT_EQ(value(tField), tName == tPair.fields[0] ? "one" : "two") << tName;
            }
        }
    }
    kom::Ref<kom::IUnknown> tUser, tRegDb;
    ASSERT_EQ(mData->queryInterface(fw::IUserData::IID, tUser.out()), 0u);
    ASSERT_EQ(mData->queryInterface(fw::IRegDbUserData::IID, tRegDb.out()), 0u);
    EXPECT_EQ(callSlot(tUser.get(), 1, &(tModifiable = 7)), 0u);
    EXPECT_EQ(tModifiable, 1u);
    EXPECT_EQ(callSlot(tRegDb.get(), 1, static_cast<fw::IApplication*>(mApp.get())), 0x80000100u);
    EXPECT_EQ(callSlot(tRegDb.get(), 2, &(tModifiable = 7)), 0u);
    EXPECT_EQ(tModifiable, 1u);
}

TEST_F(UserDataTest, aNewNameDropsTheSecondName)
{
    start();
    mAddress->setFirstName("A");
    mAddress->setSecondName("X");
    mAddress->setLastName("B");
    const auto tSecondName = [this] { return value(&fw::IAddressData2::getSecondName); };
    EXPECT_EQ(mAddress->setName("A", "B"), 0u);
    EXPECT_EQ(tSecondName(), "X") << "the same name again";
    EXPECT_EQ(mAddress->setName("A", "C"), 0u);
    EXPECT_EQ(tSecondName(), "");
    EXPECT_EQ(value(&fw::IAddressData2::getLastName), "C");
    mAddress->setSecondName("X");
    EXPECT_EQ(mAddress->setName("a", "C"), 0u);
    EXPECT_EQ(tSecondName(), "") << "case counts";
    EXPECT_EQ(value(&fw::IAddressData2::getFirstName), "a");
    mAddress->setSecondName("X");
    EXPECT_EQ(mAddress->setName(nullptr, nullptr), 0u);
    EXPECT_EQ(tSecondName(), "");
    mAddress->setSecondName("X");
    EXPECT_EQ(mAddress->setName(nullptr, ""), 0u);
    EXPECT_EQ(tSecondName(), "X") << "no name is the empty name";
    kom::HeapString tFirst, tLast;
    EXPECT_EQ(mAddress->getName(tFirst.out(), tLast.out()), 0u);
    EXPECT_FALSE(tFirst.isNull() || tLast.isNull());
    EXPECT_TRUE(tFirst.empty() && tLast.empty());
}

TEST_F(UserDataTest, takesNullForEmpty)
{
    start();
    for (const UserField& tField : FIELDS) {
        EXPECT_EQ((mAddress.get()->*tField.set)("text"), 0u);
        EXPECT_EQ((mAddress.get()->*tField.set)(nullptr), 0u);
        EXPECT_EQ(value(tField), "") << tField.name;
    }
    mAddress->setPostalCodes("1", "2");
    mAddress->setPhoneNumbers("3", "4");
    EXPECT_EQ(mAddress->setPostalCodes(nullptr, "2"), 0u);
    EXPECT_EQ(mAddress->setPhoneNumbers("3", nullptr), 0u);
    EXPECT_EQ(value(&fw::IAddressData2::getPostalCode), "");
    EXPECT_EQ(value(&fw::IAddressData2::getPOBoxPostalCode), "2");
    EXPECT_EQ(value(&fw::IAddressData2::getPrivatePhone), "3");
    EXPECT_EQ(value(&fw::IAddressData2::getBusinessPhone), "");
}

TEST_F(UserDataTest, givesBytesBackAsTheyWere)
{
    std::string tBytes;
    for (int i = 1; i < 256; ++i)
        tBytes += static_cast<char>(i);
    const std::string tTexts[] = {tBytes,
                                  "  not trimmed \t",
                                  "\xFF\xFE\x80",
                                  "\xED\xB2\x80 \xC3",
                                  "Gr\xC3\xB6\xC3\x9F"
                                  "e \xF0\x9F\x98\x80",
                                  std::string(1 << 20, 'x') + "\xE9",
                                  std::string(1 << 20, '\xBF')};
    start();
    for (size_t i = 0; i < std::size(tTexts); ++i) {
        const UserField& tField = FIELDS[i];
        EXPECT_EQ((mAddress.get()->*tField.set)(tTexts[i].c_str()), 0u);
    }
    mApp->close();
    start();
    for (size_t i = 0; i < std::size(tTexts); ++i)
        EXPECT_TRUE(value(FIELDS[i]) == tTexts[i]) << i;
}

TEST_F(UserDataTest, isEmptyAndReadOnlyWithoutTheModuleNode)
{
    test::TestSettings tNone;
    mApp = tNone.application();
    EXPECT_EQ(mData->init(mApp.get()), 0u) << "not reported to the caller";
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, OPEN_FAILED), 1u);
    EXPECT_FALSE(isModifiable());
    for (const UserField& tField : FIELDS) {
        EXPECT_EQ(value(tField), "");
        EXPECT_EQ((mAddress.get()->*tField.set)("x"), 0x80000102u) << tField.name;
    }
    EXPECT_EQ(mAddress->setName("x", "y"), 0x80000102u);
    EXPECT_EQ(mAddress->setPostalCodes("x", "y"), 0x80000102u);
    EXPECT_EQ(mAddress->setPhoneNumbers("x", "y"), 0x80000102u);
    mApp->close();
    EXPECT_FALSE(util::Registry::openCurrentUserKOSModule(mApp.get(), "KFW", false).isOpen())
        << "nothing was made";
}

TEST_F(UserDataTest, isReadOnlyWhenItsNodeCannotBeMade)
{
    mSettings.whileReadOnly("", [this] {
        start();
        EXPECT_FALSE(isModifiable());
        EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, OPEN_FAILED), 0u) << "the module's node is there";
        EXPECT_EQ(value(FIELDS[0]), "");
        EXPECT_EQ(mAddress->setSalutation("Dr."), 0x80000102u);
        mApp->close();
    });
    start();
    EXPECT_TRUE(isModifiable());
    EXPECT_EQ(value(FIELDS[0]), "") << "nothing was written";
}

TEST_F(UserDataTest, isReadOnlyWhenItsNodeIs)
{
    start();
    mAddress->setSalutation("Dr.");
    mAddress->setName("First", "Last");
    mApp->close();
    mSettings.whileReadOnly("UserData", [this] {
        start();
        EXPECT_FALSE(isModifiable());
        EXPECT_EQ(mAddress->setSalutation("Prof."), 0x80000102u);
        EXPECT_EQ(mAddress->setName("First", "Last"), 0x80000102u) << "the same name, too";
        EXPECT_EQ(value(&fw::IAddressData2::getSalutation), "Dr.");
        EXPECT_EQ(value(&fw::IAddressData2::getLastName), "Last");
        mApp->close();
        EXPECT_TRUE(mApp->messages(fw::LOG_LEVEL_WARNING).empty()) << "saving was not even tried";
    });
    EXPECT_EQ(mSettings.seenFromOutside("UserData").at("Salutation"), "string:Dr.");
}

TEST_F(UserDataTest, leavesAFieldEmptyWhoseValueIsNoText)
{
    {
        auto tModule = util::Registry::openCurrentUserKOSModule(mApp.get(), "KFW", false);
        auto tNode = tModule.create("UserData", nullptr, false);
        tNode.put("Salutation", true);
        tNode.put("Notes", "kept");
        tNode.put("Unknown", "not ours");
    }
    start();
    EXPECT_EQ(value(&fw::IAddressData2::getSalutation), "");
    EXPECT_EQ(value(&fw::IAddressData2::getNotes), "kept");
    mApp->close();
    const auto tSeen = mSettings.seenFromOutside("UserData");
    EXPECT_EQ(tSeen.at("Salutation"), "string:");
    EXPECT_EQ(tSeen.at("Unknown"), "string:not ours");
}

TEST_F(UserDataTest, diesOfAReleaseTooMany)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto* tData = new RegDbUserData;
            tData->release();
        },
        "");
}

} // namespace

} // namespace vel::kos::kfw
