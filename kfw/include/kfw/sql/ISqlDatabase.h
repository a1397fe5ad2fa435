// A connection to an SQL database, as driver modules implement it.
//
// Values are texts in UTF-8, or null for SQL's NULL. Strings handed out are kom heap strings, freed by the
// receiver. A connection and its rows are for one thread at a time. When an operation fails, getErrorText
// tells in the driver's own words why. Required pointers that are null answer E_INVALIDARG.
#pragma once

#include "kom/adapter.h"

namespace vel::kos::sql {

/// The values of a statement's parameters, in order; a null entry is NULL. Borrowed for the call.
struct SqlParameters {
    uint32_t mCount;
    const char* const* mValues;
};

/// The rows of a query, read forwards once.
class ISqlRows : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlRows:1.0";

    virtual uint32_t getColumnCount(uint32_t* pCount) = 0;
    /// A column's name, columns counted from 0; E_INVALIDARG past the last.
    virtual uint32_t getColumnName(uint32_t pColumn, char** pName) = 0;
    /// Goes to the next row, the first one at the first call: *pRow is 1, or 0 when there is none left.
    virtual uint32_t next(uint32_t* pRow) = 0;
    /// The value of a column of the current row; null for NULL. E_WRONG_STATE without a current row,
    /// E_INVALIDARG past the last column.
    virtual uint32_t getText(uint32_t pColumn, char** pText) = 0;

protected:
    ~ISqlRows() = default;
};

using ISqlRows_Adapter = kom::Adapter<ISqlRows>;

/// One connection. It is closed when the last reference to it and to its rows goes; what is not committed is
/// then rolled back.
class ISqlDatabase : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlDatabase:1.0";

    /// The type name of the factory that made it.
    virtual uint32_t getDatabaseType(char** pType) = 0;
    /// Runs one statement without rows. Parameters stand as "?" in the text; pParameters may be null.
    /// *pChanged (may be null) gets how many rows it inserted, updated or deleted.
    virtual uint32_t execute(const char* pStatement, const SqlParameters* pParameters,
                             uint64_t* pChanged) = 0;
    /// Runs one statement and returns its rows, with one reference for the caller. They keep the connection.
    virtual uint32_t query(const char* pStatement, const SqlParameters* pParameters, ISqlRows** pRows) = 0;
    /// Starts a transaction; E_WRONG_STATE when one is open.
    virtual uint32_t begin() = 0;
    /// Ends the transaction and keeps its changes; E_WRONG_STATE when none is open.
    virtual uint32_t commit() = 0;
    /// Ends the transaction and drops its changes; E_WRONG_STATE when none is open.
    virtual uint32_t rollback() = 0;
    /// Why the last failing operation of this connection, or of its rows, failed; "" before the first.
    virtual uint32_t getErrorText(char** pText) = 0;

protected:
    ~ISqlDatabase() = default;
};

using ISqlDatabase_Adapter = kom::Adapter<ISqlDatabase>;

} // namespace vel::kos::sql
