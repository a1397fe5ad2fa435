// A small sound component module, and its broken relatives: each is built from this source with one defect,
// which one check of kom-validate has to find, and no other.
#include <cstring>
#include <iterator>
#include <thread>

#include "kom/heap.h"
#include "kom/implements.h"
#include "kom/module.h"
#include "kom/runtime.h"
#include "kpr/dso.h"
#include "kpr/time.h"

#include "tests/validate/broken_module.h"

namespace {

bool is(Defect pDefect) { return pDefect == DEFECT; }

constexpr char CLASS_PAIR[] = "b0b0b0b0-0000-4000-8000-00000000000a";
constexpr char CLASS_SINGLE[] = "b0b0b0b0-0000-4000-8000-00000000000b";
constexpr char CLASS_PROMISED[] = "b0b0b0b0-0000-4000-8000-00000000000c";
constexpr const char* REGISTERED[] = {CLASS_PAIR, CLASS_SINGLE, CLASS_PROMISED};
size_t registeredCount() { return is(Defect::PROMISES_CLASS) ? 3 : 2; }

class ILeft : public kom::IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/broken/ILeft:1.0";

protected:
    ~ILeft() = default;
};

class IRight : public kom::IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/broken/IRight:1.0";

protected:
    ~IRight() = default;
};

/// IRight in an object of its own, with a count and an identity of its own.
class TornOff : public kom::Implements<TornOff, IRight> {
    friend Implements;

public:
    explicit TornOff(kom::Ref<kom::IUnknown> pOwner) : mOwner(std::move(pOwner)) {}
    virtual ~TornOff() = default;
    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override
    {
        if (komCompareIID(pIid, ILeft::IID) == 0) return mOwner->queryInterface(pIid, pOut);
        return Implements::queryInterface(pIid, pOut);
    }

private:
    kom::RefCount mRefCount;
    kom::Ref<kom::IUnknown> mOwner;
};

/// A count that is not atomic (RACES) or may be given back too often (FORGIVES).
class WrongCount {
public:
    uint32_t increment() { return change(1); }
    uint32_t decrement() { return is(Defect::FORGIVES) && mCount == 0 ? 1 : change(-1); }

private:
    uint32_t change(int pBy)
    {
        if (is(Defect::FORGIVES))
            return static_cast<uint32_t>(__atomic_add_fetch(&mCount, pBy, __ATOMIC_SEQ_CST));
        const int tCount = mCount + pBy;
        std::this_thread::yield();
        mCount = tCount;
        return static_cast<uint32_t>(tCount);
    }

    volatile int mCount = 0;
};

/// The class of both identities: an object with two interfaces.
class Pair : public kom::Implements<Pair, ILeft, IRight> {
    friend Implements;

public:
    virtual ~Pair()
    {
        if (sUnheld == this) sUnheld = nullptr;
    }

    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override
    {
        if (is(Defect::TEARS_OFF) && komCompareIID(pIid, IRight::IID) == 0) {
            *pOut = kom::retain(new TornOff(kom::retain(unknown()))).detach();
            return 0;
        }
        if (is(Defect::ANY_VERSION) && pIid &&
            std::strncmp(pIid, ILeft::IID, std::strlen(ILeft::IID) - 3) == 0)
            return Implements::queryInterface(ILeft::IID, pOut);
        return Implements::queryInterface(pIid, pOut);
    }
    uint32_t addRef() override
    {
        return is(Defect::RACES) || is(Defect::FORGIVES) ? mWrongCount.increment() : Implements::addRef();
    }
    uint32_t release() override
    {
        if (!is(Defect::RACES) && !is(Defect::FORGIVES)) return Implements::release();
        const uint32_t tCount = mWrongCount.decrement();
        if (static_cast<int32_t>(tCount) < 0) std::abort();
        if (tCount == 0) delete this;
        return tCount;
    }
    const char* getInterfaceId() override
    {
        static constexpr char PLACES[2][sizeof ILeft::IID] = {"IDL:test/broken/ILeft:1.0",
                                                              "IDL:test/broken/ILeft:1.0"};
        if (is(Defect::NAMES_ITSELF_ANEW)) return PLACES[++mNamed % 2];
        return is(Defect::HIDES_INTERFACE) ? "IDL:test/broken/IHidden:1.0" : ILeft::IID;
    }
    uint32_t QueryInterface(const void* pIid, void** pOut) override
    {
        if (is(Defect::CRASHES)) {
            const uint8_t* volatile tNowhere = nullptr;
            return *tNowhere;
        }
        if (!is(Defect::ANSWERS_COM)) return Implements::Adapter<ILeft>::QueryInterface(pIid, pOut);
        *pOut = unknown();
        addRef();
        return 0;
    }
    uint32_t AddRef() override
    {
        while (is(Defect::HANGS))
            kprSleep(1000);
        return addRef();
    }
    uint32_t Release() override { return release(); }

private:
    kom::RefCount mRefCount;
    WrongCount mWrongCount;
    unsigned mNamed = 0;

public:
    /// The singleton of a module that does not keep it.
    static inline Pair* sUnheld = nullptr;
};

kom::ModuleRef<Pair> gSingle;

class Factory : public kom::Implements<Factory, kom::IObjectFactory> {
    friend Implements;

public:
    explicit Factory(bool pSingleton) : mSingleton(pSingleton) {}
    virtual ~Factory() = default;

    uint32_t createInstance(kom::IUnknown* pOuter, const char* pIid, kom::IUnknown** pOut) override
    {
        if (pOuter && !is(Defect::AGGREGATES)) {
            if (!is(Defect::KEEPS_OUT)) *pOut = nullptr;
            return KOM_E_NOAGGREGATION;
        }
        auto tObject = mSingleton ? single() : kom::retain(new Pair);
        const uint32_t tRes = tObject->queryInterface(pIid, pOut);
        if (is(Defect::LEAKS_REFUSED) && KFAILED(tRes)) static_cast<void>(tObject.detach());
        return tRes;
    }
    uint32_t lockServer() override { return 0; }

private:
    kom::Ref<Pair> single()
    {
        if (is(Defect::SINGLETON_PER_FACTORY)) {
            if (!mOwnSingle) mOwnSingle = kom::retain(new Pair);
            return mOwnSingle;
        }
        if (is(Defect::LETS_SINGLETON_GO)) {
            if (!Pair::sUnheld) Pair::sUnheld = new Pair;
            return kom::retain(Pair::sUnheld);
        }
        if (!gSingle) gSingle = kom::retain(new Pair);
        return kom::retain(gSingle.get());
    }

    kom::RefCount mRefCount;
    const bool mSingleton;
    kom::Ref<Pair> mOwnSingle;
};

kom::ModuleRef<Factory> gPairFactory, gSingleFactory;

/// The module's only factory of a class, or a new one.
kom::Ref<Factory> makeFactory(bool pSingleton)
{
    if (!is(Defect::ONE_FACTORY)) return kom::retain(new Factory(pSingleton));
    auto& tFactory = pSingleton ? gSingleFactory : gPairFactory;
    if (!tFactory) tFactory = kom::retain(new Factory(pSingleton));
    return kom::retain(tFactory.get());
}

bool isClass(const char* pGiven, const char* pClassId)
{
    if (!is(Defect::ANY_LETTER_CASE) || !pGiven) return komCompareCLSID(pGiven, pClassId) == 0;
    for (; *pGiven && *pClassId; ++pGiven, ++pClassId) {
        const bool tCapital = *pGiven >= 'A' && *pGiven <= 'Z';
        if (*pClassId != (tCapital ? *pGiven + 32 : *pGiven)) return false;
    }
    return *pGiven == *pClassId;
}

/// Attributes that were made on the heap; given back when the module goes.
struct HeapAttributes {
    ~HeapAttributes()
    {
        komFree(key);
        komFree(value);
    }
    char* key = nullptr;
    char* value = nullptr;
    KprAttribute pair = {nullptr, nullptr};
} gHeapAttributes;

/// Runs when the module is loaded.
[[maybe_unused]] const bool gStays = is(Defect::STAYS_LOADED) && !KFAILED(kprPinModule(&gHeapAttributes));

} // namespace

MODULE_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    static constexpr KprAttribute ATTRIBUTES[] = {{"InternalName", "broken"}, {"FileVersion", "1.0.0.0"}};
    *pOut = {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))};
    if (is(Defect::HEAP_ATTRIBUTES)) {
        auto& tMade = gHeapAttributes;
        if (!tMade.key)
            tMade.pair = {tMade.key = komStrDup("InternalName"), tMade.value = komStrDup("broken")};
        *pOut = {&tMade.pair, 1};
    }
    return 0;
}

MODULE_EXPORT uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    for (const bool tSingleton : {false, true})
        if (isClass(pClassId, tSingleton ? CLASS_SINGLE : CLASS_PAIR))
            return makeFactory(tSingleton)->queryInterface(pIid, pOut);
    *pOut = nullptr;
    return KOM_E_CLASSNOTAVAILABLE;
}

MODULE_EXPORT uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    uint32_t tFirst = 0;
    for (size_t i = 0; i < registeredCount(); ++i) {
        const uint32_t tRes = komRegisterDSO(REGISTERED[i], pArg1, pArg2);
        if (KFAILED(tRes) && !is(Defect::REGISTERS_ON)) return tRes;
        if (KFAILED(tRes) && !KFAILED(tFirst)) tFirst = tRes;
    }
    return tFirst;
}

uint32_t unregisterServer(unsigned int pArg1, void* pArg2)
{
    uint32_t tFirst = 0;
    for (size_t i = 0; i < registeredCount(); ++i) {
        const uint32_t tRes = komUnregisterDSO(REGISTERED[i], pArg1, pArg2);
        if (KFAILED(tRes) && is(Defect::UNREGISTERS_HALF)) return tRes;
        if (KFAILED(tRes) && !KFAILED(tFirst)) tFirst = tRes;
    }
    return tFirst;
}
