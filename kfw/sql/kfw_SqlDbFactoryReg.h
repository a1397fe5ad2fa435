// The registry of SQL database factories.
#pragma once

#include <map>
#include <string>

#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// No lock: the map is the callers' to protect. Factories may call back from inside any call made to them,
/// and from their destructors: the map is whole whenever a factory is called or released.
class SqlDbFactoryReg : public kom::Implements<SqlDbFactoryReg, sql::ISqlDatabaseFactoryRegistry> {
    friend Implements;

public:
    SqlDbFactoryReg() = default;

    uint32_t registerFactory(sql::ISqlDatabaseFactory* pFactory) override;
    uint32_t unregisterFactory(sql::ISqlDatabaseFactory* pFactory) override;
    uint32_t getDatabaseTypes(sql::StringList* pTypes) override;
    uint32_t getFactories(sql::FactoryList* pFactories) override;
    uint32_t getFactory(const char* pType, sql::ISqlDatabaseFactory** pFactory) override;
    uint32_t createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase) override;

    virtual ~SqlDbFactoryReg();

private:
    kom::RefCount mRefCount;
    std::map<std::string, kom::Ref<sql::ISqlDatabaseFactory>, std::less<>> mFactories;
};

} // namespace vel::kos::kfw
