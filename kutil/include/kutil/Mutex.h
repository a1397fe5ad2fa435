// A lock within the process.
#pragma once

#include <cstdint>
#include <memory>

#include "kfw/IApplication.h"
#include "kpr/thread_safety.h"
#include "kutil/api.h"

namespace vel::kos::util {

/// A recursive mutex bound to the application that failures are reported to. The application's reference is
/// held while the mutex lives.
class KUTIL_API K_CAPABILITY("mutex") Mutex {
public:
    explicit Mutex(fw::IApplication* pApp);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Waits for the mutex; the thread that holds it may lock it again and unlocks it as often.
    /// Always returns 0.
    uint32_t lock() K_ACQUIRE();
    /// 0, or E_WRONG_STATE with an assertion when the caller does not hold it.
    uint32_t unlock() K_RELEASE();
    /// Gives the application back before the mutex goes; a wrong unlock is from then on reported without one.
    /// Any thread, also while another one holds the mutex.
    void unbind();

private:
    struct State;
    std::unique_ptr<State> mState;
};

/// Locks in its constructor and unlocks in its destructor. pMutex outlives it.
class K_SCOPED_CAPABILITY MutexLocker {
public:
    explicit MutexLocker(Mutex* pMutex) K_ACQUIRE(pMutex) : mMutex(pMutex) { mMutex->lock(); }
    ~MutexLocker() K_RELEASE() { mMutex->unlock(); }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex* mMutex;
};

} // namespace vel::kos::util
