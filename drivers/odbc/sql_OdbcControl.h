// Statements that begin and end transactions. ODBC wants them as calls of its own: a driver knows nothing of
// what a text has begun.
#pragma once

#include "drivers/odbc/sql_OdbcDatabase.h"
#include "drivers/odbc/sql_OdbcText.h"
#include "drivers/support/sql_Statement.h"

namespace vel::kos::drivers {

class OdbcControl final : public Statement {
public:
    OdbcControl(OdbcDatabase* pDatabase, ParsedStatement pText, Control pControl)
        : Statement(pDatabase, std::move(pText)), mDatabase(pDatabase), mControl(pControl)
    {
    }

protected:
    uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) override;
    uint32_t step() override { return 0; }
    uint32_t read(sql::SqlValue*) override { return 0; }
    uint32_t finish() override { return 0; }
    uint32_t describe(std::shared_ptr<const Columns>& pColumns) override;

private:
    OdbcDatabase* const mDatabase;
    const Control mControl;
};

} // namespace vel::kos::drivers
