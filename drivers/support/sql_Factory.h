// The part of a factory that is the same for every driver: whose a description is, and why opening failed.
#pragma once

#include <string>

#include "drivers/support/sql_Description.h"
#include "drivers/support/sql_Failure.h"
#include "kfw/sql/ISqlDatabaseFactory.h"
#include "kom/implements.h"
#include "kpr/mutex.h"

namespace vel::kos::drivers {

/// A driver derives from it, gives its type, and opens what the description says.
class Factory : public kom::Implements<Factory, sql::ISqlDatabaseFactory> {
    friend Implements;

public:
    Factory(const char* pType, const char* pHelp) : mType(pType), mHelp(pHelp) {}

    uint32_t getDatabaseType(char** pType) override;
    uint32_t getDescriptionHelp(char** pText) override;
    /// Declines what does not follow the grammar or names another type.
    uint32_t createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase) override;
    uint32_t getCreateError(sql::SqlError* pError) override;

    virtual ~Factory() = default;

protected:
    /// Opens the database, whose client library is loaded; a failure, whose code is not 0, when it cannot.
    /// What the description calls a password or a secret is taken out of its text.
    virtual Failure open(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase) = 0;

    /// Loads the client library, or finds it loaded: "", or what is missing. By one thread at a time.
    virtual std::string load() = 0;

private:
    Failure openLoaded(const Description& pDescription, kom::Ref<sql::ISqlDatabase>& pDatabase);

    kom::RefCount mRefCount;
    kpr::Mutex mLoading;
    const char* mType;
    const char* mHelp;
};

} // namespace vel::kos::drivers
