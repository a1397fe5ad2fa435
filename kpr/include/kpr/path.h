// Path texts. Nothing here looks at the file system, except kprGetRealPath.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// The separator of native paths: "\" on Windows, "/" on Linux.
KPR_API char kprGetPathSeparator(void);
/// The path without its last component ("." when it has only one, the root for a root).
KPR_API uint32_t kprGetDirname(const char* pPath, char* pBuffer, uint32_t pSize);
/// The last component; trailing separators do not count.
KPR_API uint32_t kprGetBasename(const char* pPath, char* pBuffer, uint32_t pSize);
/// pPath, one native separator unless it ends in one or is empty, pName. pBuffer may be pPath itself.
/// KPR_E_BUFFER_TOO_SMALL when it does not fit.
KPR_API uint32_t kprAppendToPath(const char* pPath, const char* pName, char* pBuffer, uint32_t pSize);
/// The absolute path of an existing file with every link resolved, in native form.
KPR_API uint32_t kprGetRealPath(const char* pPath, char* pBuffer, uint32_t pSize);

} // extern "C"
