#include "drivers/sqlite/sql_SqliteStatement.h"

#include <cctype>

namespace vel::kos::drivers {

namespace {

/// What a text is in a column that was declared so.
uint32_t textType(const char* pDeclared)
{
    std::string tDeclared;
    for (; pDeclared && *pDeclared && *pDeclared != '('; ++pDeclared)
        tDeclared += static_cast<char>(std::toupper(static_cast<unsigned char>(*pDeclared)));
    while (!tDeclared.empty() && tDeclared.back() == ' ')
        tDeclared.pop_back();
    if (tDeclared == "DATE") return sql::SQL_VALUE_DATE;
    if (tDeclared == "TIME") return sql::SQL_VALUE_TIME;
    if (tDeclared == "TIMESTAMP" || tDeclared == "DATETIME") return sql::SQL_VALUE_TIMESTAMP;
    if (tDeclared == "DECIMAL" || tDeclared == "NUMERIC") return sql::SQL_VALUE_DECIMAL;
    return sql::SQL_VALUE_TEXT;
}

} // namespace

SqliteStatement::~SqliteStatement() { gSqlite.finalize(mHandle); }

int SqliteStatement::bindOne(int pNumber, const sql::SqlValue& pValue, sqlite3_destructor_type pKeep)
{
    const char* const tData = pValue.mData ? pValue.mData : "";
    switch (pValue.mType) {
    case sql::SQL_VALUE_NULL:
        return gSqlite.bindNull(mHandle, pNumber);
    case sql::SQL_VALUE_INTEGER:
        return gSqlite.bindInteger(mHandle, pNumber, pValue.mInteger);
    case sql::SQL_VALUE_DOUBLE:
        return gSqlite.bindDouble(mHandle, pNumber, pValue.mDouble);
    case sql::SQL_VALUE_BYTES:
        return gSqlite.bindBytes(mHandle, pNumber, tData, pValue.mSize, pKeep);
    default:
        return gSqlite.bindText(mHandle, pNumber, tData, pValue.mSize, pKeep, SQLITE_UTF8);
    }
}

uint32_t SqliteStatement::start(const sql::SqlValue* pValues, bool pBorrowed)
{
    const auto tCount = static_cast<int>(text().names.size());
    mHasCopies = pBorrowed && tCount > 0;
    for (int i = 0; i < tCount; ++i)
        if (pValues[i].mType == sql::SQL_VALUE_DOUBLE && pValues[i].mDouble != pValues[i].mDouble)
            return mDatabase->fail(failureOf("22003", "SQLite has no \"not a number\""));
        else if (bindOne(i + 1, pValues[i], pBorrowed ? SQLITE_TRANSIENT : SQLITE_STATIC) != SQLITE_OK)
            return mDatabase->fail(mDatabase->failed());
    mChangesBefore = gSqlite.totalChanges(mDatabase->handle());
    return step();
}

uint32_t SqliteStatement::step()
{
    const int tState = gSqlite.step(mHandle);
    mOnRow = tState == SQLITE_ROW;
    if (mOnRow) return 0;
    if (tState != SQLITE_DONE) return mDatabase->fail(mDatabase->failed());
    // A statement that changes no rows leaves the count of an earlier one standing.
    if (gSqlite.totalChanges(mDatabase->handle()) != mChangesBefore)
        mChanged = static_cast<uint64_t>(gSqlite.changes(mDatabase->handle()));
    return 0;
}

uint32_t SqliteStatement::read(sql::SqlValue* pRow)
{
    const auto tCount = static_cast<int>(mTextTypes.size());
    for (int i = 0; i < tCount; ++i) {
        switch (gSqlite.columnType(mHandle, i)) {
        case SQLITE_NULL:
            pRow[i] = sql::nullValue();
            break;
        case SQLITE_INTEGER:
            pRow[i] = sql::integerValue(gSqlite.columnInteger(mHandle, i));
            break;
        case SQLITE_FLOAT:
            pRow[i] = sql::doubleValue(gSqlite.columnDouble(mHandle, i));
            break;
        case SQLITE_BLOB: {
            // The library has no NUL behind them, and no memory looks like no bytes.
            const void* tData = gSqlite.columnBlob(mHandle, i);
            const auto tSize = static_cast<size_t>(gSqlite.columnBytes(mHandle, i));
            if (!tData && (tSize > 0 || (gSqlite.errorCode(mDatabase->handle()) & 0xFF) == SQLITE_NOMEM))
                return mDatabase->fail(E_OUTOFMEMORY, "there is no memory for a value");
            std::string& tBytes = mBytes[static_cast<size_t>(i)];
            tBytes.assign(tData ? static_cast<const char*>(tData) : "", tSize);
            pRow[i] = sql::dataValue(sql::SQL_VALUE_BYTES, tBytes.data(), tSize);
            break;
        }
        default: {
            const void* tData = gSqlite.columnText(mHandle, i);
            if (!tData) return mDatabase->fail(E_OUTOFMEMORY, "there is no memory for a value");
            const auto tSize = static_cast<uint64_t>(gSqlite.columnBytes(mHandle, i));
            const uint32_t tType = mTextTypes[static_cast<size_t>(i)];
            pRow[i] = sql::dataValue(sql::SQL_VALUE_TEXT, tData, tSize);
            // A column holds whatever was put there.
            if (tType != sql::SQL_VALUE_TEXT && looksLike(tType, {pRow[i].mData, static_cast<size_t>(tSize)}))
                pRow[i].mType = tType;
        }
        }
    }
    return 0;
}

uint32_t SqliteStatement::finish()
{
    // Without a transaction a statement that was on a row is committed here; elsewhere it repeats an old
    // failure.
    uint32_t tRes = 0;
    if (gSqlite.reset(mHandle) != SQLITE_OK && mOnRow) tRes = mDatabase->fail(mDatabase->failed());
    if (mHasCopies) gSqlite.clearBindings(mHandle);
    return tRes;
}

uint32_t SqliteStatement::describe(std::shared_ptr<const Columns>& pColumns)
{
    const auto tColumns = std::make_shared<Columns>(static_cast<size_t>(gSqlite.columnCount(mHandle)));
    mTextTypes.resize(tColumns->size());
    mBytes.resize(tColumns->size());
    for (size_t i = 0; i < tColumns->size(); ++i) {
        const int tNumber = static_cast<int>(i);
        Column& tColumn = (*tColumns)[i];
        const char* const tName = gSqlite.columnName(mHandle, tNumber);
        const char* const tDeclared = gSqlite.columnDeclared(mHandle, tNumber);
        tColumn.name = tName ? tName : "";
        tColumn.declaredType = tDeclared ? tDeclared : "";
        mTextTypes[i] = textType(tDeclared);
        if (!gSqlite.columnTable || !gSqlite.columnDatabase || !gSqlite.columnOrigin || !gSqlite.metadata)
            continue;
        const char* const tTable = gSqlite.columnTable(mHandle, tNumber);
        int tNotNull = 0;
        if (tTable && gSqlite.metadata(mDatabase->handle(), gSqlite.columnDatabase(mHandle, tNumber), tTable,
                                       gSqlite.columnOrigin(mHandle, tNumber), nullptr, nullptr, &tNotNull,
                                       nullptr, nullptr) == SQLITE_OK)
            tColumn.nullable = tNotNull ? sql::SQL_NULLS_REFUSED : sql::SQL_NULLS_TAKEN;
    }
    pColumns = tColumns;
    return 0;
}

} // namespace vel::kos::drivers
