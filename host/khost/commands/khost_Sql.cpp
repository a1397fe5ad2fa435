// sql types, sql query.
#include <set>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kfw/classes.h"
#include "kfw/sql/driver.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/path.h"

namespace vel::kos::host {

namespace {

using Registry = kom::Ref<sql::ISqlDatabaseFactoryRegistry>;

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
    if (!KFAILED(fetchPath(tFolder, [&](char* pBuffer, uint32_t pSize) {
            return kprGetDirname(tModule.c_str(), pBuffer, pSize);
        })))
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

/// The registry with every driver in it; empty after a failure, which has been told. A driver of the folder
/// that does not load is told of and left out, one that was asked for is a failure.
Registry openRegistry(Session& pSession, const Arguments& pArguments)
{
    auto tRegistry = pSession.create<sql::ISqlDatabaseFactoryRegistry>(fw::CLASS_SQL_FACTORY_REGISTRY);
    if (!tRegistry) return {};
    for (const std::string& tPath : pArguments.list("--driver"))
        if (auto tRes = loadDriver(tRegistry.get(), tPath); KFAILED(tRes)) {
            pSession.fail(tRes, tPath);
            return {};
        }
    if (pArguments.list("--driver").empty())
        for (const std::string& tPath : installedDrivers(pSession))
            if (auto tRes = loadDriver(tRegistry.get(), tPath); KFAILED(tRes)) pSession.fail(tRes, tPath);
    return tRegistry;
}

std::vector<std::string> databaseTypes(sql::ISqlDatabaseFactoryRegistry* pRegistry)
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

/// Why the first factory that could not open the description could not, in its driver's words.
std::string createError(sql::ISqlDatabaseFactoryRegistry* pRegistry)
{
    for (const std::string& tType : databaseTypes(pRegistry)) {
        kom::Ref<sql::ISqlDatabaseFactory> tFactory;
        kom::HeapString tText;
        if (!KFAILED(pRegistry->getFactory(tType.c_str(), tFactory.out())) &&
            !KFAILED(tFactory->getCreateError(tText.out())) && !tText.empty())
            return tText.c_str();
    }
    return {};
}

int types(Session& pSession, const Arguments& pArguments)
{
    const Registry tRegistry = openRegistry(pSession, pArguments);
    if (!tRegistry) return STATUS_FAILED;
    const auto tTypes = databaseTypes(tRegistry.get());
    if (pSession.json()) pSession.printJson(tTypes);
    for (const std::string& tType : tTypes)
        if (!pSession.json()) pSession.print(tType + "\n");
    return STATUS_DONE;
}

/// A value in a tab-separated line: "\N" for null, and tabs, line breaks and backslashes as \t, \n, \r and
/// \\.
std::string fieldText(const kom::HeapString& pValue)
{
    if (pValue.isNull()) return "\\N";
    std::string tText;
    for (const char* tChar = pValue.c_str(); *tChar; ++tChar) {
        switch (*tChar) {
        case '\t':
            tText += "\\t";
            break;
        case '\n':
            tText += "\\n";
            break;
        case '\r':
            tText += "\\r";
            break;
        case '\\':
            tText += "\\\\";
            break;
        default:
            tText += *tChar;
        }
    }
    return tText;
}

/// Prints the current row, or adds it to the array.
uint32_t takeRow(Session& pSession, sql::ISqlRows* pRows, const std::vector<std::string>& pColumns,
                 Json& pJson)
{
    std::string tLine;
    auto tObject = Json::object();
    for (uint32_t i = 0; i < pColumns.size(); ++i) {
        kom::HeapString tValue;
        if (auto tRes = pRows->getText(i, tValue.out()); KFAILED(tRes)) return tRes;
        if (pSession.json())
            tObject.set(pColumns[i], tValue.isNull() ? Json() : Json(tValue.c_str()));
        else
            tLine += (i ? "\t" : "") + fieldText(tValue);
    }
    if (pSession.json())
        pJson.add(std::move(tObject));
    else
        pSession.print(tLine + "\n");
    return 0;
}

/// Numbers names that occur again: "a", "a:2".
void makeUnique(std::vector<std::string>& pNames)
{
    std::set<std::string> tTaken;
    for (std::string& tName : pNames) {
        std::string tUnique = tName;
        for (unsigned i = 2; !tTaken.insert(tUnique).second; ++i)
            tUnique = tName + ":" + std::to_string(i);
        tName = std::move(tUnique);
    }
}

uint32_t printRows(Session& pSession, sql::ISqlRows* pRows)
{
    uint32_t tCount = 0, tRow = 0;
    if (auto tRes = pRows->getColumnCount(&tCount); KFAILED(tRes)) return tRes;
    std::vector<std::string> tColumns;
    for (uint32_t i = 0; i < tCount; ++i) {
        kom::HeapString tName;
        if (auto tRes = pRows->getColumnName(i, tName.out()); KFAILED(tRes)) return tRes;
        tColumns.emplace_back(tName.c_str());
    }
    if (pSession.json()) makeUnique(tColumns);
    auto tJson = Json::array();
    for (;;) {
        if (auto tRes = pRows->next(&tRow); KFAILED(tRes)) return tRes;
        if (!tRow) break;
        if (auto tRes = takeRow(pSession, pRows, tColumns, tJson); KFAILED(tRes)) return tRes;
    }
    if (pSession.json()) pSession.printJson(tJson);
    return 0;
}

int query(Session& pSession, const Arguments& pArguments)
{
    const Registry tRegistry = openRegistry(pSession, pArguments);
    if (!tRegistry) return STATUS_FAILED;
    kom::Ref<sql::ISqlDatabase> tDatabase;
    if (auto tRes = tRegistry->createDatabase(pArguments.text("DESCRIPTION").c_str(), tDatabase.out());
        KFAILED(tRes))
        return pSession.fail(tRes, onOneLine(createError(tRegistry.get())));
    if (!tDatabase) {
        std::string tTypes;
        for (const std::string& tType : databaseTypes(tRegistry.get()))
            tTypes += (tTypes.empty() ? "" : ", ") + tType;
        return pSession.fail(E_NOT_SUPPORTED,
                             "no driver takes the description; it says type=NAME, with one of: " +
                                 (tTypes.empty() ? std::string("(no driver is loaded)") : tTypes));
    }
    kom::Ref<sql::ISqlRows> tRows;
    uint32_t tRes = tDatabase->query(pArguments.text("SQL").c_str(), nullptr, tRows.out());
    if (!KFAILED(tRes)) tRes = printRows(pSession, tRows.get());
    if (!KFAILED(tRes)) return STATUS_DONE;
    kom::HeapString tText;
    tDatabase->getErrorText(tText.out());
    return pSession.fail(tRes, onOneLine(tText.c_str()));
}

} // namespace

void addSqlCommands(std::vector<Command>& pTable)
{
    const Option tDriver = {.names = "--driver",
                            .value = "FILE",
                            .help = "A driver module to use, instead of those in the folder \"drivers\"",
                            .repeatable = true,
                            .completes = Completes::FILES};
    pTable.insert(
        pTable.end(),
        {{.name = "sql", .summary = "Use databases through the registered drivers."},
         {.name = "sql types",
          .summary = "List the database types.",
          .run = types,
          .options = {tDriver},
          .json = {.shape = "an array of strings"},
          .effect = Command::LOOKS},
         {.name = "sql query",
          .summary = "Run one statement and print its rows, tab-separated.",
          .run = query,
          .positionals = {{.name = "DESCRIPTION", .help = "Which database, as type=sqlite;file=PATH"},
                          {.name = "SQL", .help = "The statement"}},
          .options = {tDriver},
          .details =
              "A line has a row's values: \\N for null; tabs, line breaks and backslashes as \\t, \\n, \\r "
              "and \\\\.",
          .json = {.shape = "an array of objects, one for each row: a member for each column, a string or "
                            "null; a name "
                            "that occurs again is numbered, as in a:2"},
          .examples = {
              {"khost sql query 'type=sqlite;file=a.db' 'select * from t'", "the rows of a table"}}}});
}

} // namespace vel::kos::host
