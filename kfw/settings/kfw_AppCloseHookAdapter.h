// Lets a settings object learn that the application closes.
#pragma once

#include "kutil/AppCloseHookBase.h"

namespace vel::kos::util {

/// Has its target saved when the application closes. The target owns a reference to the adapter and is only
/// pointed back to; it calls detach before it goes. T has a saveToRegistry().
template <class T>
class AppCloseHookAdapter : public AppCloseHookBase {
public:
    /// The place of the settings among the application's close hooks.
    static constexpr int ORDER = 8500;

    AppCloseHookAdapter(fw::IApplication* pApp, T* pTarget) : AppCloseHookBase(pApp, ORDER), mTarget(pTarget)
    {
        if (mTarget) kom::countOwned(1);
    }
    ~AppCloseHookAdapter() override { disown(); }

    /// E_WRONG_STATE once detached; otherwise 0, whatever became of the saving.
    uint32_t onAppClose() override
    {
        if (!mTarget) return E_WRONG_STATE;
        mTarget->saveToRegistry();
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
        if (std::exchange(mTarget, nullptr)) kom::countOwned(-1);
    }

    T* mTarget;
};

} // namespace vel::kos::util
