// The functions of PostgreSQL's client library that the driver calls, bound when it is first needed.
#pragma once

#include <libpq-fe.h>

#include "drivers/support/sql_Library.h"

namespace vel::kos::drivers {

struct Libpq {
    Library library;
    decltype(PQconnectdbParams)* connect = nullptr;
    decltype(PQfinish)* finish = nullptr;
    decltype(PQstatus)* status = nullptr;
    decltype(PQerrorMessage)* errorMessage = nullptr;
    decltype(PQsetNoticeProcessor)* setNoticeProcessor = nullptr;
    decltype(PQsetClientEncoding)* setClientEncoding = nullptr;
    decltype(PQexecParams)* exec = nullptr;
    decltype(PQresultStatus)* resultStatus = nullptr;
    decltype(PQresultErrorMessage)* resultErrorMessage = nullptr;
    decltype(PQcmdStatus)* commandStatus = nullptr;
    decltype(PQclear)* clear = nullptr;
    decltype(PQntuples)* rows = nullptr;
    decltype(PQnfields)* columns = nullptr;
    decltype(PQfname)* columnName = nullptr;
    decltype(PQgetvalue)* value = nullptr;
    decltype(PQgetlength)* length = nullptr;
    decltype(PQgetisnull)* isNull = nullptr;
    decltype(PQcmdTuples)* changed = nullptr;
    decltype(PQtransactionStatus)* transactionStatus = nullptr;

    /// Loads the library and binds every function; false, and library.problem() tells why, when it cannot.
    bool load();
};

} // namespace vel::kos::drivers
