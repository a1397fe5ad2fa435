#include "tests/module/hookmodule.h"

#include "kfw/ISendMailConfig.h"
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

class Factory : public kom::Implements<Factory, kom::IObjectFactory> {
    friend Implements;

public:
    virtual ~Factory() = default;
    uint32_t createInstance(kom::IUnknown*, const char* pIid, kom::IUnknown** pOut) override
    {
        return kom::retain(new Enroller)->queryInterface(pIid, pOut);
    }
    uint32_t lockServer() override { return 0; }

private:
    kom::RefCount mRefCount;
};

} // namespace

} // namespace vel::kos::test

using namespace vel::kos::test;

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {nullptr, 0};
    return 0;
}

uint32_t dsoGetObjectFactory(const char*, const char* pIid, kom::IUnknown** pOut)
{
    return kom::retain(new Factory)->queryInterface(pIid, pOut);
}

uint32_t dsoRegisterServer(unsigned int pArg1, void* pArg2)
{
    return komRegisterDSO(CLASS_ENROLLER, pArg1, pArg2);
}

uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    return komUnregisterDSO(CLASS_ENROLLER, pArg1, pArg2);
}
