#include "drivers/postgresql/sql_Libpq.h"

namespace vel::kos::drivers {

Libpq gLibpq;

bool Libpq::load()
{
    if (transactionStatus) return true;
#if defined(_WIN32)
    if (!library.load({"libpq.dll"})) return false;
#else
    if (!library.load({"libpq.so.5"})) return false;
#endif
    return library.bind("PQconndefaults", options) && library.bind("PQconninfoFree", freeOptions) &&
           library.bind("PQconnectStartParams", connectStart) && library.bind("PQconnectPoll", connectPoll) &&
           library.bind("PQfinish", finish) && library.bind("PQstatus", status) &&
           library.bind("PQsocket", socket) && library.bind("PQserverVersion", serverVersion) &&
           library.bind("PQparameterStatus", parameterStatus) &&
           library.bind("PQerrorMessage", errorMessage) &&
           library.bind("PQsetNoticeProcessor", setNoticeProcessor) &&
           library.bind("PQsetnonblocking", setNonBlocking) && library.bind("PQsendQuery", sendQuery) &&
           library.bind("PQsendQueryParams", sendQueryParams) && library.bind("PQsendPrepare", sendPrepare) &&
           library.bind("PQsendDescribePrepared", sendDescribe) &&
           library.bind("PQsendQueryPrepared", sendPrepared) &&
           library.bind("PQsetSingleRowMode", setSingleRows) && library.bind("PQflush", flush) &&
           library.bind("PQconsumeInput", consumeInput) && library.bind("PQisBusy", isBusy) &&
           library.bind("PQgetResult", getResult) && library.bind("PQputCopyEnd", endCopy) &&
           library.bind("PQgetCopyData", copyData) && library.bind("PQfreemem", freeMemory) &&
           library.bind("PQgetCancel", getCancel) && library.bind("PQfreeCancel", freeCancel) &&
           library.bind("PQcancel", cancel) && library.bind("PQresultStatus", resultStatus) &&
           library.bind("PQresultErrorField", errorField) && library.bind("PQcmdStatus", commandStatus) &&
           library.bind("PQclear", clear) && library.bind("PQnfields", columns) &&
           library.bind("PQfname", columnName) && library.bind("PQftype", columnType) &&
           library.bind("PQfmod", columnModifier) && library.bind("PQnparams", parameters) &&
           library.bind("PQparamtype", parameterType) && library.bind("PQgetvalue", value) &&
           library.bind("PQgetlength", length) && library.bind("PQgetisnull", isNull) &&
           library.bind("PQcmdTuples", changed) && library.bind("PQtransactionStatus", transactionStatus);
}

} // namespace vel::kos::drivers
