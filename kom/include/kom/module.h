// What kom knows of each module that has objects: how many live, and which of them only the module itself
// keeps. komUnloadModules relies on it.
//
// A module takes part by including kom/implements.h. An object counts for the module that makes it with new,
// which is the module of its class, whichever library its base classes lie in. An object that is not made
// with new, a static one for instance, counts for the module that compiles its kom::RefCount.
//
// A singleton's holder is a static kom::ModuleRef:
//
//     kom::ModuleRef<UserData> gInstance;
//     ...
//     if (!gInstance) gInstance = kom::retain(new UserData);
//     return gInstance->unknown();
//
// An object that a module hands to others so that they call it (a close hook, an idle callout, a consumer) is
// called when they like, on their thread, and may be kept for longer than what it works for. Its class
// - leads to its owner through a kom::BackPointer (kom/backpointer.h), which the owner clears first of all
// when
//   it is destroyed, and takes a reference there at each call: the owner then has a user and is left alone
//   until the call is done;
// - is reported with kom::countOwned only where the owner takes the object back from the others when it goes,
//   and from the moment it is handed out until the owner clears the pointer. What others keep all the same
//   then keeps the module, and its operations return from code that is there.
// What works for nobody else needs neither: it lives as long as its references, and keeps the module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "kom/api.h"
#include "kom/ref.h"
#include "kom/unknown.h"

// One of its own in every module, also when a module is built with default visibility.
#if defined(_WIN32)
#define KOM_LOCAL
#else
#define KOM_LOCAL __attribute__((visibility("hidden")))
#endif

extern "C" {

/// kom's record of a module; its content is kom's own.
struct KomModule;

/// A reference that a module keeps in a static object; kom::ModuleRef fills it.
struct KomHolder {
    KomHolder* next;
    KomModule* module;         ///< whose holder it is; null: of no module
    kom::IUnknown* object;     ///< what is held, or null; read and written atomically
    void (*letGo)(KomHolder*); ///< has the module release what it holds
};

/// Called by kom::detail::ModuleEntry when a module is loaded and before it goes; pAddress is an address in
/// the module. Leaving neither waits nor fails, so that a module can go while the process ends.
KOM_API KomModule* komEnterModule(const void* pAddress);
KOM_API void komLeaveModule(KomModule* pModule);
/// Called by kom::RefCount for every object. A null module (an object made before its module's entry) is
/// counted for the process only.
KOM_API void komCountObject(KomModule* pModule, int32_t pChange);
/// Memory for an object of a module (null: of none), and its way back; the module counts the object in
/// between. Called by the operator new and delete of kom::Implements. std::bad_alloc when there is no memory.
KOM_API void* komNewObject(KomModule* pModule, size_t pSize);
KOM_API void komDeleteObject(void* pObject);
/// Called by kom::countOwned.
KOM_API void komCountOwned(KomModule* pModule, int32_t pChange);
/// Called by kom::ModuleRef. The holder stays in the module's list until the module goes.
KOM_API void komAddHolder(KomModule* pModule, KomHolder* pHolder);
/// Called by kom::ModuleRef when what it holds changes. kom takes no reference.
KOM_API void komFillHolder(KomHolder* pHolder, kom::IUnknown* pObject);
/// Called by kom::ModuleRef's destructor: 1 when the module goes because the process ends.
KOM_API uint32_t komIsProcessEnding(void);

} // extern "C"

namespace kom {

namespace detail {

/// Enters the module that it is part of into kom's records for as long as the module is loaded.
struct KOM_LOCAL ModuleEntry {
    ModuleEntry() : record(komEnterModule(this)) {}
    ~ModuleEntry() { komLeaveModule(record); }
    ModuleEntry(const ModuleEntry&) = delete;
    ModuleEntry& operator=(const ModuleEntry&) = delete;

    KomModule* const record;
};

KOM_LOCAL inline ModuleEntry gModule;

} // namespace detail

/// Tells kom that an object of this module is owned by another object of the module, and goes with it (1), or
/// that it no longer is, because it was given up or destroyed (-1). Owned objects alone do not keep a module
/// loaded: komUnloadModules has the module's singletons released, and closes the module when the objects that
/// they owned went with them. An owned object that others may call keeps the rules at the top of this file.
/// Any thread.
KOM_LOCAL inline void countOwned(int32_t pChange) { komCountOwned(detail::gModule.record, pChange); }

/// The counted reference that a module itself keeps to the one object of a singleton class (a class over
/// kom::Implements). The object alone does not keep the module loaded: where every object of the module is
/// held in this way and used by nobody else, or owned by such a one (countOwned), komUnloadModules releases
/// them. Only for static objects; assigning is for one thread at a time.
///
/// The object goes before the module is unloaded. When the process ends it is left alone: other threads may
/// have been stopped anywhere, so that its destructor could wait for ever for a lock, and the system takes
/// all back anyway.
template <class T>
class ModuleRef {
public:
    ModuleRef() noexcept
    {
        mHolder.letGo = [](KomHolder* pHolder) { static_cast<Holder*>(pHolder)->owner->reset(); };
        mHolder.owner = this;
        komAddHolder(detail::gModule.record, &mHolder);
    }
    ~ModuleRef()
    {
        if (komIsProcessEnding())
            static_cast<void>(mObject.detach());
        else
            reset();
    }
    ModuleRef(const ModuleRef&) = delete;
    ModuleRef& operator=(const ModuleRef&) = delete;

    /// Takes the new reference before it releases the old one.
    ModuleRef& operator=(Ref<T> pObject) noexcept
    {
        std::swap(mObject, pObject);
        komFillHolder(&mHolder, mObject ? mObject->unknown() : nullptr);
        return *this;
    }
    void reset() noexcept { *this = Ref<T>(); }

    T* get() const noexcept { return mObject.get(); }
    T* operator->() const noexcept { return mObject.get(); }
    T& operator*() const noexcept { return *mObject; }
    explicit operator bool() const noexcept { return static_cast<bool>(mObject); }

private:
    struct Holder : KomHolder {
        ModuleRef* owner;
    };

    Ref<T> mObject;
    Holder mHolder = {};
};

} // namespace kom
