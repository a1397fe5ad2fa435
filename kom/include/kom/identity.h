// Comparison of identities and objects, and the texts of result codes.
#pragma once

#include <cstdint>

#include "kom/api.h"
#include "kom/unknown.h"

extern "C" {

/// 0 when the interface identities are equal: the whole string, case-sensitively. A null equals nothing.
KOM_API int komCompareIID(const char* pA, const char* pB);
/// 0 when the class identities (36-character lower-case UUID texts) are equal; as komCompareIID.
KOM_API int komCompareCLSID(const char* pA, const char* pB);
/// Whether two interfaces belong to one object: 0 when they do, the positive code 1 when they do not. An
/// interface that refuses "IDL:kom/IUnknown:1.0" gives its failure code, a null E_INVALIDARG.
KOM_API uint32_t komSameObject(kom::IUnknown* pA, kom::IUnknown* pB);
/// The text of a result code (static). A code that the table does not hold gets "unknown result code".
KOM_API const char* komStrError(uint32_t pCode);

/// One row of the table of result codes; all strings static.
struct KomResultCode {
    uint32_t code;
    const char* name;
    const char* text;
};

/// The table, in ascending order of the codes.
KOM_API const KomResultCode* komGetResultCodes(uint32_t* pCount);
/// A code's name, or "" when the table does not hold it (static).
KOM_API const char* komGetResultName(uint32_t pCode);

} // extern "C"
