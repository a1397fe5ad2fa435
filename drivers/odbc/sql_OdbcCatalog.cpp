#include "drivers/odbc/sql_OdbcCatalog.h"

#include <algorithm>
#include <charconv>
#include <tuple>

#include "drivers/odbc/sql_OdbcText.h"

namespace vel::kos::drivers {

namespace {

constexpr int16_t ALL = -3; ///< the length of a text with a NUL behind it

/// Stands for NULL: no name of a database holds it.
constexpr char ABSENT[] = "\x01";

OwnedValue textOf(const std::string& pText)
{
    return OwnedValue(pText == ABSENT ? sql::nullValue()
                                      : sql::dataValue(sql::SQL_VALUE_TEXT, pText.data(), pText.size()));
}

int64_t number(const std::string& pText, int64_t pDefault)
{
    int64_t tNumber = pDefault;
    std::from_chars(pText.data(), pText.data() + pText.size(), tNumber);
    return tNumber;
}

/// Schemas in which databases keep what they know of themselves.
bool isOfSystem(const std::string& pSchema)
{
    return pSchema == "information_schema" || pSchema == "INFORMATION_SCHEMA" ||
           pSchema == "performance_schema" || pSchema == "pg_catalog" || pSchema == "pg_toast" ||
           pSchema == "sys";
}

/// The schema, or the database where there are no schemas.
std::string place(const std::string& pCatalog, const std::string& pSchema)
{
    if (pSchema != ABSENT && !pSchema.empty()) return pSchema;
    return pCatalog == ABSENT ? std::string() : pCatalog;
}

} // namespace

template <class TCall>
uint32_t OdbcCatalog::ask(TCall pCall, const std::vector<uint16_t>& pColumns,
                          std::vector<std::vector<std::string>>& pRows)
{
    OdbcHandle tHandle;
    if (auto tRes = mDatabase->makeHandle(tHandle); KFAILED(tRes)) return tRes;
    const Odbc::Handle tStatement = tHandle.get();
    if (auto tRes =
            mDatabase->checkCall(mDatabase->timed(tStatement, [&] { return pCall(tStatement); }), tStatement);
        KFAILED(tRes))
        return tRes;
    OdbcReader tReader;
    for (;;) {
        const Odbc::Return tFetched = mDatabase->timed(tStatement, [&] { return gOdbc.fetch(tStatement); });
        if (tFetched == odbc::NO_DATA) return 0;
        if (auto tRes = mDatabase->checkCall(tFetched, tStatement); KFAILED(tRes)) return tRes;
        std::vector<std::string> tRow;
        for (const uint16_t tColumn : pColumns) {
            sql::SqlValue tValue;
            std::string tText;
            const Odbc::Return tRead = tReader.read(tStatement, tColumn, sql::SQL_VALUE_TEXT, tValue, tText);
            if (tRead == OdbcReader::NO_TEXT)
                return mDatabase->fail(failureOf("22021", "a name in the database is no UTF-16"));
            if (auto tRes = mDatabase->checkCall(tRead, tStatement); KFAILED(tRes)) return tRes;
            tRow.push_back(tValue.mType == sql::SQL_VALUE_NULL ? std::string(ABSENT) : tText);
        }
        pRows.push_back(std::move(tRow));
    }
}

uint32_t OdbcCatalog::gatherTables()
{
    std::vector<std::vector<std::string>> tFound;
    const std::u16string tCatalog = mDatabase->catalog();
    if (auto tRes = ask(
            [&](Odbc::Handle pStatement) {
                return gOdbc.tables(pStatement, tCatalog.empty() ? nullptr : tCatalog.c_str(),
                                    tCatalog.empty() ? int16_t{0} : ALL, nullptr, 0, u"%", ALL, u"TABLE,VIEW",
                                    ALL);
            },
            {1, 2, 3, 4}, tFound);
        KFAILED(tRes))
        return tRes;
    std::vector<std::tuple<std::string, std::string, std::string>> tTables;
    for (const auto& tRow : tFound) {
        const std::string tPlace = place(tRow[0], tRow[1]);
        if (!isOfSystem(tPlace))
            tTables.emplace_back(tPlace, tRow[2],
                                 tRow[3].find("VIEW") != std::string::npos ? "view" : "table");
    }
    std::sort(tTables.begin(), tTables.end());
    for (const auto& [tSchema, tName, tKind] : tTables)
        mRows.push_back({textOf(tSchema), textOf(tName), textOf(tKind)});
    return 0;
}

uint32_t OdbcCatalog::gatherColumns()
{
    const auto tDot = mTable.find('.');
    const std::string tWanted = tDot == std::string::npos ? "" : mTable.substr(0, tDot);
    const std::string tName = tDot == std::string::npos ? mTable : mTable.substr(tDot + 1);
    std::u16string tWide;
    if (!toUtf16(tName, tWide)) return 0;
    std::vector<std::vector<std::string>> tFound, tKeys;
    // Of a table whose place is not told the connection's own counts. The name counts as a pattern, which
    // fits itself, and more.
    const std::u16string tOwn = tWanted.empty() ? mDatabase->catalog() : std::u16string();
    if (auto tRes = ask(
            [&](Odbc::Handle pStatement) {
                return gOdbc.tableColumns(pStatement, tOwn.empty() ? nullptr : tOwn.c_str(),
                                          tOwn.empty() ? int16_t{0} : ALL, nullptr, 0, tWide.c_str(), ALL,
                                          u"%", ALL);
            },
            {1, 2, 3, 4, 5, 6, 7, 9, 11, 13}, tFound);
        KFAILED(tRes))
        return tRes;
    std::erase_if(tFound, [&](const auto& pRow) {
        const std::string tPlace = place(pRow[0], pRow[1]);
        return pRow[2] != tName || (tWanted.empty() ? isOfSystem(tPlace) : tPlace != tWanted);
    });
    if (tFound.empty()) return 0;
    // Of several tables of one name the first counts.
    const std::string tCatalog = tFound[0][0], tSchema = tFound[0][1];
    std::erase_if(tFound, [&](const auto& pRow) { return pRow[0] != tCatalog || pRow[1] != tSchema; });
    std::u16string tWideCatalog, tWideSchema;
    toUtf16(tCatalog, tWideCatalog);
    toUtf16(tSchema, tWideSchema);
    const bool tHasCatalog = tCatalog != ABSENT && !tCatalog.empty(),
               tHasSchema = tSchema != ABSENT && !tSchema.empty();
    OdbcParameter tParameters[2];
    const auto tAsk = [&](Odbc::Handle pStatement) {
        if (const char* const tText = mDatabase->profile().keys) {
            // The driver's own function counts them wrongly.
            const std::string tPlace = place(tCatalog, tSchema);
            const std::string* const tWhich[] = {&tPlace, &tName};
            Odbc::Return tReturn = mDatabase->prepareText(pStatement, tText);
            for (uint16_t i = 0; i < 2 && odbc::succeeded(tReturn); ++i) {
                std::string tState, tProblem;
                const auto tValue = sql::dataValue(sql::SQL_VALUE_TEXT, tWhich[i]->data(), tWhich[i]->size());
                if (tParameters[i].take(tValue, 0, tState, tProblem))
                    tReturn = tParameters[i].bind(pStatement, static_cast<uint16_t>(i + 1));
            }
            return odbc::succeeded(tReturn) ? gOdbc.execute(pStatement) : tReturn;
        }
        return gOdbc.primaryKeys(pStatement, tHasCatalog ? tWideCatalog.c_str() : nullptr,
                                 tHasCatalog ? ALL : int16_t{0}, tHasSchema ? tWideSchema.c_str() : nullptr,
                                 tHasSchema ? ALL : int16_t{0}, tWide.c_str(), ALL);
    };
    const bool tOfText = mDatabase->profile().keys != nullptr;
    if (auto tRes = ask(tAsk, tOfText ? std::vector<uint16_t>{1, 2} : std::vector<uint16_t>{4, 5}, tKeys);
        KFAILED(tRes))
        return tRes;
    for (const auto& tRow : tFound) {
        int64_t tKey = 0;
        for (const auto& tPart : tKeys)
            if (tPart[0] == tRow[3]) tKey = number(tPart[1], 0);
        const std::string tType =
            declaredOdbc(tRow[5], static_cast<int16_t>(number(tRow[4], 0)),
                         static_cast<uint64_t>(number(tRow[6], 0)), static_cast<int16_t>(number(tRow[7], 0)));
        mRows.push_back({textOf(tRow[3]), textOf(tType),
                         OwnedValue(sql::integerValue(number(tRow[8], 1) == 0 ? 0 : 1)),
                         textOf(tRow[9] == "NULL" ? ABSENT : tRow[9]), OwnedValue(sql::integerValue(tKey))});
    }
    return 0;
}

uint32_t OdbcCatalog::start(const sql::SqlValue*, bool)
{
    mRows.clear();
    mAt = 0;
    const uint32_t tRes = mTable == TABLES ? gatherTables() : gatherColumns();
    mOnRow = !KFAILED(tRes) && !mRows.empty();
    return tRes;
}

uint32_t OdbcCatalog::step()
{
    mOnRow = ++mAt < mRows.size();
    return 0;
}

uint32_t OdbcCatalog::read(sql::SqlValue* pRow)
{
    for (size_t i = 0; i < mRows[mAt].size(); ++i)
        pRow[i] = mRows[mAt][i].value();
    return 0;
}

uint32_t OdbcCatalog::finish()
{
    mRows.clear();
    return 0;
}

uint32_t OdbcCatalog::describe(std::shared_ptr<const Columns>& pColumns)
{
    const auto tColumns = std::make_shared<Columns>();
    const bool tTables = mTable == TABLES;
    for (const char* tName : {"schema", "name", "kind"})
        if (tTables) tColumns->push_back({tName, "", sql::SQL_VALUE_TEXT, sql::SQL_NULLS_REFUSED});
    for (const char* tName : {"name", "type", "nullable", "default", "key"})
        if (!tTables) {
            const bool tNumber = std::string_view(tName) == "nullable" || std::string_view(tName) == "key";
            tColumns->push_back(
                {tName, "", tNumber ? uint32_t{sql::SQL_VALUE_INTEGER} : uint32_t{sql::SQL_VALUE_TEXT},
                 std::string_view(tName) == "default" ? sql::SQL_NULLS_TAKEN : sql::SQL_NULLS_REFUSED});
        }
    pColumns = tColumns;
    return 0;
}

} // namespace vel::kos::drivers
