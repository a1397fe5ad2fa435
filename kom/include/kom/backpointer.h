// The way back from an object that others call to the object that it works for.
#pragma once

#include "kom/ref.h"
#include "kpr/mutex.h"

namespace kom {

/// A pointer that keeps nothing, for an object that a module hands to others so that they call it (a close
/// hook, an idle callout, a consumer): to its owner, a class over kom::Implements. A counted reference would
/// be a circle, and a plain pointer would be used while another thread, or a call further down in the same
/// one, destroys the owner.
///
/// Each call takes a reference first and keeps it until it is done with the owner. So the owner may be given
/// up during the call and goes when the call ends; and komUnloadModules, which finds a singleton with a user,
/// leaves it. kom/module.h has the rules for such objects.
template <class T>
class BackPointer {
public:
    explicit BackPointer(T* pOwner) noexcept : mOwner(pOwner) {}
    BackPointer(const BackPointer&) = delete;
    BackPointer& operator=(const BackPointer&) = delete;

    /// A reference to the owner; null when there is none, or its last reference has been given back. Any
    /// thread.
    Ref<T> get() const
    {
        const kpr::Lock tLock(mMutex);
        return mOwner && mOwner->addRefIfHeld() ? adopt(mOwner) : Ref<T>();
    }
    /// Forgets the owner, which calls it first of all in its destructor: what get returns then is null. True
    /// for the one call that found the owner still there. Waits for a get in another thread, not for what is
    /// done with its reference.
    bool clear()
    {
        const kpr::Lock tLock(mMutex);
        return std::exchange(mOwner, nullptr) != nullptr;
    }

private:
    mutable kpr::Mutex mMutex; // the owner's memory is there while get holds it
    T* mOwner K_GUARDED_BY(mMutex);
};

} // namespace kom
