#include "kutil/Mutex.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>

#include "kom/ref.h"
#include "kpr/mutex.h"
#include "kutil/log.h"

namespace vel::kos::util {

struct Mutex::State {
    explicit State(fw::IApplication* pApp) : app(kom::retain(pApp)) {}

    kom::Ref<fw::IApplication> boundApp()
    {
        const kpr::Lock tLock(appMutex);
        return app;
    }

    kpr::Mutex appMutex; ///< for a moment only: the application is not called with it
    kom::Ref<fw::IApplication> app K_GUARDED_BY(appMutex);
    std::mutex mutex;
    /// The thread that holds the mutex. Others may read it at any time, and never find themselves in it.
    std::atomic<std::thread::id> owner{};
    /// How often the owner holds it; only the owner touches it.
    unsigned depth = 0;
};

Mutex::Mutex(fw::IApplication* pApp) : mState(std::make_unique<State>(pApp)) {}

Mutex::~Mutex() = default;

uint32_t Mutex::lock()
{
    const std::thread::id tSelf = std::this_thread::get_id();
    if (mState->owner.load(std::memory_order_relaxed) != tSelf) {
        mState->mutex.lock();
        mState->owner.store(tSelf, std::memory_order_relaxed);
    }
    ++mState->depth;
    return 0;
}

uint32_t Mutex::unlock()
{
    if (mState->owner.load(std::memory_order_relaxed) != std::this_thread::get_id()) {
        _kAssert(mState->boundApp().get(), "kos:kutil", "owner == std::this_thread::get_id()", "kutil_Mutex",
                 __LINE__);
        return E_WRONG_STATE;
    }
    if (--mState->depth == 0) {
        mState->owner.store({}, std::memory_order_relaxed);
        mState->mutex.unlock();
    }
    return 0;
}

void Mutex::unbind()
{
    kom::Ref<fw::IApplication> tApp; // released without the lock
    const kpr::Lock tLock(mState->appMutex);
    std::swap(tApp, mState->app);
}

} // namespace vel::kos::util
