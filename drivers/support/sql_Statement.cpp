#include "drivers/support/sql_Statement.h"

#include <algorithm>
#include <new>
#include <utility>

namespace vel::kos::drivers {

namespace {

/// The rows of a statement's open run.
class Rows final : public kom::Implements<Rows, sql::ISqlRows> {
    friend Implements;

public:
    Rows(kom::Ref<Statement> pStatement, std::shared_ptr<const Columns> pColumns)
        : mStatement(std::move(pStatement)), mColumns(std::move(pColumns))
    {
        if (!mStatement->isOnRow()) end();
    }
    virtual ~Rows()
    {
        try {
            end();
        } catch (const std::bad_alloc&) {
            // There was no memory for the words of a failure, which nobody asks for any more.
        }
    }

    uint32_t getColumns(sql::SqlColumnList* pColumns) override
    {
        if (!pColumns) return E_INVALIDARG;
        *pColumns = toBlock(*mColumns);
        return 0;
    }
    uint32_t next(sql::SqlValueList* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        *pRow = {};
        if (!mOpen) return 0;
        const TimedCall tCall(mStatement->connection());
        const uint32_t tRes = mStatement->nextRow(&pRow->mValues);
        if (pRow->mValues)
            pRow->mCount = static_cast<uint32_t>(mColumns->size());
        else
            end();
        return tRes;
    }
    uint32_t fetch(uint32_t pMaxRows, sql::SqlRowBlock* pBlock) override
    {
        if (!pBlock) return E_INVALIDARG;
        *pBlock = {};
        if (pMaxRows == 0) return E_INVALIDARG;
        if (!mOpen) return 0;
        const TimedCall tCall(mStatement->connection());
        BlockWriter tBlock;
        for (uint32_t i = 0; i < pMaxRows && mOpen; ++i) {
            const sql::SqlValue* tRow = nullptr;
            const uint32_t tRes = mStatement->nextRow(&tRow);
            if (tRow)
                tBlock.add(tRow, static_cast<uint32_t>(mColumns->size()));
            else
                end();
            if (KFAILED(tRes)) return tRes;
        }
        *pBlock = tBlock.toBlock();
        return 0;
    }
    uint32_t getChanged(uint64_t* pChanged) override
    {
        if (!pChanged) return E_INVALIDARG;
        *pChanged = mChanged;
        return 0;
    }
    uint32_t close() override { return end(); }

private:
    uint32_t end()
    {
        if (!std::exchange(mOpen, false)) return 0;
        const TimedCall tCall(mStatement->connection());
        const uint32_t tRes = mStatement->endRun();
        mChanged = mStatement->changed();
        return tRes;
    }

    kom::RefCount mRefCount;
    const kom::Ref<Statement> mStatement;
    const std::shared_ptr<const Columns> mColumns;
    bool mOpen = true;
    uint64_t mChanged = 0;
};

} // namespace

uint32_t Statement::getParameterCount(uint32_t* pCount)
{
    if (!pCount) return E_INVALIDARG;
    *pCount = static_cast<uint32_t>(mBound.size());
    return 0;
}

uint32_t Statement::getParameterName(uint32_t pParameter, char** pName)
{
    if (!pName) return E_INVALIDARG;
    *pName = nullptr;
    if (pParameter >= mBound.size()) return mConnection->fail(E_INVALIDARG, "there is no such parameter");
    const std::string& tName = mText.names[pParameter];
    if (!tName.empty()) *pName = komStrDup(tName.c_str());
    return 0;
}

uint32_t Statement::getColumns(sql::SqlColumnList* pColumns)
{
    if (!pColumns) return E_INVALIDARG;
    *pColumns = {};
    std::shared_ptr<const Columns> tColumns;
    const TimedCall tCall(*mConnection);
    if (auto tRes = describe(tColumns); KFAILED(tRes)) return tRes;
    *pColumns = toBlock(*tColumns);
    return 0;
}

uint32_t Statement::bind(uint32_t pParameter, const sql::SqlValue* pValue)
{
    if (!pValue) return E_INVALIDARG;
    if (!isValue(*pValue)) return mConnection->fail(E_INVALIDARG, "the value is none");
    if (mRunning) return mConnection->fail(E_WRONG_STATE, "the rows of the statement are open");
    if (pParameter >= mBound.size())
        return mConnection->fail(SQL_E_PARAMETERS, "the statement has " + std::to_string(mBound.size()) +
                                                       " parameters, and none with the number " +
                                                       std::to_string(pParameter));
    mBound[pParameter] = OwnedValue(*pValue);
    mIsBound[pParameter] = true;
    return 0;
}

uint32_t Statement::bindName(const char* pName, const sql::SqlValue* pValue)
{
    if (!pName || !pValue) return E_INVALIDARG;
    const std::string_view tName = *pName == ':' ? pName + 1 : pName;
    const auto tFound = std::find(mText.names.begin(), mText.names.end(), tName);
    if (tName.empty() || tFound == mText.names.end())
        return mConnection->fail(SQL_E_PARAMETERS,
                                 "the statement has no parameter \":" + std::string(tName) + "\"");
    return bind(static_cast<uint32_t>(tFound - mText.names.begin()), pValue);
}

uint32_t Statement::clear()
{
    if (mRunning) return mConnection->fail(E_WRONG_STATE, "the rows of the statement are open");
    std::fill(mIsBound.begin(), mIsBound.end(), false);
    std::fill(mBound.begin(), mBound.end(), OwnedValue());
    return 0;
}

uint32_t Statement::check(const sql::SqlValue* pValues, uint32_t pCount, bool pBorrowed)
{
    if (pBorrowed) {
        if (pCount > 0 && !pValues) return mConnection->fail(E_INVALIDARG, "the parameters have no values");
        if (pCount != mBound.size())
            return mConnection->fail(SQL_E_PARAMETERS, "the statement has " + std::to_string(mBound.size()) +
                                                           " parameters, and " + std::to_string(pCount) +
                                                           " values were given");
        for (uint32_t i = 0; i < pCount; ++i)
            if (!isValue(pValues[i]))
                return mConnection->fail(E_INVALIDARG,
                                         "the value of parameter " + std::to_string(i) + " is none");
    } else if (const auto tMissing = std::find(mIsBound.begin(), mIsBound.end(), false);
               tMissing != mIsBound.end()) {
        return mConnection->fail(
            SQL_E_PARAMETERS, "parameter " + std::to_string(tMissing - mIsBound.begin()) + " has no value");
    }
    return 0;
}

uint32_t Statement::begin(const sql::SqlValueList* pValues, bool pRows)
{
    if (auto tRes =
            check(pValues ? pValues->mValues : nullptr, pValues ? pValues->mCount : 0, pValues != nullptr);
        KFAILED(tRes))
        return tRes;
    if (mRunning) return mConnection->fail(E_WRONG_STATE, "the rows of the statement are open");
    if (pValues) return runWith(pValues->mValues, pRows);
    mValues.clear();
    for (const OwnedValue& tValue : mBound)
        mValues.push_back(tValue.value());
    return runWith(mValues.data(), false);
}

uint32_t Statement::runWith(const sql::SqlValue* pValues, bool pBorrowed)
{
    if (auto tRes = mConnection->runBegins(); KFAILED(tRes)) return tRes;
    mRunning = true;
    mOnRow = false;
    mChanged = 0;
    mEpoch = mConnection->epoch();
    uint32_t tRes = 0;
    try {
        tRes = start(pValues, pBorrowed);
    } catch (...) {
        endRun(); // there is no memory
        throw;
    }
    if (KFAILED(tRes)) {
        endRun();
        return tRes;
    }
    mFirst = mOnRow;
    if (!mOnRow) mConnection->statementSucceeded(mText);
    return 0;
}

uint32_t Statement::readOn()
{
    const uint32_t tRes = step();
    if (KFAILED(tRes)) {
        endRun();
        return tRes;
    }
    if (!mOnRow) mConnection->statementSucceeded(mText);
    return 0;
}

uint32_t Statement::runToEnd()
{
    while (mOnRow)
        if (auto tRes = readOn(); KFAILED(tRes)) return tRes;
    endRun();
    return 0;
}

uint32_t Statement::endRun()
{
    if (!std::exchange(mRunning, false)) return 0;
    struct End {
        ~End()
        {
            statement.mOnRow = false;
            statement.mConnection->runEnded();
        }
        Statement& statement;
    } const tEnd{*this};
    const uint32_t tRes = finish();
    if (KFAILED(tRes)) mChanged = 0;
    return tRes;
}

uint32_t Statement::nextRow(const sql::SqlValue** pRow)
{
    *pRow = nullptr;
    if (mEpoch != mConnection->epoch() || mConnection->isDropped()) {
        mOnRow = false; // what becomes of the statement is known
        return mConnection->fail(
            failureOf("24000", "the transaction in which the rows were read has been rolled back"));
    }
    if (!std::exchange(mFirst, false))
        if (auto tRes = readOn(); KFAILED(tRes)) return tRes;
    if (!mOnRow) return 0;
    if (auto tRes = read(mRow.data()); KFAILED(tRes)) return tRes;
    *pRow = mRow.data();
    return 0;
}

uint32_t Statement::execute(const sql::SqlValueList* pValues, uint64_t* pChanged)
{
    if (pChanged) *pChanged = 0;
    const TimedCall tCall(*mConnection);
    if (auto tRes = begin(pValues, false); KFAILED(tRes)) return tRes;
    if (auto tRes = runToEnd(); KFAILED(tRes)) return tRes;
    if (pChanged) *pChanged = mChanged;
    return 0;
}

uint32_t Statement::query(const sql::SqlValueList* pValues, sql::ISqlRows** pRows)
{
    if (!pRows) return E_INVALIDARG;
    *pRows = nullptr;
    const TimedCall tCall(*mConnection);
    if (auto tRes = begin(pValues, true); KFAILED(tRes)) return tRes;
    try {
        std::shared_ptr<const Columns> tColumns;
        if (auto tRes = describe(tColumns); KFAILED(tRes)) {
            endRun();
            return tRes;
        }
        mRow.resize(std::max<size_t>(tColumns->size(), 1));
        *pRows = kom::retain(new Rows(kom::retain(this), std::move(tColumns))).detach();
    } catch (...) {
        endRun(); // there is no memory
        throw;
    }
    return 0;
}

uint32_t Statement::executeBatch(uint32_t pRows, const sql::SqlValue* pValues, uint64_t* pChanged,
                                 uint32_t* pFailedRow)
{
    if (pChanged) *pChanged = 0;
    if (pFailedRow) *pFailedRow = pRows;
    if (mRunning) return mConnection->fail(E_WRONG_STATE, "the rows of the statement are open");
    const auto tCount = static_cast<uint32_t>(mBound.size());
    if (pRows > 0 && tCount > 0 && !pValues)
        return mConnection->fail(E_INVALIDARG, "the parameters have no values");
    if (pRows == 0) return 0;
    const TimedCall tCall(*mConnection);
    uint64_t tChanged = 0;
    const uint32_t tRes = mConnection->runAsOne([&]() -> uint32_t {
        for (uint32_t i = 0; i < pRows; ++i) {
            const sql::SqlValueList tValues{tCount, tCount ? pValues + size_t{i} * tCount : nullptr};
            uint32_t tOne = begin(&tValues, false);
            if (!KFAILED(tOne)) tOne = runToEnd();
            if (KFAILED(tOne)) {
                if (pFailedRow) *pFailedRow = i;
                return tOne;
            }
            tChanged += mChanged;
        }
        return 0;
    });
    if (!KFAILED(tRes) && pChanged) *pChanged = tChanged;
    return tRes;
}

} // namespace vel::kos::drivers
