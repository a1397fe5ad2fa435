// The modules loaded in the process, as far as anybody has asked for them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kfw/IApplication.h"
#include "kpr/dso.h"
#include "kutil/KSysInfoModule.h"

namespace vel::kos::kfw {

/// Starts empty, grows when modules are found by name and at refreshes, and shrinks only at refreshes. A
/// module that cannot be opened or described, or whose internal name another one bears already, is left out.
/// For one thread at a time; a log sink may call it again.
class ModuleInventory {
public:
    using Module = std::shared_ptr<const util::KSysInfoModule>;
    /// In ascending byte order of the internal names.
    using ModuleMap = std::map<std::string, Module>;

    const ModuleMap& modules() const { return mModules; }
    /// Adds the modules that were loaded and drops those that were unloaded since. It looks into new ones
    /// only.
    uint32_t refresh(fw::IApplication* pApp);
    /// Finds a module by its path, internal name, file name or the program's name; null when none is loaded.
    /// The failure to list what is loaded is returned, but only when the inventory does not know the module
    /// yet.
    uint32_t find(fw::IApplication* pApp, const std::string& pName, Module& pModule);

private:
    /// The module, or null when it was left out. Without a handle it is opened for the time being.
    Module addModule(fw::IApplication* pApp, const std::string& pPath, KprDSO pHandle);
    Module describe(fw::IApplication* pApp, const std::string& pPath, KprDSO pHandle);
    void dropUnloaded(const KprModuleList& pList);
    Module findByPath(const std::string& pPath) const;
    Module findByName(const std::string& pName) const;
    Module addLoaded(fw::IApplication* pApp, const KprLoadedModule& pLoaded);

    ModuleMap mModules;
    std::map<std::string, std::string> mPaths; ///< path as listed to internal name
    uint64_t mRefreshes = 0;                   ///< that have got a list
};

} // namespace vel::kos::kfw
