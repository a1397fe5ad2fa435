// The class behind ISystemInfo.
#pragma once

#include <memory>

#include "kfw/ISystemInfo.h"
#include "kfw/sysinfo/kfw_SystemInfo_Facts.h"
#include "kfw/sysinfo/kfw_SystemInfo_Inventory.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// What stays the same is found out by init; memory, frequencies and loaded modules at each call. One thread
/// at a time.
class SystemInfo : public kom::Implements<SystemInfo, fw::ISystemInfo> {
    friend Implements;

public:
    SystemInfo();
    /// With another source of facts than the operating system.
    explicit SystemInfo(std::unique_ptr<FactSource> pSource);
    virtual ~SystemInfo();

    uint32_t init(fw::IApplication* pApp) override;
    uint32_t getModule(const char* pName, fw::SysInfoModule* pModule) override;
    uint32_t getModules(fw::ModuleList* pModules) override;
    uint32_t getModuleFileVersion(const char* pName, char** pVersion) override;
    uint32_t getProductVersionRange(const char* pProduct, char** pMinVersion, char** pMaxVersion) override;
    uint32_t getAttributes(uint32_t pGroups, fw::AttributeList* pAttributes) override;

private:
    uint32_t refresh();
    uint32_t find(const char* pName, ModuleInventory::Module& pModule);

    kom::RefCount mRefCount;
    kom::Ref<fw::IApplication> mApp;
    std::unique_ptr<FactSource> mSource;
    SystemFacts mFacts;
    ModuleInventory mInventory;
};

} // namespace vel::kos::kfw
