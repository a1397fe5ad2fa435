// The SQLite driver: databases in a file or in memory, through the system's or the application's library.
#include <charconv>
#include <iterator>
#include <utility>

#include "drivers/sqlite/sql_SqliteDatabase.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", KFW_PRODUCT},
    {"ProductName", KFW_PRODUCT_NAME},
    {"FileVersion", KFW_PROJECT_VERSION},
    {"ProductVersion", KFW_PROJECT_VERSION},
    {"FileDescription", KFW_PRODUCT " SQLite Driver"},
    {"InternalName", "sqldrv_sqlite"},
};

constexpr char HELP[] = "type=sqlite    this driver\n"
                        "file=PATH      the database file, or :memory: for one in memory (required)\n"
                        "create=yes|no  whether a missing file is made (yes)\n"
                        "readonly=yes|no  whether nothing can be changed (no)\n"
                        "foreign_keys=yes|no  whether foreign keys are watched (yes)\n"
                        "timeout=MS     how long to wait for another process's lock (5000)\n";

/// The most bytes of a value, and of a row. A row of the file may ask for as much as it likes, and more than
/// once.
constexpr int LONGEST_VALUE = 128 << 20;

class SqliteFactory : public Factory {
public:
    SqliteFactory() : Factory(SqliteDatabase::TYPE, HELP) {}

protected:
    Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase) override
    {
        for (const auto& [tKey, tValue] : pDescription.values())
            if (tKey != "type" && tKey != "file" && tKey != "create" && tKey != "readonly" &&
                tKey != "foreign_keys" && tKey != "timeout")
                return refused("the driver knows no key \"" + tKey + "\"");
        const std::string tFile = pDescription.value("file"), tTimeout = pDescription.value("timeout");
        if (tFile.empty()) return refused("the description names no file");
        bool tCreate = true, tReadOnly = false, tForeignKeys = true;
        if (!pDescription.yes("create", true, tCreate) || !pDescription.yes("readonly", false, tReadOnly) ||
            !pDescription.yes("foreign_keys", true, tForeignKeys))
            return refused("\"create\", \"readonly\" and \"foreign_keys\" take yes or no");
        uint32_t tMilliseconds = 5000;
        const auto tEnd = tTimeout.data() + tTimeout.size();
        if (!tTimeout.empty())
            if (const auto tParsed = std::from_chars(tTimeout.data(), tEnd, tMilliseconds);
                tParsed.ec != std::errc() || tParsed.ptr != tEnd)
                return refused("\"timeout\" takes a number of milliseconds");

        sqlite3* tHandle = nullptr;
        const int tFlags =
            tReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | (tCreate ? SQLITE_OPEN_CREATE : 0);
        const int tCode =
            gSqlite.open(tFile.c_str(), &tHandle, tFlags | SQLITE_OPEN_EXRESCODE, gSqlite.guard.name());
        SqliteConnection tOwned(tHandle); // there is one after most failures, too
        if (tCode != SQLITE_OK)
            return SqliteDatabase::failureOfCode(
                tCode, tHandle ? gSqlite.errmsg(tHandle) : gSqlite.errstr(tCode), false);
        // The file may come from anybody: functions with effects are not for its views and triggers, and no
        // statement may turn the file itself inside out.
        for (const auto& [tSwitch, tOn] : {std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                           {SQLITE_DBCONFIG_DEFENSIVE, 1},
                                           {SQLITE_DBCONFIG_ENABLE_FKEY, tForeignKeys ? 1 : 0}})
            gSqlite.config(tHandle, tSwitch, tOn, nullptr);
        gSqlite.limit(tHandle, SQLITE_LIMIT_LENGTH, LONGEST_VALUE);
        pDatabase = kom::retain(new SqliteDatabase(std::move(tOwned), tMilliseconds));
        return {};
    }
    std::string load() override { return gSqlite.load() ? "" : "SQLite: " + gSqlite.library.problem(); }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new SqliteFactory); }

} // namespace vel::kos::drivers
