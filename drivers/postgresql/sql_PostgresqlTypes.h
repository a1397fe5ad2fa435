// Between the server's types and texts, and values.
#pragma once

#include <string>
#include <string_view>

#include "kfw/sql/SqlValue.h"

namespace vel::kos::drivers {

constexpr unsigned PG_BYTES = 17; ///< the number of the type "bytea"

/// The SqlType of the values of a type, given by its number.
uint32_t typeOfPg(unsigned pType);
/// The type as the server spells it; "" for one that is not among those of every server.
std::string nameOfPg(unsigned pType, int pModifier);
/// A value from its text, which it borrows; or borrows pBuffer, where it has to be made.
sql::SqlValue valueOfPg(uint32_t pType, std::string_view pText, std::string& pBuffer);
/// The text of a value (not NULL, no bytes) that the server reads; false for a text with a NUL.
bool textForPg(const sql::SqlValue& pValue, std::string& pText);

} // namespace vel::kos::drivers
