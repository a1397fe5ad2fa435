// kom::Implements: the interface plumbing of a class, written once.
//
//     class EventDispatcher : public kom::Implements<EventDispatcher, fw::IEventDispatcher> {
//         friend Implements;
//     public:
//         virtual ~EventDispatcher();
//         ... the interface's operations ...
//     private:
//         kom::RefCount mRefCount;
//     };
//
// The class declares its count where its layout wants it; the count starts at 0, and whoever creates the
// object takes the first reference. The virtual destructor is the class's own, so its slots follow those of
// the interface.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "kom/adapter.h"
#include "kom/identity.h"
#include "kom/module.h"
#include "kom/ref.h"
#include "kom/unknown.h"
#include "kpr/thread.h"

namespace kom {

/// An object's reference count; it also counts the object as live, in the process and in the module that
/// compiles it.
class RefCount {
public:
    KOM_LOCAL RefCount() { komCountObject(detail::gModule.record, 1); }
    KOM_LOCAL ~RefCount() { komCountObject(detail::gModule.record, -1); }
    RefCount(const RefCount&) = delete;
    RefCount& operator=(const RefCount&) = delete;

    /// Stops the process when the last reference has been given back: the object is on its way out.
    uint32_t increment() noexcept
    {
        const uint32_t tCount = kprAtomicIncrement(&mCount);
        if (static_cast<int32_t>(tCount) < 0) std::abort();
        return tCount;
    }
    /// Adds one where there is a reference already; whether there was. For who has none of his own.
    bool incrementIfHeld() noexcept
    {
        unsigned int tCount = value();
        while (static_cast<int32_t>(tCount) > 0)
            if (__atomic_compare_exchange_n(&mCount, &tCount, tCount + 1, false, __ATOMIC_SEQ_CST,
                                            __ATOMIC_SEQ_CST))
                return true;
        return false;
    }
    /// Stops the process when there was no reference to give back.
    uint32_t decrement() noexcept
    {
        const uint32_t tCount = kprAtomicDecrement(&mCount);
        if (static_cast<int32_t>(tCount) < 0) std::abort();
        if (tCount == 0) __atomic_store_n(&mCount, ENDED, __ATOMIC_RELAXED);
        return tCount;
    }
    /// Makes the count 0 again after it reached 0, so that references may be taken anew. For an object that
    /// holds a reference to itself while it is constructed or destroyed, and only there.
    void restart() noexcept { __atomic_store_n(&mCount, 0, __ATOMIC_RELAXED); }
    /// The references, 0 before the first one. Meaningless once the last one has been given back.
    uint32_t value() const noexcept { return __atomic_load_n(&mCount, __ATOMIC_SEQ_CST); }

private:
    /// The count once it has reached 0: below zero, far enough that no step leads out of there.
    static constexpr unsigned int ENDED = 0xC0000000;

    unsigned int mCount = 0;
};

namespace detail {

/// Whether an identity names the interface or one of the interfaces it extends (IUnknown apart).
template <class TInterface>
bool matches(const char* pIid)
{
    if constexpr (std::same_as<TInterface, IUnknown>) {
        return false;
    } else {
        return komCompareIID(pIid, TInterface::IID) == 0 || matches<typename TInterface::Parent>(pIid);
    }
}

template <class TFirst, class...>
struct FirstOf {
    using Type = TFirst;
};

} // namespace detail

/// Implements the queries for identities and the counts of a class with the given interfaces. The first one
/// stands for "IDL:kom/IUnknown:1.0", unless the class names another with a public `using PrimaryInterface`.
/// An interface serves the identities of those that it extends as well.
template <class TClass, class... TInterfaces>
class Implements : public Adapter<TInterfaces>... {
public:
    uint32_t queryInterface(const char* pIid, IUnknown** pOut) override
    {
        IUnknown* tInterface = nullptr;
        if (komCompareIID(pIid, IUnknown::IID) == 0)
            tInterface = unknown();
        else
            static_cast<void>(
                ((detail::matches<TInterfaces>(pIid) && (tInterface = interfaceOf<TInterfaces>(), true)) ||
                 ...));
        *pOut = tInterface;
        if (!tInterface) return E_NOINTERFACE;
        tInterface->addRef();
        return 0;
    }
    uint32_t addRef() override { return self()->mRefCount.increment(); }
    uint32_t release() override
    {
        const uint32_t tCount = self()->mRefCount.decrement();
        if (tCount == 0) delete self();
        return tCount;
    }
    /// Takes a reference where somebody has one; whether it did. For kom::BackPointer.
    bool addRefIfHeld() noexcept { return self()->mRefCount.incrementIfHeld(); }
    /// Count the object for the module that makes it, which has a copy of them of its own: a base class may
    /// lie in a library that knows nothing of the module.
    KOM_LOCAL static void* operator new(std::size_t pSize)
    {
        return komNewObject(detail::gModule.record, pSize);
    }
    KOM_LOCAL static void operator delete(void* pObject) { komDeleteObject(pObject); }
    /// Objects have no alignment beyond that of the fundamental types.
    static void* operator new(std::size_t pSize, std::align_val_t pAlignment) = delete;

    /// The interface that stands for "IDL:kom/IUnknown:1.0", without a reference.
    IUnknown* unknown() noexcept
    {
        if constexpr (requires { typename TClass::PrimaryInterface; })
            return interfaceOf<typename TClass::PrimaryInterface>();
        else
            return interfaceOf<typename detail::FirstOf<TInterfaces...>::Type>();
    }

protected:
    ~Implements() = default;

private:
    TClass* self() noexcept { return static_cast<TClass*>(this); }
    template <class TInterface>
    IUnknown* interfaceOf() noexcept
    {
        return static_cast<TInterface*>(static_cast<Adapter<TInterface>*>(this));
    }
};

/// Adds interfaces to a class that has its plumbing already. They are asked first; every other identity is up
/// to the base, "IDL:kom/IUnknown:1.0" as well. The count is the base's.
template <class TBase, class... TInterfaces>
class Extends : public TBase, public Adapter<TInterfaces>... {
public:
    uint32_t queryInterface(const char* pIid, IUnknown** pOut) override
    {
        IUnknown* tInterface = nullptr;
        static_cast<void>(
            ((detail::matches<TInterfaces>(pIid) && (tInterface = interfaceOf<TInterfaces>(), true)) || ...));
        if (!tInterface) return TBase::queryInterface(pIid, pOut);
        tInterface->addRef();
        *pOut = tInterface;
        return 0;
    }
    uint32_t addRef() override { return TBase::addRef(); }
    uint32_t release() override { return TBase::release(); }

protected:
    ~Extends() override = default;

private:
    template <class TInterface>
    IUnknown* interfaceOf() noexcept
    {
        return static_cast<TInterface*>(static_cast<Adapter<TInterface>*>(this));
    }
};

} // namespace kom
