// Path texts. Only kprGetRealPath and kprGetFileIdentity look at the file system.
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
/// A text that the paths of one existing file share, and no others: on Linux the real path; on Windows volume
/// and file id, which letter case, short names, links and mapped drives do not change (the real path where
/// the volume has no ids). It is for comparing only and holds as long as the file stands.
KPR_API uint32_t kprGetFileIdentity(const char* pPath, char* pBuffer, uint32_t pSize);
/// Whether two file names, without folders, are the same but for letter case: *pSame is 1 or 0. On Windows
/// the system's rule for file names decides, elsewhere only ASCII letters have a case. KPR_E_BAD_NAME on
/// Windows when one is no UTF-8 and they differ.
KPR_API uint32_t kprIsSameFileName(const char* pOne, const char* pOther, uint32_t* pSame);

} // extern "C"
