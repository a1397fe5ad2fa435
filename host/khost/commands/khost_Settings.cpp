// user get, user set, mail get, mail set.
#include <array>
#include <optional>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kfw/ISendMailConfig.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"

namespace vel::kos::host {

namespace {

/// A field that holds a text, or with getFlag and setFlag one that is true or false.
template <class TFace>
struct Field {
    const char* name;
    uint32_t (TFace::*getText)(char**);
    uint32_t (TFace::*setText)(const char*);
    uint32_t (TFace::*getFlag)(uint32_t*) = nullptr;
    uint32_t (TFace::*setFlag)(uint32_t) = nullptr;
};

#define K_TEXT(pFace, pName)                                                                                 \
    Field<fw::pFace> { #pName, &fw::pFace::get##pName, &fw::pFace::set##pName }
#define K_FLAG(pFace, pName)                                                                                 \
    Field<fw::pFace> { #pName, nullptr, nullptr, &fw::pFace::get##pName, &fw::pFace::set##pName }

/// A record: its class, the face that holds the fields, the face that binds it, and the fields in their
/// order.
struct UserRecord {
    using Face = fw::IAddressData2;
    using Binding = fw::IRegDbUserData;
    static constexpr const char* CLASS_ID = fw::CLASS_USER_DATA;
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
    using Face = fw::ISendMailConfig;
    using Binding = fw::IRegDbSendMailConfig;
    static constexpr const char* CLASS_ID = fw::CLASS_SEND_MAIL_CONFIG;
    static constexpr std::array FIELDS = {
        K_TEXT(ISendMailConfig, MailSubject),     K_TEXT(ISendMailConfig, SenderAddress),
        K_TEXT(ISendMailConfig, DefRecipAddress), K_FLAG(ISendMailConfig, SendCC),
        K_FLAG(ISendMailConfig, SendBCC),
    };
};

#undef K_TEXT
#undef K_FLAG

/// The process's one record, bound to the application at first use. Empty after a failure, which has been
/// told.
template <class TRecord>
kom::Ref<typename TRecord::Face> openRecord(Session& pSession)
{
    Application* tApp = pSession.application();
    if (!tApp) return {};
    const auto tBinding = pSession.create<typename TRecord::Binding>(TRecord::CLASS_ID);
    if (!tBinding) return {};
    uint32_t tBound = 0;
    uint32_t tRes = tBinding->isInitialized(&tBound);
    if (!KFAILED(tRes) && !tBound) tRes = tBinding->init(tApp);
    kom::Ref<typename TRecord::Face> tRecord;
    if (!KFAILED(tRes)) tRes = tBinding.query(tRecord);
    if (KFAILED(tRes)) pSession.fail(tRes);
    return tRecord;
}

template <class TRecord>
const Field<typename TRecord::Face>* findField(Session& pSession, const std::string& pName)
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
                           (tField.getFlag ? std::to_string(tFlag) : tText.c_str()) + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
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
    return KFAILED(tRes) ? pSession.fail(tRes, tName) : STATUS_DONE;
}

template <class TRecord>
std::vector<const char*> fieldNames()
{
    std::vector<const char*> tNames;
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
    pTable.push_back({.name = pSet,
                      .summary = "Change a field; saved when the application closes.",
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
