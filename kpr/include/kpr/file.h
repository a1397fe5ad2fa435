// Files, whole-file locks and temporary files.
//
// Paths are UTF-8; on Windows both "/" and "\" separate, and paths of more than 260 characters work, with
// "\\?\" in front or without. Names that end in a dot or a blank, that are a device's (NUL, COM1.txt) or have
// a colon are not made there (KPR_E_BAD_NAME): Windows would make something else. No handle is inherited by
// child processes. Files are created for the current user only (0600; on Windows the folder's inherited
// rights count). Every file is opened so that others may rename or remove it. E_INVALIDARG for a null pointer
// (unless it may be null) and for numbers that make no sense. Every function returns a result code; failures
// of the operating system come as KPR_E_*.
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
    KPR_OPEN_TRUNCATE = 0x40,  ///< drop the content; not together with APPEND
    KPR_OPEN_APPEND = 0x80,    ///< every write goes to the end
    /// Follow a link in the last component, which is refused otherwise (KPR_E_NOT_REGULAR).
    KPR_OPEN_FOLLOW = 0x100,
    /// Open whatever the path leads to, through a link too: a FIFO, a device, on which the call may wait.
    /// Without it what is no regular file is refused at once (KPR_E_NOT_REGULAR).
    KPR_OPEN_ANY = 0x200,
    /// Refuse a file that belongs to another user than this one and the system's administrator, or that
    /// others may change (KPR_E_NOT_TRUSTED). On a Windows volume that knows no rights everything passes.
    KPR_OPEN_TRUSTED = 0x400,
    /// Refuse a file that belongs to another user, as TRUSTED, but not one of the user's own that others may
    /// change: for a file that is only written.
    KPR_OPEN_OWN = 0x800
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
    uint32_t kind; ///< KprFileKind
    uint32_t reserved;
    uint64_t size; ///< bytes
    KprTime modified;
    KprTime accessed;
};

enum KprSeekOrigin : uint32_t { KPR_SEEK_START = 0, KPR_SEEK_CURRENT = 1, KPR_SEEK_END = 2 };

/// Opens a file. On failure *pFile is KPR_NO_FILE. A directory gives KPR_E_NOT_REGULAR, with ANY
/// KPR_E_IS_DIRECTORY. CREATE, TRUNCATE and APPEND need WRITE. On Windows a file that somebody else holds
/// without sharing it or has mapped, as virus scanners do for a moment, is tried again for a quarter of a
/// second and then KPR_E_IN_USE; so it is when it is renamed, replaced or removed. A name whose file was
/// removed while it is open somewhere may stay taken there: nobody finds it (KPR_E_NOT_FOUND), and whoever
/// makes a file, a folder or a name waits for it as long.
KPR_API uint32_t kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);
/// Closes it; the handle is gone also after a failure. Its locks go.
KPR_API uint32_t kprCloseFile(KprFile pFile);
/// Reads at most pLength bytes from the current position; *pRead is less only at the end of the file, which
/// is no failure.
KPR_API uint32_t kprRead(KprFile pFile, void* pBuffer, uint32_t pLength, uint32_t* pRead);
/// Writes at the current position; a success with *pWritten below pLength is a short write. After a failure
/// *pWritten tells how much was written before it.
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
/// E_INVALIDARG for microseconds above 999999 and, on Windows, for a time before 1601.
KPR_API uint32_t kprSetFileTime(const char* pPath, const KprTime* pAccessed, const KprTime* pModified);

/// Whether a file may be used without a thought of others: KPR_E_NOT_REGULAR when what stands there is a link
/// or no regular file, KPR_E_NOT_TRUSTED when neither this user nor the system's administrator owns it or, on
/// Linux, everybody may write it. There it is not opened, so locks that the process has on it stay.
KPR_API uint32_t kprCheckFile(const char* pPath);

/// Renames pFrom to pTo unless pTo exists: then KPR_E_EXISTS and nothing is changed. Of several callers with
/// the same pTo exactly one succeeds, and no process sees a partial file. Where the file system has no such
/// operation (NFS), both names are there for a moment. Same volume only.
KPR_API uint32_t kprMoveFile(const char* pFrom, const char* pTo);
/// Renames pFrom to pTo, replacing a file that stands there. Atomic. Who has the replaced file open keeps it
/// (Windows: where the volume supports that, else KPR_E_ACCESS_DENIED).
KPR_API uint32_t kprReplaceFile(const char* pFrom, const char* pTo);
/// Removes a file or a link, also while somebody has it open. The name is free at once, except on Windows
/// volumes that cannot do that. A read-only file stays on Windows (KPR_E_ACCESS_DENIED).
KPR_API uint32_t kprRemoveFile(const char* pPath);
/// Creates a new empty file with a unique name that starts with pPrefix (may be null) in pDir, and puts its
/// path into pBuffer of pSize bytes. pFlags is 0. KPR_E_BUFFER_TOO_SMALL leaves no file behind.
KPR_API uint32_t kprGetTempFileName(const char* pDir, const char* pPrefix, uint32_t pFlags, char* pBuffer,
                                    uint32_t pSize);

/// What kprPutInPlace does.
enum KprPutFlags : uint32_t {
    KPR_PUT_KEEP = 0x0,    ///< a file that stands there stays: KPR_E_EXISTS
    KPR_PUT_REPLACE = 0x1, ///< a file that stands there is replaced
    KPR_PUT_SYNC = 0x2     ///< the content has reached the volume before the file gets its name
};
/// Begins a file that is to appear whole at pTarget: makes an empty one beside it under a name of its own
/// ("<target>.new-" and some letters; never one that is there, nor through a link), opens it for writing and
/// puts its path into pBuffer. End it with kprPutInPlace, or close it and remove it.
KPR_API uint32_t kprBeginFile(const char* pTarget, char* pBuffer, uint32_t pSize, KprFile* pFile);
/// Ends it: closes the file and renames it from pPath to pTarget. When any step fails, the file is removed
/// and what stands at pTarget stays as it was. A link at pTarget is not followed. pFlags are KprPutFlags.
KPR_API uint32_t kprPutInPlace(KprFile pFile, const char* pPath, const char* pTarget, uint32_t pFlags);

enum KprLockMode : uint32_t {
    KPR_LOCK_SHARED = 0,
    KPR_LOCK_EXCLUSIVE = 1,
    KPR_LOCK_NO_WAIT = 2 ///< or-ed in: KPR_E_LOCKED at once when somebody else holds a conflicting lock
};

/// Locks a range of an open file, length 0 up to its end however far it grows; offset 0 with length 0 is the
/// whole file. Locks belong to the handle: two handles exclude each other also within one process, and
/// closing another handle of the same file drops nothing. Without NO_WAIT it blocks; a signal does not end
/// the wait. On Windows a range cannot be read or written through other handles while it is locked, and a
/// handle that locks a range again without unlocking it waits for itself. The whole file is there the one
/// byte at offset INT64_MAX - 1: others read and write the file all the same, and a range that does not reach
/// that byte is no conflict, so lock one file always whole or always in ranges. A shared lock needs a handle
/// that reads, an exclusive one a handle that writes (KPR_E_BAD_HANDLE on Linux).
KPR_API uint32_t kprLockFile(KprFile pFile, uint32_t pMode, uint64_t pOffset, uint64_t pLength);
/// Gives back the lock of exactly that range; where nothing is locked it does nothing. Closing does the same.
KPR_API uint32_t kprUnlockFile(KprFile pFile, uint64_t pOffset, uint64_t pLength);
/// Whether some handle, in any process, holds a lock that conflicts with one of pMode (KPR_LOCK_SHARED or
/// KPR_LOCK_EXCLUSIVE) of the whole file: *pLocked is 1 or 0. On Linux it only looks. Windows cannot tell
/// without locking: there the file is locked in that mode for a moment, so that a NO_WAIT lock of somebody
/// else may fail meanwhile, and whoever asks for EXCLUSIVE may meet another who asks. Those who ask for
/// SHARED do not meet each other.
KPR_API uint32_t kprIsFileLocked(const char* pPath, uint32_t pMode, uint32_t* pLocked);

} // extern "C"
