// The PostgreSQL driver: servers reached through libpq.
#include <charconv>
#include <iterator>
#include <vector>

#include "drivers/postgresql/sql_Libpq.h"
#include "drivers/postgresql/sql_Placeholders.h"
#include "drivers/support/sql_Connection.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", "KOS"},
    {"ProductName", "VEL KOS"},
    {"FileVersion", KFW_PROJECT_VERSION},
    {"ProductVersion", KFW_PROJECT_VERSION},
    {"FileDescription", "KOS PostgreSQL Driver"},
    {"InternalName", "sqldrv_postgresql"},
};

constexpr char HELP[] = "type=postgresql  this driver\n"
                        "host=NAME        the server, or the folder of its socket\n"
                        "port=NUMBER      its port\n"
                        "dbname=NAME      the database\n"
                        "user=NAME        who connects\n"
                        "password=TEXT    the user's password\n"
                        "connect_timeout=SECONDS  how long to try\n"
                        "sslmode=MODE     as libpq knows it; every other key is handed to libpq as well\n";

Libpq gLibpq;

/// libpq's texts end with a line break.
std::string tidy(const char* pText)
{
    std::string tText = pText ? pText : "";
    while (!tText.empty() && (tText.back() == '\n' || tText.back() == ' '))
        tText.pop_back();
    return tText;
}

class Database final : public Connection {
public:
    explicit Database(PGconn* pHandle) : Connection("postgresql"), mHandle(pHandle) {}
    ~Database() override { gLibpq.finish(mHandle); }

    uint32_t execute(const char* pStatement, const sql::SqlParameters* pParameters,
                     uint64_t* pChanged) override;
    uint32_t query(const char* pStatement, const sql::SqlParameters* pParameters,
                   sql::ISqlRows** pRows) override;

protected:
    bool isInTransaction() override
    {
        const PGTransactionStatusType tStatus = gLibpq.transactionStatus(mHandle);
        return tStatus == PQTRANS_INTRANS || tStatus == PQTRANS_INERROR;
    }

    uint32_t runCommit() override;

private:
    uint32_t run(const char* pStatement, const sql::SqlParameters* pParameters, PGresult** pResult);

    PGconn* const mHandle;
};

/// The rows of a finished query; they keep the connection.
class Rows final : public ResultRows {
public:
    Rows(kom::Ref<Database> pDatabase, PGresult* pResult) : mDatabase(std::move(pDatabase)), mResult(pResult)
    {
    }
    ~Rows() override { gLibpq.clear(mResult); }

    uint32_t next(uint32_t* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        if (mRow < gLibpq.rows(mResult)) ++mRow;
        *pRow = isOnRow() ? 1 : 0;
        return 0;
    }

protected:
    int columnCount() const override { return gLibpq.columns(mResult); }
    const char* columnName(int pColumn) const override { return gLibpq.columnName(mResult, pColumn); }
    bool isOnRow() const override { return mRow >= 0 && mRow < gLibpq.rows(mResult); }
    std::optional<std::string_view> text(int pColumn) const override
    {
        if (gLibpq.isNull(mResult, mRow, pColumn)) return std::nullopt;
        return std::string_view(gLibpq.value(mResult, mRow, pColumn),
                                static_cast<size_t>(gLibpq.length(mResult, mRow, pColumn)));
    }

private:
    const kom::Ref<Database> mDatabase;
    PGresult* const mResult;
    int mRow = -1;
};

uint32_t Database::run(const char* pStatement, const sql::SqlParameters* pParameters, PGresult** pResult)
{
    uint32_t tWanted = 0;
    const std::string tStatement = numberPlaceholders(pStatement, tWanted);
    if (auto tRes = checkParameters(pParameters, tWanted); KFAILED(tRes)) return tRes;
    *pResult = gLibpq.exec(mHandle, tStatement.c_str(), static_cast<int>(tWanted), nullptr,
                           tWanted ? pParameters->mValues : nullptr, nullptr, nullptr, 0);
    const ExecStatusType tStatus = gLibpq.resultStatus(*pResult);
    if (tStatus == PGRES_COMMAND_OK || tStatus == PGRES_TUPLES_OK) return 0;
    std::string tError = "there is no statement in the text";
    if (tStatus != PGRES_EMPTY_QUERY)
        tError = tidy(*pResult ? gLibpq.resultErrorMessage(*pResult) : gLibpq.errorMessage(mHandle));
    gLibpq.clear(*pResult);
    *pResult = nullptr;
    return fail(E_FAIL, std::move(tError));
}

uint32_t Database::execute(const char* pStatement, const sql::SqlParameters* pParameters, uint64_t* pChanged)
{
    if (!pStatement) return E_INVALIDARG;
    if (pChanged) *pChanged = 0;
    PGresult* tResult = nullptr;
    if (auto tRes = run(pStatement, pParameters, &tResult); KFAILED(tRes)) return tRes;
    const std::string_view tChanged = gLibpq.changed(tResult);
    if (pChanged && gLibpq.resultStatus(tResult) == PGRES_COMMAND_OK)
        std::from_chars(tChanged.data(), tChanged.data() + tChanged.size(), *pChanged);
    gLibpq.clear(tResult);
    return 0;
}

// The server ends a transaction in which a statement has failed by rolling it back, and calls that a success.
uint32_t Database::runCommit()
{
    PGresult* tResult = nullptr;
    if (auto tRes = run("COMMIT", nullptr, &tResult); KFAILED(tRes)) return tRes;
    const bool tKept = std::string_view(gLibpq.commandStatus(tResult)) == "COMMIT";
    gLibpq.clear(tResult);
    return tKept ? 0 : fail(E_FAIL, "the transaction was rolled back, since a statement of it had failed");
}

uint32_t Database::query(const char* pStatement, const sql::SqlParameters* pParameters, sql::ISqlRows** pRows)
{
    if (!pStatement || !pRows) return E_INVALIDARG;
    *pRows = nullptr;
    PGresult* tResult = nullptr;
    if (auto tRes = run(pStatement, pParameters, &tResult); KFAILED(tRes)) return tRes;
    *pRows = kom::retain(new Rows(kom::retain(this), tResult)).detach();
    return 0;
}

class PostgresqlFactory : public Factory {
public:
    PostgresqlFactory() : Factory("postgresql", HELP) {}

protected:
    uint32_t open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase,
                  std::string& pError) override
    {
        if (!gLibpq.load()) return pError = "PostgreSQL: " + gLibpq.library.problem(), KPR_E_NOT_FOUND;
        std::vector<const char*> tKeys, tValues;
        for (const auto& [tKey, tValue] : pDescription.values()) {
            if (tKey == "type") continue;
            tKeys.push_back(tKey.c_str());
            tValues.push_back(tValue.c_str());
        }
        tKeys.push_back(nullptr);
        tValues.push_back(nullptr);
        PGconn* tHandle = gLibpq.connect(tKeys.data(), tValues.data(), 0);
        if (!tHandle) return pError = "out of memory", E_OUTOFMEMORY;
        if (gLibpq.status(tHandle) != CONNECTION_OK || gLibpq.setClientEncoding(tHandle, "UTF8") != 0) {
            pError = tidy(gLibpq.errorMessage(tHandle));
            gLibpq.finish(tHandle);
            return E_FAIL;
        }
        // Without this libpq writes the server's notices to the host's standard error.
        gLibpq.setNoticeProcessor(
            tHandle, [](void*, const char*) {}, nullptr);
        pDatabase = kom::retain(new Database(tHandle));
        return 0;
    }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new PostgresqlFactory); }

} // namespace vel::kos::drivers
