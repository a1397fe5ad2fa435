// The functions of PostgreSQL's client library that the driver calls, bound when it is first needed.
#pragma once

#include <memory>

#include <libpq-fe.h>

#include "drivers/support/sql_Library.h"

namespace vel::kos::drivers {

struct Libpq {
    Library library;
    decltype(PQconndefaults)* options = nullptr;
    decltype(PQconninfoFree)* freeOptions = nullptr;
    decltype(PQconnectStartParams)* connectStart = nullptr;
    decltype(PQconnectPoll)* connectPoll = nullptr;
    decltype(PQfinish)* finish = nullptr;
    decltype(PQstatus)* status = nullptr;
    decltype(PQsocket)* socket = nullptr;
    decltype(PQserverVersion)* serverVersion = nullptr;
    decltype(PQparameterStatus)* parameterStatus = nullptr;
    decltype(PQerrorMessage)* errorMessage = nullptr;
    decltype(PQsetNoticeProcessor)* setNoticeProcessor = nullptr;
    decltype(PQsetnonblocking)* setNonBlocking = nullptr;
    decltype(PQsendQuery)* sendQuery = nullptr;
    decltype(PQsendQueryParams)* sendQueryParams = nullptr;
    decltype(PQsendPrepare)* sendPrepare = nullptr;
    decltype(PQsendDescribePrepared)* sendDescribe = nullptr;
    decltype(PQsendQueryPrepared)* sendPrepared = nullptr;
    decltype(PQsetSingleRowMode)* setSingleRows = nullptr;
    decltype(PQflush)* flush = nullptr;
    decltype(PQconsumeInput)* consumeInput = nullptr;
    decltype(PQisBusy)* isBusy = nullptr;
    decltype(PQgetResult)* getResult = nullptr;
    decltype(PQputCopyEnd)* endCopy = nullptr;
    decltype(PQgetCopyData)* copyData = nullptr;
    decltype(PQfreemem)* freeMemory = nullptr;
    decltype(PQgetCancel)* getCancel = nullptr;
    decltype(PQfreeCancel)* freeCancel = nullptr;
    decltype(PQcancel)* cancel = nullptr;
    decltype(PQresultStatus)* resultStatus = nullptr;
    decltype(PQresultErrorField)* errorField = nullptr;
    decltype(PQcmdStatus)* commandStatus = nullptr;
    decltype(PQclear)* clear = nullptr;
    decltype(PQnfields)* columns = nullptr;
    decltype(PQfname)* columnName = nullptr;
    decltype(PQftype)* columnType = nullptr;
    decltype(PQfmod)* columnModifier = nullptr;
    decltype(PQnparams)* parameters = nullptr;
    decltype(PQparamtype)* parameterType = nullptr;
    decltype(PQgetvalue)* value = nullptr;
    decltype(PQgetlength)* length = nullptr;
    decltype(PQgetisnull)* isNull = nullptr;
    decltype(PQcmdTuples)* changed = nullptr;
    decltype(PQtransactionStatus)* transactionStatus = nullptr;

    /// Loads the library and binds every function; false, and library.problem() tells why, when it cannot.
    bool load();
};

/// The one of the module; loaded by whoever opens a database first.
extern Libpq gLibpq;

/// Closes a connection of the library.
struct PgCloser {
    void operator()(PGconn* pHandle) const { gLibpq.finish(pHandle); }
};
using PgConnection = std::unique_ptr<PGconn, PgCloser>;

} // namespace vel::kos::drivers
