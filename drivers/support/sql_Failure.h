// Why an operation failed, as the drivers keep it.
#pragma once

#include <string>
#include <string_view>

#include "kfw/sql/SqlValue.h"

namespace vel::kos::drivers {

struct Failure {
    uint32_t code = 0;
    uint32_t constraint = sql::SQL_CONSTRAINT_NONE;
    bool retry = false;
    int32_t nativeCode = 0;
    int64_t position = -1;
    std::string sqlState;
    std::string text;
};

/// What an SQLSTATE stands for: code, constraint and whether a retry makes sense.
Failure failureOf(std::string_view pSqlState, std::string pText, int32_t pNativeCode = 0);
/// What a description says that a driver cannot take.
Failure refused(std::string pText);
/// Fills the record; the text is a kom heap string of the receiver's.
void toRecord(const Failure& pFailure, sql::SqlError* pError);
/// Puts "***" in the place of a secret (none when it is empty) wherever it stands in a text.
void hideSecret(std::string& pText, std::string_view pSecret);

} // namespace vel::kos::drivers
