// The factory of a plain class: every request makes an object.
#pragma once

#include "kom/implements.h"

namespace vel::kos::util {

using IObjectFactory_Adapter = kom::Adapter<kom::IObjectFactory>;

/// T has a default constructor and the plumbing of kom::Implements. Nothing here is locked; requests for
/// different objects may come from several threads.
template <class T>
class ObjectFactory : public kom::Implements<ObjectFactory<T>, kom::IObjectFactory> {
    friend kom::Implements<ObjectFactory<T>, kom::IObjectFactory>;

public:
    uint32_t createInstance(kom::IUnknown* pOuter, const char* pIid, kom::IUnknown** pOut) override
    {
        if (pOuter) {
            *pOut = nullptr;
            return KOM_E_NOAGGREGATION;
        }
        kom::IUnknown* tNew = createObject();
        tNew->addRef();
        const auto tObject = kom::adopt(tNew);
        const uint32_t tRes = tObject->queryInterface(pIid, pOut);
        return KFAILED(tRes) ? tRes : 0;
    }
    uint32_t lockServer() override { return 0; }

    virtual ~ObjectFactory() = default;

protected:
    /// A new object with count 0, as its "IDL:kom/IUnknown:1.0" interface.
    virtual kom::IUnknown* createObject() { return (new T)->unknown(); }

private:
    kom::RefCount mRefCount;
};

} // namespace vel::kos::util
