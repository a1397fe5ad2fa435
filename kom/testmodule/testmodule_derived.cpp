// A module whose one class derives from a class library's (LibraryThing.h).
#include "kom/identity.h"
#include "kom/runtime.h"
#include "kom/testmodule/LibraryThing.h"
#include "kom/testmodule/entrypoints.h"

namespace kom::test {

namespace {

class Derived : public LibraryThing {
public:
    uint32_t getModule(char* pLetter) override
    {
        *pLetter = 'd';
        return 0;
    }
};

class Factory : public Implements<Factory, IObjectFactory> {
    friend Implements;

public:
    virtual ~Factory() = default;
    uint32_t createInstance(IUnknown*, const char* pIid, IUnknown** pOut) override
    {
        return retain(new Derived)->queryInterface(pIid, pOut);
    }
    uint32_t lockServer() override { return 0; }

private:
    RefCount mRefCount;
};

} // namespace

} // namespace kom::test

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {nullptr, 0};
    return 0;
}

uint32_t dsoGetObjectFactory(const char*, const char* pIid, kom::IUnknown** pOut)
{
    return kom::retain(new kom::test::Factory)->queryInterface(pIid, pOut);
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    return komRegisterDSO(kom::test::CLASS_DERIVED, pArg1, pArg2);
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    return komUnregisterDSO(kom::test::CLASS_DERIVED, pArg1, pArg2);
}
