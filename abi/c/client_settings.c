// The user's data and the settings for sending mail.
#include <string.h>

#include "client.h"
#include "client_host.h"

/// Takes the hook that an initialisation has enrolled, and has it save as a closing application does.
static void close(void)
{
    int32_t tOrder = 0;
    IAppCloseHook* tHook = takeHook(&tOrder);
    if (!CHECK(tHook != NULL)) return;
    CHECK(tOrder == 8500);
    UNKNOWN(IAppCloseHook, tHook);
    CODE(SLOT(IAppCloseHook, tHook, onAppClose)(tHook), 0);
    CHECK(release(tHook) == 1); // the settings keep it
    DEMAND(IAppCloseHook);
}

// The pairs of operations on one field, and on two.
// clang-format off
#define FIELDS(X) \
    X(Salutation) X(EmailAddr) X(Company) X(JobFunction) X(Organization) X(Street) X(City) X(StateOrProvince) \
    X(CityCode) X(POBox) X(Country) X(Language) X(Fax)
#define DOUBLE_FIELDS(X) X(Name) X(PostalCodes) X(PhoneNumbers)
#define LATER_FIELDS(X) \
    X(FirstName) X(SecondName) X(LastName) X(PrivatePhone) X(BusinessPhone) X(Pager) X(Mobile) X(PostalCode) \
    X(POBoxPostalCode) X(WebPage) X(Custom1) X(Custom2) X(Custom3) X(Custom4) X(Notes)
// clang-format on

#define ADDRESS(pOperation) SLOT(IAddressData, tAddress, pOperation)
#define SET(pField) CODE(ADDRESS(set##pField)(tAddress, "1: " #pField), 0);
#define GET(pField)                                                                                          \
    CODE(ADDRESS(get##pField)(tAddress, &tText), 0);                                                         \
    TEXT(tText, "1: " #pField);
#define SET_TWO(pField) CODE(ADDRESS(set##pField)(tAddress, "first " #pField, "second " #pField), 0);
#define GET_TWO(pField)                                                                                      \
    CODE(ADDRESS(get##pField)(tAddress, &tText, &tSecond), 0);                                               \
    TEXT(tText, "first " #pField);                                                                           \
    TEXT(tSecond, "second " #pField);

static void driveAddressData(IAddressData* tAddress)
{
    // One interface serves both revisions, and names the later one.
    checkUnknown(tAddress, "IAddressData", IID_IAddressData, IID_IAddressData2);
    char *tText = NULL, *tSecond = NULL;
    uint32_t tModifiable = 0;
    CODE(ADDRESS(isModifiable)(tAddress, &tModifiable), 0);
    CHECK(tModifiable == 1);
    CODE(ADDRESS(unsupportedOp1)(tAddress), E_NOT_SUPPORTED);
    CODE(ADDRESS(unsupportedOp2)(tAddress), E_NOT_SUPPORTED);
    FIELDS(SET)
    DOUBLE_FIELDS(SET_TWO)
    FIELDS(GET)
    DOUBLE_FIELDS(GET_TWO)
    DEMAND(IAddressData);
}

#undef ADDRESS
#define ADDRESS(pOperation) SLOT(IAddressData2, tAddress, pOperation)
#undef GET_TWO
#define GET_TWO(pField)                                                                                      \
    CODE(ADDRESS(get##pField)(tAddress, &tText, &tSecond), 0);                                               \
    komFree(tText);                                                                                          \
    komFree(tSecond);

static void driveAddressData2(IAddressData2* tAddress)
{
    checkUnknown(tAddress, "IAddressData2", IID_IAddressData2, IID_IAddressData2);
    char *tText = NULL, *tSecond = NULL;
    uint32_t tModifiable = 0;
    CODE(ADDRESS(isModifiable)(tAddress, &tModifiable), 0);
    CHECK(tModifiable == 1);
    CODE(ADDRESS(unsupportedOp1)(tAddress), E_NOT_SUPPORTED);
    CODE(ADDRESS(unsupportedOp2)(tAddress), E_NOT_SUPPORTED);
    DOUBLE_FIELDS(SET_TWO)
    FIELDS(SET)
    LATER_FIELDS(SET)
    FIELDS(GET)
    LATER_FIELDS(GET)
    CODE(ADDRESS(getName)(tAddress, &tText, &tSecond), 0);
    TEXT(tText, "1: FirstName");
    TEXT(tSecond, "1: LastName");
    DOUBLE_FIELDS(GET_TWO)
    CODE(ADDRESS(getNotes)(tAddress, NULL), E_INVALIDARG);
    DEMAND(IAddressData2);
}

void driveUserData(void)
{
    IUserData* tUser = makeObject("RegDbUserData", CLASS_USER_DATA, IID_IUserData, true);
    UNKNOWN(IUserData, tUser);
    IRegDbUserData* tStore = interfaceOf(tUser, IID_IRegDbUserData);
    UNKNOWN(IRegDbUserData, tStore);
    IAddressData2* tAddress = interfaceOf(tUser, IID_IAddressData2);
    IAddressData* tOldAddress = interfaceOf(tUser, IID_IAddressData);
    CHECK((void*)tAddress == (void*)tOldAddress);

    uint32_t tAnswer = 9;
    char* tText = (char*)gFolder;
    CODE(SLOT(IRegDbUserData, tStore, isInitialized)(tStore, &tAnswer), 0);
    CHECK(tAnswer == 0);
    CODE(SLOT(IAddressData2, tAddress, getCity)(tAddress, &tText), E_WRONG_STATE);
    CHECK(tText == NULL);
    CODE(SLOT(IRegDbUserData, tStore, init)(tStore, host()), 0);
    CODE(SLOT(IRegDbUserData, tStore, init)(tStore, host()), E_WRONG_STATE);
    CODE(SLOT(IRegDbUserData, tStore, isInitialized)(tStore, &tAnswer), 0);
    CHECK(tAnswer == 1);
    tAnswer = 9;
    CODE(SLOT(IUserData, tUser, isModifiable)(tUser, &tAnswer), 0);
    CHECK(tAnswer == 1);

    driveAddressData(tOldAddress);
    driveAddressData2(tAddress);
    close();
    CHECK(release(tOldAddress) == 4);
    CHECK(release(tAddress) == 3);
    CHECK(release(tStore) == 2);
    CHECK(release(tUser) == 1); // the holder's
    DEMAND(IUserData);
    DEMAND(IRegDbUserData);
}

#define MAIL(pOperation) SLOT(ISendMailConfig, tMail, pOperation)

void driveSendMailConfig(void)
{
    ISendMailConfig* tMail =
        makeObject("RegDbSendMailConfig", CLASS_SEND_MAIL_CONFIG, IID_ISendMailConfig, true);
    UNKNOWN(ISendMailConfig, tMail);
    IRegDbSendMailConfig* tStore = interfaceOf(tMail, IID_IRegDbSendMailConfig);
    UNKNOWN(IRegDbSendMailConfig, tStore);
    uint32_t tAnswer = 9;
    CODE(SLOT(IRegDbSendMailConfig, tStore, isInitialized)(tStore, &tAnswer), 0);
    CHECK(tAnswer == 0);
    CODE(MAIL(setMailSubject)(tMail, "early"), E_WRONG_STATE);
    CODE(SLOT(IRegDbSendMailConfig, tStore, init)(tStore, host()), 0);
    CODE(MAIL(isModifiable)(tMail, &tAnswer), 0);
    CHECK(tAnswer == 1);

    // A user without settings sends blind copies, and no visible ones.
    CODE(MAIL(getSendCC)(tMail, &tAnswer), 0);
    CHECK(tAnswer == 0);
    CODE(MAIL(getSendBCC)(tMail, &tAnswer), 0);
    CHECK(tAnswer == 1);
    CODE(MAIL(setSendCC)(tMail, 7), 0);
    CODE(MAIL(setSendBCC)(tMail, 0), 0);
    CODE(MAIL(getSendCC)(tMail, &tAnswer), 0);
    CHECK(tAnswer == 1);
    CODE(MAIL(getSendBCC)(tMail, &tAnswer), 0);
    CHECK(tAnswer == 0);

    char* tText = NULL;
    CODE(MAIL(setMailSubject)(tMail, "a subject"), 0);
    CODE(MAIL(setSenderAddress)(tMail, "me@example.org"), 0);
    CODE(MAIL(setDefRecipAddress)(tMail, "you@example.org"), 0);
    CODE(MAIL(getMailSubject)(tMail, &tText), 0);
    TEXT(tText, "a subject");
    CODE(MAIL(getSenderAddress)(tMail, &tText), 0);
    TEXT(tText, "me@example.org");
    CODE(MAIL(getDefRecipAddress)(tMail, &tText), 0);
    TEXT(tText, "you@example.org");

    close();
    CHECK(release(tStore) == 2);
    CHECK(release(tMail) == 1); // the holder's
    DEMAND(ISendMailConfig);
    DEMAND(IRegDbSendMailConfig);
}
