// A database that can do nothing, for drivers that can do some things: they derive from it and override what
// their database has.
#pragma once

#include "kfw/sql/ISqlDatabase.h"

namespace vel::kos::sql {

/// Every operation but getDatabaseType returns E_NOT_SUPPORTED, with its outputs cleared. TBase implements
/// the interface's plumbing:
///
///     class Database : public sql::Unsupported<kom::Implements<Database, sql::ISqlDatabase>>
template <class TBase>
class Unsupported : public TBase {
public:
    uint32_t getFeatures(uint32_t* pFeatures) override { return pFeatures ? (*pFeatures = 0) : E_INVALIDARG; }
    uint32_t prepare(const char*, ISqlStatement** pPrepared) override { return refuse(pPrepared); }
    uint32_t execute(const char*, const SqlValueList*, uint64_t* pChanged) override
    {
        if (pChanged) *pChanged = 0;
        return E_NOT_SUPPORTED;
    }
    uint32_t query(const char*, const SqlValueList*, ISqlRows** pRows) override { return refuse(pRows); }
    uint32_t executeScript(const char*, uint64_t* pStatements) override
    {
        if (pStatements) *pStatements = 0;
        return E_NOT_SUPPORTED;
    }
    uint32_t begin(uint32_t, uint32_t) override { return E_NOT_SUPPORTED; }
    uint32_t commit() override { return E_NOT_SUPPORTED; }
    uint32_t rollback() override { return E_NOT_SUPPORTED; }
    uint32_t savepoint(const char*) override { return E_NOT_SUPPORTED; }
    uint32_t rollbackTo(const char*) override { return E_NOT_SUPPORTED; }
    uint32_t releaseSavepoint(const char*) override { return E_NOT_SUPPORTED; }
    uint32_t getTransactionState(uint32_t* pState) override
    {
        return pState ? (*pState = SQL_TRANSACTION_NONE, 0) : E_INVALIDARG;
    }
    uint32_t setTimeout(uint32_t) override { return E_NOT_SUPPORTED; }
    uint32_t cancel() override { return E_NOT_SUPPORTED; }
    uint32_t check() override { return E_NOT_SUPPORTED; }
    uint32_t listTables(ISqlRows** pRows) override { return refuse(pRows); }
    uint32_t describeTable(const char*, ISqlRows** pRows) override { return refuse(pRows); }
    uint32_t getError(SqlError* pError) override
    {
        if (!pError) return E_INVALIDARG;
        *pError = {};
        pError->mPosition = -1;
        return 0;
    }

protected:
    ~Unsupported() = default;

private:
    template <class T>
    static uint32_t refuse(T** pOut)
    {
        if (!pOut) return E_INVALIDARG;
        *pOut = nullptr;
        return E_NOT_SUPPORTED;
    }
};

} // namespace vel::kos::sql
