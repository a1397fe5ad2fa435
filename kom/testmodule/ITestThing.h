// What the test modules provide, and where a test finds them.
//
// kom_testmodule_a and kom_testmodule_b are the same module with classes of their own; kom_testmodule_plain
// has a class but does without kom's counts; kom_testmodule_bare is a library that is no component module;
// kom_testmodule_derived has a class whose base lies in a class library.
#pragma once

#include <cstdint>

#include "kom/adapter.h"
#include "kom/unknown.h"

namespace kom::test {

class ITestThing : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:kom/test/ITestThing:1.0";

    /// The letter of the module that made the object.
    virtual uint32_t getModule(char* pLetter) = 0;
    /// Keeps a reference to another object until the next call, or its own end; null for none.
    virtual uint32_t keep(IUnknown* pObject) = 0;

protected:
    ~ITestThing() = default;
};
using ITestThing_Adapter = Adapter<ITestThing>;

// The classes, in the order in which the modules register them.
inline constexpr char CLASS_A_THING[] = "aaaaaaaa-0000-4000-8000-000000000001";
inline constexpr char CLASS_A_SINGLETON[] = "aaaaaaaa-0000-4000-8000-000000000002";
inline constexpr char CLASS_A_MISSING[] =
    "aaaaaaaa-0000-4000-8000-000000000003"; ///< registered, not provided
inline constexpr char CLASS_B_THING[] = "bbbbbbbb-0000-4000-8000-000000000001";
inline constexpr char CLASS_B_SINGLETON[] = "bbbbbbbb-0000-4000-8000-000000000002";
inline constexpr char CLASS_B_MISSING[] = "bbbbbbbb-0000-4000-8000-000000000003";
inline constexpr char CLASS_PLAIN[] = "cccccccc-0000-4000-8000-000000000001";
inline constexpr char CLASS_DERIVED[] = "dddddddd-0000-4000-8000-000000000001";

/// Exported by a and b as "testFailAt": from now on registering and unregistering the class of that number
/// (from 0) returns pCode instead; pCode 0 ends it.
using TestFailAt = void (*)(uint32_t pIndex, uint32_t pCode);
/// Exported by a and b as "testOnFactory": from now on dsoGetObjectFactory begins with calling pAction; null
/// ends it.
using TestOnFactory = void (*)(void (*pAction)());
/// Exported by a and b as "testOnRegister": from now on dsoRegisterServer ends with calling pAction, with its
/// own arguments, and returns its result; null ends it.
using TestOnRegister = void (*)(uint32_t (*pAction)(unsigned int pArg1, void* pArg2));
/// Exported by a and b as "testKeep": keeps a reference in a static object, which goes with the module.
using TestKeep = void (*)(IUnknown* pObject);

} // namespace kom::test
