// The part of a statement and of its rows that is the same for every driver.
#pragma once

#include <memory>
#include <vector>

#include "drivers/support/sql_Connection.h"
#include "drivers/support/sql_Values.h"

namespace vel::kos::drivers {

/// A statement, and the run of it that is open, if one is. A driver derives from it and runs it.
class Statement : public kom::Implements<Statement, sql::ISqlStatement> {
    friend Implements;

public:
    virtual ~Statement() = default;

    uint32_t getParameterCount(uint32_t* pCount) override;
    uint32_t getParameterName(uint32_t pParameter, char** pName) override;
    uint32_t getColumns(sql::SqlColumnList* pColumns) override;
    uint32_t bind(uint32_t pParameter, const sql::SqlValue* pValue) override;
    uint32_t bindName(const char* pName, const sql::SqlValue* pValue) override;
    uint32_t clear() override;
    uint32_t execute(const sql::SqlValueList* pValues, uint64_t* pChanged) override;
    uint32_t query(const sql::SqlValueList* pValues, sql::ISqlRows** pRows) override;
    uint32_t executeBatch(uint32_t pRows, const sql::SqlValue* pValues, uint64_t* pChanged,
                          uint32_t* pFailedRow) override;

    // For the statement's rows.

    /// The next row of the open run, in the statement's own memory; null at the end, when the run has ended.
    uint32_t nextRow(const sql::SqlValue** pRow);
    /// Ends the open run. Fails where the statement turns out not to have been kept while it was on a row.
    uint32_t endRun();
    bool isOnRow() const { return mOnRow; }
    uint64_t changed() const { return mChanged; }
    Connection& connection() { return *mConnection; }

protected:
    Statement(Connection* pConnection, ParsedStatement pText)
        : mConnection(kom::retain(pConnection)),
          mText(std::move(pText)),
          mBound(mText.names.size()),
          mIsBound(mText.names.size())
    {
    }

    // What a driver fills in. A failure is kept in the connection.

    /// Runs the statement up to its first row, or its end, with as many values as it has parameters. They
    /// live until the run ends, or, with pBorrowed, only as long as the call.
    virtual uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) = 0;
    /// Goes to the next row, or the end.
    virtual uint32_t step() = 0;
    /// Fills in the values of the row, which stay until the next step.
    virtual uint32_t read(sql::SqlValue* pRow) = 0;
    /// Ends a run, which may have failed, or not have started. Only while it is on a row is there something
    /// to tell: that the statement was not kept.
    virtual uint32_t finish() = 0;
    /// The columns, of the open run or, with none, of the next.
    virtual uint32_t describe(std::shared_ptr<const Columns>& pColumns) = 0;

    const ParsedStatement& text() const { return mText; }
    /// Whether the run is on a row; set by start and step.
    bool mOnRow = false;
    /// How many rows the run has changed; set by start and step at its end.
    uint64_t mChanged = 0;

private:
    uint32_t check(const sql::SqlValue* pValues, uint32_t pCount, bool pBorrowed);
    uint32_t begin(const sql::SqlValueList* pValues, bool pRows);
    uint32_t runWith(const sql::SqlValue* pValues, bool pBorrowed);
    uint32_t runToEnd();
    uint32_t readOn();

    kom::RefCount mRefCount;
    const kom::Ref<Connection> mConnection;
    const ParsedStatement mText;
    std::vector<OwnedValue> mBound;
    std::vector<bool> mIsBound;
    std::vector<sql::SqlValue> mValues; ///< of the bound ones, for a run
    std::vector<sql::SqlValue> mRow;
    bool mRunning = false;
    bool mFirst = false; ///< the row that the run is on has not been handed out
    uint32_t mEpoch = 0;
};

} // namespace vel::kos::drivers
