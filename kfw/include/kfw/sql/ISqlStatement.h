// Rows of results, and statements that are prepared once and run many times. See ISqlDatabase.h for what
// counts for all of them: threads, errors, strings.
#pragma once

#include "kfw/sql/SqlValue.h"
#include "kom/adapter.h"

namespace vel::kos::sql {

/// The rows of a result, read forwards once, as they come from the database. They keep their statement and
/// its connection. At their end, and after a failure, they are closed.
class ISqlRows : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlRows:1.0";

    /// The columns; none for a statement without rows.
    virtual uint32_t getColumns(SqlColumnList* pColumns) = 0;
    /// The next row, the first one at the first call. The values are the rows' own and stay until the next
    /// operation of the rows. At the end the result is 0 and the list is empty and null. E_WRONG_STATE when
    /// the connection has rolled something back since they were opened.
    virtual uint32_t next(SqlValueList* pRow) = 0;
    /// The next rows, as many as there are but not more than pMaxRows (not 0): the receiver's own. No rows at
    /// the end. After a failure the rows before it are lost.
    virtual uint32_t fetch(uint32_t pMaxRows, SqlRowBlock* pBlock) = 0;
    /// How many rows the statement has inserted, updated or deleted; known once the rows are at their end.
    virtual uint32_t getChanged(uint64_t* pChanged) = 0;
    /// Gives up the rows that have not been read. What the statement does, it does all the same; a failure
    /// tells that it was not kept, which the last reference alone cannot.
    virtual uint32_t close() = 0;

protected:
    ~ISqlRows() = default;
};

using ISqlRows_Adapter = kom::Adapter<ISqlRows>;

/// A prepared statement. It keeps its connection. While the rows of a run are open it cannot run again, and
/// nothing can be bound (E_WRONG_STATE).
///
/// Parameters are numbered from 0. A run takes its values from the list it is given, which is borrowed for
/// the call, or, when that is null, from what has been bound. SQL_E_PARAMETERS when they are more or fewer
/// than the statement has.
class ISqlStatement : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlStatement:1.0";

    virtual uint32_t getParameterCount(uint32_t* pCount) = 0;
    /// The name of a parameter ":name" without its colon; null for a "?". E_INVALIDARG past the last one.
    virtual uint32_t getParameterName(uint32_t pParameter, char** pName) = 0;
    /// The columns that its rows will have; none for a statement without rows.
    virtual uint32_t getColumns(SqlColumnList* pColumns) = 0;
    /// Gives a parameter a value, which is copied and stays until another is bound. SQL_E_PARAMETERS past the
    /// last one.
    virtual uint32_t bind(uint32_t pParameter, const SqlValue* pValue) = 0;
    /// The same by name, with or without the colon. SQL_E_PARAMETERS when the statement has no such name.
    virtual uint32_t bindName(const char* pName, const SqlValue* pValue) = 0;
    /// Forgets every value that has been bound.
    virtual uint32_t clear() = 0;
    /// Runs the statement to its end. Rows that it may have are dropped. *pChanged (may be null) gets how
    /// many rows it has inserted, updated or deleted.
    virtual uint32_t execute(const SqlValueList* pValues, uint64_t* pChanged) = 0;
    /// Runs the statement and returns its rows, with one reference for the caller. When the call returns, the
    /// statement has run, or, if it has rows, runs at the latest with the first next.
    virtual uint32_t query(const SqlValueList* pValues, ISqlRows** pRows) = 0;
    /// Runs the statement pRows times, with pRows times as many values as it has parameters, one row of them
    /// behind the other. All or nothing: a transaction of its own, or, in an open one, a savepoint.
    /// *pChanged (may be null) gets the sum; after a failure *pFailedRow (may be null) tells the row, counted
    /// from 0, or is pRows when no row is to blame.
    virtual uint32_t executeBatch(uint32_t pRows, const SqlValue* pValues, uint64_t* pChanged,
                                  uint32_t* pFailedRow) = 0;

protected:
    ~ISqlStatement() = default;
};

using ISqlStatement_Adapter = kom::Adapter<ISqlStatement>;

} // namespace vel::kos::sql
