#include "drivers/postgresql/sql_Libpq.h"

namespace vel::kos::drivers {

bool Libpq::load()
{
    if (transactionStatus) return true;
#if defined(_WIN32)
    if (!library.load({"libpq.dll"})) return false;
#else
    if (!library.load({"libpq.so.5"})) return false;
#endif
    return library.bind("PQconnectdbParams", connect) && library.bind("PQfinish", finish) &&
           library.bind("PQstatus", status) && library.bind("PQerrorMessage", errorMessage) &&
           library.bind("PQsetNoticeProcessor", setNoticeProcessor) &&
           library.bind("PQsetClientEncoding", setClientEncoding) && library.bind("PQexecParams", exec) &&
           library.bind("PQresultStatus", resultStatus) &&
           library.bind("PQresultErrorMessage", resultErrorMessage) && library.bind("PQclear", clear) &&
           library.bind("PQcmdStatus", commandStatus) && library.bind("PQntuples", rows) &&
           library.bind("PQnfields", columns) && library.bind("PQfname", columnName) &&
           library.bind("PQgetvalue", value) && library.bind("PQgetlength", length) &&
           library.bind("PQgetisnull", isNull) && library.bind("PQcmdTuples", changed) &&
           library.bind("PQtransactionStatus", transactionStatus);
}

} // namespace vel::kos::drivers
