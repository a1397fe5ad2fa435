// A connection to an SQL database, as driver modules implement it.
//
// A connection with its statements and rows is for one thread at a time, except for cancel. Strings are
// UTF-8; those handed out are kom heap strings, freed by the receiver. Required pointers that are null return
// E_INVALIDARG before anything else, and leave no error. When any other operation fails, getError of the
// connection tells why, for its statements and rows as well.
//
// Parameters stand in the text of a statement as "?" or as ":name", not both; a name that occurs twice is one
// parameter. "??" is the operator "?". What stands in quoted texts and names, in comments and, where the
// database has them, in dollar quotes is left alone.
//
// A statement that returns rows has been sent and has made its changes, or refuses to, by the time of the
// first next; a statement without rows when the call returns. So a failure of a statement without rows is
// always the failure of the call that runs it.
//
// The codes that a database's own errors become: SQL_E_SYNTAX, SQL_E_CONSTRAINT (which one says getError),
// SQL_E_BUSY, SQL_E_CONFLICT, SQL_E_NO_OBJECT, SQL_E_OBJECT_EXISTS, SQL_E_PERMISSION, SQL_E_CONNECTION,
// SQL_E_TIMEOUT, SQL_E_CANCELLED, SQL_E_TYPE, SQL_E_PARAMETERS, SQL_E_NOT_COMMITTED, SQL_E_DAMAGED,
// E_READ_ONLY, E_NOT_SUPPORTED, E_WRONG_STATE, KPR_E_NO_SPACE, E_OUTOFMEMORY, KPR_E_TOO_LARGE, and E_FAIL for
// whatever is none of these.
#pragma once

#include "kfw/sql/ISqlStatement.h"

namespace vel::kos::sql {

/// What some databases can do and others cannot.
enum SqlFeature : uint32_t {
    SQL_FEATURE_MANY_RESULTS = 1,        ///< other statements run while rows are open; else E_WRONG_STATE
    SQL_FEATURE_STATEMENT_ROLLBACK = 2,  ///< a statement that fails leaves its transaction open
    SQL_FEATURE_ROWS_ACROSS_COMMIT = 4,  ///< open rows can be read on after a commit
    SQL_FEATURE_TEXT_WITH_NUL = 8,       ///< a text may hold NULs
    SQL_FEATURE_DECIMALS = 16,           ///< columns for exact decimals
    SQL_FEATURE_DATES = 32,              ///< columns for dates and times that take nothing else
    SQL_FEATURE_POSITIONS = 64,          ///< errors tell where in the statement
    SQL_FEATURE_ISOLATION = 128,         ///< weaker isolation than serializable is available
    SQL_FEATURE_NAN = 256,               ///< doubles may be "not a number"
    SQL_FEATURE_TRANSACTIONAL_DDL = 512, ///< a rollback takes back what made or dropped tables
    SQL_FEATURE_INFINITY = 1024,         ///< doubles may be infinite
};

/// When a transaction takes the database's locks, and what it may do.
enum SqlTransactionMode : uint32_t {
    SQL_BEGIN_DEFERRED = 0,  ///< with the first statement that needs them
    SQL_BEGIN_IMMEDIATE = 1, ///< the one for writing at once, where the database has a single one
    SQL_BEGIN_READ_ONLY = 2, ///< changes fail with E_READ_ONLY
};

/// How far a transaction is kept from what others do: at least as far as it says.
enum SqlIsolation : uint32_t {
    SQL_ISOLATION_DEFAULT = 0,
    SQL_ISOLATION_READ_COMMITTED = 1,
    SQL_ISOLATION_REPEATABLE_READ = 2,
    SQL_ISOLATION_SERIALIZABLE = 3,
};

/// Where a connection's transaction stands.
enum SqlTransactionState : uint32_t {
    SQL_TRANSACTION_NONE = 0,
    SQL_TRANSACTION_OPEN = 1,
    /// It can only be rolled back, or to a savepoint where the database still has it; all else returns
    /// E_WRONG_STATE.
    SQL_TRANSACTION_FAILED = 2,
};

/// One connection. It is closed when the last reference to it, its statements and its rows goes; what is not
/// committed is then rolled back.
class ISqlDatabase : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlDatabase:1.0";

    /// The type name of the factory that made it.
    virtual uint32_t getDatabaseType(char** pType) = 0;
    /// The SqlFeature flags of the database.
    virtual uint32_t getFeatures(uint32_t* pFeatures) = 0;
    /// Prepares one statement, with one reference for the caller.
    virtual uint32_t prepare(const char* pStatement, ISqlStatement** pPrepared) = 0;
    /// Runs one statement once, as ISqlStatement::execute. pValues (may be null) is borrowed for the call.
    virtual uint32_t execute(const char* pStatement, const SqlValueList* pValues, uint64_t* pChanged) = 0;
    /// Runs one statement once, as ISqlStatement::query. pValues (may be null) is borrowed for the call.
    virtual uint32_t query(const char* pStatement, const SqlValueList* pValues, ISqlRows** pRows) = 0;
    /// Runs statements without parameters that are separated by ";", in order, up to the first that fails,
    /// and drops their rows. *pStatements (may be null) gets how many have run; a position in the error
    /// counts from the start of the script. It makes no transaction.
    virtual uint32_t executeScript(const char* pScript, uint64_t* pStatements) = 0;

    /// Starts a transaction (SqlTransactionMode, SqlIsolation); E_WRONG_STATE when there is one.
    virtual uint32_t begin(uint32_t pMode, uint32_t pIsolation) = 0;
    /// Ends the transaction and keeps its changes; E_WRONG_STATE when there is none. 0 only when they have
    /// been kept. SQL_E_NOT_COMMITTED when the transaction had failed: it has then been rolled back, and is
    /// over. After any other failure getTransactionState tells whether it is still there.
    virtual uint32_t commit() = 0;
    /// Ends the transaction, a failed one too, and drops its changes; E_WRONG_STATE when there is none.
    virtual uint32_t rollback() = 0;
    /// Sets a savepoint of that name within the transaction. Names are letters, digits and "_", and do not
    /// start with a digit (E_INVALIDARG).
    virtual uint32_t savepoint(const char* pName) = 0;
    /// Drops what has changed since the savepoint, which stays.
    virtual uint32_t rollbackTo(const char* pName) = 0;
    /// Forgets a savepoint and keeps what has changed since.
    virtual uint32_t releaseSavepoint(const char* pName) = 0;
    /// SqlTransactionState, also of a transaction that was begun by a statement.
    virtual uint32_t getTransactionState(uint32_t* pState) = 0;

    /// How long one call may take, in milliseconds, before the statement is stopped (SQL_E_TIMEOUT); 0, as at
    /// first, for as long as it takes.
    virtual uint32_t setTimeout(uint32_t pMilliseconds) = 0;
    /// Has the statement that is running stop: its call returns SQL_E_CANCELLED, unless it was done by then.
    /// When nothing is running it does nothing. Any thread that holds a reference.
    virtual uint32_t cancel() = 0;
    /// Asks the database for a sign of life: 0, or SQL_E_CONNECTION when it is lost, for good.
    virtual uint32_t check() = 0;
    /// The tables and views, in order: columns "schema", "name" and "kind" ("table" or "view").
    virtual uint32_t listTables(ISqlRows** pRows) = 0;
    /// The columns of a table or view ("name", or "schema.name"), in order: columns "name", "type",
    /// "nullable" (0 or 1), "default" (NULL for none) and "key" (its place in the primary key from 1, or 0).
    /// SQL_E_NO_OBJECT when there is no such table.
    virtual uint32_t describeTable(const char* pTable, ISqlRows** pRows) = 0;
    /// Why the last failing operation of this connection, its statements or its rows failed.
    virtual uint32_t getError(SqlError* pError) = 0;

protected:
    ~ISqlDatabase() = default;
};

using ISqlDatabase_Adapter = kom::Adapter<ISqlDatabase>;

} // namespace vel::kos::sql
