// The functions of the ODBC driver manager that the driver calls, bound when it is first needed.
//
// They are declared here, as the ODBC 3 standard has them, and the same for both systems: the headers that
// driver managers come with differ between the two, and need those of the operating system.
#pragma once

#include <cstdint>

#include "drivers/support/sql_Library.h"

namespace vel::kos::drivers {

namespace odbc {

using Handle = void*;
using Return = int16_t;
using Length = int64_t; ///< SQLLEN
using Char = char16_t;  ///< SQLWCHAR: two bytes on both systems

constexpr Return SUCCESS = 0, SUCCESS_WITH_INFO = 1, NO_DATA = 100, FAILED = -1;

inline bool succeeded(Return pReturn) { return pReturn == SUCCESS || pReturn == SUCCESS_WITH_INFO; }

// Handles.
constexpr int16_t ENVIRONMENT = 1, CONNECTION = 2, STATEMENT = 3;

// Attributes of environments, connections and statements, and their values.
constexpr int32_t ODBC_VERSION = 200, ACCESS_MODE = 101, AUTOCOMMIT = 102, LOGIN_TIMEOUT = 103,
                  TXN_ISOLATION = 108, CURRENT_CATALOG = 109, CONNECTION_DEAD = 1209;
constexpr uintptr_t VERSION_3 = 3, AUTOCOMMIT_OFF = 0, AUTOCOMMIT_ON = 1;
constexpr uint32_t READ_COMMITTED = 2, REPEATABLE_READ = 4, SERIALIZABLE = 8;
constexpr int32_t IS_UINTEGER = -5;

// What SQLGetInfo is asked for.
constexpr uint16_t MAX_CONCURRENT_ACTIVITIES = 1, DBMS_NAME = 17, CURSOR_COMMIT_BEHAVIOR = 23,
                   IDENTIFIER_QUOTE_CHAR = 29, TXN_CAPABLE = 46, TXN_ISOLATION_OPTION = 72;
constexpr uint16_t CURSORS_PRESERVED = 2;                       ///< CURSOR_COMMIT_BEHAVIOR
constexpr uint16_t TRANSACTIONS_NONE = 0, TRANSACTIONS_ALL = 2; ///< TXN_CAPABLE

// How a connection is opened, ended, and what a statement handle forgets.
constexpr uint16_t DRIVER_NOPROMPT = 0;
constexpr int16_t COMMIT = 0, ROLLBACK = 1;
constexpr uint16_t CLOSE = 0, RESET_PARAMETERS = 3;

// Types in programs.
constexpr int16_t C_CHAR = 1, C_DOUBLE = 8, C_BINARY = -2, C_WCHAR = -8, C_SBIGINT = -25;
// Types in databases.
constexpr int16_t CHAR = 1, NUMERIC = 2, DECIMAL = 3, INTEGER = 4, SMALLINT = 5, FLOAT = 6, REAL = 7,
                  DOUBLE = 8, OLD_DATE = 9, OLD_TIME = 10, OLD_TIMESTAMP = 11, VARCHAR = 12, TYPE_DATE = 91,
                  TYPE_TIME = 92, TYPE_TIMESTAMP = 93, LONGVARCHAR = -1, BINARY = -2, VARBINARY = -3,
                  LONGVARBINARY = -4, BIGINT = -5, TINYINT = -6, BIT = -7, WCHAR = -8, WVARCHAR = -9,
                  WLONGVARCHAR = -10, SS_TIME = -154, SS_TIMESTAMP_WITH_ZONE = -155;
constexpr int16_t PARAMETER_INPUT = 1;
constexpr Length NULL_DATA = -1, NO_TOTAL = -4, TEXT_WITH_NUL = -3;

// Attributes of columns.
constexpr uint16_t DESC_UNSIGNED = 8, DESC_TYPE_NAME = 14;

} // namespace odbc

struct Odbc {
    using Handle = odbc::Handle;
    using Return = odbc::Return;
    using Length = odbc::Length;
    using Char = odbc::Char;

    Library library;
    Return (*allocate)(int16_t, Handle, Handle*) = nullptr;
    Return (*free)(int16_t, Handle) = nullptr;
    Return (*setEnvironment)(Handle, int32_t, void*, int32_t) = nullptr;
    Return (*setConnection)(Handle, int32_t, void*, int32_t) = nullptr;
    Return (*getConnection)(Handle, int32_t, void*, int32_t, int32_t*) = nullptr;
    Return (*connect)(Handle, void*, const Char*, int16_t, Char*, int16_t, int16_t*, uint16_t) = nullptr;
    Return (*disconnect)(Handle) = nullptr;
    Return (*getInfo)(Handle, uint16_t, void*, int16_t, int16_t*) = nullptr;
    Return (*diagnostics)(int16_t, Handle, int16_t, Char*, int32_t*, Char*, int16_t, int16_t*) = nullptr;
    Return (*endTransaction)(int16_t, Handle, int16_t) = nullptr;
    Return (*executeText)(Handle, const Char*, int32_t) = nullptr;
    Return (*prepare)(Handle, const Char*, int32_t) = nullptr;
    // The same two, with texts that the driver manager hands on as they are, and a column's name so.
    Return (*executeNarrow)(Handle, const char*, int32_t) = nullptr;
    Return (*prepareNarrow)(Handle, const char*, int32_t) = nullptr;
    Return (*describeNarrow)(Handle, uint16_t, char*, int16_t, int16_t*, int16_t*, uint64_t*, int16_t*,
                             int16_t*) = nullptr;
    Return (*execute)(Handle) = nullptr;
    Return (*parameters)(Handle, int16_t*) = nullptr;
    Return (*bindParameter)(Handle, uint16_t, int16_t, int16_t, int16_t, uint64_t, int16_t, void*, Length,
                            Length*) = nullptr;
    Return (*columns)(Handle, int16_t*) = nullptr;
    Return (*describeColumn)(Handle, uint16_t, Char*, int16_t, int16_t*, int16_t*, uint64_t*, int16_t*,
                             int16_t*) = nullptr;
    Return (*columnAttribute)(Handle, uint16_t, uint16_t, void*, int16_t, int16_t*, Length*) = nullptr;
    Return (*fetch)(Handle) = nullptr;
    Return (*getData)(Handle, uint16_t, int16_t, void*, Length, Length*) = nullptr;
    Return (*changedRows)(Handle, Length*) = nullptr;
    Return (*moreResults)(Handle) = nullptr;
    Return (*freeStatement)(Handle, uint16_t) = nullptr;
    Return (*cancel)(Handle) = nullptr;
    Return (*tables)(Handle, const Char*, int16_t, const Char*, int16_t, const Char*, int16_t, const Char*,
                     int16_t) = nullptr;
    Return (*tableColumns)(Handle, const Char*, int16_t, const Char*, int16_t, const Char*, int16_t,
                           const Char*, int16_t) = nullptr;
    Return (*primaryKeys)(Handle, const Char*, int16_t, const Char*, int16_t, const Char*, int16_t) = nullptr;

    /// Loads the driver manager and binds every function; false, and library.problem() tells why, when it
    /// cannot.
    bool load();
};

/// The one of the module; loaded by whoever opens a database first.
extern Odbc gOdbc;

} // namespace vel::kos::drivers
