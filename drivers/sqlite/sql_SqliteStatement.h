// A statement of a SQLite database.
#pragma once

#include "drivers/sqlite/sql_SqliteDatabase.h"
#include "drivers/support/sql_Statement.h"

namespace vel::kos::drivers {

class SqliteStatement final : public Statement {
public:
    SqliteStatement(SqliteDatabase* pDatabase, SqliteHandle pHandle, ParsedStatement pText)
        : Statement(pDatabase, std::move(pText)), mDatabase(pDatabase), mHandle(pHandle.release())
    {
    }
    ~SqliteStatement() override;

protected:
    uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) override;
    uint32_t step() override;
    uint32_t read(sql::SqlValue* pRow) override;
    uint32_t finish() override;
    uint32_t describe(std::shared_ptr<const Columns>& pColumns) override;

private:
    int bindOne(int pNumber, const sql::SqlValue& pValue, sqlite3_destructor_type pKeep);

    SqliteDatabase* const mDatabase;
    sqlite3_stmt* const mHandle;
    std::vector<uint32_t> mTextTypes; ///< what a text in each column is, by its declared type
    std::vector<std::string> mBytes;  ///< of the row, by column
    int mChangesBefore = 0;
    bool mHasCopies = false;
};

} // namespace vel::kos::drivers
