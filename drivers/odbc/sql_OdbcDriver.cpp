// The ODBC driver: every database that has an ODBC driver, through the system's driver manager.
#include <iterator>

#include "drivers/odbc/sql_OdbcDatabase.h"
#include "drivers/support/sql_Driver.h"
#include "drivers/support/sql_Factory.h"

namespace vel::kos::drivers {

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
    {"Product", KFW_PRODUCT},
    {"ProductName", KFW_PRODUCT_NAME},
    {"FileVersion", KFW_PROJECT_VERSION},
    {"ProductVersion", KFW_PROJECT_VERSION},
    {"FileDescription", KFW_PRODUCT " ODBC Driver"},
    {"InternalName", "sqldrv_odbc"},
};

constexpr char HELP[] = "type=odbc      this driver\n"
                        "dsn=NAME       a data source of the system's or the user's\n"
                        "driver=NAME    or an ODBC driver: its registered name, or the path of its library\n"
                        "user=NAME      who connects (uid)\n"
                        "password=TEXT  the user's password (pwd)\n"
                        "connect_timeout=SECONDS  how long to try (10; 0 without end)\n"
                        "server=NAME    every other key is handed to the ODBC driver\n";

class OdbcFactory : public Factory {
public:
    OdbcFactory() : Factory(OdbcDatabase::TYPE, HELP) {}

protected:
    Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase) override
    {
        return OdbcDatabase::open(pDescription, pDatabase);
    }
    std::string load() override { return gOdbc.load() ? "" : "ODBC: " + gOdbc.library.problem(); }
};

} // namespace

ModuleAttributes attributes() { return {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))}; }

kom::Ref<sql::ISqlDatabaseFactory> makeFactory() { return kom::retain(new OdbcFactory); }

} // namespace vel::kos::drivers
