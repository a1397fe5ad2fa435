#include "host/khost/khost_SqlSession.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include "host/khost/khost_Console.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Session.h"
#include "host/khost/khost_Words.h"
#include "kfw/classes.h"
#include "kfw/sql/driver.h"
#include "kgen/escape.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/text.h"

namespace vel::kos::host {

namespace {

/// Loads a driver module, for the rest of the process, and has it announce its factories, once: a module is
/// the same by whatever path it was given.
uint32_t loadDriver(sql::ISqlDatabaseFactoryRegistry* pRegistry, const std::string& pPath)
{
    static std::set<KprDSO> sLoaded;
    KprDSO tModule = 0;
    if (auto tRes = kprOpenDSO(pPath.c_str(), 0, &tModule); KFAILED(tRes)) return tRes;
    void* tAnnounce = nullptr;
    uint32_t tRes = 0;
    if (sLoaded.contains(tModule)) {
        kprCloseDSO(tModule);
    } else if (KFAILED(kprGetDSOSymbol(tModule, sql::ANNOUNCE_FACTORIES, &tAnnounce))) {
        kprCloseDSO(tModule);
        tRes = KOM_E_NOT_A_MODULE;
    } else {
        tRes = reinterpret_cast<sql::AnnounceFactories>(tAnnounce)(pRegistry);
        if (!KFAILED(tRes)) sLoaded.insert(tModule);
    }
    return tRes;
}

/// The modules in the folder "drivers" beside the module that provides the registry.
std::vector<std::string> installedDrivers(Session& pSession)
{
    std::string tModule, tFolder;
    KomClassList* tClasses = nullptr;
    if (!KFAILED(komListClasses(&tClasses))) {
        for (uint32_t i = 0; i < tClasses->count; ++i)
            if (std::string_view(tClasses->classes[i].classId) == fw::CLASS_SQL_FACTORY_REGISTRY)
                tModule = tClasses->classes[i].modulePath;
        komFree(tClasses);
    }
    // Without a class registry the module is the one that would be registered.
    if (tModule.empty() && !pSession.findModule("", tModule)) return {};
    if (!KFAILED(kpr::readText(tFolder, kprGetDirname, tModule.c_str())))
        tFolder = joinPath(tFolder, "drivers");

    std::set<std::string> tPaths;
    KprDir tDir;
    if (tFolder.empty() || KFAILED(kprOpenDir(tFolder.c_str(), &tDir))) return {};
    char tName[1024];
    while (!KFAILED(kprReadDir(tDir, tName, sizeof tName, nullptr)))
        if (std::string_view(tName).ends_with(kprGetDSOSuffix())) tPaths.insert(joinPath(tFolder, tName));
    kprCloseDir(tDir);
    return {tPaths.begin(), tPaths.end()};
}

/// A driver's text on one line.
std::string onOneLine(std::string_view pText)
{
    std::string tLine;
    for (const char tChar : pText) {
        const bool tBlank = tChar == '\n' || tChar == '\r' || tChar == '\t' || tChar == ' ';
        if (!tBlank)
            tLine += tChar;
        else if (!tLine.empty() && tLine.back() != ' ')
            tLine += ' ';
    }
    return tLine;
}

/// Why the first factory that could not open the description could not, or else where the description does
/// not follow the grammar; in the driver's words, and *pFailed tells which.
std::string createError(sql::ISqlDatabaseFactoryRegistry* pRegistry, bool* pFailed)
{
    std::string tDeclined;
    for (const std::string& tType : sqlTypes(pRegistry)) {
        kom::Ref<sql::ISqlDatabaseFactory> tFactory;
        sql::SqlError tError{};
        if (KFAILED(pRegistry->getFactory(tType.c_str(), tFactory.out())) ||
            KFAILED(tFactory->getCreateError(&tError)))
            continue;
        std::string tText = tError.mText ? tError.mText : "";
        komFree(tError.mText);
        if (tError.mSqlState[0]) tText = "[" + std::string(tError.mSqlState) + "] " + tText;
        if (tError.mCode) return *pFailed = true, onOneLine(tText);
        if (tDeclined.empty()) tDeclined = onOneLine(tText);
    }
    *pFailed = false;
    return tDeclined;
}

/// The description as given, or from where it says: "@FILE", "@-" or "env:NAME". Nothing after a failure,
/// which has been reported; *pStatus is then the exit status.
std::optional<std::string> description(Session& pSession, const std::string& pGiven, int* pStatus)
{
    std::string tText = pGiven;
    if (pGiven.starts_with("env:")) {
        const uint32_t tRes = kpr::readText(tText, kprGetEnvironment, pGiven.c_str() + 4);
        if (KFAILED(tRes))
            return pSession.fail(tRes, "the variable " + shownWord(pGiven.substr(4))), std::nullopt;
    } else if (pGiven.starts_with("@")) {
        if (pGiven == "@-" && pSession.inShell())
            return *pStatus = pSession.usage("standard input holds the commands of the shell"), std::nullopt;
        fw::CacheBytes tBytes{};
        const uint32_t tRes =
            pGiven == "@-" ? readWholeInput(&tBytes) : readWholeFile(pGiven.substr(1), &tBytes);
        if (KFAILED(tRes)) return pSession.fail(tRes, shownWord(pGiven.substr(1))), std::nullopt;
        tText.assign(static_cast<const char*>(static_cast<const void*>(tBytes.mData)), tBytes.mSize);
    }
    return tText;
}

struct TypeName {
    const char* name;
    uint32_t type;
};

constexpr TypeName TYPES[] = {
    {"null", sql::SQL_VALUE_NULL}, {"int", sql::SQL_VALUE_INTEGER}, {"double", sql::SQL_VALUE_DOUBLE},
    {"text", sql::SQL_VALUE_TEXT}, {"bytes", sql::SQL_VALUE_BYTES}, {"decimal", sql::SQL_VALUE_DECIMAL},
    {"date", sql::SQL_VALUE_DATE}, {"time", sql::SQL_VALUE_TIME},   {"timestamp", sql::SQL_VALUE_TIMESTAMP},
};

template <class TNumber>
bool readNumber(const std::string& pText, TNumber& pNumber)
{
    const auto tEnd = pText.data() + pText.size();
    const auto tRead = std::from_chars(pText.data(), tEnd, pNumber);
    return !pText.empty() && tRead.ec == std::errc() && tRead.ptr == tEnd;
}

/// A value of --param, with its data. What is wrong with it, or "".
std::string readValue(const std::string& pText, sql::SqlValue& pValue, std::string& pData)
{
    const auto tColon = pText.find(':');
    const auto tType = std::find_if(std::begin(TYPES), std::end(TYPES), [&](const TypeName& pRow) {
        return tColon != std::string::npos && pText.compare(0, tColon, pRow.name) == 0;
    });
    pValue = sql::nullValue();
    if (tType == std::end(TYPES)) {
        // Without a type: what it looks like.
        if (readNumber(pText, pValue.mInteger)) {
            pValue = sql::integerValue(pValue.mInteger);
        } else if (const bool tFinite = pText.find_first_not_of("+-.0123456789eE") == std::string::npos;
                   tFinite && readNumber(pText, pValue.mDouble)) {
            pValue = sql::doubleValue(pValue.mDouble);
        } else {
            pData = pText;
            pValue = sql::dataValue(sql::SQL_VALUE_TEXT, pData.data(), pData.size());
        }
        return {};
    }
    pData = pText.substr(tColon + 1);
    pValue.mType = tType->type;
    if (tType->type == sql::SQL_VALUE_NULL) return pData.empty() ? "" : "nothing follows \"null:\"";
    if (tType->type == sql::SQL_VALUE_INTEGER)
        return readNumber(pData, pValue.mInteger) ? "" : "not a whole number";
    if (tType->type == sql::SQL_VALUE_DOUBLE) return readNumber(pData, pValue.mDouble) ? "" : "not a number";
    if (tType->type == sql::SQL_VALUE_BYTES) {
        std::string tBytes;
        for (size_t i = 0; i < pData.size(); i += 2) {
            unsigned tByte = 0;
            const auto tEnd = pData.data() + std::min(i + 2, pData.size());
            const auto tRead = std::from_chars(pData.data() + i, tEnd, tByte, 16);
            if (i + 2 > pData.size() || tRead.ec != std::errc() || tRead.ptr != tEnd)
                return "bytes are pairs of hexadecimal digits";
            tBytes += static_cast<char>(tByte);
        }
        pData = tBytes;
    }
    pValue = sql::dataValue(tType->type, pData.data(), pData.size());
    return {};
}

/// The line of a text in which a byte stands, and below it a mark under the byte.
std::string marked(const std::string& pText, size_t pPosition)
{
    const size_t tAt = std::min(pPosition, pText.size());
    const size_t tStart = tAt == 0 ? 0 : pText.rfind('\n', tAt - 1) + 1;
    const std::string tLine = pText.substr(tStart, pText.find('\n', tStart) - tStart);
    std::string tBefore = tLine.substr(0, tAt - tStart), tMark;
    for (const char tChar : kgen::escapeControls(tBefore))
        if ((static_cast<unsigned char>(tChar) & 0xC0) != 0x80) tMark += ' ';
    return "  " + kgen::escapeControls(tLine) + "\n  " + tMark + "^\n";
}

} // namespace

SqlRegistry openSqlRegistry(Session& pSession, const Arguments& pArguments)
{
    auto tRegistry = pSession.create<sql::ISqlDatabaseFactoryRegistry>(fw::CLASS_SQL_FACTORY_REGISTRY);
    if (!tRegistry) return {};
    for (const std::string& tPath : pArguments.list("--driver"))
        if (auto tRes = loadDriver(tRegistry.get(), tPath); KFAILED(tRes)) {
            pSession.fail(tRes, shownWord(tPath));
            return {};
        }
    if (pArguments.list("--driver").empty())
        for (const std::string& tPath : installedDrivers(pSession))
            if (auto tRes = loadDriver(tRegistry.get(), tPath); KFAILED(tRes)) pSession.fail(tRes, tPath);
    return tRegistry;
}

std::vector<std::string> sqlTypes(sql::ISqlDatabaseFactoryRegistry* pRegistry)
{
    sql::StringList tList;
    std::vector<std::string> tTypes;
    pRegistry->getDatabaseTypes(&tList);
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        tTypes.emplace_back(tList.mStrings[i]);
        komFree(tList.mStrings[i]);
    }
    komFree(tList.mStrings);
    return tTypes;
}

kom::Ref<sql::ISqlDatabase> openSqlDatabase(Session& pSession, const Arguments& pArguments, int* pStatus)
{
    *pStatus = STATUS_FAILED;
    const auto tDescription = description(pSession, pArguments.text("DESCRIPTION"), pStatus);
    if (!tDescription) return {};
    const SqlRegistry tRegistry = openSqlRegistry(pSession, pArguments);
    if (!tRegistry) return {};
    kom::Ref<sql::ISqlDatabase> tDatabase;
    const uint32_t tRes = tRegistry->createDatabase(tDescription->c_str(), tDatabase.out());
    if (tDatabase) {
        uint32_t tTimeout = 0;
        if (pArguments.has("--timeout") && readNumber(pArguments.text("--timeout"), tTimeout))
            tDatabase->setTimeout(tTimeout);
        return tDatabase;
    }
    bool tFailed = false;
    const std::string tError = createError(tRegistry.get(), &tFailed);
    if (KFAILED(tRes)) {
        pSession.fail(tRes, tError);
        return {};
    }
    std::string tTypes;
    for (const std::string& tType : sqlTypes(tRegistry.get()))
        tTypes += (tTypes.empty() ? "" : ", ") + tType;
    pSession.fail(E_NOT_SUPPORTED, (tError.empty() ? "no driver takes the description" : tError) +
                                       "; it says type=NAME, with one of: " +
                                       (tTypes.empty() ? std::string("(no driver is loaded)") : tTypes));
    return {};
}

int failSql(Session& pSession, sql::ISqlDatabase* pDatabase, uint32_t pCode, const std::string& pStatement)
{
    sql::SqlError tError{};
    pDatabase->getError(&tError);
    std::string tText = tError.mText ? onOneLine(tError.mText) : "";
    komFree(tError.mText);
    if (tError.mSqlState[0]) tText = "[" + std::string(tError.mSqlState) + "] " + tText;
    const int tStatus = pSession.fail(pCode, tText);
    if (tError.mPosition >= 0)
        writeStream(Stream::ERRORS, marked(pStatement, static_cast<size_t>(tError.mPosition)));
    return tStatus;
}

std::string checkSqlParameter(const std::string& pText)
{
    if (!pText.starts_with(':')) {
        sql::SqlValue tValue;
        std::string tData;
        return readValue(pText, tValue, tData);
    }
    const auto tEquals = pText.find('=');
    if (tEquals == std::string::npos || tEquals < 2) return "a parameter with a name is given as :NAME=VALUE";
    sql::SqlValue tValue;
    std::string tData;
    return readValue(pText.substr(tEquals + 1), tValue, tData);
}

bool bindSqlParameters(Session& pSession, const Arguments& pArguments, sql::ISqlDatabase* pDatabase,
                       sql::ISqlStatement* pStatement, const std::string& pText, int* pStatus)
{
    uint32_t tPlace = 0;
    for (const std::string& tText : pArguments.list("--param")) {
        const bool tNamed = tText.starts_with(':');
        const auto tEquals = tNamed ? tText.find('=') : 0;
        sql::SqlValue tValue;
        std::string tData;
        readValue(tNamed ? tText.substr(tEquals + 1) : tText, tValue, tData);
        const uint32_t tRes = tNamed ? pStatement->bindName(tText.substr(0, tEquals).c_str(), &tValue)
                                     : pStatement->bind(tPlace++, &tValue);
        if (!KFAILED(tRes)) continue;
        *pStatus = failSql(pSession, pDatabase, tRes, pText);
        return false;
    }
    return true;
}

} // namespace vel::kos::host
