// A client that knows the binary contract only as tables of slots: what its parts share.
//
// Each part drives one class. Calls go through SLOT, which remembers the slot, so that a part can demand in
// the end that every slot of an interface has been called.
#pragma once

#include "kfw_slots.h"

/// The folder that the run may use, and where it finds the user's settings.
extern const char* gFolder;
extern const char* gSettingsName;

/// Begins the checks of a class; the checks up to the next beginning count for it. Prints the line of the one
/// before.
void begin(const char* pClass);

/// Counts a check, and prints it when it fails.
bool check(bool pGood, const char* pText, int pLine);
#define CHECK(pCondition) check((pCondition), #pCondition, __LINE__)

/// Checks the result code of an expression.
void checkCode(uint32_t pCode, uint32_t pExpected, const char* pText, int pLine);
#define CODE(pExpression, pExpected) checkCode((pExpression), (pExpected), #pExpression, __LINE__)

/// Checks a kom heap string, and frees it.
void checkText(char* pText, const char* pExpected, int pLine);
#define TEXT(pText, pExpected) checkText((pText), (pExpected), __LINE__)

/// Remembers that a slot of an interface was called.
void note(const char* pInterface, size_t pOffset);
/// The operation of a table, to be called with the object as first argument.
#define SLOT(pInterface, pObject, pOperation)                                                                \
    (note(#pInterface, offsetof(struct pInterface##Slots, pOperation)), (pObject)->slots->pOperation)

/// Fails unless every slot of an interface has been called.
void demandSlots(const char* pInterface, size_t pTableSize);
#define DEMAND(pInterface) demandSlots(#pInterface, sizeof(struct pInterface##Slots))

/// Calls the slots that every interface begins with. pIid leads to the interface itself, pOwnIid is what it
/// calls itself. The calls count for the interface named.
void checkUnknown(void* pObject, const char* pInterface, const char* pIid, const char* pOwnIid);
#define UNKNOWN(pInterface, pObject) checkUnknown((pObject), #pInterface, IID_##pInterface, IID_##pInterface)

/// Begins a class, checks its factory, and makes an object. The caller owns the interface.
void* makeObject(const char* pClass, const char* pClassId, const char* pIid, bool pSingleton);

/// Another interface of an object, which has to have it; the caller owns it.
void* interfaceOf(void* pObject, const char* pIid);
/// Takes, or gives back, a reference; returns the new count.
uint32_t retain(void* pObject);
uint32_t release(void* pObject);

/// The parts.
void driveEventDispatcher(void);
void driveUserData(void);
void driveSendMailConfig(void);
void driveSqlFactoryRegistry(void);
void driveFileSystemCache(void);
void driveSystemInfo(void);
void driveFeatureSet(void);
