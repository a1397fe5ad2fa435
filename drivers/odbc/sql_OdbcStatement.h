// A statement of a database behind ODBC.
#pragma once

#include "drivers/odbc/sql_OdbcDatabase.h"
#include "drivers/odbc/sql_OdbcTypes.h"
#include "drivers/support/sql_Statement.h"

namespace vel::kos::drivers {

class OdbcStatement final : public Statement {
public:
    OdbcStatement(OdbcDatabase* pDatabase, ParsedStatement pText, OdbcHandle pHandle)
        : Statement(pDatabase, std::move(pText)), mDatabase(pDatabase), mHandle(std::move(pHandle))
    {
    }

    /// Has the database prepare it.
    uint32_t prepare();

protected:
    uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) override;
    uint32_t step() override;
    uint32_t read(sql::SqlValue* pRow) override;
    uint32_t finish() override;
    uint32_t describe(std::shared_ptr<const Columns>& pColumns) override;

private:
    uint32_t bindAll(const sql::SqlValue* pValues);
    uint32_t takeColumns(int16_t pCount);
    uint32_t countChanged();
    uint32_t end();
    bool changesRows() const;
    void count(bool pOpen);

    OdbcDatabase* const mDatabase;
    const OdbcHandle mHandle;
    bool mIsPrepared = false;
    bool mHasRows = false; ///< counted as open
    std::vector<OdbcParameter> mParameters;
    std::shared_ptr<const Columns> mColumns;
    std::vector<std::string> mBuffers; ///< of the values of a row
    OdbcReader mReader;
};

} // namespace vel::kos::drivers
