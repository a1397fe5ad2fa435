// The client's own objects, as the module sees them: an application, an event, a consumer, a database and its
// factory. They live on the stack of the program, so their counts only count.
#pragma once

#include "kfw/IApplication.h"
#include "kfw/IEventDispatcher.h"
#include "kfw/sql/ISqlDatabaseFactory.h"
#include "kfw/sql/Unsupported.h"
#include "kom/heap.h"
#include "kom/identity.h"
#include "kom/ref.h"
#include "kpr/thread.h"
#include "runtime.h"

namespace client {

using namespace vel::kos;

/// Whether an identity names an interface or one that it extends.
template <class TInterface>
bool matches(const char* pIid)
{
    if (komCompareIID(pIid, TInterface::IID) == 0) return true;
    if constexpr (requires { typename TInterface::Parent; })
        return matches<typename TInterface::Parent>(pIid);
    return false;
}

/// Counts and identities of an object that nobody destroys by releasing it. The creator has one reference.
template <class TInterface>
class Resident : public kom::Adapter<TInterface> {
public:
    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override
    {
        *pOut = matches<TInterface>(pIid) ? this : nullptr;
        if (!*pOut) return E_NOINTERFACE;
        addRef();
        return 0;
    }
    uint32_t addRef() override { return kprAtomicIncrement(&mReferences); }
    uint32_t release() override { return kprAtomicDecrement(&mReferences); }
    uint32_t references() const { return mReferences; }

private:
    unsigned int mReferences = 1;
};

class Application final : public Resident<fw::IApplication5> {
public:
    Application(const char* pFolder, const char* pSettingsName)
        : mFolder(pFolder), mSettingsName(pSettingsName), mMainThread(kprGetThreadId())
    {
    }

    // What the module has called, and what it has handed over.
    unsigned int logLines = 0, assertions = 0, properties = 0, settings = 0, folders = 0;
    kom::Ref<fw::IIdleCallout> callout;
    kom::Ref<fw::IAppCloseHook> hook;
    int32_t hookOrder = 0;

    uint32_t getName(char** pName) override { return hand("client", pName); }
    uint32_t getDisplayName(char** pName) override { return hand("Client", pName); }
    uint32_t getVersion(char** pVersion) override { return hand("1.0", pVersion); }
    uint32_t getVendor(char** pVendor) override { return hand("test", pVendor); }
    uint32_t getLanguage(char** pLanguage) override { return hand("", pLanguage); }
    uint32_t getCatalogueDir(char** pDir) override { return hand("", pDir); }
    uint32_t getProgramDir(char** pDir) override { return hand(mFolder, pDir); }
    uint32_t getArgumentCount(uint32_t* pCount) override { return hand(0, pCount); }
    uint32_t getArgument(uint32_t, char** pArgument) override
    {
        *pArgument = nullptr;
        return E_INVALIDARG;
    }
    uint32_t logMessage(uint32_t, const char*, const char*) override
    {
        kprAtomicIncrement(&logLines); // the cache's cleaner thread logs as well
        return 0;
    }
    uint32_t getLogLevel(uint32_t* pLevel) override { return hand(fw::LOG_LEVEL_DEBUG, pLevel); }
    uint32_t setLogLevel(uint32_t) override { return 0; }
    uint32_t reportAssertion(const char*, const char*, const char*, int32_t) override
    {
        ++assertions;
        return 0;
    }
    uint32_t isMainThread(uint32_t* pIsMain) override
    {
        return hand(kprGetThreadId() == mMainThread, pIsMain);
    }
    uint32_t isInteractive(uint32_t* pInteractive) override { return hand(0, pInteractive); }
    uint32_t setStatusText(const char*) override { return 0; }
    uint32_t requestClose(int32_t) override { return 0; }
    uint32_t isClosing(uint32_t* pClosing) override { return hand(0, pClosing); }
    uint32_t wakeUp() override { return 0; }
    uint32_t runIdleCallouts(uint32_t* pRan) override { return hand(0, pRan); }
    uint32_t addIdleCallout(fw::IIdleCallout* pCallout) override
    {
        callout = kom::retain(pCallout);
        return 0;
    }
    uint32_t getUserAppDir(char** pDir) override
    {
        ++folders;
        char tPath[512];
        join(tPath, sizeof tPath, mFolder, "\\app");
        return hand(tPath, pDir);
    }
    uint32_t getTempDir(char** pDir) override { return hand(mFolder, pDir); }
    uint32_t addCloseHook(fw::IAppCloseHook* pHook, int32_t pOrder) override
    {
        hook = kom::retain(pHook);
        hookOrder = pOrder;
        return 0;
    }
    uint32_t removeCloseHook(fw::IAppCloseHook*) override { return 0; }
    uint32_t getSettingsName(char** pName) override
    {
        ++settings;
        return hand(mSettingsName, pName);
    }
    uint32_t getSettingsFile(char** pPath) override { return hand("", pPath); }
    uint32_t getProperty(const char* pName, char** pValue) override
    {
        ++properties;
        *pValue = nullptr;
        return equal(pName, "named") ? hand("a value", pValue) : 0;
    }
    uint32_t isPropertyTrue(const char* pName, bool* pAnswer) override
    {
        ++properties;
        *pAnswer = equal(pName, "asked");
        return 0;
    }
    uint32_t isPropertyFalse(const char* pName, bool* pAnswer) override
    {
        ++properties;
        *pAnswer = equal(pName, "refused");
        return 0;
    }

private:
    static uint32_t hand(const char* pText, char** pOut)
    {
        *pOut = komStrDup(pText);
        return 0;
    }
    static uint32_t hand(uint32_t pNumber, uint32_t* pOut)
    {
        *pOut = pNumber;
        return 0;
    }

    const char* mFolder;
    const char* mSettingsName;
    const uint64_t mMainThread;
};

class Event final : public Resident<fw::IEvent> {
public:
    explicit Event(const char* pType) : mType(pType) {}

    bool consumed = false;

    uint32_t getType(char** pType) override
    {
        *pType = komStrDup(mType);
        return 0;
    }
    uint32_t consume() override
    {
        consumed = true;
        return 0;
    }
    uint32_t isConsumed() override { return consumed ? 0 : 1; }

private:
    const char* mType;
};

class Consumer final : public Resident<fw::IEventConsumer> {
public:
    unsigned int handled = 0;
    fw::IEvent* last = nullptr;

    uint32_t handleEvent(fw::IEvent* pEvent) override
    {
        ++handled;
        last = pEvent;
        return 0;
    }
};

class Database final : public sql::Unsupported<Resident<sql::ISqlDatabase>> {
public:
    uint32_t getDatabaseType(char** pType) override
    {
        *pType = komStrDup("memory");
        return 0;
    }
};

class DatabaseFactory final : public Resident<sql::ISqlDatabaseFactory> {
public:
    Database database;

    uint32_t getDatabaseType(char** pType) override { return database.getDatabaseType(pType); }
    uint32_t getDescriptionHelp(char** pText) override { return database.getDatabaseType(pText); }
    uint32_t createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase) override
    {
        *pDatabase = equal(pDescription, "type=memory") ? &database : nullptr;
        if (*pDatabase) database.addRef();
        return 0;
    }
    uint32_t getCreateError(sql::SqlError* pError) override { return database.getError(pError); }
};

} // namespace client
