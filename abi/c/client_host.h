// The client's own application, IApplication to IApplication5, as one table of slots.
#pragma once

#include "client.h"

/// The application, to be handed to the module.
IApplication* host(void);
/// The references held on it.
uint32_t hostReferences(void);
/// How often an operation was called by the module.
#define HOST_CALLS(pOperation) hostCalls(offsetof(struct IApplication5Slots, pOperation))
uint32_t hostCalls(size_t pOffset);

/// The idle callout that it was given last, and its reference with it; null when there is none.
IIdleCallout* takeCallout(void);
/// The close hook that was enrolled last, and its reference with it; null when there is none.
IAppCloseHook* takeHook(int32_t* pOrder);

/// Checks that the module has called what it needs of an application, and has given it back.
void checkHost(void);

/// The queryInterface of an object of the client's: one of the identities of a list that ends with null.
uint32_t findInterface(void* pObject, const char* const* pIdentities, const char* pIid, IUnknown** pOut);
