// user get, user set, mail get, mail set.
#include <array>
#include <optional>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kfw/ISendMailConfig.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"
#include "kpr/file.h"
#include "kutil/Registry.h"

namespace vel::kos::host {

namespace {

/// A field that holds a text, or with getFlag and setFlag one that is true or false.
template <class TInterface>
struct Field {
    const char* name;
    uint32_t (TInterface::*getText)(char**);
    uint32_t (TInterface::*setText)(const char*);
    uint32_t (TInterface::*getFlag)(uint32_t*) = nullptr;
    uint32_t (TInterface::*setFlag)(uint32_t) = nullptr;
};

#define K_TEXT(pInterface, pName)                                                                            \
    Field<fw::pInterface> { #pName, &fw::pInterface::get##pName, &fw::pInterface::set##pName }
#define K_FLAG(pInterface, pName)                                                                            \
    Field<fw::pInterface>                                                                                    \
    {                                                                                                        \
#pName, nullptr, nullptr, &fw::pInterface::get##pName, &fw::pInterface::set##pName                   \
    }

/// A record: its class, the interface with the fields, the one that binds it, and the fields in their
/// order.
struct UserRecord {
    using Interface = fw::IAddressData2;
    using Binding = fw::IRegDbUserData;
    static constexpr const char* CLASS_ID = fw::CLASS_USER_DATA;
    static constexpr const char* NODE = "UserData";
    static constexpr std::array FIELDS = {
        K_TEXT(IAddressData2, Salutation),      K_TEXT(IAddressData2, FirstName),
        K_TEXT(IAddressData2, SecondName),      K_TEXT(IAddressData2, LastName),
        K_TEXT(IAddressData2, EmailAddr),       K_TEXT(IAddressData2, Company),
        K_TEXT(IAddressData2, JobFunction),     K_TEXT(IAddressData2, Organization),
        K_TEXT(IAddressData2, Street),          K_TEXT(IAddressData2, City),
        K_TEXT(IAddressData2, StateOrProvince), K_TEXT(IAddressData2, CityCode),
        K_TEXT(IAddressData2, POBox),           K_TEXT(IAddressData2, PostalCode),
        K_TEXT(IAddressData2, POBoxPostalCode), K_TEXT(IAddressData2, Country),
        K_TEXT(IAddressData2, Language),        K_TEXT(IAddressData2, PrivatePhone),
        K_TEXT(IAddressData2, BusinessPhone),   K_TEXT(IAddressData2, Pager),
        K_TEXT(IAddressData2, Mobile),          K_TEXT(IAddressData2, Fax),
        K_TEXT(IAddressData2, WebPage),         K_TEXT(IAddressData2, Custom1),
        K_TEXT(IAddressData2, Custom2),         K_TEXT(IAddressData2, Custom3),
        K_TEXT(IAddressData2, Custom4),         K_TEXT(IAddressData2, Notes),
    };
};

struct MailRecord {
    using Interface = fw::ISendMailConfig;
    using Binding = fw::IRegDbSendMailConfig;
    static constexpr const char* CLASS_ID = fw::CLASS_SEND_MAIL_CONFIG;
    static constexpr const char* NODE = "SendMailConfig";
    static constexpr std::array FIELDS = {
        K_TEXT(ISendMailConfig, MailSubject),     K_TEXT(ISendMailConfig, SenderAddress),
        K_TEXT(ISendMailConfig, DefRecipAddress), K_FLAG(ISendMailConfig, SendCC),
        K_FLAG(ISendMailConfig, SendBCC),
    };
};

#undef K_TEXT
#undef K_FLAG

/// Opens a record's node as it is in the store, for reading. False when there is a store that cannot be read:
/// the module takes it for an empty one.
template <class TRecord>
bool openNode(Application* pApp, util::RegNode& pNode)
{
    kom::HeapString tFile;
    KprFileInfo tInfo = {};
    const uint32_t tRes = pApp->getSettingsFile(tFile.out());
    util::RegNode tModule = util::Registry::openCurrentUserKOSModule(pApp, "KFW", false);
    pNode = tModule.create(TRecord::NODE, nullptr, true);
    // Without a file there are no settings; where they are no file, the host has made the module's node.
    return tModule.isOpen() || (!KFAILED(tRes) && !tFile.empty() &&
                                kprGetFileInfo(tFile.c_str(), KPR_INFO_KIND, &tInfo) == KPR_E_NOT_FOUND);
}

/// The process's one record, bound to the application at first use. Empty after a failure, which has been
/// reported.
template <class TRecord>
kom::Ref<typename TRecord::Interface> openRecord(Session& pSession)
{
    Application* tApp = pSession.application();
    if (!tApp) return {};
    util::RegNode tNode;
    if (!openNode<TRecord>(tApp, tNode)) {
        pSession.fail(E_FAIL, "the settings store cannot be read");
        return {};
    }
    const auto tBinding = pSession.create<typename TRecord::Binding>(TRecord::CLASS_ID);
    if (!tBinding) return {};
    uint32_t tBound = 0;
    uint32_t tRes = tBinding->isInitialized(&tBound);
    if (!KFAILED(tRes) && !tBound) tRes = tBinding->init(tApp);
    kom::Ref<typename TRecord::Interface> tRecord;
    if (!KFAILED(tRes)) tRes = tBinding.query(tRecord);
    if (KFAILED(tRes)) pSession.fail(tRes);
    return tRecord;
}

template <class TRecord>
const Field<typename TRecord::Interface>* findField(Session& pSession, const std::string& pName)
{
    for (const auto& tField : TRecord::FIELDS)
        if (pName == tField.name) return &tField;
    pSession.usage("there is no field \"" + pName + "\"");
    return nullptr;
}

std::optional<uint32_t> parseFlag(const std::string& pText)
{
    if (pText == "1" || pText == "true") return 1;
    if (pText == "0" || pText == "false") return 0;
    return {};
}

/// Prints one field, or all for an empty name.
template <class TRecord>
int showFields(Session& pSession, const Arguments& pArguments)
{
    const std::string& tName = pArguments.text("FIELD");
    const auto* tOnly = tName.empty() ? nullptr : findField<TRecord>(pSession, tName);
    if (!tName.empty() && !tOnly) return STATUS_USAGE;
    const auto tRecord = openRecord<TRecord>(pSession);
    if (!tRecord) return STATUS_FAILED;
    Json tJson = Json::object();
    for (const auto& tField : TRecord::FIELDS) {
        if (tOnly && &tField != tOnly) continue;
        kom::HeapString tText;
        uint32_t tFlag = 0;
        const uint32_t tRes = tField.getFlag ? (tRecord.get()->*tField.getFlag)(&tFlag)
                                             : (tRecord.get()->*tField.getText)(tText.out());
        if (KFAILED(tRes)) return pSession.fail(tRes, tField.name);
        if (tField.getFlag)
            tJson.set(tField.name, tFlag != 0);
        else
            tJson.set(tField.name, tText.c_str());
        if (!pSession.json())
            pSession.print(std::string(tField.name) + "=" +
                           (tField.getFlag ? std::to_string(tFlag) : pSession.shown(tText.c_str())) + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

/// Whether the store has the value that was set.
template <class TRecord>
bool isSaved(Application* pApp, const char* pField, bool pIsFlag, const std::string& pValue)
{
    util::RegNode tNode;
    openNode<TRecord>(pApp, tNode);
    std::string tText;
    bool tFlag = false;
    return pIsFlag ? !KFAILED(tNode.get(pField, &tFlag)) && tFlag == (parseFlag(pValue) == 1u)
                   : !KFAILED(tNode.get(pField, &tText)) && tText == pValue;
}

template <class TRecord>
int setField(Session& pSession, const Arguments& pArguments)
{
    const std::string& tName = pArguments.text("FIELD");
    const std::string& tValue = pArguments.text("VALUE");
    const auto* tField = findField<TRecord>(pSession, tName);
    if (!tField) return STATUS_USAGE;
    const auto tFlag = parseFlag(tValue);
    if (tField->setFlag && !tFlag) return pSession.usage(tName + " is 0 or 1");
    const auto tRecord = openRecord<TRecord>(pSession);
    if (!tRecord) return STATUS_FAILED;
    const uint32_t tRes = tField->setFlag ? (tRecord.get()->*tField->setFlag)(*tFlag)
                                          : (tRecord.get()->*tField->setText)(tValue.c_str());
    if (KFAILED(tRes)) return pSession.fail(tRes, tName);
    pSession.checkAfterClose(std::string(TRecord::NODE) + "/" + tName, [&pSession, tField, tValue] {
        if (isSaved<TRecord>(pSession.application(), tField->name, tField->setFlag != nullptr, tValue))
            return int(STATUS_DONE);
        return pSession.fail(E_FAIL, std::string(tField->name) + " was not saved");
    });
    return STATUS_DONE;
}

template <class TRecord>
std::vector<const char*> fieldNames()
{
    std::vector<const char*> tNames;
    tNames.reserve(std::size(TRecord::FIELDS));
    for (const auto& tField : TRecord::FIELDS)
        tNames.push_back(tField.name);
    return tNames;
}

/// The group NAME with its commands "NAME get" and "NAME set".
template <class TRecord>
void addRecordCommands(std::vector<Command>& pTable, const char* pGroup, const char* pSummary,
                       const char* pGet, const char* pSet, const Example& pExample)
{
    Positional tField = {.name = "FIELD",
                         .help = "Which one; all unless given",
                         .count = Positional::OPTIONAL,
                         .words = fieldNames<TRecord>()};
    pTable.push_back({.name = pGroup, .summary = pSummary});
    pTable.push_back({.name = pGet,
                      .summary = "Print the fields, or one of them.",
                      .run = showFields<TRecord>,
                      .positionals = {tField},
                      .json = {.shape = "an object: the fields in the record's order, texts as strings and "
                                        "those that are 0 or 1 as booleans"}});
    tField.help = "Which one";
    tField.count = Positional::REQUIRED;
    pTable.push_back(
        {.name = pSet,
         .summary = "Change a field; saved when the application closes. Status 1 when it could not be saved.",
         .run = setField<TRecord>,
         .positionals = {tField, {.name = "VALUE", .help = "Its new value"}},
         .examples = {pExample}});
}

} // namespace

void addSettingsCommands(std::vector<Command>& pTable)
{
    addRecordCommands<UserRecord>(pTable, "user", "The current user's personal and postal data.", "user get",
                                  "user set", {"khost user set City Lyon", "change one field"});
    addRecordCommands<MailRecord>(pTable, "mail", "The current user's settings for sending mail.", "mail get",
                                  "mail set", {"khost mail set SendCC 1", "change one field"});
}

} // namespace vel::kos::host
