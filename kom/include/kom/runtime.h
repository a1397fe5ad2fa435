// The class registry and the loader: from a class identity to an object.
//
// The registry is a readable text file per user that tells which module provides a class. It is replaced
// atomically under a lock, so several processes may register at once and a failure leaves it as it was.
//
// Any thread, unless said otherwise. A null pPath, pList or pOut returns E_INVALIDARG.
#pragma once

#include <cstdint>

#include "kom/api.h"
#include "kom/ref.h"
#include "kom/unknown.h"

extern "C" {

/// What komRegisterModule hands through a module's dsoRegisterServer to komRegisterDSO.
struct KomRegistration {
    const char* registryPath; ///< the class registry file; null: the process's own (komGetClassRegistry)
    const char* modulePath;   ///< the module that provides the class
};

/// Sets the class registry file of this process (UTF-8; null: the user's default). Before any other call
/// here. E_INVALIDARG for the empty path.
KOM_API uint32_t komSetClassRegistry(const char* pPath);
/// The path in use: what was set, else $KOM_CLASSES, else "kom/classes" in the user's data directory. The
/// text stays valid until the next komSetClassRegistry; "" when none can be determined.
KOM_API const char* komGetClassRegistry(void);

/// Called by modules, once a class: enters the class as provided by a module, replacing an older entry.
/// pFlags is 0, pContext a KomRegistration.
KOM_API uint32_t komRegisterDSO(const char* pClassId, unsigned int pFlags, void* pContext);
/// Takes the class's entry out; KOM_E_CLASSNOTREGISTERED when it has none for that module. A module that
/// calls it while it registers takes back what it has registered before.
KOM_API uint32_t komUnregisterDSO(const char* pClassId, unsigned int pFlags, void* pContext);

/// Gets classes instead of a registry, for tools that want to know what a module registers or how it
/// takes a refusal. Both operations get what the module passed, unchecked; what they return goes back to the
/// module.
struct KomRegistrar {
    uint32_t (*registerClass)(KomRegistrar* pSelf, const char* pClassId, unsigned int pFlags, void* pContext);
    uint32_t (*unregisterClass)(KomRegistrar* pSelf, const char* pClassId, unsigned int pFlags,
                                void* pContext);
};
/// Puts a registrar in the place of komRegisterDSO and komUnregisterDSO for the calling thread, until another
/// is set; null for none, as in the beginning. It stays the caller's. Returns the one set before.
KOM_API KomRegistrar* komSetRegistrar(KomRegistrar* pRegistrar);

/// Loads a module and has it register (unregister) its classes through its own entry points.
/// KOM_E_NOT_A_MODULE when it lacks them. What a module changes is written at once, also when it fails in the
/// end, so that no other process finds a part of its classes.
KOM_API uint32_t komRegisterModule(const char* pPath);
KOM_API uint32_t komUnregisterModule(const char* pPath);

/// A registered class.
struct KomClass {
    const char* classId;
    const char* modulePath;
};
struct KomClassList {
    uint32_t count;
    const KomClass* classes;
};
/// The registered classes in ascending order of their identities, in one block freed with komFree. No
/// registry file is an empty list; KOM_E_BAD_REGISTRY when the file is damaged.
KOM_API uint32_t komListClasses(KomClassList** pList);
/// Which line of the registry was found damaged, in words, by the calling thread's last call; "" when none.
KOM_API const char* komGetRegistryProblem(void);

/// The factory of a registered class; the module is loaded when it is not yet. KOM_E_CLASSNOTREGISTERED when
/// the registry has no such class; a loading failure's code; what dsoGetObjectFactory returns.
KOM_API uint32_t komGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut);
/// Makes an object of a registered class and returns the interface asked for. Fails as komGetObjectFactory
/// does, and then as the factory's createInstance.
KOM_API uint32_t komCreateInstance(const char* pClassId, const char* pIid, kom::IUnknown** pOut);
/// Unloads the modules that the loader has loaded and that nobody uses, in two steps. First every module
/// whose objects are all kept by its own holders (kom::ModuleRef), or owned by such objects, releases them.
/// Then the modules without a live object are closed. The others stay and are tried again at the next call;
/// so does a module that kom has no record of (kom/module.h). *pUnloaded (may be null) gets the number of
/// modules that were closed. Another thread that asks for a class of a module waits while that module's
/// holders release. Call it only when no other thread can be inside a release of a module's last object: the
/// code that it returns to would be gone. Nor is that the moment for another thread to close an application:
/// that gives back the last references to its close hooks.
KOM_API uint32_t komUnloadModules(uint32_t* pUnloaded);

} // extern "C"

namespace kom {

/// komCreateInstance with a typed result.
template <class J>
uint32_t createInstance(const char* pClassId, Ref<J>& pObject)
{
    IUnknown* tInterface = nullptr;
    const uint32_t tRes = komCreateInstance(pClassId, J::IID, &tInterface);
    pObject = adopt(static_cast<J*>(tInterface));
    return tRes;
}

} // namespace kom
