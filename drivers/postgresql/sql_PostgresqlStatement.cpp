#include "drivers/postgresql/sql_PostgresqlStatement.h"

#include <algorithm>
#include <charconv>
#include <climits>

#include "drivers/postgresql/sql_PostgresqlTypes.h"

namespace vel::kos::drivers {

PostgresqlStatement::~PostgresqlStatement()
{
    if (mIsPrepared && !mName.empty()) mDatabase->forget(mName);
}

/// The one result of something that is no run.
uint32_t PostgresqlStatement::oneResult(PgResult& pResult)
{
    pResult = mDatabase->nextResult();
    const uint32_t tRes = mDatabase->checkResult(pResult, text());
    mDatabase->drain();
    return tRes;
}

uint32_t PostgresqlStatement::prepare()
{
    PGconn* const tHandle = mDatabase->handle();
    PgResult tResult;
    uint32_t tRes =
        mDatabase->sent(gLibpq.sendPrepare(tHandle, mName.c_str(), text().text.c_str(), 0, nullptr));
    if (!KFAILED(tRes)) tRes = oneResult(tResult);
    if (KFAILED(tRes)) return tRes;
    mIsPrepared = true;
    tRes = mDatabase->sent(gLibpq.sendDescribe(tHandle, mName.c_str()));
    if (!KFAILED(tRes)) tRes = oneResult(tResult);
    if (KFAILED(tRes)) return tRes;
    const int tParameters = gLibpq.parameters(tResult.get());
    if (static_cast<size_t>(tParameters) != text().names.size())
        return mDatabase->fail(SQL_E_PARAMETERS, "parameters are written \"?\" or \":name\"");
    mTypes.clear();
    for (int i = 0; i < tParameters; ++i)
        mTypes.push_back(gLibpq.parameterType(tResult.get(), i));
    takeColumns(tResult);
    return 0;
}

void PostgresqlStatement::takeColumns(const PgResult& pResult)
{
    const auto tColumns = std::make_shared<Columns>(static_cast<size_t>(gLibpq.columns(pResult.get())));
    for (size_t i = 0; i < tColumns->size(); ++i) {
        const int tNumber = static_cast<int>(i);
        const unsigned tType = gLibpq.columnType(pResult.get(), tNumber);
        (*tColumns)[i] = {gLibpq.columnName(pResult.get(), tNumber),
                          nameOfPg(tType, gLibpq.columnModifier(pResult.get(), tNumber)), typeOfPg(tType),
                          sql::SQL_NULLS_UNKNOWN};
    }
    mBuffers.resize(tColumns->size());
    mColumns = tColumns;
}

uint32_t PostgresqlStatement::encode(const sql::SqlValue* pValues)
{
    const size_t tCount = text().names.size();
    mTypes.resize(tCount);
    mTexts.resize(tCount);
    mValues.assign(tCount, nullptr);
    mLengths.assign(tCount, 0);
    mFormats.assign(tCount, 0);
    for (size_t i = 0; i < tCount; ++i) {
        const sql::SqlValue& tValue = pValues[i];
        if (tValue.mSize > INT_MAX) return mDatabase->fail(failureOf("54000", "a value is too long"));
        if (tValue.mType == sql::SQL_VALUE_NULL) continue;
        if (tValue.mType == sql::SQL_VALUE_BYTES) {
            if (mTypes[i] != PG_BYTES)
                return mDatabase->fail(failureOf("42804", "bytes were given for parameter " +
                                                              std::to_string(i) + ", which takes none"));
            mValues[i] = tValue.mSize > 0 ? tValue.mData : "";
            mLengths[i] = static_cast<int>(tValue.mSize);
            mFormats[i] = 1;
        } else if (textForPg(tValue, mTexts[i])) {
            mValues[i] = mTexts[i].c_str();
        } else {
            return mDatabase->fail(failureOf("22021", "PostgreSQL's texts hold no NUL"));
        }
    }
    return 0;
}

uint32_t PostgresqlStatement::start(const sql::SqlValue* pValues, bool)
{
    mIsOver = true;
    if (!mIsPrepared) mColumns.reset();
    mDatabase->sendingBegins();
    // Where bytes are no parameter's type they would be stored as a text that spells them.
    const auto tIsBytes = [](const sql::SqlValue& pValue) { return pValue.mType == sql::SQL_VALUE_BYTES; };
    if (!mIsPrepared && std::any_of(pValues, pValues + text().names.size(), tIsBytes))
        if (auto tRes = prepare(); KFAILED(tRes)) return tRes;
    if (auto tRes = encode(pValues); KFAILED(tRes)) return tRes;
    PGconn* const tHandle = mDatabase->handle();
    const int tCount = static_cast<int>(mValues.size());
    const int tSent = mIsPrepared
                          ? gLibpq.sendPrepared(tHandle, mName.c_str(), tCount, mValues.data(),
                                                mLengths.data(), mFormats.data(), 0)
                          : gLibpq.sendQueryParams(tHandle, text().text.c_str(), tCount, mTypes.data(),
                                                   mValues.data(), mLengths.data(), mFormats.data(), 0);
    mIsOver = tSent == 0;
    if (tSent) gLibpq.setSingleRows(tHandle);
    if (auto tRes = mDatabase->sent(tSent); KFAILED(tRes)) return tRes;
    return step();
}

uint32_t PostgresqlStatement::step()
{
    mOnRow = false;
    mRow = mDatabase->nextResult();
    if (auto tRes = mDatabase->checkResult(mRow, text()); KFAILED(tRes)) return tRes;
    if (!mColumns) takeColumns(mRow);
    mOnRow = gLibpq.resultStatus(mRow.get()) == PGRES_SINGLE_TUPLE;
    if (mOnRow) return 0;
    const std::string_view tTag = gLibpq.commandStatus(mRow.get());
    if (!tTag.starts_with("SELECT") && !tTag.starts_with("FETCH") && !tTag.starts_with("MOVE")) {
        const std::string_view tChanged = gLibpq.changed(mRow.get());
        std::from_chars(tChanged.data(), tChanged.data() + tChanged.size(), mChanged);
    }
    uint32_t tRes = restOfResults();
    // It was to keep a transaction; the server calls what it has done instead a success.
    if (!KFAILED(tRes) && tTag == "ROLLBACK" && !text().rollsBack) {
        mDatabase->statementSucceeded(text(), true);
        tRes = mDatabase->fail(SQL_E_NOT_COMMITTED, "the server has rolled the transaction back");
    }
    if (KFAILED(tRes)) mChanged = 0;
    return tRes;
}

/// Without a transaction a statement is kept only after its own result: whether it was comes in another.
uint32_t PostgresqlStatement::restOfResults()
{
    uint32_t tRes = 0;
    while (const PgResult tMore = mDatabase->nextResult())
        if (auto tOne = mDatabase->checkResult(tMore, text()); KFAILED(tOne) && !KFAILED(tRes)) tRes = tOne;
    mIsOver = true;
    return KFAILED(tRes) ? tRes : mDatabase->lostNow();
}

uint32_t PostgresqlStatement::read(sql::SqlValue* pRow)
{
    PGresult* const tRow = mRow.get();
    for (size_t i = 0; i < mColumns->size(); ++i) {
        const int tNumber = static_cast<int>(i);
        if (gLibpq.isNull(tRow, 0, tNumber))
            pRow[i] = sql::nullValue();
        else
            pRow[i] = valueOfPg(
                (*mColumns)[i].type,
                {gLibpq.value(tRow, 0, tNumber), static_cast<size_t>(gLibpq.length(tRow, 0, tNumber))},
                mBuffers[i]);
    }
    return 0;
}

uint32_t PostgresqlStatement::finish()
{
    mRow = PgResult();
    if (mIsOver) return 0;
    if (mOnRow) return restOfResults();
    mIsOver = true;
    mDatabase->drain();
    return 0;
}

uint32_t PostgresqlStatement::describe(std::shared_ptr<const Columns>& pColumns)
{
    pColumns = mColumns ? mColumns : std::make_shared<const Columns>();
    return 0;
}

} // namespace vel::kos::drivers
