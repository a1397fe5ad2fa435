// What the machine, the operating system and the modules loaded in the process are.
//
// The records here are plain: an operation overwrites them without looking at what they held, and the caller
// frees what it was given with the functions below (or field by field with komFree).
#pragma once

#include <utility>

#include "kfw/IApplication.h"
#include "kom/adapter.h"
#include "kom/heap.h"

namespace vel::kos::fw {

/// The groups of facts that ISystemInfo::getAttributes is asked for; they may be combined.
enum SystemInfoGroup : uint32_t { SYSTEM_INFO_MEMORY = 1, SYSTEM_INFO_HARDWARE = 2, SYSTEM_INFO_OS = 4 };

/// A key and its value, both kom heap strings.
struct Attribute {
    char* mKey;
    char* mValue;
};

/// Attributes in order. The array is one kom heap block, null when empty.
struct AttributeList {
    uint32_t mCount;
    Attribute* mAttrs;
};

/// One loaded module. The strings are kom heap strings, all null in the empty description.
struct SysInfoModule {
    char* mPathName;      ///< where it lies, in "/" form
    char* mFileName;      ///< the last component of the path
    char* mInternalName;  ///< its name whatever its file is called, in lower case; unique in the inventory
    AttributeList mAttrs; ///< what it declares, in its own order; "InternalName" is always among it
};

/// Modules in ascending order of their internal names. The array is one kom heap block, null when empty.
struct ModuleList {
    uint32_t mCount;
    SysInfoModule* mModules;
};

/// Frees what the list holds and leaves it empty.
inline void freeAttributes(AttributeList* pList) noexcept
{
    for (uint32_t i = 0; i < pList->mCount; ++i) {
        komFree(pList->mAttrs[i].mKey);
        komFree(pList->mAttrs[i].mValue);
    }
    komFree(std::exchange(pList->mAttrs, nullptr));
    pList->mCount = 0;
}

/// Frees what the description holds and leaves it empty.
inline void freeModule(SysInfoModule* pModule) noexcept
{
    komFree(std::exchange(pModule->mPathName, nullptr));
    komFree(std::exchange(pModule->mFileName, nullptr));
    komFree(std::exchange(pModule->mInternalName, nullptr));
    freeAttributes(&pModule->mAttrs);
}

/// Frees what the list holds and leaves it empty.
inline void freeModules(ModuleList* pList) noexcept
{
    for (uint32_t i = 0; i < pList->mCount; ++i)
        freeModule(&pList->mModules[i]);
    komFree(std::exchange(pList->mModules, nullptr));
    pList->mCount = 0;
}

/// The facts of the operating system and the processor are gathered once, by init; memory use and processor
/// frequencies are read afresh at each request, and the inventory of modules is filled when it is asked for.
/// A failing call of the operating system fails no operation: it is logged at debug level and the fact
/// is left out.
///
/// Nothing is locked: one object is for one thread at a time. Outputs are emptied first and belong to the
/// caller. A null output pointer returns E_INVALIDARG before anything else; before init every operation
/// returns E_WRONG_STATE.
class ISystemInfo : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/ISystemInfo:1.0";

    /// Binds the object to the application and gathers the facts. A second call returns E_WRONG_STATE,
    /// whatever its argument.
    virtual uint32_t init(IApplication* pApp) = 0;
    /// One module: by a path (a name that contains "/"), else by its internal name, its file name, the same
    /// without the platform's prefix and suffix ("kernel32"), or the program's name. A null name is read as
    /// "". KFW_E_NO_MODULE when no such module is loaded.
    virtual uint32_t getModule(const char* pName, SysInfoModule* pModule) = 0;
    /// All modules that are loaded now. Of modules with one internal name the first found is listed.
    virtual uint32_t getModules(ModuleList* pModules) = 0;
    /// A module's "FileVersion"; null, and 0, when it declares none. Names as for getModule.
    virtual uint32_t getModuleFileVersion(const char* pName, char** pVersion) = 0;
    /// The lowest and highest four-part "ProductVersion" of the loaded modules whose "Product" is pProduct.
    /// E_INVALIDARG when pProduct is null or empty, KFW_E_NO_PRODUCT when there is no such module.
    virtual uint32_t getProductVersionRange(const char* pProduct, char** pMinVersion, char** pMaxVersion) = 0;
    /// The facts of the groups (SystemInfoGroup) asked for: hardware, then memory, then operating system.
    /// What could not be found out is not listed.
    virtual uint32_t getAttributes(uint32_t pGroups, AttributeList* pAttributes) = 0;

protected:
    ~ISystemInfo() = default;
};

using ISystemInfo_Adapter = kom::Adapter<ISystemInfo>;

} // namespace vel::kos::fw
