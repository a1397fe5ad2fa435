// Files, whole-file locks and temporary files.
//
// Paths are UTF-8; on Windows both "/" and "\" separate, and paths of more than 260 characters work.
// No handle is inherited by child processes. Files are created for the current user only (0600).
// Every function answers a result code, and failures of the operating system come as KPR_E_*.
#pragma once

#include <cstdint>

#include "kpr/api.h"
#include "kpr/time.h"

extern "C" {

/// An open file; KPR_NO_FILE when closed.
typedef intptr_t KprFile;
#define KPR_NO_FILE (static_cast<KprFile>(-1))

/// How kprOpenFile opens: one access word, and any of the options.
enum KprOpenMode : uint32_t {
    KPR_OPEN_READ = 0x1,
    KPR_OPEN_WRITE = 0x2,
    KPR_OPEN_READ_WRITE = 0x3,
    KPR_OPEN_CREATE = 0x10,    ///< make the file when it is missing
    KPR_OPEN_EXCLUSIVE = 0x20, ///< with CREATE: KPR_E_EXISTS when it is there already
    KPR_OPEN_TRUNCATE = 0x40,  ///< drop the content
    KPR_OPEN_APPEND = 0x80,    ///< every write goes to the end
    /// Do not follow a link in the last component, refuse what is no regular file (KPR_E_NOT_REGULAR),
    /// and never block on it (a FIFO, a device).
    KPR_OPEN_REGULAR = 0x100
};

enum KprFileKind : uint32_t {
    KPR_KIND_OTHER = 0,
    KPR_KIND_FILE = 1,
    KPR_KIND_DIRECTORY = 2,
    KPR_KIND_LINK = 3
};

/// Which facts a kprGetFileInfo caller needs; the others may be left 0.
enum KprInfoMask : uint32_t {
    KPR_INFO_KIND = 1,
    KPR_INFO_SIZE = 2,
    KPR_INFO_MTIME = 4,
    KPR_INFO_ATIME = 8,
    KPR_INFO_ALL = 15
};

struct KprFileInfo {
    uint32_t kind;     ///< KprFileKind
    uint32_t reserved;
    uint64_t size;     ///< bytes
    KprTime modified;
    KprTime accessed;
};

enum KprSeekOrigin : uint32_t { KPR_SEEK_START = 0, KPR_SEEK_CURRENT = 1, KPR_SEEK_END = 2 };

/// Opens a file. On failure *pFile is KPR_NO_FILE.
KPR_API uint32_t kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);
KPR_API uint32_t kprCloseFile(KprFile pFile);
/// Reads at most pLength bytes from the current position; *pRead is less only at the end of the file.
KPR_API uint32_t kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead);
/// Writes at the current position; a success with *pWritten below pLength is a short write.
KPR_API uint32_t kprWrite(KprFile pFile, const void* pBuffer, uint32_t pLength, uint32_t* pWritten);
/// Moves the position; pNewOffset (may be null) gets the offset from the start.
KPR_API uint32_t kprSeek(KprFile pFile, int64_t pOffset, uint32_t pOrigin, uint64_t* pNewOffset);
/// Reads at an offset from the start. E_NOT_SUPPORTED where the platform or the file has no
/// positioned read (the caller seeks and reads instead). Whether the position moves is not defined.
KPR_API uint32_t kprSeekAndRead(KprFile pFile, uint64_t pOffset, void* pBuffer, uint32_t pLength,
                                uint32_t* pRead);
/// Writes at an offset from the start, otherwise as kprSeekAndRead.
KPR_API uint32_t kprSeekAndWrite(KprFile pFile, uint64_t pOffset, const void* pBuffer, uint32_t pLength,
                                 uint32_t* pWritten);
/// Waits until what was written has reached the volume.
KPR_API uint32_t kprSyncFile(KprFile pFile);

/// Facts of what a path names, without following a link in its last component (KPR_KIND_LINK).
KPR_API uint32_t kprGetFileInfo(const char* pPath, uint32_t pMask, KprFileInfo* pInfo);
/// The same facts of an open file.
KPR_API uint32_t kprGetOpenFileInfo(KprFile pFile, uint32_t pMask, KprFileInfo* pInfo);
/// Sets both times; a null pointer leaves that time as it is. A link in the last component is not followed.
KPR_API uint32_t kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified);

/// Renames pFrom to pTo unless pTo exists: then KPR_E_EXISTS and nothing is changed. Atomic: no other
/// process sees both names or a partial file. Same volume only.
KPR_API uint32_t kprMoveFile(const char* pFrom, const char* pTo);
/// Renames pFrom to pTo, replacing a file that stands there. Atomic.
KPR_API uint32_t kprReplaceFile(const char* pFrom, const char* pTo);
KPR_API uint32_t kprRemoveFile(const char* pPath);
/// Creates a new empty file with a unique name that starts with pPrefix (may be null) in pDir, and puts its
/// path into pBuffer of pSize bytes. pFlags is 0. KPR_E_BUFFER_TOO_SMALL leaves no file behind.
KPR_API uint32_t kprGetTempFileName(const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer,
                                    uint32_t pSize);

enum KprLockMode : uint32_t {
    KPR_LOCK_SHARED = 0,
    KPR_LOCK_EXCLUSIVE = 1,
    KPR_LOCK_NO_WAIT = 2 ///< or-ed in: KPR_E_LOCKED at once when somebody else holds a conflicting lock
};

/// Locks a range of an open file; offset 0 with length 0 is the whole file whatever it grows to. Locks
/// belong to the handle: two handles exclude each other also within one process, and closing another
/// handle of the same file drops nothing. Without NO_WAIT it blocks; a signal does not end the wait.
/// On Windows the range cannot be read or written through other handles while it is locked.
KPR_API uint32_t kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength);
KPR_API uint32_t kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength);
/// Whether some handle, in any process, holds a lock on the file that conflicts with an exclusive one:
/// *pLocked is 1 or 0. Looks only: it never takes the lock, not even for a moment, where the system can
/// tell without (Linux); elsewhere it tries a shared lock on a range past every real one.
KPR_API uint32_t kprIsFileLocked(const char* pPath, uint32_t* pLocked);

} // extern "C"
