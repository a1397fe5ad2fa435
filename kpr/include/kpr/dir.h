// Directories and their listings.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// An open listing; KPR_NO_DIR when closed.
typedef intptr_t KprDir;
#define KPR_NO_DIR (static_cast<KprDir>(-1))

/// Opens a listing; KPR_NO_DIR in *pDir on failure. KPR_E_NOT_DIRECTORY when it is none. Closed with
/// kprCloseDir; one thread at a time.
KPR_API uint32_t kprOpenDir(const char* pPath, KprDir* pDir);
/// Reads the next entry's name ("." and ".." are left out) into pBuffer; pKind (may be null) gets a
/// KprFileKind. At the end KPR_E_END. KPR_E_BUFFER_TOO_SMALL skips the entry. The order is the file
/// system's; an entry that comes or goes meanwhile may be missed or seen twice. An entry whose name is no
/// Unicode text (Windows) gives KPR_E_BAD_NAME once; any other failure of the system ends the listing, so
/// that KPR_E_END comes next and a caller that reads on always ends.
KPR_API uint32_t kprReadDir(KprDir pDir, char* pBuffer, uint32_t pSize, uint32_t* pKind);
/// Closes it; the handle is gone also after a failure.
KPR_API uint32_t kprCloseDir(KprDir pDir);

/// Creates one directory, for the current user only (0700; on Windows the parent's inherited
/// rights count). KPR_E_EXISTS when something stands there.
KPR_API uint32_t kprMakeDir(const char* pPath);
/// Removes an empty directory.
KPR_API uint32_t kprRemoveDir(const char* pPath);

/// Whether a link that stands at the path may be followed: KPR_E_NOT_TRUSTED when it (on Windows also a
/// junction) belongs to another user than this one and the system's administrator. What is no link passes,
/// and so does everything on a Windows volume that knows no rights.
KPR_API uint32_t kprCheckLink(const char* pPath);
/// Whether others can change what lies in a directory: KPR_E_NOT_TRUSTED when it belongs to another user than
/// this one and the administrator, or when anybody may write to it. Links are followed.
/// KPR_E_NOT_DIRECTORY when it is none.
KPR_API uint32_t kprCheckDir(const char* pPath);

/// The folder for applications' per-user data, without a trailing separator: %LOCALAPPDATA% on Windows,
/// $XDG_DATA_HOME or ~/.local/share on Linux. It need not exist. A Linux program that runs with rights its
/// caller does not have takes neither this nor the next from the environment.
KPR_API uint32_t kprGetUserDataDir(char* pBuffer, uint32_t pSize);
/// The folder for temporary files, without a trailing separator.
KPR_API uint32_t kprGetTempDir(char* pBuffer, uint32_t pSize);

} // extern "C"
