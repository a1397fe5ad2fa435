// What the commands of khost sql share: the drivers, connections, parameters, and how errors are reported.
#pragma once

#include <string>
#include <vector>

#include "host/khost/khost_Command.h"
#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"
#include "kom/ref.h"

namespace vel::kos::host {

using SqlRegistry = kom::Ref<sql::ISqlDatabaseFactoryRegistry>;

/// The registry with every driver in it; empty after a failure, which has been reported. A driver of the
/// folder that does not load is reported and left out, one that was asked for is a failure.
SqlRegistry openSqlRegistry(Session& pSession, const Arguments& pArguments);
/// The registered type names, in order.
std::vector<std::string> sqlTypes(sql::ISqlDatabaseFactoryRegistry* pRegistry);

/// A connection as "DESCRIPTION" and "--timeout" say. Empty after a failure, which has been reported;
/// *pStatus is then the exit status.
kom::Ref<sql::ISqlDatabase> openSqlDatabase(Session& pSession, const Arguments& pArguments, int* pStatus);
/// Tells of the last failure of a connection, with a mark under the place in the statement. Returns the
/// exit status.
int failSql(Session& pSession, sql::ISqlDatabase* pDatabase, uint32_t pCode, const std::string& pStatement);

/// The values of "--param" bound to a statement. False after a wrong one, which has been reported; *pStatus
/// is then the exit status.
bool bindSqlParameters(Session& pSession, const Arguments& pArguments, sql::ISqlDatabase* pDatabase,
                       sql::ISqlStatement* pStatement, const std::string& pText, int* pStatus);
/// What is wrong with a value of "--param"; "" for a good one.
std::string checkSqlParameter(const std::string& pText);

} // namespace vel::kos::host
