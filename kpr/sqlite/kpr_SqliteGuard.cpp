#include "kpr/sqlite/kpr_SqliteGuard.h"

#include <algorithm>
#include <string_view>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace kpr {

namespace {

constexpr char JOURNAL[] = "-journal", LOG[] = "-wal", INDEX[] = "-shm";

thread_local const char* gReason = nullptr;

int refuse(const char* pReason)
{
    gReason = pReason;
    return SQLITE_CANTOPEN;
}

/// Whether it is the name that SQLite makes up for a file that lists the journals of one transaction:
/// "<database>-mj", six hexadecimal digits, a 9, and two more.
bool isSuperJournal(std::string_view pName)
{
    constexpr std::string_view tMark = "-mj";
    constexpr size_t tDigits = 9;
    if (pName.size() <= tMark.size() + tDigits) return false;
    const std::string_view tEnd = pName.substr(pName.size() - tDigits);
    return pName.substr(0, pName.size() - tDigits).ends_with(tMark) && tEnd[6] == '9' &&
           tEnd.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

bool isThere(uint32_t pFound) { return pFound != KPR_E_NOT_FOUND; }
bool isOfUser(uint32_t pFound) { return !KFAILED(pFound) || !isThere(pFound); }

/// A database's name from that of a file beside it.
std::string databaseOf(const std::string& pName, size_t pEnd)
{
    return pName.substr(0, pName.size() - std::min(pName.size(), pEnd));
}

const char* problemOfJournal(const std::string& pName)
{
    const uint32_t tFound = kprCheckFile(pName.c_str());
    if (!isThere(tFound)) return nullptr;
    if (tFound == KPR_E_NOT_REGULAR) return "the journal beside it is not a regular file";
    // Whoever opens a journal as the administrator, be it to look, gives it to the owner of the database.
    if (KFAILED(tFound) || KFAILED(kprCheckFile(databaseOf(pName, sizeof JOURNAL - 1).c_str())))
        return "another user has a hand in it, or in the journal beside it";
    return nullptr;
}

const char* problemOfSuperJournal(const char* pName)
{
    if (!isSuperJournal(pName)) return "the journal beside it names a file that is none of SQLite's";
    if (!isOfUser(kprCheckFile(pName))) return "the journal beside it names a file of another user";
    return nullptr;
}

const char* problemOfLog(const std::string& pDatabase)
{
    for (const char* tEnd : {"", LOG, INDEX})
        if (!isOfUser(kprCheckFile((pDatabase + tEnd).c_str())))
            return "it has a write-ahead log in which another user has a hand";
#if !defined(_WIN32)
    // Elsewhere no file that is mapped is cut short.
    std::string tFolder;
    if (KFAILED(readText(tFolder, kprGetDirname, pDatabase.c_str())) || KFAILED(kprCheckDir(tFolder.c_str())))
        return "it has a write-ahead log in a folder that others may change";
#endif
    return nullptr;
}

const char* problemOf(const std::string& pName, int pFlags, SqliteGuard::WriteAheadLog pLog)
{
    if (pFlags & SQLITE_OPEN_MAIN_JOURNAL) return problemOfJournal(pName);
    if (pFlags & SQLITE_OPEN_SUPER_JOURNAL) return problemOfSuperJournal(pName.c_str());
    if (pFlags & SQLITE_OPEN_WAL) {
        if (pLog == SqliteGuard::WriteAheadLog::NEVER) return "it has a write-ahead log";
        return problemOfLog(databaseOf(pName, sizeof LOG - 1));
    }
    KprFileInfo tInfo{};
    // A link has been resolved, where it is to be.
    if ((pFlags & SQLITE_OPEN_MAIN_DB) && !KFAILED(kprGetFileInfo(pName.c_str(), KPR_INFO_KIND, &tInfo)) &&
        tInfo.kind != KPR_KIND_FILE && tInfo.kind != KPR_KIND_LINK)
        return "it is not a regular file";
    return nullptr;
}

} // namespace

int SqliteGuard::attach(decltype(sqlite3_vfs_find)* pFind, decltype(sqlite3_vfs_register)* pRegister)
{
    if (pFind(mName)) return SQLITE_OK;
    sqlite3_vfs* const tBase = pFind(nullptr);
    if (!tBase) return SQLITE_ERROR;
    static_cast<sqlite3_vfs&>(mVfs) = *tBase;
    mVfs.iVersion = std::min(tBase->iVersion, 3); // what the structure is known to have
    mVfs.pNext = nullptr;
    mVfs.zName = mName;
    mVfs.xOpen = open;
    mVfs.xAccess = access;
    mVfs.base = tBase;
    mVfs.log = mLog;
    return pRegister(&mVfs, 0);
}

std::string SqliteGuard::takeReason()
{
    const char* const tReason = gReason;
    gReason = nullptr;
    return tReason ? tReason : "";
}

int SqliteGuard::open(sqlite3_vfs* pVfs, const char* pName, sqlite3_file* pFile, int pFlags, int* pOutFlags)
{
    const Vfs& tVfs = *static_cast<Vfs*>(pVfs);
    pFile->pMethods = nullptr;
    try {
        if (const char* tProblem = pName ? problemOf(pName, pFlags, tVfs.log) : nullptr)
            return refuse(tProblem);
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
    return tVfs.base->xOpen(tVfs.base, pName, pFile, pFlags, pOutFlags);
}

int SqliteGuard::access(sqlite3_vfs* pVfs, const char* pName, int pFlags, int* pResult)
{
    const Vfs& tVfs = *static_cast<Vfs*>(pVfs);
    // Before a journal is played back, SQLite asks whether the file is there that the journal names.
    if (pFlags == SQLITE_ACCESS_EXISTS)
        if (const std::string_view tName = pName;
            !tName.ends_with(JOURNAL) && !tName.ends_with(LOG) && !isSuperJournal(tName))
            return refuse("the journal beside it names a file that is none of SQLite's");
    return tVfs.base->xAccess(tVfs.base, pName, pFlags, pResult);
}

} // namespace kpr
