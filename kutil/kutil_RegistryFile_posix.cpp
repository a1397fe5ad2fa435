#include "kutil/kutil_RegistryFile_posix.h"

#include <cerrno>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kgen/directory.h"
#include "kom/identity.h"
#include "kpr/file.h"
#include "kpr/sqlite/kpr_SqliteGuard.h"
#include "kutil/kutil_DamagedCopy_posix.h"
#include "kutil/kutil_RegistryStore.h"
#include "kutil/log.h"

namespace vel::kos::util {

namespace {

/// How long an operation waits for other processes' transactions, in milliseconds.
constexpr int BUSY_TIMEOUT = 10000;
constexpr int LAYOUT_VERSION = 1;
#define SETTING_TABLE                                                                                        \
    "setting(node TEXT NOT NULL, name TEXT NOT NULL, value, PRIMARY KEY(node, name)) WITHOUT ROWID"

// The store may have been made by anybody. What no settings need is not spent on it.
constexpr off_t LARGEST_FILE = off_t{64} << 20; // bytes
constexpr int LONGEST_VALUE = 16 << 20;         // bytes
constexpr int MOST_STEPS = 200'000'000;         // of one statement; a check of the largest file takes fewer
constexpr int MOST_SCHEMA_STEPS = 2000;         // the same before the layout is known; one table takes few

std::string folderOf(const std::string& pPath)
{
    const auto tSlash = pPath.rfind('/');
    return tSlash == std::string::npos ? "." : pPath.substr(0, tSlash + 1);
}

/// Makes an empty file for the user alone, with its folders; a file that stands there is left alone. It must
/// not be opened either: closing it would drop the locks that this process holds on it.
uint32_t makeFile(const std::string& pPath)
{
    if (auto tRes = kgen::createDirectories(folderOf(pPath)); KFAILED(tRes)) return tRes;
    KprFile tFile = KPR_NO_FILE;
    const uint32_t tRes =
        kprOpenFile(pPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_EXCLUSIVE, &tFile);
    return KFAILED(tRes) ? tRes : kprCloseFile(tFile);
}

uint32_t codeOf(int pCode)
{
    switch (pCode & 0xFF) {
    case SQLITE_NOMEM:
        throw std::bad_alloc();
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return KPR_E_BUSY;
    case SQLITE_READONLY:
        return E_READ_ONLY;
    case SQLITE_FULL:
        return KPR_E_NO_SPACE;
    case SQLITE_TOOBIG:
        return KPR_E_TOO_LARGE;
    case SQLITE_IOERR:
        return KPR_E_IO;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN:
        return KPR_E_ACCESS_DENIED;
    default:
        return E_FAIL;
    }
}

/// Known to SQLite for as long as this library is loaded.
class Guard {
public:
    Guard() : mCode(mGuard.attach(sqlite3_vfs_find, sqlite3_vfs_register)) {}
    ~Guard() { sqlite3_vfs_unregister(mGuard.vfs()); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    int open(const char* pPath, sqlite3** pDatabase, int pFlags)
    {
        return mCode == SQLITE_OK ? sqlite3_open_v2(pPath, pDatabase, pFlags, mGuard.name()) : mCode;
    }

private:
    // A write-ahead log would be more than the size of the file tells, and none of the stores has one.
    kpr::SqliteGuard mGuard{"kos-settings", kpr::SqliteGuard::WriteAheadLog::NEVER};
    const int mCode;
};

Guard& guard()
{
    static Guard tGuard;
    return tGuard;
}

void limitSteps(sqlite3* pDatabase, int pMost)
{
    sqlite3_progress_handler(
        pDatabase, pMost, [](void*) { return 1; }, nullptr);
}

bool isDamage(int pCode) { return (pCode & 0xFF) == SQLITE_CORRUPT || (pCode & 0xFF) == SQLITE_NOTADB; }

} // namespace

/// A prepared statement. Reset after each use, so that it holds no lock.
class RegistryFile::Statement {
public:
    Statement(sqlite3* pDatabase, const char* pSql)
        : mCode(sqlite3_prepare_v3(pDatabase, pSql, -1, SQLITE_PREPARE_PERSISTENT, &mStatement, nullptr))
    {
    }
    ~Statement() { sqlite3_finalize(mStatement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool isGood() const { return mCode == SQLITE_OK; }
    /// Binds a text that outlives the next step.
    void bind(int pIndex, const std::string& pText)
    {
        const int tCode =
            sqlite3_bind_text64(mStatement, pIndex, pText.data(), pText.size(), SQLITE_STATIC, SQLITE_UTF8);
        if (mCode == SQLITE_OK) mCode = tCode;
    }
    void bind(int pIndex, bool pValue) { sqlite3_bind_int(mStatement, pIndex, pValue ? 1 : 0); }
    /// SQLITE_ROW, SQLITE_DONE or a failure, be it of an earlier call.
    int step() { return mCode == SQLITE_OK ? sqlite3_step(mStatement) : mCode; }
    /// Makes it ready for its next use; the values bound are dropped.
    void reset()
    {
        if (!mStatement) return;
        sqlite3_reset(mStatement);
        sqlite3_clear_bindings(mStatement);
        // The limit of steps counts from the last reset of this figure.
        sqlite3_stmt_status(mStatement, SQLITE_STMTSTATUS_VM_STEP, 1);
        mCode = SQLITE_OK;
    }
    int type() { return sqlite3_column_type(mStatement, 0); }
    std::string text()
    {
        // As text first: of a store in UTF-16 the length is that of the text in UTF-8, which is another
        // buffer.
        const auto* tText = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, 0));
        return tText ? std::string(tText, static_cast<size_t>(sqlite3_column_bytes(mStatement, 0)))
                     : std::string();
    }
    int number() { return sqlite3_column_int(mStatement, 0); }

private:
    sqlite3_stmt* mStatement = nullptr;
    int mCode;
};

RegistryFile::RegistryFile(fw::IApplication* pApp, const std::string& pPath)
    : mApp(kom::retain(pApp)), mPath(pPath)
{
}

RegistryFile::~RegistryFile()
{
    mGet.reset();
    mPut.reset();
    sqlite3_close_v2(mDatabase);
}

std::shared_ptr<RegistryFile> RegistryFile::open(fw::IApplication* pApp, const std::string& pPath,
                                                 bool pCreate)
{
    if (pCreate) {
        const uint32_t tRes = makeFile(pPath);
        if (KFAILED(tRes) && !kgen::fileExists(pPath)) {
            kWarning(pApp, DOMAIN_NAME,
                     message("Settings store \"%1\" cannot be made: %2", pPath, komStrError(tRes)));
            return nullptr;
        }
    }
    struct stat tStat {};
    if (::lstat(pPath.c_str(), &tStat) != 0 && errno == ENOENT) return nullptr;

    std::shared_ptr<RegistryFile> tFile(new RegistryFile(pApp, pPath));
    if (!S_ISREG(tStat.st_mode) || tStat.st_size > LARGEST_FILE) {
        tFile->reportUnusable(komStrError(S_ISREG(tStat.st_mode) ? KPR_E_TOO_LARGE : KPR_E_NOT_REGULAR));
        return nullptr;
    }
    if (!tFile->connect() || !tFile->hasLayout(pCreate)) return nullptr;
    return tFile;
}

bool RegistryFile::connect()
{
    // With this flag no part of the path may be a link; only the last must not.
    const std::string tPath = kgen::realPath(folderOf(mPath)) + "/" + mPath.substr(mPath.rfind('/') + 1);
    const int tCode = guard().open(tPath.c_str(), &mDatabase,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_NOFOLLOW);
    if (tCode != SQLITE_OK) {
        reportUnusable(sqlite3_errstr(tCode));
        return false;
    }
    sqlite3_extended_result_codes(mDatabase, 1);
    sqlite3_busy_timeout(mDatabase, BUSY_TIMEOUT);
    for (const auto& [tSwitch, tOn] : {std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1},
                                       {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                       {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                       {SQLITE_DBCONFIG_ENABLE_VIEW, 0}})
        sqlite3_db_config(mDatabase, tSwitch, tOn, nullptr);
    sqlite3_limit(mDatabase, SQLITE_LIMIT_LENGTH, LONGEST_VALUE);
    limitSteps(mDatabase, MOST_SCHEMA_STEPS);
    // The journal lies beside the store, so a folder that cannot be written makes it read-only as well.
    mReadOnly = sqlite3_db_readonly(mDatabase, "main") != 0 ||
                ::faccessat(AT_FDCWD, folderOf(mPath).c_str(), W_OK, AT_EACCESS) != 0;
    return true;
}

bool RegistryFile::isSound()
{
    // EXTRA syncs the folder as well when the journal goes: only then is a commit durable.
    for (const char* tSql : {"PRAGMA synchronous = EXTRA", "PRAGMA quick_check(1)"}) {
        Statement tStatement(mDatabase, tSql);
        const int tCode = tStatement.step();
        if (isDamage(tCode) || (tCode == SQLITE_ROW && tStatement.text() != "ok")) {
            const std::string tWhat = tCode == SQLITE_ROW ? tStatement.text() : sqlite3_errmsg(mDatabase);
            tStatement.reset();
            reportDamage(tWhat);
            return false;
        }
        if (tCode != SQLITE_ROW && tCode != SQLITE_DONE) {
            reportUnusable(sqlite3_errmsg(mDatabase));
            return false;
        }
    }
    return true;
}

bool RegistryFile::hasLayout(bool pCreate)
{
    // Looked at before the check of all content, for which SQLite evaluates what a schema says; and in one
    // transaction, since another process may be making the store.
    int tVersion = 0, tPages = 0, tPageSize = 0, tOurs = 0, tOthers = 0;
    if (KFAILED(execute("BEGIN"))) return false;
    const bool tIsRead =
        readNumber("PRAGMA user_version", tVersion) && readNumber("PRAGMA page_count", tPages) &&
        readNumber("PRAGMA page_size", tPageSize) &&
        readNumber("SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = 'setting' AND sql = "
                   "'CREATE TABLE " SETTING_TABLE "'",
                   tOurs) &&
        readNumber("SELECT count(*) FROM sqlite_schema", tOthers);
    if (!sqlite3_get_autocommit(mDatabase)) execute("ROLLBACK");
    if (!tIsRead) return false;
    if (off_t{tPages} * tPageSize > LARGEST_FILE) {
        // A journal has made it so.
        reportUnusable(komStrError(KPR_E_TOO_LARGE));
        return false;
    }
    if (tVersion == 0 && tPages == 0) return pCreate && !mReadOnly && makeLayout();
    if (tVersion != LAYOUT_VERSION || tOurs != 1 || tOthers != 1) {
        reportUnusable("it has another layout");
        return false;
    }
    limitSteps(mDatabase, MOST_STEPS);
    if (!isSound()) return false;
    mGet = std::make_unique<Statement>(mDatabase, "SELECT value FROM setting WHERE node = ?1 AND name = ?2");
    mPut = std::make_unique<Statement>(mDatabase, "INSERT OR REPLACE INTO setting VALUES(?1, ?2, ?3)");
    if (mGet->isGood() && mPut->isGood()) return true;
    reportUnusable(sqlite3_errmsg(mDatabase));
    return false;
}

bool RegistryFile::makeLayout()
{
    // Another process may be at the same; it may have got further than this one had seen.
    const uint32_t tRes = execute("PRAGMA synchronous = EXTRA;"
                                  "BEGIN IMMEDIATE;"
                                  "CREATE TABLE IF NOT EXISTS " SETTING_TABLE ";"
                                  "PRAGMA user_version = 1;"
                                  "COMMIT");
    return !KFAILED(tRes) && hasLayout(false);
}

uint32_t RegistryFile::execute(const char* pSql)
{
    const int tCode = sqlite3_exec(mDatabase, pSql, nullptr, nullptr, nullptr);
    return tCode == SQLITE_OK ? 0 : failed(tCode);
}

bool RegistryFile::readNumber(const char* pSql, int& pNumber)
{
    Statement tStatement(mDatabase, pSql);
    const int tCode = tStatement.step();
    if (tCode != SQLITE_ROW) {
        failed(tCode);
        return false;
    }
    pNumber = tStatement.number();
    return true;
}

bool RegistryFile::hasNode(const std::string& pNode)
{
    static const std::string MARK;
    mGet->bind(1, pNode);
    mGet->bind(2, MARK);
    const int tCode = mGet->step();
    mGet->reset();
    if (tCode != SQLITE_ROW && tCode != SQLITE_DONE) failed(tCode);
    return tCode == SQLITE_ROW;
}

uint32_t RegistryFile::makeNode(const std::string& pNode)
{
    static const std::string MARK;
    return putBound(pNode, MARK);
}

uint32_t RegistryFile::get(const std::string& pNode, const std::string& pName, std::string* pValue)
{
    mGet->bind(1, pNode);
    mGet->bind(2, pName);
    const int tCode = mGet->step();
    uint32_t tRes = KPR_E_NOT_FOUND;
    if (tCode == SQLITE_ROW && mGet->type() == SQLITE_TEXT) {
        *pValue = mGet->text();
        tRes = 0;
    } else if (tCode == SQLITE_ROW) {
        tRes = E_FAIL;
    }
    mGet->reset();
    return tCode == SQLITE_ROW || tCode == SQLITE_DONE ? tRes : failed(tCode);
}

uint32_t RegistryFile::get(const std::string& pNode, const std::string& pName, bool* pValue)
{
    mGet->bind(1, pNode);
    mGet->bind(2, pName);
    const int tCode = mGet->step();
    uint32_t tRes = KPR_E_NOT_FOUND;
    if (tCode == SQLITE_ROW && mGet->type() == SQLITE_INTEGER) {
        *pValue = mGet->number() != 0;
        tRes = 0;
    } else if (tCode == SQLITE_ROW) {
        tRes = E_FAIL;
    }
    mGet->reset();
    return tCode == SQLITE_ROW || tCode == SQLITE_DONE ? tRes : failed(tCode);
}

uint32_t RegistryFile::put(const std::string& pNode, const std::string& pName, const std::string& pValue)
{
    mPut->bind(3, pValue);
    return putBound(pNode, pName);
}

uint32_t RegistryFile::put(const std::string& pNode, const std::string& pName, bool pValue)
{
    mPut->bind(3, pValue);
    return putBound(pNode, pName);
}

uint32_t RegistryFile::putBound(const std::string& pNode, const std::string& pName)
{
    mPut->bind(1, pNode);
    mPut->bind(2, pName);
    // Once a batch has failed, a write would no longer be part of its transaction.
    const int tCode = mBatchFailure ? SQLITE_ABORT : mPut->step();
    mPut->reset();
    if (mBatchFailure) return mBatchFailure;
    return tCode == SQLITE_DONE ? 0 : failed(tCode);
}

void RegistryFile::beginBatch(RegBatch::Kind pKind)
{
    mInBatch = true;
    mBatchFailure = 0;
    execute(pKind == RegBatch::Kind::WRITE ? "BEGIN IMMEDIATE" : "BEGIN");
}

uint32_t RegistryFile::commitBatch()
{
    if (!mBatchFailure) execute("COMMIT");
    const uint32_t tRes = mBatchFailure;
    dropBatch();
    return tRes;
}

void RegistryFile::dropBatch()
{
    mInBatch = false;
    mBatchFailure = 0;
    // What has failed may have been rolled back already.
    if (!sqlite3_get_autocommit(mDatabase)) execute("ROLLBACK");
}

uint32_t RegistryFile::failed(int pCode)
{
    const uint32_t tRes = codeOf(pCode);
    std::string tWhat = sqlite3_errmsg(mDatabase);
    if (const std::string tReason = kpr::SqliteGuard::takeReason();
        (pCode & 0xFF) == SQLITE_CANTOPEN && !tReason.empty())
        tWhat = tReason;
    if ((pCode & 0xFF) == SQLITE_INTERRUPT) tWhat = "it holds more than settings need";
    if (mInBatch && !mBatchFailure) mBatchFailure = tRes;
    if (isDamage(pCode))
        reportDamage(tWhat);
    else
        kWarning(mApp.get(), DOMAIN_NAME, message("Settings store \"%1\": %2", mPath, tWhat));
    return tRes;
}

void RegistryFile::reportDamage(const std::string& pWhat)
{
    if (std::exchange(mDamaged, true)) return;
    mReadOnly = true;
    // The copy is read through a handle of its own, whose closing drops this process's locks on the file.
    if (!sqlite3_get_autocommit(mDatabase)) sqlite3_exec(mDatabase, "ROLLBACK", nullptr, nullptr, nullptr);
    std::string tCopy;
    if (auto tRes = keepDamaged(mPath, tCopy); KFAILED(tRes)) tCopy = komStrError(tRes);
    kError(mApp.get(), DOMAIN_NAME,
           message("Settings store \"%1\" is damaged and stays as it is, settings are read-only until it is "
                   "repaired or removed: %2 (copy: %3)",
                   mPath, pWhat, tCopy));
}

void RegistryFile::reportUnusable(const char* pWhat)
{
    kWarning(mApp.get(), DOMAIN_NAME, message("Settings store \"%1\" cannot be used: %2", mPath, pWhat));
}

} // namespace vel::kos::util
