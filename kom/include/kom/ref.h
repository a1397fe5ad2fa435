// kom::Ref, the one smart pointer to interfaces and objects, and kom::HeapString for strings that crossed.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "kom/heap.h"
#include "kom/unknown.h"

namespace kom {

/// Holds one counted reference, or nothing. It is made only by adopt (takes over a reference that the caller
/// already owns) or retain (adds one); there is no conversion from or to a raw pointer. Assignment takes
/// the new reference before it releases the old one. One Ref is for one thread at a time.
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    Ref(std::nullptr_t) noexcept {}
    Ref(const Ref& pOther) noexcept : mPointer(pOther.mPointer) { take(); }
    Ref(Ref&& pOther) noexcept : mPointer(std::exchange(pOther.mPointer, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& pOther)
    noexcept : mPointer(pOther.get()) { take(); }
    template <class U>
    requires std::is_convertible_v<U*, T*> Ref(Ref<U>&& pOther)
    noexcept : mPointer(pOther.detach()) {}
    ~Ref() { reset(); }

    Ref& operator=(Ref pOther) noexcept
    {
        std::swap(mPointer, pOther.mPointer);
        return *this;
    }

    T* get() const noexcept { return mPointer; }
    T* operator->() const noexcept { return mPointer; }
    T& operator*() const noexcept { return *mPointer; }
    explicit operator bool() const noexcept { return mPointer != nullptr; }
    bool operator==(const Ref& pOther) const noexcept { return mPointer == pOther.mPointer; }

    /// Empties the Ref and lends its pointer to an operation that returns an owned reference of type T.
    T** out() noexcept
    {
        reset();
        return &mPointer;
    }
    /// Hands the reference over to the caller.
    [[nodiscard]] T* detach() noexcept { return std::exchange(mPointer, nullptr); }
    /// Gives the reference back. The Ref is already empty when the object's destructor runs.
    void reset() noexcept
    {
        if (T* tOld = std::exchange(mPointer, nullptr)) tOld->release();
    }
    /// Another interface of the object; empty when it has none, or the Ref is empty.
    template <class J>
    Ref<J> query() const
    {
        Ref<J> tInterface;
        if (mPointer) query(tInterface);
        return tInterface;
    }
    /// The same with the result code of queryInterface; the Ref must not be empty.
    template <class J>
    uint32_t query(Ref<J>& pInterface) const;

private:
    template <class U>
    friend Ref<U> adopt(U* pPointer) noexcept;
    struct Adopt {};
    Ref(T* pPointer, Adopt) noexcept : mPointer(pPointer) {}
    void take() noexcept
    {
        if (mPointer) mPointer->addRef();
    }

    T* mPointer = nullptr;
};

/// A Ref that takes over the reference the caller owns; null gives an empty one.
template <class T>
[[nodiscard]] Ref<T> adopt(T* pPointer) noexcept
{
    return Ref<T>(pPointer, typename Ref<T>::Adopt());
}

/// A Ref with a reference of its own; null gives an empty one.
template <class T>
[[nodiscard]] Ref<T> retain(T* pPointer) noexcept
{
    if (pPointer) pPointer->addRef();
    return adopt(pPointer);
}

/// Asks pObject (not null) for the interface J; pInterface gets the interface, or nothing. Returns
/// queryInterface's code.
template <class T, class J>
uint32_t queryInterface(T* pObject, Ref<J>& pInterface)
{
    IUnknown* tInterface = nullptr;
    const uint32_t tRes = pObject->queryInterface(J::IID, &tInterface);
    pInterface = adopt(static_cast<J*>(tInterface));
    return tRes;
}

template <class T>
template <class J>
uint32_t Ref<T>::query(Ref<J>& pInterface) const
{
    return queryInterface(mPointer, pInterface);
}

/// Owns one kom heap string.
class HeapString {
public:
    HeapString() noexcept = default;
    HeapString(HeapString&& pOther) noexcept : mText(std::exchange(pOther.mText, nullptr)) {}
    HeapString(const HeapString&) = delete;
    ~HeapString() { komFree(mText); }
    HeapString& operator=(HeapString&& pOther) noexcept
    {
        std::swap(mText, pOther.mText);
        return *this;
    }
    HeapString& operator=(const HeapString&) = delete;

    /// Empties it and lends its pointer to an operation that returns an owned string.
    char** out() noexcept
    {
        komFree(std::exchange(mText, nullptr));
        return &mText;
    }
    /// The text; "" for a null.
    const char* c_str() const noexcept { return mText ? mText : ""; }
    bool isNull() const noexcept { return mText == nullptr; }
    bool empty() const noexcept { return !mText || *mText == '\0'; }
    [[nodiscard]] char* detach() noexcept { return std::exchange(mText, nullptr); }

private:
    char* mText = nullptr;
};

} // namespace kom
