#include "drivers/sqlite/sql_Sqlite.h"

namespace vel::kos::drivers {

Sqlite gSqlite;

bool Sqlite::load()
{
    if (loaded) return true;
#if defined(_WIN32)
    // The application's own, then the one that comes with the system.
    if (!library.load({"sqlite3.dll", "winsqlite3.dll"})) return false;
#else
    if (!library.load({"libsqlite3.so.0", "libsqlite3.so"})) return false;
#endif
    library.bindIfThere("sqlite3_error_offset", errorOffset);
    library.bindIfThere("sqlite3_column_database_name", columnDatabase);
    library.bindIfThere("sqlite3_column_table_name", columnTable);
    library.bindIfThere("sqlite3_column_origin_name", columnOrigin);
    library.bindIfThere("sqlite3_table_column_metadata", metadata);
    loaded =
        library.bind("sqlite3_vfs_find", findVfs) && library.bind("sqlite3_vfs_register", registerVfs) &&
        library.bind("sqlite3_open_v2", open) && library.bind("sqlite3_close_v2", close) &&
        library.bind("sqlite3_errmsg", errmsg) && library.bind("sqlite3_errstr", errstr) &&
        library.bind("sqlite3_extended_errcode", errorCode) &&
        library.bind("sqlite3_busy_handler", busyHandler) &&
        library.bind("sqlite3_progress_handler", progressHandler) &&
        library.bind("sqlite3_db_config", config) && library.bind("sqlite3_limit", limit) &&
        library.bind("sqlite3_complete", complete) && library.bind("sqlite3_prepare_v2", prepare) &&
        library.bind("sqlite3_bind_null", bindNull) && library.bind("sqlite3_bind_int64", bindInteger) &&
        library.bind("sqlite3_bind_double", bindDouble) && library.bind("sqlite3_bind_text64", bindText) &&
        library.bind("sqlite3_bind_blob64", bindBytes) &&
        library.bind("sqlite3_bind_parameter_count", parameterCount) &&
        library.bind("sqlite3_clear_bindings", clearBindings) && library.bind("sqlite3_step", step) &&
        library.bind("sqlite3_reset", reset) && library.bind("sqlite3_finalize", finalize) &&
        library.bind("sqlite3_column_count", columnCount) &&
        library.bind("sqlite3_column_name", columnName) &&
        library.bind("sqlite3_column_decltype", columnDeclared) &&
        library.bind("sqlite3_column_type", columnType) &&
        library.bind("sqlite3_column_int64", columnInteger) &&
        library.bind("sqlite3_column_double", columnDouble) &&
        library.bind("sqlite3_column_text", columnText) && library.bind("sqlite3_column_blob", columnBlob) &&
        library.bind("sqlite3_column_bytes", columnBytes) && library.bind("sqlite3_changes", changes) &&
        library.bind("sqlite3_total_changes", totalChanges) &&
        library.bind("sqlite3_get_autocommit", autocommit) && guard.attach(findVfs, registerVfs) == SQLITE_OK;
    return loaded;
}

} // namespace vel::kos::drivers
