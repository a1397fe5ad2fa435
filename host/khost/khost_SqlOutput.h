// Rows as khost prints them.
#pragma once

#include <cstdint>

#include "kfw/sql/ISqlStatement.h"

namespace vel::kos::host {

class Session;

enum class SqlForm {
    TABLE, ///< aligned columns under a header, for people
    TABS,  ///< a line for each row
    CSV,   ///< as RFC 4180 has it, with a header
    JSON,  ///< an array of objects
};

/// Prints every row that is left; *pCount gets how many. The code of the failure that ended them.
uint32_t printSqlRows(Session& pSession, sql::ISqlRows* pRows, SqlForm pForm, bool pHeader, uint64_t* pCount);

} // namespace vel::kos::host
