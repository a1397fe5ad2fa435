// A module whose one object is not counted by kom: nobody can tell whether it is in use.
#include "kom/identity.h"
#include "kom/runtime.h"
#include "kom/testmodule/ITestThing.h"
#include "kom/testmodule/entrypoints.h"

namespace {

using kom::test::ITestThing;

/// Factory and object in one; never destroyed.
template <class TInterface>
class Eternal : public kom::Adapter<TInterface> {
public:
    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override
    {
        const bool tMatches = komCompareIID(pIid, TInterface::IID) == 0;
        *pOut = tMatches ? this : nullptr;
        return tMatches ? 0 : E_NOINTERFACE;
    }
    uint32_t addRef() override { return 1; }
    uint32_t release() override { return 1; }

protected:
    ~Eternal() = default;
};

class Thing final : public Eternal<ITestThing> {
public:
    uint32_t getModule(char* pLetter) override
    {
        *pLetter = 'p';
        return 0;
    }
    uint32_t keep(kom::IUnknown*) override { return E_NOT_SUPPORTED; }
} gThing;

class Factory final : public Eternal<kom::IObjectFactory> {
public:
    uint32_t createInstance(kom::IUnknown*, const char* pIid, kom::IUnknown** pOut) override
    {
        return gThing.queryInterface(pIid, pOut);
    }
    uint32_t lockServer() override { return 0; }
} gFactory;

} // namespace

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {nullptr, 0};
    return 0;
}

uint32_t dsoGetObjectFactory(const char*, const char* pIid, kom::IUnknown** pOut)
{
    return gFactory.queryInterface(pIid, pOut);
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    return komRegisterDSO(kom::test::CLASS_PLAIN, pArg1, pArg2);
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    return komUnregisterDSO(kom::test::CLASS_PLAIN, pArg1, pArg2);
}
