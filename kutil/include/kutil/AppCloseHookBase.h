// The base of close hooks: it enrols itself with the application.
#pragma once

#include "kfw/IAppCloseHook.h"
#include "kfw/IApplication.h"
#include "kom/implements.h"
#include "kutil/api.h"

namespace vel::kos::util {

/// Implements everything of IAppCloseHook but onAppClose, and enrols the hook with the application's
/// IApplication3 when it is constructed (the base keeps a reference to itself meanwhile, since its count is
/// still 0). An application without that revision is reported, and the hook is then never called. The
/// application must not call the hook before its constructor has returned.
class KUTIL_API AppCloseHookBase : public fw::IAppCloseHook_Adapter {
public:
    /// pOrder: hooks with a lower number are called first.
    AppCloseHookBase(fw::IApplication* pApp, int pOrder);

    virtual ~AppCloseHookBase();

    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override;
    uint32_t addRef() override;
    uint32_t release() override;

    /// Makes the application drop the hook. Twice is harmless.
    void reset();

protected:
    /// For onAppClose: the application is closing and drops the hook by itself, so there is nothing left for
    /// reset to do. What goes later, when the process ends, does not call an application that is gone.
    void forgetApplication() { mApp3.reset(); }

private:
    kom::RefCount mRefCount;
    kom::Ref<fw::IApplication3> mApp3;
};

} // namespace vel::kos::util
