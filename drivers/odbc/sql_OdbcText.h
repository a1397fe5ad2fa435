// Texts as ODBC takes and gives them: UTF-16, the connection strings of its drivers, statements that are
// calls.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drivers/support/sql_Description.h"
#include "drivers/support/sql_Scanner.h"

namespace vel::kos::drivers {

/// UTF-8 to UTF-16; false when the bytes are no UTF-8 (surrogates and what is longer than need be are none).
bool toUtf16(std::string_view pText, std::u16string& pUtf16);
/// UTF-16 to UTF-8; false when a surrogate stands alone.
bool toUtf8(std::u16string_view pUtf16, std::string& pText);

/// What SQLDriverConnect is given: "KEY=value;" pairs, the data source or driver first. Values are enclosed
/// in "{}" where they have to be; a driver's name may be in them already. "type" and "connect_timeout" are
/// left out, "user" and "password" are called UID and PWD. pProblem tells why there can be none.
std::string connectionString(const Description& pDescription, std::string& pProblem);
/// The description's secrets as they stand in it, and as they stand in the connection string.
std::vector<std::string> secretsOfConnection(const Description& pDescription);

/// What a statement does to transactions, of which a driver has to be told by other means than a text.
enum class Control {
    NONE,     ///< any other statement
    BEGIN,    ///< BEGIN or START TRANSACTION, and nothing else
    COMMIT,   ///< COMMIT or END
    ROLLBACK, ///< ROLLBACK
    OTHER,    ///< one that begins a transaction with modes or levels of its own
};
Control controlOf(const ParsedStatement& pText, const Dialect& pDialect);

/// What a driver says, without the names of those who hand it on: "[maker][driver]text" is "text".
std::string tidyOdbc(std::string_view pText);

} // namespace vel::kos::drivers
