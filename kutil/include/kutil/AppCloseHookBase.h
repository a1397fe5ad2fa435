// The base of close hooks: it enrols itself with the application.
#pragma once

#include <utility>

#include "kfw/IAppCloseHook.h"
#include "kfw/IApplication.h"
#include "kom/implements.h"
#include "kutil/log.h"

namespace vel::kos::util {

/// Implements everything of IAppCloseHook but onAppClose, and enrols the hook with the application's
/// IApplication3 when it is constructed (the base keeps a reference to itself meanwhile, since its count is
/// still 0). An application without that revision is reported, and the hook is then never called. The
/// application must not call the hook before its constructor has returned.
///
/// A hook counts for the module that derives from the base, which stays loaded while anybody keeps the hook.
/// One that works for another object keeps the rules of kom/module.h.
class AppCloseHookBase : public kom::Implements<AppCloseHookBase, fw::IAppCloseHook> {
    friend Implements;

public:
    /// pOrder: hooks with a lower number are called first.
    KOM_LOCAL AppCloseHookBase(fw::IApplication* pApp, int pOrder)
    {
        constexpr char tDomain[] = "kos:kutil";
        const uint32_t tRes = pApp ? kom::queryInterface(pApp, mApp3) : E_INVALIDARG;
        if (KFAILED(tRes) || !mApp3) {
            _queryInterfaceError(pApp, tDomain, pApp, fw::IApplication3::IID, tRes);
            return;
        }

        // The application may take and give back references while the count is still 0: the base's own
        // reference keeps that from destroying the object under construction.
        mRefCount.increment();
        const uint32_t tAdded = mApp3->addCloseHook(this, pOrder);
        if (mRefCount.decrement() == 0) mRefCount.restart();
        if (KFAILED(tAdded)) {
            kError(pApp, tDomain, message("Can't enrol a close hook: %1", komStrError(tAdded)));
            mApp3.reset();
        }
    }

    KOM_LOCAL virtual ~AppCloseHookBase() = default;

    /// Makes the application drop the hook. Twice is harmless.
    void reset()
    {
        // Removal may give back the last reference to this object: nothing of it is touched afterwards.
        if (const auto tApp3 = std::move(mApp3)) tApp3->removeCloseHook(this);
    }

private:
    kom::RefCount mRefCount;
    kom::Ref<fw::IApplication3> mApp3;
};

} // namespace vel::kos::util
