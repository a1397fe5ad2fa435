// A small module, built twice: TEST_LETTER is 'a' or 'b'.
#include <iterator>

#include "kom/implements.h"
#include "kom/module.h"
#include "kom/runtime.h"
#include "kom/testmodule/ITestThing.h"
#include "kom/testmodule/entrypoints.h"

namespace kom::test {

namespace {

constexpr bool IS_A = TEST_LETTER == 'a';
constexpr const char* CLASSES[] = {IS_A ? CLASS_A_THING : CLASS_B_THING,
                                   IS_A ? CLASS_A_SINGLETON : CLASS_B_SINGLETON,
                                   IS_A ? CLASS_A_MISSING : CLASS_B_MISSING};

uint32_t gFailIndex = 0;
uint32_t gFailCode = 0;
void (*gOnFactory)() = nullptr;
uint32_t (*gOnRegister)(unsigned int, void*) = nullptr;
void (*gOnUnregister)() = nullptr;

class Thing : public Implements<Thing, ITestThing> {
    friend Implements;

public:
    virtual ~Thing() = default;
    uint32_t getModule(char* pLetter) override
    {
        *pLetter = TEST_LETTER;
        return 0;
    }
    uint32_t keep(IUnknown* pObject) override
    {
        mKept = retain(pObject);
        return 0;
    }

private:
    RefCount mRefCount;
    Ref<IUnknown> mKept;
};

ModuleRef<Thing> gSingleton;
Ref<IUnknown> gKept;

class Factory : public Implements<Factory, IObjectFactory> {
    friend Implements;

public:
    explicit Factory(bool pSingleton) : mSingleton(pSingleton) {}
    virtual ~Factory() = default;
    uint32_t createInstance(IUnknown* pOuter, const char* pIid, IUnknown** pOut) override
    {
        *pOut = nullptr;
        if (pOuter) return KOM_E_NOAGGREGATION;
        if (mSingleton && !gSingleton) gSingleton = retain(new Thing);
        const auto tThing = retain(mSingleton ? gSingleton.get() : new Thing);
        return tThing->queryInterface(pIid, pOut);
    }
    uint32_t lockServer() override { return 0; }

private:
    RefCount mRefCount;
    const bool mSingleton;
};

uint32_t answerFor(size_t pIndex) { return pIndex == gFailIndex ? gFailCode : 0; }

} // namespace

} // namespace kom::test

using namespace kom::test;

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    static constexpr char LETTER[] = {TEST_LETTER, '\0'};
    static constexpr KprAttribute ATTRIBUTES[] = {{"InternalName", LETTER}, {"FileVersion", "1.2.3.4"}};
    *pOut = {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))};
    return 0;
}

uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    if (gOnFactory) gOnFactory();
    for (const size_t tIndex : {0u, 1u})
        if (komCompareCLSID(pClassId, CLASSES[tIndex]) == 0)
            return kom::retain(new Factory(tIndex == 1))->queryInterface(pIid, pOut);
    *pOut = nullptr;
    return KOM_E_CLASSNOTAVAILABLE;
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    for (size_t i = 0; i < std::size(CLASSES); ++i) {
        if (auto tRes = answerFor(i); KFAILED(tRes)) return tRes;
        if (auto tRes = komRegisterDSO(CLASSES[i], pArg1, pArg2); KFAILED(tRes)) return tRes;
    }
    return gOnRegister ? gOnRegister(pArg1, pArg2) : 0;
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    uint32_t tFirst = 0;
    for (size_t i = 0; i < std::size(CLASSES); ++i) {
        uint32_t tRes = answerFor(i);
        if (!KFAILED(tRes)) tRes = komUnregisterDSO(CLASSES[i], pArg1, pArg2);
        if (KFAILED(tRes) && !KFAILED(tFirst)) tFirst = tRes;
    }
    if (gOnUnregister) gOnUnregister();
    return tFirst;
}

void testFailAt(uint32_t pIndex, uint32_t pCode)
{
    gFailIndex = pIndex;
    gFailCode = pCode;
}

void testKeep(kom::IUnknown* pObject) { gKept = kom::retain(pObject); }

void testOnFactory(void (*pAction)()) { gOnFactory = pAction; }

void testOnRegister(uint32_t (*pAction)(unsigned int, void*)) { gOnRegister = pAction; }

void testOnUnregister(void (*pAction)()) { gOnUnregister = pAction; }
