// What stands beside a database is looked at before SQLite opens it.
#pragma once

#include <string>

#include <sqlite3.h>

namespace kpr {

/// A VFS of SQLite's over its default one, through which connections open their files. SQLite believes what
/// lies beside a database, under names that everybody knows: a journal is played back into it, and tells the
/// name of a file that is removed afterwards; a FIFO is waited for; the index of a write-ahead log is mapped
/// into memory, and whoever cuts it short ends the process. So here
///
/// - a database and what belongs to it are regular files;
/// - a journal that is there is opened only if it and the database belong to the user or the administrator
///   and, on Linux, not everybody may write them, for it is played back, and SQLite gives what the
///   administrator opens to the database's owner;
/// - the file that ties journals of one transaction together is one by its name, or it is neither read nor
///   removed;
/// - a write-ahead log is used only where nobody else may have a hand in it, or not at all.
///
/// What is refused fails with SQLITE_CANTOPEN, and takeReason tells why. The files are looked at by name, so
/// in a folder of somebody else they may be exchanged in between.
class SqliteGuard {
public:
    /// May a database have a write-ahead log?
    enum class WriteAheadLog {
        OF_USER, ///< if the database, its log and its index are the user's or the administrator's, and on
                 ///< Linux, where a mapped file may be cut short, not everybody may write them or change
                 ///< their folder
        NEVER
    };

    /// pName, which has to outlive it, is what sqlite3_open_v2 is told; no two have the same.
    constexpr SqliteGuard(const char* pName, WriteAheadLog pLog) : mVfs{}, mName(pName), mLog(pLog) {}
    SqliteGuard(const SqliteGuard&) = delete;
    SqliteGuard& operator=(const SqliteGuard&) = delete;

    /// Makes it known to the library whose functions are given, where it must stay for as long as it is
    /// known. For one thread at a time; a second call does nothing. The library's result code.
    int attach(decltype(sqlite3_vfs_find)* pFind, decltype(sqlite3_vfs_register)* pRegister);
    const char* name() const { return mName; }
    /// For sqlite3_vfs_unregister.
    sqlite3_vfs* vfs() { return &mVfs; }

    /// Why this thread was last refused a file; empty when it was not since the last call of this.
    static std::string takeReason();

private:
    /// SQLite hands a pointer to it back.
    struct Vfs : sqlite3_vfs {
        sqlite3_vfs* base;
        WriteAheadLog log;
    };

    static int open(sqlite3_vfs* pVfs, const char* pName, sqlite3_file* pFile, int pFlags, int* pOutFlags);
    static int access(sqlite3_vfs* pVfs, const char* pName, int pFlags, int* pResult);

    Vfs mVfs;
    const char* mName;
    WriteAheadLog mLog;
};

} // namespace kpr
