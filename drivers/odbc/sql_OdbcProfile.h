// What is known of the databases behind ODBC that ODBC itself does not tell.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "drivers/support/sql_Scanner.h"

namespace vel::kos::drivers {

/// What an error stands for whose SQLSTATE says too little. The first that fits counts.
struct OdbcMeaning {
    int32_t nativeCode;   ///< 0: any
    const char* text;     ///< a part of the text; null: any
    const char* sqlState; ///< the one that says it
};

/// How to find out, after a statement has failed, whether its transaction has outlived it.
enum class AfterFailure {
    KEPT,   ///< it has, unless the SQLSTATE (40...) says that it was rolled back
    ASKED,  ///< nothing else runs in one that has failed
    NESTED, ///< "BEGIN" fails while there is one
};

struct OdbcProfile {
    const char* name; ///< how SQLGetInfo's name of the database begins; "" for every other
    Dialect dialect;
    uint32_t has;   ///< features that it has, whatever ODBC says
    uint32_t lacks; ///< features that it has not
    /// The statements that begin transactions (deferred, immediate, read-only), and "COMMIT" and "ROLLBACK"
    /// end them; null where ODBC's own calls do.
    const char* const* begins;
    const char* readOnly;    ///< what makes the transaction that has begun read-only; null when nothing does
    const char* notReadOnly; ///< what undoes that at its end; null when it ends with it
    /// The columns of a table's primary key and their places, with two parameters: where it is, and its name;
    /// null where ODBC's own function tells.
    const char* keys;
    /// A column holds values of any type, whatever it is declared as.
    bool anyType;
    AfterFailure afterFailure;
    const OdbcMeaning* meanings; ///< up to one whose sqlState is null
};

/// The profile of the database that SQLGetInfo calls so.
const OdbcProfile& profileOf(std::string_view pName);
/// The SQLSTATE that says most about an error.
std::string bestState(const OdbcProfile& pProfile, std::string pSqlState, int32_t pNativeCode,
                      std::string_view pText);

} // namespace vel::kos::drivers
