// The registry of database factories: drivers announce theirs, clients find them by type.
#pragma once

#include "kfw/sql/ISqlDatabaseFactory.h"

namespace vel::kos::sql {

/// Type names: kom heap strings in one komCalloc block, all owned by the receiver; null when empty.
struct StringList {
    uint32_t mCount;
    char** mStrings;
};

/// Factories, each with one reference for the receiver, in one komCalloc block that it owns; null when empty.
struct FactoryList {
    uint32_t mCount;
    ISqlDatabaseFactory** mFactories;
};

/// One object for the whole process. Type names are bytes: compared whole and case-sensitively, ordered by
/// unsigned bytes, a prefix before what it begins. The registry holds one reference to each factory until it
/// is unregistered or the process ends. Calls from several threads are the callers' to serialise; a factory
/// may call back into the registry from inside any call made to it.
///
/// Output records are plain: they are overwritten. A null pointer returns E_INVALIDARG before anything else.
class ISqlDatabaseFactoryRegistry : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/sql/ISqlDatabaseFactoryRegistry:1.0";

    /// Enters a factory under the type name it reports. E_FAIL when the name is empty or taken (the first one
    /// stays), the factory's own code when it cannot tell its name.
    virtual uint32_t registerFactory(ISqlDatabaseFactory* pFactory) = 0;
    /// Takes a factory out, found by the name it reports. E_FAIL when the name is empty or not registered, or
    /// another object stands under it.
    virtual uint32_t unregisterFactory(ISqlDatabaseFactory* pFactory) = 0;
    /// The registered type names, in order.
    virtual uint32_t getDatabaseTypes(StringList* pTypes) = 0;
    /// The registered factories, in the order of their type names.
    virtual uint32_t getFactories(FactoryList* pFactories) = 0;
    /// The factory of a type. E_INVALIDARG for an empty name, E_FAIL when none is registered; then null.
    virtual uint32_t getFactory(const char* pType, ISqlDatabaseFactory** pFactory) = 0;
    /// Has the factories try in turn, in the order of their type names; the first that makes a database wins.
    /// When none does: the first failure's code, or 0 with null when all have declined. Without any factory
    /// 0, and *pDatabase is left untouched. A factory that registers or unregisters factories meanwhile
    /// changes who is asked after it: next comes the first type name, as things then stand, after its own.
    virtual uint32_t createDatabase(const char* pDescription, ISqlDatabase** pDatabase) = 0;

protected:
    ~ISqlDatabaseFactoryRegistry() = default;
};

using ISqlDatabaseFactoryRegistry_Adapter = kom::Adapter<ISqlDatabaseFactoryRegistry>;

} // namespace vel::kos::sql
