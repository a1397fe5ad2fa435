// Result codes of the whole platform: one table gives every code its value, name and text.
//
// A result code is an unsigned 32-bit number. 0 is success; a code with the top bit set is a failure
// (KFAILED); a positive code is a success that carries a result. komStrError, `khost errors` and
// the reference page are made from KPR_RESULT_CODES, so a new code is added here and nowhere else.
#pragma once

#include <cstdint>

// X(name, value, text)
#define KPR_RESULT_CODES(X)                                                                                  \
    X(K_SUCCESS, 0x00000000u, "success")                                                                     \
    /* general */                                                                                            \
    X(E_WRONG_STATE, 0x80000100u, "operation called in the wrong state")                                     \
    X(E_NOT_SUPPORTED, 0x80000101u, "operation not supported")                                               \
    X(E_READ_ONLY, 0x80000102u, "the data is read-only")                                                     \
    X(E_INTERNAL, 0x80000103u, "internal inconsistency")                                                     \
    X(E_NOINTERFACE, 0x80004002u, "interface not supported")                                                 \
    X(E_FAIL, 0x80004005u, "operation failed")                                                               \
    X(E_OUTOFMEMORY, 0x8007000Eu, "out of memory")                                                           \
    X(E_INVALIDARG, 0x80070057u, "invalid argument")                                                         \
    /* portable runtime */                                                                                   \
    X(KPR_E_IO, 0x96230001u, "input/output error")                                                           \
    X(KPR_E_ACCESS_DENIED, 0x96230002u, "permission denied")                                                 \
    X(KPR_E_NOT_FOUND, 0x96230003u, "no such file or directory")                                             \
    X(KPR_E_NO_SPACE, 0x96230004u, "no space left on the volume")                                            \
    X(KPR_E_TOO_MANY_OPEN, 0x96230005u, "too many open files")                                               \
    X(KPR_E_BAD_HANDLE, 0x96230006u, "invalid handle")                                                       \
    X(KPR_E_IN_USE, 0x96230007u, "the file is in use by another process")                                    \
    X(KPR_E_LOCKED, 0x96230008u, "the lock is held elsewhere")                                               \
    X(KPR_E_IS_DIRECTORY, 0x96230009u, "is a directory")                                                     \
    X(KPR_E_NOT_DIRECTORY, 0x9623000Au, "not a directory")                                                   \
    X(KPR_E_EXISTS, 0x9623000Bu, "the target exists already")                                                \
    X(KPR_E_INTERRUPTED, 0x9623000Cu, "interrupted")                                                         \
    X(KPR_E_STALE, 0x9623000Du, "stale handle of a network file system")                                     \
    X(KPR_E_NAME_TOO_LONG, 0x9623000Eu, "the name is too long")                                              \
    X(KPR_E_BUFFER_TOO_SMALL, 0x9623000Fu, "the buffer is too small")                                        \
    X(KPR_E_END, 0x96230010u, "no more entries")                                                             \
    X(KPR_E_NOT_EMPTY, 0x96230011u, "the directory is not empty")                                            \
    X(KPR_E_READ_ONLY_VOLUME, 0x96230012u, "the volume is read-only")                                        \
    X(KPR_E_NOT_REGULAR, 0x96230013u, "not a regular file")                                                  \
    X(KPR_E_BAD_NAME, 0x96230014u, "the name is not valid")                                                  \
    X(KPR_E_TOO_LARGE, 0x96230015u, "too large")                                                             \
    X(KPR_E_OTHER_VOLUME, 0x96230016u, "source and target are on different volumes")                         \
    X(KPR_E_BUSY, 0x96230017u, "resource busy")                                                              \
    X(KPR_E_NO_RESOURCES, 0x96230018u, "the system is out of resources")                                     \
    X(KPR_E_NOT_A_DSO, 0x96230019u, "not a loadable module")                                                 \
    X(KPR_E_NO_SYMBOL, 0x9623001Au, "the module has no such symbol")                                         \
    X(KPR_E_SYSTEM, 0x9623001Bu, "unexpected error of the operating system")                                 \
    X(KPR_E_NOT_TRUSTED, 0x9623001Cu, "the file belongs to somebody else, or others may change it")          \
    /* component runtime */                                                                                  \
    X(KOM_E_BAD_REGISTRY, 0x96240001u, "the class registry is damaged")                                      \
    X(KOM_E_NOT_A_MODULE, 0x96240002u, "the file is not a component module")                                 \
    X(KOM_E_CLASSNOTREGISTERED, 0x96240003u, "the class is not registered")                                  \
    X(KOM_E_BAD_CLASSID, 0x96240004u, "not a class identity")                                                \
    X(KOM_E_NOAGGREGATION, 0x96240010u, "aggregation is not supported")                                      \
    X(KOM_E_CLASSNOTAVAILABLE, 0x96240012u, "the module does not provide the class")                         \
    /* framework module */                                                                                   \
    X(KFW_E_NO_MODULE, 0x96260402u, "no loaded module of that name")                                         \
    X(KFW_E_NO_PRODUCT, 0x96260403u, "no loaded module of that product")                                     \
    /* databases */                                                                                          \
    X(SQL_E_SYNTAX, 0x96270001u, "the statement is not valid")                                               \
    X(SQL_E_CONSTRAINT, 0x96270002u, "a constraint is violated")                                             \
    X(SQL_E_BUSY, 0x96270003u, "the database is locked by somebody else")                                    \
    X(SQL_E_CONFLICT, 0x96270004u, "the transaction is in conflict with another one")                        \
    X(SQL_E_NO_OBJECT, 0x96270005u, "no such table, column or other object of the database")                 \
    X(SQL_E_OBJECT_EXISTS, 0x96270006u, "the object of the database exists already")                         \
    X(SQL_E_PERMISSION, 0x96270007u, "the database does not permit it")                                      \
    X(SQL_E_CONNECTION, 0x96270008u, "there is no connection to the database")                               \
    X(SQL_E_TIMEOUT, 0x96270009u, "the database has taken too long")                                         \
    X(SQL_E_CANCELLED, 0x9627000Au, "the statement was cancelled")                                           \
    X(SQL_E_TYPE, 0x9627000Bu, "the value does not fit the type")                                            \
    X(SQL_E_PARAMETERS, 0x9627000Cu, "the parameters are not those of the statement")                        \
    X(SQL_E_NOT_COMMITTED, 0x9627000Du, "the transaction was rolled back instead of committed")              \
    X(SQL_E_DAMAGED, 0x9627000Eu, "the database is damaged, or is none")

#define KPR_DECLARE_RESULT_CODE(pName, pValue, pText) inline constexpr uint32_t pName = pValue;
// <winerror.h> defines some of the general names as macros; a source that needs it includes it before
// this header, and the names of this platform win.
#undef E_NOINTERFACE
#undef E_FAIL
#undef E_OUTOFMEMORY
#undef E_INVALIDARG
KPR_RESULT_CODES(KPR_DECLARE_RESULT_CODE)
#undef KPR_DECLARE_RESULT_CODE

/// Whether a result code is a failure: the code, read as a signed 32-bit number, is negative.
constexpr bool KFAILED(uint32_t pCode) noexcept { return static_cast<int32_t>(pCode) < 0; }
