// The drivers beside the bare client libraries: 100,000 rows inserted by a prepared statement in one
// transaction, 1,000,000 rows read; with a server, 2,000 and 200,000. The floor does with each value what the
// driver does.
#include <benchmark/benchmark.h>

#include <libpq-fe.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "bench/bench_postgresql_server.h"
#include "kfw/sql/driver.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"
#include "kpr/dso.h"
#include "kpr/path.h"

using namespace vel::kos;

namespace {

constexpr int INSERTED = 100000, READ = 1000000, INSERTED_BY_SERVER = 2000, READ_OF_SERVER = 200000;
constexpr char TABLE[] = "create table t (n bigint, d double precision, x text)";
constexpr char INSERT[] = "insert into t values (?, ?, ?)";
constexpr char TEXT[] = "a text of some twenty letters";

void require(bool pDone, const char* pWhat)
{
    if (pDone) return;
    std::fprintf(stderr, "bench_sql: %s\n", pWhat);
    std::abort();
}

/// A statement that makes so many rows.
std::string rows(int pCount)
{
    return "with recursive c(n) as (select 1 union all select n + 1 from c where n < " +
           std::to_string(pCount) +
           ") select n, cast(n * 0.5 as double precision) as d, 'the text of row ' || n as x from c";
}

kom::Ref<sql::ISqlDatabase> open(const std::string& pType, const std::string& pDescription)
{
    static const auto tRegistry = kom::retain(new kfw::SqlDbFactoryReg);
    char tFolder[4096];
    require(kprGetDirname(kprGetProgramPath(), tFolder, sizeof tFolder) == 0, "no program folder");
    KprDSO tModule = 0;
    void* tAnnounce = nullptr;
    require(kprOpenDSO((std::string(tFolder) + "/drivers/libsqldrv_" + pType + ".so").c_str(), 0, &tModule) ==
                    0 &&
                kprGetDSOSymbol(tModule, sql::ANNOUNCE_FACTORIES, &tAnnounce) == 0,
            "no driver module");
    reinterpret_cast<sql::AnnounceFactories>(tAnnounce)(tRegistry.get());
    kom::Ref<sql::ISqlDatabase> tDatabase;
    require(tRegistry->createDatabase(("type=" + pType + ";" + pDescription).c_str(), tDatabase.out()) == 0 &&
                tDatabase,
            "the database cannot be opened");
    return tDatabase;
}

// --- The drivers ------------------------------------------------------------------------------------------

void insert(benchmark::State& pState, sql::ISqlDatabase* pDatabase, int pCount)
{
    kom::Ref<sql::ISqlStatement> tStatement;
    require(pDatabase->prepare(INSERT, tStatement.out()) == 0, "prepare");
    for (auto _ : pState) {
        require(pDatabase->begin(sql::SQL_BEGIN_DEFERRED, sql::SQL_ISOLATION_DEFAULT) == 0, "begin");
        for (int i = 0; i < pCount; ++i) {
            const sql::SqlValue tValues[] = {sql::integerValue(i), sql::doubleValue(i * 0.5),
                                             sql::textValue(TEXT)};
            const sql::SqlValueList tList{3, tValues};
            uint64_t tChanged = 0;
            require(tStatement->execute(&tList, &tChanged) == 0 && tChanged == 1, "insert");
        }
        require(pDatabase->rollback() == 0, "rollback");
    }
}

void read(benchmark::State& pState, sql::ISqlDatabase* pDatabase, const std::string& pText, int pCount)
{
    for (auto _ : pState) {
        kom::Ref<sql::ISqlRows> tRows;
        require(pDatabase->query(pText.c_str(), nullptr, tRows.out()) == 0, "query");
        sql::SqlValueList tRow{};
        int tCount = 0;
        double tSum = 0;
        for (; tRows->next(&tRow) == 0 && tRow.mCount > 0; ++tCount)
            tSum += static_cast<double>(tRow.mValues[0].mInteger) + tRow.mValues[1].mDouble +
                    static_cast<double>(tRow.mValues[2].mSize);
        benchmark::DoNotOptimize(tSum);
        require(tCount == pCount, "rows");
    }
}

// --- SQLite -----------------------------------------------------------------------------------------------

struct BareSqlite {
    BareSqlite() { require(sqlite3_open(":memory:", &handle) == SQLITE_OK, "sqlite3_open"); }
    ~BareSqlite() { sqlite3_close(handle); }
    void run(const char* pText) const
    {
        require(sqlite3_exec(handle, pText, nullptr, nullptr, nullptr) == SQLITE_OK, pText);
    }
    sqlite3* handle = nullptr;
};

void insertBare(benchmark::State& pState, const BareSqlite& pBare, int pCount)
{
    sqlite3_stmt* tStatement = nullptr;
    require(sqlite3_prepare_v2(pBare.handle, INSERT, -1, &tStatement, nullptr) == SQLITE_OK, "prepare");
    for (auto _ : pState) {
        pBare.run("begin");
        for (int i = 0; i < pCount; ++i) {
            sqlite3_bind_int64(tStatement, 1, i);
            sqlite3_bind_double(tStatement, 2, i * 0.5);
            sqlite3_bind_text64(tStatement, 3, TEXT, sizeof TEXT - 1, SQLITE_STATIC, SQLITE_UTF8);
            require(sqlite3_step(tStatement) == SQLITE_DONE && sqlite3_changes(pBare.handle) == 1, "insert");
            sqlite3_reset(tStatement);
        }
        pBare.run("rollback");
    }
    sqlite3_finalize(tStatement);
}

void readBare(benchmark::State& pState, const BareSqlite& pBare, const std::string& pText, int pCount)
{
    for (auto _ : pState) {
        sqlite3_stmt* tStatement = nullptr;
        require(sqlite3_prepare_v2(pBare.handle, pText.c_str(), -1, &tStatement, nullptr) == SQLITE_OK,
                "prepare");
        int tCount = 0;
        double tSum = 0;
        for (; sqlite3_step(tStatement) == SQLITE_ROW; ++tCount) {
            // A program that does not know the types asks for them.
            for (int i = 0; i < 3; ++i)
                switch (sqlite3_column_type(tStatement, i)) {
                case SQLITE_INTEGER:
                    tSum += static_cast<double>(sqlite3_column_int64(tStatement, i));
                    break;
                case SQLITE_FLOAT:
                    tSum += sqlite3_column_double(tStatement, i);
                    break;
                default:
                    benchmark::DoNotOptimize(sqlite3_column_text(tStatement, i));
                    tSum += sqlite3_column_bytes(tStatement, i);
                }
        }
        benchmark::DoNotOptimize(tSum);
        require(tCount == pCount, "rows");
        sqlite3_finalize(tStatement);
    }
}

// --- PostgreSQL -------------------------------------------------------------------------------------------

struct BarePostgresql {
    explicit BarePostgresql(int pPort)
        : handle(PQconnectdb(
              ("host=127.0.0.1 dbname=postgres user=bench port=" + std::to_string(pPort)).c_str()))
    {
        require(PQstatus(handle) == CONNECTION_OK, "PQconnectdb");
    }
    ~BarePostgresql() { PQfinish(handle); }
    void run(const char* pText) const
    {
        PGresult* const tResult = PQexec(handle, pText);
        require(PQresultStatus(tResult) == PGRES_COMMAND_OK, pText);
        PQclear(tResult);
    }
    PGconn* handle;
};

void insertBare(benchmark::State& pState, const BarePostgresql& pBare, int pCount)
{
    PQclear(PQprepare(pBare.handle, "bare", "insert into t values ($1, $2, $3)", 0, nullptr));
    for (auto _ : pState) {
        pBare.run("begin");
        for (int i = 0; i < pCount; ++i) {
            char tNumber[24], tDouble[40];
            std::snprintf(tNumber, sizeof tNumber, "%d", i);
            std::snprintf(tDouble, sizeof tDouble, "%.17g", i * 0.5);
            const char* const tValues[] = {tNumber, tDouble, TEXT};
            PGresult* const tResult = PQexecPrepared(pBare.handle, "bare", 3, tValues, nullptr, nullptr, 0);
            require(PQresultStatus(tResult) == PGRES_COMMAND_OK && std::atoi(PQcmdTuples(tResult)) == 1,
                    "insert");
            PQclear(tResult);
        }
        pBare.run("rollback");
    }
    pBare.run("deallocate bare");
}

void readBare(benchmark::State& pState, const BarePostgresql& pBare, const std::string& pText, int pCount)
{
    for (auto _ : pState) {
        require(PQsendQueryParams(pBare.handle, pText.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) ==
                        1 &&
                    PQsetSingleRowMode(pBare.handle) == 1,
                "query");
        int tCount = 0;
        double tSum = 0;
        while (PGresult* const tResult = PQgetResult(pBare.handle)) {
            if (PQresultStatus(tResult) == PGRES_SINGLE_TUPLE) {
                ++tCount;
                tSum += static_cast<double>(std::strtoll(PQgetvalue(tResult, 0, 0), nullptr, 10)) +
                        std::strtod(PQgetvalue(tResult, 0, 1), nullptr) + PQgetlength(tResult, 0, 2);
            }
            PQclear(tResult);
        }
        benchmark::DoNotOptimize(tSum);
        require(tCount == pCount, "rows");
    }
}

template <class TRun>
void add(const std::string& pName, TRun pRun)
{
    benchmark::RegisterBenchmark(pName.c_str(), pRun)->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    const BareSqlite tBareSqlite;
    const auto tSqlite = open("sqlite", "file=:memory:");
    const std::string tFill =
        "create table r (n bigint, d double precision, x text); insert into r " + rows(READ);
    for (const std::string& tText : {std::string(TABLE), tFill}) {
        tBareSqlite.run(tText.c_str());
        require(tSqlite->executeScript(tText.c_str(), nullptr) == 0, "fill");
    }
    add("floor/sqlite/insert_100000",
        [&](benchmark::State& pState) { insertBare(pState, tBareSqlite, INSERTED); });
    add("driver/sqlite/insert_100000",
        [&](benchmark::State& pState) { insert(pState, tSqlite.get(), INSERTED); });
    add("floor/sqlite/select_1000000",
        [&](benchmark::State& pState) { readBare(pState, tBareSqlite, "select n, d, x from r", READ); });
    add("driver/sqlite/select_1000000",
        [&](benchmark::State& pState) { read(pState, tSqlite.get(), "select n, d, x from r", READ); });

    const bench::PostgresqlServer tServer;
    std::unique_ptr<BarePostgresql> tBare;
    kom::Ref<sql::ISqlDatabase> tPostgresql;
    if (tServer.port()) {
        tBare = std::make_unique<BarePostgresql>(tServer.port());
        tBare->run(TABLE);
        tBare->run(("create table r as " + rows(READ_OF_SERVER)).c_str());
        tPostgresql = open("postgresql", "host=127.0.0.1;dbname=postgres;user=bench;port=" +
                                             std::to_string(tServer.port()));
        add("floor/postgresql/insert_2000",
            [&](benchmark::State& pState) { insertBare(pState, *tBare, INSERTED_BY_SERVER); });
        add("driver/postgresql/insert_2000",
            [&](benchmark::State& pState) { insert(pState, tPostgresql.get(), INSERTED_BY_SERVER); });
        add("floor/postgresql/select_200000", [&](benchmark::State& pState) {
            readBare(pState, *tBare, "select n, d, x from r", READ_OF_SERVER);
        });
        add("driver/postgresql/select_200000", [&](benchmark::State& pState) {
            read(pState, tPostgresql.get(), "select n, d, x from r", READ_OF_SERVER);
        });
    } else {
        std::fprintf(stderr,
                     "bench_sql: no PostgreSQL server can be started: nothing is measured with one\n");
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
