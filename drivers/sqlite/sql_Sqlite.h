// The functions of the SQLite library that the driver calls, bound when it is first needed.
#pragma once

#include <memory>

#include <sqlite3.h>

#include "drivers/support/sql_Library.h"
#include "kpr/sqlite/kpr_SqliteGuard.h"

namespace vel::kos::drivers {

struct Sqlite {
    Library library;
    /// How databases are opened.
    kpr::SqliteGuard guard{"kos-driver", kpr::SqliteGuard::WriteAheadLog::OF_USER};
    decltype(sqlite3_vfs_find)* findVfs = nullptr;
    decltype(sqlite3_vfs_register)* registerVfs = nullptr;
    decltype(sqlite3_open_v2)* open = nullptr;
    decltype(sqlite3_close_v2)* close = nullptr;
    decltype(sqlite3_errmsg)* errmsg = nullptr;
    decltype(sqlite3_errstr)* errstr = nullptr;
    decltype(sqlite3_extended_errcode)* errorCode = nullptr;
    decltype(sqlite3_error_offset)* errorOffset = nullptr; ///< may be missing
    decltype(sqlite3_busy_handler)* busyHandler = nullptr;
    decltype(sqlite3_progress_handler)* progressHandler = nullptr;
    decltype(sqlite3_db_config)* config = nullptr;
    decltype(sqlite3_limit)* limit = nullptr;
    decltype(sqlite3_complete)* complete = nullptr;
    decltype(sqlite3_prepare_v2)* prepare = nullptr;
    decltype(sqlite3_bind_null)* bindNull = nullptr;
    decltype(sqlite3_bind_int64)* bindInteger = nullptr;
    decltype(sqlite3_bind_double)* bindDouble = nullptr;
    decltype(sqlite3_bind_text64)* bindText = nullptr;
    decltype(sqlite3_bind_blob64)* bindBytes = nullptr;
    decltype(sqlite3_bind_parameter_count)* parameterCount = nullptr;
    decltype(sqlite3_clear_bindings)* clearBindings = nullptr;
    decltype(sqlite3_step)* step = nullptr;
    decltype(sqlite3_reset)* reset = nullptr;
    decltype(sqlite3_finalize)* finalize = nullptr;
    decltype(sqlite3_column_count)* columnCount = nullptr;
    decltype(sqlite3_column_name)* columnName = nullptr;
    decltype(sqlite3_column_decltype)* columnDeclared = nullptr;
    decltype(sqlite3_column_database_name)* columnDatabase = nullptr; ///< may be missing, as the next two
    decltype(sqlite3_column_table_name)* columnTable = nullptr;
    decltype(sqlite3_column_origin_name)* columnOrigin = nullptr;
    decltype(sqlite3_table_column_metadata)* metadata = nullptr;
    decltype(sqlite3_column_type)* columnType = nullptr;
    decltype(sqlite3_column_int64)* columnInteger = nullptr;
    decltype(sqlite3_column_double)* columnDouble = nullptr;
    decltype(sqlite3_column_text)* columnText = nullptr;
    decltype(sqlite3_column_blob)* columnBlob = nullptr;
    decltype(sqlite3_column_bytes)* columnBytes = nullptr;
    decltype(sqlite3_changes)* changes = nullptr;
    decltype(sqlite3_total_changes)* totalChanges = nullptr;
    decltype(sqlite3_get_autocommit)* autocommit = nullptr;
    bool loaded = false;

    /// Loads the library and binds every function; false, and library.problem() tells why, when it cannot.
    bool load();
};

/// The one of the module; loaded by whoever opens a database first.
extern Sqlite gSqlite;

/// Closes what the library has opened.
struct SqliteCloser {
    void operator()(sqlite3* pHandle) const { gSqlite.close(pHandle); }
    void operator()(sqlite3_stmt* pHandle) const { gSqlite.finalize(pHandle); }
};
using SqliteConnection = std::unique_ptr<sqlite3, SqliteCloser>;
using SqliteHandle = std::unique_ptr<sqlite3_stmt, SqliteCloser>;

} // namespace vel::kos::drivers
