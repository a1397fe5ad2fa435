#include "tests/module/hookmodule.h"

#include "kfw/ISendMailConfig.h"
#include "kfw/settings/kfw_AppCloseHookAdapter.h"
#include "kom/runtime.h"
#include "kom/testmodule/entrypoints.h"
#include "kutil/AppCloseHookBase.h"

namespace vel::kos::test {

namespace {

class Hook : public util::AppCloseHookBase {
public:
    explicit Hook(fw::IApplication* pApp) : AppCloseHookBase(pApp, 1), mApp(kom::retain(pApp)) {}
    uint32_t onAppClose() override { return mApp->setStatusText("closing"); }

private:
    kom::Ref<fw::IApplication> mApp;
};

class Enroller : public kom::Implements<Enroller, fw::IRegDbSendMailConfig> {
    friend Implements;

public:
    virtual ~Enroller() = default;
    uint32_t init(fw::IApplication* pApp) override
    {
        kom::retain(new Hook(pApp)).reset();
        return 0;
    }
    uint32_t isInitialized(uint32_t*) override { return E_NOT_SUPPORTED; }

private:
    kom::RefCount mRefCount;
};

class Saver : public kom::Implements<Saver, fw::IRegDbSendMailConfig> {
    friend Implements;

public:
    virtual ~Saver()
    {
        if (mHook) mHook->detach();
        if (mApp) mApp->requestClose(0);
    }
    uint32_t init(fw::IApplication* pApp) override
    {
        mApp = kom::retain(pApp);
        mHook = kom::retain(new util::AppCloseHookAdapter<Saver>(pApp, this));
        return 0;
    }
    uint32_t isInitialized(uint32_t*) override { return E_NOT_SUPPORTED; }

    void saveToRegistry()
    {
        mApp->setStatusText("saving");
        ++mSaved;
    }

private:
    kom::RefCount mRefCount;
    kom::Ref<util::AppCloseHookAdapter<Saver>> mHook;
    kom::Ref<fw::IApplication> mApp;
    uint32_t mSaved = 0;
};

kom::ModuleRef<Saver> gSaver;

class Factory : public kom::Implements<Factory, kom::IObjectFactory> {
    friend Implements;

public:
    explicit Factory(bool pSaver) : mSaver(pSaver) {}
    virtual ~Factory() = default;
    uint32_t createInstance(kom::IUnknown*, const char* pIid, kom::IUnknown** pOut) override
    {
        if (!mSaver) return kom::retain(new Enroller)->queryInterface(pIid, pOut);
        if (!gSaver) gSaver = kom::retain(new Saver);
        return gSaver->queryInterface(pIid, pOut);
    }
    uint32_t lockServer() override { return 0; }

private:
    kom::RefCount mRefCount;
    const bool mSaver;
};

} // namespace

} // namespace vel::kos::test

using namespace vel::kos::test;

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {nullptr, 0};
    return 0;
}

uint32_t dsoGetObjectFactory(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    return kom::retain(new Factory(komCompareCLSID(pClassId, CLASS_SAVER) == 0))->queryInterface(pIid, pOut);
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    for (const char* tClass : {CLASS_ENROLLER, CLASS_SAVER})
        if (auto tRes = komRegisterDSO(tClass, pArg1, pArg2); KFAILED(tRes)) return tRes;
    return 0;
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    const uint32_t tRes = komUnregisterDSO(CLASS_ENROLLER, pArg1, pArg2);
    const uint32_t tOther = komUnregisterDSO(CLASS_SAVER, pArg1, pArg2);
    return KFAILED(tRes) ? tRes : tOther;
}
