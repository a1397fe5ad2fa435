// The parts of a connection and of a result that are the same for every driver.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kfw/sql/ISqlDatabase.h"
#include "kom/implements.h"

namespace vel::kos::drivers {

/// One connection, with the text of its last failure. A driver derives from it and gives it its statements.
class Connection : public kom::Implements<Connection, sql::ISqlDatabase> {
    friend Implements;

public:
    /// pType is the driver's database type, a static text.
    explicit Connection(const char* pType) : mType(pType) {}
    virtual ~Connection() = default;

    uint32_t getDatabaseType(char** pType) override;
    uint32_t begin() override;
    uint32_t commit() override;
    uint32_t rollback() override;
    uint32_t getErrorText(char** pText) override;

protected:
    virtual bool isInTransaction() = 0;
    /// Ends the open transaction and keeps it; a failure where the database kept nothing of it.
    virtual uint32_t runCommit() { return execute("COMMIT", nullptr, nullptr); }
    /// Keeps the text for getErrorText and returns the code.
    uint32_t fail(uint32_t pCode, std::string pText);
    /// Whether a caller's parameters are as many as a statement wants, and there; E_INVALIDARG otherwise.
    uint32_t checkParameters(const sql::SqlParameters* pParameters, uint32_t pWanted);

private:
    /// E_WRONG_STATE unless a transaction is open, or none is, as pInside says.
    uint32_t checkTransaction(bool pInside);

    kom::RefCount mRefCount;
    const char* const mType;
    std::string mError;
};

/// The rows of a result. A driver derives from it and moves it on with next().
class ResultRows : public kom::Implements<ResultRows, sql::ISqlRows> {
    friend Implements;

public:
    virtual ~ResultRows() = default;

    uint32_t getColumnCount(uint32_t* pCount) override;
    uint32_t getColumnName(uint32_t pColumn, char** pName) override;
    uint32_t getText(uint32_t pColumn, char** pText) override;

protected:
    virtual int columnCount() const = 0;
    /// Columns are counted from 0 and lie within columnCount().
    virtual const char* columnName(int pColumn) const = 0;
    /// Whether next() has reached a row that has not been left.
    virtual bool isOnRow() const = 0;
    /// A value of the row, valid until the next call; none for NULL.
    virtual std::optional<std::string_view> text(int pColumn) const = 0;

private:
    bool has(uint32_t pColumn) const { return pColumn < static_cast<uint32_t>(columnCount()); }

    kom::RefCount mRefCount;
};

} // namespace vel::kos::drivers
