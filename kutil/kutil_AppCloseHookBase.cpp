#include "kutil/AppCloseHookBase.h"

#include "kutil/log.h"

namespace vel::kos::util {

namespace {

constexpr char LOG_DOMAIN[] = "kos:kutil";

} // namespace

AppCloseHookBase::AppCloseHookBase(fw::IApplication* pApp, int pOrder)
{
    const uint32_t tRes = pApp ? kom::queryInterface(pApp, mApp3) : E_INVALIDARG;
    if (KFAILED(tRes) || !mApp3) {
        _queryInterfaceError(pApp, LOG_DOMAIN, pApp, fw::IApplication3::IID, tRes);
        return;
    }

    // The application may take and give back references while the count is still 0: the base's own reference
    // keeps that from destroying the object under construction.
    mRefCount.increment();
    const uint32_t tAdded = mApp3->addCloseHook(this, pOrder);
    if (mRefCount.decrement() == 0) mRefCount.restart();
    if (KFAILED(tAdded)) {
        kError(pApp, LOG_DOMAIN, message("Can't enrol a close hook: %1", komStrError(tAdded)));
        mApp3.reset();
    }
}

AppCloseHookBase::~AppCloseHookBase() = default;

uint32_t AppCloseHookBase::queryInterface(const char* pIid, kom::IUnknown** pOut)
{
    const bool tKnown =
        komCompareIID(pIid, kom::IUnknown::IID) == 0 || komCompareIID(pIid, fw::IAppCloseHook::IID) == 0;
    *pOut = tKnown ? this : nullptr;
    if (!tKnown) return E_NOINTERFACE;
    addRef();
    return 0;
}

uint32_t AppCloseHookBase::addRef() { return mRefCount.increment(); }

uint32_t AppCloseHookBase::release()
{
    const uint32_t tCount = mRefCount.decrement();
    if (tCount == 0) delete this;
    return tCount;
}

void AppCloseHookBase::reset()
{
    // Removal may give back the last reference to this object: nothing of it is touched afterwards.
    if (const auto tApp3 = std::move(mApp3)) tApp3->removeCloseHook(this);
}

} // namespace vel::kos::util
