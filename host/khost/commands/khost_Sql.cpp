// sql exec, sql query, sql tables, sql describe, sql types, sql help.
#include <charconv>
#include <cstdio>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Console.h"
#include "host/khost/khost_Files.h"
#include "host/khost/khost_Session.h"
#include "host/khost/khost_SqlOutput.h"
#include "host/khost/khost_SqlSession.h"
#include "host/khost/khost_Words.h"
#include "kpr/time.h"

namespace vel::kos::host {

namespace {

uint64_t now()
{
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    return tNow;
}

SqlForm formOf(const Session& pSession, const Arguments& pArguments)
{
    if (pSession.json()) return SqlForm::JSON;
    if (pArguments.has("--csv")) return SqlForm::CSV;
    return isTerminal(Stream::OUTPUT) ? SqlForm::TABLE : SqlForm::TABS;
}

/// "3 rows", "1 row".
std::string counted(uint64_t pCount, const std::string& pWhat)
{
    return std::to_string(pCount) + " " + pWhat + (pCount == 1 ? "" : "s");
}

double secondsSince(uint64_t pBegan) { return static_cast<double>(now() - pBegan) / 1e6; }

std::string secondsText(double pSeconds)
{
    char tText[32];
    std::snprintf(tText, sizeof tText, "%.3f s", pSeconds);
    return tText;
}

int types(Session& pSession, const Arguments& pArguments)
{
    const SqlRegistry tRegistry = openSqlRegistry(pSession, pArguments);
    if (!tRegistry) return STATUS_FAILED;
    const auto tTypes = sqlTypes(tRegistry.get());
    if (pSession.json()) pSession.printJson(tTypes);
    for (const std::string& tType : tTypes)
        if (!pSession.json()) pSession.print(pSession.shown(tType) + "\n");
    return STATUS_DONE;
}

int help(Session& pSession, const Arguments& pArguments)
{
    const SqlRegistry tRegistry = openSqlRegistry(pSession, pArguments);
    if (!tRegistry) return STATUS_FAILED;
    const std::string& tType = pArguments.text("TYPE");
    kom::Ref<sql::ISqlDatabaseFactory> tFactory;
    if (auto tRes = tRegistry->getFactory(tType.c_str(), tFactory.out()); KFAILED(tRes))
        return pSession.fail(tRes, "no driver is loaded for the type \"" + shownWord(tType) + "\"");
    kom::HeapString tText;
    if (auto tRes = tFactory->getDescriptionHelp(tText.out()); KFAILED(tRes))
        return pSession.fail(tRes, tType);
    if (pSession.json())
        pSession.printJson(Json(tText.c_str()));
    else
        pSession.print(tText.c_str());
    return STATUS_DONE;
}

/// Prints the rows of a result, and on a terminal how many and how long.
int finishRows(Session& pSession, const Arguments& pArguments, sql::ISqlDatabase* pDatabase,
               sql::ISqlRows* pRows, const std::string& pStatement, uint64_t pBegan)
{
    uint64_t tCount = 0;
    const SqlForm tForm = formOf(pSession, pArguments);
    const uint32_t tRes = printSqlRows(pSession, pRows, tForm, pArguments.has("--header"), &tCount);
    if (KFAILED(tRes)) return failSql(pSession, pDatabase, tRes, pStatement);
    if (tForm == SqlForm::TABLE)
        pSession.print("(" + counted(tCount, "row") + ", " + secondsText(secondsSince(pBegan)) + ")\n");
    return STATUS_DONE;
}

/// The statement of the command with the values of "--param", if there are any: empty without. *pRes is what
/// became of preparing it. False after a wrong value, which has been reported; *pStatus is then the exit
/// status.
bool prepareWithParameters(Session& pSession, const Arguments& pArguments, sql::ISqlDatabase* pDatabase,
                           kom::Ref<sql::ISqlStatement>& pStatement, uint32_t* pRes, int* pStatus)
{
    *pRes = 0;
    if (!pArguments.has("--param")) return true;
    const std::string& tText = pArguments.text("SQL");
    *pRes = pDatabase->prepare(tText.c_str(), pStatement.out());
    return !pStatement ||
           bindSqlParameters(pSession, pArguments, pDatabase, pStatement.get(), tText, pStatus);
}

int query(Session& pSession, const Arguments& pArguments)
{
    int tStatus = STATUS_FAILED;
    const auto tDatabase = openSqlDatabase(pSession, pArguments, &tStatus);
    if (!tDatabase) return tStatus;
    const std::string& tText = pArguments.text("SQL");
    const auto tBegan = now();
    kom::Ref<sql::ISqlRows> tRows;
    kom::Ref<sql::ISqlStatement> tStatement;
    uint32_t tRes = 0;
    if (!prepareWithParameters(pSession, pArguments, tDatabase.get(), tStatement, &tRes, &tStatus))
        return tStatus;
    if (!KFAILED(tRes))
        tRes = tStatement ? tStatement->query(nullptr, tRows.out())
                          : tDatabase->query(tText.c_str(), nullptr, tRows.out());
    if (KFAILED(tRes)) return failSql(pSession, tDatabase.get(), tRes, tText);
    return finishRows(pSession, pArguments, tDatabase.get(), tRows.get(), tText, tBegan);
}

int finishChange(Session& pSession, uint64_t pCount, const char* pWhat, const char* pName, double pSeconds)
{
    if (pSession.json()) {
        pSession.printJson(Json::object({{pName, pCount}, {"seconds", pSeconds}}));
    } else {
        pSession.print(counted(pCount, pWhat) + (pName == std::string_view("changed") ? " changed, " : ", ") +
                       secondsText(pSeconds) + "\n");
    }
    return STATUS_DONE;
}

/// The statements of a file, all or none of them.
int script(Session& pSession, const Arguments& pArguments, sql::ISqlDatabase* pDatabase)
{
    const std::string& tFile = pArguments.text("--script");
    if (tFile == "-" && pSession.inShell())
        return pSession.usage("standard input holds the commands of the shell");
    fw::CacheBytes tBytes{};
    if (auto tRes = tFile == "-" ? readWholeInput(&tBytes) : readWholeFile(tFile, &tBytes); KFAILED(tRes))
        return pSession.fail(tRes, shownWord(tFile));
    const std::string tScript(static_cast<const char*>(static_cast<const void*>(tBytes.mData)), tBytes.mSize);
    if (tScript.find('\0') != std::string::npos) return pSession.fail(E_INVALIDARG, tFile + " holds a NUL");
    const auto tBegan = now();
    uint64_t tCount = 0;
    uint32_t tRes = pDatabase->begin(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_DEFAULT);
    if (!KFAILED(tRes)) tRes = pDatabase->executeScript(tScript.c_str(), &tCount);
    if (!KFAILED(tRes)) tRes = pDatabase->commit();
    // Without its commit the transaction goes with the connection.
    if (KFAILED(tRes)) return failSql(pSession, pDatabase, tRes, tScript);
    return finishChange(pSession, tCount, "statement", "statements", secondsSince(tBegan));
}

int exec(Session& pSession, const Arguments& pArguments)
{
    const bool tHasText = !pArguments.text("SQL").empty();
    if (tHasText == pArguments.has("--script"))
        return pSession.usage("either a statement or --script FILE is given");
    if (pArguments.has("--script") && pArguments.has("--param"))
        return pSession.usage("a script has no parameters");
    int tStatus = STATUS_FAILED;
    const auto tDatabase = openSqlDatabase(pSession, pArguments, &tStatus);
    if (!tDatabase) return tStatus;
    if (!tHasText) return script(pSession, pArguments, tDatabase.get());
    const std::string& tText = pArguments.text("SQL");
    const auto tBegan = now();
    uint64_t tChanged = 0;
    kom::Ref<sql::ISqlStatement> tStatement;
    uint32_t tRes = 0;
    if (!prepareWithParameters(pSession, pArguments, tDatabase.get(), tStatement, &tRes, &tStatus))
        return tStatus;
    if (!KFAILED(tRes))
        tRes = tStatement ? tStatement->execute(nullptr, &tChanged)
                          : tDatabase->execute(tText.c_str(), nullptr, &tChanged);
    if (KFAILED(tRes)) return failSql(pSession, tDatabase.get(), tRes, tText);
    return finishChange(pSession, tChanged, "row", "changed", secondsSince(tBegan));
}

int tables(Session& pSession, const Arguments& pArguments)
{
    int tStatus = STATUS_FAILED;
    const auto tDatabase = openSqlDatabase(pSession, pArguments, &tStatus);
    if (!tDatabase) return tStatus;
    const auto tBegan = now();
    kom::Ref<sql::ISqlRows> tRows;
    if (auto tRes = tDatabase->listTables(tRows.out()); KFAILED(tRes))
        return failSql(pSession, tDatabase.get(), tRes, {});
    return finishRows(pSession, pArguments, tDatabase.get(), tRows.get(), {}, tBegan);
}

int describe(Session& pSession, const Arguments& pArguments)
{
    int tStatus = STATUS_FAILED;
    const auto tDatabase = openSqlDatabase(pSession, pArguments, &tStatus);
    if (!tDatabase) return tStatus;
    const auto tBegan = now();
    kom::Ref<sql::ISqlRows> tRows;
    if (auto tRes = tDatabase->describeTable(pArguments.text("TABLE").c_str(), tRows.out()); KFAILED(tRes))
        return failSql(pSession, tDatabase.get(), tRes, {});
    return finishRows(pSession, pArguments, tDatabase.get(), tRows.get(), {}, tBegan);
}

std::string checkTimeout(const std::string& pValue)
{
    uint32_t tNumber = 0;
    const auto tEnd = pValue.data() + pValue.size();
    const auto tRead = std::from_chars(pValue.data(), tEnd, tNumber);
    return !pValue.empty() && tRead.ec == std::errc() && tRead.ptr == tEnd ? ""
                                                                           : "not a number of milliseconds";
}

} // namespace

void addSqlCommands(std::vector<Command>& pTable)
{
    const Option tDriver = {.names = "--driver",
                            .value = "FILE",
                            .help = "A driver module to use, instead of those in the folder \"drivers\"",
                            .repeatable = true,
                            .completes = Completes::FILES};
    const Option tTimeout = {.names = "--timeout",
                             .value = "MILLISECONDS",
                             .help = "Stop a statement that takes longer",
                             .check = checkTimeout};
    const Option tParam = {.names = "--param,-p",
                           .value = "VALUE",
                           .help = "The value of the next \"?\", or :NAME=VALUE that of \":NAME\"",
                           .repeatable = true,
                           .secret = true,
                           .check = checkSqlParameter};
    const Option tCsv = {.names = "--csv", .help = "Print lines of comma-separated values, with a header"};
    const Option tHeader = {.names = "--header", .help = "Print the names of the columns before the rows"};
    const Positional tDescription = {.name = "DESCRIPTION",
                                     .help = "Which database: type=sqlite;file=PATH; @FILE, @- or env:NAME "
                                             "to read that from a file, from standard "
                                             "input or from a variable, where others do not see a password"};
    static constexpr char PARAMETERS[] =
        "A value of --param is an integer or a number when it looks like one, and a text otherwise; or it "
        "says what "
        "it is: null:, int:5, double:0.5, text:5, bytes:00ff, decimal:12.50, date:2026-01-31, time:23:59:59, "
        "timestamp:\"2026-01-31 23:59:59\". An error shows the line of the statement with a mark under the "
        "place.";
    static constexpr char ROWS[] =
        "On a terminal rows are a table. In a pipe a line has a row's values, tab-separated: \\N for null; "
        "\\x and "
        "hexadecimal digits for bytes; tabs, line breaks and backslashes as \\t, \\n, \\r and \\\\.";
    static constexpr char OBJECTS[] =
        "an array of objects, one for each row: a member for each column, a number, a "
        "string, null, or for bytes an "
        "object whose member bytes has the hexadecimal digits; a name that occurs "
        "again is numbered, as in a:2";
    static const std::string QUERY_DETAILS = std::string(ROWS) + "\n" + PARAMETERS;
    pTable.insert(
        pTable.end(),
        {{.name = "sql", .summary = "Use databases through the registered drivers."},
         {.name = "sql types",
          .summary = "List the database types.",
          .run = types,
          .options = {tDriver},
          .json = {.shape = "an array of strings"},
          .effect = Command::LOOKS},
         {.name = "sql help",
          .summary = "Show what the description of a database of a type may say.",
          .run = help,
          .positionals = {{.name = "TYPE", .help = "One of khost sql types"}},
          .options = {tDriver},
          .json = {.shape = "a string"},
          .effect = Command::LOOKS},
         {.name = "sql query",
          .summary = "Run one statement and print its rows.",
          .run = query,
          .positionals = {tDescription, {.name = "SQL", .help = "The statement"}},
          .options = {tParam, tCsv, tHeader, tTimeout, tDriver},
          .details = QUERY_DETAILS.c_str(),
          .json = {.shape = OBJECTS},
          .examples = {{"khost sql query 'type=sqlite;file=a.db' 'select * from t'", "the rows of a table"},
                       {"khost sql query @orders.txt 'select * from t where n > :n' --param :n=5 --csv",
                        "some of them, from the database that a file describes"}}},
         {.name = "sql exec",
          .summary = "Run one statement, or a script, and tell what it has changed.",
          .run = exec,
          .positionals = {tDescription,
                          {.name = "SQL", .help = "The statement", .count = Positional::OPTIONAL}},
          .options =
              {{.names = "--script",
                .value = "FILE",
                .help = "Run the statements of a file (- for standard input) in one transaction: all or none",
                .completes = Completes::FILES},
               tParam,
               tTimeout,
               tDriver},
          .details = PARAMETERS,
          .json = {.shape = "an object",
                   .fields = {{"changed", "number", "the rows inserted, updated or deleted; not of a script"},
                              {"statements", "number", "how many have run; only of a script"},
                              {"seconds", "number", "how long it took"}}},
          .examples = {{"khost sql exec env:ORDERS 'delete from t where n = ?' --param 5",
                        "the database that a variable describes"}}},
         {.name = "sql tables",
          .summary = "List the tables and views of a database.",
          .run = tables,
          .positionals = {tDescription},
          .options = {tCsv, tHeader, tTimeout, tDriver},
          .json = {.shape = "an array of objects",
                   .fields = {{"schema", "string", "where it lies"},
                              {"name", "string", "its name"},
                              {"kind", "string", "table or view"}}}},
         {.name = "sql describe",
          .summary = "List the columns of a table or view.",
          .run = describe,
          .positionals = {tDescription, {.name = "TABLE", .help = "Its name, or SCHEMA.NAME"}},
          .options = {tCsv, tHeader, tTimeout, tDriver},
          .json = {.shape = "an array of objects",
                   .fields = {{"name", "string", "of the column"},
                              {"type", "string", "as the database spells it"},
                              {"nullable", "number", "1 when it may be null"},
                              {"default", "string or null", "the expression"},
                              {"key", "number", "its place in the primary key from 1, or 0"}}}}});
}

} // namespace vel::kos::host
