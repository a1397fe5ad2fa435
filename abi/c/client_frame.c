// What all objects and factories have in common.
#include <string.h>

#include "client.h"

uint32_t retain(void* pObject) { return ((IUnknown*)pObject)->slots->addRef(pObject); }

uint32_t release(void* pObject) { return ((IUnknown*)pObject)->slots->release(pObject); }

void* interfaceOf(void* pObject, const char* pIid)
{
    IUnknown* tInterface = NULL;
    CODE(((IUnknown*)pObject)->slots->queryInterface(pObject, pIid, &tInterface), 0);
    CHECK(tInterface != NULL);
    return tInterface;
}

/// A slot of IUnknown, called for the interface at hand.
#define OF(pOperation)                                                                                       \
    (note(pInterface, offsetof(struct IUnknownSlots, pOperation)), tUnknown->slots->pOperation)

void checkUnknown(void* pObject, const char* pInterface, const char* pIid, const char* pOwnIid)
{
    IUnknown* tUnknown = pObject;
    const uint32_t tCount = OF(addRef)(tUnknown);
    CHECK(OF(release)(tUnknown) == tCount - 1);
    CHECK(OF(AddRef)(tUnknown) == tCount);
    CHECK(OF(Release)(tUnknown) == tCount - 1);

    void* tNothing = &tUnknown;
    CODE(OF(QueryInterface)(tUnknown, "a COM identity", &tNothing), E_NOINTERFACE);
    CHECK(tNothing == NULL);

    IUnknown* tSame = NULL;
    CODE(OF(queryInterface)(tUnknown, pIid, &tSame), 0);
    if (CHECK((void*)tSame == pObject)) CHECK(release(tSame) == tCount - 1);
    IUnknown* tBase = NULL;
    CODE(OF(queryInterface)(tUnknown, IID_IUnknown, &tBase), 0);
    CODE(komSameObject(tBase, tUnknown), 0);
    if (CHECK(tBase != NULL)) CHECK(release(tBase) == tCount - 1);
    for (int i = 0; i < 2; ++i) {
        tSame = tUnknown;
        CODE(OF(queryInterface)(tUnknown, i ? "IDL:kom/IUnknown:1.1" : "idl:kom/iunknown:1.0", &tSame),
             E_NOINTERFACE);
        CHECK(tSame == NULL);
    }
    CHECK(strcmp(OF(getInterfaceId)(tUnknown), pOwnIid) == 0);
}

void* makeObject(const char* pClass, const char* pClassId, const char* pIid, bool pSingleton)
{
    begin(pClass);
    IUnknown* tUnknown = NULL;
    CODE(komGetObjectFactory(pClassId, IID_IObjectFactory, &tUnknown), 0);
    IObjectFactory* tFactory = (IObjectFactory*)tUnknown;
    UNKNOWN(IObjectFactory, tFactory);
    CODE(SLOT(IObjectFactory, tFactory, lockServer)(tFactory), 0);

    IUnknown* tObject = tUnknown;
    CODE(SLOT(IObjectFactory, tFactory, createInstance)(tFactory, tUnknown, pIid, &tObject),
         KOM_E_NOAGGREGATION);
    CHECK(tObject == NULL);
    tObject = tUnknown;
    CODE(SLOT(IObjectFactory, tFactory, createInstance)(tFactory, NULL, IID_IObjectFactory, &tObject),
         E_NOINTERFACE);
    CHECK(tObject == NULL);

    IUnknown* tOther = NULL;
    CODE(SLOT(IObjectFactory, tFactory, createInstance)(tFactory, NULL, pIid, &tObject), 0);
    CODE(SLOT(IObjectFactory, tFactory, createInstance)(tFactory, NULL, pIid, &tOther), 0);
    CHECK(pSingleton ? tObject == tOther : tObject != tOther);
    CHECK(release(tOther) == (pSingleton ? 2 : 0)); // a singleton's holder has a reference as well
    DEMAND(IObjectFactory);
    CHECK(release(tFactory) == 0);
    return tObject;
}
