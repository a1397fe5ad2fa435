// Makes connections to databases of one type. Driver modules implement it and announce it to the registry.
//
// A description tells which database is meant: `key=value` pairs separated by ";", as in
//
//     type=sqlite;file=/var/lib/app/orders.db
//
// Blanks around keys and values do not count; keys are case-insensitive and occur once. A value that holds
// ";", a double quote or outer blanks is written in double quotes, with "" for one. `type` names the
// database type that is meant; the other keys are the driver's.
#pragma once

#include "kfw/sql/ISqlDatabase.h"

namespace vel::kos::sql {

/// The databases of one type.
class ISqlDatabaseFactory : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlDatabaseFactory:1.0";

    /// The database type's name: not empty, and the same for the life of the factory.
    virtual uint32_t getDatabaseType(char** pType) = 0;
    /// Which keys a description may have and what they mean, for a person, a line each.
    virtual uint32_t getDescriptionHelp(char** pText) = 0;
    /// Opens the database that is described. A description that is not this driver's is declined: 0 and null.
    /// One that is but cannot be opened is a failure, and getCreateError tells why.
    virtual uint32_t createDatabase(const char* pDescription, ISqlDatabase** pDatabase) = 0;
    /// Why the calling thread's last createDatabase made nothing. Its code is 0 when the description was
    /// declined; a text then tells where it does not follow the grammar, and is "" when it only was not ours.
    virtual uint32_t getCreateError(SqlError* pError) = 0;

protected:
    ~ISqlDatabaseFactory() = default;
};

using ISqlDatabaseFactory_Adapter = kom::Adapter<ISqlDatabaseFactory>;

} // namespace vel::kos::sql
