// The functions of the SQLite library that the driver calls, bound when it is first needed.
#pragma once

#include <sqlite3.h>

#include "drivers/support/sql_Library.h"

namespace vel::kos::drivers {

struct Sqlite {
    Library library;
    decltype(sqlite3_open_v2)* open = nullptr;
    decltype(sqlite3_close_v2)* close = nullptr;
    decltype(sqlite3_errmsg)* errmsg = nullptr;
    decltype(sqlite3_errstr)* errstr = nullptr;
    decltype(sqlite3_busy_timeout)* busyTimeout = nullptr;
    decltype(sqlite3_db_config)* config = nullptr;
    decltype(sqlite3_prepare_v2)* prepare = nullptr;
    decltype(sqlite3_bind_text)* bindText = nullptr;
    decltype(sqlite3_bind_parameter_count)* parameterCount = nullptr;
    decltype(sqlite3_step)* step = nullptr;
    decltype(sqlite3_finalize)* finalize = nullptr;
    decltype(sqlite3_column_count)* columnCount = nullptr;
    decltype(sqlite3_column_name)* columnName = nullptr;
    decltype(sqlite3_column_text)* columnText = nullptr;
    decltype(sqlite3_column_bytes)* columnBytes = nullptr;
    decltype(sqlite3_changes)* changes = nullptr;
    decltype(sqlite3_total_changes)* totalChanges = nullptr;
    decltype(sqlite3_get_autocommit)* autocommit = nullptr;

    /// Loads the library and binds every function; false, and library.problem() tells why, when it cannot.
    bool load();
};

} // namespace vel::kos::drivers
