// The standard mutexes, and locks on them, with the words that Clang checks (thread_safety.h). All inline:
// nothing of the C++ library crosses a library's boundary.
#pragma once

#include <mutex>
#include <shared_mutex>

#include "kpr/thread_safety.h"

namespace kpr {

/// std::mutex.
class K_CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() K_ACQUIRE() { mMutex.lock(); }
    bool try_lock() K_TRY_ACQUIRE(true) { return mMutex.try_lock(); }
    void unlock() K_RELEASE() { mMutex.unlock(); }

private:
    std::mutex mMutex;
};

/// std::shared_mutex.
class K_CAPABILITY("mutex") SharedMutex {
public:
    SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock() K_ACQUIRE() { mMutex.lock(); }
    void unlock() K_RELEASE() { mMutex.unlock(); }
    void lock_shared() K_ACQUIRE_SHARED() { mMutex.lock_shared(); }
    void unlock_shared() K_RELEASE_SHARED() { mMutex.unlock_shared(); }

private:
    std::shared_mutex mMutex;
};

/// Holds a mutex, a SharedMutex whole, until it goes; in between it may be given back and taken again, also
/// by std::condition_variable_any.
template <class TMutex>
class K_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(TMutex& pMutex) K_ACQUIRE(pMutex) : mMutex(pMutex), mHeld(true) { mMutex.lock(); }
    ~Lock() K_RELEASE()
    {
        if (mHeld) mMutex.unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() K_ACQUIRE()
    {
        mMutex.lock();
        mHeld = true;
    }
    void unlock() K_RELEASE()
    {
        mHeld = false;
        mMutex.unlock();
    }

private:
    TMutex& mMutex;
    bool mHeld;
};

/// Holds a SharedMutex shared until it goes.
class K_SCOPED_CAPABILITY SharedLock {
public:
    explicit SharedLock(SharedMutex& pMutex) K_ACQUIRE_SHARED(pMutex) : mMutex(pMutex)
    {
        mMutex.lock_shared();
    }
    ~SharedLock() K_RELEASE_ANY() { mMutex.unlock_shared(); }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

private:
    SharedMutex& mMutex;
};

} // namespace kpr
