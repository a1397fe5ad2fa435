#include "drivers/sqlite/sql_Sqlite.h"

namespace vel::kos::drivers {

bool Sqlite::load()
{
    if (autocommit) return true;
#if defined(_WIN32)
    // The application's own, then the one that comes with the system.
    if (!library.load({"sqlite3.dll", "winsqlite3.dll"})) return false;
#else
    if (!library.load({"libsqlite3.so.0", "libsqlite3.so"})) return false;
#endif
    return library.bind("sqlite3_open_v2", open) && library.bind("sqlite3_close_v2", close) &&
           library.bind("sqlite3_errmsg", errmsg) && library.bind("sqlite3_errstr", errstr) &&
           library.bind("sqlite3_busy_timeout", busyTimeout) && library.bind("sqlite3_db_config", config) &&
           library.bind("sqlite3_prepare_v2", prepare) && library.bind("sqlite3_bind_text", bindText) &&
           library.bind("sqlite3_bind_parameter_count", parameterCount) &&
           library.bind("sqlite3_step", step) && library.bind("sqlite3_finalize", finalize) &&
           library.bind("sqlite3_column_count", columnCount) &&
           library.bind("sqlite3_column_name", columnName) &&
           library.bind("sqlite3_column_text", columnText) &&
           library.bind("sqlite3_column_bytes", columnBytes) && library.bind("sqlite3_changes", changes) &&
           library.bind("sqlite3_total_changes", totalChanges) &&
           library.bind("sqlite3_get_autocommit", autocommit);
}

} // namespace vel::kos::drivers
