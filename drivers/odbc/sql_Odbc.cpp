#include "drivers/odbc/sql_Odbc.h"

namespace vel::kos::drivers {

Odbc gOdbc;

bool Odbc::load()
{
    if (primaryKeys) return true;
#if defined(_WIN32)
    if (!library.load({"odbc32.dll"})) return false;
#else
    if (!library.load({"libodbc.so.2"})) return false;
#endif
    return library.bind("SQLAllocHandle", allocate) && library.bind("SQLFreeHandle", free) &&
           library.bind("SQLSetEnvAttr", setEnvironment) &&
           library.bind("SQLSetConnectAttrW", setConnection) &&
           library.bind("SQLGetConnectAttrW", getConnection) && library.bind("SQLDriverConnectW", connect) &&
           library.bind("SQLDisconnect", disconnect) && library.bind("SQLGetInfoW", getInfo) &&
           library.bind("SQLGetDiagRecW", diagnostics) && library.bind("SQLEndTran", endTransaction) &&
           library.bind("SQLExecDirectW", executeText) && library.bind("SQLPrepareW", prepare) &&
           library.bind("SQLExecDirect", executeNarrow) && library.bind("SQLPrepare", prepareNarrow) &&
           library.bind("SQLDescribeCol", describeNarrow) && library.bind("SQLExecute", execute) &&
           library.bind("SQLNumParams", parameters) && library.bind("SQLBindParameter", bindParameter) &&
           library.bind("SQLNumResultCols", columns) && library.bind("SQLDescribeColW", describeColumn) &&
           library.bind("SQLColAttributeW", columnAttribute) && library.bind("SQLFetch", fetch) &&
           library.bind("SQLGetData", getData) && library.bind("SQLRowCount", changedRows) &&
           library.bind("SQLMoreResults", moreResults) && library.bind("SQLFreeStmt", freeStatement) &&
           library.bind("SQLCancel", cancel) && library.bind("SQLTablesW", tables) &&
           library.bind("SQLColumnsW", tableColumns) && library.bind("SQLPrimaryKeysW", primaryKeys);
}

} // namespace vel::kos::drivers
