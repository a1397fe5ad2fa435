// Logging, assertions and reports of failed interface queries.
//
// Lines go to the application (IApplication::logMessage). With a null application they go to the process's
// fallback sink: standard error, warnings and errors only, unless kSetFallbackLog says otherwise. All
// functions may be called from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "kfw/IApplication.h"
#include "kutil/api.h"
#include "kutil/message.h"

namespace vel::kos::util {

/// Writes a line at that level; errors always, others when the application wants them.
KUTIL_API void kError(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage);
KUTIL_API void kWarning(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage);
KUTIL_API void kInfo(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage);
KUTIL_API void kDebug(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage);

/// Where lines without an application go; null restores standard error. Any thread; the function must take
/// calls from any thread.
typedef void (*FallbackLog)(uint32_t pLevel, const char* pDomain, const char* pMessage);
KUTIL_API void kSetFallbackLog(FallbackLog pLog);

/// Reports a failed internal check and returns: to IApplication::reportAssertion, and as a line at error
/// level that holds the expression, the source and the line.
KUTIL_API void _kAssert(fw::IApplication* pApp, const char* pDomain, const char* pExpression,
                        const char* pSourceFile, int pLine);

/// Reports, as a line at error level, that pObject (may be null) did not provide the interface pIid.
KUTIL_API void _queryInterfaceError(fw::IApplication* pApp, const char* pDomain, kom::IUnknown* pObject,
                                    const char* pIid, unsigned int pCode);

} // namespace vel::kos::util
