// The entry points of a component module, as a test module defines them.
#pragma once

#include <cstdint>

#include "kom/unknown.h"
#include "kpr/dso.h"

#if defined(_WIN32)
#define KOM_TEST_EXPORT __declspec(dllexport)
#else
#define KOM_TEST_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {
KOM_TEST_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut);
KOM_TEST_EXPORT uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut);
KOM_TEST_EXPORT uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2);
KOM_TEST_EXPORT uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2);
KOM_TEST_EXPORT void testFailAt(uint32_t pIndex, uint32_t pCode);
KOM_TEST_EXPORT void testKeep(kom::IUnknown* pObject);
KOM_TEST_EXPORT void testOnFactory(void (*pAction)());
KOM_TEST_EXPORT void testOnRegister(uint32_t (*pAction)(unsigned int, void*));
KOM_TEST_EXPORT void testOnUnregister(void (*pAction)());
}
