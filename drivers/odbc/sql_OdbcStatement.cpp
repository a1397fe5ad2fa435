#include "drivers/odbc/sql_OdbcStatement.h"

#include <utility>

namespace vel::kos::drivers {

uint32_t OdbcStatement::prepare()
{
    const Odbc::Handle tHandle = mHandle.get();
    Odbc::Return tReturn =
        mDatabase->timed(tHandle, [&] { return mDatabase->prepareText(tHandle, text().text); });
    int16_t tCount = 0;
    if (odbc::succeeded(tReturn))
        tReturn = mDatabase->timed(tHandle, [&] { return gOdbc.parameters(tHandle, &tCount); });
    if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    // Each driver looks for them in its own way; one that has found others would read what is not there.
    if (static_cast<size_t>(tCount) != text().places.size())
        return mDatabase->fail(SQL_E_PARAMETERS, "parameters are written \"?\" or \":name\"");
    // Some prepare no sooner than they are asked for the columns.
    tReturn = mDatabase->timed(tHandle, [&] { return gOdbc.columns(tHandle, &tCount); });
    if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    mIsPrepared = true;
    return takeColumns(tCount);
}

uint32_t OdbcStatement::takeColumns(int16_t pCount)
{
    const Odbc::Handle tHandle = mHandle.get();
    const auto tColumns = std::make_shared<Columns>();
    for (int16_t i = 1; i <= pCount; ++i) {
        Column tColumn;
        if (!describeOdbc(tHandle, static_cast<uint16_t>(i), mDatabase->isNarrow(), tColumn))
            return mDatabase->checkCall(odbc::FAILED, tHandle);
        // What is declared binds nobody there, and the driver does not look at it either.
        if (mDatabase->profile().anyType) tColumn.nullable = sql::SQL_NULLS_UNKNOWN;
        tColumns->push_back(std::move(tColumn));
    }
    mBuffers.resize(tColumns->size());
    mColumns = tColumns;
    return 0;
}

uint32_t OdbcStatement::bindAll(const sql::SqlValue* pValues)
{
    const std::vector<uint32_t>& tPlaces = text().places;
    // They stay where they are: ODBC keeps their addresses.
    mParameters.resize(tPlaces.size());
    for (size_t i = 0; i < tPlaces.size(); ++i) {
        std::string tState, tProblem;
        if (!mParameters[i].take(pValues[tPlaces[i]], mDatabase->profile().lacks, tState, tProblem))
            return mDatabase->fail(failureOf(tState, tProblem));
        if (auto tRes = mDatabase->checkCall(mParameters[i].bind(mHandle.get(), static_cast<uint16_t>(i + 1)),
                                             mHandle.get());
            KFAILED(tRes))
            return tRes;
    }
    return 0;
}

uint32_t OdbcStatement::start(const sql::SqlValue* pValues, bool)
{
    mOnRow = false;
    const Odbc::Handle tHandle = mHandle.get();
    if (auto tRes = bindAll(pValues); KFAILED(tRes)) return tRes;
    Odbc::Return tReturn = mDatabase->timed(tHandle, [&] {
        return mIsPrepared ? gOdbc.execute(tHandle) : mDatabase->executeText(tHandle, text().text);
    });
    if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    // Procedures may begin with results that are no rows.
    int16_t tCount = 0;
    while (tReturn != odbc::NO_DATA) {
        if (auto tRes = mDatabase->checkCall(gOdbc.columns(tHandle, &tCount), tHandle); KFAILED(tRes))
            return tRes;
        if (tCount > 0) break;
        if (auto tRes = countChanged(); KFAILED(tRes)) return tRes;
        tReturn = mDatabase->timed(tHandle, [&] { return gOdbc.moreResults(tHandle); });
        if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    }
    if (auto tRes = takeColumns(tCount); KFAILED(tRes)) return tRes;
    if (tCount > 0) return step();
    mDatabase->transactionWorks();
    return 0;
}

/// The rows of a query count as changed for some drivers.
bool OdbcStatement::changesRows() const
{
    const std::string tWord = firstWord(text().text, mDatabase->profile().dialect);
    return tWord == "insert" || tWord == "update" || tWord == "delete" || tWord == "replace" ||
           tWord == "merge";
}

uint32_t OdbcStatement::countChanged()
{
    Odbc::Length tRows = 0;
    if (auto tRes = mDatabase->checkCall(gOdbc.changedRows(mHandle.get(), &tRows), mHandle.get());
        KFAILED(tRes))
        return tRes;
    if (tRows > 0 && changesRows()) mChanged += static_cast<uint64_t>(tRows);
    return 0;
}

/// After the last row: what there is behind it is read and dropped, for a failure may be among it.
uint32_t OdbcStatement::end()
{
    if (auto tRes = countChanged(); KFAILED(tRes)) return tRes;
    const Odbc::Handle tHandle = mHandle.get();
    Odbc::Return tReturn = odbc::SUCCESS;
    while (tReturn != odbc::NO_DATA) {
        tReturn = mDatabase->timed(tHandle, [&] { return gOdbc.moreResults(tHandle); });
        if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    }
    mDatabase->transactionWorks();
    return 0;
}

void OdbcStatement::count(bool pOpen)
{
    if (std::exchange(mHasRows, pOpen) == pOpen) return;
    if (pOpen)
        mDatabase->rowsOpened();
    else
        mDatabase->rowsClosed();
}

uint32_t OdbcStatement::step()
{
    const Odbc::Handle tHandle = mHandle.get();
    const Odbc::Return tReturn = mDatabase->timed(tHandle, [&] { return gOdbc.fetch(tHandle); });
    mOnRow = odbc::succeeded(tReturn);
    count(mOnRow);
    if (mOnRow) return 0;
    if (auto tRes = mDatabase->checkCall(tReturn, tHandle); KFAILED(tRes)) return tRes;
    return end();
}

uint32_t OdbcStatement::read(sql::SqlValue* pRow)
{
    for (size_t i = 0; i < mColumns->size(); ++i) {
        const auto tNumber = static_cast<uint16_t>(i + 1);
        const uint32_t tType = (*mColumns)[i].type;
        const bool tAsBytes = tType == sql::SQL_VALUE_TEXT && mDatabase->readsBytes();
        const uint32_t tAsked = tAsBytes ? uint32_t{sql::SQL_VALUE_BYTES} : tType;
        const Odbc::Return tReturn =
            mReader.read(mHandle.get(), tNumber, tAsked, pRow[i], mBuffers[i], mDatabase->profile().anyType);
        if (tReturn == OdbcReader::NO_TEXT)
            return mDatabase->fail(failureOf("22021", "a text of the database is no UTF-16"));
        if (auto tRes = mDatabase->checkCall(tReturn, mHandle.get()); KFAILED(tRes)) return tRes;
        if (tAsBytes && pRow[i].mType == sql::SQL_VALUE_BYTES) pRow[i].mType = sql::SQL_VALUE_TEXT;
    }
    return 0;
}

uint32_t OdbcStatement::finish()
{
    count(false);
    const Odbc::Handle tHandle = mHandle.get();
    const auto tClose = [tHandle] { return gOdbc.freeStatement(tHandle, odbc::CLOSE); };
    // What has ended is not stopped any more.
    if (!mOnRow) return tClose(), 0;
    return mDatabase->checkCall(mDatabase->timed(tHandle, tClose), tHandle);
}

uint32_t OdbcStatement::describe(std::shared_ptr<const Columns>& pColumns)
{
    pColumns = mColumns ? mColumns : std::make_shared<const Columns>();
    return 0;
}

} // namespace vel::kos::drivers
