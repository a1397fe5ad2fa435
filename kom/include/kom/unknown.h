// The base of every interface, and the factory interface.
//
// An interface is pure virtual: no data, no virtual destructor (its slots are a published contract), fixed-
// width integers only, nothing returned by value but a result code or a count. Its identity is a string
// that is compared whole and case-sensitively. `Parent` names the interface it extends.
#pragma once

#include <cstdint>

#include "kpr/codes.h"

namespace kom {

class IUnknown {
public:
    static constexpr char IID[] = "IDL:kom/IUnknown:1.0";

    /// The first three slots have the layout of the Windows COM IUnknown, so that code which takes the
    /// object for one is refused in good order: QueryInterface sets *pOut to null and returns
    /// E_NOINTERFACE whatever it is asked; AddRef and Release are addRef and release.
    virtual uint32_t QueryInterface(const void* pIid, void** pOut) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

    /// Asks for another interface of the object. On a match *pOut is that interface with one reference for
    /// the caller and the result is 0; otherwise *pOut is null and the result E_NOINTERFACE. pOut must not be
    /// null; a null identity matches nothing. Any thread.
    virtual uint32_t queryInterface(const char* pIid, IUnknown** pOut) = 0;
    /// Takes a reference and returns the new count. Any thread.
    virtual uint32_t addRef() = 0;
    /// Gives a reference back and returns the new count; at 0 the object is gone. A release too many stops
    /// the process. Any thread.
    virtual uint32_t release() = 0;
    /// The identity of the interface it is called on (static, not to be freed).
    virtual const char* getInterfaceId() = 0;

protected:
    ~IUnknown() = default;
};

/// Makes objects of one class.
class IObjectFactory : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:kom/IObjectFactory:1.0";

    /// Makes an object (a singleton's factory: hands out the one object) and returns the interface asked for,
    /// with one reference for the caller. KOM_E_NOAGGREGATION when pOuter is not null; E_NOINTERFACE when the
    /// object has no such interface. pOut must not be null.
    virtual uint32_t createInstance(IUnknown* pOuter, const char* pIid, IUnknown** pOut) = 0;
    /// Does nothing and returns 0; kept for the slot.
    virtual uint32_t lockServer() = 0;

protected:
    ~IObjectFactory() = default;
};

} // namespace kom
