// The PostgreSQL driver: servers reached through libpq.
#include <iterator>

#include "drivers/postgresql/sql_PostgresqlDatabase.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", KFW_PRODUCT},
    {"ProductName", KFW_PRODUCT_NAME},
    {"FileVersion", KFW_PROJECT_VERSION},
    {"ProductVersion", KFW_PROJECT_VERSION},
    {"FileDescription", KFW_PRODUCT " PostgreSQL Driver"},
    {"InternalName", "sqldrv_postgresql"},
};

constexpr char HELP[] = "type=postgresql  this driver\n"
                        "host=NAME        the server, or the folder of its socket\n"
                        "port=NUMBER      its port\n"
                        "dbname=NAME      the database\n"
                        "user=NAME        who connects\n"
                        "password=TEXT    the user's password\n"
                        "connect_timeout=SECONDS  how long to try (10; 0 without end)\n"
                        "sslmode=MODE     as libpq knows it; every other key is handed to libpq as well\n";

class PostgresqlFactory : public Factory {
public:
    PostgresqlFactory() : Factory(PostgresqlDatabase::TYPE, HELP) {}

protected:
    Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase) override
    {
        return PostgresqlDatabase::open(pDescription, pDatabase);
    }
    std::string load() override { return gLibpq.load() ? "" : "PostgreSQL: " + gLibpq.library.problem(); }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new PostgresqlFactory); }

} // namespace vel::kos::drivers
