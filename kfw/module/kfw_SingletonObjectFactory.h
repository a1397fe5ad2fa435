// The factory of a singleton class: every request gets the one object of the process.
#pragma once

#include "kfw/module/kfw_ObjectFactory.h"
#include "kom/module.h"
#include "kom/ref.h"

namespace vel::kos::util {

/// The module-wide reference to the one T, null until the first request. It is defined in kfw_Singletons.cpp
/// with the others, in the order of their construction; at unload they release in the reverse order. When the
/// process ends the object is left alone (kom::ModuleRef), so that nothing is logged or locked then.
template <class T>
struct SingletonHolder {
    static kom::ModuleRef<T> sInstance;
};

/// The first request must not be raced by another.
template <class T>
class SingletonObjectFactory : public ObjectFactory<T> {
protected:
    kom::IUnknown* createObject() override
    {
        auto& tInstance = SingletonHolder<T>::sInstance;
        if (!tInstance) tInstance = kom::retain(new T);
        return tInstance->unknown();
    }
};

} // namespace vel::kos::util
