// Lets a settings object learn that the application closes.
#pragma once

#include "kom/backpointer.h"
#include "kutil/AppCloseHookBase.h"

namespace vel::kos::util {

/// Has its target saved when the application closes. The target owns a reference to the adapter and is only
/// pointed back to; it calls detach first of all in its destructor. T is a class over kom::Implements and has
/// a saveToRegistry().
template <class T>
class AppCloseHookAdapter : public AppCloseHookBase {
public:
    /// The place of the settings among the application's close hooks.
    static constexpr int ORDER = 8500;

    AppCloseHookAdapter(fw::IApplication* pApp, T* pTarget) : AppCloseHookBase(pApp, ORDER), mTarget(pTarget)
    {
        if (pTarget) kom::countOwned(1);
    }
    ~AppCloseHookAdapter() override { disown(); }

    /// E_WRONG_STATE once detached; otherwise 0, whatever became of the saving. The target stays until it has
    /// saved: whoever it reports to may call anything, and other threads may unload modules.
    uint32_t onAppClose() override
    {
        const auto tTarget = mTarget.get();
        if (!tTarget) return E_WRONG_STATE;
        tTarget->saveToRegistry();
        return 0;
    }

    /// Forgets the target and has the application drop the hook.
    void detach()
    {
        disown();
        reset();
    }

private:
    void disown()
    {
        if (mTarget.clear()) kom::countOwned(-1);
    }

    kom::BackPointer<T> mTarget;
};

} // namespace vel::kos::util
