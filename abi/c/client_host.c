#include "client_host.h"

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

enum { SLOTS = sizeof(struct IApplication5Slots) / sizeof(void*) };

// The cache's cleaner thread logs, so counts are atomic.
static struct {
    IApplication5 base;
    atomic_uint references;
    atomic_uint calls[SLOTS];
    IIdleCallout* callout;
    IAppCloseHook* hook;
    int32_t hookOrder;
} sHost;

#define CALLED(pOperation) ++sHost.calls[offsetof(struct IApplication5Slots, pOperation) / sizeof(void*)]

uint32_t findInterface(void* pObject, const char* const* pIdentities, const char* pIid, IUnknown** pOut)
{
    *pOut = NULL;
    for (; *pIdentities; ++pIdentities)
        if (komCompareIID(pIid, *pIdentities) == 0) {
            *pOut = pObject;
            retain(pObject);
            return 0;
        }
    return E_NOINTERFACE;
}

static uint32_t comQuery(IApplication5* pThis, const void* pIid, void** pOut)
{
    (void)pThis, (void)pIid;
    *pOut = NULL;
    return E_NOINTERFACE;
}
static uint32_t query(IApplication5* pThis, const char* pIid, IUnknown** pOut)
{
    static const char* const IDENTITIES[] = {IID_IUnknown,
                                             IID_IApplication,
                                             IID_IApplication2,
                                             IID_IApplication3,
                                             IID_IApplication4,
                                             IID_IApplication5,
                                             NULL};
    CALLED(queryInterface);
    return findInterface(pThis, IDENTITIES, pIid, pOut);
}
static uint32_t addReference(IApplication5* pThis)
{
    (void)pThis;
    return ++sHost.references;
}
static uint32_t giveBack(IApplication5* pThis)
{
    (void)pThis;
    return --sHost.references;
}
static const char* identity(IApplication5* pThis)
{
    (void)pThis;
    return IID_IApplication5;
}

// The operations that return a text or a number.
#define TEXT_OPERATION(pOperation, pText)                                                                    \
    static uint32_t pOperation(IApplication5* pThis, char** pOut)                                            \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        CALLED(pOperation);                                                                                  \
        *pOut = komStrDup(pText);                                                                            \
        return 0;                                                                                            \
    }
#define NUMBER_OPERATION(pOperation, pNumber)                                                                \
    static uint32_t pOperation(IApplication5* pThis, uint32_t* pOut)                                         \
    {                                                                                                        \
        (void)pThis;                                                                                         \
        CALLED(pOperation);                                                                                  \
        *pOut = (pNumber);                                                                                   \
        return 0;                                                                                            \
    }
TEXT_OPERATION(getName, "client")
TEXT_OPERATION(getDisplayName, "Client")
TEXT_OPERATION(getVersion, "1.0")
TEXT_OPERATION(getVendor, "test")
TEXT_OPERATION(getLanguage, "")
TEXT_OPERATION(getCatalogueDir, "")
TEXT_OPERATION(getProgramDir, gFolder)
TEXT_OPERATION(getTempDir, gFolder)
TEXT_OPERATION(getSettingsName, gSettingsName)
NUMBER_OPERATION(getArgumentCount, 0)
NUMBER_OPERATION(getLogLevel, LOG_LEVEL_DEBUG)
NUMBER_OPERATION(isMainThread, 1)
NUMBER_OPERATION(isInteractive, 0)
NUMBER_OPERATION(isClosing, 0)
NUMBER_OPERATION(runIdleCallouts, 0)

static uint32_t returnPath(const char* pName, char** pOut)
{
    char tPath[1024];
    snprintf(tPath, sizeof tPath, "%s/%s", gFolder, pName);
    *pOut = komStrDup(tPath);
    return 0;
}
static uint32_t getUserAppDir(IApplication5* pThis, char** pOut)
{
    (void)pThis;
    CALLED(getUserAppDir);
    return returnPath("app", pOut);
}
static uint32_t getSettingsFile(IApplication5* pThis, char** pOut)
{
    (void)pThis;
    CALLED(getSettingsFile);
#if defined(_WIN32)
    *pOut = komStrDup("");
    return 0;
#else
    return returnPath("settings", pOut);
#endif
}
static uint32_t getArgument(IApplication5* pThis, uint32_t pIndex, char** pOut)
{
    (void)pThis, (void)pIndex;
    *pOut = NULL;
    return E_INVALIDARG;
}
static uint32_t logMessage(IApplication5* pThis, uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    (void)pThis;
    CALLED(logMessage);
    if (pLevel <= LOG_LEVEL_WARNING) printf("    log: %s: %s\n", pDomain, pMessage);
    return 0;
}
static uint32_t setLogLevel(IApplication5* pThis, uint32_t pLevel)
{
    (void)pThis, (void)pLevel;
    return 0;
}
static uint32_t reportAssertion(IApplication5* pThis, const char* pDomain, const char* pExpression,
                                const char* pSource, int32_t pLine)
{
    (void)pThis;
    CALLED(reportAssertion);
    CHECK(strcmp(pDomain, "kos:kfw") == 0 && *pExpression && strncmp(pSource, "kfw_", 4) == 0 && pLine > 0);
    return 0;
}
static uint32_t setStatusText(IApplication5* pThis, const char* pText)
{
    (void)pThis, (void)pText;
    return 0;
}
static uint32_t requestClose(IApplication5* pThis, int32_t pStatus)
{
    (void)pThis, (void)pStatus;
    return 0;
}
static uint32_t wakeUp(IApplication5* pThis)
{
    (void)pThis;
    return 0;
}
static uint32_t addIdleCallout(IApplication5* pThis, IIdleCallout* pCallout)
{
    (void)pThis;
    CALLED(addIdleCallout);
    CHECK(sHost.callout == NULL);
    retain(pCallout);
    sHost.callout = pCallout;
    return 0;
}
static uint32_t addCloseHook(IApplication5* pThis, IAppCloseHook* pHook, int32_t pOrder)
{
    (void)pThis;
    CALLED(addCloseHook);
    CHECK(sHost.hook == NULL);
    retain(pHook);
    sHost.hook = pHook;
    sHost.hookOrder = pOrder;
    return 0;
}
static uint32_t removeCloseHook(IApplication5* pThis, IAppCloseHook* pHook)
{
    (void)pThis, (void)pHook;
    CALLED(removeCloseHook);
    return 0;
}
static uint32_t getProperty(IApplication5* pThis, const char* pName, char** pOut)
{
    (void)pThis;
    CALLED(getProperty);
    *pOut = NULL;
    if (strcmp(pName, "named") == 0) *pOut = komStrDup("a value");
    if (strcmp(pName, "off") == 0) *pOut = komStrDup("false");
    return 0;
}
static uint32_t isPropertyTrue(IApplication5* pThis, const char* pName, bool* pAnswer)
{
    (void)pThis;
    CALLED(isPropertyTrue);
    *pAnswer = strcmp(pName, "asked") == 0;
    return 0;
}
static uint32_t isPropertyFalse(IApplication5* pThis, const char* pName, bool* pAnswer)
{
    (void)pThis;
    CALLED(isPropertyFalse);
    *pAnswer = strcmp(pName, "refused") == 0;
    return 0;
}

IApplication* host(void)
{
    static const struct IApplication5Slots SLOTS_OF_HOST = {
        comQuery,        addReference,    giveBack,         query,           addReference,  giveBack,
        identity,        getName,         getDisplayName,   getVersion,      getVendor,     getLanguage,
        getCatalogueDir, getProgramDir,   getArgumentCount, getArgument,     logMessage,    getLogLevel,
        setLogLevel,     reportAssertion, isMainThread,     isInteractive,   setStatusText, requestClose,
        isClosing,       wakeUp,          runIdleCallouts,  addIdleCallout,  getUserAppDir, getTempDir,
        addCloseHook,    removeCloseHook, getSettingsName,  getSettingsFile, getProperty,   isPropertyTrue,
        isPropertyFalse};
    if (!sHost.base.slots) {
        sHost.base.slots = &SLOTS_OF_HOST;
        sHost.references = 1;
    }
    return (IApplication*)&sHost.base;
}

uint32_t hostReferences(void) { return sHost.references; }

uint32_t hostCalls(size_t pOffset) { return sHost.calls[pOffset / sizeof(void*)]; }

IIdleCallout* takeCallout(void)
{
    IIdleCallout* tCallout = sHost.callout;
    sHost.callout = NULL;
    return tCallout;
}

IAppCloseHook* takeHook(int32_t* pOrder)
{
    IAppCloseHook* tHook = sHost.hook;
    *pOrder = sHost.hookOrder;
    sHost.hook = NULL;
    return tHook;
}

void checkHost(void)
{
    CHECK(HOST_CALLS(queryInterface) > 0);
    CHECK(HOST_CALLS(logMessage) > 0);
    CHECK(HOST_CALLS(reportAssertion) == 1); // a feature that was declared twice
    CHECK(HOST_CALLS(addIdleCallout) == 1);
    CHECK(HOST_CALLS(addCloseHook) == 2);
    CHECK(HOST_CALLS(removeCloseHook) == 0);
    CHECK(HOST_CALLS(getUserAppDir) > 0);
    CHECK(HOST_CALLS(getSettingsName) > 0);
    CHECK(HOST_CALLS(getSettingsFile) > 0);
    CHECK(HOST_CALLS(getProperty) > 0);
    CHECK(HOST_CALLS(isPropertyTrue) > 0);
    CHECK(HOST_CALLS(isPropertyFalse) > 0);
}
