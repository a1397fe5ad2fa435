// What a database has, asked for with ODBC's own functions, which are the same for all of them.
#pragma once

#include "drivers/odbc/sql_OdbcDatabase.h"
#include "drivers/odbc/sql_OdbcTypes.h"
#include "drivers/support/sql_Statement.h"

namespace vel::kos::drivers {

/// A statement whose rows are tables, or the columns of one: gathered when it runs, since they are put in
/// order and come from several calls.
class OdbcCatalog final : public Statement {
public:
    /// The name that stands for all tables.
    static constexpr char TABLES[] = "";

    OdbcCatalog(OdbcDatabase* pDatabase, std::string pTable)
        : Statement(pDatabase, {}), mDatabase(pDatabase), mTable(std::move(pTable))
    {
    }

protected:
    uint32_t start(const sql::SqlValue* pValues, bool pBorrowed) override;
    uint32_t step() override;
    uint32_t read(sql::SqlValue* pRow) override;
    uint32_t finish() override;
    uint32_t describe(std::shared_ptr<const Columns>& pColumns) override;

private:
    using Row = std::vector<OwnedValue>;

    /// Runs a function of the catalogue and reads the columns of its rows that are asked for, as texts.
    template <class TCall>
    uint32_t ask(TCall pCall, const std::vector<uint16_t>& pColumns,
                 std::vector<std::vector<std::string>>& pRows);
    uint32_t gatherTables();
    uint32_t gatherColumns();

    OdbcDatabase* const mDatabase;
    const std::string mTable;
    std::vector<Row> mRows;
    size_t mAt = 0;
};

} // namespace vel::kos::drivers
