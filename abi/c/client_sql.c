// The registry of database factories, with a factory and a database of the client's own.
#include <string.h>

#include "client.h"
#include "client_host.h"

static uint32_t sFactoryReferences = 1, sDatabaseReferences = 1;
static const char* sDescription; ///< the one that the factory was given last, while the call lasts

// What the two objects have in common; the slots take the object as their own interface's.
#define COMMON_OPERATIONS(pInterface, pPrefix, pReferences)                                                  \
    static uint32_t pPrefix##ComQuery(pInterface* pThis, const void* pIid, void** pOut)                      \
    {                                                                                                        \
        (void)pThis, (void)pIid;                                                                             \
        *pOut = NULL;                                                                                        \
        return E_NOINTERFACE;                                                                                \
    }                                                                                                        \
    static uint32_t pPrefix##AddRef(pInterface* pThis)                                                       \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        return ++pReferences;                                                                                \
    }                                                                                                        \
    static uint32_t pPrefix##Release(pInterface* pThis)                                                      \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        return --pReferences;                                                                                \
    }                                                                                                        \
    static uint32_t pPrefix##Query(pInterface* pThis, const char* pIid, IUnknown** pOut)                     \
    {                                                                                                        \
        static const char* const IDENTITIES[] = {IID_IUnknown, IID_##pInterface, NULL};                      \
        return findInterface(pThis, IDENTITIES, pIid, pOut);                                                 \
    }                                                                                                        \
    static const char* pPrefix##Identity(pInterface* pThis)                                                  \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        return IID_##pInterface;                                                                             \
    }                                                                                                        \
    static uint32_t pPrefix##Type(pInterface* pThis, char** pOut)                                            \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        *pOut = komStrDup("memory");                                                                         \
        return 0;                                                                                            \
    }
COMMON_OPERATIONS(ISqlDatabase, database, sDatabaseReferences)
COMMON_OPERATIONS(ISqlDatabaseFactory, factory, sFactoryReferences)

// Of the database the registry calls nothing but what makes it an object; it can do nothing else.
static uint32_t getNumber(ISqlDatabase* pThis, uint32_t* pNumber)
{
    (void)pThis;
    *pNumber = 0;
    return 0;
}
static uint32_t prepare(ISqlDatabase* pThis, const char* pStatement, ISqlStatement** pPrepared)
{
    (void)pThis, (void)pStatement;
    *pPrepared = NULL;
    return E_NOT_SUPPORTED;
}
static uint32_t execute(ISqlDatabase* pThis, const char* pStatement, const SqlValueList* pValues,
                        uint64_t* pChanged)
{
    (void)pThis, (void)pStatement, (void)pValues, (void)pChanged;
    return E_NOT_SUPPORTED;
}
static uint32_t query(ISqlDatabase* pThis, const char* pStatement, const SqlValueList* pValues,
                      ISqlRows** pRows)
{
    (void)pThis, (void)pStatement, (void)pValues;
    *pRows = NULL;
    return E_NOT_SUPPORTED;
}
static uint32_t executeScript(ISqlDatabase* pThis, const char* pScript, uint64_t* pStatements)
{
    (void)pThis, (void)pScript, (void)pStatements;
    return E_NOT_SUPPORTED;
}
static uint32_t beginAny(ISqlDatabase* pThis, uint32_t pMode, uint32_t pIsolation)
{
    (void)pThis, (void)pMode, (void)pIsolation;
    return E_NOT_SUPPORTED;
}
static uint32_t refuse(ISqlDatabase* pThis)
{
    (void)pThis;
    return E_NOT_SUPPORTED;
}
static uint32_t refuseName(ISqlDatabase* pThis, const char* pName)
{
    (void)pThis, (void)pName;
    return E_NOT_SUPPORTED;
}
static uint32_t refuseNumber(ISqlDatabase* pThis, uint32_t pNumber)
{
    (void)pThis, (void)pNumber;
    return E_NOT_SUPPORTED;
}
static uint32_t listTables(ISqlDatabase* pThis, ISqlRows** pRows) { return query(pThis, NULL, NULL, pRows); }
static uint32_t describeTable(ISqlDatabase* pThis, const char* pTable, ISqlRows** pRows)
{
    return query(pThis, pTable, NULL, pRows);
}
static uint32_t getError(ISqlDatabase* pThis, SqlError* pError)
{
    (void)pThis;
    memset(pError, 0, sizeof *pError);
    return 0;
}

static ISqlDatabase sDatabase = {&(const struct ISqlDatabaseSlots){
    databaseComQuery, databaseAddRef, databaseRelease, databaseQuery, databaseAddRef, databaseRelease,
    databaseIdentity, databaseType,   getNumber,       prepare,       execute,        query,
    executeScript,    beginAny,       refuse,          refuse,        refuseName,     refuseName,
    refuseName,       getNumber,      refuseNumber,    refuse,        refuse,         listTables,
    describeTable,    getError}};

static uint32_t getCreateError(ISqlDatabaseFactory* pThis, SqlError* pError)
{
    (void)pThis;
    memset(pError, 0, sizeof *pError);
    return 0;
}

static uint32_t createDatabase(ISqlDatabaseFactory* pThis, const char* pDescription, ISqlDatabase** pDatabase)
{
    (void)pThis;
    sDescription = pDescription;
    const bool tOurs = strcmp(pDescription, "type=memory") == 0;
    *pDatabase = tOurs ? &sDatabase : NULL;
    if (tOurs) ++sDatabaseReferences;
    return 0;
}

static ISqlDatabaseFactory sFactory = {&(const struct ISqlDatabaseFactorySlots){
    factoryComQuery, factoryAddRef, factoryRelease, factoryQuery, factoryAddRef, factoryRelease,
    factoryIdentity, factoryType, factoryType, createDatabase, getCreateError}};

#define REGISTRY(pOperation) SLOT(ISqlDatabaseFactoryRegistry, tRegistry, pOperation)

void driveSqlFactoryRegistry(void)
{
    ISqlDatabaseFactoryRegistry* tRegistry =
        makeObject("SqlDbFactoryReg", CLASS_SQL_FACTORY_REGISTRY, IID_ISqlDatabaseFactoryRegistry, true);
    UNKNOWN(ISqlDatabaseFactoryRegistry, tRegistry);

    CODE(REGISTRY(registerFactory)(tRegistry, NULL), E_INVALIDARG);
    CODE(REGISTRY(registerFactory)(tRegistry, &sFactory), 0);
    CHECK(sFactoryReferences == 2);
    CODE(REGISTRY(registerFactory)(tRegistry, &sFactory), E_FAIL);

    StringList tTypes = {9, NULL};
    CODE(REGISTRY(getDatabaseTypes)(tRegistry, &tTypes), 0);
    if (CHECK(tTypes.mCount == 1)) TEXT(tTypes.mStrings[0], "memory");
    komFree(tTypes.mStrings);

    FactoryList tFactories = {9, NULL};
    CODE(REGISTRY(getFactories)(tRegistry, &tFactories), 0);
    if (CHECK(tFactories.mCount == 1 && tFactories.mFactories[0] == &sFactory && sFactoryReferences == 3))
        release(tFactories.mFactories[0]);
    komFree(tFactories.mFactories);

    ISqlDatabaseFactory* tFactory = NULL;
    CODE(REGISTRY(getFactory)(tRegistry, "memory", &tFactory), 0);
    if (CHECK(tFactory == &sFactory && sFactoryReferences == 3)) release(tFactory);
    CODE(REGISTRY(getFactory)(tRegistry, "Memory", &tFactory), E_FAIL);
    CHECK(tFactory == NULL);

    ISqlDatabase* tDatabase = NULL;
    CODE(REGISTRY(createDatabase)(tRegistry, "type=memory", &tDatabase), 0);
    CHECK(sDescription && strcmp(sDescription, "type=memory") == 0);
    if (CHECK(tDatabase == &sDatabase)) CHECK(release(tDatabase) == 1);
    CODE(REGISTRY(createDatabase)(tRegistry, "type=another", &tDatabase), 0);
    CHECK(tDatabase == NULL);

    CODE(REGISTRY(unregisterFactory)(tRegistry, &sFactory), 0);
    CODE(REGISTRY(unregisterFactory)(tRegistry, &sFactory), E_FAIL);
    CHECK(sFactoryReferences == 1);
    CHECK(release(tRegistry) == 1); // the holder's
    DEMAND(ISqlDatabaseFactoryRegistry);
}
