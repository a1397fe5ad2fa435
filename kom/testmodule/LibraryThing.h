// A class library's base class: its code lies in the library, the classes that derive from it lie in modules.
#pragma once

#include "kom/implements.h"
#include "kom/testmodule/ITestThing.h"

#if !defined(_WIN32)
#define KOM_TEST_LIBRARY __attribute__((visibility("default")))
#elif defined(KOM_TEST_LIBRARY_BUILD)
#define KOM_TEST_LIBRARY __declspec(dllexport)
#else
#define KOM_TEST_LIBRARY __declspec(dllimport)
#endif

namespace kom::test {

/// Leaves getModule to the class that derives from it.
class KOM_TEST_LIBRARY LibraryThing : public Implements<LibraryThing, ITestThing> {
    friend Implements;

public:
    LibraryThing();
    virtual ~LibraryThing();
    uint32_t keep(IUnknown* pObject) override;

private:
    RefCount mRefCount;
    Ref<IUnknown> mKept;
};

} // namespace kom::test
