// The binary contract for C, and for whatever else has no use for the C++ headers: every interface as a table
// of slots, the records that cross them, identities, codes, and the functions of the component runtime. What
// each operation does stands in the C++ header of the same name.
//
// An object is a pointer to a pointer to its table. A call hands the object itself over as first argument:
//
//     uint32_t result = dispatcher->slots->sendEvent(dispatcher, event);
//
// Made by abi/check.py --update from the lists beside this folder; do not edit.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define K_SUCCESS 0x00000000u
#define E_WRONG_STATE 0x80000100u
#define E_NOT_SUPPORTED 0x80000101u
#define E_READ_ONLY 0x80000102u
#define E_INTERNAL 0x80000103u
#define E_NOINTERFACE 0x80004002u
#define E_FAIL 0x80004005u
#define E_OUTOFMEMORY 0x8007000Eu
#define E_INVALIDARG 0x80070057u
#define KPR_E_IO 0x96230001u
#define KPR_E_ACCESS_DENIED 0x96230002u
#define KPR_E_NOT_FOUND 0x96230003u
#define KPR_E_NO_SPACE 0x96230004u
#define KPR_E_TOO_MANY_OPEN 0x96230005u
#define KPR_E_BAD_HANDLE 0x96230006u
#define KPR_E_IN_USE 0x96230007u
#define KPR_E_LOCKED 0x96230008u
#define KPR_E_IS_DIRECTORY 0x96230009u
#define KPR_E_NOT_DIRECTORY 0x9623000Au
#define KPR_E_EXISTS 0x9623000Bu
#define KPR_E_INTERRUPTED 0x9623000Cu
#define KPR_E_STALE 0x9623000Du
#define KPR_E_NAME_TOO_LONG 0x9623000Eu
#define KPR_E_BUFFER_TOO_SMALL 0x9623000Fu
#define KPR_E_END 0x96230010u
#define KPR_E_NOT_EMPTY 0x96230011u
#define KPR_E_READ_ONLY_VOLUME 0x96230012u
#define KPR_E_NOT_REGULAR 0x96230013u
#define KPR_E_BAD_NAME 0x96230014u
#define KPR_E_TOO_LARGE 0x96230015u
#define KPR_E_OTHER_VOLUME 0x96230016u
#define KPR_E_BUSY 0x96230017u
#define KPR_E_NO_RESOURCES 0x96230018u
#define KPR_E_NOT_A_DSO 0x96230019u
#define KPR_E_NO_SYMBOL 0x9623001Au
#define KPR_E_SYSTEM 0x9623001Bu
#define KPR_E_NOT_TRUSTED 0x9623001Cu
#define KOM_E_BAD_REGISTRY 0x96240001u
#define KOM_E_NOT_A_MODULE 0x96240002u
#define KOM_E_CLASSNOTREGISTERED 0x96240003u
#define KOM_E_BAD_CLASSID 0x96240004u
#define KOM_E_NOAGGREGATION 0x96240010u
#define KOM_E_CLASSNOTAVAILABLE 0x96240012u
#define KFW_E_NO_MODULE 0x96260402u
#define KFW_E_NO_PRODUCT 0x96260403u
#define SQL_E_SYNTAX 0x96270001u
#define SQL_E_CONSTRAINT 0x96270002u
#define SQL_E_BUSY 0x96270003u
#define SQL_E_CONFLICT 0x96270004u
#define SQL_E_NO_OBJECT 0x96270005u
#define SQL_E_OBJECT_EXISTS 0x96270006u
#define SQL_E_PERMISSION 0x96270007u
#define SQL_E_CONNECTION 0x96270008u
#define SQL_E_TIMEOUT 0x96270009u
#define SQL_E_CANCELLED 0x9627000Au
#define SQL_E_TYPE 0x9627000Bu
#define SQL_E_PARAMETERS 0x9627000Cu
#define SQL_E_NOT_COMMITTED 0x9627000Du
#define SQL_E_DAMAGED 0x9627000Eu
#define KFAILED(pCode) ((int32_t)(pCode) < 0)

#define LOG_LEVEL_ERROR 0u
#define LOG_LEVEL_WARNING 1u
#define LOG_LEVEL_INFO 2u
#define LOG_LEVEL_DEBUG 3u
#define FEATURE_NO_KEY 1u
#define FEATURE_NOT_ASKED 2u
#define FEATURE_ASK_TRUE 4u
#define FEATURE_OTHER_VALUE 8u
#define SYSTEM_INFO_MEMORY 1u
#define SYSTEM_INFO_HARDWARE 2u
#define SYSTEM_INFO_OS 4u
#define SQL_FEATURE_MANY_RESULTS 1u
#define SQL_FEATURE_STATEMENT_ROLLBACK 2u
#define SQL_FEATURE_ROWS_ACROSS_COMMIT 4u
#define SQL_FEATURE_TEXT_WITH_NUL 8u
#define SQL_FEATURE_DECIMALS 16u
#define SQL_FEATURE_DATES 32u
#define SQL_FEATURE_POSITIONS 64u
#define SQL_FEATURE_ISOLATION 128u
#define SQL_FEATURE_NAN 256u
#define SQL_FEATURE_TRANSACTIONAL_DDL 512u
#define SQL_FEATURE_INFINITY 1024u
#define SQL_BEGIN_DEFERRED 0u
#define SQL_BEGIN_IMMEDIATE 1u
#define SQL_BEGIN_READ_ONLY 2u
#define SQL_ISOLATION_DEFAULT 0u
#define SQL_ISOLATION_READ_COMMITTED 1u
#define SQL_ISOLATION_REPEATABLE_READ 2u
#define SQL_ISOLATION_SERIALIZABLE 3u
#define SQL_TRANSACTION_NONE 0u
#define SQL_TRANSACTION_OPEN 1u
#define SQL_TRANSACTION_FAILED 2u
#define SQL_VALUE_NULL 0u
#define SQL_VALUE_INTEGER 1u
#define SQL_VALUE_DOUBLE 2u
#define SQL_VALUE_TEXT 3u
#define SQL_VALUE_BYTES 4u
#define SQL_VALUE_DECIMAL 5u
#define SQL_VALUE_DATE 6u
#define SQL_VALUE_TIME 7u
#define SQL_VALUE_TIMESTAMP 8u
#define SQL_NULLS_REFUSED 0u
#define SQL_NULLS_TAKEN 1u
#define SQL_NULLS_UNKNOWN 2u
#define SQL_CONSTRAINT_NONE 0u
#define SQL_CONSTRAINT_UNIQUE 1u
#define SQL_CONSTRAINT_NOT_NULL 2u
#define SQL_CONSTRAINT_FOREIGN_KEY 3u
#define SQL_CONSTRAINT_CHECK 4u
#define SQL_CONSTRAINT_OTHER 5u

#define CLASS_EVENT_DISPATCHER "a20d8cf0-c2f2-11d5-bfd3-0000e2430653"
#define CLASS_USER_DATA "e3b9f51c-9ce5-11d6-9c21-00e029099a4b"
#define CLASS_SEND_MAIL_CONFIG "10b0ee48-8129-402e-8b9a-0566bc8c3a02"
#define CLASS_SQL_FACTORY_REGISTRY "71cc20fc-2fcd-11d8-9c22-00e029099a4b"
#define CLASS_FILE_SYSTEM_CACHE "67421a6c-857f-11d8-b9d6-00e081513ada"
#define CLASS_SYSTEM_INFO "d65b0a3b-31cb-0fe2-a712-bf819dc61996"
#define CLASS_FEATURE_SET "be9a0884-14b0-4a42-823b-edc3464b007c"

typedef struct ModuleAttributes ModuleAttributes;
typedef struct KprAttribute KprAttribute;
typedef struct CacheId CacheId;
typedef struct KFSCacheAttr KFSCacheAttr;
typedef struct CacheAttrList CacheAttrList;
typedef struct CacheBytes CacheBytes;
typedef struct AttributeList AttributeList;
typedef struct Attribute Attribute;
typedef struct SysInfoModule SysInfoModule;
typedef struct ModuleList ModuleList;
typedef struct StringList StringList;
typedef struct FactoryList FactoryList;
typedef struct SqlValue SqlValue;
typedef struct SqlValueList SqlValueList;
typedef struct SqlRowBlock SqlRowBlock;
typedef struct SqlColumn SqlColumn;
typedef struct SqlColumnList SqlColumnList;
typedef struct SqlError SqlError;
typedef struct KomHeapStats KomHeapStats;
typedef struct KomRegistration KomRegistration;
typedef struct KomRegistrar KomRegistrar;
typedef struct KomClass KomClass;
typedef struct KomClassList KomClassList;
typedef struct KomResultCode KomResultCode;
typedef struct IObjectFactory IObjectFactory;
typedef struct IUnknown IUnknown;
typedef struct IAddressData IAddressData;
typedef struct IAddressData2 IAddressData2;
typedef struct IAppCloseHook IAppCloseHook;
typedef struct IApplication IApplication;
typedef struct IApplication2 IApplication2;
typedef struct IApplication3 IApplication3;
typedef struct IApplication4 IApplication4;
typedef struct IApplication5 IApplication5;
typedef struct IEvent IEvent;
typedef struct IEventConsumer IEventConsumer;
typedef struct IEventDispatcher IEventDispatcher;
typedef struct IFeatureSet IFeatureSet;
typedef struct IFileSystemCache IFileSystemCache;
typedef struct IIdleCallout IIdleCallout;
typedef struct IRegDbSendMailConfig IRegDbSendMailConfig;
typedef struct IRegDbUserData IRegDbUserData;
typedef struct ISendMailConfig ISendMailConfig;
typedef struct ISystemInfo ISystemInfo;
typedef struct IUserData IUserData;
typedef struct ISqlDatabase ISqlDatabase;
typedef struct ISqlDatabaseFactory ISqlDatabaseFactory;
typedef struct ISqlDatabaseFactoryRegistry ISqlDatabaseFactoryRegistry;
typedef struct ISqlRows ISqlRows;
typedef struct ISqlStatement ISqlStatement;

struct ModuleAttributes {
    const KprAttribute* pairs;
    uint32_t count;
};
_Static_assert(sizeof(ModuleAttributes) == 16, "ModuleAttributes");
_Static_assert(offsetof(ModuleAttributes, pairs) == 0, "ModuleAttributes");
_Static_assert(offsetof(ModuleAttributes, count) == 8, "ModuleAttributes");

struct KprAttribute {
    const char* key;
    const char* value;
};
_Static_assert(sizeof(KprAttribute) == 16, "KprAttribute");
_Static_assert(offsetof(KprAttribute, key) == 0, "KprAttribute");
_Static_assert(offsetof(KprAttribute, value) == 8, "KprAttribute");

struct CacheId {
    uint8_t mBytes[16];
};
_Static_assert(sizeof(CacheId) == 16, "CacheId");
_Static_assert(offsetof(CacheId, mBytes) == 0, "CacheId");

struct KFSCacheAttr {
    char* mKey;
    char* mValue;
};
_Static_assert(sizeof(KFSCacheAttr) == 16, "KFSCacheAttr");
_Static_assert(offsetof(KFSCacheAttr, mKey) == 0, "KFSCacheAttr");
_Static_assert(offsetof(KFSCacheAttr, mValue) == 8, "KFSCacheAttr");

struct CacheAttrList {
    uint32_t mCount;
    KFSCacheAttr* mAttrs;
};
_Static_assert(sizeof(CacheAttrList) == 16, "CacheAttrList");
_Static_assert(offsetof(CacheAttrList, mCount) == 0, "CacheAttrList");
_Static_assert(offsetof(CacheAttrList, mAttrs) == 8, "CacheAttrList");

struct CacheBytes {
    uint32_t mSize;
    uint8_t* mData;
};
_Static_assert(sizeof(CacheBytes) == 16, "CacheBytes");
_Static_assert(offsetof(CacheBytes, mSize) == 0, "CacheBytes");
_Static_assert(offsetof(CacheBytes, mData) == 8, "CacheBytes");

struct AttributeList {
    uint32_t mCount;
    Attribute* mAttrs;
};
_Static_assert(sizeof(AttributeList) == 16, "AttributeList");
_Static_assert(offsetof(AttributeList, mCount) == 0, "AttributeList");
_Static_assert(offsetof(AttributeList, mAttrs) == 8, "AttributeList");

struct Attribute {
    char* mKey;
    char* mValue;
};
_Static_assert(sizeof(Attribute) == 16, "Attribute");
_Static_assert(offsetof(Attribute, mKey) == 0, "Attribute");
_Static_assert(offsetof(Attribute, mValue) == 8, "Attribute");

struct SysInfoModule {
    char* mPathName;
    char* mFileName;
    char* mInternalName;
    AttributeList mAttrs;
};
_Static_assert(sizeof(SysInfoModule) == 40, "SysInfoModule");
_Static_assert(offsetof(SysInfoModule, mPathName) == 0, "SysInfoModule");
_Static_assert(offsetof(SysInfoModule, mFileName) == 8, "SysInfoModule");
_Static_assert(offsetof(SysInfoModule, mInternalName) == 16, "SysInfoModule");
_Static_assert(offsetof(SysInfoModule, mAttrs) == 24, "SysInfoModule");

struct ModuleList {
    uint32_t mCount;
    SysInfoModule* mModules;
};
_Static_assert(sizeof(ModuleList) == 16, "ModuleList");
_Static_assert(offsetof(ModuleList, mCount) == 0, "ModuleList");
_Static_assert(offsetof(ModuleList, mModules) == 8, "ModuleList");

struct StringList {
    uint32_t mCount;
    char** mStrings;
};
_Static_assert(sizeof(StringList) == 16, "StringList");
_Static_assert(offsetof(StringList, mCount) == 0, "StringList");
_Static_assert(offsetof(StringList, mStrings) == 8, "StringList");

struct FactoryList {
    uint32_t mCount;
    ISqlDatabaseFactory** mFactories;
};
_Static_assert(sizeof(FactoryList) == 16, "FactoryList");
_Static_assert(offsetof(FactoryList, mCount) == 0, "FactoryList");
_Static_assert(offsetof(FactoryList, mFactories) == 8, "FactoryList");

struct SqlValue {
    uint32_t mType;
    uint32_t mReserved;
    int64_t mInteger;
    double mDouble;
    uint64_t mSize;
    const char* mData;
};
_Static_assert(sizeof(SqlValue) == 40, "SqlValue");
_Static_assert(offsetof(SqlValue, mType) == 0, "SqlValue");
_Static_assert(offsetof(SqlValue, mReserved) == 4, "SqlValue");
_Static_assert(offsetof(SqlValue, mInteger) == 8, "SqlValue");
_Static_assert(offsetof(SqlValue, mDouble) == 16, "SqlValue");
_Static_assert(offsetof(SqlValue, mSize) == 24, "SqlValue");
_Static_assert(offsetof(SqlValue, mData) == 32, "SqlValue");

struct SqlValueList {
    uint32_t mCount;
    const SqlValue* mValues;
};
_Static_assert(sizeof(SqlValueList) == 16, "SqlValueList");
_Static_assert(offsetof(SqlValueList, mCount) == 0, "SqlValueList");
_Static_assert(offsetof(SqlValueList, mValues) == 8, "SqlValueList");

struct SqlRowBlock {
    uint32_t mRows;
    uint32_t mColumns;
    SqlValue* mValues;
};
_Static_assert(sizeof(SqlRowBlock) == 16, "SqlRowBlock");
_Static_assert(offsetof(SqlRowBlock, mRows) == 0, "SqlRowBlock");
_Static_assert(offsetof(SqlRowBlock, mColumns) == 4, "SqlRowBlock");
_Static_assert(offsetof(SqlRowBlock, mValues) == 8, "SqlRowBlock");

struct SqlColumn {
    uint32_t mType;
    uint32_t mNullable;
    const char* mName;
    const char* mDeclaredType;
};
_Static_assert(sizeof(SqlColumn) == 24, "SqlColumn");
_Static_assert(offsetof(SqlColumn, mType) == 0, "SqlColumn");
_Static_assert(offsetof(SqlColumn, mNullable) == 4, "SqlColumn");
_Static_assert(offsetof(SqlColumn, mName) == 8, "SqlColumn");
_Static_assert(offsetof(SqlColumn, mDeclaredType) == 16, "SqlColumn");

struct SqlColumnList {
    uint32_t mCount;
    SqlColumn* mColumns;
};
_Static_assert(sizeof(SqlColumnList) == 16, "SqlColumnList");
_Static_assert(offsetof(SqlColumnList, mCount) == 0, "SqlColumnList");
_Static_assert(offsetof(SqlColumnList, mColumns) == 8, "SqlColumnList");

struct SqlError {
    uint32_t mCode;
    uint32_t mConstraint;
    uint32_t mRetry;
    int32_t mNativeCode;
    int64_t mPosition;
    char mSqlState[8];
    char* mText;
};
_Static_assert(sizeof(SqlError) == 40, "SqlError");
_Static_assert(offsetof(SqlError, mCode) == 0, "SqlError");
_Static_assert(offsetof(SqlError, mConstraint) == 4, "SqlError");
_Static_assert(offsetof(SqlError, mRetry) == 8, "SqlError");
_Static_assert(offsetof(SqlError, mNativeCode) == 12, "SqlError");
_Static_assert(offsetof(SqlError, mPosition) == 16, "SqlError");
_Static_assert(offsetof(SqlError, mSqlState) == 24, "SqlError");
_Static_assert(offsetof(SqlError, mText) == 32, "SqlError");

struct KomHeapStats {
    uint64_t liveBlocks;
    uint64_t liveObjects;
};
_Static_assert(sizeof(KomHeapStats) == 16, "KomHeapStats");
_Static_assert(offsetof(KomHeapStats, liveBlocks) == 0, "KomHeapStats");
_Static_assert(offsetof(KomHeapStats, liveObjects) == 8, "KomHeapStats");

struct KomRegistration {
    const char* registryPath;
    const char* modulePath;
};
_Static_assert(sizeof(KomRegistration) == 16, "KomRegistration");
_Static_assert(offsetof(KomRegistration, registryPath) == 0, "KomRegistration");
_Static_assert(offsetof(KomRegistration, modulePath) == 8, "KomRegistration");

struct KomRegistrar {
    uint32_t (*registerClass)(KomRegistrar*, const char*, unsigned int, void*);
    uint32_t (*unregisterClass)(KomRegistrar*, const char*, unsigned int, void*);
};
_Static_assert(sizeof(KomRegistrar) == 16, "KomRegistrar");
_Static_assert(offsetof(KomRegistrar, registerClass) == 0, "KomRegistrar");
_Static_assert(offsetof(KomRegistrar, unregisterClass) == 8, "KomRegistrar");

struct KomClass {
    const char* classId;
    const char* modulePath;
};
_Static_assert(sizeof(KomClass) == 16, "KomClass");
_Static_assert(offsetof(KomClass, classId) == 0, "KomClass");
_Static_assert(offsetof(KomClass, modulePath) == 8, "KomClass");

struct KomClassList {
    uint32_t count;
    const KomClass* classes;
};
_Static_assert(sizeof(KomClassList) == 16, "KomClassList");
_Static_assert(offsetof(KomClassList, count) == 0, "KomClassList");
_Static_assert(offsetof(KomClassList, classes) == 8, "KomClassList");

struct KomResultCode {
    uint32_t code;
    const char* name;
    const char* text;
};
_Static_assert(sizeof(KomResultCode) == 24, "KomResultCode");
_Static_assert(offsetof(KomResultCode, code) == 0, "KomResultCode");
_Static_assert(offsetof(KomResultCode, name) == 8, "KomResultCode");
_Static_assert(offsetof(KomResultCode, text) == 16, "KomResultCode");

#define IID_IObjectFactory "IDL:kom/IObjectFactory:1.0"
struct IObjectFactorySlots {
    uint32_t (*QueryInterface)(IObjectFactory* pThis, const void*, void**);
    uint32_t (*AddRef)(IObjectFactory* pThis);
    uint32_t (*Release)(IObjectFactory* pThis);
    uint32_t (*queryInterface)(IObjectFactory* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IObjectFactory* pThis);
    uint32_t (*release)(IObjectFactory* pThis);
    const char* (*getInterfaceId)(IObjectFactory* pThis);
    uint32_t (*createInstance)(IObjectFactory* pThis, IUnknown*, const char*, IUnknown**);
    uint32_t (*lockServer)(IObjectFactory* pThis);
};
struct IObjectFactory {
    const struct IObjectFactorySlots* slots;
};
_Static_assert(sizeof(struct IObjectFactorySlots) == 72, "IObjectFactory");

#define IID_IUnknown "IDL:kom/IUnknown:1.0"
struct IUnknownSlots {
    uint32_t (*QueryInterface)(IUnknown* pThis, const void*, void**);
    uint32_t (*AddRef)(IUnknown* pThis);
    uint32_t (*Release)(IUnknown* pThis);
    uint32_t (*queryInterface)(IUnknown* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IUnknown* pThis);
    uint32_t (*release)(IUnknown* pThis);
    const char* (*getInterfaceId)(IUnknown* pThis);
};
struct IUnknown {
    const struct IUnknownSlots* slots;
};
_Static_assert(sizeof(struct IUnknownSlots) == 56, "IUnknown");

#define IID_IAddressData "IDL:vel/kos/fw/IAddressData:1.0"
struct IAddressDataSlots {
    uint32_t (*QueryInterface)(IAddressData* pThis, const void*, void**);
    uint32_t (*AddRef)(IAddressData* pThis);
    uint32_t (*Release)(IAddressData* pThis);
    uint32_t (*queryInterface)(IAddressData* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IAddressData* pThis);
    uint32_t (*release)(IAddressData* pThis);
    const char* (*getInterfaceId)(IAddressData* pThis);
    uint32_t (*isModifiable)(IAddressData* pThis, uint32_t*);
    uint32_t (*unsupportedOp1)(IAddressData* pThis);
    uint32_t (*unsupportedOp2)(IAddressData* pThis);
    uint32_t (*setSalutation)(IAddressData* pThis, const char*);
    uint32_t (*getSalutation)(IAddressData* pThis, char**);
    uint32_t (*setName)(IAddressData* pThis, const char*, const char*);
    uint32_t (*getName)(IAddressData* pThis, char**, char**);
    uint32_t (*setEmailAddr)(IAddressData* pThis, const char*);
    uint32_t (*getEmailAddr)(IAddressData* pThis, char**);
    uint32_t (*setCompany)(IAddressData* pThis, const char*);
    uint32_t (*getCompany)(IAddressData* pThis, char**);
    uint32_t (*setJobFunction)(IAddressData* pThis, const char*);
    uint32_t (*getJobFunction)(IAddressData* pThis, char**);
    uint32_t (*setOrganization)(IAddressData* pThis, const char*);
    uint32_t (*getOrganization)(IAddressData* pThis, char**);
    uint32_t (*setStreet)(IAddressData* pThis, const char*);
    uint32_t (*getStreet)(IAddressData* pThis, char**);
    uint32_t (*setCity)(IAddressData* pThis, const char*);
    uint32_t (*getCity)(IAddressData* pThis, char**);
    uint32_t (*setStateOrProvince)(IAddressData* pThis, const char*);
    uint32_t (*getStateOrProvince)(IAddressData* pThis, char**);
    uint32_t (*setCityCode)(IAddressData* pThis, const char*);
    uint32_t (*getCityCode)(IAddressData* pThis, char**);
    uint32_t (*setPOBox)(IAddressData* pThis, const char*);
    uint32_t (*getPOBox)(IAddressData* pThis, char**);
    uint32_t (*setPostalCodes)(IAddressData* pThis, const char*, const char*);
    uint32_t (*getPostalCodes)(IAddressData* pThis, char**, char**);
    uint32_t (*setCountry)(IAddressData* pThis, const char*);
    uint32_t (*getCountry)(IAddressData* pThis, char**);
    uint32_t (*setLanguage)(IAddressData* pThis, const char*);
    uint32_t (*getLanguage)(IAddressData* pThis, char**);
    uint32_t (*setPhoneNumbers)(IAddressData* pThis, const char*, const char*);
    uint32_t (*getPhoneNumbers)(IAddressData* pThis, char**, char**);
    uint32_t (*setFax)(IAddressData* pThis, const char*);
    uint32_t (*getFax)(IAddressData* pThis, char**);
};
struct IAddressData {
    const struct IAddressDataSlots* slots;
};
_Static_assert(sizeof(struct IAddressDataSlots) == 336, "IAddressData");

#define IID_IAddressData2 "IDL:vel/kos/fw/IAddressData2:1.0"
struct IAddressData2Slots {
    uint32_t (*QueryInterface)(IAddressData2* pThis, const void*, void**);
    uint32_t (*AddRef)(IAddressData2* pThis);
    uint32_t (*Release)(IAddressData2* pThis);
    uint32_t (*queryInterface)(IAddressData2* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IAddressData2* pThis);
    uint32_t (*release)(IAddressData2* pThis);
    const char* (*getInterfaceId)(IAddressData2* pThis);
    uint32_t (*isModifiable)(IAddressData2* pThis, uint32_t*);
    uint32_t (*unsupportedOp1)(IAddressData2* pThis);
    uint32_t (*unsupportedOp2)(IAddressData2* pThis);
    uint32_t (*setSalutation)(IAddressData2* pThis, const char*);
    uint32_t (*getSalutation)(IAddressData2* pThis, char**);
    uint32_t (*setName)(IAddressData2* pThis, const char*, const char*);
    uint32_t (*getName)(IAddressData2* pThis, char**, char**);
    uint32_t (*setEmailAddr)(IAddressData2* pThis, const char*);
    uint32_t (*getEmailAddr)(IAddressData2* pThis, char**);
    uint32_t (*setCompany)(IAddressData2* pThis, const char*);
    uint32_t (*getCompany)(IAddressData2* pThis, char**);
    uint32_t (*setJobFunction)(IAddressData2* pThis, const char*);
    uint32_t (*getJobFunction)(IAddressData2* pThis, char**);
    uint32_t (*setOrganization)(IAddressData2* pThis, const char*);
    uint32_t (*getOrganization)(IAddressData2* pThis, char**);
    uint32_t (*setStreet)(IAddressData2* pThis, const char*);
    uint32_t (*getStreet)(IAddressData2* pThis, char**);
    uint32_t (*setCity)(IAddressData2* pThis, const char*);
    uint32_t (*getCity)(IAddressData2* pThis, char**);
    uint32_t (*setStateOrProvince)(IAddressData2* pThis, const char*);
    uint32_t (*getStateOrProvince)(IAddressData2* pThis, char**);
    uint32_t (*setCityCode)(IAddressData2* pThis, const char*);
    uint32_t (*getCityCode)(IAddressData2* pThis, char**);
    uint32_t (*setPOBox)(IAddressData2* pThis, const char*);
    uint32_t (*getPOBox)(IAddressData2* pThis, char**);
    uint32_t (*setPostalCodes)(IAddressData2* pThis, const char*, const char*);
    uint32_t (*getPostalCodes)(IAddressData2* pThis, char**, char**);
    uint32_t (*setCountry)(IAddressData2* pThis, const char*);
    uint32_t (*getCountry)(IAddressData2* pThis, char**);
    uint32_t (*setLanguage)(IAddressData2* pThis, const char*);
    uint32_t (*getLanguage)(IAddressData2* pThis, char**);
    uint32_t (*setPhoneNumbers)(IAddressData2* pThis, const char*, const char*);
    uint32_t (*getPhoneNumbers)(IAddressData2* pThis, char**, char**);
    uint32_t (*setFax)(IAddressData2* pThis, const char*);
    uint32_t (*getFax)(IAddressData2* pThis, char**);
    uint32_t (*setFirstName)(IAddressData2* pThis, const char*);
    uint32_t (*getFirstName)(IAddressData2* pThis, char**);
    uint32_t (*setSecondName)(IAddressData2* pThis, const char*);
    uint32_t (*getSecondName)(IAddressData2* pThis, char**);
    uint32_t (*setLastName)(IAddressData2* pThis, const char*);
    uint32_t (*getLastName)(IAddressData2* pThis, char**);
    uint32_t (*setPrivatePhone)(IAddressData2* pThis, const char*);
    uint32_t (*getPrivatePhone)(IAddressData2* pThis, char**);
    uint32_t (*setBusinessPhone)(IAddressData2* pThis, const char*);
    uint32_t (*getBusinessPhone)(IAddressData2* pThis, char**);
    uint32_t (*setPager)(IAddressData2* pThis, const char*);
    uint32_t (*getPager)(IAddressData2* pThis, char**);
    uint32_t (*setMobile)(IAddressData2* pThis, const char*);
    uint32_t (*getMobile)(IAddressData2* pThis, char**);
    uint32_t (*setPostalCode)(IAddressData2* pThis, const char*);
    uint32_t (*getPostalCode)(IAddressData2* pThis, char**);
    uint32_t (*setPOBoxPostalCode)(IAddressData2* pThis, const char*);
    uint32_t (*getPOBoxPostalCode)(IAddressData2* pThis, char**);
    uint32_t (*setWebPage)(IAddressData2* pThis, const char*);
    uint32_t (*getWebPage)(IAddressData2* pThis, char**);
    uint32_t (*setCustom1)(IAddressData2* pThis, const char*);
    uint32_t (*getCustom1)(IAddressData2* pThis, char**);
    uint32_t (*setCustom2)(IAddressData2* pThis, const char*);
    uint32_t (*getCustom2)(IAddressData2* pThis, char**);
    uint32_t (*setCustom3)(IAddressData2* pThis, const char*);
    uint32_t (*getCustom3)(IAddressData2* pThis, char**);
    uint32_t (*setCustom4)(IAddressData2* pThis, const char*);
    uint32_t (*getCustom4)(IAddressData2* pThis, char**);
    uint32_t (*setNotes)(IAddressData2* pThis, const char*);
    uint32_t (*getNotes)(IAddressData2* pThis, char**);
};
struct IAddressData2 {
    const struct IAddressData2Slots* slots;
};
_Static_assert(sizeof(struct IAddressData2Slots) == 576, "IAddressData2");

#define IID_IAppCloseHook "IDL:vel/kos/fw/IAppCloseHook:1.0"
struct IAppCloseHookSlots {
    uint32_t (*QueryInterface)(IAppCloseHook* pThis, const void*, void**);
    uint32_t (*AddRef)(IAppCloseHook* pThis);
    uint32_t (*Release)(IAppCloseHook* pThis);
    uint32_t (*queryInterface)(IAppCloseHook* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IAppCloseHook* pThis);
    uint32_t (*release)(IAppCloseHook* pThis);
    const char* (*getInterfaceId)(IAppCloseHook* pThis);
    uint32_t (*onAppClose)(IAppCloseHook* pThis);
};
struct IAppCloseHook {
    const struct IAppCloseHookSlots* slots;
};
_Static_assert(sizeof(struct IAppCloseHookSlots) == 64, "IAppCloseHook");

#define IID_IApplication "IDL:vel/kos/fw/IApplication:1.0"
struct IApplicationSlots {
    uint32_t (*QueryInterface)(IApplication* pThis, const void*, void**);
    uint32_t (*AddRef)(IApplication* pThis);
    uint32_t (*Release)(IApplication* pThis);
    uint32_t (*queryInterface)(IApplication* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IApplication* pThis);
    uint32_t (*release)(IApplication* pThis);
    const char* (*getInterfaceId)(IApplication* pThis);
    uint32_t (*getName)(IApplication* pThis, char**);
    uint32_t (*getDisplayName)(IApplication* pThis, char**);
    uint32_t (*getVersion)(IApplication* pThis, char**);
    uint32_t (*getVendor)(IApplication* pThis, char**);
    uint32_t (*getLanguage)(IApplication* pThis, char**);
    uint32_t (*getCatalogueDir)(IApplication* pThis, char**);
    uint32_t (*getProgramDir)(IApplication* pThis, char**);
    uint32_t (*getArgumentCount)(IApplication* pThis, uint32_t*);
    uint32_t (*getArgument)(IApplication* pThis, uint32_t, char**);
    uint32_t (*logMessage)(IApplication* pThis, uint32_t, const char*, const char*);
    uint32_t (*getLogLevel)(IApplication* pThis, uint32_t*);
    uint32_t (*setLogLevel)(IApplication* pThis, uint32_t);
    uint32_t (*reportAssertion)(IApplication* pThis, const char*, const char*, const char*, int32_t);
    uint32_t (*isMainThread)(IApplication* pThis, uint32_t*);
    uint32_t (*isInteractive)(IApplication* pThis, uint32_t*);
    uint32_t (*setStatusText)(IApplication* pThis, const char*);
    uint32_t (*requestClose)(IApplication* pThis, int32_t);
    uint32_t (*isClosing)(IApplication* pThis, uint32_t*);
    uint32_t (*wakeUp)(IApplication* pThis);
    uint32_t (*runIdleCallouts)(IApplication* pThis, uint32_t*);
    uint32_t (*addIdleCallout)(IApplication* pThis, IIdleCallout*);
};
struct IApplication {
    const struct IApplicationSlots* slots;
};
_Static_assert(sizeof(struct IApplicationSlots) == 224, "IApplication");

#define IID_IApplication2 "IDL:vel/kos/fw/IApplication2:1.0"
struct IApplication2Slots {
    uint32_t (*QueryInterface)(IApplication2* pThis, const void*, void**);
    uint32_t (*AddRef)(IApplication2* pThis);
    uint32_t (*Release)(IApplication2* pThis);
    uint32_t (*queryInterface)(IApplication2* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IApplication2* pThis);
    uint32_t (*release)(IApplication2* pThis);
    const char* (*getInterfaceId)(IApplication2* pThis);
    uint32_t (*getName)(IApplication2* pThis, char**);
    uint32_t (*getDisplayName)(IApplication2* pThis, char**);
    uint32_t (*getVersion)(IApplication2* pThis, char**);
    uint32_t (*getVendor)(IApplication2* pThis, char**);
    uint32_t (*getLanguage)(IApplication2* pThis, char**);
    uint32_t (*getCatalogueDir)(IApplication2* pThis, char**);
    uint32_t (*getProgramDir)(IApplication2* pThis, char**);
    uint32_t (*getArgumentCount)(IApplication2* pThis, uint32_t*);
    uint32_t (*getArgument)(IApplication2* pThis, uint32_t, char**);
    uint32_t (*logMessage)(IApplication2* pThis, uint32_t, const char*, const char*);
    uint32_t (*getLogLevel)(IApplication2* pThis, uint32_t*);
    uint32_t (*setLogLevel)(IApplication2* pThis, uint32_t);
    uint32_t (*reportAssertion)(IApplication2* pThis, const char*, const char*, const char*, int32_t);
    uint32_t (*isMainThread)(IApplication2* pThis, uint32_t*);
    uint32_t (*isInteractive)(IApplication2* pThis, uint32_t*);
    uint32_t (*setStatusText)(IApplication2* pThis, const char*);
    uint32_t (*requestClose)(IApplication2* pThis, int32_t);
    uint32_t (*isClosing)(IApplication2* pThis, uint32_t*);
    uint32_t (*wakeUp)(IApplication2* pThis);
    uint32_t (*runIdleCallouts)(IApplication2* pThis, uint32_t*);
    uint32_t (*addIdleCallout)(IApplication2* pThis, IIdleCallout*);
    uint32_t (*getUserAppDir)(IApplication2* pThis, char**);
    uint32_t (*getTempDir)(IApplication2* pThis, char**);
};
struct IApplication2 {
    const struct IApplication2Slots* slots;
};
_Static_assert(sizeof(struct IApplication2Slots) == 240, "IApplication2");

#define IID_IApplication3 "IDL:vel/kos/fw/IApplication3:1.0"
struct IApplication3Slots {
    uint32_t (*QueryInterface)(IApplication3* pThis, const void*, void**);
    uint32_t (*AddRef)(IApplication3* pThis);
    uint32_t (*Release)(IApplication3* pThis);
    uint32_t (*queryInterface)(IApplication3* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IApplication3* pThis);
    uint32_t (*release)(IApplication3* pThis);
    const char* (*getInterfaceId)(IApplication3* pThis);
    uint32_t (*getName)(IApplication3* pThis, char**);
    uint32_t (*getDisplayName)(IApplication3* pThis, char**);
    uint32_t (*getVersion)(IApplication3* pThis, char**);
    uint32_t (*getVendor)(IApplication3* pThis, char**);
    uint32_t (*getLanguage)(IApplication3* pThis, char**);
    uint32_t (*getCatalogueDir)(IApplication3* pThis, char**);
    uint32_t (*getProgramDir)(IApplication3* pThis, char**);
    uint32_t (*getArgumentCount)(IApplication3* pThis, uint32_t*);
    uint32_t (*getArgument)(IApplication3* pThis, uint32_t, char**);
    uint32_t (*logMessage)(IApplication3* pThis, uint32_t, const char*, const char*);
    uint32_t (*getLogLevel)(IApplication3* pThis, uint32_t*);
    uint32_t (*setLogLevel)(IApplication3* pThis, uint32_t);
    uint32_t (*reportAssertion)(IApplication3* pThis, const char*, const char*, const char*, int32_t);
    uint32_t (*isMainThread)(IApplication3* pThis, uint32_t*);
    uint32_t (*isInteractive)(IApplication3* pThis, uint32_t*);
    uint32_t (*setStatusText)(IApplication3* pThis, const char*);
    uint32_t (*requestClose)(IApplication3* pThis, int32_t);
    uint32_t (*isClosing)(IApplication3* pThis, uint32_t*);
    uint32_t (*wakeUp)(IApplication3* pThis);
    uint32_t (*runIdleCallouts)(IApplication3* pThis, uint32_t*);
    uint32_t (*addIdleCallout)(IApplication3* pThis, IIdleCallout*);
    uint32_t (*getUserAppDir)(IApplication3* pThis, char**);
    uint32_t (*getTempDir)(IApplication3* pThis, char**);
    uint32_t (*addCloseHook)(IApplication3* pThis, IAppCloseHook*, int32_t);
    uint32_t (*removeCloseHook)(IApplication3* pThis, IAppCloseHook*);
};
struct IApplication3 {
    const struct IApplication3Slots* slots;
};
_Static_assert(sizeof(struct IApplication3Slots) == 256, "IApplication3");

#define IID_IApplication4 "IDL:vel/kos/fw/IApplication4:1.0"
struct IApplication4Slots {
    uint32_t (*QueryInterface)(IApplication4* pThis, const void*, void**);
    uint32_t (*AddRef)(IApplication4* pThis);
    uint32_t (*Release)(IApplication4* pThis);
    uint32_t (*queryInterface)(IApplication4* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IApplication4* pThis);
    uint32_t (*release)(IApplication4* pThis);
    const char* (*getInterfaceId)(IApplication4* pThis);
    uint32_t (*getName)(IApplication4* pThis, char**);
    uint32_t (*getDisplayName)(IApplication4* pThis, char**);
    uint32_t (*getVersion)(IApplication4* pThis, char**);
    uint32_t (*getVendor)(IApplication4* pThis, char**);
    uint32_t (*getLanguage)(IApplication4* pThis, char**);
    uint32_t (*getCatalogueDir)(IApplication4* pThis, char**);
    uint32_t (*getProgramDir)(IApplication4* pThis, char**);
    uint32_t (*getArgumentCount)(IApplication4* pThis, uint32_t*);
    uint32_t (*getArgument)(IApplication4* pThis, uint32_t, char**);
    uint32_t (*logMessage)(IApplication4* pThis, uint32_t, const char*, const char*);
    uint32_t (*getLogLevel)(IApplication4* pThis, uint32_t*);
    uint32_t (*setLogLevel)(IApplication4* pThis, uint32_t);
    uint32_t (*reportAssertion)(IApplication4* pThis, const char*, const char*, const char*, int32_t);
    uint32_t (*isMainThread)(IApplication4* pThis, uint32_t*);
    uint32_t (*isInteractive)(IApplication4* pThis, uint32_t*);
    uint32_t (*setStatusText)(IApplication4* pThis, const char*);
    uint32_t (*requestClose)(IApplication4* pThis, int32_t);
    uint32_t (*isClosing)(IApplication4* pThis, uint32_t*);
    uint32_t (*wakeUp)(IApplication4* pThis);
    uint32_t (*runIdleCallouts)(IApplication4* pThis, uint32_t*);
    uint32_t (*addIdleCallout)(IApplication4* pThis, IIdleCallout*);
    uint32_t (*getUserAppDir)(IApplication4* pThis, char**);
    uint32_t (*getTempDir)(IApplication4* pThis, char**);
    uint32_t (*addCloseHook)(IApplication4* pThis, IAppCloseHook*, int32_t);
    uint32_t (*removeCloseHook)(IApplication4* pThis, IAppCloseHook*);
    uint32_t (*getSettingsName)(IApplication4* pThis, char**);
    uint32_t (*getSettingsFile)(IApplication4* pThis, char**);
};
struct IApplication4 {
    const struct IApplication4Slots* slots;
};
_Static_assert(sizeof(struct IApplication4Slots) == 272, "IApplication4");

#define IID_IApplication5 "IDL:vel/kos/fw/IApplication5:1.0"
struct IApplication5Slots {
    uint32_t (*QueryInterface)(IApplication5* pThis, const void*, void**);
    uint32_t (*AddRef)(IApplication5* pThis);
    uint32_t (*Release)(IApplication5* pThis);
    uint32_t (*queryInterface)(IApplication5* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IApplication5* pThis);
    uint32_t (*release)(IApplication5* pThis);
    const char* (*getInterfaceId)(IApplication5* pThis);
    uint32_t (*getName)(IApplication5* pThis, char**);
    uint32_t (*getDisplayName)(IApplication5* pThis, char**);
    uint32_t (*getVersion)(IApplication5* pThis, char**);
    uint32_t (*getVendor)(IApplication5* pThis, char**);
    uint32_t (*getLanguage)(IApplication5* pThis, char**);
    uint32_t (*getCatalogueDir)(IApplication5* pThis, char**);
    uint32_t (*getProgramDir)(IApplication5* pThis, char**);
    uint32_t (*getArgumentCount)(IApplication5* pThis, uint32_t*);
    uint32_t (*getArgument)(IApplication5* pThis, uint32_t, char**);
    uint32_t (*logMessage)(IApplication5* pThis, uint32_t, const char*, const char*);
    uint32_t (*getLogLevel)(IApplication5* pThis, uint32_t*);
    uint32_t (*setLogLevel)(IApplication5* pThis, uint32_t);
    uint32_t (*reportAssertion)(IApplication5* pThis, const char*, const char*, const char*, int32_t);
    uint32_t (*isMainThread)(IApplication5* pThis, uint32_t*);
    uint32_t (*isInteractive)(IApplication5* pThis, uint32_t*);
    uint32_t (*setStatusText)(IApplication5* pThis, const char*);
    uint32_t (*requestClose)(IApplication5* pThis, int32_t);
    uint32_t (*isClosing)(IApplication5* pThis, uint32_t*);
    uint32_t (*wakeUp)(IApplication5* pThis);
    uint32_t (*runIdleCallouts)(IApplication5* pThis, uint32_t*);
    uint32_t (*addIdleCallout)(IApplication5* pThis, IIdleCallout*);
    uint32_t (*getUserAppDir)(IApplication5* pThis, char**);
    uint32_t (*getTempDir)(IApplication5* pThis, char**);
    uint32_t (*addCloseHook)(IApplication5* pThis, IAppCloseHook*, int32_t);
    uint32_t (*removeCloseHook)(IApplication5* pThis, IAppCloseHook*);
    uint32_t (*getSettingsName)(IApplication5* pThis, char**);
    uint32_t (*getSettingsFile)(IApplication5* pThis, char**);
    uint32_t (*getProperty)(IApplication5* pThis, const char*, char**);
    uint32_t (*isPropertyTrue)(IApplication5* pThis, const char*, bool*);
    uint32_t (*isPropertyFalse)(IApplication5* pThis, const char*, bool*);
};
struct IApplication5 {
    const struct IApplication5Slots* slots;
};
_Static_assert(sizeof(struct IApplication5Slots) == 296, "IApplication5");

#define IID_IEvent "IDL:vel/kos/fw/IEvent:1.0"
struct IEventSlots {
    uint32_t (*QueryInterface)(IEvent* pThis, const void*, void**);
    uint32_t (*AddRef)(IEvent* pThis);
    uint32_t (*Release)(IEvent* pThis);
    uint32_t (*queryInterface)(IEvent* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IEvent* pThis);
    uint32_t (*release)(IEvent* pThis);
    const char* (*getInterfaceId)(IEvent* pThis);
    uint32_t (*getType)(IEvent* pThis, char**);
    uint32_t (*consume)(IEvent* pThis);
    uint32_t (*isConsumed)(IEvent* pThis);
};
struct IEvent {
    const struct IEventSlots* slots;
};
_Static_assert(sizeof(struct IEventSlots) == 80, "IEvent");

#define IID_IEventConsumer "IDL:vel/kos/fw/IEventConsumer:1.0"
struct IEventConsumerSlots {
    uint32_t (*QueryInterface)(IEventConsumer* pThis, const void*, void**);
    uint32_t (*AddRef)(IEventConsumer* pThis);
    uint32_t (*Release)(IEventConsumer* pThis);
    uint32_t (*queryInterface)(IEventConsumer* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IEventConsumer* pThis);
    uint32_t (*release)(IEventConsumer* pThis);
    const char* (*getInterfaceId)(IEventConsumer* pThis);
    uint32_t (*handleEvent)(IEventConsumer* pThis, IEvent*);
};
struct IEventConsumer {
    const struct IEventConsumerSlots* slots;
};
_Static_assert(sizeof(struct IEventConsumerSlots) == 64, "IEventConsumer");

#define IID_IEventDispatcher "IDL:vel/kos/fw/IEventDispatcher:1.0"
struct IEventDispatcherSlots {
    uint32_t (*QueryInterface)(IEventDispatcher* pThis, const void*, void**);
    uint32_t (*AddRef)(IEventDispatcher* pThis);
    uint32_t (*Release)(IEventDispatcher* pThis);
    uint32_t (*queryInterface)(IEventDispatcher* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IEventDispatcher* pThis);
    uint32_t (*release)(IEventDispatcher* pThis);
    const char* (*getInterfaceId)(IEventDispatcher* pThis);
    uint32_t (*init)(IEventDispatcher* pThis, IApplication*);
    uint32_t (*sendEvent)(IEventDispatcher* pThis, IEvent*);
    uint32_t (*postEvent)(IEventDispatcher* pThis, IEvent*);
    uint32_t (*addConsumer)(IEventDispatcher* pThis, IEventConsumer*);
    uint32_t (*addConsumerForType)(IEventDispatcher* pThis, const char*, IEventConsumer*);
    uint32_t (*removeConsumer)(IEventDispatcher* pThis, IEventConsumer*);
    uint32_t (*removeConsumerForType)(IEventDispatcher* pThis, const char*, IEventConsumer*);
};
struct IEventDispatcher {
    const struct IEventDispatcherSlots* slots;
};
_Static_assert(sizeof(struct IEventDispatcherSlots) == 112, "IEventDispatcher");

#define IID_IFeatureSet "IDL:vel/kos/fw/IFeatureSet:1.0"
struct IFeatureSetSlots {
    uint32_t (*QueryInterface)(IFeatureSet* pThis, const void*, void**);
    uint32_t (*AddRef)(IFeatureSet* pThis);
    uint32_t (*Release)(IFeatureSet* pThis);
    uint32_t (*queryInterface)(IFeatureSet* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IFeatureSet* pThis);
    uint32_t (*release)(IFeatureSet* pThis);
    const char* (*getInterfaceId)(IFeatureSet* pThis);
    uint32_t (*init)(IFeatureSet* pThis, IApplication*, uint32_t);
    uint32_t (*addFeature)(IFeatureSet* pThis, const char*, const char*, const char*, uint32_t);
    uint32_t (*isEnabled)(IFeatureSet* pThis, const char*, uint32_t*);
};
struct IFeatureSet {
    const struct IFeatureSetSlots* slots;
};
_Static_assert(sizeof(struct IFeatureSetSlots) == 80, "IFeatureSet");

#define IID_IFileSystemCache "IDL:vel/kos/fw/IFileSystemCache:1.0"
struct IFileSystemCacheSlots {
    uint32_t (*QueryInterface)(IFileSystemCache* pThis, const void*, void**);
    uint32_t (*AddRef)(IFileSystemCache* pThis);
    uint32_t (*Release)(IFileSystemCache* pThis);
    uint32_t (*queryInterface)(IFileSystemCache* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IFileSystemCache* pThis);
    uint32_t (*release)(IFileSystemCache* pThis);
    const char* (*getInterfaceId)(IFileSystemCache* pThis);
    uint32_t (*init)(IFileSystemCache* pThis, IApplication*);
    uint32_t (*computeCacheId)(IFileSystemCache* pThis, const char*, CacheId*);
    uint32_t (*putObject)(IFileSystemCache* pThis, const char*, const CacheAttrList*, const CacheBytes*);
    uint32_t (*putObjectFile)(IFileSystemCache* pThis, const CacheId*, const CacheBytes*);
    uint32_t (*getObject)(IFileSystemCache* pThis, const char*, CacheAttrList*, CacheBytes*);
    uint32_t (*getObjectFile)(IFileSystemCache* pThis, const CacheId*, CacheBytes*);
    uint32_t (*getAttributes)(IFileSystemCache* pThis, const char*, CacheAttrList*);
    uint32_t (*hasObject)(IFileSystemCache* pThis, const char*, uint32_t*);
    uint32_t (*pinObject)(IFileSystemCache* pThis, const char*);
    uint32_t (*pinObjectById)(IFileSystemCache* pThis, const CacheId*);
    uint32_t (*unpinObject)(IFileSystemCache* pThis, const char*);
    uint32_t (*unpinObjectById)(IFileSystemCache* pThis, const CacheId*);
};
struct IFileSystemCache {
    const struct IFileSystemCacheSlots* slots;
};
_Static_assert(sizeof(struct IFileSystemCacheSlots) == 152, "IFileSystemCache");

#define IID_IIdleCallout "IDL:vel/kos/fw/IIdleCallout:1.0"
struct IIdleCalloutSlots {
    uint32_t (*QueryInterface)(IIdleCallout* pThis, const void*, void**);
    uint32_t (*AddRef)(IIdleCallout* pThis);
    uint32_t (*Release)(IIdleCallout* pThis);
    uint32_t (*queryInterface)(IIdleCallout* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IIdleCallout* pThis);
    uint32_t (*release)(IIdleCallout* pThis);
    const char* (*getInterfaceId)(IIdleCallout* pThis);
    uint32_t (*onIdle)(IIdleCallout* pThis, unsigned int*);
};
struct IIdleCallout {
    const struct IIdleCalloutSlots* slots;
};
_Static_assert(sizeof(struct IIdleCalloutSlots) == 64, "IIdleCallout");

#define IID_IRegDbSendMailConfig "IDL:vel/kos/fw/IRegDbSendMailConfig:1.0"
struct IRegDbSendMailConfigSlots {
    uint32_t (*QueryInterface)(IRegDbSendMailConfig* pThis, const void*, void**);
    uint32_t (*AddRef)(IRegDbSendMailConfig* pThis);
    uint32_t (*Release)(IRegDbSendMailConfig* pThis);
    uint32_t (*queryInterface)(IRegDbSendMailConfig* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IRegDbSendMailConfig* pThis);
    uint32_t (*release)(IRegDbSendMailConfig* pThis);
    const char* (*getInterfaceId)(IRegDbSendMailConfig* pThis);
    uint32_t (*init)(IRegDbSendMailConfig* pThis, IApplication*);
    uint32_t (*isInitialized)(IRegDbSendMailConfig* pThis, uint32_t*);
};
struct IRegDbSendMailConfig {
    const struct IRegDbSendMailConfigSlots* slots;
};
_Static_assert(sizeof(struct IRegDbSendMailConfigSlots) == 72, "IRegDbSendMailConfig");

#define IID_IRegDbUserData "IDL:vel/kos/fw/IRegDbUserData:1.0"
struct IRegDbUserDataSlots {
    uint32_t (*QueryInterface)(IRegDbUserData* pThis, const void*, void**);
    uint32_t (*AddRef)(IRegDbUserData* pThis);
    uint32_t (*Release)(IRegDbUserData* pThis);
    uint32_t (*queryInterface)(IRegDbUserData* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IRegDbUserData* pThis);
    uint32_t (*release)(IRegDbUserData* pThis);
    const char* (*getInterfaceId)(IRegDbUserData* pThis);
    uint32_t (*init)(IRegDbUserData* pThis, IApplication*);
    uint32_t (*isInitialized)(IRegDbUserData* pThis, uint32_t*);
};
struct IRegDbUserData {
    const struct IRegDbUserDataSlots* slots;
};
_Static_assert(sizeof(struct IRegDbUserDataSlots) == 72, "IRegDbUserData");

#define IID_ISendMailConfig "IDL:vel/kos/fw/ISendMailConfig:1.0"
struct ISendMailConfigSlots {
    uint32_t (*QueryInterface)(ISendMailConfig* pThis, const void*, void**);
    uint32_t (*AddRef)(ISendMailConfig* pThis);
    uint32_t (*Release)(ISendMailConfig* pThis);
    uint32_t (*queryInterface)(ISendMailConfig* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISendMailConfig* pThis);
    uint32_t (*release)(ISendMailConfig* pThis);
    const char* (*getInterfaceId)(ISendMailConfig* pThis);
    uint32_t (*isModifiable)(ISendMailConfig* pThis, uint32_t*);
    uint32_t (*setMailSubject)(ISendMailConfig* pThis, const char*);
    uint32_t (*getMailSubject)(ISendMailConfig* pThis, char**);
    uint32_t (*setSenderAddress)(ISendMailConfig* pThis, const char*);
    uint32_t (*getSenderAddress)(ISendMailConfig* pThis, char**);
    uint32_t (*setDefRecipAddress)(ISendMailConfig* pThis, const char*);
    uint32_t (*getDefRecipAddress)(ISendMailConfig* pThis, char**);
    uint32_t (*setSendCC)(ISendMailConfig* pThis, uint32_t);
    uint32_t (*getSendCC)(ISendMailConfig* pThis, uint32_t*);
    uint32_t (*setSendBCC)(ISendMailConfig* pThis, uint32_t);
    uint32_t (*getSendBCC)(ISendMailConfig* pThis, uint32_t*);
};
struct ISendMailConfig {
    const struct ISendMailConfigSlots* slots;
};
_Static_assert(sizeof(struct ISendMailConfigSlots) == 144, "ISendMailConfig");

#define IID_ISystemInfo "IDL:vel/kos/fw/ISystemInfo:1.0"
struct ISystemInfoSlots {
    uint32_t (*QueryInterface)(ISystemInfo* pThis, const void*, void**);
    uint32_t (*AddRef)(ISystemInfo* pThis);
    uint32_t (*Release)(ISystemInfo* pThis);
    uint32_t (*queryInterface)(ISystemInfo* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISystemInfo* pThis);
    uint32_t (*release)(ISystemInfo* pThis);
    const char* (*getInterfaceId)(ISystemInfo* pThis);
    uint32_t (*init)(ISystemInfo* pThis, IApplication*);
    uint32_t (*getModule)(ISystemInfo* pThis, const char*, SysInfoModule*);
    uint32_t (*getModules)(ISystemInfo* pThis, ModuleList*);
    uint32_t (*getModuleFileVersion)(ISystemInfo* pThis, const char*, char**);
    uint32_t (*getProductVersionRange)(ISystemInfo* pThis, const char*, char**, char**);
    uint32_t (*getAttributes)(ISystemInfo* pThis, uint32_t, AttributeList*);
};
struct ISystemInfo {
    const struct ISystemInfoSlots* slots;
};
_Static_assert(sizeof(struct ISystemInfoSlots) == 104, "ISystemInfo");

#define IID_IUserData "IDL:vel/kos/fw/IUserData:1.0"
struct IUserDataSlots {
    uint32_t (*QueryInterface)(IUserData* pThis, const void*, void**);
    uint32_t (*AddRef)(IUserData* pThis);
    uint32_t (*Release)(IUserData* pThis);
    uint32_t (*queryInterface)(IUserData* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(IUserData* pThis);
    uint32_t (*release)(IUserData* pThis);
    const char* (*getInterfaceId)(IUserData* pThis);
    uint32_t (*isModifiable)(IUserData* pThis, uint32_t*);
};
struct IUserData {
    const struct IUserDataSlots* slots;
};
_Static_assert(sizeof(struct IUserDataSlots) == 64, "IUserData");

#define IID_ISqlDatabase "IDL:vel/kos/sql/ISqlDatabase:1.0"
struct ISqlDatabaseSlots {
    uint32_t (*QueryInterface)(ISqlDatabase* pThis, const void*, void**);
    uint32_t (*AddRef)(ISqlDatabase* pThis);
    uint32_t (*Release)(ISqlDatabase* pThis);
    uint32_t (*queryInterface)(ISqlDatabase* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISqlDatabase* pThis);
    uint32_t (*release)(ISqlDatabase* pThis);
    const char* (*getInterfaceId)(ISqlDatabase* pThis);
    uint32_t (*getDatabaseType)(ISqlDatabase* pThis, char**);
    uint32_t (*getFeatures)(ISqlDatabase* pThis, uint32_t*);
    uint32_t (*prepare)(ISqlDatabase* pThis, const char*, ISqlStatement**);
    uint32_t (*execute)(ISqlDatabase* pThis, const char*, const SqlValueList*, uint64_t*);
    uint32_t (*query)(ISqlDatabase* pThis, const char*, const SqlValueList*, ISqlRows**);
    uint32_t (*executeScript)(ISqlDatabase* pThis, const char*, uint64_t*);
    uint32_t (*begin)(ISqlDatabase* pThis, uint32_t, uint32_t);
    uint32_t (*commit)(ISqlDatabase* pThis);
    uint32_t (*rollback)(ISqlDatabase* pThis);
    uint32_t (*savepoint)(ISqlDatabase* pThis, const char*);
    uint32_t (*rollbackTo)(ISqlDatabase* pThis, const char*);
    uint32_t (*releaseSavepoint)(ISqlDatabase* pThis, const char*);
    uint32_t (*getTransactionState)(ISqlDatabase* pThis, uint32_t*);
    uint32_t (*setTimeout)(ISqlDatabase* pThis, uint32_t);
    uint32_t (*cancel)(ISqlDatabase* pThis);
    uint32_t (*check)(ISqlDatabase* pThis);
    uint32_t (*listTables)(ISqlDatabase* pThis, ISqlRows**);
    uint32_t (*describeTable)(ISqlDatabase* pThis, const char*, ISqlRows**);
    uint32_t (*getError)(ISqlDatabase* pThis, SqlError*);
};
struct ISqlDatabase {
    const struct ISqlDatabaseSlots* slots;
};
_Static_assert(sizeof(struct ISqlDatabaseSlots) == 208, "ISqlDatabase");

#define IID_ISqlDatabaseFactory "IDL:vel/kos/sql/ISqlDatabaseFactory:1.0"
struct ISqlDatabaseFactorySlots {
    uint32_t (*QueryInterface)(ISqlDatabaseFactory* pThis, const void*, void**);
    uint32_t (*AddRef)(ISqlDatabaseFactory* pThis);
    uint32_t (*Release)(ISqlDatabaseFactory* pThis);
    uint32_t (*queryInterface)(ISqlDatabaseFactory* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISqlDatabaseFactory* pThis);
    uint32_t (*release)(ISqlDatabaseFactory* pThis);
    const char* (*getInterfaceId)(ISqlDatabaseFactory* pThis);
    uint32_t (*getDatabaseType)(ISqlDatabaseFactory* pThis, char**);
    uint32_t (*getDescriptionHelp)(ISqlDatabaseFactory* pThis, char**);
    uint32_t (*createDatabase)(ISqlDatabaseFactory* pThis, const char*, ISqlDatabase**);
    uint32_t (*getCreateError)(ISqlDatabaseFactory* pThis, SqlError*);
};
struct ISqlDatabaseFactory {
    const struct ISqlDatabaseFactorySlots* slots;
};
_Static_assert(sizeof(struct ISqlDatabaseFactorySlots) == 88, "ISqlDatabaseFactory");

#define IID_ISqlDatabaseFactoryRegistry "IDL:vel/kos/sql/ISqlDatabaseFactoryRegistry:1.0"
struct ISqlDatabaseFactoryRegistrySlots {
    uint32_t (*QueryInterface)(ISqlDatabaseFactoryRegistry* pThis, const void*, void**);
    uint32_t (*AddRef)(ISqlDatabaseFactoryRegistry* pThis);
    uint32_t (*Release)(ISqlDatabaseFactoryRegistry* pThis);
    uint32_t (*queryInterface)(ISqlDatabaseFactoryRegistry* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISqlDatabaseFactoryRegistry* pThis);
    uint32_t (*release)(ISqlDatabaseFactoryRegistry* pThis);
    const char* (*getInterfaceId)(ISqlDatabaseFactoryRegistry* pThis);
    uint32_t (*registerFactory)(ISqlDatabaseFactoryRegistry* pThis, ISqlDatabaseFactory*);
    uint32_t (*unregisterFactory)(ISqlDatabaseFactoryRegistry* pThis, ISqlDatabaseFactory*);
    uint32_t (*getDatabaseTypes)(ISqlDatabaseFactoryRegistry* pThis, StringList*);
    uint32_t (*getFactories)(ISqlDatabaseFactoryRegistry* pThis, FactoryList*);
    uint32_t (*getFactory)(ISqlDatabaseFactoryRegistry* pThis, const char*, ISqlDatabaseFactory**);
    uint32_t (*createDatabase)(ISqlDatabaseFactoryRegistry* pThis, const char*, ISqlDatabase**);
};
struct ISqlDatabaseFactoryRegistry {
    const struct ISqlDatabaseFactoryRegistrySlots* slots;
};
_Static_assert(sizeof(struct ISqlDatabaseFactoryRegistrySlots) == 104, "ISqlDatabaseFactoryRegistry");

#define IID_ISqlRows "IDL:vel/kos/sql/ISqlRows:1.0"
struct ISqlRowsSlots {
    uint32_t (*QueryInterface)(ISqlRows* pThis, const void*, void**);
    uint32_t (*AddRef)(ISqlRows* pThis);
    uint32_t (*Release)(ISqlRows* pThis);
    uint32_t (*queryInterface)(ISqlRows* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISqlRows* pThis);
    uint32_t (*release)(ISqlRows* pThis);
    const char* (*getInterfaceId)(ISqlRows* pThis);
    uint32_t (*getColumns)(ISqlRows* pThis, SqlColumnList*);
    uint32_t (*next)(ISqlRows* pThis, SqlValueList*);
    uint32_t (*fetch)(ISqlRows* pThis, uint32_t, SqlRowBlock*);
    uint32_t (*getChanged)(ISqlRows* pThis, uint64_t*);
    uint32_t (*close)(ISqlRows* pThis);
};
struct ISqlRows {
    const struct ISqlRowsSlots* slots;
};
_Static_assert(sizeof(struct ISqlRowsSlots) == 96, "ISqlRows");

#define IID_ISqlStatement "IDL:vel/kos/sql/ISqlStatement:1.0"
struct ISqlStatementSlots {
    uint32_t (*QueryInterface)(ISqlStatement* pThis, const void*, void**);
    uint32_t (*AddRef)(ISqlStatement* pThis);
    uint32_t (*Release)(ISqlStatement* pThis);
    uint32_t (*queryInterface)(ISqlStatement* pThis, const char*, IUnknown**);
    uint32_t (*addRef)(ISqlStatement* pThis);
    uint32_t (*release)(ISqlStatement* pThis);
    const char* (*getInterfaceId)(ISqlStatement* pThis);
    uint32_t (*getParameterCount)(ISqlStatement* pThis, uint32_t*);
    uint32_t (*getParameterName)(ISqlStatement* pThis, uint32_t, char**);
    uint32_t (*getColumns)(ISqlStatement* pThis, SqlColumnList*);
    uint32_t (*bind)(ISqlStatement* pThis, uint32_t, const SqlValue*);
    uint32_t (*bindName)(ISqlStatement* pThis, const char*, const SqlValue*);
    uint32_t (*clear)(ISqlStatement* pThis);
    uint32_t (*execute)(ISqlStatement* pThis, const SqlValueList*, uint64_t*);
    uint32_t (*query)(ISqlStatement* pThis, const SqlValueList*, ISqlRows**);
    uint32_t (*executeBatch)(ISqlStatement* pThis, uint32_t, const SqlValue*, uint64_t*, uint32_t*);
};
struct ISqlStatement {
    const struct ISqlStatementSlots* slots;
};
_Static_assert(sizeof(struct ISqlStatementSlots) == 128, "ISqlStatement");

// The component runtime (kom/heap.h, kom/identity.h, kom/runtime.h).
char* komStrDup(const char* pText);
char* komStrNDup(const char* pText, size_t pLength);
void* komCalloc(size_t pCount, size_t pSize);
void* komRealloc(void* pBlock, size_t pSize);
void komFree(void* pBlock);
void komGetHeapStats(KomHeapStats* pStats);
int komCompareIID(const char* pA, const char* pB);
int komCompareCLSID(const char* pA, const char* pB);
uint32_t komSameObject(IUnknown* pA, IUnknown* pB);
const char* komStrError(uint32_t pCode);
const KomResultCode* komGetResultCodes(uint32_t* pCount);
const char* komGetResultName(uint32_t pCode);
uint32_t komSetClassRegistry(const char* pPath);
const char* komGetClassRegistry(void);
uint32_t komRegisterDSO(const char* pClassId, unsigned int pFlags, void* pContext);
uint32_t komUnregisterDSO(const char* pClassId, unsigned int pFlags, void* pContext);
KomRegistrar* komSetRegistrar(KomRegistrar* pRegistrar);
uint32_t komRegisterModule(const char* pPath);
uint32_t komUnregisterModule(const char* pPath);
uint32_t komListClasses(KomClassList** pList);
const char* komGetRegistryProblem(void);
uint32_t komGetObjectFactory(const char* pClassId, const char* pIid, IUnknown** pOut);
uint32_t komCreateInstance(const char* pClassId, const char* pIid, IUnknown** pOut);
uint32_t komUnloadModules(uint32_t* pUnloaded);
