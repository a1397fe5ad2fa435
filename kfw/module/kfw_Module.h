// The module's entry points, as the component runtime calls them.
#pragma once

#include <cstdint>

#include "kom/unknown.h"
#include "kpr/dso.h"

#if defined(_WIN32)
#define KFW_EXPORT __declspec(dllexport)
#else
#define KFW_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

/// Describes the module: nine pairs, all static. Always 0; pOut must not be null.
KFW_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut);

/// A new factory for a class, as the interface asked for, with one reference for the caller.
/// KOM_E_CLASSNOTAVAILABLE and null for a class that the module does not provide. pOut must not be null.
KFW_EXPORT uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut);

/// Registers every class in table order, handing both arguments on to komRegisterDSO; stops at the first
/// failure, leaves the classes before it registered, and returns its code.
KFW_EXPORT uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2);

/// Unregisters every class in table order, whatever fails; returns the first failure's code.
KFW_EXPORT uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2);

} // extern "C"
