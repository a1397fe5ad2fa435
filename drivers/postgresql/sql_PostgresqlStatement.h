// A statement of a PostgreSQL server.
#pragma once

#include "drivers/postgresql/sql_PostgresqlDatabase.h"
#include "drivers/support/sql_Statement.h"

namespace vel::kos::drivers {

class PostgresqlStatement final : public Statement {
public:
    /// pName is that of a prepared statement, "" for one that runs once.
    PostgresqlStatement(PostgresqlDatabase* pDatabase, ParsedStatement pText, std::string pName)
        : Statement(pDatabase, std::move(pText)), mDatabase(pDatabase), mName(std::move(pName))
    {
    }
    ~PostgresqlStatement() override;

    /// Has the server prepare it, and tell its parameters and columns.
    uint32_t prepare();

protected:
    uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) override;
    uint32_t step() override;
    uint32_t read(sql::SqlValue* pRow) override;
    uint32_t finish() override;
    uint32_t describe(std::shared_ptr<const Columns>& pColumns) override;

private:
    uint32_t encode(const sql::SqlValue* pValues);
    void takeColumns(const PgResult& pResult);
    uint32_t oneResult(PgResult& pResult);
    uint32_t restOfResults();

    PostgresqlDatabase* const mDatabase;
    const std::string mName;
    bool mIsPrepared = false;
    bool mIsOver = false;             ///< every result of the run has been read
    std::vector<unsigned> mTypes;     ///< of the parameters; 0 where the server finds out
    std::vector<std::string> mTexts;  ///< of the values
    std::vector<const char*> mValues; ///< as the library takes them
    std::vector<int> mLengths, mFormats;
    std::shared_ptr<const Columns> mColumns;
    PgResult mRow;
    std::vector<std::string> mBuffers; ///< of values that have no place in the row
};

} // namespace vel::kos::drivers
