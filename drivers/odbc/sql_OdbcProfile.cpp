#include "drivers/odbc/sql_OdbcProfile.h"

#include "kfw/sql/ISqlDatabase.h"

namespace vel::kos::drivers {

namespace {

constexpr const char* SQLITE_BEGINS[] = {"BEGIN", "BEGIN IMMEDIATE", "BEGIN"};

/// Its driver hands over the library's words, with one SQLSTATE for all.
constexpr OdbcMeaning SQLITE[] = {
    {0, "UNIQUE constraint", "23505"},
    {0, "NOT NULL constraint", "23502"},
    {0, "CHECK constraint", "23514"},
    {0, "FOREIGN KEY constraint", "23503"},
    {19, nullptr, "23000"},
    {0, "is locked", "55P03"},
    {0, "interrupted", "57014"},
    {0, "readonly database", "25006"},
    {0, "is full", "53100"},
    {0, "unable to open", "08001"},
    {0, "is not a database", "XX001"},
    {0, "malformed", "XX001"},
    {0, "out of memory", "53200"},
    {0, "too big", "54000"},
    {0, "datatype mismatch", "22018"},
    {0, "no such table", "42P01"},
    {0, "no such column", "42703"},
    {0, "has no column", "42703"},
    {0, "no such function", "42883"},
    {0, "no such savepoint", "3B001"},
    {0, "no such ", "42704"},
    {0, "unknown database", "42704"},
    {0, "already exists", "42P07"},
    {0, "syntax error", "42601"},
    {0, "incomplete input", "42601"},
    {0, "within a transaction", "25001"},
    {1, nullptr, "42601"},
    {0, nullptr, nullptr},
};

constexpr OdbcMeaning MARIADB[] = {
    {1062, nullptr, "23505"},     {1169, nullptr, "23505"}, {1586, nullptr, "23505"},
    {1305, "SAVEPOINT", "3B001"}, {1048, nullptr, "23502"}, {1364, nullptr, "23502"},
    {1216, nullptr, "23503"},     {1217, nullptr, "23503"}, {1451, nullptr, "23503"},
    {1452, nullptr, "23503"},     {4025, nullptr, "23514"}, {3819, nullptr, "23514"},
    {1205, nullptr, "55P03"},     {3572, nullptr, "55P03"}, {1213, nullptr, "40001"},
    {1020, nullptr, "40001"},     {1792, nullptr, "25006"}, {1290, nullptr, "25006"},
    {1836, nullptr, "25006"},     {1317, nullptr, "57014"}, {1969, nullptr, "57014"},
    {1064, nullptr, "42601"},     {1065, nullptr, "42601"}, {1136, nullptr, "42601"},
    {1146, nullptr, "42P01"},     {1051, nullptr, "42P01"}, {1054, nullptr, "42703"},
    {1305, nullptr, "42883"},     {1049, nullptr, "3D000"}, {1050, nullptr, "42P07"},
    {1007, nullptr, "42P04"},     {1060, nullptr, "42701"}, {1061, nullptr, "42710"},
    {1304, nullptr, "42723"},     {1044, nullptr, "42501"}, {1142, nullptr, "42501"},
    {1143, nullptr, "42501"},     {1227, nullptr, "42501"}, {1370, nullptr, "42501"},
    {1045, nullptr, "28000"},     {1698, nullptr, "28000"}, {1264, nullptr, "22003"},
    {1690, nullptr, "22003"},     {1292, nullptr, "22007"}, {1366, nullptr, "22018"},
    {1406, nullptr, "22001"},     {1265, nullptr, "22018"}, {1021, nullptr, "53100"},
    {1114, nullptr, "53100"},     {1037, nullptr, "53200"}, {1041, nullptr, "53200"},
    {1038, nullptr, "53200"},     {1040, nullptr, "53300"}, {1203, nullptr, "53300"},
    {1153, nullptr, "54000"},     {2020, nullptr, "54000"}, {1053, nullptr, "57P01"},
    {1927, nullptr, "08006"},     {2002, nullptr, "08001"}, {2003, nullptr, "08001"},
    {2006, nullptr, "08006"},     {2013, nullptr, "08006"}, {2055, nullptr, "08006"},
    {1235, nullptr, "0A000"},     {0, nullptr, nullptr},
};

constexpr char MARIADB_KEYS[] =
    "SELECT column_name, ordinal_position FROM information_schema.key_column_usage"
    " WHERE constraint_name = 'PRIMARY' AND table_schema = ? AND table_name = ?";

constexpr OdbcMeaning POSTGRESQL[] = {
    {0, "Could not convert binary", "42804"}, {0, "server closed the connection", "08006"},
    {0, "connection has been lost", "08006"}, {0, "no connection to the server", "08006"},
    {0, "terminating connection", "57P01"},   {0, nullptr, nullptr},
};

constexpr OdbcMeaning NONE[] = {{0, nullptr, nullptr}};

constexpr uint32_t CANNOT_BE_TOLD =
    sql::SQL_FEATURE_TEXT_WITH_NUL | sql::SQL_FEATURE_NAN | sql::SQL_FEATURE_INFINITY;

constexpr OdbcProfile PROFILES[] = {
    {"SQLite",
     {.backticks = true, .brackets = true},
     sql::SQL_FEATURE_TRANSACTIONAL_DDL,
     CANNOT_BE_TOLD | sql::SQL_FEATURE_DECIMALS | sql::SQL_FEATURE_DATES | sql::SQL_FEATURE_ISOLATION,
     SQLITE_BEGINS,
     "PRAGMA query_only = 1",
     "PRAGMA query_only = 0",
     "SELECT name, pk FROM (SELECT ? AS place, ? AS what) w, pragma_table_info(w.what) WHERE pk > 0",
     true,
     AfterFailure::NESTED,
     SQLITE},
    {"PostgreSQL",
     {.nestedComments = true,
      .dollarQuotes = true,
      .escapeTexts = true,
      .returnEndsLine = true,
      .atomicBodies = true},
     sql::SQL_FEATURE_NAN | sql::SQL_FEATURE_INFINITY,
     sql::SQL_FEATURE_TEXT_WITH_NUL,
     nullptr,
     "SET TRANSACTION READ ONLY",
     nullptr,
     nullptr,
     false,
     AfterFailure::ASKED,
     POSTGRESQL},
    {"MariaDB",
     {.backslashes = true, .backticks = true, .hashComments = true, .bangComments = true},
     sql::SQL_FEATURE_TEXT_WITH_NUL,
     sql::SQL_FEATURE_NAN | sql::SQL_FEATURE_INFINITY,
     nullptr,
     "SET TRANSACTION READ ONLY",
     nullptr,
     MARIADB_KEYS,
     false,
     AfterFailure::KEPT,
     MARIADB},
    {"MySQL",
     {.backslashes = true, .backticks = true, .hashComments = true, .bangComments = true},
     sql::SQL_FEATURE_TEXT_WITH_NUL,
     sql::SQL_FEATURE_NAN | sql::SQL_FEATURE_INFINITY,
     nullptr,
     "SET TRANSACTION READ ONLY",
     nullptr,
     MARIADB_KEYS,
     false,
     AfterFailure::KEPT,
     MARIADB},
    {"Microsoft SQL Server",
     {.nestedComments = true, .brackets = true},
     0,
     CANNOT_BE_TOLD,
     nullptr,
     nullptr,
     nullptr,
     nullptr,
     false,
     AfterFailure::ASKED,
     NONE},
    {"", {}, 0, CANNOT_BE_TOLD, nullptr, nullptr, nullptr, nullptr, false, AfterFailure::ASKED, NONE},
};

} // namespace

const OdbcProfile& profileOf(std::string_view pName)
{
    const OdbcProfile* tProfile = PROFILES;
    while (!pName.starts_with(tProfile->name))
        ++tProfile;
    return *tProfile;
}

std::string bestState(const OdbcProfile& pProfile, std::string pSqlState, int32_t pNativeCode,
                      std::string_view pText)
{
    // Words may be a user's: they say that a connection is lost only where the state does not say otherwise.
    const std::string_view tClass = std::string_view(pSqlState).substr(0, 2);
    const bool tVague = tClass.empty() || tClass == "HY" || tClass == "08" || tClass == "57";
    for (const OdbcMeaning* tRow = pProfile.meanings; tRow->sqlState; ++tRow) {
        const std::string_view tMeaning = tRow->sqlState;
        const bool tLost = tMeaning.starts_with("08") || tMeaning.starts_with("57P");
        if (tRow->nativeCode == 0 && tLost && !tVague) continue;
        if ((tRow->nativeCode == 0 || tRow->nativeCode == pNativeCode) &&
            (!tRow->text || pText.find(tRow->text) != std::string_view::npos))
            return tRow->sqlState;
    }
    return pSqlState;
}

} // namespace vel::kos::drivers
